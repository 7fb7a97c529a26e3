// Uses the installed headers and library only. Returns 0 when the interface works from outside.
#include <xem/material_util.h>

#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace {

using PointArray = CArray<_T_FUNT_BASE, _T_FUNT_BASE&>;

int Fail(const char* what) {
  std::fprintf(stderr, "host: %s\n", what);
  return 1;
}

/// Uniaxial stress of C10 = 0.5, C01 = 0.1.
double MooneyRivlin(double strain) {
  const double stretch = 1.0 + strain;
  return 2.0 * (1.0 - std::pow(stretch, -3.0)) * (0.5 * stretch + 0.1);
}

}  // namespace

int main() {
  PointArray uniaxial, none, out[4];
  CArray<double, double&> coefficients;
  for (int i = 1; i <= 20; ++i) uniaxial.Add({0.1 * i, MooneyRivlin(0.1 * i)});
  out[0].SetSize(uniaxial.GetSize());
  if (CurveFitting4Polynominal(uniaxial, none, none, none, 1, 0, 0, 0, 1, 1, 0.0, coefficients, out[0], out[1], out[2],
                               out[3], 0.0, 1.0) != 0) {
    return Fail("the fit did not return 0");
  }
  if (std::abs(coefficients[0] - 0.5) > 1e-9 || std::abs(coefficients[1] - 0.1) > 1e-9)
    return Fail("wrong coefficients");

  // The exception crosses the border by type, from the host's own arrays and from inside the library.
  try {
    coefficients[2] = 1.0;
    return Fail("a bad index passed");
  } catch (const CInvalidArgException&) {
  }
  try {
    CurveFitting4Polynominal(uniaxial, none, none, none, 0, 0, 0, 0, 1, 1, 0.0, coefficients, out[0], out[1], out[2],
                             out[3], 0.0, 1.0);
    return Fail("a fit without a mode passed");
  } catch (const std::invalid_argument& error) {
    if (dynamic_cast<const CInvalidArgException*>(&error) == nullptr) return Fail("the exception lost its type");
  }

  _T_FUNT_BASE3 a(1.0, 2.0, 3.0), b;
  b = a;
  CArray22 pair;
  pair.first.Add({b.third, 0.0});
  CString text(L"report ");
  text += L"line";
  if (pair.first[0].first != 3.0 || text.GetLength() != 11) return Fail("records or text");
  std::puts("host: the installed interface works");
  return 0;
}
