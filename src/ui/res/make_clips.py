#!/usr/bin/env python3
"""Draws the dialog's two clips: a page flies from a globe into a folder.

usage: make_clips.py folder

Writes clip101.avi (few flat colours, for screens of 8 or fewer bits per pixel) and clip102.avi (shaded) as AVI files of
run-length-encoded frames (RLE8), and clip_data.cpp, which carries both. The size of each file is fixed; a JUNK chunk
takes up the rest.
"""

import math
import pathlib
import struct
import sys

WIDTH, HEIGHT, RATE = 272, 60, 15
GLOBE = (40.0, 31.0, 23.0)  # centre and radius
FOLDER = (204.0, 16.0, 248.0, 53.0)
START, END, ARC = (56.0, 30.0), (226.0, 19.0), 9.0
PAGE = (10.0, 13.0)  # half width, half height, where it is shaded
FLAT_PAGE = (6.0, 7.8)


def mix(a, b, t):
    return tuple(x + (y - x) * t for x, y in zip(a, b))


# --- the scene: a colour, or None, for a point; the top-most shape that has one wins -------------------------------

LAND = ((-0.52, -0.42, 0.44, 0.30), (-0.30, 0.28, 0.22, 0.42), (0.42, -0.34, 0.42, 0.26), (0.46, 0.20, 0.26, 0.36),
        (0.02, -0.86, 0.40, 0.13), (-0.05, 0.93, 0.45, 0.12))


def sky(x, y, shaded):
    if not shaded:
        return (255, 255, 255)
    return mix((226, 240, 253), (188, 214, 242), round(y / HEIGHT * 20) / 20)


def globe(x, y, shaded):
    cx, cy, radius = GLOBE
    u, v = (x - cx) / radius, (y - cy) / radius
    d = math.hypot(u, v)
    if d > 1:
        return None
    is_land = any(((u - a) / ra) ** 2 + ((v - b) / rb) ** 2 < 1 for a, b, ra, rb in LAND)
    if not shaded:
        if d > 0.93:
            return (0, 0, 128)
        return (0, 160, 80) if is_land else (64, 140, 255)
    base = (96, 176, 84) if is_land else (44, 122, 212)
    light = 0.62 + 0.55 * max(0.0, -0.45 * u - 0.55 * v + 0.7 * math.sqrt(max(0.0, 1 - d * d)))
    colour = tuple(min(255.0, c * light) for c in base)
    glint = max(0.0, 1 - math.hypot(u + 0.38, v + 0.45) / 0.42)
    return mix(mix(colour, (255, 255, 255), 0.55 * glint * glint), (18, 52, 112), max(0.0, d - 0.86) * 3)


def in_rounded(x, y, left, top, right, bottom, r):
    dx = max(left + r - x, x - right + r, 0.0)
    dy = max(top + r - y, y - bottom + r, 0.0)
    return left <= x <= right and top <= y <= bottom and dx * dx + dy * dy <= r * r


def folder_back(x, y, shaded):
    left, top, right, bottom = FOLDER
    inside = in_rounded(x, y, left, top + 5, right, bottom, 3) or in_rounded(x, y, left, top, left + 18, top + 12, 3)
    if not inside:
        return None
    return mix((214, 158, 52), (190, 132, 34), (y - top) / (bottom - top)) if shaded else (192, 128, 0)


def folder_front(x, y, shaded):
    left, top, right, bottom = FOLDER
    lean = (bottom - y) * 0.14
    if not in_rounded(x - lean, y, left - 0.5, top + 12, right, bottom + 0.5, 3):
        return None
    if not shaded:
        return (255, 208, 64)
    if y < top + 13.2:
        return (255, 238, 176)
    return mix((255, 218, 112), (236, 176, 58), (y - top - 12) / (bottom - top - 12))


class FlyingPage:
    """The page at time t from 0 to 1: it comes out of the globe, flies an arc and sinks into the folder."""

    def __init__(self, t, size):
        self.size = size
        flight = min(1.0, t / 0.80)
        eased = flight * flight * (3 - 2 * flight)
        self.x = START[0] + (END[0] - START[0]) * eased
        self.y = START[1] + (END[1] - START[1]) * eased - ARC * 4 * eased * (1 - eased)
        self.y += 30 * max(0.0, t - 0.80) / 0.20
        self.scale = min(1.0, 0.06 + eased * 7)
        self.tilt = 0.30 * math.sin(2 * math.pi * eased)
        self.visible = 0.0 < t < 0.995
        self.cos, self.sin = math.cos(self.tilt), math.sin(self.tilt)

    def box(self):
        reach = math.hypot(*self.size) * self.scale + 3
        return (max(0, int(self.x - reach)), max(0, int(self.y - reach)),
                min(WIDTH, int(self.x + reach) + 2), min(HEIGHT, int(self.y + reach) + 2))

    def colour(self, x, y, shaded):
        if y > FOLDER[3] - 3:
            return None
        u = ((x - self.x) * self.cos + (y - self.y) * self.sin) / self.scale
        v = (-(x - self.x) * self.sin + (y - self.y) * self.cos) / self.scale
        w, h = self.size
        if abs(u) > w or abs(v) > h or u - v - w - h > -5:
            return None
        edge = 1.0 if shaded else 1.2
        if abs(u) > w - edge or abs(v) > h - edge or u - v - w - h > -5 - 1.4 * edge:
            return (96, 122, 160) if shaded else (0, 0, 128)
        if u - v - w - h > -10 and u > w - 6 and v < -h + 6:
            return (206, 218, 234) if shaded else (192, 192, 192)
        on_line = abs(u) < w - 3 and v > -h + 5.5 and v < h - 2 and (v + h) % 4 < 1.3
        if on_line:
            return (120, 156, 206) if shaded else (64, 140, 255)
        return mix((255, 255, 255), (236, 242, 250), (v + h) / (2 * h)) if shaded else (255, 255, 255)


def sample(x, y, pages, shaded):
    for shape in (folder_front, *(page.colour for page in pages), folder_back, globe, sky):
        colour = shape(x, y, shaded)
        if colour is not None:
            return colour
    raise AssertionError("the sky is everywhere")


def pixel(x, y, pages, shaded):
    if not shaded:
        return sample(x + 0.5, y + 0.5, pages, False)
    points = [sample(x + (i + 0.5) / 3, y + (j + 0.5) / 3, pages, True) for j in range(3) for i in range(3)]
    return tuple(sum(p[c] for p in points) / 9 for c in range(3))


def render(frame_count, shaded):
    """The frames as lists of colours, rows from the top."""
    still = [pixel(x, y, (), shaded) for y in range(HEIGHT) for x in range(WIDTH)]
    frames = []
    for number in range(frame_count):
        frame, time = list(still), number / frame_count
        if shaded:  # one page is half-way when the other leaves
            pages = [FlyingPage(time, PAGE), FlyingPage((time + 0.5) % 1, PAGE)]
        else:
            pages = [FlyingPage(time, FLAT_PAGE)]
        pages = [page for page in pages if page.visible]
        for left, top, right, bottom in (page.box() for page in pages):
            for y in range(top, bottom):
                for x in range(left, right):
                    frame[y * WIDTH + x] = pixel(x, y, pages, shaded)
        frames.append([tuple(int(round(c)) for c in colour) for colour in frame])
    return frames


# --- the file ----------------------------------------------------------------------------------------------------

def median_cut(frames, count):
    """At most `count` colours that serve all frames."""
    boxes = [sorted({colour for frame in frames for colour in frame})]
    while len(boxes) < count:
        spread = [(max(max(c[i] for c in box) - min(c[i] for c in box) for i in range(3)), n)
                  for n, box in enumerate(boxes)]
        widest, n = max(spread)
        if widest == 0:
            break
        box = boxes.pop(n)
        axis = max(range(3), key=lambda i: max(c[i] for c in box) - min(c[i] for c in box))
        box.sort(key=lambda c: (c[axis], c))
        boxes += [box[: len(box) // 2], box[len(box) // 2 :]]
    return [tuple(round(sum(c[i] for c in box) / len(box)) for i in range(3)) for box in boxes]


def to_indices(frames, palette):
    nearest = {}

    def index(colour):
        if colour not in nearest:
            nearest[colour] = min(range(len(palette)), key=lambda n: sum((a - b) ** 2 for a, b in zip(colour, palette[n])))
        return nearest[colour]

    return [[index(colour) for colour in frame] for frame in frames]


def starts_run(pixels, at):
    return at + 3 <= len(pixels) and len(set(pixels[at : at + 3])) == 1


def encode_pixels(pixels):
    """Runs of one colour, and pieces of three or more pixels that hold no such run."""
    out, at = bytearray(), 0
    while at < len(pixels):
        run = 1
        while at + run < len(pixels) and run < 255 and pixels[at + run] == pixels[at]:
            run += 1
        if run >= 3:
            out += bytes((run, pixels[at]))
            at += run
            continue
        end = at
        while end < len(pixels) and end - at < 255 and not starts_run(pixels, end):
            end += 1
        piece = pixels[at:end]
        if len(piece) >= 3:
            out += bytes((0, len(piece))) + bytes(piece) + bytes(len(piece) % 2)
        else:
            for value in piece:
                out += bytes((1, value))
        at = end
    return bytes(out)


def encode_frame(frame, before):
    """One frame, of which only what differs from the one before is written."""
    out, skipped_rows = bytearray(), 0
    for row in range(HEIGHT - 1, -1, -1):
        new = frame[row * WIDTH : (row + 1) * WIDTH]
        old = before[row * WIDTH : (row + 1) * WIDTH] if before else [None] * WIDTH
        changed = [x for x in range(WIDTH) if new[x] != old[x]]
        if not changed:
            skipped_rows += 1
            continue
        x = 0
        pieces, first = [], changed[0]
        for a, b in zip(changed, changed[1:] + [None]):
            if b is None or b - a > 6:
                pieces.append((first, a + 1))
                first = b
        for start, end in pieces:
            while start - x > 255 or skipped_rows:
                right = min(255, start - x)
                out += bytes((0, 2, right, skipped_rows))
                x, skipped_rows = x + right, 0
            if start > x:
                out += bytes((0, 2, start - x, 0))
            out += encode_pixels(new[start:end])
            x = end
        out += b"\0\0"
    return bytes(out) + b"\0\1"


def chunk(tag, body):
    return tag + struct.pack("<I", len(body)) + body + bytes(len(body) % 2)


def avi(frames, palette, size):
    encoded = [encode_frame(frame, frames[n - 1] if n else None) for n, frame in enumerate(frames)]
    count, largest = len(encoded), max(map(len, encoded))
    main_header = struct.pack("<14I", round(1e6 / RATE), largest * RATE, 0, 0x10, count, 0, 1, largest, WIDTH, HEIGHT,
                              0, 0, 0, 0)
    stream_header = struct.pack("<4s4sIHHIIIIIIII4H", b"vids", b"RLE ", 0, 0, 0, 0, 1, RATE, 0, count, largest,
                                0xFFFFFFFF, 0, 0, 0, WIDTH, HEIGHT)
    bitmap = struct.pack("<IiiHHIIiiII", 40, WIDTH, HEIGHT, 1, 8, 1, WIDTH * HEIGHT, 0, 0, 256, 0)
    colours = b"".join(bytes((b, g, r, 0)) for r, g, b in palette).ljust(1024, b"\0")
    stream = chunk(b"LIST", b"strl" + chunk(b"strh", stream_header) + chunk(b"strf", bitmap + colours))
    header = chunk(b"LIST", b"hdrl" + chunk(b"avih", main_header) + stream)
    movie, index = b"movi", b""
    for number, data in enumerate(encoded):
        index += b"00dc" + struct.pack("<III", 0x10 if number == 0 else 0, len(movie), len(data))
        movie += chunk(b"00dc", data)
    body = chunk(b"LIST", movie) + chunk(b"idx1", index)
    rest = size - 12 - len(header) - len(body)
    if rest < 8:
        sys.exit(f"the clip is {8 - rest} bytes too large for its {size}")
    return b"RIFF" + struct.pack("<I", size - 8) + b"AVI " + header + chunk(b"JUNK", bytes(rest - 8)) + body


def cpp(clips):
    arrays = cases = ""
    for number, data in clips.items():
        rows = [", ".join(str(byte) for byte in data[i : i + 24]) for i in range(0, len(data), 24)]
        arrays += f"constexpr unsigned char kClip{number}[] = {{\n    " + ",\n    ".join(rows) + "};\n\n"
        cases += f"    if (number == {number}) return std::as_bytes(std::span(kClip{number}));\n"
    return ('#include "platform/linux/gtk/clip_data.h"\n\nnamespace tsasync::platform {\n\nnamespace {\n\n' + arrays +
            "}  // namespace\n\nstd::span<const std::byte> ClipData(std::int32_t number) {\n" + cases +
            "    return {};\n}\n\n}  // namespace tsasync::platform\n")


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    folder, clips = pathlib.Path(sys.argv[1]), {}
    for number, frame_count, shaded, size in ((101, 31, False, 10888), (102, 30, True, 40984)):
        frames = render(frame_count, shaded)
        palette = median_cut(frames, 256)
        clips[number] = avi(to_indices(frames, palette), palette, size)
        (folder / f"clip{number}.avi").write_bytes(clips[number])
    (folder / "clip_data.cpp").write_text(cpp(clips), encoding="ascii")


if __name__ == "__main__":
    main()
