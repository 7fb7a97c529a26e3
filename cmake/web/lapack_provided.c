// What f2c cannot read of the reference LAPACK, by its interface (Anderson et al., 1999, and the comments of version 3.11),
// and the few functions of f2c's run-time library that the rest calls.
#include <float.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "f2c.h"

// --- routines that are written in Fortran 90 ---

logical disnan_(const doublereal* x) { return isnan(*x) != 0; }

doublereal dlamch_(const char* what, ftnlen length) {
  (void)length;
  switch (*what) {
    case 'E': case 'e': return DBL_EPSILON / 2;  // of arithmetic that rounds
    case 'S': case 's': return DBL_MIN;          // its reciprocal does not overflow
    case 'B': case 'b': return FLT_RADIX;
    case 'P': case 'p': return DBL_EPSILON / 2 * FLT_RADIX;
    case 'N': case 'n': return DBL_MANT_DIG;
    case 'R': case 'r': return 1.0;
    case 'M': case 'm': return DBL_MIN_EXP;
    case 'U': case 'u': return DBL_MIN;
    case 'L': case 'l': return DBL_MAX_EXP;
    case 'O': case 'o': return DBL_MAX;
    default: return 0.0;
  }
}

static doublereal LargestMagnitude(integer n, const doublereal* x, integer step) {
  doublereal largest = 0.0;
  for (integer i = 0; i < n; ++i) {
    const doublereal magnitude = fabs(x[i * step]);
    if (!(magnitude <= largest)) largest = magnitude;  // NaN is kept
    if (isnan(largest)) break;
  }
  return largest;
}

// Sum of (x / unit)^2.
static doublereal SumOfSquares(integer n, const doublereal* x, integer step, doublereal unit) {
  doublereal sum = 0.0;
  for (integer i = 0; i < n; ++i) sum += (x[i * step] / unit) * (x[i * step] / unit);
  return sum;
}

doublereal dnrm2_(const integer* n, const doublereal* x, const integer* incx) {
  if (*n <= 0) return 0.0;
  if (*incx < 0) x -= (*n - 1) * *incx;
  const doublereal sum = SumOfSquares(*n, x, *incx, 1.0);
  if (sum > 1e-280 && sum < 1e280) return sqrt(sum);
  const doublereal unit = LargestMagnitude(*n, x, *incx);
  if (unit == 0.0 || !isfinite(unit)) return unit;
  return unit * sqrt(SumOfSquares(*n, x, *incx, unit));
}

// scale^2 sumsq becomes scale^2 sumsq + sum of x^2, without overflow.
void dlassq_(const integer* n, const doublereal* x, const integer* incx, doublereal* scale, doublereal* sumsq) {
  if (*n <= 0 || isnan(*scale) || isnan(*sumsq)) return;
  if (*incx < 0) x -= (*n - 1) * *incx;
  if (*sumsq == 0.0) *scale = 1.0;
  const doublereal unit = LargestMagnitude(*n, x, *incx);
  if (unit == 0.0) return;
  if (!isfinite(unit)) {
    *scale = 1.0;
    *sumsq = unit;
    return;
  }
  const doublereal common = *sumsq == 0.0 ? unit : fmax(unit, *scale);
  *sumsq = *sumsq * (*scale / common) * (*scale / common) + SumOfSquares(*n, x, *incx, common);
  *scale = common;
}

// The rotation with c f + s g = r, c g - s f = 0, c >= 0.
void dlartg_(const doublereal* f, const doublereal* g, doublereal* c, doublereal* s, doublereal* r) {
  if (*g == 0.0) {
    *c = 1.0;
    *s = 0.0;
    *r = *f;
    return;
  }
  if (*f == 0.0) {
    *c = 0.0;
    *s = copysign(1.0, *g);
    *r = fabs(*g);
    return;
  }
  const doublereal larger = fmax(fabs(*f), fabs(*g));
  const doublereal smaller = fmin(fabs(*f), fabs(*g));
  const doublereal unit = smaller > 1e-146 && larger < 1e146 ? 1.0 : fmin(fmax(larger, DBL_MIN), 1 / DBL_MIN);
  const doublereal x = *f / unit;
  const doublereal y = *g / unit;
  const doublereal length = sqrt(x * x + y * y);
  const doublereal signedLength = copysign(length, *f);
  *c = fabs(x) / length;
  *s = y / signedLength;
  *r = signedLength * unit;
}

void xerbla_(const char* name, const integer* argument, ftnlen length) {
  fprintf(stderr, "LAPACK's %.*s rejects its argument %d\n", (int)length, name, (int)*argument);
  abort();
}

// Everything is linked already: no library has a function to be looked up, such as one that sets BLAS' threads.
void* dlsym(void* library, const char* name) {
  (void)library;
  (void)name;
  return NULL;
}

// --- run-time library ---

static char CharacterAt(const char* text, ftnlen length, ftnlen at) { return at < length ? text[at] : ' '; }

integer s_cmp(const char* a, const char* b, ftnlen lengthA, ftnlen lengthB) {
  const ftnlen length = lengthA > lengthB ? lengthA : lengthB;
  for (ftnlen i = 0; i < length; ++i) {
    const int difference = (unsigned char)CharacterAt(a, lengthA, i) - (unsigned char)CharacterAt(b, lengthB, i);
    if (difference != 0) return difference;
  }
  return 0;
}

void s_copy(char* to, const char* from, ftnlen lengthTo, ftnlen lengthFrom) {
  for (ftnlen i = 0; i < lengthTo; ++i) to[i] = CharacterAt(from, lengthFrom, i);
}

void s_cat(char* to, char* parts[], const ftnint lengths[], const ftnint* count, ftnlen lengthTo) {
  ftnlen filled = 0;
  for (ftnint part = 0; part < *count; ++part) {
    for (ftnint i = 0; i < lengths[part] && filled < lengthTo; ++i) to[filled++] = parts[part][i];
  }
  while (filled < lengthTo) to[filled++] = ' ';
}

integer i_len(const char* text, ftnlen length) {
  (void)text;
  return length;
}
integer i_nint(const real* x) { return (integer)roundf(*x); }
doublereal d_sign(const doublereal* magnitude, const doublereal* sign) { return copysign(*magnitude, *sign); }
doublereal pow_dd(const doublereal* base, const doublereal* exponent) { return pow(*base, *exponent); }
