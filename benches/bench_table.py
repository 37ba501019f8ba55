"""The rows of ./bench and how they are shown."""
import dataclasses

import wine

RELEASE = wine.BUILD / "release"


@dataclasses.dataclass
class Row:
    """What stands beside what. A ratio above 1 means slower, larger or more than what it stands beside; without an aim
    it is only told."""
    row: str
    beside: str
    ratio: float
    aim: float | None
    remark: str = ""

    @property
    def met(self):
        return "" if self.aim is None else "met" if self.ratio <= self.aim else "missed"

    def cells(self):
        aim = "" if self.aim is None else f"{self.aim:.2f}"
        return [self.row, self.beside, f"{self.ratio:.2f}", aim, self.met, self.remark]


def show(rows):
    cells = [["row", "beside", "ratio", "aim", "met", "remark"]] + [row.cells() for row in rows]
    widths = [max(len(row[i]) for row in cells) for i in range(len(cells[0]))]
    for row in cells:
        print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())
