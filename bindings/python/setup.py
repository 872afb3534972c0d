# SPDX-License-Identifier: Apache-2.0

"""Builds a wheel with CMake, and the source distribution: pip install bindings/python

The library goes into the module. Needs cmake 3.25, make or ninja, a C++ compiler, pkg-config, and the headers of
Python, libacl and libattr (Debian's cmake, make, g++, pkg-config, python3-dev, libacl1-dev, libattr1-dev); pybind11
comes by itself, or is the system's (pybind11-dev). A source distribution holds what it needs of the source tree,
in the folder "sources".
"""

import ast
import os
import re
import shlex
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext
from setuptools.command.sdist import sdist

HERE = Path(__file__).resolve().parent
# What the module is built of: in a source distribution, and else the source tree.
PACKED = HERE / "sources"
ROOT = PACKED if PACKED.exists() else HERE.parents[1]
NEEDED = ("CMakeLists.txt", "LICENSE", "cmake", "src", "bindings")
# Left behind by builds in the source tree.
NOT_PACKED = shutil.ignore_patterns(
    "build", "*.egg-info", "__pycache__", "sources", "dist", "qeltemplate-[0-9]*"
)


def version():
    """The version of the whole project."""
    try:
        project = (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
    except FileNotFoundError:
        sys.exit(f"setup.py: {ROOT} is not the source tree of libqeltemplate: no CMakeLists.txt")
    return re.search(r"project\(qeltemplate VERSION ([0-9.]+)", project)[1]


def readme():
    """What help(qeltemplate) begins with."""
    package = HERE / "qeltemplate" / "__init__.py"
    return ast.get_docstring(ast.parse(package.read_text(encoding="utf-8")))


def licence():
    """Beside this file, where setuptools looks for it."""
    if ROOT != PACKED:
        shutil.copyfile(ROOT / "LICENSE", HERE / "LICENSE")
    return "LICENSE"


def missing_programs():
    """Of those that the build calls: what to install."""
    called = (("cmake",), ("make", "ninja"), ("pkg-config",))
    return [" or ".join(names) for names in called if not any(map(shutil.which, names))]


def pybind11_folder():
    """Where CMake finds the pybind11 of Python; without one it looks for the system's."""
    try:
        import pybind11
    except ImportError:
        return {}
    return {"pybind11_DIR": pybind11.get_cmake_dir()}


class CMakeBuild(build_ext):
    """Builds and installs the CMake component "python" where the wheel is put together."""

    def build_extension(self, ext):
        missing = missing_programs()
        if missing:
            sys.exit(f"setup.py: to build it needs {', '.join(missing)}, which is not there")
        build = Path(self.build_temp).resolve()
        package = Path(self.get_ext_fullpath(ext.name)).resolve().parent
        options = {
            "CMAKE_BUILD_TYPE": "Release",
            "BUILD_SHARED_LIBS": "OFF",
            "QELTEMPLATE_BUILD_BINDINGS": "ON",
            "QELTEMPLATE_BUILD_CLI": "OFF",
            "QELTEMPLATE_BUILD_TESTS": "OFF",
            "QELTEMPLATE_BUILD_UPDATE": "OFF",
            "QELTEMPLATE_PYTHON_DIR": ".",
            "Python_EXECUTABLE": sys.executable,
            **pybind11_folder(),
        }
        configure = ["cmake", "-S", ROOT, "-B", build]
        configure += [f"-D{name}={value}" for name, value in options.items()]
        if not shutil.which("make"):
            configure += ["-G", "Ninja"]
        configure += shlex.split(os.environ.get("CMAKE_ARGS", ""))
        subprocess.run(configure, check=True)
        make = ["cmake", "--build", build, "--parallel", str(os.cpu_count() or 1)]
        subprocess.run([*make, "--target", "qeltemplate_python"], check=True)
        install = ["cmake", "--install", build, "--component", "python"]
        subprocess.run([*install, "--prefix", package.parent], check=True)


class SourceDistribution(sdist):
    """Packs the sources of the library, too."""

    def make_release_tree(self, base_dir, files):
        super().make_release_tree(base_dir, files)
        packed = Path(base_dir) / PACKED.name
        for name in NEEDED:
            if (ROOT / name).is_dir():
                shutil.copytree(ROOT / name, packed / name, ignore=NOT_PACKED)
            else:
                packed.mkdir(exist_ok=True)
                shutil.copyfile(ROOT / name, packed / name)


setup(
    version=version(),
    long_description=readme(),
    long_description_content_type="text/plain",
    license_files=[licence()],
    packages=["qeltemplate"],
    package_data={"qeltemplate": ["py.typed", "*.pyi"]},
    ext_modules=[Extension("qeltemplate._qeltemplate", sources=[])],
    cmdclass={"build_ext": CMakeBuild, "sdist": SourceDistribution},
)
