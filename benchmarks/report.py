#!/usr/bin/env python3
"""Turns what the benchmarks program has measured into the table of README.md and the data of the picture.

    report.py MEASUREMENTS.json README.md PICTURE_DATA
"""

import datetime
import json
import re
import subprocess
import sys

SINGLE = "Single sample of "
BEGIN, END = "<!-- results of make bench -->\n", "<!-- end of the results -->\n"


def read(path):
    """The least time in ns of each family/form/subject over all repetitions; single samples as their counters."""
    with open(path, encoding="utf-8") as file:
        runs = [run for run in json.load(file)["benchmarks"] if run["run_type"] == "iteration"]
    costs, singles = {}, {}
    for run in sorted(runs, key=lambda run: run["family_index"]):
        family, form, subject = run["run_name"].split("/")[:3]
        if family.startswith(SINGLE):
            singles[form, subject] = run
            continue
        subjects = costs.setdefault((family, form), {})
        cost = 1e9 / run["items_per_second"]
        subjects[subject] = min(cost, subjects.get(subject, cost))
    return costs, singles


def machine():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        info = file.read()
    model = re.search(r"model name\s*: (.*)", info).group(1)
    processors = len(re.findall(r"^processor", info, re.MULTILINE))
    compiler = subprocess.run(["g++", "--version"], capture_output=True, text=True, check=True).stdout.splitlines()[0]
    return f"{model}, {processors} processors; {compiler}; {datetime.date.today()}"


def table(costs, singles):
    yield f"Measured on: {machine()}."
    yield ""
    yield "| operation | form | library | hand-written | library / hand-written | as many times faster than |"
    yield "|---|---|---:|---:|---:|---|"
    for (family, form), subjects in costs.items():
        if "library" not in subjects:
            continue
        own, by_hand = subjects["library"], subjects["hand-written"]
        others = ", ".join(f"{name} {cost / own:.1f}" for name, cost in subjects.items()
                           if name not in ("library", "hand-written"))
        yield f"| {family} | {form} | {own:.2f} ns | {by_hand:.2f} ns | {own / by_hand:.2f} | {others} |"
    yield ""
    nothing = next(subjects["nothing"] for subjects in costs.values() if "nothing" in subjects)
    yield f"A call of a function that only returns takes {nothing:.2f} ns in the same loop."
    yield ""
    yield "| single samples of Max, window 100000 | subject | median | 99.99 % | maximum |"
    yield "|---|---|---:|---:|---:|"
    for (course, subject), run in singles.items():
        yield f"| {course} | {subject} | {run['median']:.0f} ns | {run['99.99 %']:.0f} ns | {run['maximum']:.0f} ns |"


def picture_data(costs):
    """Two blocks: library / hand-written for each operation, then the growth of the extremes with the window."""
    ratios = {}
    for (family, form), subjects in costs.items():
        is_variant = family.endswith("sweep") or (family.startswith("Max") and family != "Max DD, window 1000")
        if "library" in subjects and not is_variant:
            ratios.setdefault(family, {})[form] = subjects["library"] / subjects["hand-written"]
    for family, forms in ratios.items():
        if not re.search("in turn|Create", family):
            yield f'"{family.split()[0]}" {forms.get("plain", "NaN")} {forms.get("NoValue-aware", "NaN")}'
    yield "\n"
    for (family, form), subjects in costs.items():
        window = re.fullmatch(r"Max DD, window (\d+)", family)
        if window and form == "plain":
            yield " ".join([window[1]] + [f"{subjects[name]}" for name in ("library", "hand-written", "deque", "multiset")])


def main():
    measurements, readme, data = sys.argv[1:]
    costs, singles = read(measurements)
    with open(readme, encoding="utf-8") as file:
        before, rest = file.read().split(BEGIN)
    after = rest.split(END)[1]
    with open(readme, "w", encoding="utf-8") as file:
        file.write(before + BEGIN + "\n".join(table(costs, singles)) + "\n" + END + after)
    with open(data, "w", encoding="utf-8") as file:
        file.write("\n".join(picture_data(costs)) + "\n")


main()
