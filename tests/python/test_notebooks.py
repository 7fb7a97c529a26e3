"""The tutorials run from top to bottom, and say what they mean to say."""

import json
import pathlib

import pytest

NOTEBOOKS = sorted((pathlib.Path(__file__).parents[2] / "docs/notebooks").glob("*.ipynb"))
SHOWN = {  # what the last cells are there to show
    "creep": "several['C2'].value == pytest.approx(2.5, abs=0.1) and several['C6'].value == pytest.approx(5, abs=0.2)",
    "cyclic": "found.proposed.measures.rmse <= fit.measures.rmse",
    "hardening": "found.proposed.measures.r2 > 0.98",
    "relaxation": "raw['E0'].value == pytest.approx(1739, rel=0.02) and (lower < upper).all()",
    "retention": "len(batch.errors) == 0 and min(c.proposed.measures.r2 for c in found.values()) > 0.97",
    "rubber": "found.proposed.measures.r2 > 0.99",
}


@pytest.mark.parametrize("notebook", NOTEBOOKS, ids=lambda path: path.stem)
def test_notebook(notebook, monkeypatch, tmp_path, capsys):
    shell = pytest.importorskip("IPython.core.interactiveshell").InteractiveShell(ipython_dir=str(tmp_path))
    monkeypatch.setenv("MPLBACKEND", "Agg")
    for cell in json.loads(notebook.read_text())["cells"]:
        if cell["cell_type"] == "code":
            shell.run_cell("".join(cell["source"])).raise_error()
    shell.user_ns["pytest"] = pytest
    assert shell.ev(SHOWN[notebook.stem])
