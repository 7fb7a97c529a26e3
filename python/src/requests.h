#pragma once

#include <pybind11/pybind11.h>

#include <string>
#include <vector>

#include "xem/fit/fit.h"

/// What Python asks for, as the fit layer understands it. Everything left out is the fit layer's own choice.
namespace Xem::Python {

/// Keywords of a call. Those that are None were not given.
class Keywords {
 public:
  explicit Keywords(pybind11::dict given) : given_(std::move(given)) {}

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

/// A measured curve and the curve of the catalogue that it is.
struct GivenCurve {
  std::string slot;
  Fit::Curve curve;
  double stress = 0.0;  ///< of a creep test; 0: not told
};

/// From dictionaries with "slot", "x" and "y", and what else a curve may have.
std::vector<GivenCurve> CurvesFrom(const pybind11::list& given);

/// The tests that the models of a family are fitted to.
Fit::Tests TestsFrom(const Fit::ModelInfo& model, std::vector<GivenCurve> curves, Keywords& keywords);

Fit::Options OptionsFrom(Keywords& keywords);

/// The models of a list such as "neo-hooke, ogden:1..3", of one family; "all" stands for those that explain the curves
/// and need no number. A Prony series may leave its number to the data: "prony" or "prony:auto".
std::vector<Fit::ModelChoice> ChoicesFrom(const std::string& text, const std::vector<GivenCurve>& curves);

}  // namespace Xem::Python
