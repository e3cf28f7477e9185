"""Writes PNG pictures, for the scripts that make the examples."""
import struct
import zlib


def write_png(path, rows):
    """`rows` from the top: lists of numbers 0 to 255 for grey, of triples for colours."""
    colored = not isinstance(rows[0][0], (int, float))
    size = 3 if colored else 1
    packed = [bytes(c for pixel in row for c in pixel) if colored else bytes(row) for row in rows]
    data, above = bytearray(), bytes(len(packed[0]))
    for row in packed:
        left = bytes(size) + row[:-size]
        candidates = [row, bytes((a - b) & 255 for a, b in zip(row, left)), bytes((a - b) & 255 for a, b in zip(row, above)),
                      bytes((a - (b + c) // 2) & 255 for a, b, c in zip(row, left, above))]
        best = min(range(4), key=lambda k: sum(min(c, 256 - c) for c in candidates[k]))
        data += bytes([best]) + candidates[best]
        above = row

    def chunk(kind, content):
        return struct.pack(">I", len(content)) + kind + content + struct.pack(">I", zlib.crc32(kind + content))

    header = struct.pack(">IIBBBBB", len(rows[0]), len(rows), 8, 2 if colored else 0, 0, 0, 0)
    with open(path, "wb") as out:
        out.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(bytes(data), 9)) + chunk(b"IEND", b""))
