"""Compares what a shared library exports with the interface: the 26 functions, the records' members, and the type of
the one exception. Usage: exported_symbols.py LIBRARY"""

import subprocess
import sys

FUNCTIONS = """
CheckMaterialStability4Ogden CheckMaterialStability4Polynomial ComputeStress4BlatzKo ComputeStress4Ogden
ComputeStress4Polynominal ComputeStress4Volume CurveFitting4BlatzKo CurveFitting4BlatzKoConvertRelaxation
CurveFitting4Creep CurveFitting4CreepLMMethod CurveFitting4DynamicMatDamping CurveFitting4DynamicMatParameters
CurveFitting4DynamicMatShearStiff CurveFitting4GHEModel6Parameters CurveFitting4GHEModelDamping CurveFitting4Ogden
CurveFitting4OgdenConvertRelaxation CurveFitting4PolyConvertRelaxation CurveFitting4Polynominal
CurveFitting4Relaxation CurveFitting4UnsaturatedSoil CurveFitting4Volume FormingLimitCurve FormingLimitCurveCustomHR
InitialDynamicMatParameters ModifyDynamicMatParameters
""".split()

MEMBERS = {
    "_T_FUNT_BASE::operator=(_T_FUNT_BASE const&)", "_T_FUNT_BASE::operator=(_T_FUNT_BASE&&)",
    "_T_FUNT_BASE3::operator=(_T_FUNT_BASE3 const&)", "_T_FUNT_BASE3::operator=(_T_FUNT_BASE3&&)",
    "CArray22::CArray22()", "CArray22::~CArray22()", "typeinfo for CInvalidArgException",
    "typeinfo name for CInvalidArgException", "vtable for CInvalidArgException",
}

listing = subprocess.run(["nm", "-DC", "--defined-only", sys.argv[1]], check=True, capture_output=True, text=True)
exported = {line.split(maxsplit=2)[2] for line in listing.stdout.splitlines()}
expected = set(FUNCTIONS) | MEMBERS
for name in sorted(expected - exported):
    print("missing:", name)
for name in sorted(exported - expected):
    print("leaked:", name)
sys.exit(0 if exported == expected else 1)
