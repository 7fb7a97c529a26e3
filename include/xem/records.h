#ifndef XEM_RECORDS_H
#define XEM_RECORDS_H

#include "xem/array.h"
#include "xem/export.h"

// The names of the records are part of the interface and stay as published.

/// One point of a test curve: abscissa (strain, time, suction, ...) and measured value.
struct _T_FUNT_BASE {
  double first = 0.0;
  double second = 0.0;

  _T_FUNT_BASE() = default;
  _T_FUNT_BASE(double abscissa, double ordinate) : first(abscissa), second(ordinate) {}
  _T_FUNT_BASE(const _T_FUNT_BASE&) = default;
  _T_FUNT_BASE(_T_FUNT_BASE&&) = default;
  XEM_EXPORT _T_FUNT_BASE& operator=(const _T_FUNT_BASE& other);
  XEM_EXPORT _T_FUNT_BASE& operator=(_T_FUNT_BASE&& other);
  ~_T_FUNT_BASE() = default;
};

/// One point with a second strain: strain in the loading direction, lateral strain, measured value.
struct _T_FUNT_BASE3 {
  double first = 0.0;
  double second = 0.0;
  double third = 0.0;

  _T_FUNT_BASE3() = default;
  _T_FUNT_BASE3(double strain, double lateralStrain, double value)
      : first(strain), second(lateralStrain), third(value) {}
  _T_FUNT_BASE3(const _T_FUNT_BASE3&) = default;
  _T_FUNT_BASE3(_T_FUNT_BASE3&&) = default;
  XEM_EXPORT _T_FUNT_BASE3& operator=(const _T_FUNT_BASE3& other);
  XEM_EXPORT _T_FUNT_BASE3& operator=(_T_FUNT_BASE3&& other);
  ~_T_FUNT_BASE3() = default;
};

/// Two curves that belong together. Both start empty, without storage.
class CArray22 {
 public:
  CArray<_T_FUNT_BASE, _T_FUNT_BASE&> first;
  CArray<_T_FUNT_BASE, _T_FUNT_BASE&> second;

  XEM_EXPORT CArray22();
  XEM_EXPORT ~CArray22();
  CArray22(const CArray22&) = delete;
  CArray22& operator=(const CArray22&) = delete;
};

namespace Xem {

/// Short names of the three array types of the interface.
using PointArray = CArray<_T_FUNT_BASE, _T_FUNT_BASE&>;
using Point3Array = CArray<_T_FUNT_BASE3, _T_FUNT_BASE3&>;
using DoubleArray = CArray<double, double&>;

}  // namespace Xem

#endif
