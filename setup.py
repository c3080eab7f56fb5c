"""The compiled half of the pip build: CMake builds the library and the pybind11 module `_core`, and
installs both into the package (the library beside `_core`, which finds it through RPATH $ORIGIN); the
pure Python files come from pyproject.toml's package settings. CMAKE_BUILD_PARALLEL_LEVEL sets the
compile jobs (default: all CPUs); CMAKE_ARGS adds options to the configure step."""
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent
VERSION = re.search(r"project\(tessel_fft VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text()).group(1)


class CMakeBuild(build_ext):
    def build_extension(self, extension):
        build = pathlib.Path(self.build_temp).resolve() / "cmake"
        staging = build / "staging"
        shutil.rmtree(staging, ignore_errors=True)
        subprocess.run(["cmake", "-S", str(ROOT), "-B", str(build), "-DCMAKE_BUILD_TYPE=Release",
                        "-DTESSEL_BUILD_TESTS=OFF", "-DTESSEL_BUILD_PROGRAM=OFF",
                        "-DTESSEL_BUILD_MICROBENCH=OFF",
                        "-DTESSEL_BUILD_PYTHON=ON", "-DTESSEL_INSTALL=OFF", "-DTESSEL_PYTHON_BUNDLE=ON",
                        f"-DPython_EXECUTABLE={sys.executable}"]
                       + shlex.split(os.environ.get("CMAKE_ARGS", "")), check=True)
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", str(os.cpu_count() or 1))
        subprocess.run(["cmake", "--build", str(build), "-j", jobs, "--target", "tessel_fft_python"],
                       check=True)
        subprocess.run(["cmake", "--install", str(build), "--component", "python_bundle",
                        "--prefix", str(staging)], check=True)
        target = pathlib.Path(self.get_ext_fullpath(extension.name)).parent
        target.mkdir(parents=True, exist_ok=True)
        # The module, and the library under its SONAME (a copy of the file the link names, not the chain of
        # symbolic links, which a wheel cannot hold).
        for built in (staging / "tessel_fft").glob("*.so*"):
            if built.name.startswith("_core") or re.fullmatch(r"libtessel_fft\.so\.[0-9]+", built.name):
                shutil.copyfile(built, target / built.name)


setup(version=VERSION, ext_modules=[Extension("tessel_fft._core", sources=[])],
      cmdclass={"build_ext": CMakeBuild})
