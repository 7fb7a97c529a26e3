#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

#include "xem/records.h"
#include "xem/text.h"

namespace Xem::Testing {
namespace {

TEST(Array, ResizingKeepsElementsAndValueInitialisesNewOnes) {
  DoubleArray array;
  EXPECT_EQ(array.GetData(), nullptr);
  array.SetSize(2);
  array[1] = 5.0;
  array.SetSize(1);
  array.SetSize(3);
  EXPECT_EQ(array[1], 0.0);
  array[0] = 7.0;
  array.SetSize(1000);
  EXPECT_EQ(array[0], 7.0);
  EXPECT_EQ(array[999], 0.0);
  array.SetSize(0);
  EXPECT_EQ(array.GetData(), nullptr);
  EXPECT_TRUE(array.IsEmpty());
}

TEST(Array, EveryBadIndexAndNegativeSizeThrowsByValue) {
  DoubleArray array;
  array.SetSize(2);
  const DoubleArray& constant = array;
  EXPECT_THROW(array[-1], CInvalidArgException);
  EXPECT_THROW(array[2], CInvalidArgException);
  EXPECT_THROW(constant[2], CInvalidArgException);
  EXPECT_THROW(array.GetAt(2), CInvalidArgException);
  EXPECT_THROW(array.SetAt(2, 1.0), CInvalidArgException);
  EXPECT_THROW(array.ElementAt(INT64_MIN), CInvalidArgException);
  EXPECT_THROW(array.SetSize(-1), std::invalid_argument);
  EXPECT_THROW(array.SetSize(INT64_MAX), std::bad_alloc);
  array.SetSize(2, INT64_MAX);
  EXPECT_THROW(array.Add(1.0), std::bad_alloc);
  EXPECT_EQ(array.GetSize(), 2);
}

TEST(Array, AddMayAppendAnElementOfItself) {
  PointArray array;
  array.Add({1.0, 2.0});
  for (int i = 0; i < 100; ++i) EXPECT_EQ(array.Add(array[0]), i + 1);
  EXPECT_EQ(array[100].second, 2.0);
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

TEST(Text, AppendsAndKeepsWhatItHas) {
  CString text(L"a");
  text += L"b ";
  text.Append(nullptr);
  EXPECT_STREQ(text.GetString(), L"ab ");
  EXPECT_EQ(text.GetLength(), 3);
  text.Empty();
  EXPECT_TRUE(text.IsEmpty());
}

}  // namespace
}  // namespace Xem::Testing
