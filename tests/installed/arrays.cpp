// Arrays as callers of such collections use them, beside a std::vector that does the same.
#include <xem/array.h>
#include <xem/records.h>

#include <cstdint>
#include <limits>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "check.h"

namespace {

using DoubleArray = CArray<double, double&>;
constexpr std::int64_t kHuge = std::numeric_limits<std::int64_t>::max();

bool Same(const DoubleArray& array, const std::vector<double>& expected) {
  return array.GetSize() == static_cast<std::int64_t>(expected.size()) &&
         array.GetUpperBound() == array.GetSize() - 1 && (array.GetData() == nullptr) == expected.empty() &&
         std::vector<double>(array.begin(), array.end()) == expected;
}

DoubleArray Counting(int size) {
  DoubleArray array;
  for (int i = 0; i < size; ++i) array.Add(i + 1.0);
  return array;
}

void CheckSizesAndAccess() {
  DoubleArray array;
  Check(Same(array, {}) && array.IsEmpty() && array.GetCount() == 0, "a new array holds no storage");
  Check(array.Add(7.0) == 0, "Add tells the index");
  array.SetSize(1000);
  Check(array[0] == 7.0 && array[999] == 0.0, "SetSize keeps and zero-fills");
  array.SetAt(999, 5.0);
  array.SetSize(2, 16);
  array.SetSize(1000);
  Check(array.GetAt(999) == 0.0 && array.ElementAt(0) == 7.0, "elements that come back are zero");
  array.RemoveAll();
  Check(Same(array, {}), "size 0 holds no storage");
  array.FreeExtra();
  array.Add(1.0);
  array.FreeExtra();
  Check(Same(array, {1.0}), "FreeExtra keeps the elements");

  double sum = 0.0;
  for (double& element : array) element += 1.0;
  const DoubleArray& fixed = array;
  for (const double element : fixed) sum += element;
  Check(sum == 2.0, "range-for reads and writes");
}

/// Every operation at every place of arrays with and without spare storage.
void CheckEditing() {
  for (int size = 0; size < 6; ++size) {
    for (int place = 0; place < 8; ++place) {
      for (int count = 0; count < 4; ++count) {
        for (const bool spare : {false, true}) {
          DoubleArray array = Counting(size);
          if (spare) array.InsertAt(size, 7.0, 12), array.RemoveAt(size, 12);  // not zero
          if (!spare) array.FreeExtra();
          std::vector<double> expected(array.begin(), array.end());

          array.InsertAt(place, -1.0, count);
          if (count > 0 && place > size) expected.resize(static_cast<std::size_t>(place));
          if (count > 0) expected.insert(expected.begin() + place, static_cast<std::size_t>(count), -1.0);
          Check(Same(array, expected), "InsertAt moves what is behind, and grows beyond the end");

          if (place + count <= array.GetSize()) {
            array.RemoveAt(place, count);
            expected.erase(expected.begin() + place, expected.begin() + place + count);
            Check(Same(array, expected), "RemoveAt closes the gap");
          } else {
            Check(Throws<CInvalidArgException>([&] { array.RemoveAt(place, count); }), "RemoveAt beyond the end");
          }

          array.SetAtGrow(place, 9.0);
          if (place >= static_cast<int>(expected.size())) expected.resize(static_cast<std::size_t>(place) + 1);
          expected[static_cast<std::size_t>(place)] = 9.0;
          Check(Same(array, expected), "SetAtGrow sets or grows");

          // The array's own elements, and the array itself.
          array.InsertAt(place / 2, array[place], count);
          expected.insert(expected.begin() + place / 2, static_cast<std::size_t>(count), 9.0);
          Check(Same(array, expected), "InsertAt takes an element of the array");
          array.InsertAt(place, array);
          const std::vector<double> twice = expected;
          expected.insert(expected.begin() + place, twice.begin(), twice.end());
          Check(Same(array, expected), "InsertAt takes the array itself");
          const std::int64_t first = array.Append(array);
          Check(first == static_cast<std::int64_t>(expected.size()), "Append tells the first new index");
          Check(array.GetSize() == 2 * first && array[first] == array[0], "Append takes the array itself");
          array.RemoveAt(0, array.GetSize());
          Check(Same(array, {}), "nothing left holds no storage");
        }
      }
    }
  }
  DoubleArray array = Counting(3), other = Counting(2);
  array.InsertAt(1, &other);
  array.InsertAt(0, 0);
  Check(Same(array, {0.0, 1.0, 1.0, 2.0, 2.0, 3.0}), "InsertAt takes an address, and 0 as an element");
  other.Copy(array);
  other.Copy(other);
  array[0] = 4.0;
  Check(Same(other, {0.0, 1.0, 1.0, 2.0, 2.0, 3.0}), "Copy copies");
  other.Copy(DoubleArray());
  Check(Same(other, {}), "Copy of nothing is empty");
}

void CheckBadArguments() {
  DoubleArray array = Counting(3);
  const DoubleArray& fixed = array;
  using Bad = CInvalidArgException;
  Check(Throws<Bad>([&] { array[3] = 1.0; }), "an index beyond the end");
  Check(Throws<Bad>([&] { static_cast<void>(fixed[-1]); }), "a negative index");
  Check(Throws<Bad>([&] { static_cast<void>(fixed.GetAt(3)); }), "GetAt beyond the end");
  Check(Throws<Bad>([&] { array.SetAt(3, 1.0); }), "SetAt beyond the end");
  Check(Throws<Bad>([&] { array.SetAtGrow(-1, 1.0); }), "SetAtGrow before the start");
  Check(Throws<Bad>([&] { array.InsertAt(-1, 1.0); }), "InsertAt before the start");
  Check(Throws<Bad>([&] { array.InsertAt(0, 1.0, -1); }), "InsertAt of a negative count");
  Check(Throws<Bad>([&] { array.InsertAt(-1, Counting(1)); }), "InsertAt of an array before the start");
  Check(Throws<Bad>([&] { array.InsertAt(0, static_cast<DoubleArray*>(nullptr)); }), "InsertAt of no array");
  Check(Throws<Bad>([&] { array.RemoveAt(-1); }), "RemoveAt before the start");
  Check(Throws<Bad>([&] { array.RemoveAt(0, -1); }), "RemoveAt of a negative count");
  Check(Throws<Bad>([&] { array.RemoveAt(1, kHuge); }), "RemoveAt of more than there is");
  Check(Throws<Bad>([&] { array.SetSize(-1); }), "a negative size");
  Check(Throws<std::bad_alloc>([&] { array.SetSize(kHuge); }), "an absurd size");
  Check(Throws<std::bad_alloc>([&] { array.SetAtGrow(kHuge, 1.0); }), "an absurd index to set");
  Check(Throws<std::bad_alloc>([&] { array.InsertAt(kHuge, 1.0, kHuge); }), "an absurd count");
  Check(Same(array, {1.0, 2.0, 3.0}), "errors leave the array alone");
}

DoubleArray OneOf(bool first) {
  DoubleArray a = Counting(1), b = Counting(2);
  if (first) return a;
  return b;
}

void CheckMoves() {
  std::vector<DoubleArray> arrays;
  for (int i = 0; i < 20; ++i) arrays.push_back(OneOf(i % 2 == 0));
  arrays.erase(arrays.begin());
  Check(arrays.size() == 19 && Same(arrays[0], {1.0, 2.0}) && Same(arrays[16], {1.0, 2.0}), "arrays move in a vector");
  const double* data = arrays[0].GetData();
  DoubleArray taken(std::move(arrays[0]));
  Check(taken.GetData() == data, "a move takes the storage");
  arrays[0].Add(5.0);
  Check(Same(arrays[0], {5.0}), "what was moved from is empty and can be used");
  DoubleArray& itself = taken;
  taken = std::move(itself);
  Check(Same(taken, {1.0, 2.0}), "a move to itself changes nothing");
  taken = std::move(arrays[0]);
  Check(Same(taken, {5.0}) && Same(arrays[0], {}), "move assignment");
}

/// An element that runs out of memory in its n-th construction or copy.
struct Fragile {
  Fragile() { Spend(); }
  Fragile(int number) : value(number) {}
  Fragile(const Fragile& other) : value(other.value) { Spend(); }
  Fragile(Fragile&& other) noexcept : value(other.value) { other.value = -1; }
  Fragile& operator=(const Fragile& other) {
    Spend();
    value = other.value;
    return *this;
  }
  Fragile& operator=(Fragile&& other) noexcept {
    std::swap(value, other.value);
    return *this;
  }
  static void Spend() {
    if (budget-- == 0) throw std::bad_alloc();
  }
  static int budget;
  int value = 0;
};
int Fragile::budget = 0;

template <class Operation>
void CheckStrongSafety(const char* what, Operation operation) {
  for (const int spare : {0, 8}) {
    for (int budget = 0;; ++budget) {
      CArray<Fragile> array;
      Fragile::budget = 1000;
      for (int i = 0; i < 5; ++i) array.Add(Fragile(i));
      array.FreeExtra();
      if (spare > 0) array.SetSize(5 + spare), array.RemoveAt(5, spare);
      Fragile::budget = budget;
      const bool failed = Throws<std::bad_alloc>([&] { operation(array); });
      if (!failed) break;
      bool same = array.GetSize() == 5;
      for (int i = 0; same && i < 5; ++i) same = array[i].value == i;
      Check(same, what);
    }
  }
}

void CheckMemoryThatRunsOut() {
  CheckStrongSafety("Add", [](CArray<Fragile>& array) { array.Add(array[1]); });
  CheckStrongSafety("SetSize", [](CArray<Fragile>& array) { array.SetSize(9); });
  CheckStrongSafety("SetAtGrow", [](CArray<Fragile>& array) { array.SetAtGrow(8, array[2]); });
  CheckStrongSafety("InsertAt", [](CArray<Fragile>& array) { array.InsertAt(2, array[3], 3); });
  CheckStrongSafety("InsertAt of an array", [](CArray<Fragile>& array) { array.InsertAt(2, array); });
  CheckStrongSafety("Append", [](CArray<Fragile>& array) { array.Append(array); });
  CheckStrongSafety("FreeExtra", [](CArray<Fragile>& array) { array.FreeExtra(); });
  CheckStrongSafety("Copy", [](CArray<Fragile>& array) {
    CArray<Fragile> other;
    other.Append(array);
    array.Copy(other);
  });
}

}  // namespace

void CheckArrays() {
  CheckSizesAndAccess();
  CheckEditing();
  CheckBadArguments();
  CheckMoves();
  CheckMemoryThatRunsOut();
}
