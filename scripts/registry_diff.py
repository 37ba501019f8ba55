#!/usr/bin/env python3
"""Prints what differs between two registry exports, for a person to read: registry_diff.py BEFORE AFTER

The exports are text of `registry-export`. Keys come in alphabetical order, each with its added (+), removed (-) and
changed (~) values. Coloured on a terminal unless NO_COLOR is set.
"""
import os
import sys

COLOURS = {"+": "\033[32m", "-": "\033[31m", "~": "\033[33m"}


def parse(path):
    """Gives {lower-case key: (key, {lower-case value name: (name, data, [mark])})}: letter case is no difference."""
    keys, values = {}, {}
    with open(path, encoding="utf-8") as file:
        for line in file.read().split("\n")[:-1]:
            if line.startswith("["):
                values = keys.setdefault(line[1:-1].lower(), (line[1:-1], {}))[1]
            else:
                name, data, *mark = line.split("\t")
                values[name.lower()] = ("(default)" if name == '""' else name, data, mark)
    return keys


def differences(before, after):
    """Yields (sign, key, lines), each line a (sign, text)."""
    for key in sorted(before.keys() | after.keys()):
        old_name, old = before.get(key, (None, {}))
        new_name, new = after.get(key, (None, {}))
        lines = []
        for value in sorted(old.keys() | new.keys()):
            was, now = old.get(value), new.get(value)
            if was is None:
                lines.append(("+", f"{now[0]} = {now[1]}"))
            elif now is None:
                lines.append(("-", f"{was[0]} = {was[1]}"))
            elif was[1] != now[1]:
                lines.append(("~", f"{now[0]} = {was[1]} → {now[1]}"))
            elif was[2] != now[2]:
                lines.append(("~", f"{now[0]} = {now[1]} (rewritten {'without' if now[2] else 'with'} terminator)"))
        sign = "+" if old_name is None else "-" if new_name is None else "~"
        # A key that came or went together with one below it goes without saying.
        if lines or sign != "~" and not any(
                other.startswith(key + "\\") for other in (before if new_name is None else after)):
            yield sign, new_name or old_name, lines


def main(before, after):
    colour = sys.stdout.isatty() and not os.environ.get("NO_COLOR")
    sys.stdout.reconfigure(encoding="utf-8")

    def paint(sign, text):
        print(f"{COLOURS[sign]}{text}\033[0m" if colour else text)

    label = {"+": "  (new key)", "-": "  (key removed)", "~": ""}
    count = 0
    for sign, key, lines in differences(parse(before), parse(after)):
        count += 1
        paint(sign, f"{sign} {key}{label[sign]}")
        for value_sign, text in lines:
            paint(value_sign, f"    {value_sign} {text}")
    if not count:
        print("Nothing changed in the registry.")


if __name__ == "__main__":
    main(*sys.argv[1:])
