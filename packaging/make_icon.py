#!/usr/bin/env python3
"""Draws packaging/tarn.ico: a white pawn before a mountain lake. Run it after a change of the drawing; the program is
built from the .ico file as it stands."""
import pathlib
import struct
import zlib

SIZES = (16, 32, 48, 256)
SAMPLES = 4  # in each direction, for every pixel

NIGHT, SLOPE, LAKE, RIPPLE, PAWN, EDGE = (
    (38, 54, 84), (86, 106, 134), (47, 128, 150), (120, 186, 198), (246, 243, 232), (24, 32, 50))


def in_tile(x, y, radius=0.18):
    """The square with round corners."""
    dx, dy = max(abs(x - 0.5) - (0.5 - radius), 0), max(abs(y - 0.5) - (0.5 - radius), 0)
    return dx * dx + dy * dy <= radius * radius


def in_disc(x, y, centre_y, radius):
    return (x - 0.5) ** 2 + (y - centre_y) ** 2 <= radius * radius


def in_bar(x, y, top, bottom, half_top, half_bottom):
    """A figure between two heights, as wide as a line from one half width to the other."""
    if not top <= y <= bottom:
        return False
    return abs(x - 0.5) <= half_top + (half_bottom - half_top) * ((y - top) / (bottom - top)) ** 2


def in_pawn(x, y, more=0.0):
    return (in_disc(x, y, 0.30, 0.145 + more) or in_bar(x, y, 0.42 - more, 0.48 + more, 0.17 + more, 0.17 + more)
            or in_bar(x, y, 0.46, 0.76, 0.075 + more, 0.19 + more)
            or in_bar(x, y, 0.75 - more, 0.85 + more, 0.26 + more, 0.26 + more))


def colour_at(x, y):
    """The colour of a point of the unit square, y downwards; None outside the tile."""
    if not in_tile(x, y):
        return None
    if in_pawn(x, y):
        return PAWN
    if in_pawn(x, y, 0.035):
        return EDGE
    if y > 0.62:
        return RIPPLE if 0.70 < y < 0.725 or 0.90 < y < 0.925 else LAKE
    ridge = min(0.22 + 0.9 * abs(x - 0.24), 0.30 + 0.8 * abs(x - 0.80))
    return SLOPE if y > ridge else NIGHT


def draw(size):
    """Rows of (red, green, blue, alpha), from the top."""
    rows = []
    for row in range(size):
        pixels = []
        for column in range(size):
            found = []
            for i in range(SAMPLES * SAMPLES):
                x = (column + (i % SAMPLES + 0.5) / SAMPLES) / size
                y = (row + (i // SAMPLES + 0.5) / SAMPLES) / size
                colour = colour_at(x, y)
                if colour:
                    found.append(colour)
            mean = [sum(c[k] for c in found) // len(found) for k in range(3)] if found else [0, 0, 0]
            pixels.append((*mean, 255 * len(found) // (SAMPLES * SAMPLES)))
        rows.append(pixels)
    return rows


def bitmap(rows):
    """A bitmap without file header, 32 bits a pixel, rows from the bottom; its mask is empty, as alpha tells."""
    size = len(rows)
    header = struct.pack("<IiiHHIIiiII", 40, size, 2 * size, 1, 32, 0, 0, 0, 0, 0, 0)
    pixels = b"".join(bytes((b, g, r, a)) for row in reversed(rows) for r, g, b, a in row)
    return header + pixels + bytes((size + 31) // 32 * 4 * size)


def png(rows):
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    size = len(rows)
    lines = b"".join(b"\0" + bytes(value for pixel in row for value in pixel) for row in rows)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", size, size, 8, 6, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(lines, 9)) + chunk(b"IEND", b""))


def main():
    images = [png(draw(size)) if size == 256 else bitmap(draw(size)) for size in SIZES]
    directory = struct.pack("<HHH", 0, 1, len(SIZES))
    offset = len(directory) + 16 * len(SIZES)
    for size, image in zip(SIZES, images):
        side = size % 256  # 0 stands for 256
        directory += struct.pack("<BBBBHHII", side, side, 0, 0, 1, 32, len(image), offset)
        offset += len(image)
    pathlib.Path(__file__).with_name("tarn.ico").write_bytes(directory + b"".join(images))


if __name__ == "__main__":
    main()
