"""Draws the two pictures of a benchmark's report as SVG."""

from html import escape

WIDTH, HEIGHT = 720, 420
LEFT, RIGHT, BOTTOM = 64, 24, 56

STYLE = """
text { font: 13px sans-serif; fill: #333 }
.title { font-size: 16px; font-weight: bold }
.axis { stroke: #333; fill: none }
.grid { stroke: #ddd }
.first { fill: #1f6feb; fill-opacity: .65 } .first-line { stroke: #1f6feb; fill: none }
.second { fill: #d4741a; fill-opacity: .65 } .second-line { stroke: #d4741a; fill: none }
.budget-line { stroke: #b3261e; stroke-dasharray: 6 4; fill: none }
.line { stroke-width: 2 }
"""


class Plot:
    """A plane from 0 to `right` and from 0 to `top`. Its key, pairs of a kind and what is of that
    kind, stands above it, where nothing crosses it."""

    def __init__(self, title, key, across, up, right, top):
        self.right = right
        self.top = top
        self.upper = 70 + (len(key) + 1) // 2 * 22
        self.parts = [
            f'<text class="title" x="{LEFT}" y="26">{escape(title)}</text>',
            f'<text x="{(LEFT + WIDTH - RIGHT) / 2}" y="{HEIGHT - 14}" text-anchor="middle">'
            f"{escape(across)}</text>",
            f'<text x="{LEFT}" y="{self.upper - 16}">{escape(up)}</text>',
        ]
        for index, (kind, text) in enumerate(key):
            self.explain(LEFT + index % 2 * 320, 50 + index // 2 * 22, kind, text)

    def x(self, value):
        return LEFT + value / self.right * (WIDTH - LEFT - RIGHT)

    def y(self, value):
        return HEIGHT - BOTTOM - value / self.top * (HEIGHT - self.upper - BOTTOM)

    def axes(self, x_step, y_step):
        bottom = self.y(0)
        value = 0
        while value <= self.top + 1e-9:
            y = self.y(value)
            self.parts.append(f'<line class="grid" x1="{LEFT}" x2="{WIDTH - RIGHT}" y1="{y:.1f}" '
                              f'y2="{y:.1f}"/>')
            self.parts.append(f'<text x="{LEFT - 8}" y="{y + 4:.1f}" text-anchor="end">{value:g}'
                              "</text>")
            value += y_step
        value = 0
        while value <= self.right + 1e-9:
            self.parts.append(f'<text x="{self.x(value):.1f}" y="{bottom + 18:.1f}" '
                              f'text-anchor="middle">{value:g}</text>')
            value += x_step
        self.parts.append(f'<path class="axis" d="M{LEFT} {self.upper}V{bottom:.1f}'
                          f'H{WIDTH - RIGHT}"/>')

    def bar(self, kind, start, end, height):
        if height > 0:
            self.parts.append(
                f'<rect class="{kind}" x="{self.x(start):.1f}" y="{self.y(height):.1f}" '
                f'width="{self.x(end) - self.x(start):.1f}" '
                f'height="{self.y(0) - self.y(height):.1f}"/>')

    def line(self, kind, points):
        path = "L".join(f"{self.x(x):.1f} {self.y(y):.1f}" for x, y in points)
        self.parts.append(f'<path class="{kind} line" d="M{path}"/>')

    def explain(self, x, y, kind, text):
        if kind.endswith("line"):
            self.parts.append(f'<path class="{kind} line" d="M{x} {y - 4}h24"/>')
        else:
            self.parts.append(f'<rect class="{kind}" x="{x}" y="{y - 10}" width="24" height="12"/>')
        self.parts.append(f'<text x="{x + 32}" y="{y}">{escape(text)}</text>')

    def svg(self):
        return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}" '
                f'viewBox="0 0 {WIDTH} {HEIGHT}">\n<style>{STYLE}</style>\n'
                f'<rect width="{WIDTH}" height="{HEIGHT}" fill="#fff"/>\n'
                + "\n".join(self.parts) + "\n</svg>\n")


def median(values):
    return sorted(values)[len(values) // 2]


def round_up(value):
    """To one that divides into few steps, and that step."""
    for step in (0.5, 1, 2, 5, 10, 20, 50, 100, 200, 500, 1000):
        if value <= step * 6:
            return step * -(-value // step), step
    return value, value


def histogram(latencies):
    """Of milliseconds, by the server that they were measured at."""
    width = 0.25
    longest = 12  # what is beyond stands in the last bar
    bins = int(longest / width)
    counts = {}
    for server, values in latencies.items():
        counts[server] = [0] * bins
        for value in values:
            counts[server][min(bins - 1, max(0, int(value / width)))] += 1
    shares = {
        server: [100 * count / max(1, sum(all_counts)) for count in all_counts]
        for server, all_counts in counts.items()
    }
    top, step = round_up(max(max(share) for share in shares.values()))
    kinds = dict(zip(latencies, ("first", "second")))
    key = [(kinds[server], f"{server}: {len(values)} strokes, median {median(values):.2f} ms")
           for server, values in latencies.items() if values]
    plot = Plot("Key press to first sample at the sink's monitor", key, "milliseconds",
                "% of the strokes", longest, top)
    plot.axes(1, step)
    for server, share in shares.items():
        for index, height in enumerate(share):
            plot.bar(kinds[server], index * width, (index + 1) * width, height)
    return plot.svg()


def render_cost(own, other):
    """Microseconds that a block of 128 frames takes, by the number of voices."""
    budget = 128 / 44100 * 1e6 / 500
    top, step = round_up(max([budget * 1.1, *own.values(), *other.values()]))
    key = [("first-line", "Morvel, limiter included"),
           ("budget-line", "budget for nine voices: 500 × real time")]
    if other:
        key.insert(1, ("second-line", "OpenAL Soft, 23rd-order sinc"))
    plot = Plot("Rendering a block of 128 frames (2,902 µs of sound) at odd rates", key, "voices",
                "microseconds on one core", 9.5, top)
    plot.axes(1, step)
    plot.line("budget-line", [(0, budget), (9.5, budget)])
    plot.line("first-line", sorted(own.items()))
    if other:
        plot.line("second-line", sorted(other.items()))
    return plot.svg()
