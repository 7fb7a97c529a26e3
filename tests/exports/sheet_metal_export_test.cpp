#include <cstdint>

#include "support/curves.h"
#include "support/near.h"
#include "xem/sheet_metal.h"

namespace Xem::Testing {
namespace {

/// Arguments of one call: von Mises and a deep-drawing steel unless the test says otherwise.
struct FormingCall {
  PointArray curve;
  DoubleArray settings, yieldParameters, hardeningParameters;
  PointArray hardeningCurve;
  std::int32_t curveType = 0, yieldType = 100, hardeningType = 200;

  FormingCall() {
    Fill(settings, {11.0, 1e-4, 0.01});
    Fill(hardeningParameters, {518.968, 0.0007648, 0.28985, 0.0});
  }
  void UseHill(double r, double m) {
    yieldType = 101;
    Fill(yieldParameters, {r, m});
  }
  void UseAluminium() {
    hardeningType = 201;
    Fill(hardeningParameters, {120.0, 555.5, 1.106, 0.5232});
  }
  std::int32_t Run() {
    return FormingLimitCurve(curve, curveType, settings, yieldType, yieldParameters, hardeningType,
                             hardeningParameters);
  }
  std::int32_t RunTable() {
    return FormingLimitCurveCustomHR(curve, curveType, settings, yieldType, yieldParameters, hardeningType,
                                     hardeningCurve);
  }
};

/// The march written down once more, every expression as it is stated, powers by the power function alone.
struct LiteralMarch {
  const FormingCall& call;

  static double Power(double x, double exponent) { return std::pow(x, exponent); }
  static double Square(double x) { return x * x; }  // as compilers evaluate the power function for an exponent of 2
  bool Hill() const { return call.yieldType == 101; }
  double R() const { return call.yieldParameters[0]; }
  double M() const { return call.yieldParameters[1]; }
  double Beta(double a) const {
    if (!Hill()) return (2.0 * a - 1.0) / (2.0 - a);
    const double sum = Power(1.0 + a, M() - 1.0);
    const double difference = (2.0 * R() + 1.0) * Power(1.0 - a, M() - 1.0);
    return (sum - difference) / (sum + difference);
  }
  double Alpha(double b) const {
    if (!Hill()) return (2.0 * b + 1.0) / (b + 2.0);
    const double E = Power((b + 1.0) * (2.0 * R() + 1.0), 1.0 / (M() - 1.0));
    const double D = Power(1.0 - b, 1.0 / (M() - 1.0));
    return (E - D) / (D + E);
  }
  double Phi(double a) const {
    if (!Hill()) {
      const double t = Beta(a);
      return (t + 2.0) / std::sqrt(3.0 * (Square(t) + t + 1.0));
    }
    return Power((Power(1.0 - a, M()) * (2.0 * R() + 1.0) + Power(1.0 + a, M())) / (2.0 * R() + 2.0), -1.0 / M());
  }
  double PhiByBeta(double a) const {
    if (!Hill()) {
      const double t = Beta(a);
      const double Q = 3.0 * Square(t) + 3.0 * t + 3.0;
      return Power(Q, -0.5) - Power(Q, -1.5) * (3.0 * t + 1.5) * (t + 2.0);
    }
    const double r = R(), m = M();
    const double byAlpha = Power(Phi(a), m + 1.0) *
                           (Power(1.0 + a, m - 1.0) - Power(1.0 - a, m - 1.0) * (2.0 * r + 1.0)) / (-2.0 * (r + 1.0));
    const double alphaByBeta = Square(Power(1.0 - a, m - 1.0) * (2.0 * r + 1.0) + Power(1.0 + a, m - 1.0)) /
                               (4.0 * Power(1.0 - Square(a), m - 2.0) * (2.0 * m * r + m - 2.0 * r - 1.0));
    return byAlpha * alphaByBeta;
  }
  double Stress(double strain) const {
    const auto& c = call.hardeningParameters;
    if (call.hardeningType == 200) return c[0] * Power(c[1] + strain, c[2]) - c[3];
    if (call.hardeningType == 201) return c[1] - (c[1] - c[0]) * std::exp(-c[2] * Power(strain, c[3]));
    const auto& p = call.hardeningCurve;
    std::int64_t k = 1;
    while (k + 1 < p.GetSize() && p[k].first < strain) ++k;
    return p[k - 1].second +
           (p[k].second - p[k - 1].second) / (p[k].first - p[k - 1].first) * (strain - p[k - 1].first);
  }
  double Slope(double strain) const {
    const auto& c = call.hardeningParameters;
    if (call.hardeningType == 200) return c[2] * c[0] * Power(c[1] + strain, c[2] - 1.0);
    if (call.hardeningType == 201) {
      return std::exp(-c[2] * Power(strain, c[3])) * Power(strain, c[3] - 1.0) * c[2] * c[3] * (c[1] - c[0]);
    }
    const auto& p = call.hardeningCurve;
    const std::int64_t last = p.GetSize() - 1;
    std::int64_t k = 0;
    while (k < last && p[k].first < strain) ++k;
    const std::int64_t from = strain >= p[last].first ? last - 1 : std::max<std::int64_t>(k - 1, 0);
    const std::int64_t to = std::min(k + 1, last);
    return (p[to].second - p[from].second) / (p[to].first - p[from].first);
  }
  /// False without a limit point.
  bool March(double a, _T_FUNT_BASE& point) const {
    const double delta = call.settings[1], tol = call.settings[2];
    double b = Beta(a), strain = 0.0;
    point = {0.0, 0.0};
    if (std::abs(b) <= tol) return false;
    do {
      point.first += delta;
      point.second += b * delta;
      strain += Phi(a) * (1.0 + a * b) * delta;
      const double stress = Stress(strain);
      const double present = Phi(a) * stress;
      const double required = Square(Phi(a)) * (1.0 + a * b) * Slope(strain);
      if (present >= required) {
        b += (present - required) / (PhiByBeta(a) * stress) * delta;
        a = Alpha(b);
      }
    } while (std::abs(b) >= tol && point.first < 20.0);
    return !(std::abs(b) >= tol);
  }
  std::vector<std::pair<double, double>> Curve() const {
    std::vector<std::pair<double, double>> left, right;
    const int count = static_cast<int>(call.settings[0]);
    for (int i = 0; i < count; ++i) {
      const double a = static_cast<double>(i) / (count - 1);
      _T_FUNT_BASE point;
      if (March(a, point)) (Beta(a) > 0.0 ? right : left).emplace_back(point.first, point.second);
    }
    if (left.size() < 2) return {};
    const auto [x0, y0] = left[left.size() - 2];
    const auto [x1, y1] = left.back();
    left.emplace_back(x1 - (x0 - x1) / (y0 - y1) * y1, 0.0);
    left.insert(left.end(), right.begin(), right.end());
    return left;
  }
};

// Tolerances down to where the last bit decides where a path ends, and increments with which paths jump to where they
// never end.
TEST(FormingLimit, MatchesALiteralMarchBitForBit) {
  const std::vector<std::pair<double, double>> criteria{{0.0, 0.0},   {1.0, 2.0}, {0.57, 1.8},
                                                        {2.275, 2.5}, {1.4, 4.0}, {0.8, 6.0}};
  const std::vector<std::pair<double, double>> steps{
      {1e-3, 0.01}, {1e-3, 0.005}, {1e-3, 0.001}, {0.03, 0.01}, {0.4, 1e-3}};
  int points = 0;
  for (const auto& [r, m] : criteria) {
    for (const std::int32_t hardening : {200, 201, 298}) {
      for (const auto& [increment, tolerance] : steps) {
        FormingCall call;
        if (r > 0.0) call.UseHill(r, m);
        if (hardening == 201) call.UseAluminium();
        if (hardening == 200) call.hardeningParameters[3] = 4e4 * tolerance;
        call.hardeningType = hardening;
        for (int i = 0; i <= 12; ++i) call.hardeningCurve.Add({0.05 * i, 500.0 * std::pow(0.01 + 0.05 * i, 0.2)});
        Fill(call.settings, {11.0, increment, tolerance});
        const auto expected = LiteralMarch{call}.Curve();
        const auto run = [&] { return hardening == 298 ? call.RunTable() : call.Run(); };
        if (expected.empty()) {
          EXPECT_THROW(run(), CInvalidArgException);
          continue;
        }
        EXPECT_EQ(run(), 0);
        ASSERT_EQ(call.curve.GetSize(), static_cast<std::int64_t>(expected.size())) << r << ' ' << hardening;
        for (std::int64_t i = 0; i < call.curve.GetSize(); ++i, ++points) {
          const auto [major, minor] = expected[static_cast<std::size_t>(i)];
          const auto same = [](double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); };
          EXPECT_TRUE(same(call.curve[i].first, major) && same(call.curve[i].second, minor))
              << r << ' ' << m << ' ' << hardening << ' ' << increment << ' ' << tolerance << " point " << i;
        }
      }
    }
  }
  EXPECT_GT(points, 500);
}

TEST(FormingLimit, PlaneStrainLimitOfAPowerLawIsItsExponent) {
  for (const double n : {0.18, 0.22, 0.29}) {
    FormingCall call;
    Fill(call.settings, {41.0, 1e-4, 0.01});
    Fill(call.hardeningParameters, {500.0, 0.0, n, 0.0});
    call.Run();
    ASSERT_EQ(call.curve.GetSize(), 41);
    EXPECT_EQ(call.curve[20].second, 0.0);
    EXPECT_NEAR(call.curve[20].first, n, 2e-3);  // the tolerance ends the neighbouring paths a little early
  }
}

TEST(FormingLimit, AStrainRatioThatIsNotANumberEndsItsPath) {
  // Without any strength the first turn is 0 / 0: every path ends after one step, whose strains are stored.
  FormingCall call;
  Fill(call.hardeningParameters, {0.0, 0.01, 0.2, 0.0});
  EXPECT_EQ(call.Run(), 0);
  ASSERT_EQ(call.curve.GetSize(), 11);
  EXPECT_EQ(call.curve[0].first, 1e-4);
  EXPECT_EQ(call.curve[0].second, -0.5e-4);
}

}  // namespace
}  // namespace Xem::Testing
