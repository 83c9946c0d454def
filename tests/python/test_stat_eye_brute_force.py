"""zefra_tdr.statistical_eye against brute force: every symbol pattern of a
short random pulse enumerated, the exact BER with Gaussian noise (or none)
computed from it, and the eye's map required to lie in the rigorous lattice
bracket (the exact BER with the ISI moved by +-K bin_v; see
test_stat_eye_oracle).  The lattice error must also shrink as the bins do."""

from __future__ import annotations

import numpy as np
import pytest

from test_stat_eye_oracle import exact_ber, isi_patterns
from zefra_tdr import statistical_eye

# Tolerances of this file, each with its reason.
TOLERANCES = {
    # Around the bracket: the engine's own rounding of sums of up to a few
    # thousand masses and Q terms (relative), and its cut of Gaussian terms
    # beyond |z| = 11.5 (absolute, below 1e-30).
    "bracket_rel": 1e-9,
    "bracket_abs": 1e-30,
    # Convergence: halving bin_v must cut the error by at least this factor.
    # Splitting keeps each cursor's mass and mean, so the error is second
    # order in bin_v (the rounding variance, < K bin_v^2 / 4): a factor near
    # 4 is expected; 2 (first order) is the least the bracket promises.
    "halving_gain": 2.0,
}


def random_pulse(seed: int, cursors: int, ns: int = 1) -> np.ndarray:
    """A seeded pulse: main cursor 1 at sample `ns` (one UI of precursor),
    ISI samples up to 0.3 around it, so the eye stays open."""
    rng = np.random.default_rng(seed)
    p = rng.uniform(-0.3, 0.3, size=cursors * ns) / np.sqrt(cursors)
    p[ns] = 1.0
    return p


def cursors_at(p: np.ndarray, ns: int, centre: int, s: int) -> tuple[float, np.ndarray]:
    """h_0(s) and every other cursor h_k(s) = p[centre + s + k Ns] in the array."""
    idx = np.arange((centre + s) % ns, p.size, ns)
    main = centre + s
    return float(p[main]), p[idx[idx != main]]


def assert_in_bracket(ber_row, h0, isi_cursors, levels, eye, v, sigma, bin_v):
    isi = isi_patterns(isi_cursors, levels)
    reach = len(isi_cursors) * bin_v * (1 + 1e-9)
    upper = exact_ber(h0, isi, levels, eye, v, sigma, shift=reach)
    lower = exact_ber(h0, isi, levels, eye, v, sigma, shift=-reach)
    rel, abs_ = TOLERANCES["bracket_rel"], TOLERANCES["bracket_abs"]
    assert np.all(ber_row <= upper * (1 + rel) + abs_)
    assert np.all(ber_row >= lower * (1 - rel) - abs_)


@pytest.mark.parametrize("sigma", [0.0, 0.02])
@pytest.mark.parametrize("seed", [1, 2])
def test_nrz_twelve_cursors_lie_in_the_bracket_of_the_exact_ber(seed, sigma):
    p = random_pulse(seed, 13)
    eye = statistical_eye(p, 1, noise_rms=sigma)
    h0, isi = cursors_at(p, 1, eye.centre, 0)
    assert isi.size == 12
    # Every 4th voltage (still ~1000 of them) keeps 2^12 patterns quick.
    pick = slice(0, None, 4)
    assert_in_bracket(eye.ber[0, 0, pick], h0, isi, 2, 0, eye.voltages[pick], sigma, eye.bin_v)


@pytest.mark.parametrize("sigma", [0.0, 0.01])
def test_pam4_seven_isi_cursors_lie_in_the_bracket_of_every_eye(sigma):
    p = random_pulse(3, 8)
    eye = statistical_eye(p, 1, levels=4, noise_rms=sigma)
    h0, isi = cursors_at(p, 1, eye.centre, 0)
    # Every 8th voltage: 4^7 patterns times the whole grid is needlessly slow.
    pick = slice(0, None, 8)
    for i in range(3):
        assert_in_bracket(eye.ber[i, 0, pick], h0, isi, 4, i, eye.voltages[pick], sigma,
                          eye.bin_v)


@pytest.mark.parametrize("phase", [-2, -1, 1, 2])
def test_four_samples_per_ui_phases_lie_in_the_bracket(phase):
    ns, sigma = 4, 0.02
    p = random_pulse(4, 9, ns)
    eye = statistical_eye(p, ns, noise_rms=sigma)
    assert eye.centre == ns                              # the main cursor is the peak
    h0, isi = cursors_at(p, ns, eye.centre, phase)
    row = eye.ber[0, int(np.flatnonzero(np.round(eye.phases_ui * ns) == phase)[0])]
    assert_in_bracket(row, h0, isi, 2, 0, eye.voltages, sigma, eye.bin_v)


def test_dfe_leaves_the_residual_cursors_at_every_phase():
    # d_k is h_k(0), subtracted at every phase: at phase s the residual is
    # h_k(s) - h_k(0).
    ns, sigma, taps = 4, 0.02, 3
    p = random_pulse(5, 9, ns)
    eye = statistical_eye(p, ns, noise_rms=sigma, dfe=taps)
    for s in (-1, 0, 2):
        h0, _ = cursors_at(p, ns, eye.centre, s)
        idx = np.arange((eye.centre + s) % ns, p.size, ns)
        k = (idx - eye.centre - s) // ns
        residual = p[idx].copy()
        for tap in range(1, taps + 1):
            residual[k == tap] -= p[eye.centre + tap * ns]
        row = eye.ber[0, int(np.flatnonzero(np.round(eye.phases_ui * ns) == s)[0])]
        assert_in_bracket(row, h0, residual[k != 0], 2, 0, eye.voltages, sigma, eye.bin_v)


def test_lattice_error_falls_as_the_bins_shrink(capsys):
    p, sigma = random_pulse(6, 11), 0.03
    coarse = 1.0 / 400                   # max |p| = 1: 2.5 times the default bin
    errors = []
    for bin_v in (coarse, coarse / 2, coarse / 4):
        eye = statistical_eye(p, 1, noise_rms=sigma, bin_v=bin_v)
        h0, isi = cursors_at(p, 1, eye.centre, 0)
        exact = exact_ber(h0, isi_patterns(isi, 2), 2, 0, eye.voltages, sigma)
        # Relative error where the BER is in the range read out in practice.
        used = (exact > 1e-15) & (exact < 1e-2)
        errors.append(float(np.max(np.abs(eye.ber[0, 0, used] / exact[used] - 1.0))))
    gains = [errors[0] / errors[1], errors[1] / errors[2]]
    with capsys.disabled():
        print(f"\nlattice error (max relative BER error, 1e-15..1e-2) at bin, bin/2, bin/4: "
              f"{errors[0]:.3g}, {errors[1]:.3g}, {errors[2]:.3g}; rate "
              f"{np.log2(gains[0]):.2f}, {np.log2(gains[1]):.2f} (order in bin_v)")
    assert all(g >= TOLERANCES["halving_gain"] for g in gains)
