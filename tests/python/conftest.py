"""What the tests share: the tool beside the package, and the bundled curves."""

import os
import pathlib
import subprocess

import pytest

DATA = pathlib.Path(__file__).parents[2] / "data"


@pytest.fixture(scope="session")
def tool():
    """Runs the tool, which stands on the same library."""

    def run(*arguments, **options):
        command = [os.environ["XEMFIT"], *map(str, arguments)]
        return subprocess.run(command, check=True, capture_output=True, text=True, **options)

    if "XEMFIT" not in os.environ:
        pytest.skip("XEMFIT names no tool")
    return run
