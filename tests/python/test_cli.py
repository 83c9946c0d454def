"""The zefra-tdr command: exit statuses, one-line errors, version."""

from __future__ import annotations

import json

import pytest

import zefra_tdr
from zefra_tdr import _library
from zefra_tdr.cli import main


def test_version_option_prints_the_package_version(capsys):
    assert main(["--version"]) == 0
    assert capsys.readouterr().out.strip() == f"zefra-tdr {zefra_tdr.__version__}"


def test_version_command_names_the_loaded_libraries_in_json(capsys):
    assert main(["version", "--json"]) == 0
    info = json.loads(capsys.readouterr().out)
    assert info["version"] == zefra_tdr.__version__
    assert info["helpers_library"] == _library.HELPERS.load()._name
    assert info["toolkit_library"] == _library.TOOLKIT.load()._name


def test_no_command_prints_help_and_exits_2(capsys):
    assert main([]) == 2
    assert "usage: zefra-tdr" in capsys.readouterr().err


def test_unknown_command_exits_2(capsys):
    with pytest.raises(SystemExit) as info:
        main(["no-such-command"])
    assert info.value.code == 2


def test_library_that_cannot_be_loaded_gives_one_line_and_status_2(monkeypatch, tmp_path, capsys):
    monkeypatch.setenv(_library.TOOLKIT_ENV_VAR, str(tmp_path / "missing.so"))
    monkeypatch.setattr(_library.TOOLKIT, "_handle", None)
    monkeypatch.delitem(vars(zefra_tdr), "__version__", raising=False)
    assert main(["version"]) == 2
    err = capsys.readouterr().err
    assert err.count("\n") == 1 and err.startswith("zefra-tdr: error: ")
    assert "missing.so" in err


def test_debug_shows_the_traceback(monkeypatch, tmp_path):
    monkeypatch.setenv(_library.TOOLKIT_ENV_VAR, str(tmp_path / "missing.so"))
    monkeypatch.setattr(_library.TOOLKIT, "_handle", None)
    monkeypatch.delitem(vars(zefra_tdr), "__version__", raising=False)
    with pytest.raises(OSError, match="missing.so"):
        main(["--debug", "version"])
