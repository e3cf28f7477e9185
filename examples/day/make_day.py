#!/usr/bin/env python3
"""Makes day.obj and day.mtl: a garden pavilion with a terrace, trees and lamps.

Everything is our own and comes from the numbers below, z up and in metres. Run in this folder.
"""
import math

vertices, faces, materials = [], [], []


def use(name):
    if name not in materials:
        materials.append(name)
    faces.append("usemtl " + name)


def face(points):
    first = len(vertices) + 1
    vertices.extend(points)
    faces.append("f " + " ".join(str(first + i) for i in range(len(points))))


def box(x0, y0, z0, x1, y1, z1):
    p = [(x, y, z) for z in (z0, z1) for y in (y0, y1) for x in (x0, x1)]
    for side in ((0, 2, 3, 1), (4, 5, 7, 6), (0, 1, 5, 4), (2, 6, 7, 3), (0, 4, 6, 2), (1, 3, 7, 5)):
        face([p[i] for i in side])


def turned(x, y, profile, sides):
    """A body of revolution about the vertical through (x, y); the profile is (radius, height) upwards."""
    ring = [(math.cos(2 * math.pi * i / sides), math.sin(2 * math.pi * i / sides)) for i in range(sides)]
    for (r0, z0), (r1, z1) in zip(profile, profile[1:]):
        for i in range(sides):
            (a, b), (c, d) = ring[i], ring[(i + 1) % sides]
            corners = [(x + r0 * a, y + r0 * b, z0), (x + r0 * c, y + r0 * d, z0),
                       (x + r1 * c, y + r1 * d, z1), (x + r1 * a, y + r1 * b, z1)]
            if r0 == 0:
                del corners[1]
            elif r1 == 0:
                del corners[3]
            face(corners)


def ball(x, y, z, radius, rows=12):
    profile = [(radius * math.sin(math.pi * i / rows), z - radius * math.cos(math.pi * i / rows))
               for i in range(rows + 1)]
    profile[0], profile[-1] = (0, z - radius), (0, z + radius)
    turned(x, y, profile, 2 * rows)


def leaves(x, y, z, radius, count, seed):
    """A crown of small leaves, each a quadrilateral of its own direction."""
    state = seed
    def draw():
        nonlocal state
        state = (state * 1103515245 + 12345) & 0x7FFFFFFF
        return state / 0x7FFFFFFF
    for _ in range(count):
        u, turn, r = 2 * draw() - 1, 2 * math.pi * draw(), radius * draw() ** 0.4
        s = math.sqrt(1 - u * u)
        cx, cy, cz = x + r * s * math.cos(turn), y + r * s * math.sin(turn), z + 0.9 * r * u
        a, b, size = 2 * math.pi * draw(), math.pi * draw(), 0.12 + 0.12 * draw()
        p = (math.cos(a) * size, math.sin(a) * size, 0)
        q = (-math.sin(a) * math.cos(b) * size, math.cos(a) * math.cos(b) * size, math.sin(b) * size)
        face([(cx + i * p[0] + j * q[0], cy + i * p[1] + j * q[1], cz + i * p[2] + j * q[2])
              for i, j in ((-1, -0.6), (0, -1), (1, -0.6), (1, 0.6), (0, 1), (-1, 0.6))])


use("stone")
box(-6.5, -5.2, 0.001, 6.5, 4, 0.15)
for i in range(4):
    box(-2.4 + 0.15 * i, -8.6 + 0.85 * i, 0.001, -1.2 + 0.15 * i, -7.9 + 0.85 * i, 0.05)
use("plaster")
box(-5, 3.2, 0.15, 5, 3.5, 3)          # back
box(-5, -1.5, 0.15, -4.7, 3.2, 3)      # left
box(4.7, -1.5, 0.15, 5, 3.2, 3)        # right
box(1.6, -1.5, 0.15, 4.7, -1.25, 3)    # front, beside the window
box(-5.9, -3.2, 3.0, 5.9, 4.2, 3.22)   # roof
use("wood")
for x in (-5.6, -1.9, 1.8, 5.5):
    box(x, -3.0, 0.15, x + 0.14, -2.86, 3)
for x in (-4.7, -2.6, -0.5, 1.54):
    box(x, -1.5, 0.15, x + 0.06, -1.44, 3)
for i in range(9):                     # a fence to the left
    box(-11.5 + 0.55 * i, 1.0, 0, -11.1 + 0.55 * i, 1.05, 1.5)
box(1.4, -4.4, 0.86, 3.6, -3.5, 0.91)  # table
for x in (1.5, 3.42):
    for y in (-4.3, -3.68):
        box(x, y, 0.15, x + 0.08, y + 0.08, 0.86)
for y in (-5.0, -3.1):                 # benches
    box(1.5, y, 0.52, 3.5, y + 0.3, 0.57)
    for x in (1.6, 3.3):
        box(x, y + 0.03, 0.15, x + 0.08, y + 0.27, 0.52)
box(-4.2, 1.4, 0.15, -1.6, 2.6, 0.6)   # a chest inside
use("glass")
face([(-4.64, -1.47, 0.15), (1.54, -1.47, 0.15), (1.54, -1.47, 3), (-4.64, -1.47, 3)])
use("clay")
turned(4.7, -4.3, [(0, 0.15), (0.28, 0.15), (0.42, 0.75), (0.36, 0.78), (0.34, 0.7), (0, 0.68)], 24)
turned(2.5, -3.95, [(0, 0.91), (0.09, 0.91), (0.13, 0.98), (0.14, 1.05), (0, 1.03)], 24)
use("bark")
turned(-8.2, 5.5, [(0.22, 0), (0.16, 1.2), (0.1, 3.2), (0, 4)], 12)
turned(8.4, 4.5, [(0.2, 0), (0.15, 1.2), (0.08, 3.0), (0, 3.6)], 12)
turned(7.6, -4.6, [(0.08, 0), (0.05, 1.0), (0, 1.6)], 10)
use("leaves")
leaves(-8.2, 5.5, 4.2, 2.2, 3000, 11)
leaves(8.4, 4.5, 3.8, 1.9, 2400, 5)
leaves(7.6, -4.6, 1.6, 0.85, 900, 3)
leaves(4.7, -4.3, 1.15, 0.5, 420, 9)
use("steel")
for x, y in ((-6.0, -4.6), (-3.3, -6.6), (6.0, -4.9)):  # bollards
    turned(x, y, [(0.07, 0), (0.07, 0.7)], 16)
    turned(x, y, [(0, 0.86), (0.12, 0.86), (0.12, 0.9), (0, 0.9)], 16)
turned(-1.6, -2.2, [(0.012, 2.62), (0.012, 3.0)], 8)
use("lamp")
for x, y in ((-6.0, -4.6), (-3.3, -6.6), (6.0, -4.9)):
    turned(x, y, [(0, 0.7), (0.06, 0.7), (0.06, 0.86), (0, 0.86)], 16)
ball(-1.6, -2.2, 2.5, 0.13)

with open("day.obj", "w") as out:
    out.write("# made by make_day.py\nmtllib day.mtl\n")
    out.writelines("v %.5g %.5g %.5g\n" % v for v in vertices)
    out.write("\n".join(faces) + "\n")
with open("day.mtl", "w") as out:
    out.writelines("newmtl %s\nKd 0.5 0.5 0.5\n" % m for m in materials)
