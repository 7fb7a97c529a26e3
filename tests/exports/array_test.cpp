#include <gtest/gtest.h>

#include <utility>

#include "installed/check.h"

namespace Xem::Testing {
namespace {

// The groups of the installed host, here also under the sanitizers; they say themselves what failed.
TEST(Array, DoesWhatCallersOfSuchCollectionsWrite) {
  CheckArrays();
  EXPECT_EQ(std::exchange(Failures(), 0), 0);
}

TEST(Text, DoesWhatCallersOfSuchTextsWrite) {
  CheckTexts();
  EXPECT_EQ(std::exchange(Failures(), 0), 0);
}

}  // namespace
}  // namespace Xem::Testing
