"""The points of power cuts and what came out, as a table and as a picture."""

import re
from collections import Counter
from dataclasses import dataclass
from html import escape
from itertools import groupby

from judge import AS_UNDISTURBED, Outcome

GOOD, OTHER, BAD = "#4c9a5b", "#e0a030", "#c02020"
BAR, LINE, LEFT, TICKS = 2, 18, 10, 50


@dataclass
class Point:
    number: int  # 0: the end of the run
    call: str
    subject: str
    image: int  # what is on the flash ahead of the call
    torn: int = None  # what is there when the call was only half way
    outcome: Outcome = None
    torn_outcome: Outcome = None

    def looked_at(self):
        if self.outcome is not None:
            yield f"ahead of {self}", self.outcome
        if self.torn_outcome is not None:
            yield f"in the middle of {self}", self.torn_outcome

    def __str__(self):
        return "the end" if self.call == "end" else f"{self.number} {self.call} {self.subject}".strip()


def spans(points):
    """Points that follow each other and have the same outcome."""
    first = last = outcome = None
    for point in points:
        for where, found in point.looked_at():
            if outcome is not None and str(found) == outcome:
                last = where
                continue
            if outcome is not None:
                yield first, last, outcome
            first, last, outcome = where, where, str(found)
    yield first, last, outcome


def counts(points):
    """What is found, in the order in which it comes up, with the numbers of points at which it is:
    ahead of a call and in the middle of one. One point can have several."""
    whole, torn = Counter(), Counter()
    for point in points:
        for counter, outcome in ((whole, point.outcome), (torn, point.torn_outcome)):
            if outcome is not None:
                counter.update(outcome.parts())
    return [(part, whole[part], torn[part]) for part in {**whole, **torn}]


def violations(points):
    return sum(bool(outcome.violations) for point in points for _, outcome in point.looked_at())


def table(found, images):
    lines = ["# Power cuts, point by point", "",
             "Made by `scripts/power-cuts`; [power-cuts.md](power-cuts.md) says how, and why each outcome is what",
             "it is. An outcome is what stands on the flash after the next run of the program, which has the",
             f"package files that are still there. {images} different images of the flash were looked at. Points at",
             f"which something was as it must never be: {sum(map(violations, found.values()))}.", "",
             "![outcome by point](power-cuts.svg)"]
    for scenario, points in found.items():
        whole, torn = (sum(1 for where, _ in (look for point in points for look in point.looked_at())
                           if where.startswith(start)) for start in ("ahead", "in"))
        lines += ["", f"## {scenario.title}", "", "| outcome | ahead of a call | in the middle of a call |",
                  "|---|---:|---:|"]
        lines += [f"| {part} | {first} | {second} |" for part, first, second in counts(points)]
        lines += [f"| points in all | {whole} | {torn} |", "", "| from | to | outcome |", "|---|---|---|"]
        lines += [f"| {first} | {last} | {outcome} |" for first, last, outcome in spans(points)]
    return "\n".join(lines) + "\n"


def bars(points, part):
    """Where a part of the outcome holds: start and length of every stretch, in points looked at."""
    held = [part in outcome.parts() for point in points for _, outcome in point.looked_at()]
    start = 0
    for holds, stretch in groupby(held):
        length = len(list(stretch))
        if holds:
            yield start, length
        start += length


def colour(points, part):
    if part == AS_UNDISTURBED:
        return GOOD
    bad = any(part in outcome.violations for point in points for _, outcome in point.looked_at())
    return BAD if bad else OTHER


def ticks(points, y):
    """The numbers of the calls."""
    position = 0
    for point in points:
        if point.number % TICKS == 1:
            x = LEFT + position * BAR
            yield (f'<path d="M{x} {y}v4" stroke="black"/>'
                   f'<text x="{x}" y="{y + 15}" font-size="10">{point.number}</text>')
        position += len(list(point.looked_at()))


def picture(found):
    """For each scenario a row for every outcome, with a bar where it holds."""
    widest = BAR * max(sum(len(list(point.looked_at())) for point in points) for points in found.values())
    parts, y = [], 6
    for scenario, points in found.items():
        parts.append(f'<text x="{LEFT}" y="{y + 12}" font-weight="bold">{escape(scenario.title)}</text>')
        y += LINE + 2
        for part, *_ in counts(points):
            fill = colour(points, part)
            parts += [f'<rect x="{LEFT + start * BAR}" y="{y}" width="{length * BAR}" height="{LINE - 4}" '
                      f'fill="{fill}"/>' for start, length in bars(points, part)]
            parts.append(f'<text x="{LEFT + widest + 10}" y="{y + 11}">{escape(part)}</text>')
            y += LINE
        parts += ticks(points, y)
        y += 2 * LINE
    width = LEFT + widest + 330
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{y}" font-family="sans-serif" '
            f'font-size="12">\n<rect width="{width}" height="{y}" fill="white"/>\n' + "\n".join(parts) + "\n</svg>\n")


def write_reports(folder, found, images):
    (folder / "power-cuts-points.md").write_text(table(found, images))
    (folder / "power-cuts.svg").write_text(picture(found))


def documented(text):
    """Outcomes by the title of their scenario."""
    result = {}
    for part in text.split("\n## ")[1:]:
        title, _, rest = part.partition("\n")
        result[title] = set(re.findall(r"^\| (.+) \| \d+ \| \d+ \|$", rest, re.MULTILINE)) - {"points in all"}
    return result


def check_against(document, found):
    """The number of outcomes that the document does not have."""
    known, bad = documented(document.read_text()), 0
    for scenario, points in found.items():
        for outcome, *_ in counts(points):
            if outcome not in known.get(scenario.title, ()):
                print(f"power-cuts: {scenario.name}: an outcome that {document.name} does not have: {outcome}")
                bad += 1
    return bad
