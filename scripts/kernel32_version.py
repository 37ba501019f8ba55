#!/usr/bin/env python3
"""Prints a module's file version, or writes a copy that has another one in every version resource.

kernel32_version.py MODULE                    prints major.minor.build
kernel32_version.py MODULE VERSION COPY       writes COPY with the file and product version VERSION
"""
import struct
import sys

SIGNATURE = struct.pack("<II", 0xFEEF04BD, 0x00010000)  # starts every VS_FIXEDFILEINFO


def main(module, version=None, copy=None):
    with open(module, "rb") as file:
        data = bytearray(file.read())
    at = data.find(SIGNATURE)
    if at < 0:
        sys.exit(f"{module} has no version resource")
    if version is None:
        high, low = struct.unpack_from("<II", data, at + 8)
        print(f"{high >> 16}.{high & 0xFFFF}.{low >> 16}")
        return
    major, minor, build = map(int, version.split("."))
    numbers = (major << 16 | minor, build << 16)
    while at >= 0:  # one resource for each language
        struct.pack_into("<4I", data, at + 8, *numbers, *numbers)
        at = data.find(SIGNATURE, at + len(SIGNATURE))
    with open(copy, "wb") as file:
        file.write(data)


if __name__ == "__main__":
    main(*sys.argv[1:])
