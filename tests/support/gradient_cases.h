#pragma once

#include <vector>

#include "support/gradients.h"

/// One row per test function; each family brings its rows in a file of tests/gradients/.
namespace Xem::Testing {

std::vector<GradientCase> HyperelasticGradients();
std::vector<GradientCase> DynamicGradients();
std::vector<GradientCase> SoilGradients();
std::vector<GradientCase> ViscoelasticGradients();

}  // namespace Xem::Testing
