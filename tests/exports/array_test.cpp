#include <gtest/gtest.h>

#include <utility>

#include "installed/check.h"
#include "xem/records.h"

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

TEST(Records, AssignmentCopiesEveryField) {
  _T_FUNT_BASE3 a(1.0, 2.0, 3.0);
  _T_FUNT_BASE3 b;
  EXPECT_EQ(&(b = a), &b);
  _T_FUNT_BASE3 c;
  c = std::move(b);
  EXPECT_EQ(c.first + 10.0 * c.second + 100.0 * c.third, 321.0);
  CArray22 pair;
  EXPECT_EQ(pair.first.GetSize() + pair.second.GetSize(), 0);
}

}  // namespace
}  // namespace Xem::Testing
