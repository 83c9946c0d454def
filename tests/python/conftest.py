"""Test setup for the zefra_tdr Python package.

Makes ``<repo>/python`` importable when the package is not installed and
records the worst error seen by every tolerance-based comparison, printed at
the end of the run so that the tolerances in ``oracles.TOLERANCES`` can be
checked against what the data actually produces.
"""

from __future__ import annotations

import sys
from pathlib import Path

import pytest

_REPO_ROOT = Path(__file__).resolve().parents[2]

try:
    import zefra_tdr  # noqa: F401
except ImportError:
    sys.path.insert(0, str(_REPO_ROOT / "python"))

_worst: dict[str, float] = {}


class ErrorLog:
    """Keeps the largest value reported under each name."""

    def record(self, name: str, value: float) -> None:
        if name not in _worst or value > _worst[name]:
            _worst[name] = value


@pytest.fixture(scope="session")
def error_log() -> ErrorLog:
    return ErrorLog()


def pytest_terminal_summary(terminalreporter):
    if not _worst:
        return
    from oracles import TOLERANCES

    terminalreporter.section("worst observed errors (tolerance in parentheses)")
    for name in sorted(_worst):
        bound = TOLERANCES.get(name)
        terminalreporter.write_line(f"{name}: {_worst[name]:.3g} ({bound})")
