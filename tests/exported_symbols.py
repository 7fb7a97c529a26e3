"""Compares what the shared libraries export with their interfaces. The host library: the 26 functions, the records'
members, and the type of the one exception. The fit layer: the functions that its headers mark, and its exception.
Usage: exported_symbols.py HOST_LIBRARY FIT_LIBRARY FIT_HEADERS"""

import pathlib
import re
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

FIT_TYPES = {f"{kind} for Xem::Fit::Error" for kind in ("typeinfo", "typeinfo name", "vtable")}


def exported(library):
    listing = subprocess.run(["nm", "-DC", "--defined-only", library], check=True, capture_output=True, text=True)
    return [line.split(maxsplit=2)[2] for line in listing.stdout.splitlines()]


def fit_functions(headers):
    """Qualified names of what the headers of the fit layer mark; an indented one is a member of the record around it."""
    for header in sorted(pathlib.Path(headers).glob("*.h")):
        text = header.read_text()
        for mark in re.finditer(r"^( *)XEM_FIT_EXPORT (?!__)[^;(]*?(\w+)\(", text, re.MULTILINE):
            record = re.findall(r"^(?:struct|class) (\w+) \{", text[:mark.start()], re.MULTILINE)[-1] + "::" if mark[1] else ""
            yield f"Xem::Fit::{record}{mark[2]}"


def differences(names, expected):
    yield from (f"missing: {name}" for name in sorted(expected - set(names)))
    yield from (f"leaked: {name}" for name in sorted(set(names) - expected))


host, fit, headers = sys.argv[1:]
found = list(differences(exported(host), set(FUNCTIONS) | MEMBERS))
plain = [re.sub(r"(\[abi:\w+\])?\(.*", "", name) for name in exported(fit)]
found += differences(plain, set(fit_functions(headers)) | FIT_TYPES)
print("\n".join(found) if found else "the libraries export what their interfaces name")
sys.exit(1 if found else 0)
