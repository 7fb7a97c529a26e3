#ifndef XEM_FIT_CARD_H
#define XEM_FIT_CARD_H

#include <string>
#include <vector>

#include "xem/fit/result.h"

/// @file
/// Fitted models in the words of the programs that use them.
namespace Xem::Fit {

/// "calculix": a *MATERIAL of that solver: *HYPERELASTIC, *CREEP or *PLASTIC.
/// "ufl": Python statements that compute the strain energy density W of the deformation gradient F.
/// "text": formula, parameters with units and meaning, and where other programs count differently.
XEM_FIT_EXPORT const std::vector<std::string>& CardTargets();

/// The card of a result, fitted or read by FromJson, for one of CardTargets(). Numbers are in the units of the result,
/// which a comment names. `name` is that of the material, letters, digits, _ and -, beginning with a letter; empty: the
/// model's.
///
/// Compressibility comes from the volumetric coefficients of the result, else from a Poisson ratio of 0.495. A flow
/// curve is a table, straight between whose points the law is met within 0.1 %, to a plastic strain of 1 or the largest
/// measured one.
///
/// Throws Error (BadInput), in one sentence, for an unknown target, for what the target cannot express, and for
/// parameters that do not fit the model.
XEM_FIT_EXPORT std::string MaterialCard(const Result& result, const std::string& target, const std::string& name = "");

}  // namespace Xem::Fit

#endif
