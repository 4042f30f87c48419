#!/usr/bin/env python3
"""Figures of the instruction budget from the callgrind dumps of bench/budget_driver.cpp, and
their check against (or rewrite of) the budget file. Used by scripts/budget.sh.

  budget_figures.py check BUDGET_FILE DUMP...   fails when a figure exceeds its budget by > 3 %
  budget_figures.py write BUDGET_FILE DUMP...   rewrites the budget file with the measured figures

Self instructions are summed per object: the plugin library, the stand-in, libc, cJSON, the rest.
"""
import os
import re
import sys

TOLERANCE = 0.03
OBJECTS = (("plugin", "libzor_ifm-telemetry-plugin.so"), ("standin", "libzor_standin.so"),
           ("libc", "libc.so"), ("cjson", "libcjson.so"))


def object_kind(path):
    base = os.path.basename(path)
    for kind, prefix in OBJECTS:
        if base.startswith(prefix):
            return kind
    return "other"


def read_dump(path):
    """(label, {object kind: self instructions}) of one callgrind dump."""
    label, names, costs = None, {}, {}
    current, skip_next = "other", False
    with open(path) as f:
        for line in f:
            if line.startswith("desc: Trigger: Client Request: "):
                label = line.split(": ", 2)[2].split("Client Request: ", 1)[1].strip()
            elif line.startswith("ob="):
                m = re.match(r"ob=\((\d+)\)(?: (.*))?", line.rstrip("\n"))
                if m.group(2) is not None:
                    names[m.group(1)] = m.group(2)
                current = object_kind(names[m.group(1)])
            elif line.startswith("cob="):
                m = re.match(r"cob=\((\d+)\)(?: (.*))?", line.rstrip("\n"))
                if m.group(2) is not None:
                    names[m.group(1)] = m.group(2)
            elif line.startswith("calls="):
                skip_next = True  # the next cost line is the call's inclusive cost
            elif line[:1].isdigit() or line[:1] in "+-*":
                if skip_next:
                    skip_next = False
                    continue
                fields = line.split()
                if len(fields) >= 2:
                    costs[current] = costs.get(current, 0) + int(fields[-1])
    return label, costs


def figures(dumps):
    """{figure name: (value, note)} from the labelled dumps."""
    out = {}
    for path in dumps:
        label, costs = read_dump(path)
        if label is None:
            continue
        words = label.split()
        if words[0] == "tick":
            _, sensor, enc, size, total = words
            per_if = {k: v / int(total) for k, v in costs.items()}
            note = "  ".join("%s %.0f" % (k, per_if.get(k, 0)) for k in ("standin", "libc", "cjson", "other"))
            out["tick.%s.%s.%s" % (sensor, enc, size)] = (round(per_if.get("plugin", 0), 1), note)
        elif words[0] == "chunk":
            _, sensor, enc, count = words
            total = sum(costs.values())
            note = "  ".join("%s %.0f" % (k, costs.get(k, 0) / int(count)) for k in ("standin", "libc", "cjson"))
            out["chunk.%s.%s" % (sensor.lower(), enc)] = (round(total / int(count)), note)
    return out


HEADER = """\
# Instruction budgets, checked by the instruction_budget test of the Release tree: it fails when a
# figure exceeds its budget by more than 3 %. Counts from callgrind (scripts/budget.sh), the same on
# every run: same device, seeds and simulated clock, same compiler and flags.
#   tick.SENSOR.ENCODING.INTERFACES  the plugin library's own instructions per interface of one tick
#                                    of that sensor on the benchmark device (stand-in and libc apart)
#   chunk.SENSOR.ENCODING            all instructions of encoding one chunk (32 ip-statistics, 50
#                                    other records), allocation and cJSON included
# Regenerate with scripts/budget.sh --write; lowering a budget is a commit of its own, with the reason.
"""


def main():
    mode, budget_file, dumps = sys.argv[1], sys.argv[2], sys.argv[3:]
    measured = figures(dumps)
    if not measured:
        print("no figures in the callgrind dumps")
        return 1
    if mode == "write":
        with open(budget_file, "w") as f:
            f.write(HEADER)
            for name in sorted(measured):
                f.write("%-24s %10s\n" % (name, measured[name][0]))
        print("wrote %d figures to %s" % (len(measured), budget_file))
    budget = {}
    with open(budget_file) as f:
        for line in f:
            if line.strip() and not line.startswith("#"):
                name, value = line.split()
                budget[name] = float(value)
    failed = 0
    print("%-24s %10s %10s %8s  %s" % ("figure", "budget", "measured", "change", "of which (per interface, per chunk)"))
    for name in sorted(set(budget) | set(measured)):
        value, note = measured.get(name, (None, "not measured"))
        limit = budget.get(name)
        if value is None or limit is None:
            status = "MISSING"
            failed += 1
        else:
            change = (value - limit) / limit if limit else 0.0
            status = "%+7.1f%%" % (change * 100)
            if value > limit * (1 + TOLERANCE):
                status += " OVER"
                failed += 1
        print("%-24s %10s %10s %8s  %s" % (name, limit, value, status, note))
    print("%d passed, %d failed" % (len(set(budget) | set(measured)) - failed, failed))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
