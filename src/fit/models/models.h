#pragma once

#include "fit/model.h"

/// The catalogue: one line per model, family by family, in the order in which people see them. Each is a constant of
/// that name in the file of its law or of its siblings.
// clang-format off
#define XEM_FIT_MODELS(MODEL) \
  /* rubber */                \
  MODEL(kPolynomial)          \
  MODEL(kNeoHooke)            \
  MODEL(kMooneyRivlin)        \
  MODEL(kYeoh)                \
  MODEL(kGent)                \
  MODEL(kArrudaBoyce)         \
  MODEL(kExtendedTube)        \
  MODEL(kVanDerWaals)         \
  MODEL(kOgden)               \
  MODEL(kBlatzKo)             \
  MODEL(kVolumetric)          \
  /* relaxation, creep */     \
  MODEL(kProny)               \
  MODEL(kWlf)                 \
  MODEL(kArrhenius)           \
  MODEL(kCreep)               \
  /* cyclic */                \
  MODEL(kPower)               \
  MODEL(kHyperbolic)          \
  MODEL(kGhe)                 \
  MODEL(kDarendeli)           \
  /* hardening */             \
  MODEL(kSwift)               \
  MODEL(kGhosh)               \
  MODEL(kHockettSherby)       \
  MODEL(kVoce)                \
  MODEL(kSwiftVoce)           \
  /* yield criteria of forming limits */ \
  MODEL(kVonMises)            \
  MODEL(kHill1979)            \
  /* retention */             \
  MODEL(kVanGenuchten)        \
  MODEL(kVanGenuchtenFreeM)   \
  MODEL(kFredlundXing)        \
  MODEL(kBrooksCorey)         \
  MODEL(kKosugi)              \
  MODEL(kVanGenuchtenDual)
// clang-format on

namespace Xem::Fit {

#define XEM_FIT_DECLARE_MODEL(name) extern const Model name;
XEM_FIT_MODELS(XEM_FIT_DECLARE_MODEL)
#undef XEM_FIT_DECLARE_MODEL

}  // namespace Xem::Fit
