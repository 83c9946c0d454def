"""zefra_tdr.line and zefra_tdr.package against closed forms."""

from __future__ import annotations

import numpy as np
import pytest

import zefra_tdr

F = np.linspace(0.0, 5e10, 501)


def abcd_line_s(f, z_line, z_ref, delay_s):
    """S of a lossless line from its ABCD matrix (an independent route)."""
    beta_l = 2 * np.pi * f * delay_s
    a = d = np.cos(beta_l)
    b = 1j * z_line * np.sin(beta_l)
    c = 1j * np.sin(beta_l) / z_line
    den = a + b / z_ref + c * z_ref + d
    s11 = (a + b / z_ref - c * z_ref - d) / den
    s21 = 2 / den
    return s11, s21


def test_a_matched_lossless_line_is_a_pure_delay():
    net = zefra_tdr.line(F, length=2.0, delay_ns_per_unit=0.1)
    # Phases up to 63 rad: a few ulp of the angle, 1e-13 absolute.
    assert np.max(np.abs(net.s[:, 1, 0] - np.exp(-2j * np.pi * F * 0.2e-9))) < 1e-13
    assert np.all(net.s[:, 0, 0] == 0)
    assert net.z0.tolist() == [50.0, 50.0]


def test_a_45_ohm_line_on_50_ohm_references_matches_its_abcd_matrix():
    net = zefra_tdr.line(F, length=3.0, delay_ns_per_unit=0.0667, z_line_ohm=45.0)
    s11, s21 = abcd_line_s(F, 45.0, 50.0, 3.0 * 0.0667e-9)
    # Two exact routes through different formulas: rounding only, 1e-13.
    assert np.max(np.abs(net.s[:, 0, 0] - s11)) < 1e-13
    assert np.max(np.abs(net.s[:, 1, 0] - s21)) < 1e-13


def test_the_reference_of_a_line_is_z_ref_not_the_line_impedance():
    net = zefra_tdr.line(F, length=0.0, delay_ns_per_unit=0.1, z_line_ohm=30.0, z_ref_ohm=75.0)
    assert net.z0.tolist() == [75.0, 75.0]
    # A zero-length line is a thru whatever its impedance.
    np.testing.assert_allclose(net.s[:, 1, 0], 1.0, rtol=0, atol=1e-15)


def test_a_package_of_one_shunt_capacitance_matches_the_closed_form():
    c = 0.4e-12
    net = zefra_tdr.package(F[1:], c_in_f=c, c_out_f=0.0, line_length=0.0,
                            delay_ns_per_unit=0.0)
    y = 2j * np.pi * F[1:] * c * 50.0
    np.testing.assert_allclose(net.s[:, 0, 0], -y / (2 + y), rtol=1e-13, atol=1e-16)
    np.testing.assert_allclose(net.s[:, 1, 0], 2 / (2 + y), rtol=1e-13)


def test_a_package_is_passive_and_reciprocal():
    net = zefra_tdr.package(F, c_in_f=0.2e-12, c_out_f=0.3e-12, line_length=1.0,
                            delay_ns_per_unit=0.05, z_line_ohm=45.0, l_series_h=0.5e-9,
                            loss_np_per_unit=(0.0, 0.02))
    sigma = np.linalg.svd(net.s, compute_uv=False)[:, 0]
    assert np.all(sigma <= 1 + 1e-12)
    assert np.max(np.abs(net.s - np.swapaxes(net.s, 1, 2))) == 0


@pytest.mark.parametrize("call, message", [
    (lambda: zefra_tdr.line(F, length=-1.0, delay_ns_per_unit=0.1), "length = -1.0"),
    (lambda: zefra_tdr.line(F, length=1.0, delay_ns_per_unit=0.1, z_ref_ohm=0.0), "z_ref_ohm"),
    (lambda: zefra_tdr.line(F, length=1.0, delay_ns_per_unit=0.1, loss_np_per_unit=(1, 2, 3, 4)),
     "takes \\(a0, a1, a2\\)"),
    (lambda: zefra_tdr.line([2e9, 1e9], length=1.0, delay_ns_per_unit=0.1), "increase"),
    (lambda: zefra_tdr.package(F, c_in_f=-1e-12, c_out_f=0.0, line_length=1.0,
                               delay_ns_per_unit=0.1), "c_in_f"),
])
def test_bad_parameters_are_refused_by_name(call, message):
    with pytest.raises(ValueError, match=message):
        call()


def test_tline_and_package_commands_write_the_builders_networks(tmp_path):
    from zefra_tdr.cli import main

    out = tmp_path / "l.s2p"
    assert main(["tline", "--length", "3", "--z-line", "45", "--grid", "1GHz:10GHz:1GHz",
                 "-o", str(out)]) == 0
    expected = zefra_tdr.line(np.linspace(1e9, 1e10, 10), length=3.0, delay_ns_per_unit=0.0667,
                              z_line_ohm=45.0)
    assert np.array_equal(zefra_tdr.read_touchstone(out).s, expected.s)
    out = tmp_path / "p.s2p"
    assert main(["package", "--grid", "1GHz:10GHz:1GHz", "-o", str(out)]) == 0
    assert zefra_tdr.read_touchstone(out).nfreq == 10


def test_a_model_command_with_a_bad_value_exits_2(tmp_path, capsys):
    from zefra_tdr.cli import main

    assert main(["tline", "--length", "-1", "-o", str(tmp_path / "l.s2p")]) == 2
    assert "length = -1.0" in capsys.readouterr().err
