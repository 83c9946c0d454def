"""docs/python.md lists every function of the package once, with its
signature, its module and the export (or toolkit functions) it actually
calls, and every class with its signature and module."""

from __future__ import annotations

import contextlib
import importlib
import inspect
import pkgutil
import re
from pathlib import Path

import pytest

import zefra_tdr
from zefra_tdr import _library

PAGE = Path(__file__).resolve().parents[2] / "docs" / "python.md"
ROW = re.compile(r"^\| `(\w+)(\(.*\))` \| `(?!zefra_tk_)(\w+)` \| `(\w+)` \|$")
TOOLKIT_ROW = re.compile(r"^\| `(\w+)(\(.*\))` \| ((?:`zefra_tk_\w+`(?:, )?)+) \| `(\w+)` \|$")
CLASS_ROW = re.compile(r"^\| `(\w+)(\(.*\))` \| `(\w+)` \|$")
COMPOSED_ROW = re.compile(r"^\| `(\w+)(\(.*\))` \| ((?:`zefra_tdr\.\w+`(?:, )?)+) \| `(\w+)` \|$")

ONE = [1.0]
PORT = ([0.5j], [0.5], [0.5], [0.25])
# One small valid call of every function.
CALLS = {
    "mod": lambda f: f(ONE, 0.5),
    "kron": lambda f: f(ONE, ONE),
    "conv": lambda f: f(ONE, ONE),
    "filter_signal": lambda f: f(ONE, ONE, ONE),
    "unwrap": lambda f: f(ONE),
    "poly": lambda f: f(ONE),
    "polyval": lambda f: f(ONE, [1j]),
    "polyfit": lambda f: f([0.0, 1.0], [1.0, 2.0]),
    "butterworth_tf": lambda f: f(2, ONE, 1.0),
    "get_butterworth_tf": lambda f: f(2, ONE, 1.0),
    "median": lambda f: f(ONE),
    "eval_std": lambda f: f(ONE),
    "norm": lambda f: f(ONE),
    "interp_linear": lambda f: f([0.0, 1.0], ONE * 2, [0.5]),
    "interp_linear_extrap": lambda f: f([0.0, 1.0], ONE * 2, [0.5]),
    "interp_linear_extrap_complex": lambda f: f([0.0, 1.0], [1j, 1.0], [0.5]),
    "linear_interp_c": lambda f: f([0.0, 1.0], [1j, 1.0], [0.5]),
    "interp_cubic": lambda f: f([0.0, 1.0], ONE * 2, [0.5]),
    "interp_sparam": lambda f: f([0.5, 0.25j], [1e9, 2e9], [1.5e9]),
    "combine_s4p": lambda f: f(PORT, PORT),
    "synth_tline": lambda f: f([1e9], z_a_ohm=50.0, z_b_ohm=25.0, loss_coeffs=[0.01],
                               tau_ns=0.15, length=1.0),
    "make_package": lambda f: f([1e9], line_length=1.0, shunt_cap_in_f=1e-13,
                                shunt_cap_out_f=1e-13, line_impedance_ohm=50.0,
                                phase_delay_ns=0.1, loss_coeffs=[0.01],
                                ref_impedance_ohm=50.0),
    "erfcinv": lambda f: f([0.5]),
    "td_ctle": lambda f: f(ONE, base_rate_hz=1.0, zero_hz=0.1, pole1_hz=0.2, pole2_hz=0.3,
                           gain_db=3.0),
    "xtalk_noise_step": lambda f: f(ONE, ONE * 40, samples_per_ui=4, amplitude=1.0),
    "floating_dfe": lambda f: f([0.1, 1.0, 0.3], search_start=2.0, taps_per_group=1.0,
                                group_count=1.0, search_end=2.0, max_tap_weight=0.5,
                                main_cursor=1.0),
    "pdf_from_sampled_signal": lambda f: f([0.5], level_count=2, bin_width=0.1),
    "pdf_from_sampled_signal_800g": lambda f: f([0.5], level_count=2, bin_width=0.1),
    "cpdf": lambda f: f([0.0], [1.0], bin_width=0.1, out_count=0),
}


def _rows(pattern: re.Pattern) -> dict[str, tuple]:
    rows: dict[str, tuple] = {}
    for line in PAGE.read_text(encoding="utf-8").splitlines():
        match = pattern.match(line)
        if match:
            name, *rest = match.groups()
            assert name not in rows, f"{name} listed twice"
            rows[name] = tuple(rest)
    return rows


def page_rows() -> dict[str, tuple[str, str, str]]:
    """Functions over an export: signature, export, module."""
    return _rows(ROW)


def toolkit_rows() -> dict[str, tuple[str, set[str], str]]:
    """Functions over the toolkit: signature, toolkit functions, module."""
    return {name: (signature, set(re.findall(r"`(\w+)`", calls)), module)
            for name, (signature, calls, module) in _rows(TOOLKIT_ROW).items()}


def composed_rows() -> dict[str, tuple[str, set[str], str]]:
    """Functions built on other functions of the package: signature, those
    functions, module."""
    return {name: (signature, set(re.findall(r"`zefra_tdr\.(\w+)`", uses)), module)
            for name, (signature, uses, module) in _rows(COMPOSED_ROW).items()}


def class_rows() -> dict[str, tuple[str, str]]:
    """Classes: signature, module."""
    return _rows(CLASS_ROW)


def plain_signature(obj) -> str:
    """The signature of ``obj`` without annotations."""
    signature = inspect.signature(obj)
    return str(signature.replace(
        parameters=[p.replace(annotation=inspect.Parameter.empty)
                    for p in signature.parameters.values()],
        return_annotation=inspect.Signature.empty))


@contextlib.contextmanager
def recorded_exports(attribute: str = "function"):
    """Records the functions the package looks up through ``_library.function``
    (or ``_library.toolkit_function``) while the block runs."""
    names: list[str] = []
    lookup = getattr(_library, attribute)

    def recording(name: str):
        names.append(name)
        return lookup(name)

    modules = [importlib.import_module(f"zefra_tdr.{info.name}")
               for info in pkgutil.iter_modules(zefra_tdr.__path__)
               if info.name != "_library"]
    patched = [m for m in modules if getattr(m, attribute, None) is lookup]
    for module in patched:
        setattr(module, attribute, recording)
    try:
        yield names
    finally:
        for module in patched:
            setattr(module, attribute, lookup)


def test_page_lists_every_function_and_class_once_and_every_export():
    rows, toolkit, classes = page_rows(), toolkit_rows(), class_rows()
    listed = [*rows, *toolkit, *classes, *composed_rows()]
    assert sorted(listed) == sorted(zefra_tdr.__all__)
    exports = [export for _, export, _ in rows.values()]
    assert len(set(exports)) == len(exports)
    assert set(exports) | {"zefra_release_array"} == set(_library.SIGNATURES)
    toolkit_calls = set().union(*(calls for _, calls, _ in toolkit.values()))
    assert toolkit_calls | {"zefra_tk_version"} == set(_library.TOOLKIT_SIGNATURES)


@pytest.mark.parametrize("name", sorted(class_rows()))
def test_page_gives_the_signature_and_module_of_class(name):
    signature, module = class_rows()[name]
    cls = getattr(zefra_tdr, name)
    assert signature == plain_signature(cls)
    assert cls.__module__ == f"zefra_tdr.{module}"


@pytest.mark.parametrize("name", sorted(composed_rows()))
def test_page_gives_the_signature_module_and_building_blocks_of(name):
    signature, uses, module = composed_rows()[name]
    function = getattr(zefra_tdr, name)
    assert signature == plain_signature(function)
    assert function.__module__ == f"zefra_tdr.{module}"
    assert uses <= set(zefra_tdr.__all__)


def _noisy_two_port():
    return zefra_tdr.Network(
        [1e9, 2e9], [[[0.5, 0.1j], [0.1j, 0.5]]] * 2, 50.0,
        noise=zefra_tdr.NoiseData([1e9], [0.5], [0.25j], [20.0]), comments=["a comment"])


# One small valid call of every toolkit function, in a fresh folder.
TOOLKIT_CALLS = {
    "write_touchstone": lambda f, folder: f(_noisy_two_port(), folder / "a.s2p"),
    "read_touchstone": lambda f, folder: f(folder / "b.s2p"),
    "pulse_response": lambda f, folder: f(_noisy_two_port(), baud_hz=1e9, samples_per_ui=4),
}


@pytest.mark.parametrize("name", sorted(TOOLKIT_CALLS))
def test_page_gives_the_signature_module_and_toolkit_functions_of(name, tmp_path):
    signature, calls, module = toolkit_rows()[name]
    function = getattr(zefra_tdr, name)
    assert signature == plain_signature(function)
    assert function.__module__ == f"zefra_tdr.{module}"
    zefra_tdr.write_touchstone(_noisy_two_port(), tmp_path / "b.s2p")
    with recorded_exports("toolkit_function") as called:
        TOOLKIT_CALLS[name](function, tmp_path)
    assert set(called) == calls


@pytest.mark.parametrize("name", sorted(CALLS))
def test_page_gives_the_signature_module_and_export_of(name):
    signature, export, module = page_rows()[name]
    function = getattr(zefra_tdr, name)
    assert signature == plain_signature(function)
    assert function.__module__ == f"zefra_tdr.{module}"
    with recorded_exports() as called:
        CALLS[name](function)
    assert set(called) - {"zefra_release_array"} == {export}
