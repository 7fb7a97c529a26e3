#include "fit/models/energy_law.h"
#include "fit/models/models.h"

/// Gent: chains of limited extensibility, in two parameters.
namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

struct GentLaw {
  static constexpr const char* kName = "gent";
  static constexpr std::size_t kCount = 2;
  static constexpr std::array<std::size_t, 1> kLinear{0};

  static std::vector<ParameterInfo> Parameters() {
    return {{.name = "mu", .unit = "stress", .lower = 0.0, .meaning = "initial shear modulus"},
            {.name = "Jm", .lower = 1e-6, .upper = 1e6, .meaning = "limit of I1 - 3"}};
  }

  /// W = -mu Jm/2 ln(1 - (I1 - 3)/Jm)
  template <class T>
  static InvariantSlopes<T> Slopes(const std::array<T, kCount>& p, const T& i1, const T&) {
    const T& mu = p[0];
    const T& limit = p[1];
    return {T(0.5) * mu / (T(1.0) - BelowLimit(i1 / limit)), T(0.0)};
  }
  static bool Reaches(const std::array<double, kCount>& p, const InvariantExcess& excess) { return excess.i1 < p[1]; }
  static double ShearModulus(std::span<const double> p) { return p[0]; }

  static void Keep(double largest, std::vector<FreeOrHeld>& parameters) {
    parameters[1].lower = std::max(parameters[1].lower, largest * (1.0 + 1e-6));
  }
  static std::vector<std::vector<double>> Shapes(double largest) {
    std::vector<std::vector<double>> shapes;
    for (const double beyond : {1.03, 1.2, 2.0, 5.0, 50.0}) shapes.push_back({1.0, beyond * std::max(largest, 1e-3)});
    return shapes;
  }
};

const RubberLaw kGentLaw = LawOf<GentLaw>();

}  // namespace

const Model kGent = ModelOf<GentLaw, kGentLaw>({.name = GentLaw::kName,
                                                .title = "Gent",
                                                .family = "rubber",
                                                .formula = "W = -mu Jm/2 ln(1 - (I1 - 3)/Jm)",
                                                .source = "Gent 1996",
                                                .page = "theory/energies.md"});

}  // namespace Xem::Fit
