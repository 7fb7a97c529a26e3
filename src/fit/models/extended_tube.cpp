#include "fit/models/energy_law.h"
#include "fit/models/models.h"

/// The extended tube: cross-links of limited extensibility, and chains confined to tubes by their neighbours.
namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

struct ExtendedTubeLaw {
  static constexpr const char* kName = "extended-tube";
  static constexpr std::size_t kCount = 4;
  static constexpr std::array<std::size_t, 2> kLinear{0, 1};

  static std::vector<ParameterInfo> Parameters() {
    return {{.name = "Gc", .unit = "stress", .lower = 0.0, .meaning = "modulus of the cross-links"},
            {.name = "Ge", .unit = "stress", .lower = 0.0, .meaning = "modulus of the confinement"},
            {.name = "delta", .lower = 0.0, .upper = 1.0, .meaning = "inextensibility: 1/delta^2 limits I1 - 3"},
            {.name = "beta", .lower = 1e-3, .upper = 1.0, .meaning = "release of the confinement"}};
  }

  /// W = Gc/2 [(1 - d) x/(1 - d x) + ln(1 - d x)] with x = I1 - 3, d = delta^2
  template <class T>
  static InvariantSlopes<T> Slopes(const std::array<T, kCount>& p, const T& i1, const T&) {
    const T square = p[2] * p[2];
    const T rest = T(1.0) - BelowLimit(square * i1);
    return {T(0.5) * p[0] * ((T(1.0) - square) / (rest * rest) - square / rest), T(0.0)};
  }
  /// w = 2 Ge/beta^2 (l^-beta - 1)
  template <class T>
  static T StretchSlope(const std::array<T, kCount>& p, const T& stretch) {
    using std::exp, std::log;
    return T(-2.0) * p[1] / p[3] * exp(-p[3] * log(stretch));
  }
  static bool Reaches(const std::array<double, kCount>& p, const InvariantExcess& excess) {
    return p[2] * p[2] * excess.i1 < 1.0;
  }
  static double ShearModulus(std::span<const double> p) { return p[0] * (1.0 - 2.0 * p[2] * p[2]) + p[1]; }

  static void Keep(double largest, std::vector<FreeOrHeld>& parameters) {
    parameters[2].upper = std::min(parameters[2].upper, (1.0 - 1e-6) / std::sqrt(std::max(largest, 1e-300)));
  }
  static std::vector<std::vector<double>> Shapes(double largest) {
    std::vector<std::vector<double>> shapes;
    for (const double part : {0.1, 0.4, 0.7, 0.9, 0.98}) {
      for (const double beta : {0.1, 0.4, 1.0}) {
        shapes.push_back({1.0, 1.0, std::min(1.0, part / std::sqrt(std::max(largest, 1e-300))), beta});
      }
    }
    return shapes;
  }
};

const RubberLaw kExtendedTubeLaw = LawOf<ExtendedTubeLaw>();

}  // namespace

const Model kExtendedTube = ModelOf<ExtendedTubeLaw, kExtendedTubeLaw>(
    {.name = ExtendedTubeLaw::kName,
     .title = "Extended tube",
     .family = "rubber",
     .formula = "W = Gc/2 [(1 - delta^2) x/(1 - delta^2 x) + ln(1 - delta^2 x)] + 2 Ge/beta^2 sum (l^-beta - 1), "
                "x = I1 - 3",
     .source = "Kaliske and Heinrich 1999",
     .page = "theory/energies.md"});

}  // namespace Xem::Fit
