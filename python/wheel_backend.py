"""Makes a wheel of the Python package: CMake builds and installs it into a folder, which is zipped.

What pip asks of a backend is two functions (PEP 517). Libraries that would do the same are written for projects whose
C++ is an extension and nothing else, and would have to be fetched.
"""

import base64
import hashlib
import pathlib
import shutil
import subprocess
import sys
import sysconfig
import tempfile
import zipfile

ROOT = pathlib.Path(__file__).resolve().parents[1]
DATE = (2026, 1, 1, 0, 0, 0)  # the same sources give the same bytes


def get_requires_for_build_wheel(config_settings=None):
    return []


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    settings = config_settings or {}
    build = pathlib.Path(settings.get("build-dir", ROOT / "build" / "wheel"))
    with tempfile.TemporaryDirectory() as scratch:
        return pack(install(build, pathlib.Path(scratch)), pathlib.Path(wheel_directory))


def install(build, stage):
    """Builds the package, unless a build folder has it; returns a folder that holds it, with the library that it needs."""
    if not (build / "CMakeCache.txt").exists():
        parts = ("XEM_BUILD_TOOL", "XEM_BUILD_EXAMPLES", "XEM_BUILD_TESTS")
        options = ["-DCMAKE_BUILD_TYPE=Release", "-DXEM_BUILD_PYTHON=ON", *(f"-D{part}=OFF" for part in parts)]
        generator = ["-G", "Ninja"] if shutil.which("ninja") else []
        python = f"-DXEM_PYTHON_EXECUTABLE={sys.executable}"
        subprocess.check_call(["cmake", "-S", ROOT, "-B", build, *generator, *options, python])
    subprocess.check_call(["cmake", "--build", build, "--target", "xem_python", "--parallel"])
    subprocess.check_call(["cmake", "--install", build, "--component", "python", "--prefix", stage])
    (info,) = stage.rglob("*.dist-info")
    shutil.copy(ROOT / "LICENSE", info)
    package = info.parent / "xemfit"
    library = next((build / "src" / "fit").glob("libxemfit.so.?"))
    shutil.copy(library.resolve(), package / library.name)
    for binary in package.glob("*.so*"):
        subprocess.check_call(["strip", "--strip-unneeded", binary])
    return info.parent


def pack(stage, wheel_directory):
    (info,) = stage.glob("*.dist-info")
    name = "-".join(info.stem.split("-")[:2])
    interpreter = f"cp{sys.version_info.major}{sys.version_info.minor}"
    tag = f"{interpreter}-{interpreter}-{sysconfig.get_platform().replace('-', '_').replace('.', '_')}"
    (info / "WHEEL").write_text(f"Wheel-Version: 1.0\nGenerator: xemfit\nRoot-Is-Purelib: false\nTag: {tag}\n")
    files = sorted(file for file in stage.rglob("*") if file.is_file())
    record = ""
    with zipfile.ZipFile(wheel_directory / f"{name}-{tag}.whl", "w", zipfile.ZIP_DEFLATED) as wheel:
        for file in files:
            content = file.read_bytes()
            path = file.relative_to(stage).as_posix()
            digest = base64.urlsafe_b64encode(hashlib.sha256(content).digest()).rstrip(b"=").decode()
            record += f"{path},sha256={digest},{len(content)}\n"
            write(wheel, path, content)
        path = f"{info.name}/RECORD"
        write(wheel, path, f"{record}{path},,\n".encode())
    return f"{name}-{tag}.whl"


def write(wheel, path, content):
    entry = zipfile.ZipInfo(path, DATE)
    entry.external_attr = 0o644 << 16
    entry.compress_type = zipfile.ZIP_DEFLATED
    wheel.writestr(entry, content)
