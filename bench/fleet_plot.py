# SPDX-License-Identifier: Apache-2.0
"""Draws the requests of simulated fleets as one small picture, and prints the table of docs/fleet.md."""
import argparse
import collections
import csv
import pathlib
import sys

MILLION = 1_000_000
WIDTH, HEIGHT, LEFT, TOP, GAP = 640, 150, 60, 26, 52
COLOURS = ("#1f6fb4", "#c8511b", "#2f8f46", "#8a4fb0", "#666666")
# In minutes from the event on.
SHOWN = {"outage of an hour": (-75, 180), "blackout": (0, 30), "soft rollout": (-20, 200)}
TITLES = {"outage of an hour": "The server is away for an hour, and comes back at 0",
          "blackout": "All gateways boot within a minute",
          "soft rollout": "A soft rollout; without a window it is assigned at 0, with one the window opens at 0"}


def read(path):
    """For each scenario, for each of its cases, the rows of the minutes."""
    found = collections.defaultdict(lambda: collections.defaultdict(list))
    with open(path, encoding="utf-8", newline="") as file:
        for row in csv.DictReader(file):
            found[row["scenario"]][f"{row['case']}, {row['options']}"].append(row)
    return found


def rate(row, column="mean"):
    """Requests a second of a million such gateways."""
    return float(row[column]) * MILLION / int(row["gateways"])


def table(scenarios):
    """One line for each case: the busiest minute from the event on, and what has not come to its end."""
    yield "| Event | Case | Options | Busiest minute, requests/s | That minute | All are back | Not back | Failed |"
    yield "|---|---|---|---|---|---|---|---|"
    for scenario, cases in scenarios.items():
        for rows in cases.values():
            busiest = max((row for row in rows if int(row["minute"]) >= 0), key=rate)
            end = rows[-1]
            scale = MILLION / int(end["gateways"])
            done = int(end["closed" if scenario == "soft rollout" else "served"])
            missing = (int(end["gateways"]) - done) * scale
            back = "-" if missing or scenario == "soft rollout" else f"after {int(end['last_served']) / 60:.0f} min"
            yield (f"| {scenario} | {end['case']} | {end['options']} | {rate(busiest):,.0f} | {busiest['minute']} | "
                   f"{back} | {missing:,.0f} | {int(end['failed']) * scale:,.0f} |")


def panel(number, scenario, cases):
    """One diagram, below those before it."""
    first, last = SHOWN[scenario]
    top = TOP + number * (HEIGHT + GAP)
    shown = {name: [row for row in rows if first <= int(row["minute"]) < last] for name, rows in cases.items()}
    most = max(rate(row) for rows in shown.values() for row in rows)

    def place(minute, requests):
        across = LEFT + (minute - first) / (last - first) * (WIDTH - LEFT - 10)
        return f"{across:.1f},{top + HEIGHT - requests / most * HEIGHT:.1f}"

    yield f'<text x="{LEFT}" y="{top - 8}" font-weight="bold">{TITLES[scenario]}</text>'
    yield f'<path d="M{LEFT},{top} V{top + HEIGHT} H{WIDTH - 10}" fill="none" stroke="#999"/>'
    yield f'<text x="{LEFT - 6}" y="{top + 9}" text-anchor="end">{most:,.0f}/s</text>'
    yield f'<text x="{LEFT - 6}" y="{top + HEIGHT}" text-anchor="end">0</text>'
    for minute in (first, 0, last) if first else (0, last):
        across = place(minute, 0).partition(",")[0]
        yield f'<text x="{across}" y="{top + HEIGHT + 13}" text-anchor="middle">{minute} min</text>'
    for line, (name, rows) in enumerate(shown.items()):
        points = " ".join(place(int(row["minute"]), rate(row)) for row in rows)
        yield f'<polyline points="{points}" fill="none" stroke="{COLOURS[line]}" stroke-width="1.3"/>'
        yield f'<text x="{WIDTH - 14}" y="{top + 9 + 12 * line}" text-anchor="end" fill="{COLOURS[line]}">{name}</text>'


def picture(scenarios):
    """The whole picture as SVG."""
    height = TOP + len(scenarios) * (HEIGHT + GAP)
    yield (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" '
           'font-family="sans-serif" font-size="10">')
    yield "<title>Requests a second of a million gateways</title>"
    yield f'<rect width="{WIDTH}" height="{height}" fill="#fff"/>'
    for number, (scenario, cases) in enumerate(scenarios.items()):
        yield from panel(number, scenario, cases)
    yield "</svg>"


def faults(scenarios):
    """What must not be: gateways that are never served when nobody refuses them, or a rollout that does not start."""
    for scenario, cases in scenarios.items():
        for name, rows in cases.items():
            end = rows[-1]
            share = int(end["served"]) / int(end["gateways"])
            if share < 0.95:
                yield f"{scenario}, {name}: only {share:.0%} of the gateways are served at the end"
            if scenario == "soft rollout" and int(end["closed"]) < 0.9 * int(end["gateways"]):
                yield f"{scenario}, {name}: only {end['closed']} of {end['gateways']} deployments are carried out"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("traffic", type=pathlib.Path, help="what zephran_fleet traffic has printed")
    parser.add_argument("picture", type=pathlib.Path)
    parser.add_argument("--check", action="store_true", help="fails if the fleet does not recover")
    chosen = parser.parse_args()
    scenarios = read(chosen.traffic)
    chosen.picture.write_text("\n".join(picture(scenarios)) + "\n", encoding="utf-8")
    print("\n".join(table(scenarios)))
    found = list(faults(scenarios)) if chosen.check else []
    print("".join(fault + "\n" for fault in found), end="", file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
