#pragma once

#include "fit/model.h"

/// The models of the catalogue, each defined in the file of its law or of its siblings.
namespace Xem::Fit {

// rubber
extern const Model kPolynomial;
extern const Model kOgden;
extern const Model kBlatzKo;
extern const Model kVolumetric;

}  // namespace Xem::Fit
