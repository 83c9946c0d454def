"""Cascades and regridding of networks: combineS4p bit for bit, scikit-rf
(Debian's, as an oracle) and closed forms, grids, and refusals."""

from __future__ import annotations

import numpy as np
import pytest

import zefra_tdr
from zefra_tdr import Network, cascade, common_grid

F = np.linspace(1e8, 2e10, 201)


def random_network(ports: int, seed: int, f=F) -> Network:
    rng = np.random.default_rng(seed)
    s = 0.3 * (rng.normal(size=(f.size, ports, ports))
               + 1j * rng.normal(size=(f.size, ports, ports)))
    return Network(f, s, 50.0, name=f"n{seed}")


def line(f, length: float) -> Network:
    """A lossy 45-ohm line on 50-ohm references (synth_tline)."""
    s11, s12, s21, s22 = zefra_tdr.synth_tline(
        f, z_a_ohm=45.0, z_b_ohm=25.0, loss_coeffs=[0.0, 0.01, 0.005], tau_ns=0.0667,
        length=length)
    s = np.stack([np.stack([s11, s12], -1), np.stack([s21, s22], -1)], -2)
    return Network(f, s, 50.0)


def thru(ports: int, f=F) -> Network:
    """A matched thru: port k joined to port N + k."""
    n = ports // 2
    s = np.zeros((f.size, ports, ports), dtype=complex)
    s[:, :n, n:] = np.eye(n)
    s[:, n:, :n] = np.eye(n)
    return Network(f, s, 50.0)


def test_two_port_cascade_on_one_grid_is_bit_identical_to_combine_s4p():
    a, b = random_network(2, 1), random_network(2, 2)
    expected = zefra_tdr.combine_s4p(
        (a.s[:, 0, 0], a.s[:, 0, 1], a.s[:, 1, 0], a.s[:, 1, 1]),
        (b.s[:, 0, 0], b.s[:, 0, 1], b.s[:, 1, 0], b.s[:, 1, 1]))
    got = cascade(a, b)
    for value, (i, j) in zip(expected, [(0, 0), (0, 1), (1, 0), (1, 1)]):
        assert np.array_equal(np.ascontiguousarray(got.s[:, i, j]).view(np.float64),
                              value.view(np.float64))
    assert np.array_equal(got.f, F)


@pytest.mark.parametrize("ports", [2, 4, 6])
def test_cascade_agrees_with_scikit_rf(ports):
    skrf = pytest.importorskip("skrf")
    nets = [random_network(ports, seed) for seed in (3, 4, 5)]

    def as_skrf(n):
        return skrf.Network(frequency=skrf.Frequency.from_f(n.f, unit="hz"), s=n.s, z0=n.z0)

    expected = (as_skrf(nets[0]) ** as_skrf(nets[1]) ** as_skrf(nets[2])).s
    got = cascade(*nets).s
    # The same closed form evaluated in a different order: a few ulp of the
    # largest entry, times the condition of the junction's (I - B11 A22),
    # which stays small for these |S| ~ 0.3 matrices; 1e-13 leaves room.
    error = np.max(np.abs(got - expected)) / np.max(np.abs(expected))
    assert error < 1e-13


@pytest.mark.parametrize("ports", [2, 4])
def test_a_matched_thru_leaves_a_network_unchanged(ports):
    a = random_network(ports, 6)
    for result in (cascade(a, thru(ports)), cascade(thru(ports), a)):
        # Exact for 2-ports (combineS4p multiplies by 1 and adds 0); one
        # rounding of the junction solve for 4-ports.
        assert np.max(np.abs(result.s - a.s)) <= (0.0 if ports == 2 else 1e-15)


def test_lines_of_length_a_and_b_cascade_to_one_of_length_a_plus_b():
    f = np.linspace(0.0, 5e10, 501)
    joined = cascade(line(f, 3.0), line(f, 7.0))
    # A uniform line is exact physics: only rounding separates the two
    # (|S| <= 1, a few hundred operations): 1e-13.
    assert np.max(np.abs(joined.s - line(f, 10.0).s)) < 1e-13


def test_references_of_the_result_are_the_outer_ports():
    a = Network(F, random_network(2, 7).s, [25.0, 50.0])
    b = Network(F, random_network(2, 8).s, [50.0, 75.0])
    assert cascade(a, b).z0.tolist() == [25.0, 75.0]


def test_common_grid_is_the_intersection_of_bands_at_the_finest_step():
    a = random_network(2, 9)                                       # 0.1 .. 20 GHz, 99.5 MHz
    b = random_network(2, 10, f=np.linspace(5e8, 1.5e10, 97))      # 151.04 MHz
    grid = common_grid(a, b)
    assert grid[0] == 5e8 and grid[-1] <= 1.5e10
    assert 1.5e10 - grid[-1] < 99.5e6
    np.testing.assert_allclose(np.diff(grid), 99.5e6, rtol=1e-9)
    joined = cascade(a, b)
    assert np.array_equal(joined.f, grid)


def test_resampling_to_the_own_grid_gives_every_bit_back():
    a = random_network(4, 11)
    assert np.array_equal(a.interpolate(a.f).s.view(np.float64), a.s.view(np.float64))


def test_an_explicit_grid_outside_a_band_needs_extrapolate():
    a, b = random_network(2, 12), random_network(2, 13)
    grid = np.linspace(0.0, 1e10, 11)
    with pytest.raises(ValueError, match="reaches outside the band.*extrapolate=True"):
        cascade(a, b, grid=grid)
    joined = cascade(a, b, grid=grid, extrapolate=True)
    assert joined.f.tolist() == grid.tolist()
    assert np.all(np.isfinite(joined.s))


@pytest.mark.parametrize("call, message", [
    (lambda: cascade(random_network(2, 1)), "at least two networks"),
    (lambda: cascade(random_network(3, 1), random_network(3, 2)), "even port count"),
    (lambda: cascade(random_network(2, 1), random_network(4, 2)), "has 4 ports"),
    (lambda: cascade(Network(F, random_network(2, 1).s, [50.0, 75.0]), random_network(2, 2)),
     "references at the junction of networks\\[0\\] and networks\\[1\\] differ"),
    (lambda: cascade(random_network(2, 1), random_network(2, 2), grid="fine"), "'common'"),
    (lambda: cascade(random_network(2, 1), random_network(2, 2), grid=[2e9, 1e9]),
     "does not increase"),
    (lambda: cascade(random_network(2, 1), random_network(2, 2, f=np.linspace(3e10, 4e10, 5))),
     "do not overlap"),
])
def test_bad_cascades_are_refused_with_what_is_wrong(call, message):
    with pytest.raises(ValueError, match=message):
        call()


def test_a_cascade_of_something_else_is_a_type_error():
    with pytest.raises(TypeError, match="networks\\[1\\] must be a Network"):
        cascade(random_network(2, 1), "b.s2p")


def test_cascade_command_writes_the_cascade_of_files(tmp_path, capsys):
    from zefra_tdr.cli import main

    a, b = random_network(2, 21), random_network(2, 22)
    zefra_tdr.write_touchstone(a, tmp_path / "a.s2p")
    zefra_tdr.write_touchstone(b, tmp_path / "b.s2p")
    out = tmp_path / "ab.s2p"
    assert main(["cascade", str(tmp_path / "a.s2p"), str(tmp_path / "b.s2p"), "-o", str(out)]) == 0
    written = zefra_tdr.read_touchstone(out)
    # RI with shortest digits reads back every bit of the cascade.
    assert np.array_equal(written.s, cascade(a, b).s)
    assert "2 ports, 201 points" in capsys.readouterr().out


def test_cascade_command_takes_a_grid_as_start_stop_step_with_units(tmp_path):
    from zefra_tdr.cli import main

    for name, seed in (("a", 23), ("b", 24)):
        zefra_tdr.write_touchstone(random_network(2, seed), tmp_path / f"{name}.s2p")
    out = tmp_path / "ab.s2p"
    assert main(["cascade", str(tmp_path / "a.s2p"), str(tmp_path / "b.s2p"), "-o", str(out),
                 "--grid", "1GHz:2GHz:100MHz"]) == 0
    np.testing.assert_allclose(zefra_tdr.read_touchstone(out).f, np.linspace(1e9, 2e9, 11),
                               rtol=1e-15)


def test_cascade_command_outside_a_band_exits_2_with_one_line(tmp_path, capsys):
    from zefra_tdr.cli import main

    for name, seed in (("a", 25), ("b", 26)):
        zefra_tdr.write_touchstone(random_network(2, seed), tmp_path / f"{name}.s2p")
    status = main(["cascade", str(tmp_path / "a.s2p"), str(tmp_path / "b.s2p"), "-o",
                   str(tmp_path / "ab.s2p"), "--grid", "0:1GHz:100MHz"])
    err = capsys.readouterr().err
    assert status == 2
    assert err.count("\n") == 1 and "reaches outside the band" in err
    assert not (tmp_path / "ab.s2p").exists()


def test_extrapolation_to_dc_adds_a_real_point_and_keeps_the_measured_ones():
    f = np.linspace(1e8, 2e10, 200)
    net = line(f, 10.0)
    dc = net.extrapolate_to_dc()
    assert dc.f[0] == 0.0 and np.array_equal(dc.f[1:], f)
    assert np.array_equal(dc.s[1:].view(np.float64), net.s.view(np.float64))
    assert np.all(dc.s[0].imag == 0)
    # The line's DC transmission is close to its lowest measured magnitude,
    # with the sign of a phase unwrapped to zero (positive), not a wrap.
    assert 0.9 * abs(net.s[0, 1, 0]) < dc.s[0, 1, 0].real <= 1.0


def test_a_band_from_dc_is_returned_as_it_is():
    net = line(np.linspace(0.0, 1e10, 11), 1.0)
    assert np.array_equal(net.extrapolate_to_dc().s.view(np.float64), net.s.view(np.float64))
