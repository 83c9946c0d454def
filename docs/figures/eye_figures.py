"""Makes docs/figures/eye_statistical.png, eye_bathtubs.png, eye_pulse.png
and eye_loss.png with `zefra-tdr link` on the channel shipped with the
package, at its defaults (53.125 GBd PAM4, BER 1e-6, the default search):

    /usr/bin/python3 docs/figures/eye_figures.py

and prints the command's output, the run shown in docs/eye.md.
"""

from __future__ import annotations

import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "python"))

from zefra_tdr.cli import main  # noqa: E402


def make() -> None:
    sys.exit(main(["link", "default", "--plots", str(Path(__file__).resolve().parent)]))


if __name__ == "__main__":
    make()
