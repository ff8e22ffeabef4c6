#!/usr/bin/env python3
"""Makes the report of a run of the benchmarks.

report.py RESULTS LINES.json OUT [PART...]   prints the table of RESULTS, leaves it in OUT as
                                             bench.json with two pictures beside it, and fails
                                             where a budget is missed or a line has no figure
report.py --document BENCH.json PAGE.md      puts a table between the marks of a page
"""

import datetime
import json
import os
import platform
import re
import sys
from pathlib import Path

import pictures

MARKS = ("<!-- table -->\n", "<!-- end of table -->\n")


def read_benchmarks(results):
    """All benchmarks' figures by name, without what the library adds to the names."""
    found = {}
    for file in sorted(results.glob("*.json")):
        try:
            benchmarks = json.loads(file.read_text())["benchmarks"]
        except (ValueError, KeyError):  # the program did not run to its end
            continue
        for benchmark in benchmarks:
            name = re.sub(r"/(min_time|iterations|manual_time).*", "", benchmark["name"])
            found[name] = benchmark
    return found


def keeps(value, budget, most):
    return value >= budget if most else value <= budget


def judge(line, benchmarks):
    """One line of the table. A budget without a figure is missed."""
    benchmark = benchmarks.get(line["of"], {})
    tail = line.get("tail", "p95")
    budgets = line.get("budget", [None, None])
    figures = [benchmark.get(line.get("figure", "median")), benchmark.get(tail)]
    if not tail:
        figures[1] = None
    if benchmark.get("error_occurred"):
        figures = [None, None]
    most = line.get("most", False)
    kept = [
        figure is not None and keeps(figure, budget, most)
        for figure, budget in zip(figures, budgets)
        if budget is not None
    ]
    if figures[0] is None:
        verdict = "MISSED" if kept else "not measured"
    else:
        verdict = "" if not kept else "met" if all(kept) else "MISSED"
    return {
        "what": line["what"], "unit": line["unit"], "most": most, "budget": budgets,
        "median": figures[0], "tail": figures[1], "tail_name": tail, "verdict": verdict,
        "note": benchmark.get("error_message", ""),
    }


def absent(line, benchmarks):
    """What a line names and no benchmark gives; nothing where the benchmark itself failed."""
    name = line["of"]
    if name not in benchmarks:
        return [name]
    if benchmarks[name].get("error_occurred"):
        return []
    figures = [line.get("figure", "median"), line.get("tail", "p95")]
    return [f"{name}: {figure}" for figure in figures
            if figure and figure not in benchmarks[name]]


def number(value):
    if value is None:
        return "–"
    if value == 0:
        return "0"
    digits = max(0, 2 - len(str(int(abs(value)))) + 1) if abs(value) >= 1 else 3
    return f"{value:.{digits}f}"


def with_unit(text, line):
    unit = line["unit"]
    return text + unit if unit.startswith("/") else f"{text} {unit}".strip()


def budget_text(line):
    sign = "≥" if line["most"] else "≤"
    parts = []
    for name, budget in zip(("median", line["tail_name"]), line["budget"]):
        if budget is not None:
            value = with_unit(f"{budget:g}", line)
            parts.append(f"{name} {sign} {value}" if line["tail_name"] else f"{sign} {value}")
    return ", ".join(parts)


def cells(line):
    tail = f"{number(line['tail'])} ({line['tail_name']})" if line["tail"] is not None else ""
    median = with_unit(number(line["median"]), line)
    return [line["what"], budget_text(line), median, tail, line["verdict"] or line["note"]]


HEAD = ["what", "budget", "median", "p95 or p99", "verdict"]


def print_table(lines):
    rows = [HEAD] + [cells(line) for line in lines]
    widths = [max(len(row[column]) for row in rows) for column in range(len(HEAD))]
    for number_of_row, row in enumerate(rows):
        texts = [
            text.rjust(width) if column in (2, 3) else text.ljust(width)
            for column, (text, width) in enumerate(zip(row, widths))
        ]
        print("  ".join(texts).rstrip())
        if number_of_row == 0:
            print("  ".join("-" * width for width in widths))


def first_match(file, pattern, otherwise):
    try:
        found = re.search(pattern, Path(file).read_text(), re.MULTILINE)
    except OSError:
        found = None
    return found.group(1) if found else otherwise


def machine():
    kilobytes = int(first_match("/proc/meminfo", r"^MemTotal:\s+(\d+)", "0"))
    return {
        "processor": first_match("/proc/cpuinfo", r"^model name\s*: (.*)$", platform.machine()),
        "cores": os.cpu_count(),
        "memory_GB": round(kilobytes / 1e6, 1),
        "system": first_match("/etc/os-release", r'^PRETTY_NAME="(.*)"$', platform.system()),
        "kernel": platform.release(),
        "virtual": "hypervisor" in first_match("/proc/cpuinfo", r"^flags\s*: (.*)$", "").split(),
    }


def values(results, name):
    file = results / f"{name}.values"
    return json.loads(file.read_text()) if file.exists() else []


def soak_minutes(results):
    """By the name of the soak: of each of its minutes the median and the memory."""
    minutes = {}
    for file in sorted(results.glob("*Medians.values")):
        name = file.name.removesuffix("Medians.values")
        minutes[name] = list(zip(values(results, f"{name}Medians"),
                                 values(results, f"{name}Resident")))
    return minutes


def draw(results, benchmarks, out):
    latencies = {
        server: values(results, f"KeyPressToSound{server}Quiet")
        for server in ("PulseAudio", "PipeWire")
    }
    if any(latencies.values()):
        (out / "key-press-to-sound.svg").write_text(pictures.histogram(latencies))
    own = {}
    other = {}
    for name, benchmark in benchmarks.items():
        if voices := re.fullmatch(r"Rendering/voices:(\d+)/frames:128", name):
            own[int(voices[1])] = benchmark["median"]
        if voices := re.fullmatch(r"RenderingBesideOpenAlSoft/voices:(\d+)", name):
            if not benchmark.get("error_occurred"):
                other[int(voices[1])] = 128 / 44100 * 1e6 / benchmark["theirs_x"]
    if own:
        (out / "render-cost.svg").write_text(pictures.render_cost(own, other))


def report(results, lines_file, out, parts):
    benchmarks = read_benchmarks(results)
    wanted = [line for line in json.loads(lines_file.read_text())
              if not parts or line["part"] in parts]
    lines = [judge(line, benchmarks) for line in wanted]
    print()
    print_table(lines)
    soaks = soak_minutes(results)
    for name, minutes in soaks.items():
        for minute, (median, resident) in enumerate(minutes, 1):
            print(f"{name}, minute {minute}: median {median:.2f} ms, {resident:.1f} MB resident")
    kept = {
        "when": datetime.datetime.now(datetime.timezone.utc).isoformat(timespec="minutes"),
        "machine": machine(), "lines": lines, "soak_minutes": soaks,
        "figures": {name: {key: value for key, value in benchmark.items()
                           if isinstance(value, float)}
                    for name, benchmark in benchmarks.items()},
    }
    (out / "bench.json").write_text(json.dumps(kept, indent=1, ensure_ascii=False) + "\n")
    draw(results, benchmarks, out)
    nowhere = [name for line in wanted for name in absent(line, benchmarks)]
    for name in dict.fromkeys(nowhere):
        print(f"bench: no benchmark gave {name}", file=sys.stderr)
    missed = sum(line["verdict"] == "MISSED" for line in lines)
    met = sum(line["verdict"] == "met" for line in lines)
    print(f"\n{met} budgets met, {missed} missed")
    return 1 if missed or nowhere else 0


def document(bench_file, page):
    bench = json.loads(bench_file.read_text())
    where = bench["machine"]
    kind = ", a virtual machine" if where["virtual"] else ""
    text = [
        f"Measured {bench['when'][:10]} on {where['processor']} ({where['cores']} cores, "
        f"{where['memory_GB']} GB{kind}), {where['system']}, Linux {where['kernel']}.\n\n",
        "| " + " | ".join(HEAD) + " |\n",
        "|---|---|---:|---:|---|\n",
    ]
    text += ["| " + " | ".join(cells(line)) + " |\n" for line in bench["lines"]]
    before, rest = page.read_text().split(MARKS[0], 1)
    after = rest.split(MARKS[1], 1)[1]
    page.write_text(before + MARKS[0] + "\n" + "".join(text) + "\n" + MARKS[1] + after)
    return 0


def main(arguments):
    if len(arguments) == 3 and arguments[0] == "--document":
        return document(Path(arguments[1]), Path(arguments[2]))
    if len(arguments) >= 3 and not arguments[0].startswith("--"):
        return report(*(Path(argument) for argument in arguments[:3]), arguments[3:])
    print(__doc__, file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
