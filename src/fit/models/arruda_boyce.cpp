#include "fit/models/energy_law.h"
#include "fit/models/models.h"

/// Arruda and Boyce: eight chains to a cell, the inverse Langevin function by the first five terms of its series.
namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

/// W = mu sum c_k lambda_m^(2 - 2k) (I1^k - 3^k)
constexpr std::array kSeries{1.0 / 2.0, 1.0 / 20.0, 11.0 / 1050.0, 19.0 / 7000.0, 519.0 / 673750.0};

struct ArrudaBoyceLaw {
  static constexpr const char* kName = "arruda-boyce";
  static constexpr std::size_t kCount = 2;
  static constexpr std::array<std::size_t, 1> kLinear{0};

  static std::vector<ParameterInfo> Parameters() {
    return {{.name = "mu", .unit = "stress", .lower = 0.0, .meaning = "modulus; smaller than the initial one"},
            {.name = "lambda_m", .lower = 1.0, .upper = 1e3, .meaning = "locking stretch of a chain"}};
  }

  /// dW/dI1 = mu sum k c_k (I1 / lambda_m^2)^(k - 1)
  template <class T>
  static InvariantSlopes<T> Slopes(const std::array<T, kCount>& p, const T& i1, const T&) {
    const T part = (i1 + T(3.0)) / (p[1] * p[1]);
    T sum(0.0);
    for (std::size_t k = kSeries.size(); k > 0; --k) sum = sum * part + T(static_cast<double>(k) * kSeries[k - 1]);
    return {p[0] * sum, T(0.0)};
  }
  static bool Reaches(const std::array<double, kCount>&, const InvariantExcess&) { return true; }
  static double ShearModulus(std::span<const double> p) {
    return 2.0 * Slopes(std::array<double, kCount>{p[0], p[1]}, 0.0, 0.0).i1;
  }

  static void Keep(double, std::vector<FreeOrHeld>&) {}
  static std::vector<std::vector<double>> Shapes(double largest) {
    std::vector<std::vector<double>> shapes;
    for (const double beyond : {0.5, 0.8, 1.1, 2.0, 10.0}) {
      shapes.push_back({1.0, std::max(1.0, beyond * std::sqrt((largest + 3.0) / 3.0))});
    }
    return shapes;
  }
};

const RubberLaw kArrudaBoyceLaw = LawOf<ArrudaBoyceLaw>();

}  // namespace

const Model kArrudaBoyce = ModelOf<ArrudaBoyceLaw, kArrudaBoyceLaw>(
    {.name = ArrudaBoyceLaw::kName,
     .title = "Arruda and Boyce",
     .family = "rubber",
     .formula = "W = mu sum ck lambda_m^(2 - 2k) (I1^k - 3^k), c = 1/2, 1/20, 11/1050, 19/7000, 519/673750",
     .source = "Arruda and Boyce 1993",
     .page = "theory/energies.md"});

}  // namespace Xem::Fit
