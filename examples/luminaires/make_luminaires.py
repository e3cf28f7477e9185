#!/usr/bin/env python3
"""Makes the room, the photometric files and the light library of this example. Run it in its own folder, with the
program as argument: make_luminaires.py ../../build/release/bin/zirconlite"""
import math
import os
import subprocess
import sys


def direction(c, gamma):
    c, gamma = math.radians(c), math.radians(gamma)
    return math.sin(gamma) * math.cos(c), math.sin(gamma) * math.sin(c), -math.cos(gamma)


def angle_between(a, b):
    return math.degrees(math.acos(max(-1, min(1, sum(x * y for x, y in zip(a, b))))))


def washer(c, gamma):
    """Leans towards the wall, which is where C0 points, and is wide along it."""
    along = angle_between(direction(c, gamma), direction(0, 52))
    return math.exp(-((along / 34) ** 2)) * min(1, max(0, (86 - gamma) / 8))


def spot(c, gamma):
    return math.exp(-math.log(2) * (gamma / 12) ** 2) + 0.004 * max(0, 1 - gamma / 70)


def pendant(c, gamma):
    """A bell of light on the table, and a soft one on the ceiling."""
    down = math.exp(-((gamma / 38) ** 4))
    up = 0.22 * math.exp(-(((gamma - 140) / 28) ** 2))
    return down + up


def write_ies(name, label, law, horizontal, vertical, lumens, watts, opening):
    rows = [[law(c, g) for g in vertical] for c in horizontal]
    total, weights = 0, [1 / len(rows)] * len(rows)
    if len(rows) > 1:  # the first and the last row stand for half a step
        weights = [(0.5 if i in (0, len(rows) - 1) else 1) / (len(rows) - 1) for i in range(len(rows))]
    for weight, row in zip(weights, rows):
        mean = sum(0.5 * (row[i] + row[i + 1]) * (math.cos(math.radians(vertical[i]))
                   - math.cos(math.radians(vertical[i + 1]))) for i in range(len(vertical) - 1))
        total += 2 * math.pi * mean * weight
    scale = lumens / total
    with open(name, "w") as out:
        out.write("IESNA:LM-63-2002\n[TEST] made by make_luminaires.py\n[MANUFAC] none\n")
        out.write("[LUMINAIRE] %s\n[LUMCAT] %s\nTILT=NONE\n" % (label, os.path.splitext(name)[0]))
        out.write("1 %g 1 %d %d 1 2 %g %g %g\n1 1 %g\n" % ((lumens * 1.25, len(vertical), len(horizontal)) + opening
                  + (watts,)))
        for numbers in [vertical, horizontal] + [["%.1f" % (v * scale) for v in row] for row in rows]:
            out.write(" ".join(str(n) for n in numbers) + "\n")


def write_room(name):
    """A room of 8 by 6 by 3.2 m, open to the camera, with a table, a bench and a plinth with a bowl."""
    vertices, parts = [], []

    def quad(material, *corners):
        first = len(vertices)
        vertices.extend(corners)
        parts.append((material, [tuple(range(first, first + 4))]))

    def box(material, low, high):
        (x0, y0, z0), (x1, y1, z1) = low, high
        quad(material, (x0, y0, z1), (x1, y0, z1), (x1, y1, z1), (x0, y1, z1))
        quad(material, (x0, y0, z0), (x0, y1, z0), (x1, y1, z0), (x1, y0, z0))
        for (xa, ya), (xb, yb) in (((x0, y0), (x1, y0)), ((x1, y0), (x1, y1)), ((x1, y1), (x0, y1)),
                                   ((x0, y1), (x0, y0))):
            quad(material, (xa, ya, z0), (xb, yb, z0), (xb, yb, z1), (xa, ya, z1))

    def bowl(material, centre, radius, height):
        sides, rings = 48, 12
        first = len(vertices)
        for ring in range(rings + 1):
            t = ring / rings
            r = radius * (0.35 + 0.65 * math.sqrt(t))
            for side in range(sides):
                a = 2 * math.pi * side / sides
                vertices.append((centre[0] + r * math.cos(a), centre[1] + r * math.sin(a), centre[2] + height * t))
        faces = []
        for ring in range(rings):
            for side in range(sides):
                a, b = first + ring * sides + side, first + ring * sides + (side + 1) % sides
                faces.append((a, b, b + sides, a + sides))
        parts.append((material, faces))

    quad("floor", (-4, -6, 0), (4, -6, 0), (4, 3, 0), (-4, 3, 0))
    quad("ceiling", (-4, -6, 3.2), (-4, 3, 3.2), (4, 3, 3.2), (4, -6, 3.2))
    quad("wall", (-4, 3, 0), (4, 3, 0), (4, 3, 3.2), (-4, 3, 3.2))
    quad("wall", (-4, -6, 0), (-4, 3, 0), (-4, 3, 3.2), (-4, -6, 3.2))
    quad("wall", (4, -6, 0), (4, -6, 3.2), (4, 3, 3.2), (4, 3, 0))
    quad("wall", (-4, -6, 0), (-4, -6, 3.2), (4, -6, 3.2), (4, -6, 0))
    for x, tone in ((-2.4, "picture_blue"), (0, "picture_red"), (2.4, "picture_green")):
        box(tone, (x - 0.7, 2.95, 0.9), (x + 0.7, 2.995, 2.2))
    box("oak", (-1.1, -0.7, 0.70), (1.1, 0.3, 0.74))
    for x in (-1.0, 0.94):
        for y in (-0.6, 0.14):
            box("oak", (x, y, 0), (x + 0.06, y + 0.06, 0.70))
    box("plinth", (2.6, -0.4, 0), (3.2, 0.2, 0.95))
    bowl("bronze", (2.9, -0.1, 0.95), 0.24, 0.2)
    bowl("bronze", (0.3, -0.2, 0.74), 0.16, 0.1)
    with open(name, "w") as out:
        out.write("# made by make_luminaires.py\n")
        out.writelines("v %.4g %.4g %.4g\n" % v for v in vertices)
        for material, faces in parts:
            out.write("usemtl %s\n" % material)
            out.writelines("f " + " ".join(str(i + 1) for i in f) + "\n" for f in faces)


program = sys.argv[1] if len(sys.argv) > 1 else "zirconlite"
write_room("room.obj")
write_ies("washer.ies", "Wall washer", washer, list(range(0, 181, 15)), list(range(0, 91, 3)), 1800, 18,
          (0.3, 0.12, 0))
write_ies("spot.ies", "Spot 24", spot, [0], list(range(0, 91, 2)), 900, 11, (-0.08, -0.08, 0))
write_ies("pendant.ies", "Pendant", pendant, [0], list(range(0, 181, 4)), 2000, 24, (-0.4, -0.4, 0))
if os.path.exists("halls.llib"):
    os.remove("halls.llib")
for key, file, kelvin in (("Ceiling\\Washer", "washer.ies", 3500), ("Ceiling\\Spot 24", "spot.ies", 3000),
                          ("Hanging\\Pendant", "pendant.ies", 2700)):
    subprocess.run([program, "lights", "add", "halls.llib", key, "--ies", file, "--kelvin", str(kelvin)], check=True)
