#!/usr/bin/env python3
"""Draws the setup's pictures: artwork.py FOLDER

Writes tarvo.ico, a pagoda (塔, as the product is called) in three sizes, and welcome.bmp, the side of the setup's first
page. Icons stay uncompressed: XP reads no others.
"""
import pathlib
import struct
import sys

TILE, TOWER = (0xB0, 0x30, 0x28), (0xFF, 0xF4, 0xDC)
SIDE_TOP, SIDE_BOTTOM = (0x8C, 0x24, 0x20), (0xD8, 0x78, 0x48)
# Rectangles and roofs as (top, bottom, half width at the top, half width at the bottom), in a square of side 1.
PAGODA = ((0.10, 0.22, 0.015, 0.015), (0.20, 0.32, 0.04, 0.20), (0.32, 0.41, 0.11, 0.11), (0.41, 0.52, 0.14, 0.26),
          (0.52, 0.61, 0.15, 0.15), (0.61, 0.72, 0.19, 0.33), (0.72, 0.84, 0.20, 0.20), (0.84, 0.89, 0.35, 0.35))
SAMPLES = 4  # a row and a column for each pixel


def in_pagoda(x, y):
    return any(top <= y < bottom and abs(x - 0.5) <= wide + (wider - wide) * (y - top) / (bottom - top)
               for top, bottom, wide, wider in PAGODA)


def in_tile(x, y, corner=0.18):
    dx, dy = max(corner - min(x, 1 - x), 0), max(corner - min(y, 1 - y), 0)
    return dx * dx + dy * dy <= corner * corner


def coverage(inside, column, row, side):
    """The part of a pixel of a square of so many pixels that lies inside."""
    hits = sum(inside((column + (i + 0.5) / SAMPLES) / side, (row + (j + 0.5) / SAMPLES) / side)
               for i in range(SAMPLES) for j in range(SAMPLES))
    return hits / SAMPLES ** 2


def mix(one, other, part):
    return tuple(round(a + (b - a) * part) for a, b in zip(one, other))


def icon_image(side):
    """One image of an icon file: header, pixels from the bottom up and an empty mask."""
    pixels = bytearray()
    for row in reversed(range(side)):
        for column in range(side):
            red, green, blue = mix(TILE, TOWER, coverage(in_pagoda, column, row, side))
            pixels += bytes((blue, green, red, round(255 * coverage(in_tile, column, row, side))))
    mask = bytes((side + 31) // 32 * 4 * side)
    header = struct.pack("<IiiHHIIiiII", 40, side, 2 * side, 1, 32, 0, len(pixels) + len(mask), 0, 0, 0, 0)
    return header + pixels + mask


def icon(sides):
    images = [icon_image(side) for side in sides]
    at = 6 + 16 * len(images)
    directory = struct.pack("<HHH", 0, 1, len(images))
    for side, image in zip(sides, images):
        directory += struct.pack("<BBBBHHII", side, side, 0, 0, 1, 32, len(image), at)
        at += len(image)
    return directory + b"".join(images)


def side_picture(width=164, height=314, tower=120):
    left, top = (width - tower) // 2, height - tower - 40
    pixels = bytearray()
    for row in reversed(range(height)):
        for column in range(width):
            colour = mix(SIDE_TOP, SIDE_BOTTOM, row / (height - 1))
            if left <= column < left + tower and top <= row < top + tower:
                colour = mix(colour, TOWER, coverage(in_pagoda, column - left, row - top, tower))
            pixels += bytes(reversed(colour))
        pixels += bytes(-3 * width % 4)
    header = struct.pack("<IiiHHIIiiII", 40, width, height, 1, 24, 0, len(pixels), 0, 0, 0, 0)
    return struct.pack("<2sIHHI", b"BM", 54 + len(pixels), 0, 0, 54) + header + pixels


def main(folder):
    folder = pathlib.Path(folder)
    (folder / "tarvo.ico").write_bytes(icon((16, 32, 48)))
    (folder / "welcome.bmp").write_bytes(side_picture())


if __name__ == "__main__":
    main(*sys.argv[1:])
