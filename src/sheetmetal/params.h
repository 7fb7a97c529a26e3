#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <span>
#include <vector>

#include "xem/records.h"

/// Parameter records of the sheet-metal laws. Each starts with its type code; laws share their record.
namespace Xem::MaterialUtil::SheetMetalForming {

enum class YieldType : std::int32_t { VonMises = 100, Hill1979 = 101 };

enum class HardeningType : std::int32_t {
  Ghosh = 200,
  HockettSherby = 201,
  CustomCurve = 298,
  CustomCurveStrnRate = 299,
  SwiftVoce = 1000,  ///< no export asks for it
};

enum class LimitCurveType : std::int32_t { ModifiedMaximumForce = 0 };

/// Most stress paths of one curve; a path takes milliseconds.
inline constexpr std::int32_t kMostPaths = 10000;

struct YieldParams {
  YieldType type;

 protected:
  explicit YieldParams(YieldType code) : type(code) {}
  ~YieldParams() = default;
};

struct YCVonMisesParams : YieldParams {
  YCVonMisesParams() : YieldParams(YieldType::VonMises) {}
};

struct YCHill1979Params : YieldParams {
  YCHill1979Params(double anisotropy, double exponent) : YieldParams(YieldType::Hill1979), r(anisotropy), m(exponent) {}
  double r;  ///< normal anisotropy coefficient
  double m;
};

struct HardeningParams {
  HardeningType type;

 protected:
  explicit HardeningParams(HardeningType code) : type(code) {}
  ~HardeningParams() = default;
};

struct HRSwiftVoceParams : HardeningParams {
  HRSwiftVoceParams(double strength, double strainOffset, double exponent, double initial, double saturation,
                    double rate, double share)
      : HardeningParams(HardeningType::SwiftVoce),
        K(strength),
        e0(strainOffset),
        n(exponent),
        s0(initial),
        q(saturation),
        b(rate),
        w(share) {}
  double K;
  double e0;
  double n;
  double s0;
  double q;
  double b;
  double w;  ///< of Swift's law; 0 leaves Voce's
};

struct HRGhoshParams : HardeningParams {
  HRGhoshParams(double strength, double strainOffset, double exponent, double stressOffset)
      : HardeningParams(HardeningType::Ghosh), K(strength), e0(strainOffset), n(exponent), p(stressOffset) {}
  double K;
  double e0;
  double n;
  double p;
};

struct HRHockettSherbyParams : HardeningParams {
  HRHockettSherbyParams(double initialStress, double saturationStress, double rate, double exponent)
      : HardeningParams(HardeningType::HockettSherby), si(initialStress), ss(saturationStress), N(rate), p(exponent) {}
  double si;  ///< initial flow stress
  double ss;  ///< saturation stress
  double N;
  double p;
};

/// A tabulated flow curve of at least two points, abscissae ascending; with a rate table its type is
/// CustomCurveStrnRate. Both constructors throw CInvalidArgException for a table of fewer than two points.
struct HRCustomCurve : HardeningParams {
  explicit HRCustomCurve(std::span<const _T_FUNT_BASE> flowCurve);
  HRCustomCurve(std::span<const _T_FUNT_BASE> flowCurve, std::span<const _T_FUNT_BASE> rateTable);
  std::vector<_T_FUNT_BASE> points;       ///< equivalent plastic strain, flow stress
  std::vector<_T_FUNT_BASE> rateFactors;  ///< strain rate, factor on the flow stress
};

struct LimitCurveParams {
  LimitCurveType type;

 protected:
  explicit LimitCurveParams(LimitCurveType code) : type(code) {}
  ~LimitCurveParams() = default;
};

struct FLCMMFCParams : LimitCurveParams {
  FLCMMFCParams(std::int32_t paths, double increment, double tolerance)
      : LimitCurveParams(LimitCurveType::ModifiedMaximumForce), N(paths), delta(increment), tol(tolerance) {}
  std::int32_t N;  ///< number of stress paths
  double delta;    ///< major-strain increment of a step
  double tol;      ///< strain ratios up to this magnitude are plane strain
};

/// Records from host arguments. An unknown code, or one that the given values cannot fill, yields an empty pointer;
/// missing values throw CInvalidArgException, and so does a path count that is NaN or outside 0 ... kMostPaths.
boost::shared_ptr<YieldParams> MakeYieldParams(std::int32_t code, std::span<const double> values);
boost::shared_ptr<HardeningParams> MakeHardeningParams(std::int32_t code, std::span<const double> values);
boost::shared_ptr<HardeningParams> MakeHardeningParams(std::int32_t code, std::span<const _T_FUNT_BASE> points);
boost::shared_ptr<LimitCurveParams> MakeLimitCurveParams(std::int32_t code, std::span<const double> values);

/// Whether a record maker above knows the code.
bool IsYieldCode(std::int32_t code);
bool IsConstantHardeningCode(std::int32_t code);
bool IsTableHardeningCode(std::int32_t code);
bool IsLimitCurveCode(std::int32_t code);

}  // namespace Xem::MaterialUtil::SheetMetalForming
