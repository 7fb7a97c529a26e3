#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <vector>

/// Values as a line of text, for this tool alone: fields that end with a tab. A reader takes the values that a writer
/// was given, in the same order; so that both are told of them at one place, each type of element of a list has an
/// `Exchange(fields, element)`.
namespace Xem::Tool {

class FieldWriter {
 public:
  FieldWriter& operator()(std::string_view text) {
    for (const char letter : text) {
      switch (letter) {
        case '\t':
          buffer_.append(std::string_view("\\t"));
          break;
        case '\n':
          buffer_.append(std::string_view("\\n"));
          break;
        case '\\':
          buffer_.append(std::string_view("\\\\"));
          break;
        default:
          buffer_.push_back(letter);
      }
    }
    return End();
  }
  FieldWriter& operator()(const std::string& text) { return (*this)(std::string_view(text)); }
  FieldWriter& operator()(double value) { return Format(value); }
  FieldWriter& operator()(int value) { return Format(value); }
  FieldWriter& operator()(bool value) { return Format(value ? 1 : 0); }
  template <class Element>
  FieldWriter& operator()(const std::vector<Element>& elements) {
    Format(elements.size());
    for (const Element& element : elements) Exchange(*this, element);
    return *this;
  }

  std::string Text() const { return fmt::to_string(buffer_); }

 private:
  template <class Value>
  FieldWriter& Format(Value value) {
    fmt::format_to(std::back_inserter(buffer_), "{}", value);
    return End();
  }
  FieldWriter& End() {
    buffer_.push_back('\t');
    return *this;
  }

  fmt::memory_buffer buffer_;
};

/// Throws std::runtime_error for a text that is not what a writer wrote.
class FieldReader {
 public:
  explicit FieldReader(std::string_view text) : rest_(text) {}

  FieldReader& operator()(std::string& text) {
    const std::string_view field = Next();
    text.clear();
    for (std::size_t i = 0; i < field.size(); ++i) {
      const bool escaped = field[i] == '\\' && i + 1 < field.size();
      if (escaped) ++i;
      text += !escaped || field[i] == '\\' ? field[i] : field[i] == 't' ? '\t' : '\n';
    }
    return *this;
  }
  FieldReader& operator()(double& value) { return Parse(value); }
  FieldReader& operator()(int& value) { return Parse(value); }
  FieldReader& operator()(bool& value) {
    int number = 0;
    Parse(number);
    value = number != 0;
    return *this;
  }
  template <class Element>
  FieldReader& operator()(std::vector<Element>& elements) {
    std::size_t count = 0;
    Parse(count);
    elements.clear();
    elements.reserve(std::min(count, rest_.size()));  // an element has a field at least
    while (elements.size() < count) Exchange(*this, elements.emplace_back());
    return *this;
  }

 private:
  std::string_view Next() {
    const std::size_t end = rest_.find('\t');
    if (end == std::string_view::npos) throw std::runtime_error("a field is missing");
    const std::string_view field = rest_.substr(0, end);
    rest_.remove_prefix(end + 1);
    return field;
  }
  template <class Value>
  FieldReader& Parse(Value& value) {
    const std::string_view field = Next();
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
    if (error != std::errc() || end != field.data() + field.size()) throw std::runtime_error("not a number");
    return *this;
  }

  std::string_view rest_;
};

/// What is written is constant, what is read is not.
template <class Type, class Wanted>
concept ConstOr = std::same_as<std::remove_const_t<Type>, Wanted>;

template <class Fields, ConstOr<double> Number>
void Exchange(Fields& fields, Number& value) {
  fields(value);
}

}  // namespace Xem::Tool
