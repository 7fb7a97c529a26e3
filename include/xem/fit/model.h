#ifndef XEM_FIT_MODEL_H
#define XEM_FIT_MODEL_H

#include <limits>
#include <string>
#include <vector>

#include "xem/fit/export.h"

/// @file
/// The catalogue: every model by name, with all that a person or a program has to know of it before a fit.
///
/// Units are told by kind, as words: "stress", "time", "suction", "1/suction"; empty for pure numbers. The unit itself
/// is the one that the data of a fit are in.
namespace Xem::Fit {

/// A curve that a model explains.
struct CurveInfo {
  std::string name;  ///< as in results, such as "uniaxial"
  std::string x;     ///< "nominal strain"
  std::string xUnit;
  std::string y;  ///< "nominal stress"
  std::string yUnit;
  std::string companion = {};  ///< a further column that the model uses where there is one, such as "lateral strain"
  bool logarithmic = false;    ///< the abscissa spans decades
};

struct ParameterInfo {
  std::string name;
  std::string unit = {};
  double lower = -std::numeric_limits<double>::infinity();  ///< the range that a fit keeps it in
  double upper = std::numeric_limits<double>::infinity();
  std::string meaning = {};
  bool zeroIsUsual = false;  ///< 0 is a value like any other, so an interval that holds it is no reason for doubt
};

struct ModelInfo {
  std::string name;    ///< "ogden"
  std::string title;   ///< "Ogden"
  std::string family;  ///< one of ModelFamilies()
  /// Models that are a series: how many terms (or which order) they may have, and what is taken when nobody says, 0
  /// where somebody must. All 0 for models without.
  int fewestTerms = 0;
  int mostTerms = 0;
  int usualTerms = 0;
  std::vector<std::string> variants = {};      ///< words that stand in the place of a number of terms
  std::vector<CurveInfo> curves = {};          ///< any of them may be given unless the model says otherwise
  std::vector<ParameterInfo> parameters = {};  ///< those of usualTerms, or of a short series
  std::string formula;
  std::string source;             ///< author and year
  std::string plainExport = {};   ///< the exported function that fits it; empty where none does
  std::string page = {};          ///< of the documentation, such as "theory/ogden.md"
  std::string conductivity = {};  ///< retention: closed form of Mualem's K/Ks; empty where the model has none
};

/// "rubber", "relaxation", "shift", "creep", "cyclic", "hardening", "forming", "retention".
XEM_FIT_EXPORT const std::vector<std::string>& ModelFamilies();

/// Every model, family by family.
XEM_FIT_EXPORT const std::vector<ModelInfo>& Models();

/// By name, null where there is none.
XEM_FIT_EXPORT const ModelInfo* FindModel(const std::string& name);

/// The parameters of a model of so many terms (0: usualTerms). Throws Error (BadInput) for an unknown name or an
/// impossible number.
XEM_FIT_EXPORT std::vector<ParameterInfo> ModelParameters(const std::string& name, int terms = 0);

/// A model and how many terms it shall have: "ogden:3" or "neo-hooke". The number of a variant counts from 1.
struct ModelChoice {
  std::string name;
  int terms = 0;

  XEM_FIT_EXPORT std::string Label() const;
};

/// The names of one family as people write them, such as "ogden:N, yeoh[:N], blatz-ko"; `curve` leaves out models that
/// do not explain the curve of that name.
XEM_FIT_EXPORT std::vector<std::string> ModelNames(const std::string& family, const std::string& curve = "");

/// The models named in a list such as "neo-hooke,yeoh,ogden:1..3", out of those of ModelNames; "all" stands for those
/// that need no number of terms. Throws Error (BadInput) naming the models there are.
XEM_FIT_EXPORT std::vector<ModelChoice> ChooseModels(const std::string& text, const std::string& family,
                                                     const std::string& curve = "");

}  // namespace Xem::Fit

#endif
