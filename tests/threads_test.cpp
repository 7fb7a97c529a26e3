#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "support/every_export.h"

namespace Xem::Testing {
namespace {

bool SameBits(const std::vector<double>& a, const std::vector<double>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0;
}

/// Every call alone, then all of them on many threads, each thread with an order of its own: the same bits come back.
void ExpectTheSameBitsOnManyThreads(std::span<const Call> calls, std::size_t threadCount, std::size_t rounds) {
  std::vector<std::vector<double>> alone;
  for (const Call& call : calls) alone.push_back(call.run());

  std::mutex mutex;
  std::set<std::string> different;
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < threadCount; ++t) {
    threads.emplace_back([&, t] {
      for (std::size_t step = 0; step < rounds * calls.size(); ++step) {
        // In the first round all threads make the same call at a time, later each starts elsewhere.
        const std::size_t row = (step + step / calls.size() * t * 3) % calls.size();
        if (SameBits(calls[row].run(), alone[row])) continue;
        const std::lock_guard lock(mutex);
        different.insert(calls[row].name);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::string& name : different) ADD_FAILURE() << name << " gave other bits on several threads";
}

TEST(Threads, ExportsShareNothing) {
  ASSERT_EQ(EveryExport().size(), 26u);
  ExpectTheSameBitsOnManyThreads(EveryExport(), 8, 3);
}

TEST(Threads, FitsShareNothing) {
  // This export leaves the BLAS library on one thread. With more, OpenBLAS may hand small matrices from thread to
  // thread, and all callers wait for each other.
  EveryExport().front().run();
  ExpectTheSameBitsOnManyThreads(FitLayerCalls(), 4, 2);
}

/// The thread count of the BLAS library, where it is one that can be asked.
class BlasThreads : public testing::Test {
 protected:
  template <class Function>
  static Function Find(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, name));
  }
  const std::function<int()> get_{Find<int (*)()>("openblas_get_num_threads")};
  const std::function<void(int)> set_{Find<void (*)(int)>("openblas_set_num_threads")};
  int before_ = 0;

  void SetUp() override {
    if (!get_ || !set_) GTEST_SKIP() << "this BLAS library does not tell its thread count";
    before_ = get_();
    set_(2);
    if (get_() != 2) GTEST_SKIP() << "this BLAS library has one thread only";
  }
  void TearDown() override {
    if (before_ > 0) set_(before_);
  }
  /// The count after a call that found 2.
  int After(const Call& call) {
    set_(2);
    call.run();
    return get_();
  }
};

TEST_F(BlasThreads, AreSetToOneByThePolynomialAndOgdenExportsOnly) {
  const std::set<std::string> setters = {"CurveFitting4Polynominal", "ComputeStress4Polynominal", "CurveFitting4Ogden",
                                         "ComputeStress4Ogden"};
  for (const Call& call : EveryExport()) EXPECT_EQ(After(call), setters.count(call.name) == 1 ? 1 : 2) << call.name;
}

TEST_F(BlasThreads, AreLeftAloneByTheFitLayer) {
  for (const Call& call : FitLayerCalls()) EXPECT_EQ(After(call), 2) << call.name;
}

}  // namespace
}  // namespace Xem::Testing
