"""What the module's tests compare with: the command's pictures, read back
without any package beyond NumPy (a PNG and a BMP reader of our own)."""

import os
import struct
import subprocess
import zlib

import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
EXE = os.environ.get("TSNTXTR_EXE") or os.path.join(HERE, "..", "..", "build", "tsntxtr")


def run(*args, check=True):
    """Runs the command; its exit code, stdout (bytes) and stderr (text)."""
    done = subprocess.run([EXE, *args], capture_output=True)
    if check and done.returncode != 0:
        raise AssertionError(f"tsntxtr {' '.join(args)} failed: {done.stderr.decode()}")
    return done.returncode, done.stdout, done.stderr.decode()


def _paeth(a, b, c):
    p = a + b - c
    pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
    if pa <= pb and pa <= pc:
        return a
    return b if pb <= pc else c


def read_png(data):
    """An 8-bit RGB PNG (non-interlaced) as a (height, width, 3) uint8 array."""
    assert data[:8] == b"\x89PNG\r\n\x1a\n", "not a PNG"
    at, idat, header = 8, [], None
    while at < len(data):
        (length,) = struct.unpack(">I", data[at : at + 4])
        kind, body = data[at + 4 : at + 8], data[at + 8 : at + 8 + length]
        (crc,) = struct.unpack(">I", data[at + 8 + length : at + 12 + length])
        assert zlib.crc32(kind + body) == crc, f"damaged {kind!r} chunk"
        if kind == b"IHDR":
            header = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT":
            idat.append(body)
        elif kind == b"IEND":
            break
        at += 12 + length
    width, height, bits, colour, _, _, interlace = header
    assert (bits, colour, interlace) == (8, 2, 0), "only 8-bit RGB, not interlaced"
    raw = zlib.decompress(b"".join(idat))
    stride = width * 3
    assert len(raw) == height * (stride + 1)
    out = np.zeros((height, stride), dtype=np.uint8)
    above = np.zeros(stride, dtype=np.uint8)
    for y in range(height):
        kind = raw[y * (stride + 1)]
        row = np.frombuffer(raw, np.uint8, stride, y * (stride + 1) + 1)
        if kind == 0:
            line = row.copy()
        elif kind == 1:  # Sub: each byte plus the one a pixel to its left
            line = row.reshape(width, 3).cumsum(axis=0, dtype=np.uint64)
            line = (line % 256).astype(np.uint8).reshape(stride)
        elif kind == 2:  # Up
            line = row + above
        elif kind in (3, 4):  # Average, Paeth: one byte after another
            line = bytearray(row.tobytes())
            up = above.tolist()
            for i in range(stride):
                left = line[i - 3] if i >= 3 else 0
                if kind == 3:
                    guess = (left + up[i]) >> 1
                else:
                    guess = _paeth(left, up[i], up[i - 3] if i >= 3 else 0)
                line[i] = (line[i] + guess) & 255
            line = np.frombuffer(bytes(line), np.uint8)
        else:
            raise AssertionError(f"unknown filter {kind}")
        out[y] = line
        above = out[y]
    return out.reshape(height, width, 3)


def read_bmp(data):
    """A 24-bit bottom-up BMP as a (height, width, 3) RGB uint8 array."""
    assert data[:2] == b"BM", "not a BMP"
    (offset,) = struct.unpack("<I", data[10:14])
    width, height, _, bits = struct.unpack("<iiHH", data[18:30])
    assert bits == 24 and height > 0
    stride = (width * 3 + 3) // 4 * 4
    rows = np.frombuffer(data, np.uint8, stride * height, offset).reshape(height, stride)
    return rows[::-1, : width * 3].reshape(height, width, 3)[:, :, ::-1]


def command_picture(tmp_path, *args):
    """The picture `tsntxtr render ARGS -o FILE.png` writes."""
    path = os.path.join(tmp_path, "picture.png")
    run("render", *args, "-o", path)
    with open(path, "rb") as f:
        return read_png(f.read())
