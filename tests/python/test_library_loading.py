"""Where the shared libraries are found, and the version they report."""

from __future__ import annotations

import ctypes
import re
from pathlib import Path

import pytest

import zefra_tdr
from zefra_tdr import _library

REPO_ROOT = Path(__file__).resolve().parents[2]
HELPERS_NAME = _library.library_file_name("Zefra_TDR_Helpers")
TOOLKIT_NAME = _library.library_file_name("zefra_toolkit")


@pytest.fixture
def no_env(monkeypatch):
    monkeypatch.delenv(_library.ENV_VAR, raising=False)
    monkeypatch.delenv(_library.TOOLKIT_ENV_VAR, raising=False)
    return monkeypatch


def fresh(stem="Zefra_TDR_Helpers"):
    """A library description like the package's, not yet loaded."""
    if stem == "zefra_toolkit":
        return _library.NativeLibrary(stem, _library.TOOLKIT_ENV_VAR,
                                      _library.TOOLKIT_SIGNATURES, beside=_library.ENV_VAR)
    return _library.NativeLibrary(stem, _library.ENV_VAR, _library.SIGNATURES)


def fake_checkout(root: Path, trees=("release",)) -> None:
    (root / "CMakeLists.txt").write_text("")
    for tree in trees:
        (root / "build" / tree / "lib").mkdir(parents=True)
        (root / "build" / tree / "lib" / HELPERS_NAME).write_bytes(b"")


def test_library_file_name_per_platform():
    assert _library.library_file_name("Zefra_TDR_Helpers", "linux") == "libZefra_TDR_Helpers.so"
    assert _library.library_file_name("Zefra_TDR_Helpers", "win32") == "Zefra_TDR_Helpers.dll"
    assert _library.library_file_name("zefra_toolkit", "darwin") == "libzefra_toolkit.dylib"


def test_a_function_missing_from_an_older_build_fails_only_when_used(monkeypatch):
    class OlderBuild:
        _name = "older/libZefra_TDR_Helpers.so"

        def __init__(self):
            self.median = ctypes.CFUNCTYPE(ctypes.c_double)(lambda: 0.0)

    library = fresh()
    lib = OlderBuild()
    library._declare(lib)  # skips what the file lacks
    assert lib.median.restype is ctypes.c_double
    library._handle = lib
    assert library.function("median") is lib.median
    with pytest.raises(AttributeError, match="synth_tline"):
        library.function("synth_tline")


def test_an_undeclared_function_is_a_key_error():
    with pytest.raises(KeyError, match="no prototype"):
        fresh().function("not_an_export")


def test_env_var_naming_a_missing_file_gives_a_clear_error(no_env, tmp_path):
    missing = tmp_path / "nowhere" / HELPERS_NAME
    no_env.setenv(_library.ENV_VAR, str(missing))
    assert fresh().candidate_paths() == [str(missing)]
    with pytest.raises(OSError) as info:
        fresh().load()
    assert _library.ENV_VAR in str(info.value) and str(missing) in str(info.value)


def test_toolkit_is_taken_from_the_folder_of_the_named_library(no_env, tmp_path):
    no_env.setenv(_library.ENV_VAR, str(tmp_path / HELPERS_NAME))
    assert fresh("zefra_toolkit").candidate_paths() == [str(tmp_path / TOOLKIT_NAME)]


def test_toolkit_env_var_wins_over_the_folder_of_the_library(no_env, tmp_path):
    no_env.setenv(_library.ENV_VAR, str(tmp_path / "a" / HELPERS_NAME))
    no_env.setenv(_library.TOOLKIT_ENV_VAR, str(tmp_path / "b" / TOOLKIT_NAME))
    assert fresh("zefra_toolkit").candidate_paths() == [str(tmp_path / "b" / TOOLKIT_NAME)]


def test_missing_library_error_lists_what_was_searched(no_env, tmp_path):
    fake_checkout(tmp_path, trees=())
    no_env.setattr(_library, "_REPO_ROOT", tmp_path)
    no_env.setattr(_library, "_PACKAGE_NATIVE_DIR", tmp_path / "package" / "_native")
    with pytest.raises(OSError) as info:
        fresh("Zefra_TDR_Helpers_absent").load()
    message = str(info.value)
    assert _library.ENV_VAR in message and "pip install" in message
    assert str(tmp_path / "package" / "_native") in message
    assert "system loader" in message


def test_package_folder_comes_before_the_build_tree(no_env, tmp_path):
    fake_checkout(tmp_path)
    native = tmp_path / "package" / "_native"
    native.mkdir(parents=True)
    (native / HELPERS_NAME).write_bytes(b"")
    no_env.setattr(_library, "_REPO_ROOT", tmp_path)
    no_env.setattr(_library, "_PACKAGE_NATIVE_DIR", native)
    assert fresh().candidate_paths() == [
        str(native / HELPERS_NAME),
        str(tmp_path / "build" / "release" / "lib" / HELPERS_NAME),
        HELPERS_NAME,
    ]


def test_build_tree_is_searched_release_first(no_env, tmp_path):
    fake_checkout(tmp_path, trees=("debug", "release", "asan"))
    no_env.setattr(_library, "_REPO_ROOT", tmp_path)
    no_env.setattr(_library, "_PACKAGE_NATIVE_DIR", tmp_path / "none")
    found = fresh().candidate_paths()[:-1]
    assert found == [str(tmp_path / "build" / t / "lib" / HELPERS_NAME)
                     for t in ("release", "asan", "debug")]


def test_build_tree_is_not_searched_outside_a_checkout(no_env, tmp_path):
    fake_checkout(tmp_path)
    (tmp_path / "CMakeLists.txt").unlink()
    no_env.setattr(_library, "_REPO_ROOT", tmp_path)
    no_env.setattr(_library, "_PACKAGE_NATIVE_DIR", tmp_path / "none")
    assert fresh().candidate_paths() == [HELPERS_NAME]


def test_version_is_the_cmake_project_version():
    text = (REPO_ROOT / "CMakeLists.txt").read_text()
    cmake_version = re.search(r"project\(\s*Zefra_TDR_Helpers\s+VERSION\s+(\S+)", text).group(1)
    assert zefra_tdr.__version__ == cmake_version


def test_unknown_attribute_of_the_package_is_an_attribute_error():
    with pytest.raises(AttributeError, match="no_such_name"):
        zefra_tdr.no_such_name  # noqa: B018
