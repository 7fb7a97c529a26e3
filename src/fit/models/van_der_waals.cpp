#include "fit/models/energy_law.h"
#include "fit/models/models.h"

/// Van der Waals: a gas of chains with limited extensibility and an attraction between them.
namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

struct VanDerWaalsLaw {
  static constexpr const char* kName = "van-der-waals";
  static constexpr std::size_t kCount = 4;
  static constexpr std::array<std::size_t, 1> kLinear{0};

  static std::vector<ParameterInfo> Parameters() {
    return {{.name = "mu", .unit = "stress", .lower = 0.0, .meaning = "initial shear modulus"},
            {.name = "lambda_m", .lower = 1.7321, .upper = 1e3, .meaning = "locking stretch of a chain"},
            {.name = "a", .lower = 0.0, .upper = 10.0, .meaning = "attraction between chains"},
            {.name = "beta", .lower = 0.0, .upper = 1.0, .meaning = "share of I2"}};
  }

  /// With I = (1 - beta) I1 + beta I2 and eta^2 = (I - 3)/(lambda_m^2 - 3): dW/dI = mu/2 [1/(1 - eta) - a sqrt((I -
  /// 3)/2)]
  template <class T>
  static InvariantSlopes<T> Slopes(const std::array<T, kCount>& p, const T& i1, const T& i2) {
    using std::sqrt;
    const T& beta = p[3];
    T excess = (T(1.0) - beta) * i1 + beta * i2;
    if (!(ValueOf(excess) > kUnstrained)) excess = T(kUnstrained);  // its root has no slope at 0
    const T eta = BelowLimit(sqrt(excess / (p[1] * p[1] - T(3.0))));
    const T slope = T(0.5) * p[0] * (T(1.0) / (T(1.0) - eta) - p[2] * sqrt(T(0.5) * excess));
    return {(T(1.0) - beta) * slope, beta * slope};
  }
  static bool Reaches(const std::array<double, kCount>& p, const InvariantExcess& excess) {
    return (1.0 - p[3]) * excess.i1 + p[3] * excess.i2 < p[1] * p[1] - 3.0;
  }
  static double ShearModulus(std::span<const double> p) { return p[0]; }

  /// How far lambda_m must reach depends on the share of I2; the energy itself keeps away from its limit.
  static void Keep(double, std::vector<FreeOrHeld>&) {}
  /// In equibiaxial tension I2 is above I1, so what must have a value there reaches I1 at least.
  static void KeepScanned(double largest, std::vector<FreeOrHeld>& parameters) {
    parameters[1].lower = std::max(parameters[1].lower, std::sqrt(3.0 + largest * (1.0 + 1e-6)));
  }
  static std::vector<std::vector<double>> Shapes(double largest) {
    std::vector<std::vector<double>> shapes;
    for (const double eta : {0.4, 0.7, 0.9}) {
      for (const double a : {0.0, 0.2, 0.5}) {
        for (const double beta : {0.0, 0.1, 0.5, 0.9}) {
          shapes.push_back({1.0, std::sqrt(3.0 + std::max(largest, 1e-3) / (eta * eta)), a, beta});
        }
      }
    }
    return shapes;
  }

 private:
  static constexpr double kUnstrained = 1e-24;
};

const RubberLaw kVanDerWaalsLaw = LawOf<VanDerWaalsLaw>();

}  // namespace

const Model kVanDerWaals = ModelOf<VanDerWaalsLaw, kVanDerWaalsLaw>(
    {.name = VanDerWaalsLaw::kName,
     .title = "Van der Waals",
     .family = "rubber",
     .formula =
         "W = mu {-(lambda_m^2 - 3) [ln(1 - eta) + eta] - 2/3 a ((I - 3)/2)^(3/2)}, I = (1 - beta) I1 + beta I2, "
         "eta^2 = (I - 3)/(lambda_m^2 - 3)",
     .source = "Kilian 1981",
     .page = "theory/energies.md"});

}  // namespace Xem::Fit
