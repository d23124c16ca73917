"""What scripts/bench prints and keeps, from what zuvdr_bench, callgrind and Google Benchmark wrote.

usage: report.py --table|--readme|--count|--check|--record FOLDER TOOLCHAIN

FOLDER holds roads (zuvdr_bench --count), callgrind and, for --table and --readme, times.json.
"""
import json
import pathlib
import sys

HERE = pathlib.Path(__file__).parent
RECORD = HERE / "instruction-counts.json"
README = HERE / "README.md"
TOLERANCE = 0.03
DENSE = "dense: "
ENGINE = "engine: "  # the part of the road of this name that is not the host's

# Instructions per call: what is good, what is aimed at.
AID = (25_000, 9_000)
BARS = {
    "mechanisation and time update": (25_000, 9_000),
    "MeasureUpdate": (80_000, 30_000),
    "ZUPT": AID,
    "NHC": AID,
    "wBiasupdate": AID,
    "tiltupdate": AID,
    "both step networks": (25_000, 9_000),
    "whole epoch": (60_000, 25_000),
    "host event": (2_000, 2_000),
}

# What is recorded of a road, and how the check calls it.
QUANTITIES = {
    "instructions": "instructions",
    "allocations": "heap allocations",
    "deque_blocks": "deque blocks from the heap",
}


def counts(folder):
    """Figures per call of every road, by name."""
    instructions = {}
    name = None
    for line in (folder / "callgrind").read_text().splitlines():
        if line.startswith("desc: Trigger: Client Request: "):
            name = line.removeprefix("desc: Trigger: Client Request: ")
        elif line.startswith("desc: Trigger: "):
            name = None
        elif line.startswith("totals: ") and name:
            instructions[name] = int(line.split()[1])
    roads = {}
    for line in (folder / "roads").read_text().splitlines():
        name, calls, blocks, others = line.split("\t")
        roads[name] = {
            "instructions": round(instructions[name] / int(calls)),
            "allocations": round(int(others) / int(calls), 3),
            "deque_blocks": round(int(blocks) / int(calls), 3),
        }
    return without_engine(roads)


def without_engine(roads):
    """Roads through the host less the engine's part of them."""
    for name in [name for name in roads if name.startswith(ENGINE)]:
        engine = roads.pop(name)
        whole = roads[name.removeprefix(ENGINE)]
        for quantity in whole:
            whole[quantity] = round(whole[quantity] - engine[quantity], 3)
    return roads


def times(folder):
    """Least time per call of all repetitions, ns, by name."""
    best = {}
    for run in json.loads((folder / "times.json").read_text())["benchmarks"]:
        if run.get("error_occurred"):
            sys.exit(f"bench: {run['run_name']}: {run['error_message']}")
        if run["run_type"] == "iteration":
            name = run["run_name"].removesuffix("/manual_time")
            best[name] = min(run["real_time"], best.get(name, run["real_time"]))
    for name in [name for name in best if name.startswith(ENGINE)]:
        best[name.removeprefix(ENGINE)] -= best.pop(name)
    return best


def time_text(ns):
    if ns is None:
        return ""
    for unit, size in (("ns", 1), ("µs", 1e3), ("ms", 1e6)):
        if ns < 999.5 * size or unit == "ms":
            return f"{ns / size:.3g} {unit}"


def bars_text(bars):
    return " / ".join(f"{bar:,}" for bar in bars) if bars else ""


def table(roads, best):
    """Lines of a Markdown table."""
    rows = [["", "time", "dense", "instructions", "dense", "good / aim", "heap", "blocks"]]
    if not best:
        del rows[0][1:3]
    for name, road in roads.items():
        if name.startswith(DENSE):
            continue
        dense = roads.get(DENSE + name)
        row = [name]
        if best:
            row += [time_text(best.get(name)), time_text(best.get(DENSE + name))]
        row += [f"{road['instructions']:,}", f"{dense['instructions']:,}" if dense else ""]
        row += [bars_text(BARS.get(name)), f"{road['allocations']:g}", f"{road['deque_blocks']:g}"]
        rows.append(row)

    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    lines = []
    for row in rows:
        cells = [row[0].ljust(widths[0])] + [c.rjust(w) for c, w in zip(row[1:], widths[1:])]
        lines.append("| " + " | ".join(cells) + " |")
    lines.insert(1, "|" + "|".join(["---"] + ["--:"] * (len(widths) - 1)) + "|")
    if best:
        seconds = best["replay, minute of log"] * 60e-9
        lines += ["", f"An hour of log is replayed in {seconds:.2f} s."]
    return lines


def put_into_readme(lines):
    head, rest = README.read_text().split("<!-- table -->\n", 1)
    tail = rest.split("<!-- end of table -->\n", 1)[1]
    README.write_text(
        head + "<!-- table -->\n" + "\n".join(lines) + "\n<!-- end of table -->\n" + tail
    )


def recordable(roads):
    return {name: road for name, road in roads.items() if not name.startswith(DENSE)}


def record(roads, toolchain):
    lines = [f'    "{name}": {json.dumps(road)}' for name, road in recordable(roads).items()]
    RECORD.write_text(
        f'{{\n  "toolchain": "{toolchain}",\n  "roads": {{\n' + ",\n".join(lines) + "\n  }\n}\n"
    )


def check(roads, toolchain):
    """Prints what has changed; returns the exit status."""
    recorded = json.loads(RECORD.read_text())
    quantities = dict(QUANTITIES)
    if recorded["toolchain"] != toolchain:
        del quantities["instructions"]
        print(
            f"bench: instructions not checked: those recorded are of {recorded['toolchain']}, "
            f"not of {toolchain}"
        )
    roads, before = recordable(roads), recorded["roads"]
    failed = False
    cheaper = 0
    for name in roads | before:
        if name not in roads or name not in before:
            where = "recorded" if name in roads else "measured any more"
            print(f"bench: {name} is not {where}; run scripts/bench --record")
            failed = True
            continue
        for quantity, words in quantities.items():
            was, now = before[name][quantity], roads[name][quantity]
            change = f"{now:,} {words} a call, recorded are {was:,}"
            if was:
                change += f" ({100 * (now / was - 1):+.1f} %)"
            if now > was * (1 + TOLERANCE):
                print(f"bench: {name} has become more expensive: {change}")
                failed = True
            elif now < was * (1 - TOLERANCE):
                print(f"{name} has become cheaper: {change}")
                cheaper += 1
    if cheaper:
        print("Please run scripts/bench --record and commit what is cheaper now.")
    if not failed:
        print(f"{len(roads)} roads: none costs over 3 % more than recorded")
    return 1 if failed else 0


def main():
    action, folder, toolchain = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]
    roads = counts(folder)
    if action == "--check":
        sys.exit(check(roads, toolchain))
    if action == "--record":
        record(roads, toolchain)
        return
    lines = table(roads, None if action == "--count" else times(folder))
    print("\n".join(lines))
    if action == "--readme":
        put_into_readme(lines)


main()
