"""Has pip install the Python package: CMake builds its core and installs it with the libraries."""

import os
import re
import shlex
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent
VERSION = re.search(r'KS_VERSION_STRING "([^"]+)"', (ROOT / "version.hpp").read_text())[1]
# Where setuptools writes what it is told below, so that the source folder stays as it is.
NOTES = ROOT / "build"
NOTES.mkdir(exist_ok=True)


class CMakeBuild(build_ext):
    """Builds an extension by CMake. The environment's CMAKE_ARGS are its last options."""

    def build_extension(self, ext):
        prefix = Path(self.get_ext_fullpath(ext.name)).resolve().parents[1]
        build = Path(self.build_temp).resolve()
        options = [
            "-DCMAKE_BUILD_TYPE=Release",
            f"-DPython3_EXECUTABLE={sys.executable}",
            "-DKS_BUILD_PYTHON=ON",
            "-DKS_BUILD_TESTS=OFF",
            "-DKS_BUILD_EXAMPLES=OFF",
            # All in one folder, each library under one name: a wheel holds no links.
            f"-DCMAKE_INSTALL_PREFIX={prefix}",
            "-DCMAKE_INSTALL_LIBDIR=ksexpr",
            "-DKS_PYTHON_DIR=.",
            "-DCMAKE_PLATFORM_NO_VERSIONED_SONAME=ON",
            *shlex.split(os.environ.get("CMAKE_ARGS", "")),
        ]
        jobs = str(os.cpu_count() or 1)
        run = lambda *command: subprocess.run(["cmake", *map(str, command)], check=True)
        run("-S", ROOT, "-B", build, *options)
        run("--build", build, "--target", "ksexpr_python", "--parallel", jobs)
        for component in ("host", "library", "decide", "python"):
            run("--install", build, "--component", component)


setup(
    name="ksexpr",
    version=VERSION,
    description="Symbolic expressions and variant conditions of block diagrams",
    python_requires=">=3.9",
    package_dir={"": "python"},
    packages=["ksexpr"],
    package_data={"ksexpr": ["*.pyi", "py.typed"]},
    ext_modules=[Extension("ksexpr._core", sources=[])],
    extras_require={"arrays": ["numpy"]},
    cmdclass={"build_ext": CMakeBuild},
    options={"egg_info": {"egg_base": str(NOTES)}},
    zip_safe=False,
)
