"""Many specimens: the tool's numbers and table, whoever does the work and whatever befalls him."""

import concurrent.futures
import os
import shutil
import signal
import subprocess
import sys

import numpy as np
import pandas as pd
import pytest

import xemfit as xf

RECIPE = "hyper fit --model yeoh:2 --uniaxial {specimen}.csv"


def bundle(folder, count=14):
    """Planted specimens with scatter: one without numbers, one in another unit, one that is doubtful."""
    rng = np.random.default_rng(11)
    strain = np.linspace(0.05, 1.5, 20)
    stretch = 1 + strain
    for i in range(1, count + 1):
        modulus = 0.4 + 0.02 * rng.standard_normal() + (0.5 if i == 5 else 0)
        slope = 2 * modulus + 0.1 * (stretch**2 + 2 / stretch - 3)
        noise = 0.3 if i == 7 else 0.005
        stress = (stretch - stretch**-2) * slope * (1 + noise * rng.standard_normal(20))
        unit, scale = ("kPa", 1000) if i == 4 else ("MPa", 1)
        frame = pd.DataFrame({"strain": strain, f"stress_{unit}": scale * stress})
        if i == 9:
            frame.iloc[:, 1] = 0.0
        frame.to_csv(folder / f"s{i}.csv", index=False)
    return [f"s{i}" for i in range(1, count + 1)]


def same(ours, theirs):
    """The tool's file has its units in a row, the frame beside its numbers."""
    units = theirs[theirs["specimen"] == "unit"].iloc[0]
    theirs = theirs[theirs["specimen"] != "unit"].reset_index(drop=True)
    assert list(ours.columns) == list(theirs.columns)
    for name in ours.columns:
        if pd.api.types.is_numeric_dtype(ours[name]):
            left, right = ours[name].astype(float), [float(one) for one in theirs[name]]
            assert np.array_equal(left, right, equal_nan=True), name
            assert ours.attrs["units"].get(name, "") == ("" if pd.isna(units[name]) else units[name])
        else:
            left, right = (column.fillna("").str.split(" (", regex=False).str[0] for column in (ours[name], theirs[name]))
            assert list(left) == list(right), name  # but for the folder of a file


def test_recipes_give_the_table_of_the_tool_in_one_run_and_in_shards(tool, tmp_path):
    names = bundle(tmp_path)
    (tmp_path / "recipe.txt").write_text(f"# yeoh\n{RECIPE}\n")
    found = xf.batch(tmp_path / "recipe.txt", tmp_path)
    assert found.names == names and len(found) == 14
    assert list(found.errors) == ["s9"] and isinstance(found["s9"], xf.BadData)

    def by_tool(*arguments):
        command = [os.environ["XEMFIT"], "batch", "recipe.txt", ".", "--jobs", "2", "--quiet", "--summary", "s.csv"]
        ended = subprocess.run([*command, *arguments], cwd=tmp_path, capture_output=True, text=True)
        return ended, pd.read_csv(tmp_path / "s.csv", float_precision="round_trip")

    ended, whole = by_tool("--work", "whole")
    assert ended.returncode == 3
    same(found.summary, whole)
    # Shards keep what they finish in one folder, from which the whole is gathered.
    told = []
    for shard in (1, 2, 3):
        _, table = by_tool("--shard", f"{shard}/3")
        told += [name for name in table["specimen"] if name in names]
        if shard == 2:
            _, partly = by_tool("--gather")
            assert (partly["status"] == "stopped").sum() == 4
    assert sorted(told) == sorted(names)
    _, gathered = by_tool("--gather")
    pd.testing.assert_frame_equal(gathered, whole)
    for wrong in ("0/3", "4/3", "3", "a/b"):
        assert by_tool("--shard", wrong)[0].returncode == 2


@pytest.fixture(scope="module")
def specimens():
    time = np.logspace(-2, 3, 40)
    rng = np.random.default_rng(5)
    clean = 1 - 0.3 * (1 - np.exp(-time / 0.5)) - 0.2 * (1 - np.exp(-time / 50))
    return {f"n{i}": {"relaxation": (time, clean * (1 + 2e-3 * rng.standard_normal(40)))} for i in range(40)}


def fitted(specimen):
    if specimen is None:
        raise xf.BadData("no data")
    if specimen == "kill":
        os.kill(os.getpid(), signal.SIGKILL)
    if specimen == "once":
        flag = os.environ["XEMFIT_TEST_FLAG"]
        if not os.path.exists(flag):
            open(flag, "w").close()
            os.kill(os.getpid(), signal.SIGKILL)
        return 1
    return xf.fit("prony:2", **specimen)


def test_whoever_works_the_answers_are_the_same(specimens):
    alone = {name: xf.fit("prony:2", **tests).to_json() for name, tests in specimens.items()}
    with concurrent.futures.ThreadPoolExecutor(2) as threads:
        for executor in (None, threads):
            found = xf.batch("prony:2", specimens, executor)
            assert dict(zip(found.names, (one.to_json() for one in found))) == alone
    distributed = pytest.importorskip("distributed")
    import dask

    quiet = {"distributed.worker.daemon": True, "logging.distributed": "error"}
    with dask.config.set(quiet), distributed.LocalCluster(2, threads_per_worker=1, dashboard_address=None) as cluster:
        with distributed.Client(cluster) as client:
            there = xf.batch("prony:2", specimens, client)
    assert [one.to_json() for one in there] == list(alone.values())
    pd.testing.assert_frame_equal(there.summary, found.summary)


def test_processes_of_mpi(specimens, tmp_path):
    pytest.importorskip("mpi4py")
    if not shutil.which("mpiexec"):
        pytest.skip("no mpiexec")
    (tmp_path / "job.py").write_text(
        "import sys, pickle, xemfit as xf\n"
        "from mpi4py.futures import MPIPoolExecutor\n"
        "if __name__ == '__main__':\n"
        "    specimens = pickle.load(open(sys.argv[1], 'rb'))\n"
        "    with MPIPoolExecutor() as pool:\n"
        "        found = xf.batch('prony:2', specimens, pool)\n"
        "    found.summary.to_pickle(sys.argv[2])\n"
    )
    pd.to_pickle(specimens, tmp_path / "specimens")
    launch = ["mpiexec", "--allow-run-as-root", "--oversubscribe", "-n", "3"]
    job = [sys.executable, "-m", "mpi4py.futures", str(tmp_path / "job.py"), tmp_path / "specimens", tmp_path / "found"]
    subprocess.run([*launch, *job], check=True, capture_output=True, timeout=60)
    pd.testing.assert_frame_equal(pd.read_pickle(tmp_path / "found"), xf.batch("prony:2", specimens).summary)


def test_what_ends_a_worker_costs_no_other_specimen(specimens, tmp_path, monkeypatch, capsys):
    monkeypatch.setenv("XEMFIT_TEST_FLAG", str(tmp_path / "flag"))
    work = [*specimens.values()][:20]
    work[3], work[8], work[13] = None, "kill", "once"
    found = xf.batch(fitted, work, workers=2, chunk=3, progress=True)
    assert [type(one).__name__ for one in (found[3], found[8])] == ["BadData", "WorkerLost"]
    assert found[13] == 1
    assert all(isinstance(one, xf.Fit) for i, one in enumerate(found) if i not in (3, 8, 13))
    assert [one.to_json() for one in found[14:]] == [fitted(one).to_json() for one in work[14:]]
    assert "20 of 20 specimens, 2 failed" in capsys.readouterr().err
    with pytest.raises(TypeError, match="model"):
        xf.batch(fitted, work, residual="relative")
