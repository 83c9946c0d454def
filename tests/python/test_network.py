"""Network and NoiseData: what the constructors accept, copy and refuse."""

from __future__ import annotations

from pathlib import Path

import numpy as np
import pytest

import zefra_tdr
from zefra_tdr import Network, NoiseData

F = [1e9, 2e9]
S2 = np.zeros((2, 2, 2), dtype=np.complex128)


def test_attributes_have_their_dtypes_and_shapes():
    n = Network([1, 2, 3], np.ones((3, 2, 2), dtype=np.float32), [50, 75])
    assert n.f.dtype == np.float64 and n.f.shape == (3,)
    assert n.s.dtype == np.complex128 and n.s.shape == (3, 2, 2)
    assert n.z0.dtype == np.float64 and list(n.z0) == [50.0, 75.0]
    assert (n.nports, n.nfreq) == (2, 3)
    assert n.noise is None and n.comments == () and n.warnings == () and n.name == ""
    assert n.mixed_mode_order == ()


def test_arrays_are_copied():
    f = np.array(F)
    s = S2.copy()
    z0 = np.array([50.0, 50.0])
    n = Network(f, s, z0)
    f[0], s[0, 0, 0], z0[0] = 7.0, 7.0, 7.0
    assert n.f[0] == 1e9 and n.s[0, 0, 0] == 0 and n.z0[0] == 50.0


def test_one_reference_number_is_the_reference_of_every_port():
    assert list(Network(F, S2, 75).z0) == [75.0, 75.0]
    assert list(Network(F, S2).z0) == [50.0, 50.0]


@pytest.mark.parametrize("s, what", [
    (np.zeros((2, 2)), r"shape \(nf, n, n\)"),
    (np.zeros((2, 2, 3)), r"shape \(nf, n, n\)"),
    (np.zeros((3, 2, 2)), "s has 3 frequency points, f_hz has 2"),
    (np.zeros((2, 0, 0)), "0 ports"),
])
def test_s_of_the_wrong_shape_is_refused(s, what):
    with pytest.raises(ValueError, match=what):
        Network(F, s)


@pytest.mark.parametrize("z0, what", [
    ([50.0, 50.0, 50.0], "one number or 2 values"),
    ([[50.0, 50.0]], "one number or 2 values"),
    ([50.0, 0.0], r"z0_ohm\[1\] = 0.0 ohm is not finite and positive"),
    ([-1.0, 50.0], r"z0_ohm\[0\] = -1.0"),
    ([50.0, np.inf], r"z0_ohm\[1\] = inf"),
    ([np.nan, 50.0], r"z0_ohm\[0\] = nan"),
])
def test_references_of_the_wrong_shape_or_value_are_refused(z0, what):
    with pytest.raises(ValueError, match=what):
        Network(F, S2, z0)


def test_complex_references_are_refused():
    with pytest.raises(TypeError, match="z0_ohm must be real"):
        Network(F, S2, [50 + 1j, 50])


@pytest.mark.parametrize("f, what", [
    ([], "f_hz is empty"),
    ([[1e9, 2e9]], "one-dimensional"),
    ([2e9, 1e9], r"f_hz\[1\] = 1000000000.0 Hz is not above f_hz\[0\]"),
    ([1e9, 1e9], "must increase strictly"),
    ([-1.0, 1e9], r"f_hz\[0\] = -1.0 Hz is negative"),
    ([1e9, np.nan], r"f_hz\[1\] = nan Hz is not finite"),
])
def test_frequencies_that_are_not_a_grid_are_refused(f, what):
    s = np.zeros((max(len(np.ravel(f)), 1), 1, 1))
    with pytest.raises(ValueError, match=what):
        Network(f, s)


def test_non_finite_s_values_are_kept():
    s = S2.copy()
    s[1, 0, 1] = complex(np.nan, np.inf)
    n = Network(F, s)
    assert np.isnan(n.s[1, 0, 1].real) and np.isinf(n.s[1, 0, 1].imag)


def test_texts_are_tuples_of_str():
    n = Network(F, S2, comments=["a", "b"], warnings=("w",), name="amp")
    assert n.comments == ("a", "b") and n.warnings == ("w",) and n.name == "amp"
    with pytest.raises(TypeError, match="not a single str"):
        Network(F, S2, comments="one comment")
    with pytest.raises(TypeError, match=r"comments\[1\] must be a str"):
        Network(F, S2, comments=["a", 1])


def test_mixed_mode_order_gives_one_descriptor_per_port():
    n = Network(F, S2, mixed_mode_order=["D1,2", "C1,2"])
    assert n.mixed_mode_order == ("D1,2", "C1,2")
    with pytest.raises(ValueError, match="1 descriptors for 2 ports"):
        Network(F, S2, mixed_mode_order=["S1"])
    with pytest.raises(ValueError, match=r"mixed_mode_order\[1\] = 'X2'"):
        Network(F, S2, mixed_mode_order=["S1", "X2"])


def noise(**changes):
    columns = dict(f_hz=[1e9, 2e9], nf_min_db=[0.5, 0.7], gamma_opt=[0.5j, 0.25],
                   rn_ohm=[10.0, 12.0])
    columns.update(changes)
    return NoiseData(**columns)


def test_noise_data_are_read_only_arrays_in_si_units():
    data = noise()
    assert data.gamma_opt.dtype == np.complex128 and data.f_hz.dtype == np.float64
    assert len(data) == 2
    with pytest.raises(ValueError):
        data.rn_ohm[0] = 1.0


@pytest.mark.parametrize("changes, what", [
    (dict(rn_ohm=[10.0]), "differ in length"),
    (dict(f_hz=[], nf_min_db=[], gamma_opt=[], rn_ohm=[]), "at least one frequency"),
    (dict(f_hz=[2e9, 1e9]), "must increase strictly"),
    (dict(rn_ohm=[10.0, -1.0]), r"rn_ohm\[1\] = -1.0 ohm is negative"),
    (dict(gamma_opt=[0.5, np.nan]), r"gamma_opt\[1\] = \(?nan"),
    (dict(nf_min_db=[np.inf, 0.5]), r"nf_min_db\[0\] = inf"),
])
def test_noise_data_out_of_range_are_refused(changes, what):
    with pytest.raises(ValueError, match=what):
        noise(**changes)


def test_noise_belongs_to_two_ports_only():
    assert Network(F, S2, noise=noise()).noise is not None
    with pytest.raises(ValueError, match="noise data given for a 1-port"):
        Network(F, np.zeros((2, 1, 1)), noise=noise())
    with pytest.raises(TypeError, match="NoiseData"):
        Network(F, S2, noise=([1e9], [0.5], [0.5], [10.0]))


def test_repr_names_the_sizes_and_references():
    assert repr(Network(F, S2, [50, 75], name="amp")) == (
        "Network('amp', 2 ports, 2 points, 1e+09 .. 2e+09 Hz, z0 [50, 75] ohm)")


def test_noise_gives_the_magnitude_and_angle_columns_of_a_file():
    # The amplifier file's noise rows: f (MHz), NFmin, |Gopt|, angle (deg), Rn/R.
    path = (Path(__file__).resolve().parents[1] / "data" / "touchstone" / "python"
            / "two_port_ma_mhz_noise.s2p")
    noise = zefra_tdr.read_touchstone(path).noise
    # |Gopt| (cos, sin)(angle) and back: a few ulp of rounding, 1e-15 relative
    # for the magnitude and 1e-12 degree for the angle cover them.
    np.testing.assert_allclose(noise.gamma_opt_mag, [0.52, 0.47, 0.38], rtol=1e-15)
    np.testing.assert_allclose(noise.gamma_opt_deg, [22.0, 45.3, 91.5], rtol=0, atol=1e-12)
    np.testing.assert_array_equal(noise.f_hz, [500e6, 1000e6, 2000e6])
    np.testing.assert_allclose(noise.rn_ohm, [0.32 * 50, 0.28 * 50, 0.21 * 50], rtol=1e-15)
