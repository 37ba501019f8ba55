#!/usr/bin/env python3
"""Makes the table of what each action changes in the registry, for README, out of what the end-to-end runs print.

    changes_table.py [--check]     writes the table between its marks in README.md, or says whether it stands there
"""
import pathlib
import re
import sys

TOP = pathlib.Path(__file__).resolve().parent.parent
SEQUENCES = {"XP x64": "xp", "Vista, 7": "classic", "8, 8.1, 10, 11": "text_service"}
BEGIN, END = "<!-- changes: scripts/changes_table.py -->\n", "<!-- end of changes -->\n"
SHORTER = (("HKEY_LOCAL_MACHINE", "HKLM"), ("HKEY_CURRENT_USER", "HKCU"), ("HKEY_USERS", "HKU"),
           (r"System\CurrentControlSet\Control", r"…\Control"), (r"(\{\w{8})-[-\w]+\}", r"\1-…}"), (r"\s+\(.*?\)$", ""))


def shorter(text):
    for long, short in SHORTER:
        text = re.sub(long if "(" in long else re.escape(long), short if "(" in long else short.replace("\\", "\\\\"), text)
    return text


def runs(transcript):
    """Yields (option, [(key with its sign, its values)]) of each run of a sequence."""
    for run in re.split(r"(?m)^TarvoLayout\.exe ", transcript)[1:]:
        head, *lines = run.splitlines()
        keys = []
        for line in lines:
            if re.match(r"[-+~] HKEY", line):
                keys.append((line[:2] + shorter(line[2:]), []))
            elif line.startswith("    "):
                keys[-1][1].append(shorter(line.strip()))
            elif line.startswith("The registry is") or line.startswith("Nothing changed"):
                keys.append(("nothing" if "Nothing" in line else line[:-1].lower(), []))
        yield head.partition(":")[0], keys


def table():
    rows = ["| action | Windows | key | values |", "|---|---|---|---|"]
    for windows, sequence in SEQUENCES.items():
        transcript = (TOP / f"tests/end_to_end_sequences/{sequence}.expected").read_text("utf-8")
        seen = set()
        for option, keys in runs(transcript):
            first = (f"`{option}`" + (" again" if option in seen else ""), windows)
            seen.add(option)
            for key, values in keys:
                key, values = (f"`{key}`" if key[0] in "-+~" else key), f"`{'  '.join(values)}`" if values else ""
                rows.append(f"| {first[0]} | {first[1]} | {key} | {values} |")
                first = ("", "")
    return "\n".join(rows) + "\n"


def main(check):
    readme = TOP / "README.md"
    before, _, rest = readme.read_text("utf-8").partition(BEGIN)
    old, _, after = rest.partition(END)
    if not after:
        sys.exit("README.md lacks the marks of the table")
    if check:
        return "" if old == table() else "README.md has another table; scripts/changes_table.py writes it"
    readme.write_text(before + BEGIN + table() + END + after, "utf-8")
    return ""


if __name__ == "__main__":
    sys.exit(main("--check" in sys.argv))
