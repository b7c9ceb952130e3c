"""The charts of docs/performance: SVG files that are the same for the same figures."""
import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import matplotlib.ticker  # noqa: E402

import tables  # noqa: E402

OURS, PEER, GRID, TEXT = "#c8232c", "#9fb4c7", "#dddddd", "#222222"
CURVES = {
    "qorac": (OURS, "o"),
    "FFTW, measured": ("#1f77b4", "s"),
    "FFTW, estimated": ("#8fc1e3", "D"),
    "FFTW REDFT11": ("#1f77b4", "s"),
    "av_tx": ("#2f9e44", "^"),
    "KISS FFT": ("#6b6b6b", "v"),
}
WHOLE = [
    ("MP3 decoding, three minutes at 192 kbit/s", "mp3-decoders", 2),
    ("AAC decoding, 32 s at 128 kbit/s", "aac-decoders", 0),
    ("MP3 encoding, 8 s at 128 kbit/s", "mp3-encoders", 0),
]

# Sizes are for a page 800 pixels wide: 600 points. Texts stay texts.
matplotlib.rcParams.update({
    "svg.hashsalt": "qorac",
    "svg.fonttype": "none",
    "font.family": "sans-serif",
    "font.sans-serif": ["DejaVu Sans", "Verdana", "sans-serif"],
    "font.size": 10,
    "text.color": TEXT,
    "axes.labelcolor": TEXT,
    "axes.edgecolor": "#888888",
    "xtick.color": TEXT,
    "ytick.color": TEXT,
    "axes.spines.top": False,
    "axes.spines.right": False,
    "axes.axisbelow": True,
})
INCHES = 600 / 72


def save(figure, path):
    figure.savefig(path, metadata={"Date": None, "Creator": None} if path.suffix == ".svg" else None)
    plt.close(figure)


def draw(config, results, folder, suffix=".svg"):
    """Draws what there are figures for; returns the paths."""
    drawn = []
    for name, chart in {"whole": whole, "fft": fft, "mdct": mdct}.items():
        figure = chart(config, results)
        if figure:
            drawn.append(folder / (name + suffix))
            save(figure, drawn[-1])
    return drawn


def whole(config, results):
    """Bars of the time of whole decodes and encodes relative to qorac's, fastest first."""
    groups = []
    for title, name, column in WHOLE:
        rows = tables.values(config["tables"][name], results)
        times = {label: cells[column] for label, _, cells in rows if cells[column] is not None}
        ours = next((time for label, time in times.items() if label.startswith("qorac")), None)
        if ours is None:
            return None
        bars = [("qorac" if time == ours else label.replace("`", ""), time / ours) for label, time in times.items()]
        groups.append((title, sorted(bars, key=lambda bar: bar[1])))
    limit = 1.1 * max(ratio for _, bars in groups for _, ratio in bars)
    figure, axes = plt.subplots(
        len(groups), figsize=(INCHES, 0.4 + sum(0.62 + 0.27 * len(bars) for _, bars in groups)),
        height_ratios=[len(bars) for _, bars in groups], sharex=True, layout="constrained")
    for axis, (title, bars) in zip(axes, groups):
        axis.barh([label for label, _ in bars], [ratio for _, ratio in bars], height=0.72,
                  color=[OURS if label == "qorac" else PEER for label, _ in bars])
        for place, (_, ratio) in enumerate(bars):
            axis.text(ratio + 0.008 * limit, place, tables.ratio(ratio), va="center")
        axis.set_title(title, loc="left", fontsize=11, fontweight="bold")
        axis.set_xlim(0, limit)
        axis.invert_yaxis()
        axis.tick_params(left=False, bottom=False, labelbottom=False)
        axis.spines[["bottom", "left"]].set_visible(False)
        axis.axvline(1, color="#888888", linewidth=0.8, linestyle=":")
    figure.get_layout_engine().set(h_pad=0.08)
    axes[-1].set_xlabel("CPU time relative to qorac, less is better")
    return figure


def curve_panel(axis, curves, title, label):
    for name, (x, y) in curves.items():
        colour, marker = CURVES[name]
        axis.plot(x, y, color=colour, marker=marker, markersize=4, linewidth=2.4 if name == "qorac" else 1.3,
                  label=name, zorder=3 if name == "qorac" else 2)
    axis.set_title(title, loc="left", fontsize=11, fontweight="bold")
    axis.set_xlabel(label)
    axis.set_ylim(bottom=0)
    axis.xaxis.set_major_locator(matplotlib.ticker.MultipleLocator(2))
    axis.tick_params(labelleft=True)
    axis.grid(axis="y", color=GRID)


def panels(left, right, titles, x_label, y_label):
    figure, axes = plt.subplots(1, 2, figsize=(INCHES, 3.9), sharey=True)
    figure.subplots_adjust(left=0.075, right=0.99, top=0.92, bottom=0.23, wspace=0.14)
    for axis, curves, title in zip(axes, (left, right), titles):
        curve_panel(axis, curves, title, x_label)
    axes[0].set_ylabel(y_label)
    handles, names = axes[0].get_legend_handles_labels()
    figure.legend(handles, names, loc="lower center", ncols=len(names), frameon=False)
    return figure


def curves_of(table, results, columns, speed):
    """Per column the powers of two of the rows and the speeds that the times mean."""
    rows = [(label, cells) for label, options, cells in tables.values(table, results) if not options["means"]]
    curves = {}
    for column, name in columns.items():
        points = [speed(label, cells[column]) for label, cells in rows if cells[column] is not None]
        points = [point for point in points if point]
        if points:
            curves[name] = tuple(zip(*points))
    return curves


def fft(config, results):
    """Billions of operations per second over the order: 5 N log2 N operations of a complex transform,
    half of that of a real one."""
    kinds = []
    for kind, factor in (("complex", 5), ("real", 2.5)):
        table = config["tables"]["fft-" + kind]
        columns = {i: column["head"] for i, column in enumerate(table["columns"])}
        kinds.append(curves_of(table, results, columns, lambda label, time: (
            int(label), factor * int(label) * 2 ** int(label) / time)))
    if not all("qorac" in curves for curves in kinds):
        return None
    return panels(*kinds, ("Complex, forward", "Real, forward"), "order (log2 of the length)",
                  "billions of operations per second")


def mdct(config, results):
    """Billions of coefficients per second over the length of the block."""
    def speed(label, time):
        order = int(label).bit_length() - 1
        return (order, int(label) / 2 / time) if int(label) == 1 << order else None

    table = config["tables"]["mdct"]
    forward = curves_of(table, results, {0: "qorac", 1: "av_tx", 4: "FFTW REDFT11"}, speed)
    inverse = curves_of(table, results, {2: "qorac", 3: "av_tx", 4: "FFTW REDFT11"}, speed)
    if "qorac" not in forward or "qorac" not in inverse:
        return None
    return panels(forward, inverse, ("MDCT, forward", "MDCT, inverse"), "order (log2 of the block)",
                  "billions of coefficients per second")
