#ifndef XEM_TEXT_H
#define XEM_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

#include "xem/array.h"

/// Wide text that the stability reports are appended to.
///
/// A std::wstring with the operations that callers of such texts use. Texts and wide literals compare by what they
/// say, in the order of their characters' numbers; a null pointer to characters counts as the empty text. Comparisons
/// with other pointers, with nullptr and with numbers do not compile: they would compare addresses.
class CString : public std::wstring {
  /// Result, when Other has a built-in comparison or sum with a pointer but is no text.
  template <class Other, class Result, class Value = typename std::decay<Other>::type>
  using IfNoText =
      typename std::enable_if<std::is_same<Value, std::nullptr_t>::value || std::is_arithmetic<Value>::value ||
                                  (std::is_pointer<Value>::value && !std::is_convertible<Value, const wchar_t*>::value),
                              Result>::type;

 public:
  CString() = default;
  CString(const wchar_t* text) { Append(text); }
  CString(std::wstring text) : std::wstring(std::move(text)) {}

  /// The text, null-terminated; valid until the next change.
  const wchar_t* GetString() const { return c_str(); }
  operator const wchar_t*() const { return c_str(); }
  std::int32_t GetLength() const { return static_cast<std::int32_t>(size()); }
  bool IsEmpty() const { return empty(); }
  void Empty() { clear(); }

  /// One character; an index below 0 or not below GetLength() throws CInvalidArgException.
  wchar_t GetAt(std::int64_t index) const {
    if (index < 0 || index >= GetLength()) throw CInvalidArgException("an index into a text is out of range");
    return data()[index];
  }
  /// A template, because for some types of an index the conversion to a pointer would be as good.
  template <class Index, class = typename std::enable_if<std::is_convertible<Index, std::int64_t>::value &&
                                                         !std::is_floating_point<Index>::value>::type>
  wchar_t operator[](Index index) const {
    return GetAt(static_cast<std::int64_t>(index));
  }

  /// Index of the first place, from `start` on, where `part` stands; -1 when there is none, also for a start outside
  /// the text. An empty part stands everywhere, a null pointer nowhere.
  std::int32_t Find(const std::wstring& part, std::int64_t start = 0) const {
    return start < 0 ? -1 : Found(find(part, static_cast<std::size_t>(start)));
  }
  std::int32_t Find(const wchar_t* part, std::int64_t start = 0) const {
    return part == nullptr || start < 0 ? -1 : Found(find(part, static_cast<std::size_t>(start)));
  }
  std::int32_t Find(wchar_t character, std::int64_t start = 0) const {
    return start < 0 ? -1 : Found(find(character, static_cast<std::size_t>(start)));
  }

  /// -1, 0 or 1: this text comes before `other`, is the same, comes after it.
  std::int32_t Compare(const std::wstring& other) const { return Sign(compare(other)); }
  std::int32_t Compare(const wchar_t* other) const { return Sign(compare(other == nullptr ? L"" : other)); }

  /// A null pointer appends nothing.
  void Append(const wchar_t* text) {
    if (text != nullptr) append(text);
  }
  void Append(const std::wstring& text) { append(text); }
  void Append(wchar_t character) { push_back(character); }
  CString& operator+=(const wchar_t* text) { return Appended(text); }
  CString& operator+=(const std::wstring& text) { return Appended(text); }
  CString& operator+=(wchar_t character) { return Appended(character); }

  friend CString operator+(CString left, const CString& right) { return left += right; }
  friend CString operator+(CString left, const wchar_t* right) { return left += right; }
  friend CString operator+(CString left, std::wstring right) { return left += right; }
  friend CString operator+(CString left, wchar_t right) { return left += right; }
  friend CString operator+(const wchar_t* left, const CString& right) { return CString(left) += right; }
  friend CString operator+(std::wstring left, const CString& right) { return CString(std::move(left)) += right; }
  friend CString operator+(wchar_t left, const CString& right) { return CString(std::wstring(1, left)) += right; }

  // A text and a number would have a sum, too: a pointer into the text.
  template <class Other>
  friend IfNoText<Other, CString> operator+(const CString&, const Other&) = delete;
  template <class Other>
  friend IfNoText<Other, CString> operator+(const Other&, const CString&) = delete;

#define XEM_TEXTS_COMPARE(is)                                                                                  \
  friend bool operator is(const CString& left, const CString& right) { return left.Compare(right) is 0; }      \
  friend bool operator is(const CString& left, const std::wstring& right) { return left.Compare(right) is 0; } \
  friend bool operator is(const std::wstring& left, const CString& right) { return 0 is right.Compare(left); } \
  friend bool operator is(const CString& left, const wchar_t* right) { return left.Compare(right) is 0; }      \
  friend bool operator is(const wchar_t* left, const CString& right) { return 0 is right.Compare(left); }      \
  template <class Other>                                                                                       \
  friend IfNoText<Other, bool> operator is(const CString&, const Other&) = delete;                             \
  template <class Other>                                                                                       \
  friend IfNoText<Other, bool> operator is(const Other&, const CString&) = delete;
  XEM_TEXTS_COMPARE(==)
  XEM_TEXTS_COMPARE(!=)
  XEM_TEXTS_COMPARE(<)
  XEM_TEXTS_COMPARE(<=)
  XEM_TEXTS_COMPARE(>)
  XEM_TEXTS_COMPARE(>=)
#undef XEM_TEXTS_COMPARE

 private:
  static std::int32_t Found(std::size_t place) { return place == npos ? -1 : static_cast<std::int32_t>(place); }
  static std::int32_t Sign(int order) { return (order > 0) - (order < 0); }

  template <class Text>
  CString& Appended(const Text& text) {
    Append(text);
    return *this;
  }
};

#endif
