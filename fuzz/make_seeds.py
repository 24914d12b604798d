#!/usr/bin/env python3
"""Writes a starting corpus for both fuzz targets into the folder given (default: seeds/).

The PNGs cover every colour type and bit depth, interlacing, palettes with transparency, extra
chunks and a picture split over several data chunks; the guide folders cover every annotation kind,
optional keys, escaped slashes and a thumbnail. Everything stays a few hundred bytes, so the
fuzzer spends its time mutating rather than copying.
"""
import json
import os
import struct
import sys
import uuid
import zlib

SEPARATOR = b"--FILE--"


def chunk(kind, body):
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))


def png(width, height, colour, depth, interlaced=False, extra=(), split=1):
    channels = {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}[colour]
    bits = channels * depth

    def rows(w, h, x0, y0):
        out = b""
        for y in range(h):
            line = bytes(((x0 + x) * 37 + (y0 + y) * 11) & 0xFF for x in range((w * bits + 7) // 8))
            out += bytes([y % 5]) + line  # every filter type
        return out

    if interlaced:
        raw = b""
        for x0, dx, y0, dy in ((0, 8, 0, 8), (4, 8, 0, 8), (0, 4, 4, 8), (2, 4, 0, 4), (0, 2, 2, 4),
                               (1, 2, 0, 2), (0, 1, 1, 2)):
            w, h = (width - x0 + dx - 1) // dx, (height - y0 + dy - 1) // dy
            if w > 0 and h > 0:
                raw += rows(w, h, x0, y0)
    else:
        raw = rows(width, height, 0, 0)
    data = zlib.compress(raw, 9)
    out = b"\x89PNG\r\n\x1a\n"
    out += chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, depth, colour, 0, 0, int(interlaced)))
    for kind, body in extra:
        out += chunk(kind, body)
    step = max(1, (len(data) + split - 1) // split)
    for at in range(0, len(data), step):
        out += chunk(b"IDAT", data[at:at + step])
    return out + chunk(b"IEND", b"")


PALETTE = (b"PLTE", bytes(range(48)))
PNGS = {
    "rgb8": png(7, 5, 2, 8),
    "rgba8": png(6, 4, 6, 8),
    "rgb16-interlaced": png(9, 9, 2, 16, interlaced=True),
    "rgba16": png(3, 3, 6, 16),
    "grey1": png(17, 3, 0, 1),
    "grey2-interlaced": png(5, 11, 0, 2, interlaced=True),
    "grey16-trns": png(4, 4, 0, 16, extra=[(b"tRNS", b"\x00\x10")]),
    "grey-alpha8": png(5, 2, 4, 8),
    "palette4-trns": png(8, 8, 3, 4, extra=[PALETTE, (b"tRNS", b"\x00\x80")]),
    "palette8-split": png(12, 12, 3, 8, extra=[PALETTE], split=3),
    "rgb8-chunks": png(3, 2, 2, 8, extra=[(b"pHYs", struct.pack(">IIB", 5669, 5669, 1)),
                                          (b"tEXt", b"Comment\x00fuzz"),
                                          (b"gAMA", struct.pack(">I", 45455)),
                                          (b"zTXt", b"k\x00\x00" + zlib.compress(b"compressed text"))]),
}

ANNOTATIONS = [
    {"kind": 0, "p1": [1, 1], "p2": [6, 4], "text": "", "number": 0},
    {"kind": 1, "p1": [0.5, 0.5], "p2": [3, 3], "text": "", "number": 0},
    {"kind": 2, "p1": [2, 1], "p2": [5, 2.5], "text": "", "number": 0},
    {"kind": 3, "p1": [0, 0], "p2": [7, 5], "text": "", "number": 0},
    {"kind": 4, "p1": [1, 1], "p2": [1, 1], "text": "Hi\n“you”", "number": 0},
    {"kind": 5, "p1": [3, 2], "p2": [3, 2], "text": "", "number": 12},
    {"kind": 6, "p1": [3, 3], "p2": [3, 3], "text": "", "number": 0},
    {"kind": 7, "p1": [1, 1], "p2": [4, 3], "text": "", "number": 0},
]


def guide(pictures, annotations=(), extra=None, thumbnail=None, slashes=False):
    steps, files = [], []
    for i, picture in enumerate(pictures):
        ident = str(uuid.UUID(int=0x1234 + i)).upper() if i % 2 == 0 else str(uuid.UUID(int=0x99 + i))
        steps.append({"id": ident, "title": f"Step {i + 1}", "note": "a/b" if slashes else "",
                      "scale": [1, 2, 1.5][i % 3], "annotations": list(annotations)})
        files.append(picture)
    record = {"title": "Fuzz/guide" if slashes else "Guide", "steps": steps, **(extra or {})}
    text = json.dumps(record, separators=(",", ":"), ensure_ascii=False)
    if slashes:
        text = text.replace("/", "\\/")
    parts = [text.encode()] + files + ([thumbnail] if thumbnail else [])
    return SEPARATOR.join(parts)


def main():
    out = sys.argv[1] if len(sys.argv) > 1 else "seeds"
    for target in ("fuzz_png", "fuzz_guide_folder"):
        os.makedirs(os.path.join(out, target), exist_ok=True)
    for name, data in PNGS.items():
        with open(os.path.join(out, "fuzz_png", name + ".png"), "wb") as f:
            f.write(data)

    jpeg = b""
    thumb = os.path.join(out, "thumb.jpg")
    if os.system(f"convert -size 8x6 gradient:red-blue -quality 50 {thumb} 2>/dev/null") == 0:
        with open(thumb, "rb") as f:
            jpeg = f.read()
        os.remove(thumb)
    guides = {
        "empty": guide([]),
        "empty-thumbnail": guide([], thumbnail=jpeg or None),
        "one-step": guide([PNGS["rgb8"]]),
        "every-kind": guide([PNGS["rgb8"]], ANNOTATIONS),
        "three-steps": guide([PNGS["rgba8"], PNGS["palette4-trns"], PNGS["grey1"]], ANNOTATIONS[3:5],
                             thumbnail=jpeg or None),
        "working-copy": guide([PNGS["rgb8"], PNGS["rgb16-interlaced"]], ANNOTATIONS[:2],
                              extra={"sourcePath": "/home/me/Guide.trovix", "dirty": True}, slashes=True),
    }
    for name, data in guides.items():
        with open(os.path.join(out, "fuzz_guide_folder", name), "wb") as f:
            f.write(data)


if __name__ == "__main__":
    main()
