"""Build step of the zefra_tdr package: CMake builds the shared libraries and
they are copied into the package (``zefra_tdr/_native/``), where the loader
finds them from any directory.

Everything else (metadata, the console script) is in pyproject.toml.  The
version is the CMake project version, read from CMakeLists.txt, so that the
package, the C headers and the libraries carry one number.

Environment:
  ZEFRA_CMAKE_ARGS   extra arguments for the CMake configure step
                     (e.g. "-G Ninja" or "-DCMAKE_CXX_COMPILER=clang++-14");
  CMAKE_BUILD_PARALLEL_LEVEL   parallel build jobs (default: all processors).
"""

from __future__ import annotations

import os
import re
import shlex
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent

#: CMake targets shipped in the package: the library, the sibling module it
#: loads from its own folder, and the toolkit library.
LIBRARY_TARGETS = ("Zefra_TDR_Helpers", "interp_Sparam", "zefra_toolkit")


def project_version() -> str:
    text = (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
    match = re.search(r"project\(\s*Zefra_TDR_Helpers\s+VERSION\s+(\d+\.\d+\.\d+)", text)
    if match is None:
        raise RuntimeError("CMakeLists.txt: no 'project(Zefra_TDR_Helpers VERSION x.y.z'")
    return match.group(1)


def library_names() -> list[str]:
    """File names of LIBRARY_TARGETS on this platform."""
    if sys.platform.startswith("win") or sys.platform == "cygwin":
        return [f"{t}.dll" for t in LIBRARY_TARGETS]
    if sys.platform == "darwin":
        return [f"lib{t}.dylib" for t in LIBRARY_TARGETS]
    return [f"lib{t}.so" for t in LIBRARY_TARGETS]


def installed_library_files(prefix: Path) -> list[Path]:
    """The shared libraries of LIBRARY_TARGETS in a CMake install prefix
    (DLLs go to bin/, the others to lib/ or lib64/)."""
    folders = [prefix / "bin", prefix / "lib", prefix / "lib64"]
    found = []
    for name in library_names():
        candidates = [folder / name for folder in folders if (folder / name).is_file()]
        if not candidates:
            raise RuntimeError(f"CMake install produced no {name} under {prefix}")
        found.append(candidates[0])
    return found


class CMakeLibraries(Extension):
    """Placeholder extension: marks the distribution as platform-specific and
    gives build_ext (also run for editable installs) a place to build."""

    def __init__(self) -> None:
        super().__init__("zefra_tdr._native", sources=[])


class BuildWithCMake(build_ext):
    def run(self) -> None:
        for ext in self.extensions:
            self.build_extension(ext)

    def _native_dir(self) -> Path:
        # The folder of the package, in build/ or (editable) in the source tree.
        return Path(self.get_ext_fullpath("zefra_tdr._native")).parent / "_native"

    def build_extension(self, ext) -> None:
        if shutil.which("cmake") is None:
            raise RuntimeError("building zefra_tdr needs CMake >= 3.25 (Debian: apt-get install cmake)")
        build_dir = Path(self.build_temp).resolve() / "cmake"
        stage = Path(self.build_temp).resolve() / "stage"
        configure = [
            "cmake", "-S", str(ROOT), "-B", str(build_dir),
            "-DCMAKE_BUILD_TYPE=Release",
            "-DZEFRA_BUILD_TESTS=OFF", "-DZEFRA_BUILD_EXAMPLES=OFF",
            "-DZEFRA_BUILD_BENCHMARKS=OFF", "-DZEFRA_BUILD_FUZZERS=OFF",
            *shlex.split(os.environ.get("ZEFRA_CMAKE_ARGS", "")),
        ]
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL") or str(os.cpu_count() or 2)
        build = ["cmake", "--build", str(build_dir), "--config", "Release", "-j", jobs,
                 "--target", *LIBRARY_TARGETS]
        install = ["cmake", "--install", str(build_dir), "--config", "Release",
                   "--prefix", str(stage)]
        for command in (configure, build, install):
            print(" ".join(shlex.quote(c) for c in command), flush=True)
            subprocess.run(command, check=True)
        target = self._native_dir()
        target.mkdir(parents=True, exist_ok=True)
        for library in installed_library_files(stage):
            shutil.copy2(library, target / library.name)

    def get_outputs(self) -> list[str]:
        return [str(self._native_dir() / name) for name in library_names()]


cmdclass = {"build_ext": BuildWithCMake}

try:
    from wheel.bdist_wheel import bdist_wheel
except ImportError:  # no wheel package: sdists and direct installs still work
    if {"bdist_wheel", "dist_info", "editable_wheel"} & set(sys.argv[1:]):
        # pip's build (--no-build-isolation) would stop at "invalid command
        # 'bdist_wheel'", which does not say what to do.
        sys.exit(f"zefra_tdr: {sys.executable} has no 'wheel' package, which pip needs to "
                 "build this package. On Debian: apt-get install python3-wheel python3-numpy, "
                 "then make the venv from Debian's Python: /usr/bin/python3 -m venv "
                 "--system-site-packages VENV")
else:
    class PlatformWheel(bdist_wheel):
        """The libraries are loaded with ctypes, not imported as CPython
        extensions: the wheel depends on the platform, not on the Python
        version or ABI."""

        def get_tag(self):
            _, _, platform_tag = super().get_tag()
            return "py3", "none", platform_tag

    cmdclass["bdist_wheel"] = PlatformWheel


setup(
    version=project_version(),
    package_dir={"": "python"},
    packages=["zefra_tdr"],
    # The default channel's Touchstone file (zefra_tdr.default_channel_path()).
    package_data={"zefra_tdr": ["data/*.s4p"]},
    ext_modules=[CMakeLibraries()],
    cmdclass=cmdclass,
    options={"build": {"build_base": "build/python"}},
    zip_safe=False,
)
