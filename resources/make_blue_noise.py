#!/usr/bin/env python3
"""Writes zirconlite/sampling/blue_noise.cpp: a 64 by 64 void-and-cluster mask.

Ulichney, "The void-and-cluster method for dither array generation" (1993); the tile wraps round.
"""
import math
import random
import sys

SIDE = 64
CELLS = SIDE * SIDE
SIGMA = 1.9


def energy_of_offsets():
    table = []
    for dy in range(SIDE):
        for dx in range(SIDE):
            x, y = min(dx, SIDE - dx), min(dy, SIDE - dy)
            table.append(math.exp(-(x * x + y * y) / (2 * SIGMA * SIGMA)))
    return table


OFFSETS = energy_of_offsets()


def add(energy, cell, sign):
    cy, cx = divmod(cell, SIDE)
    i = 0
    for y in range(SIDE):
        row = ((y - cy) % SIDE) * SIDE
        shifted = OFFSETS[row:row + SIDE]
        shifted = shifted[-cx:] + shifted[:-cx] if cx else shifted
        for x in range(SIDE):
            energy[i] += sign * shifted[x]
            i += 1


def extreme(energy, taken, wanted, pick):
    return pick((energy[c], -c if pick is max else c) for c in range(CELLS) if taken[c] == wanted)


def tightest(energy, taken):
    return -extreme(energy, taken, True, max)[1]


def widest(energy, taken):
    return extreme(energy, taken, False, min)[1]


def make_mask():
    random.seed(1)
    taken, energy = [False] * CELLS, [0.0] * CELLS
    start = random.sample(range(CELLS), CELLS // 10)
    for cell in start:
        taken[cell] = True
        add(energy, cell, 1)
    while True:
        cluster = tightest(energy, taken)
        taken[cluster] = False
        add(energy, cluster, -1)
        void = widest(energy, taken)
        taken[void] = True
        add(energy, void, 1)
        if void == cluster:
            break
    rank = [0] * CELLS
    first_taken, first_energy = taken[:], energy[:]
    for r in range(len(start) - 1, -1, -1):
        cluster = tightest(energy, taken)
        rank[cluster] = r
        taken[cluster] = False
        add(energy, cluster, -1)
    taken, energy = first_taken, first_energy
    for r in range(len(start), CELLS):
        void = widest(energy, taken)
        rank[void] = r
        taken[void] = True
        add(energy, void, 1)
    return rank


def main():
    rank = make_mask()
    lines = []
    for start in range(0, CELLS, 16):
        lines.append("    " + ", ".join(str(v) for v in rank[start:start + 16]) + ",")
    with open(sys.argv[1], "w", encoding="ascii") as out:
        out.write("// Made by resources/make_blue_noise.py.\n"
                  '#include "zirconlite/sampling/blue_noise.hpp"\n\nnamespace zr\n{\n\n'
                  "// clang-format off\nconst uint16_t blue_noise[blue_noise_side * blue_noise_side] = {\n")
        out.write("\n".join(lines))
        out.write("\n};\n// clang-format on\n\n} // namespace zr\n")


main()
