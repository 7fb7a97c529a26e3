#pragma once

#include <pybind11/pybind11.h>

#include "xem/fit/result.h"

namespace Xem::Python {

/// Declares the class of results: numbers by need, arrays as views into the result, the document, evaluation.
void AddResult(pybind11::module_& module);

}  // namespace Xem::Python
