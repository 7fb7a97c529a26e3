#ifndef XEM_TEXT_H
#define XEM_TEXT_H

#include <cstdint>
#include <string>

/// Wide text that the stability reports are appended to.
class CString {
 public:
  CString() = default;
  CString(const wchar_t* text) { Append(text); }

  CString& operator+=(const wchar_t* text) {
    Append(text);
    return *this;
  }
  /// Appends a null-terminated text; a null pointer appends nothing.
  void Append(const wchar_t* text) {
    if (text != nullptr) text_.append(text);
  }
  /// The text, null-terminated; valid until the next change.
  const wchar_t* GetString() const { return text_.c_str(); }
  operator const wchar_t*() const { return GetString(); }
  std::int32_t GetLength() const { return static_cast<std::int32_t>(text_.size()); }
  bool IsEmpty() const { return text_.empty(); }
  void Empty() { text_.clear(); }

 private:
  std::wstring text_;
};

#endif
