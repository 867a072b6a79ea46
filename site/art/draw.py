#!/usr/bin/env python3
"""Draws the site's pictures from the SVG files beside this script.

Usage: draw.py [NAME ...]      without names, all of them

Chromium renders each SVG on a transparent ground; the PNG that comes of it is
turned into a GIF (or, for the favicon, packed into an ICO) with nothing but
the standard library. Semi-transparent pixels are settled here, because a GIF
pixel is either there or not.
"""

import os
import re
import struct
import subprocess
import sys
import tempfile
import zlib

ART = os.path.dirname(os.path.abspath(__file__))
SITE = os.path.dirname(ART)
CHROMIUM = os.environ.get("CHROMIUM", "chromium")


def svg_size(svg):
    head = re.search(r"<svg[^>]*>", svg).group(0)
    return tuple(int(re.search(name + r'="(\d+)"', head).group(1)) for name in ("width", "height"))


def render(name, profile):
    """Returns (width, height, rows of RGBA tuples) of one SVG."""
    with open(os.path.join(ART, name + ".svg"), encoding="ascii") as source:
        svg = source.read()
    width, height = svg_size(svg)
    page = os.path.join(profile, name + ".html")
    shot = os.path.join(profile, name + ".png")
    with open(page, "w", encoding="ascii") as out:
        out.write("<!doctype html><style>html,body{margin:0;background:transparent}svg{display:block}</style>" + svg)
    # The window is larger than the picture, as a browser window has a least size.
    subprocess.run(
        [CHROMIUM, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync",
         "--user-data-dir=" + os.path.join(profile, "profile"), "--hide-scrollbars",
         "--disable-lcd-text", "--force-device-scale-factor=1", "--default-background-color=00000000",
         "--window-size=%d,%d" % (max(width, 600), max(height, 600)), "--screenshot=" + shot, "file://" + page],
        check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=120)
    rows = read_png(shot)
    return width, height, [row[:width] for row in rows[:height]]


def read_png(path):
    """Rows of RGBA tuples of an 8-bit, not interlaced RGB or RGBA PNG."""
    with open(path, "rb") as file:
        data = file.read()
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    at, packed = 8, b""
    while at < len(data):
        length, kind = struct.unpack(">I4s", data[at:at + 8])
        body = data[at + 8:at + 8 + length]
        if kind == b"IHDR":
            width, height, depth, colour, _, _, interlace = struct.unpack(">IIBBBBB", body)
            assert depth == 8 and colour in (2, 6) and interlace == 0
        elif kind == b"IDAT":
            packed += body
        at += 12 + length
    step = 4 if colour == 6 else 3
    raw, stride = zlib.decompress(packed), width * step
    above, rows = bytearray(stride), []
    for y in range(height):
        kind = raw[y * (stride + 1)]
        line = bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for i in range(stride):
            left = line[i - step] if i >= step else 0
            corner = above[i - step] if i >= step else 0
            if kind == 1:
                line[i] = (line[i] + left) & 255
            elif kind == 2:
                line[i] = (line[i] + above[i]) & 255
            elif kind == 3:
                line[i] = (line[i] + (left + above[i]) // 2) & 255
            elif kind == 4:
                guess = left + above[i] - corner
                near = min((abs(guess - left), 0, left), (abs(guess - above[i]), 1, above[i]),
                           (abs(guess - corner), 2, corner))
                line[i] = (line[i] + near[2]) & 255
        rows.append([tuple(line[i:i + 3]) + ((line[i + 3],) if step == 4 else (255,))
                     for i in range(0, stride, step)])
        above = line
    return rows


def settle(pixel):
    """None for a pixel that is left out, else its colour, laid on white where it is thin."""
    red, green, blue, alpha = pixel
    if alpha < 128:
        return None
    return tuple((value * alpha + 255 * (255 - alpha)) // 255 for value in (red, green, blue))


def palette_of(pixels):
    """At most 255 colours, coarsened evenly if there are more."""
    for bits in range(8):
        colours = {coarse(pixel, bits) for pixel in pixels if pixel is not None}
        if len(colours) <= 255:
            return sorted(colours), bits


def coarse(pixel, bits):
    # White and black stay what they are, so that a picture's ground does not turn grey.
    if pixel in ((255, 255, 255), (0, 0, 0)) or bits == 0:
        return pixel
    half = (1 << bits) >> 1
    return tuple(min(255, (value >> bits << bits) + half) for value in pixel)


def lzw(indexes, depth):
    clear, codes, width, size = 1 << depth, {}, depth + 1, 1 << depth
    acc = count = 0
    out = bytearray()

    def put(code):
        nonlocal acc, count
        acc |= code << count
        count += width
        while count >= 8:
            out.append(acc & 255)
            acc >>= 8
            count -= 8

    def reset():
        nonlocal codes, width, size
        codes, width, size = {(i,): i for i in range(clear)}, depth + 1, clear + 2

    reset()
    put(clear)
    run = ()
    for index in indexes:
        if run + (index,) in codes:
            run += (index,)
            continue
        put(codes[run])
        if size == 4096:
            put(clear)
            reset()
        else:
            codes[run + (index,)] = size
            if size == 1 << width:
                width += 1
            size += 1
        run = (index,)
    put(codes[run])
    put(clear + 1)
    if count:
        out.append(acc & 255)
    return bytes(out)


def gif(width, height, rows):
    pixels = [settle(pixel) for row in rows for pixel in row]
    colours, bits = palette_of(pixels)
    hole = len(colours) if None in pixels else None
    table = colours + ([(255, 255, 255)] if hole is not None else [])
    depth = max(2, (len(table) - 1).bit_length())
    table += [(0, 0, 0)] * ((1 << depth) - len(table))
    place = {colour: i for i, colour in enumerate(colours)}
    indexes = [hole if pixel is None else place[coarse(pixel, bits)] for pixel in pixels]
    packed = lzw(indexes, depth)
    out = b"GIF89a" + struct.pack("<HHBBB", width, height, 0x80 | (depth - 1) << 4 | depth - 1, 0, 0)
    out += b"".join(bytes(colour) for colour in table)
    if hole is not None:
        out += b"\x21\xf9\x04\x01\x00\x00" + bytes([hole]) + b"\x00"
    out += b"\x2c" + struct.pack("<HHHHB", 0, 0, width, height, 0) + bytes([depth])
    for at in range(0, len(packed), 255):
        block = packed[at:at + 255]
        out += bytes([len(block)]) + block
    return out + b"\x00\x3b"


def ico(width, height, rows):
    """One PNG image in an ICO, with its soft edges kept."""
    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))
    raw = b"".join(b"\0" + b"".join(bytes(pixel) for pixel in row) for row in rows)
    png = (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0))
           + chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b""))
    return (struct.pack("<HHH", 0, 1, 1)
            + struct.pack("<BBBBHHII", width, height, 0, 0, 1, 32, len(png), 22) + png)


def main():
    names = sys.argv[1:] or sorted(file[:-4] for file in os.listdir(ART) if file.endswith(".svg"))
    with tempfile.TemporaryDirectory() as profile:
        for name in names:
            picture = render(name, profile)
            if name == "favicon":
                path, data = os.path.join(SITE, "favicon.ico"), ico(*picture)
            else:
                path, data = os.path.join(SITE, "images", name + ".gif"), gif(*picture)
            with open(path, "wb") as out:
                out.write(data)
            print("%s: %dx%d, %d bytes" % (os.path.relpath(path, SITE), picture[0], picture[1], len(data)))


main()
