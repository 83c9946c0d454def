"""Checks, port selection, renormalisation and mixed mode of a Network,
against closed forms and Debian's scikit-rf (an oracle only)."""

from __future__ import annotations

import numpy as np
import pytest

import zefra_tdr
from zefra_tdr import Network, from_mixed_mode

F = np.linspace(1e8, 2e10, 51)


def random_network(ports: int, seed: int, z0=50.0) -> Network:
    rng = np.random.default_rng(seed)
    s = 0.3 * (rng.normal(size=(F.size, ports, ports))
               + 1j * rng.normal(size=(F.size, ports, ports)))
    return Network(F, s, z0, name=f"n{seed}")


def skrf_network(net: Network):
    skrf = pytest.importorskip("skrf")
    # scikit-rf 0.15 still uses numpy aliases that numpy 1.24 removed.
    np.bool = bool
    np.complex = complex
    return skrf.Network(frequency=skrf.Frequency.from_f(net.f, unit="hz"), s=net.s.copy(),
                        z0=net.z0.copy())


def test_passivity_is_the_largest_singular_value_at_each_frequency():
    net = random_network(3, 1)
    expected = [np.linalg.norm(net.s[k], 2) for k in range(F.size)]
    np.testing.assert_allclose(net.passivity(), expected, rtol=1e-14)
    # A lossless thru: exactly 1 at every frequency.
    thru = Network(F, np.tile([[0, 1], [1, 0]], (F.size, 1, 1)))
    np.testing.assert_allclose(thru.passivity(), 1.0, rtol=1e-15)


def test_reciprocity_is_the_largest_asymmetry_at_each_frequency():
    net = random_network(3, 2)
    expected = [np.max(np.abs(net.s[k] - net.s[k].T)) for k in range(F.size)]
    assert np.array_equal(net.reciprocity(), expected)
    symmetric = Network(F, net.s + np.swapaxes(net.s, 1, 2))
    assert np.all(symmetric.reciprocity() == 0)


def test_subnetwork_takes_the_rows_columns_and_references_in_the_order_given():
    net = random_network(4, 3, z0=[10.0, 20.0, 30.0, 40.0])
    sub = net.subnetwork([3, 1])
    assert np.array_equal(sub.s[:, 0, 1], net.s[:, 2, 0])
    assert np.array_equal(sub.s[:, 1, 1], net.s[:, 0, 0])
    assert sub.z0.tolist() == [30.0, 10.0]


@pytest.mark.parametrize("ports, message", [
    ([], "empty"), ([0, 1], "not a port"), ([1, 5], "not a port"), ([2, 2], "twice"),
    ([1.0, 2], "not a port number"), (3, "sequence"),
])
def test_bad_port_lists_are_refused(ports, message):
    with pytest.raises(ValueError, match=message):
        random_network(4, 4).subnetwork(ports)


def test_a_matched_load_renormalised_reflects_by_the_reference_step():
    load = Network(F, np.zeros((F.size, 1, 1)), 50.0)
    np.testing.assert_allclose(load.renormalize(75.0).s[:, 0, 0], (50 - 75) / (50 + 75),
                               rtol=1e-15)


def test_renormalising_there_and_back_is_the_identity():
    net = random_network(4, 5)
    back = net.renormalize([25.0, 75.0, 60.0, 40.0]).renormalize(50.0)
    # Two solves of well-conditioned 4x4 systems: 1e-14 of |S| ~ 1.
    assert np.max(np.abs(back.s - net.s)) < 1e-14


def test_renormalisation_agrees_with_scikit_rf():
    net = random_network(4, 6)
    theirs = skrf_network(net)
    theirs.renormalize([25.0, 75.0, 60.0, 40.0])
    ours = net.renormalize([25.0, 75.0, 60.0, 40.0])
    # scikit-rf goes through Z (s2z then z2s): a few more roundings; 1e-13.
    assert np.max(np.abs(ours.s - theirs.s)) < 1e-13
    assert ours.z0.tolist() == [25.0, 75.0, 60.0, 40.0]


@pytest.mark.parametrize("order, p1, n1, p2, n2", [
    ("1-3/2-4", 1, 2, 3, 4), ("1-2/3-4", 1, 3, 2, 4),
])
def test_sdd21_is_the_half_sum_of_the_four_transmissions(order, p1, n1, p2, n2):
    net = random_network(4, 7)
    s = net.s
    expected = 0.5 * (s[:, p2 - 1, p1 - 1] - s[:, p2 - 1, n1 - 1] - s[:, n2 - 1, p1 - 1]
                      + s[:, n2 - 1, n1 - 1])
    sdd21 = net.to_mixed_mode(order=order).sdd[:, 1, 0]
    np.testing.assert_allclose(sdd21, expected, rtol=1e-15, atol=1e-16)


def test_mixed_mode_and_back_is_the_identity():
    net = random_network(6, 8)
    mixed = net.to_mixed_mode(pairs=[(1, 4), (2, 5), (3, 6)])
    back = from_mixed_mode(mixed)
    # M is orthogonal with entries 1/sqrt(2): two products, 1e-15.
    assert np.max(np.abs(back.s - net.s)) < 1e-15
    assert back.z0.tolist() == net.z0.tolist()


def test_mixed_mode_references_are_twice_and_half_the_single_ended_one():
    mixed = random_network(4, 9).to_mixed_mode(order="1-3/2-4")
    assert mixed.z0.tolist() == [100.0, 100.0, 25.0, 25.0]
    assert mixed.sdd.shape == mixed.scc.shape == (F.size, 2, 2)


def test_mixed_mode_agrees_with_scikit_rf_se2gmm_in_its_port_order():
    net = random_network(4, 10)
    theirs = skrf_network(net)
    theirs.se2gmm(p=2)       # scikit-rf pairs (1, 2) and (3, 4): our "1-3/2-4"
    ours = net.to_mixed_mode(order="1-3/2-4")
    # The same orthogonal transform in another order: 1e-15.
    assert np.max(np.abs(ours.s - theirs.s)) < 1e-15


@pytest.mark.parametrize("kwargs, message", [
    ({}, "port numbering must be given"),
    ({"order": "1-4/2-3"}, "none of"),
    ({"pairs": [(1, 2)]}, "cover 2 of the 4 ports"),
    ({"pairs": [(1, 2), (2, 3)]}, "twice"),
    ({"pairs": [(1, 2), (3, 4)], "order": "1-3/2-4"}, "not both"),
])
def test_bad_mixed_mode_requests_are_refused(kwargs, message):
    with pytest.raises(ValueError, match=message):
        random_network(4, 11).to_mixed_mode(**kwargs)


def test_odd_port_counts_and_unequal_pair_references_are_refused():
    with pytest.raises(ValueError, match="even port count"):
        random_network(3, 12).to_mixed_mode(pairs=[(1, 2)])
    with pytest.raises(ValueError, match="renormalize"):
        random_network(4, 13, z0=[50.0, 40.0, 50.0, 50.0]).to_mixed_mode(order="1-3/2-4")


def test_mixed_mode_parameters_can_be_plotted_by_name(tmp_path):
    pytest.importorskip("matplotlib")
    zefra_tdr.save_plot(random_network(4, 14), ["SDD21", "SDD11"], tmp_path / "mm.png",
                        order="1-3/2-4", size_px=(400, 300))
    assert (tmp_path / "mm.png").stat().st_size > 0


def test_mixed_mode_command_writes_the_modes_on_their_references(tmp_path, capsys):
    from zefra_tdr.cli import main

    net = random_network(4, 15)
    zefra_tdr.write_touchstone(net, tmp_path / "se.s4p")
    out = tmp_path / "mm.s4p"
    assert main(["mixed-mode", str(tmp_path / "se.s4p"), "-o", str(out),
                 "--order", "1-2/3-4"]) == 0
    written = zefra_tdr.read_touchstone(out)
    expected = net.to_mixed_mode(order="1-2/3-4")
    assert np.array_equal(written.s, expected.s)
    assert written.z0.tolist() == [100.0, 100.0, 25.0, 25.0]
    assert "D1=(1,3)" in capsys.readouterr().out


def test_mixed_mode_command_without_a_numbering_exits_2(tmp_path, capsys):
    from zefra_tdr.cli import main

    zefra_tdr.write_touchstone(random_network(4, 16), tmp_path / "se.s4p")
    assert main(["mixed-mode", str(tmp_path / "se.s4p"), "-o", str(tmp_path / "mm.s4p")]) == 2
    assert "port numbering must be given" in capsys.readouterr().err


def test_checks_give_nan_where_s_is_not_finite():
    net = random_network(2, 17)
    s = net.s.copy()
    s[3, 0, 1] = np.nan
    broken = Network(F, s)
    assert np.isnan(broken.passivity()[3]) and np.isnan(broken.reciprocity()[3])
    assert np.array_equal(np.delete(broken.passivity(), 3), np.delete(net.passivity(), 3))
