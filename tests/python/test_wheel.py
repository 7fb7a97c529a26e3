"""The wheel holds all that it needs."""

import importlib.metadata
import pathlib
import subprocess
import sys
import zipfile

import pytest

import xemfit as xf

ROOT = pathlib.Path(__file__).parents[2]


def test_wheel_works_away_from_what_it_was_built_in(tmp_path):
    sys.path.insert(0, str(ROOT / "python"))
    import wheel_backend

    build = pathlib.Path(xf.__file__).parents[2]
    name = wheel_backend.build_wheel(tmp_path, {"build-dir": str(build)})
    with zipfile.ZipFile(tmp_path / name) as wheel:
        wheel.extractall(tmp_path / "site")
        listed = {line.split(",")[0] for line in wheel.read(f"xemfit-{xf.__version__}.dist-info/RECORD").decode().split()}
        assert listed == set(wheel.namelist())
    (found,) = importlib.metadata.distributions(path=[str(tmp_path / "site")])
    assert (found.metadata["Name"], found.version) == ("xemfit", xf.__version__)
    says = "import xemfit as xf; print(xf.__file__, xf.fit('yeoh', uniaxial=xf.data('treloar1944_uniaxial'))['C10'].value)"
    there = {"PYTHONPATH": str(tmp_path / "site"), "LD_DEBUG": "libs", "LD_DEBUG_OUTPUT": str(tmp_path / "libs")}
    ended = subprocess.run([sys.executable, "-c", says], env=there, cwd=tmp_path, check=True, capture_output=True, text=True)
    file, value = ended.stdout.split()
    assert file.startswith(str(tmp_path))
    here = xf.fit("yeoh", uniaxial=xf.data("treloar1944_uniaxial"))["C10"].value
    assert float(value) == pytest.approx(here, rel=1e-12)
    loaded = "".join(log.read_text() for log in tmp_path.glob("libs.*"))
    assert f"calling init: {tmp_path}/site/xemfit/libxemfit.so" in loaded
