#!/usr/bin/env python3
"""Makes the still life under every kind of light: its model, two photometric files and a scene for each light. Run it
in its own folder; with the path of the program it renders the scenes too and joins them into docs/lights.png."""
import math
import pathlib
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
from png import write_png

SIDES, TILE, COLUMNS = 48, (240, 180), 4

# Model: a vase, two balls, a block and a book on a table before a curved wall


class Model:
    def __init__(self):
        self.vertices, self.lines = [], []

    def add(self, material, vertices, faces, smooth):
        first = len(self.vertices) + 1
        self.vertices += vertices
        self.lines += ["usemtl " + material, "s 1" if smooth else "s off"]
        self.lines += ["f " + " ".join(str(first + i) for i in face) for face in faces]

    def lathe(self, material, profile, x, y):
        """`profile` of (radius, height) from the bottom up."""
        points, faces = [], []
        for radius, z in profile:
            points += [(x + radius * math.cos(2 * math.pi * k / SIDES), y + radius * math.sin(2 * math.pi * k / SIDES), z)
                       for k in range(SIDES)]
        for row in range(len(profile) - 1):
            for k in range(SIDES):
                n = (k + 1) % SIDES
                faces.append((row * SIDES + k, row * SIDES + n, (row + 1) * SIDES + n, (row + 1) * SIDES + k))
        self.add(material, points, faces, True)

    def ball(self, material, x, y, radius):
        rows = SIDES // 2
        self.lathe(material, [(max(radius * math.sin(math.pi * i / rows), 1e-5), radius - radius * math.cos(math.pi * i / rows))
                              for i in range(rows + 1)], x, y)

    def block(self, material, x, y, z, size, turn_deg):
        c, s = math.cos(math.radians(turn_deg)), math.sin(math.radians(turn_deg))
        points = []
        for i in range(8):
            a, b = (i & 1) * size[0] - size[0] / 2, (i >> 1 & 1) * size[1] - size[1] / 2
            points.append((x + c * a - s * b, y + s * a + c * b, z + (i >> 2) * size[2]))
        self.add(material, points, [(0, 2, 3, 1), (4, 5, 7, 6), (0, 1, 5, 4), (2, 6, 7, 3), (0, 4, 6, 2), (1, 3, 7, 5)], False)

    def wall(self, material):
        """The table's top, a quarter of a circle, and the wall."""
        profile = [(-2.0, 0.0), (0.5, 0.0)]
        profile += [(0.5 + 0.4 * math.sin(a), 0.4 - 0.4 * math.cos(a)) for a in (math.pi / 2 * i / 16 for i in range(1, 17))]
        profile.append((0.9, 3.0))
        points = [(x, y, z) for y, z in profile for x in (-3.0, 3.0)]
        self.add(material, points, [(2 * i, 2 * i + 1, 2 * i + 3, 2 * i + 2) for i in range(len(profile) - 1)], True)


def make_model():
    m = Model()
    m.wall("wall")
    vase = [(0.02, 0.0), (0.085, 0.0), (0.1, 0.03), (0.13, 0.12), (0.135, 0.2), (0.11, 0.3), (0.065, 0.38), (0.05, 0.43),
            (0.058, 0.48), (0.075, 0.5), (0.07, 0.5), (0.045, 0.43), (0.05, 0.36)]
    m.lathe("ceramic", vase, -0.3, 0.16)
    m.ball("clay", 0.02, -0.12, 0.1)
    m.ball("steel", 0.34, 0.12, 0.13)
    m.block("oak", 0.06, 0.2, 0.0, (0.2, 0.2, 0.26), 28)
    m.block("linen", -0.36, -0.2, 0.0, (0.24, 0.17, 0.03), -16)
    with open("still_life.obj", "w") as out:
        out.write("# made by make_lights.py\n")
        out.writelines("v %.5g %.5g %.5g\n" % v for v in m.vertices)
        out.write("\n".join(m.lines) + "\n")


# Photometric files: a batwing that throws light to both sides, and a washer that throws it forward


def write_ies(name, lumens, intensity, planes):
    """`intensity(polar, azimuth)` in degrees, scaled to `lumens`."""
    angles = list(range(0, 95, 5))
    rows = [[intensity(v, h) for v in angles] for h in planes]
    turn = {90: 4, 180: 2}[planes[-1]]
    flux = 0.0
    for i in range(len(planes) - 1):
        for j in range(len(angles) - 1):
            mean = (rows[i][j] + rows[i][j + 1] + rows[i + 1][j] + rows[i + 1][j + 1]) / 4
            ring = math.cos(math.radians(angles[j])) - math.cos(math.radians(angles[j + 1]))
            flux += turn * mean * ring * math.radians(planes[i + 1] - planes[i])
    scale = lumens / flux
    with open(name, "w") as out:
        out.write("IESNA:LM-63-2002\n[TEST] made by make_lights.py\nTILT=NONE\n1 -1 1 %d %d 1 2 0 0 0\n1 1 12\n" % (len(angles), len(planes)))
        out.write(" ".join(map(str, angles)) + "\n" + " ".join(map(str, planes)) + "\n")
        out.writelines(" ".join("%.1f" % (v * scale) for v in row) + "\n" for row in rows)


def make_tables():
    def batwing(v, h):
        side = math.cos(math.radians(h)) ** 2
        return (0.35 + 0.65 * side * math.exp(-(((v - 40) / 18) ** 2)) * 2) * max(math.cos(math.radians(v)), 0) ** 0.5

    def washer(v, h):
        ahead = max(math.cos(math.radians(h)), 0.0)
        return 0.03 + ahead * math.exp(-(((v - 50) / 16) ** 2)) if v < 90 else 0.0

    write_ies("batwing.ies", 900, batwing, [0, 15, 30, 45, 60, 75, 90])
    write_ies("washer.ies", 900, washer, [0, 15, 30, 45, 60, 75, 90, 105, 120, 135, 150, 165, 180])


# Scenes

LOOK = """# One still life under one light of the sheet in docs/lights.md; made by make_lights.py.
[camera]
eye = [0, -2.05, 0.66]
target = [0, 0.1, 0.46]
fov_deg = 43
[tone]
ev = %g
white_kelvin = 4200
[materials.wall]
color = "#cdc8c0"
[materials.ceramic]
color = "#e8e4dc"
mirror = 0.05
highlight = 200
[materials.clay]
color = "#b0603c"
[materials.steel]
color = "#d8dade"
mirror = 0.85
metal = true
glossy = false
[materials.oak]
color = "#a8793f"
[materials.linen]
color = "#3c5a70"
[[model]]
file = "still_life.obj"
unit = "m"
up = "z"
materials = { wall = "wall", ceramic = "ceramic", clay = "clay", steel = "steel", oak = "oak", linen = "linen" }
"""
ABOVE = "position = [-0.25, -0.2, 0.95]\nlumens = 600\nkelvin = 3500\n"
LIGHTS = [
    ("point", 5.2, 'kind = "point"\n' + ABOVE),
    ("sphere", 5.2, 'kind = "sphere"\nradius = 0.06\nvisible = true\n' + ABOVE),
    ("line", 5.2, 'kind = "line"\naxis = [1, 0, 0]\nlength = 0.9\n' + ABOVE),
    ("tube", 5.2, 'kind = "tube"\nends = [[-0.7, 0.1, 0.92], [0.2, -0.1, 0.92]]\nradius = 0.015\nvisible = true\nlumens = 600\nkelvin = 3500\n'),
    ("disk", 6.2, 'kind = "disk"\nradius = 0.16\ntarget = [0, 0.1, 0.1]\nvisible = true\n' + ABOVE),
    ("area", 6.2, 'kind = "area"\nsize = [0.5, 0.25]\ntarget = [0, 0.1, 0.1]\nvisible = true\n' + ABOVE),
    ("area-even", 5.2, 'kind = "area"\nsize = [0.5, 0.25]\ndistribution = "even"\nvisible = true\n' + ABOVE),
    ("area-spot", 7.2, 'kind = "area"\nsize = [0.2, 0.2]\ntarget = [0, 0.05, 0.1]\ndistribution = "spot"\nbeam_deg = 30\nfield_deg = 50\nvisible = true\n' + ABOVE),
    ("spot", 8, 'kind = "spot"\ntarget = [0, 0.05, 0.15]\nbeam_deg = 22\nfield_deg = 34\nradius = 0.02\n' + ABOVE),
    ("batwing", 6.2, 'kind = "disk"\nradius = 0.06\nies = "batwing.ies"\n' + ABOVE.replace("lumens = 600\n", "")),
    ("washer", 6.2, 'kind = "point"\nradius = 0.02\nies = "washer.ies"\nc0 = [0, 1, 0]\n' + ABOVE.replace("lumens = 600\n", "")),
    ("group", 5.2, 'kind = "group"\nname = "three"\nkelvin = 2700\nfilter = "#ffe8d0"\n' + "".join(
        '[[light]]\ngroup = "three"\nkind = "sphere"\nradius = 0.035\nvisible = true\nlumens = 200\nposition = [%g, %g, %g]\n' % p
        for p in ((-0.45, 0.0, 0.85), (0.0, -0.1, 0.95), (0.42, 0.05, 0.88)))),
]


def make_scenes():
    for name, ev, keys in LIGHTS:
        pathlib.Path(name + ".toml").write_text(LOOK % ev + "[[light]]\n" + keys)


def read_bmp(path):
    data = pathlib.Path(path).read_bytes()
    start = int.from_bytes(data[10:14], "little")
    width, height = (int.from_bytes(data[i:i + 4], "little") for i in (18, 22))
    stride = (3 * width + 3) // 4 * 4
    rows = [data[start + y * stride:start + y * stride + 3 * width] for y in reversed(range(height))]
    return [[tuple(row[3 * x + 2 - c] for c in range(3)) for x in range(width)] for row in rows]


def make_sheet(program):
    tiles = []
    with tempfile.TemporaryDirectory() as folder:
        for name, _, _ in LIGHTS:
            picture = str(pathlib.Path(folder) / "tile.bmp")
            subprocess.run([program, "render", name + ".toml", "-o", picture, "--size", "%dx%d" % TILE, "--denoise", "--indirect",
                            "paths", "--noise", "3", "--max-samples", "40"], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            tiles.append(read_bmp(picture))
            print(name, flush=True)
    gap, rows = 4, []
    for first in range(0, len(tiles), COLUMNS):
        for y in range(TILE[1]):
            row = []
            for tile in tiles[first:first + COLUMNS]:
                row += tile[y] + [(255, 255, 255)] * gap
            rows.append(row[:-gap])
        rows += [[(255, 255, 255)] * len(rows[0])] * gap
    write_png("../../docs/lights.png", rows[:-gap])


if __name__ == "__main__":
    make_model()
    make_tables()
    make_scenes()
    if len(sys.argv) > 1:
        make_sheet(sys.argv[1])
