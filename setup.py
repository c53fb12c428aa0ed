"""Lets CMake build the extension; all else stands in pyproject.toml.

SADDLEFIT_CMAKE_ARGS adds arguments for CMake; SADDLEFIT_CMAKE_BUILD names a build folder to go on
with, where otherwise a new one begins with every call.
"""

import os
import re
import shlex
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent


class CMakeBuild(build_ext):
    def build_extension(self, ext: Extension) -> None:
        package = Path(self.get_ext_fullpath(ext.name)).resolve().parent
        build = Path(os.environ.get("SADDLEFIT_CMAKE_BUILD", self.build_temp)).resolve()
        options = {"Python_EXECUTABLE": sys.executable,
                   "SADDLEFIT_BUILD_PYTHON": "ON", "SADDLEFIT_PYTHON_WHEEL": "ON",
                   "SADDLEFIT_PYTHON_DIR": "."}
        if not build.joinpath("CMakeCache.txt").exists():
            options.update(CMAKE_BUILD_TYPE="Release", SADDLEFIT_BUILD_CLI="OFF",
                           SADDLEFIT_BUILD_TESTS="OFF")
        arguments = [f"-D{name}={value}" for name, value in options.items()]
        self.run_cmake("-S", ROOT, "-B", build, *arguments,
                       *shlex.split(os.environ.get("SADDLEFIT_CMAKE_ARGS", "")))
        self.run_cmake("--build", build, "--target", "saddlefit_wheel", "--parallel",
                       self.parallel or os.cpu_count() or 1)
        self.run_cmake("--install", build, "--component", "python", "--prefix", package.parent)

    def run_cmake(self, *arguments: object) -> None:
        subprocess.run(["cmake", *map(str, arguments)], check=True)


def version() -> str:
    text = ROOT.joinpath("CMakeLists.txt").read_text()
    found = re.search(r"project\(saddlefit VERSION ([0-9.]+)", text)
    assert found, "CMakeLists.txt names the version"
    return found[1]


setup(version=version(), ext_modules=[Extension("saddlefit._saddlefit", [])],
      cmdclass={"build_ext": CMakeBuild})
