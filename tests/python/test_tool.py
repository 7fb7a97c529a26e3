"""The same numbers as the tool, however the tests are handed over."""

import json

import numpy as np
import pandas as pd
import pytest
from conftest import DATA

import xemfit as xf

TRELOAR = {mode: DATA / f"treloar1944_{mode}.csv" for mode in ("uniaxial", "equibiaxial", "pure_shear")}
SAND = {curve: DATA / f"seed_idriss1970_sand_{curve}.csv" for curve in ("stiffness", "damping")}
CASES = [
    ("hyper fit --model ogden:2 --residual relative --hold alpha1=2 --weight pure_shear=2", "ogden:2", TRELOAR,
     {"residual": "relative", "hold": {"alpha1": 2}, "weight": {"pure_shear": 2}}),
    ("hyper fit --model yeoh:2 --band --level 0.9 --range uniaxial=0:4", "yeoh:2", TRELOAR,
     {"band": True, "level": 0.9, "range": {"uniaxial": (0, 4)}}),
    ("volume fit --terms 2", "volumetric:2", {"": DATA / "silicone_volumetric.csv"}, {}),
    ("prony fit --terms auto", "prony:auto", {"": DATA / "polymer_relaxation.csv"}, {}),
    ("prony fit --terms 2 --instantaneous free", "prony:2", {"": DATA / "polymer_relaxation.csv"},
     {"instantaneous": "free"}),
    ("creep fit --type both --stress 480 --bootstrap 20,3", "creep:both", {"": DATA / "metal_creep_500MPa.csv"},
     {"stress": 480, "bootstrap": 20, "seed": 3}),
    ("cyclic fit --family power --form strain", "power", SAND, {"form": "strain"}),
    ("retention fit --model van-genuchten --select soil=4521", "van-genuchten",
     {"": DATA / "unsoda_retention.csv"}, {"select": {"soil": 4521}}),
]  # fmt: skip
SLOT = {"volume": "volumetric", "prony": "relaxation"}


@pytest.mark.parametrize("command, model, files, options", CASES, ids=[case[0] for case in CASES])
def test_documents_are_those_of_the_tool(tool, command, model, files, options, tmp_path):
    arguments = command.split()
    for name, file in files.items():
        arguments += [f"--{name.replace('_', '-')}", file] if name else [file]
    tool(*arguments, "--json", tmp_path / "fit.json")
    theirs = json.loads((tmp_path / "fit.json").read_text())
    family = arguments[0]
    tests = {name or SLOT.get(family, family): file for name, file in files.items()}
    fit = xf.fit(model, **tests, **options)
    ours = json.loads(fit.to_json())
    del ours["command"]
    assert ours == {key: theirs[key] for key in ours}
    assert repr(xf.load(tmp_path / "fit.json")) == repr(fit)


def test_every_kind_of_test_gives_the_same_fit(tmp_path):
    """A file, a workbook, a frame with or without an index, a mapping, arrays, and a file with a decimal comma."""
    frame = pd.read_csv(TRELOAR["uniaxial"], comment="#")
    strain, stress = frame.iloc[:, 0], frame.iloc[:, 1]
    frame.to_excel(tmp_path / "ut.xlsx", index=False)
    frame.to_csv(tmp_path / "ut.csv", sep=";", decimal=",", index=False)
    kinds = {
        "file": TRELOAR["uniaxial"],
        "workbook": tmp_path / "ut.xlsx",
        "comma": str(tmp_path / "ut.csv"),
        "frame": frame,
        "indexed": frame.set_index("nominal_strain")[["nominal_stress_MPa"]],
        "mapping": {"stretch": 1 + strain.to_numpy(), "stress_kPa": 1000 * stress},
        "pair": (strain, stress),
        "lists": [list(strain), list(stress)],
        "columns": np.column_stack([strain, stress]),
        "series": pd.Series(stress.to_numpy(), index=strain),
    }
    fits = {kind: xf.fit("yeoh", uniaxial=test, stress_unit="MPa") for kind, test in kinds.items()}
    for kind, fit in fits.items():
        scale = 1000 if kind == "mapping" else 1
        assert fit.parameters.values == pytest.approx(scale * fits["file"].parameters.values, rel=1e-9), kind
        assert fit["C10"].unit == ("kPa" if kind == "mapping" else "MPa"), kind
    assert [len(fits[kind].inputs) for kind in ("file", "workbook", "frame", "pair")] == [1, 1, 0, 0]
    twice = xf.fit("yeoh", uniaxial=[frame, (strain, stress)], stress_unit="MPa")
    assert list(twice.curves) == ["uniaxial", "uniaxial_2"]
    assert twice.parameters.values == pytest.approx(fits["file"].parameters.values, rel=1e-9)


def test_rows_without_a_number_are_told_and_files_without_sense_are_refused(tmp_path):
    fit = xf.fit("neo-hooke", uniaxial=([0.1, 0.2, np.nan, 0.4], [0.1, 0.2, 0.3, 0.4]))
    assert [(one["curve"], one["row"]) for one in fit.dropped] == [("uniaxial", 3)]
    with pytest.raises(FileNotFoundError) as missing:
        xf.fit("neo-hooke", uniaxial=tmp_path / "none.csv")
    assert isinstance(missing.value, xf.BadData)
    (tmp_path / "odd.csv").write_text("colour,size\n1,2\n3,4\n")
    with pytest.raises(xf.BadData, match="odd.csv.*colour"):
        xf.fit("neo-hooke", uniaxial=tmp_path / "odd.csv")


def test_comparison_proposes_what_the_tool_proposes(tool):
    found = xf.compare(["neo-hooke", "yeoh", "ogden:1..2"], **TRELOAR)
    files = [word for mode, file in TRELOAR.items() for word in (f"--{mode.replace('_', '-')}", file)]
    theirs = json.loads(tool("hyper", "fit", "--model", "neo-hooke,yeoh,ogden:1..2", *files, "--json", "-").stdout)
    table = found.table
    assert list(table.index) == [one["model"] for one in theirs["comparison"]]
    assert list(table["aicc"]) == [one["aicc"] for one in theirs["comparison"]]
    assert list(table["proposed"]) == [one["proposed"] for one in theirs["comparison"]]
    assert found.proposed.notes == theirs["notes"]
    assert found.proposed is found[found.proposed.label]


def test_catalogue_cards_and_keywords_are_those_of_the_library(tool, tmp_path):
    listed = json.loads(tool("models", "--json", "-").stdout)["models"]
    assert [model.name for model in xf.models()] == [one["name"] for one in listed]
    fitted = [curve["name"] for one in listed for curve in one["curves"] if one["family"] != "forming"]
    assert set(fitted) <= set(xf.fit.__signature__.parameters)
    assert all(curve.removesuffix("_test") in xf.fit.__doc__ for curve in fitted)
    fit = xf.fit("ogden:2", **TRELOAR)
    fit.to_json(tmp_path / "fit.json")
    card = tool("card", tmp_path / "fit.json", "--for", "calculix").stdout
    assert fit.card("calculix").strip() == card.strip()
