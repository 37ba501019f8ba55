"""The table of ./bench: its rows, and the order in which they are measured."""
import argparse
import dataclasses
import json
import math
import os
import pathlib
import subprocess
import sys

import wine

LIMIT = 300  # seconds for a program of the library's rows
RELEASE = wine.BUILD / "release"
PROCESSOR = max(os.sched_getaffinity(0))


@dataclasses.dataclass
class Row:
    """What stands beside what. A ratio above 1 means slower or larger than what it stands beside; the aim is met when
    the ratio is at most the aim, to the two digits that are shown."""
    row: str
    beside: str
    ratio: float
    aim: float | None
    remark: str = ""

    @property
    def met(self):
        return "" if self.aim is None else "met" if round(self.ratio, 2) <= round(self.aim, 2) else "missed"

    def cells(self):
        aim = "" if self.aim is None else f"{self.aim:.2f}"
        return [self.row, self.beside, f"{self.ratio:.2f}", aim, self.met, self.remark]


def build():
    """Builds what is measured and gives the programs of the library's rows."""
    print("Building …", flush=True)
    targets = "TarvoLayout", "TarvoReport", "TarvoPY", "TarvoTSF", "registry_dump", "bench_programs"
    subprocess.run(["cmake", "--preset", "release", "--log-level=WARNING"], stdout=subprocess.DEVNULL, check=True)
    subprocess.run(["cmake", "--build", "--preset", "release", "--target", *targets, "--", "--quiet"], check=True)
    return sorted(RELEASE.glob("benches/*_bench.exe"))


def library_rows(programs, wanted):
    """The rows that the programs themselves print."""
    for program in programs:
        name = program.stem.removesuffix("_bench")
        if not wanted(name):
            continue
        with wine.Session(wine.BUILD / "bench/library") as session:
            done = session.run(program, limit=LIMIT)
        lines = [line.split("\t") for line in done.stdout.splitlines() if line.count("\t") == 4]
        for row, beside, ratio, aim, remark in lines:
            yield Row(row, beside, float(ratio), 1.0 if aim == "faster" else float(aim), remark)
        if done.returncode or not lines:
            yield Row(name, "its program", math.inf, 1.0, f"ended with {done.returncode}: {done.stdout[-200:]!r}")


def show(rows):
    cells = [["row", "beside", "ratio", "aim", "met", "remark"]] + [row.cells() for row in rows]
    widths = [max(len(row[i]) for row in cells) for i in range(len(cells[0]))]
    for row in cells:
        print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())


def main(description):
    parser = argparse.ArgumentParser(description=description, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--json", type=pathlib.Path, metavar="FILE")
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--only", action="append", default=[], metavar="TEXT")
    arguments = parser.parse_args()

    def wanted(row):
        return not arguments.only or any(text in row for text in arguments.only)
    import action_rows
    import call_rows
    programs = build()
    os.sched_setaffinity(0, {PROCESSOR})  # Wine's programs wait for its server: two processors make medians of two kinds
    rows = []
    rounds = 5 if arguments.quick else 15
    for more in (action_rows.rows(rounds, wanted), call_rows.rows(wanted), action_rows.size_rows(rounds, wanted),
                 library_rows(programs, wanted)):
        for row in more:
            print(f"Measured: {row.row}, beside {row.beside}", file=sys.stderr, flush=True)
            rows.append(row)
    show(rows)
    if arguments.json:
        arguments.json.write_text(json.dumps([{**dataclasses.asdict(row), "met": row.met} for row in rows],
                                             ensure_ascii=False, indent=1) + "\n", "utf-8")
    return 0
