#include "xem/fit/card.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <optional>

#include "fit/model.h"
#include "fit/models/rubber.h"
#include "stability/volumetric_energy.h"

namespace Xem::Fit {
namespace {

/// Between two points of a table the law may differ from a straight line by this part of the stress.
constexpr double kTableError = 1e-3;
constexpr double kTableEnd = 1.0;
constexpr std::size_t kLongestTable = 400;

std::string Number(double value) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.12g", value);
  return buffer;
}

std::string Joined(const std::vector<double>& numbers) {
  std::string text;
  for (const double number : numbers) text += (text.empty() ? "" : ", ") + Number(number);
  return text;
}

[[noreturn]] void Refuse(const std::string& sentence) { throw Error(ErrorKind::BadInput, sentence); }

std::string UnitOf(const Result& result, const std::string& parameter) {
  for (const Parameter& one : result.parameters) {
    if (one.name == parameter) return one.unit;
  }
  return "";
}

/// The unit of stress, empty where the result does not say: that of the first parameter that is one.
std::string StressUnit(const Result& result) {
  const ModelInfo* info = FindModel(result.model);
  for (const ParameterInfo& parameter : ModelParameters(info->name, result.terms)) {
    if (parameter.unit == "stress") return UnitOf(result, parameter.name);
  }
  return "";
}

/// A rubber as its parameters and D1, D2, ... of U = sum D_k (J - 1)^(2k).
struct Rubber {
  std::vector<double> parameters;  ///< as results show them
  std::vector<double> volumetric;
  bool measured = false;  ///< volumetric data were fitted
  double shearModulus = 0.0;
};

Rubber RubberOf(const Model& model, const Result& result) {
  const StoredRubber stored = SplitStored(result);
  const RubberLaw& law = *model.rubber;
  Rubber rubber{stored.model, stored.volumetric, !stored.volumetric.empty(), 0.0};
  // Says what is wrong with the number of parameters.
  const std::vector<double> own = law.expand ? law.expand(result.terms, stored.model) : stored.model;
  const std::size_t needed = law.expand ? own.size() : law.parameters(result.terms).size();
  if (own.empty() || own.size() != needed) {
    Refuse("model " + result.model + " has " + std::to_string(needed) + " parameters, not " +
           std::to_string(own.size()));
  }
  rubber.shearModulus = law.shearModulus(own);
  if (!rubber.measured) {
    const auto assumed = MaterialUtil::DefaultVolumetricCoefficients(1, rubber.shearModulus);
    rubber.volumetric = {assumed.begin(), assumed.end()};
  }
  return rubber;
}

// --- CalculiX --------------------------------------------------------------------------------------------------------

/// Lines of eight numbers, as that program reads them.
std::string DataLines(const std::vector<double>& numbers) {
  constexpr std::size_t kPerLine = 8;
  std::string text;
  for (std::size_t k = 0; k < numbers.size(); ++k) {
    text += Number(numbers[k]) + ((k + 1) % kPerLine == 0 || k + 1 == numbers.size() ? "\n" : ", ");
  }
  return text;
}

/// `count` compressibilities 1/D_k; the last ones of a shorter series are 0, which stands for none.
void AppendCompressibility(const Rubber& rubber, std::size_t count, std::vector<double>& numbers, std::string& head) {
  for (std::size_t k = 0; k < count; ++k) {
    numbers.push_back(k < rubber.volumetric.size() && rubber.volumetric[k] != 0.0 ? 1.0 / rubber.volumetric[k] : 0.0);
  }
  if (rubber.volumetric.size() > count) {
    head +=
        "** volumetric terms beyond the first " + std::to_string(count) + " are left out: there is no place for them\n";
  }
  if (!rubber.measured) head += "** bulk modulus of a Poisson ratio of 0.495: there were no volumetric data\n";
}

std::string CalculixRubber(const Model& model, const Result& result, std::string& head) {
  const Rubber rubber = RubberOf(model, result);
  const std::string& name = result.model;
  std::vector<double> numbers = rubber.parameters;
  std::string keyword;
  std::size_t compressibilities = 1;
  const auto terms = static_cast<std::size_t>(result.terms);
  if (name == "neo-hooke") {
    keyword = "NEO HOOKE";
  } else if (name == "mooney-rivlin") {
    keyword = "MOONEY-RIVLIN";
  } else if (name == "arruda-boyce") {
    keyword = "ARRUDA-BOYCE";
  } else if (name == "polynomial" || name == "yeoh") {
    if (terms > 3) Refuse("CalculiX knows polynomials up to order 3, this one has order " + std::to_string(terms));
    keyword = std::string(name == "yeoh" ? "REDUCED POLYNOMIAL" : "POLYNOMIAL") + ", N=" + std::to_string(terms);
    compressibilities = terms;
  } else if (name == "ogden") {
    if (terms > 4) Refuse("CalculiX knows up to 4 Ogden terms, this model has " + std::to_string(terms));
    keyword = "OGDEN, N=" + std::to_string(terms);
    compressibilities = terms;
    // There the energy is sum 2 mu/alpha^2 (...).
    for (std::size_t k = 0; k < numbers.size(); k += 2) numbers[k] *= numbers[k + 1] / 2.0;
    head += "** mu_k here is mu_k alpha_k/2 of the fit: the energy there is sum 2 mu_k/alpha_k^2 (...)\n";
  } else {
    Refuse("CalculiX has no material of the model " + name);
  }
  AppendCompressibility(rubber, compressibilities, numbers, head);
  return "*HYPERELASTIC, " + keyword + '\n' + DataLines(numbers);
}

std::string CalculixCreep(const Result& result, std::string& head) {
  const auto value = [&](const char* name) {
    for (const Parameter& parameter : result.parameters) {
      if (parameter.name == name) return parameter.value;
    }
    return 0.0;
  };
  for (const Parameter& parameter : result.parameters) {
    if (parameter.identifiable) continue;
    head += "** " + parameter.name + " is not identifiable from the tests: the law holds at their stress only\n";
  }
  const bool primary = value("C1") != 0.0;
  const bool secondary = value("C5") != 0.0;
  const std::string factor = primary ? "C1" : "C5";
  if (!UnitOf(result, factor).empty()) head += "** units: " + factor + " in " + UnitOf(result, factor) + '\n';
  if (primary && secondary) {
    Refuse("CalculiX knows creep laws of one term A s^n t^m, this one has a primary and a secondary term");
  }
  head += "** strain rate = A s^n t^m, t from the start of the analysis; put *ELASTIC before *CREEP\n";
  const std::vector<double> law = primary ? std::vector{value("C1") * value("C4"), value("C2"), value("C4") - 1.0}
                                          : std::vector{value("C5"), value("C6"), 0.0};
  return "*CREEP, LAW=NORTON\n" + DataLines(law);
}

/// Abscissae between which the curve is nearly straight: the parts of an interval that is not are tabulated in turn.
void Tabulate(const std::function<double(double)>& law, double from, double to, std::vector<double>& strains) {
  const double middle = 0.5 * (from + to);
  const double straight = 0.5 * (law(from) + law(to));
  if (std::abs(law(middle) - straight) > kTableError * std::abs(law(middle)) && strains.size() < kLongestTable &&
      to - from > 1e-9) {
    Tabulate(law, from, middle, strains);
    Tabulate(law, middle, to, strains);
    return;
  }
  strains.push_back(to);
}

std::string CalculixPlastic(const Result& result, std::string& head) {
  double end = 0.0;
  for (const CurveResult& curve : result.curves) {
    for (const double strain : curve.x) end = std::max(end, strain);
  }
  if (end > 0.0) head += "** beyond a plastic strain of " + Number(end) + " the curve is an extrapolation\n";
  head += "** true stress, plastic strain; put *ELASTIC before *PLASTIC\n";
  const auto law = [&](double strain) { return result.evaluate("tensile_test", strain); };
  std::vector<double> strains{0.0};
  Tabulate(law, 0.0, std::max(end, kTableEnd), strains);
  std::string text = "*PLASTIC\n";
  for (const double strain : strains) text += Number(law(strain)) + ", " + Number(strain) + '\n';
  return text;
}

std::string Calculix(const Model& model, const Result& result, const std::string& name, std::string head) {
  std::string body;
  if (model.rubber != nullptr) {
    body = CalculixRubber(model, result, head);
  } else if (model.info.family == "creep") {
    body = CalculixCreep(result, head);
  } else if (model.info.family == "hardening") {
    body = CalculixPlastic(result, head);
  } else {
    Refuse("CalculiX has no material of the model " + result.model);
  }
  return head + "*MATERIAL, NAME=" + name + '\n' + body;
}

// --- UFL -------------------------------------------------------------------------------------------------------------

/// "C10", "C01", ...: the powers stand in the name.
std::string PolynomialEnergy(const std::vector<std::string>& names) {
  std::string energy;
  for (const std::string& name : names) {
    energy += (energy.empty() ? "" : " + ") + name;
    if (name[1] != '0') energy += std::string("*(I1 - 3)**") + name[1];
    if (name[2] != '0') energy += std::string("*(I2 - 3)**") + name[2];
  }
  return energy;
}

std::string Ufl(const Model& model, const Result& result, const std::string& head) {
  if (model.rubber == nullptr) Refuse("UFL is for strain energies, which the model " + result.model + " has not");
  const Rubber rubber = RubberOf(model, result);
  const std::string& name = result.model;
  std::vector<std::string> names;
  for (const ParameterInfo& parameter : model.parameters(result.terms)) names.push_back(parameter.name);
  std::string energy;
  if (name == "polynomial" || name == "neo-hooke" || name == "mooney-rivlin" || name == "yeoh") {
    energy = "W = " + PolynomialEnergy(names);
  } else if (name == "gent") {
    energy = "W = -mu*Jm/2*ln(1 - (I1 - 3)/Jm)";
  } else if (name == "arruda-boyce") {
    energy =
        "W = mu*((I1 - 3)/2 + (I1**2 - 9)/(20*lambda_m**2) + 11*(I1**3 - 27)/(1050*lambda_m**4)\n"
        "        + 19*(I1**4 - 81)/(7000*lambda_m**6) + 519*(I1**5 - 243)/(673750*lambda_m**8))";
  } else if (name == "van-der-waals") {
    energy =
        "I = (1 - beta)*I1 + beta*I2\n"
        "eta = sqrt((I - 3)/(lambda_m**2 - 3))  # no slope at F = 1: start from a small strain\n"
        "W = mu*(-(lambda_m**2 - 3)*(ln(1 - eta) + eta) - 2.0/3.0*a*((I - 3)/2)**1.5)";
  } else if (name == "blatz-ko") {
    energy = "W = mu/2*((tr(C)**2 - tr(C*C))/(2*J**2) + 2*J - 5)";
  } else {
    Refuse("UFL cannot express the model " + name + ": it needs principal stretches");
  }
  std::string text = head + "from ufl import det, ln, sqrt, tr\n\n";
  for (std::size_t k = 0; k < names.size(); ++k) text += names[k] + " = " + Number(rubber.parameters[k]) + '\n';
  text += "J = det(F)\nC = F.T*F\n";
  if (name == "blatz-ko") return text + energy + '\n';
  text += "I1 = J**(-2.0/3.0)*tr(C)\nI2 = J**(-4.0/3.0)*(tr(C)**2 - tr(C*C))/2\n" + energy + '\n';
  if (!rubber.measured) text += "# bulk modulus of a Poisson ratio of 0.495: there were no volumetric data\n";
  for (std::size_t k = 0; k < rubber.volumetric.size(); ++k) {
    text += "W += " + Number(rubber.volumetric[k]) + "*(J - 1)**" + std::to_string(2 * k + 2) + '\n';
  }
  return text;
}

// --- Text ------------------------------------------------------------------------------------------------------------

/// Where other programs mean something else by the same letters.
std::string Conventions(const Model& model, const Result& result) {
  std::string text;
  if (model.rubber != nullptr) {
    const Rubber rubber = RubberOf(model, result);
    text += "  initial shear modulus " + Number(rubber.shearModulus) + ", bulk modulus " +
            Number(2.0 * rubber.volumetric.front()) +
            (rubber.measured ? "\n" : " (of a Poisson ratio of 0.495; there were no volumetric data)\n");
    if (result.model != "blatz-ko") {
      std::vector<double> inverse;
      for (const double d : rubber.volumetric) inverse.push_back(1.0 / d);
      text += "  volumetric energy sum D_k (J - 1)^(2k), D = " + Joined(rubber.volumetric) +
              "; programs that write sum (J - 1)^(2k)/D_k want D = " + Joined(inverse) + '\n';
    }
    if (result.model == "ogden") {
      std::vector<double> other;
      for (std::size_t k = 0; k + 1 < rubber.parameters.size(); k += 2) {
        other.push_back(rubber.parameters[k] * rubber.parameters[k + 1] / 2.0);
      }
      text += "  programs that write sum 2 mu_k/alpha_k^2 (...) want mu = " + Joined(other) + " with the same alpha\n";
    }
    if (result.model == "arruda-boyce") {
      text += "  mu is not the initial shear modulus; programs that ask for that one want the value above\n";
    }
    if (result.model == "neo-hooke") text += "  programs that write mu/2 (I1 - 3) want mu = 2 C10\n";
    text += "  invariants are those of the deformation without its change of volume\n";
  } else if (model.info.family == "relaxation") {
    text +=
        "  coefficients are parts of the instantaneous modulus; programs that count from the long-term modulus want\n"
        "  g_i/(1 - sum g)\n";
  } else if (model.info.family == "creep") {
    text += "  strains at constant stress; the rate of the primary term is C1 C4 s^C2 t^(C4 - 1)\n";
  } else if (model.info.family == "hardening") {
    text += "  true stress of true plastic strain\n";
  }
  return text.empty() ? text : "\nConventions\n" + text;
}

std::string InWords(const Model& model, const Result& result, const std::string& name) {
  std::string text =
      name + ": " + model.info.title + " (" + model.info.source + ")\n\n  " + model.info.formula + "\n\n";
  const std::vector<ParameterInfo> infos = ModelParameters(result.model, result.terms);
  for (const Parameter& parameter : result.parameters) {
    text += "  " + parameter.name + " = " + Number(parameter.value);
    if (!parameter.unit.empty()) text += ' ' + parameter.unit;
    for (const ParameterInfo& info : infos) {
      if (info.name == parameter.name && !info.meaning.empty()) text += "  (" + info.meaning + ')';
    }
    text += '\n';
  }
  return text + Conventions(model, result);
}

std::string MaterialName(const std::string& wanted, const std::string& model) {
  std::string name = wanted;
  if (name.empty()) {
    for (const char letter : model) name += static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
  }
  const auto allowed = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_' || c == '-'; };
  constexpr std::size_t kLongest = 80;
  if (name.size() > kLongest || std::isalpha(static_cast<unsigned char>(name.front())) == 0 ||
      !std::all_of(name.begin(), name.end(), allowed)) {
    Refuse("a material's name is up to 80 letters, digits, _ and -, beginning with a letter");
  }
  return name;
}

}  // namespace

const std::vector<std::string>& CardTargets() {
  static const std::vector<std::string> targets{"calculix", "ufl", "text"};
  return targets;
}

std::string MaterialCard(const Result& result, const std::string& target, const std::string& name) {
  const Model& model = ModelCalled(result.model);
  const std::string called = MaterialName(name, result.model);
  const std::string unit = StressUnit(result);
  const auto head = [&](const std::string& comment) {
    return comment + ' ' + called + ": " + model.info.title + " (" + model.info.source + "), fitted by xemfit" +
           (result.version.empty() ? "" : " " + result.version) + '\n' + comment + ' ' +
           (unit.empty() ? "stresses in the unit of the fit" : "stresses in " + unit) + '\n';
  };
  if (target == "calculix") return Calculix(model, result, called, head("**"));
  if (target == "ufl") return Ufl(model, result, head("#"));
  if (target == "text") return InWords(model, result, called);
  Refuse("there are no cards for " + target + "; there are cards for calculix, ufl and text");
}

}  // namespace Xem::Fit
