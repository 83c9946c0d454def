"""A first look at the Python package: a lossy line's insertion loss, and the
trace resampled between grid points by the interp_Sparam module (which takes
the bulk delay out before it interpolates).

    python examples/python_demo.py        (with the package installed)
"""

import numpy as np

import zefra_tdr

f_hz = np.linspace(0.0, 50e9, 501)  # 100 MHz steps
# A 10 cm line of 45 ohm between 50 ohm ports (zB enters doubled), per cm:
# 0.01 Np/sqrt(GHz) skin loss, 0.005 Np/GHz dielectric loss, 66.7 ps delay.
s11, s12, s21, s22 = zefra_tdr.synth_tline(
    f_hz, z_a_ohm=45.0, z_b_ohm=25.0, loss_coeffs=[0.0, 0.01, 0.005],
    tau_ns=0.0667, length=10.0)
between_hz = np.arange(1, 10) * 5e9 + 0.05e9  # halfway between grid points
resampled = zefra_tdr.interp_sparam(s21, f_hz, between_hz)
exact = zefra_tdr.synth_tline(between_hz, z_a_ohm=45.0, z_b_ohm=25.0,
                              loss_coeffs=[0.0, 0.01, 0.005], tau_ns=0.0667, length=10.0)[2]

print(f"zefra_tdr {zefra_tdr.__version__}: 10 cm lossy line, 45 ohm in 50 ohm")
print("  f (GHz)   |S21| (dB)   resampled (dB)   |error|")
for f, r, e in zip(between_hz, resampled, exact):
    print(f"  {f / 1e9:7.2f}   {20 * np.log10(abs(e)):10.3f}   {20 * np.log10(abs(r)):14.3f}"
          f"   {abs(r - e):.1e}")
print(f"median |S11| over the band: {zefra_tdr.median(np.abs(s11)):.4f}")
