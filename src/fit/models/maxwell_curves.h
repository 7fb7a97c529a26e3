#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "fit/models/prony_shares.h"
#include "fit/models/prony_spectrum.h"
#include "fit/problem.h"
#include "xem/fit/viscoelastic.h"

/// Curves of one generalised Maxwell model, over time and over frequency together.
namespace Xem::Fit {

/// A screened curve with its abscissae as times, or angular frequencies, in the model's unit of time.
struct MaxwellCurve {
  ModulusKind quantity = ModulusKind::Relaxation;
  bool ratio = false;  ///< ordinates are over the instantaneous modulus
  double weight = 1.0;
  std::vector<double> x;
  std::vector<double> y;
};

/// Values of E0 g, E0 g' or E0 g'' at times or angular frequencies; parameters are g_1 ... tau_n.
void MaxwellModuli(ModulusKind quantity, std::span<const double> series, std::span<const double> x,
                   std::span<double> moduli, MaterialUtil::MatrixView derivatives);

/// A curve against g_1 ... g_n, tau_1 ... tau_n and, where one more parameter follows, the instantaneous modulus.
boost::shared_ptr<MaterialUtil::XemMaterialTestFunctionBase> MakeMaxwellFunction(const MaxwellCurve& curve);
/// The same in the coordinates of PronyShares.
boost::shared_ptr<MaterialUtil::XemMaterialTestFunctionBase> MakeMaxwellFunction(const MaxwellCurve& curve,
                                                                                 PronyShares shares);

/// Curves of at most so many points, means over equal steps of the logarithm of their abscissae, to search on.
std::vector<MaxwellCurve> ThinnedOut(std::vector<MaxwellCurve> curves, std::size_t most = 300);

/// Natural logarithms of the shortest and longest relaxation time that the curves see: 1/w, or t.
LogRange MeasuredTimes(const std::vector<MaxwellCurve>& curves);

/// The instantaneous modulus of a search for a spectrum.
enum class Instantaneous {
  Free,
  Held,
  Open,  ///< no curve tells it
};

/// A spectrum and its instantaneous modulus.
/// E_i = E0 g_i >= 0, and with a free modulus the long-term one >= 0, that fit best for given times; `modulus` is that
/// which is held. Curves of ratios take no part where the modulus is free.
ScaledSpectrum FitMaxwellSpectrum(const std::vector<MaxwellCurve>& curves, Residual residual,
                                  const std::vector<double>& logTimes, Instantaneous instantaneous, double modulus);

enum class Neighbours { Joined, Apart };
/// The same over a dense grid of times, from a factor `beyond` below the range to as much above it. As a start for free
/// times, neighbouring lines are taken together.
ScaledSpectrum DenseMaxwellSpectrum(const std::vector<MaxwellCurve>& curves, Residual residual, const LogRange& range,
                                    double beyond, Instantaneous instantaneous, double modulus,
                                    Neighbours neighbours = Neighbours::Joined);

}  // namespace Xem::Fit
