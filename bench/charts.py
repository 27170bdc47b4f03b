"""Plain SVG charts of the results: bars by contender, and lines over a growing number."""
import html
import pathlib

COLOURS = ["#1b6ca8", "#c0392b", "#e59866", "#7d3c98", "#239b56", "#b7950b", "#5d6d7e", "#aab7b8"]
WIDTH = 760
MARGIN = 20
LABELS = 270  # start of the bars
BAR = 16


def text(x, y, words, size=12, anchor="start", weight="normal"):
    return (f'<text x="{x:.0f}" y="{y:.0f}" font-size="{size}" text-anchor="{anchor}" '
            f'font-weight="{weight}">{html.escape(words)}</text>')


def document(height, parts):
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height:.0f}" '
            f'font-family="sans-serif">\n<rect width="100%" height="100%" fill="white"/>\n'
            + "\n".join(parts) + "\n</svg>\n")


def bars(title, groups):
    """groups: (name, unit, [(contender, value, colour)])"""
    parts = [text(MARGIN, 28, title, 16, weight="bold")]
    y = 46.0
    for name, unit, entries in groups:
        y += 18
        parts.append(text(MARGIN, y, f"{name}: {unit}", 13, weight="bold"))
        y += 8
        largest = max(value for _, value, _ in entries)
        for contender, value, colour in entries:
            length = (WIDTH - LABELS - 90) * value / largest
            parts.append(text(LABELS - 8, y + 12, contender, 12, "end"))
            parts.append(f'<rect x="{LABELS}" y="{y + 1:.0f}" width="{length:.1f}" '
                         f'height="{BAR - 3}" fill="{colour}"/>')
            parts.append(text(LABELS + length + 6, y + 12, f"{value:,.3g}" if value < 1000
                              else f"{value:,.0f}"))
            y += BAR
    return document(y + MARGIN, parts)


def lines(title, unit, what, counts, series):
    """series: (name, [value], colour), one value for each of counts, which are spaced evenly."""
    height, left, top, bottom = 300, 70, 60, 250
    largest = max(value for _, values, _ in series for value in values) * 1.1
    parts = [text(MARGIN, 28, title, 16, weight="bold"), text(MARGIN, 48, unit)]
    width = WIDTH - left - 190
    step = width / max(1, len(counts) - 1)
    for part in range(5):
        y = bottom - (bottom - top) * part / 4
        parts.append(f'<line x1="{left}" x2="{left + width}" y1="{y:.0f}" y2="{y:.0f}" '
                     'stroke="#ddd"/>')
        parts.append(text(left - 8, y + 4, f"{largest * part / 4:,.3g}", 11, "end"))
    for index, count in enumerate(counts):
        parts.append(text(left + step * index, bottom + 18, f"{count:,}", 11, "middle"))
    parts.append(text(left + width / 2, bottom + 38, what, 12, "middle"))
    for row, (name, values, colour) in enumerate(series):
        points = [(left + step * index, bottom - (bottom - top) * value / largest)
                  for index, value in enumerate(values)]
        path = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
        parts.append(f'<polyline points="{path}" fill="none" stroke="{colour}" '
                     'stroke-width="2"/>')
        parts += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{colour}"/>' for x, y in points]
        parts.append(f'<rect x="{left + width + 16}" y="{top + 20 * row - 9}" width="10" '
                     f'height="10" fill="{colour}"/>')
        parts.append(text(left + width + 32, top + 20 * row, name))
    return document(height, parts)


def bar_groups(results, names):
    contenders = results.contenders()
    colour = dict(zip(contenders, COLOURS))
    for name in names:
        cell = results.cells.get(name)
        if cell:
            yield name, cell.unit, [(contender, cell.median(contender), colour[contender])
                                    for contender in contenders if cell.has(contender)]


def growth(results, prefix):
    cells = {int(name[len(prefix):]): cell for name, cell in results.cells.items()
             if name.startswith(prefix)}
    counts = sorted(cells)
    series = [(name, [cells[count].median(name) for count in counts], colour)
              for name, colour in zip(results.contenders(), COLOURS)
              if all(cells[count].has(name) for count in counts)]
    return (cells[counts[0]].unit if counts else ""), counts, series


def piece_growth(results, prefix):
    found = {int(name[len(prefix):]): piece["ns"] / 1000 for name, piece in results.pieces.items()
             if name.startswith(prefix)}
    counts = sorted(found)
    return "CPU µs", counts, [("VexaSsl", [found[count] for count in counts], COLOURS[0])]


BAR_CHARTS = {
    "bulk": ("Bulk transfer", ["bulk, 16 KiB writes", "bulk, 1 MiB writes", "bulk, 1 KiB writes"]),
    "received": ("Records of 16 KiB received in pieces",
                 [f"bulk, 16 KiB writes, received by {size}"
                  for size in ("4 KiB", "1 KiB", "64 B", "16 B")]),
    "framed": ("Messages of a length and a body", ["framed messages of 1 KiB",
                                                   "framed messages of 1 KiB, MSG_WAITALL"]),
    "ping-pong": ("Round trips", ["ping-pong of 64 B", "ping-pong of 4 KiB"]),
    "overlapped": ("Overlapped round trips",
                   [f"overlapped {means}, ping-pong of {size}"
                    for means in ("with events", "on a completion port")
                    for size in ("64 B", "4 KiB", "64 KiB")]),
    "handshakes": ("Handshakes (longer is better)", ["handshakes, RSA-2048", "handshakes, P-256",
                                                     "handshakes, P-256, 140 roots"]),
    "memory": ("Memory", ["memory of an idle connection",
                          "memory of an idle connection, hardly used before"]),
}
LINE_CHARTS = {
    "growth-memory": ("Memory of a connection", "idle connections",
                      "memory of a connection, idle ones: "),
    "growth-trip": ("Round trip of 1 KiB with idle connections", "idle connections",
                    "ping-pong of 1 KiB, idle connections beside it: "),
    "growth-port": ("Round trip of 1 KiB on a completion port with idle connections",
                    "idle connections",
                    "completion port, ping-pong of 1 KiB, idle connections beside it: "),
    "growth-handshake": ("New connection with idle ones", "idle connections",
                         "one more connection, idle ones before it: "),
    "growth-busy": ("Bulk transfer over several connections at the same time", "busy connections",
                    "bulk, 16 KiB writes, connections at once: "),
}
PIECE_CHARTS = {
    "growth-certificates": ("Choosing a certificate by name", "certificates in the folder",
                            "certificate choice/"),
    "growth-sections": ("Loading a store", "sections in the store", "store of sections/"),
}


def draw(results, folder):
    folder = pathlib.Path(folder)
    folder.mkdir(exist_ok=True)
    for name, (title, cells) in BAR_CHARTS.items():
        groups = list(bar_groups(results, cells))
        if groups:
            (folder / f"{name}.svg").write_text(bars(title, groups))
    for charts, source in ((LINE_CHARTS, growth), (PIECE_CHARTS, piece_growth)):
        for name, (title, what, prefix) in charts.items():
            unit, counts, series = source(results, prefix)
            if counts:
                (folder / f"{name}.svg").write_text(lines(title, unit, what, counts, series))
