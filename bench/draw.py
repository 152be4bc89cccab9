#!/usr/bin/env python3
"""Draws the tables of bench/README.md: bench/engines.svg has each row's engines beside each other,
bench/growth.svg the exponents of growth. Needs matplotlib (Debian: python3-matplotlib).

The same tables give the same pictures."""
import pathlib
import re

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams.update({"svg.hashsalt": "bench", "font.size": 9, "svg.fonttype": "none"})
from matplotlib import pyplot  # noqa: E402

here = pathlib.Path(__file__).resolve().parent
colours = {"ours": "#c0392b", "limit": "#7f8c8d", "GiNaC": "#2980b9", "muParser": "#27ae60", "Z3": "#8e44ad",
           "BuDDy": "#d68910"}


def tables(text):
    """The tables of a page in Markdown, each as a list of rows of cells, the header first."""
    found = re.findall(r"(?:^\|.*\n)+", text, re.M)
    return [[[cell.strip() for cell in line.strip("|\n").split("|")] for line in table.splitlines()
             if not re.fullmatch(r"[|:\- ]+", line)] for table in found]


def number(cell):
    found = re.match(r"[\d.]+", cell)
    return float(found.group()) if found else None


def save(figure, name):
    figure.savefig(here / name, metadata={"Date": None, "Creator": None}, bbox_inches="tight")


def draw_engines(table, origin):
    header, *rows = table
    engines = {title.split()[0]: column for column, title in enumerate(header)
               if title.split()[0] in colours}
    target = header.index("target")
    figure, axes = pyplot.subplots(figsize=(8, 0.28 * len(rows) + 1.2))
    for place, row in enumerate(rows):
        ours = number(row[engines["ours"]])
        limit = number(row[target])
        peers = [number(row[column]) for engine, column in engines.items()
                 if engine not in ("ours", "limit")]
        best = min((peer for peer in peers if peer is not None), default=None)
        # What may not be exceeded is a ratio to the best peer, or a figure where it has a unit.
        isFigure = limit >= 10 or " ms" in row[target]
        bound = limit / ours if isFigure else limit * best / ours
        axes.plot([bound], [place], marker="|", markersize=13, color="#555555", linestyle="none",
                  label="target" if place == 0 else None)
        for engine, column in engines.items():
            value = number(row[column])
            if value is None:
                continue
            axes.plot([value / ours], [place], marker="o" if engine != "ours" else "D", markersize=6,
                      color=colours[engine], linestyle="none")
    axes.axvline(1, color=colours["ours"], linewidth=0.8, zorder=0)
    axes.set_xscale("log")
    axes.xaxis.set_major_formatter(lambda value, _: f"{value:g}\u00d7")
    axes.set_yticks(range(len(rows)), [row[0] for row in rows])
    axes.invert_yaxis()
    axes.grid(axis="x", color="#dddddd")
    axes.set_axisbelow(True)
    axes.set_xlabel("cost, as a multiple of this library's: engines right of the red line take more")
    handles = [matplotlib.lines.Line2D([], [], marker="D" if engine == "ours" else "o",
                                       linestyle="none", color=colour, label=engine)
               for engine, colour in colours.items()]
    handles.append(matplotlib.lines.Line2D([], [], marker="|", markersize=13, linestyle="none",
                                           color="#555555", label="target"))
    axes.legend(handles=handles, loc="lower center", bbox_to_anchor=(0.4, 1), ncols=6, frameon=False)
    axes.annotate(origin, (1, 0), (0, -36), xycoords="axes fraction", textcoords="offset points",
                  ha="right", va="top", fontsize=7, color="#555555")
    save(figure, "engines.svg")


def draw_growth(table, origin):
    header, *rows = table
    passes = header[3:9]
    names = list(dict.fromkeys(row[0] for row in rows))
    figure, axes = pyplot.subplots(figsize=(8, 0.32 * len(names) + 1.4))
    markers = dict(zip(passes, "osD^vP"))
    for column, name in enumerate(passes):
        points = [(number(row[3 + column]), names.index(row[0])) for row in rows
                  if number(row[3 + column]) is not None]
        axes.plot([point[0] for point in points],
                  [point[1] + (column - 2.5) * 0.11 for point in points], marker=markers[name],
                  markersize=4, linestyle="none", label=name, alpha=0.8)
    axes.axvline(1, color="#555555", linewidth=0.8, zorder=0)
    axes.axvline(1.2, color="#c0392b", linewidth=0.8, linestyle="--", zorder=0)
    axes.set_xlim(0.6, 1.3)
    axes.set_yticks(range(len(names)), names)
    axes.invert_yaxis()
    axes.grid(axis="x", color="#dddddd")
    axes.set_axisbelow(True)
    axes.set_xlabel("exponent of the cost in the number of operands: 1 is linear, the dashed line is "
                    "the limit")
    axes.legend(loc="lower center", bbox_to_anchor=(0.4, 1), ncols=6, frameon=False)
    axes.annotate(origin, (1, 0), (0, -36), xycoords="axes fraction", textcoords="offset points",
                  ha="right", va="top", fontsize=7, color="#555555")
    save(figure, "growth.svg")


def main():
    page = (here / "README.md").read_text()
    origin = re.search(r"Measured on .*?(?=\n\n)", page, re.S).group().replace("\n", " ")
    found = {table[0][0].split(" ")[0]: table for table in tables(page)}
    draw_engines(found["nanoseconds"], origin + " bench/run.sh")
    draw_growth(found["operands"], origin + " bench/run.sh")


main()
