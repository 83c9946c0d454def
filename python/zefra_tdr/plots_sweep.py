"""The plot of a sweep: the worst eye's height at its best phase (at the
target BER) against the channel's loss at Nyquist, one colour per setting,
the points of a setting joined in order of loss.  Rows in error are left
out.  matplotlib is imported only when a plot is made.
"""

from __future__ import annotations

__all__ = ["plot_sweep", "save_sweep_plot"]

_MAX_LEGEND = 12




def _points(rows: list[dict]) -> dict[int, list[tuple[float, float, dict]]]:
    by_setting: dict[int, list] = {}
    for r in rows:
        if r.get("status") != "ok":
            continue
        loss = r["channel"]["loss_at_nyquist_db"]
        if loss is None:
            continue
        height = min(e["height_best_v"] for e in r["eyes"])
        by_setting.setdefault(r["setting_index"], []).append((-loss, height * 1e3, r["setting"]))
    return by_setting


def plot_sweep(rows: list[dict], *, ax=None, title: str | None = None):
    """Draws worst-eye height (mV) against loss at Nyquist (dB, as a
    positive loss) for each setting; returns the Axes."""
    import matplotlib.pyplot as plt

    from .sweep_plan import setting_label

    if ax is None:
        ax = plt.subplots(figsize=(9.0, 5.5))[1]
    by_setting = _points(rows)
    colours = plt.get_cmap("viridis" if len(by_setting) > 10 else "tab10")
    count = max(len(by_setting), 1)
    settings = [points[0][2] for points in by_setting.values()]
    for n, (index, points) in enumerate(sorted(by_setting.items())):
        points.sort(key=lambda p: p[0])
        colour = colours(n / max(count - 1, 1)) if count > 10 else colours(n)
        label = setting_label(points[0][2], settings) if count <= _MAX_LEGEND else None
        ax.plot([p[0] for p in points], [p[1] for p in points], "o-", color=colour,
                label=label, markersize=4, linewidth=1.0)
    ax.axhline(0.0, color="0.5", linewidth=0.8)
    ax.set_xlabel("channel loss at Nyquist, -|S21| (dB)")
    ax.set_ylabel("worst eye height at its best phase (mV)")
    ax.set_title(title or "Sweep: eye height against channel loss")
    ax.grid(True, alpha=0.3)
    if 0 < count <= _MAX_LEGEND:
        ax.legend(fontsize="small", title="setting")
    return ax


def save_sweep_plot(path, rows: list[dict], *, dpi: int = 100) -> str:
    """Writes :func:`plot_sweep` as a PNG (in one step) and returns its
    path."""
    import matplotlib.pyplot as plt

    from ._files import atomic_open

    figure, ax = plt.subplots(figsize=(9.0, 5.5))
    try:
        plot_sweep(rows, ax=ax)
        figure.tight_layout()
        with atomic_open(path, "wb") as out:
            figure.savefig(out, format="png", dpi=dpi)
    finally:
        plt.close(figure)
    return str(path)
