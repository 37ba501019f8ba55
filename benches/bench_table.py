"""The table of ./bench: its rows, and the order in which they are measured."""
import argparse
import dataclasses
import json
import os
import pathlib
import subprocess

import wine

PROCESSOR = max(os.sched_getaffinity(0))


@dataclasses.dataclass
class Row:
    """What stands beside what. A ratio above 1 means slower or larger than what it stands beside; the aim is met when
    the ratio is at most the aim, to the two digits that are shown."""
    row: str
    beside: str
    ratio: float
    aim: float
    remark: str = ""

    def cells(self):
        met = "met" if round(self.ratio, 2) <= self.aim else "missed"
        return [self.row, self.beside, f"{self.ratio:.2f}", f"{self.aim:.2f}", met, self.remark]


def build():
    for preset in ("release",):
        subprocess.run(["cmake", "--preset", preset, "--log-level=WARNING"], stdout=subprocess.DEVNULL, check=True)
    targets = "TarvoLayout", "TarvoReport", "TarvoPY", "TarvoTSF", "registry_dump", "bench_programs"
    subprocess.run(["cmake", "--build", "--preset", "release", "--target", *targets, "--", "--quiet"], check=True)


def show(rows):
    cells = [["row", "beside", "ratio", "aim", "", "remark"]] + [row.cells() for row in rows]
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
    build()
    os.sched_setaffinity(0, {PROCESSOR})  # Wine's programs wait for its server: two processors make medians of two kinds
    rows = []
    rows += action_rows.rows(5 if arguments.quick else 15, wanted)
    show(rows)
    if arguments.json:
        arguments.json.write_text(json.dumps([dataclasses.asdict(row) for row in rows], ensure_ascii=False, indent=1))
    return 0
