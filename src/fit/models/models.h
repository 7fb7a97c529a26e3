#pragma once

#include "fit/model.h"

/// The models of the catalogue, each defined in the file of its law or of its siblings.
namespace Xem::Fit {

// rubber
extern const Model kPolynomial;
extern const Model kOgden;
extern const Model kBlatzKo;
extern const Model kVolumetric;

// relaxation, creep
extern const Model kProny;
extern const Model kCreep;

// cyclic
extern const Model kPower;
extern const Model kHyperbolic;
extern const Model kGhe;

// hardening, and the yield criteria of forming limits
extern const Model kSwift;
extern const Model kGhosh;
extern const Model kHockettSherby;
extern const Model kVonMises;
extern const Model kHill1979;

// retention
extern const Model kVanGenuchten;
extern const Model kVanGenuchtenFreeM;
extern const Model kFredlundXing;
extern const Model kBrooksCorey;

}  // namespace Xem::Fit
