# SPDX-License-Identifier: Apache-2.0

"""Builds a wheel with CMake: pip install bindings/python

The library goes into the module, which then needs nothing but Python. Needs cmake, a C++ compiler and
pybind11 (Debian's pybind11-dev), and the whole source tree.
"""

import re
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

HERE = Path(__file__).resolve().parent
ROOT = HERE.parents[1]


def version():
    """The version of the whole project."""
    try:
        project = (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
    except FileNotFoundError:
        sys.exit(f"setup.py: {ROOT} is not the source tree of libqeltemplate: no CMakeLists.txt")
    return re.search(r"project\(qeltemplate VERSION ([0-9.]+)", project)[1]


class CMakeBuild(build_ext):
    """Builds and installs the CMake component "python" where the wheel is put together."""

    def build_extension(self, ext):
        build = Path(self.build_temp).resolve()
        package = Path(self.get_ext_fullpath(ext.name)).resolve().parent
        options = {
            "CMAKE_BUILD_TYPE": "Release",
            "BUILD_SHARED_LIBS": "OFF",
            "QELTEMPLATE_BUILD_BINDINGS": "ON",
            "QELTEMPLATE_BUILD_CLI": "OFF",
            "QELTEMPLATE_BUILD_TESTS": "OFF",
            "QELTEMPLATE_PYTHON_DIR": ".",
            "Python_EXECUTABLE": sys.executable,
        }
        configure = ["cmake", "-S", ROOT, "-B", build]
        configure += [f"-D{name}={value}" for name, value in options.items()]
        subprocess.run(configure, check=True)
        make = ["cmake", "--build", build, "--parallel", "2", "--target", "qeltemplate_python"]
        subprocess.run(make, check=True)
        install = ["cmake", "--install", build, "--component", "python"]
        subprocess.run([*install, "--prefix", package.parent], check=True)


setup(
    version=version(),
    packages=["qeltemplate"],
    package_data={"qeltemplate": ["py.typed", "*.pyi"]},
    ext_modules=[Extension("qeltemplate._qeltemplate", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
)
