#pragma once

// What the C++ library of Debian's emscripten has not learnt yet of C++20: read before every file, so that these need
// not know. Each part goes out by itself where the library has it.

#include <algorithm>
#include <charconv>
#include <cmath>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <version>

#ifndef __cpp_lib_ranges
namespace std::ranges {

template <class Range, class Value>
void fill(Range&& range, const Value& value) {
  std::fill(std::begin(range), std::end(range), value);
}

template <class Range, class Output>
void copy(Range&& range, Output output) {
  std::copy(std::begin(range), std::end(range), output);
}

template <class Range, class Predicate>
bool all_of(Range&& range, Predicate predicate) {
  return std::all_of(std::begin(range), std::end(range), predicate);
}

template <class Range, class Predicate>
bool any_of(Range&& range, Predicate predicate) {
  return std::any_of(std::begin(range), std::end(range), predicate);
}

template <class Range, class Predicate>
bool none_of(Range&& range, Predicate predicate) {
  return std::none_of(std::begin(range), std::end(range), predicate);
}

template <class First, class Second, class... Predicate>
bool equal(First&& first, Second&& second, Predicate... predicate) {
  return std::equal(std::begin(first), std::end(first), std::begin(second), std::end(second), predicate...);
}

template <class Range, class Predicate>
auto count_if(Range&& range, Predicate predicate) {
  return std::count_if(std::begin(range), std::end(range), predicate);
}

template <class Range, class Output, class Operation>
void transform(Range&& range, Output output, Operation operation) {
  std::transform(std::begin(range), std::end(range), output, operation);
}

template <class First, class Second, class Output, class Operation>
void transform(First&& first, Second&& second, Output output, Operation operation) {
  std::transform(std::begin(first), std::end(first), std::begin(second), output, operation);
}

}  // namespace std::ranges

namespace std {

/// The total order of IEEE 754: declared by that library, defined nowhere.
template <>
inline strong_ordering strong_order<double>(const double& a, const double& b) {
  const auto rank = [](double x) {
    int64_t bits;
    memcpy(&bits, &x, sizeof bits);
    return bits < 0 ? bits ^ INT64_MAX : bits;
  };
  return rank(a) <=> rank(b);
}

template <class Array>
unique_ptr<Array> make_unique_for_overwrite(size_t count) {
  return unique_ptr<Array>(new remove_extent_t<Array>[count]);
}

}  // namespace std
#endif

#ifndef __cpp_lib_to_chars  // for floating-point numbers
namespace Xem::Web {

/// Moves along a text that may end anywhere.
class Cursor {
 public:
  Cursor(const char* begin, const char* end) : at_(begin), end_(end) {}
  const char* At() const { return at_; }

  bool Skip(char letter) {
    if (at_ == end_ || *at_ != letter) return false;
    ++at_;
    return true;
  }
  bool SkipWord(std::string_view word) {
    const char* next = at_;
    for (const char letter : word) {
      if (next == end_ || (*next | 0x20) != letter) return false;
      ++next;
    }
    at_ = next;
    return true;
  }
  bool SkipDigits() {
    const char* const first = at_;
    while (at_ != end_ && *at_ >= '0' && *at_ <= '9') ++at_;
    return at_ != first;
  }
  /// e+12; all of it or nothing.
  void SkipExponent() {
    Cursor behind = *this;
    if (!behind.SkipWord("e")) return;
    if (!behind.Skip('+')) behind.Skip('-');
    if (behind.SkipDigits()) *this = behind;
  }
  /// (12ab_); all of it or nothing.
  void SkipParentheses() {
    Cursor behind = *this;
    if (!behind.Skip('(')) return;
    const auto isPart = [](char letter) {
      return (letter >= '0' && letter <= '9') || ((letter | 0x20) >= 'a' && (letter | 0x20) <= 'z') || letter == '_';
    };
    while (behind.at_ != end_ && isPart(*behind.at_)) ++behind.at_;
    if (behind.Skip(')')) *this = behind;
  }

 private:
  const char* at_;
  const char* end_;
};

/// Behind the number at the beginning of a text; `begin` where there is none. strtod would skip spaces, take a plus and
/// read hexadecimal digits.
inline const char* EndOfNumber(const char* begin, const char* end) {
  Cursor cursor(begin, end);
  cursor.Skip('-');
  if (cursor.SkipWord("inf")) {
    cursor.SkipWord("inity");
  } else if (cursor.SkipWord("nan")) {
    cursor.SkipParentheses();
  } else {
    const bool whole = cursor.SkipDigits();
    const bool point = cursor.Skip('.');
    const bool fraction = point && cursor.SkipDigits();
    if (!whole && !fraction) return begin;
    cursor.SkipExponent();
  }
  return cursor.At();
}

}  // namespace Xem::Web

namespace std {

inline from_chars_result from_chars(const char* begin, const char* end, double& value) {
  const char* const last = Xem::Web::EndOfNumber(begin, end);
  if (last == begin) return {begin, errc::invalid_argument};
  const string_view text(begin, static_cast<size_t>(last - begin));
  const double number = strtod(string(text).c_str(), nullptr);
  const bool isWord = text.find_first_of("nN") != text.npos;
  const bool isZero = text.substr(0, text.find_first_of("eE")).find_first_of("123456789") == text.npos;
  if (!isWord && (isinf(number) || (number == 0.0 && !isZero))) return {last, errc::result_out_of_range};
  value = number;
  return {last, errc()};
}

/// The fewest digits that are read as this number again, in the shorter of the two ways to write them.
inline to_chars_result to_chars(char* first, char* last, double value) {
  char scientific[32];
  int digits = 0;
  do {
    snprintf(scientific, sizeof scientific, "%.*e", digits++, value);
  } while (isfinite(value) && digits < 17 && strtod(scientific, nullptr) != value);
  string text = scientific;
  if (isfinite(value)) {
    const int exponent = atoi(text.c_str() + text.find('e') + 1);
    char fixed[400];
    snprintf(fixed, sizeof fixed, "%.*f", digits - 1 > exponent ? digits - 1 - exponent : 0, value);
    if (strlen(fixed) <= text.size()) text = fixed;
  }
  if (last - first < static_cast<ptrdiff_t>(text.size())) return {last, errc::value_too_large};
  return {std::copy(text.begin(), text.end(), first), errc()};
}

}  // namespace std
#endif
