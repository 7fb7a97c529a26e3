#ifndef XEM_MATERIAL_UTIL_H
#define XEM_MATERIAL_UTIL_H

/// @file
/// All that a host sees: records, arrays and the 26 exported functions. What the headers call docs/ is installed as
/// share/doc/xemmaterialutil.
///
/// Rules common to all functions
///  - Arrays named "in" are only read; "out" arrays are resized (unless a function says otherwise) and overwritten.
///  - A bad index, an array too short for what a function reads, and a count that cannot be served throw
///    CInvalidArgException; a failed LAPACK routine throws its `info` as a plain int. Nothing else is validated:
///    results may be infinite or NaN. An exception leaves the outputs that were not yet written as they were.
///  - A call always ends, and its memory follows its input: a count or a matrix beyond the stated limits throws
///    CInvalidArgException, memory that cannot be had std::bad_alloc. docs/safety.md has the bounds of every function.
///  - Measured values with a magnitude below 2.2e-16, or NaN, are dropped on loading and take no part in a fit.
///  - Functions keep no state and may run on several threads at once. The four polynomial and Ogden functions
///    set the BLAS library to one thread for the whole process (hyperelastic.h tells how to set it back); the others
///    and the fit layer leave that setting alone. Hosts that call from several threads do well to set it themselves
///    (OPENBLAS_NUM_THREADS=1): the matrices are small, and some BLAS libraries otherwise spend their time on handing
///    them from thread to thread.

#include "xem/array.h"
#include "xem/dynamic.h"
#include "xem/export.h"
#include "xem/hyperelastic.h"
#include "xem/records.h"
#include "xem/sheet_metal.h"
#include "xem/soil.h"
#include "xem/stability.h"
#include "xem/text.h"
#include "xem/version.h"
#include "xem/viscoelastic.h"

#endif
