#pragma once

#include <pybind11/pybind11.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "xem/fit/fit.h"
#include "xem/fit/reading.h"

/// What Python asks for, as the fit layer understands it. Everything left out is the fit layer's own choice.
namespace Xem::Python {

/// Keywords of a call. Those that are None were not given.
class Keywords {
 public:
  explicit Keywords(const pybind11::dict& given) : given_(given.attr("copy")()) {}

  /// None where it was not given.
  pybind11::object Take(const char* name);
  void Read(const char* name, double& value);
  void Read(const char* name, int& value);
  void Read(const char* name, bool& value);
  void Read(const char* name, std::string& value);
  template <class Choice>
  struct Word {
    const char* word;
    Choice choice;
  };
  template <class Choice>
  void Read(const char* name, Choice& value, std::initializer_list<Word<Choice>> words) {
    std::string word;
    Read(name, word);
    if (word.empty()) return;
    std::string known;
    for (const Word<Choice>& one : words) {
      if (word == one.word) {
        value = one.choice;
        return;
      }
      known += (known.empty() ? "" : ", ") + std::string(one.word);
    }
    RefuseWord(name, word, known);
  }
  /// Throws Error (BadInput) for keywords that nobody has taken.
  void RefuseOthers(const std::string& purpose) const;

 private:
  [[noreturn]] static void RefuseWord(const char* name, const std::string& word, const std::string& known);

  pybind11::dict given_;
};

/// The tests of a call, as tables; arrays are tables whose columns go by the usual names.
std::vector<Fit::TestTable> TablesFrom(const pybind11::list& given, Keywords& keywords);

/// The tests that the models of a family are fitted to, and what a result should tell of where they came from.
Fit::ReadTests TestsFrom(const Fit::ModelInfo& model, std::vector<Fit::TestTable> tables, Keywords& keywords);

Fit::Options OptionsFrom(Keywords& keywords);

/// The models of a list such as "neo-hooke, ogden:1..3", of one family; "all" stands for those that explain the curves
/// and need no number. A Prony series may leave its number to the data: "prony" or "prony:auto".
std::vector<Fit::ModelChoice> ChoicesFrom(const std::string& text, const std::vector<Fit::TestTable>& tables);

}  // namespace Xem::Python
