// Texts as callers of such classes use them. What must not compile is asked for without compiling it.
#include <xem/text.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "check.h"

namespace {

template <class Left, class Right, class = void>
struct Comparable : std::false_type {};
template <class Left, class Right>
struct Comparable<Left, Right, decltype(void(std::declval<Left>() == std::declval<Right>()))> : std::true_type {};

// Nothing compares addresses.
static_assert(Comparable<CString, CString>::value && Comparable<CString, const wchar_t (&)[4]>::value, "");
static_assert(Comparable<wchar_t*, const CString&>::value && Comparable<CString, std::wstring>::value, "");
static_assert(!Comparable<CString, std::nullptr_t>::value && !Comparable<std::nullptr_t, CString>::value, "");
static_assert(!Comparable<CString, const void*>::value && !Comparable<CString, void*>::value, "");
static_assert(!Comparable<CString, int>::value && !Comparable<CString, const char (&)[4]>::value, "");

/// All relations of two operands, whichever types they have.
template <class Left, class Right>
void CheckRelations(const Left& left, const Right& right, int order, const char* what) {
  Check((left == right) == (order == 0) && (left != right) == (order != 0), what);
  Check((left < right) == (order < 0) && (left <= right) == (order <= 0), what);
  Check((left > right) == (order > 0) && (left >= right) == (order >= 0), what);
}

void CheckComparisons() {
  const wchar_t* words[] = {L"", L"stable", L"stable ", L"unstable"};
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) {
      const CString a(words[i]), b(words[j]);
      const std::wstring copy(words[j]);  // another address
      const int order = (i > j) - (i < j);
      CheckRelations(a, b, order, "text and text");
      CheckRelations(a, copy.c_str(), order, "text and literal");
      CheckRelations(words[i], b, order, "literal and text");
      CheckRelations(a, copy, order, "text and string");
      CheckRelations(std::wstring(words[i]), b, order, "string and text");
      Check(a.Compare(b) == order && a.Compare(copy.c_str()) == order && a.Compare(copy) == order, "Compare's sign");
    }
  }
  const CString report(L"stable");
  wchar_t buffer[] = L"stable";
  wchar_t* pointer = buffer;
  const wchar_t* null = nullptr;
  Check(report == L"stable" && L"stable" == report && report == buffer && pointer == report, "literals and buffers");
  Check(CString(null) == null && report != null && report.Compare(nullptr) == 1, "a null pointer is the empty text");
  std::map<CString, int> numbers;
  numbers[L"b"] = 2;
  numbers[report] = 1;
  Check(numbers.begin()->first == L"b" && numbers[CString(L"stable")] == 1, "texts are keys");
}

enum Column { kThird = 2 };

void CheckCharacters() {
  const CString text(L"abc");
  Check(text.GetLength() == 3 && !text.IsEmpty() && CString().IsEmpty(), "length");
  Check(text[0] == L'a' && text[std::size_t{1}] == L'b' && text[2L] == L'c' && text[2LL] == L'c' && text[2u] == L'c' &&
            text[std::int64_t{1}] == L'b' && text[short{1}] == L'b' && text[kThird] == L'c' && text.GetAt(1) == L'b',
        "an index of any type");
  for (const int bad : {-1, 3, 1000}) {
    Check(Throws<CInvalidArgException>([&] { static_cast<void>(text[bad]); }), "a bad index");
    Check(Throws<CInvalidArgException>([&] { static_cast<void>(text.GetAt(bad)); }), "a bad index of GetAt");
  }
  const std::size_t huge = std::numeric_limits<std::size_t>::max();
  Check(Throws<CInvalidArgException>([&] { static_cast<void>(text[huge]); }), "a huge index");
}

void CheckFind() {
  const CString text(L"uniaxial: stable, planar: unstable");
  const CString word(L"stable");
  Check(text.Find(L"stable") == 10 && text.Find(word) == 10 && text.Find(std::wstring(L"stable")) == 10, "Find");
  Check(text.Find(word, 11) == 28 && text.Find(word, 29) == -1 && text.Find(L"soft") == -1, "Find from a place on");
  Check(text.Find(L':') == 8 && text.Find(L':', 9) == 24 && text.Find(L'z') == -1, "Find of a character");
  Check(text.Find(L"u", -1) == -1 && text.Find(L'u', 1000) == -1 && text.Find(word, 1000) == -1, "Find from outside");
  Check(text.Find(L"", 5) == 5 && text.Find(nullptr) == -1, "Find of nothing");
}

void CheckSums() {
  CString text(L"a");
  const CString other(L"b");
  const std::wstring string(L"c");
  ((text += other) += string) += L"de";
  text += L'f';
  Check(text == L"abcdef", "+=");
  text.Append(other);
  text.Append(string);
  text.Append(L"de");
  text.Append(L'f');
  text.Append(nullptr);
  Check(text == L"abcdefbcdef", "Append");
  text += text;
  Check(text.GetLength() == 22 && text.Find(L"fabc") == 10, "a text takes itself");
  Check(other + other + L"x" + L'y' + string + std::wstring(L"z") == L"bbxycz", "text + anything");
  Check(L"x" + (L'y' + (string + (std::wstring(L"z") + other))) == L"xyczb", "anything + text");
  Check(other == L"b", "+ leaves its operands");
  text.Empty();
  Check(text.IsEmpty() && text.GetString()[0] == L'\0', "Empty");
}

std::wstring::size_type Length(const std::wstring& text) { return text.size(); }
std::int32_t LengthOfText(const CString& text) { return text.GetLength(); }

void CheckConversions() {
  const std::wstring string(L"abc");
  CString text = string, again(string), copy = text, literal = L"abc";
  std::wstring a = text, b(text), c{text}, d;
  d = text;
  Check(text == again && text == copy && text == literal && a == string && a == b && a == c && a == d, "conversions");
  Check(Length(text) == 3 && LengthOfText(string) == 3 && LengthOfText(L"abc") == 3, "conversions of arguments");
  const wchar_t* pointer = text;
  Check(pointer == text.GetString() && std::wstring(pointer) == string, "a text is a pointer to characters");
  CString moved(std::move(copy));
  again = std::move(moved);
  text = again;
  Check(text == string, "copies and moves");
  std::vector<CString> texts(3, text);
  texts.push_back(L"d");
  Check(texts[0] == text && texts[3] == L"d", "texts in a vector");
}

}  // namespace

void CheckTexts() {
  CheckComparisons();
  CheckCharacters();
  CheckFind();
  CheckSums();
  CheckConversions();
}
