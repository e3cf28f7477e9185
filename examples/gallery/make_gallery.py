#!/usr/bin/env python3
"""Makes the shapes and scenes of the gallery: every pattern and bump on a ball and a box, and every mapping of a
checker on a box, a cylinder and a ball. Run it in its own folder."""
import math

SIDES, RINGS = 64, 32


def write_obj(name, vertices, faces, smooth):
    with open(name, "w") as out:
        out.write("# made by make_gallery.py\n")
        out.writelines("v %.6g %.6g %.6g\n" % v for v in vertices)
        out.write("s %s\n" % ("1" if smooth else "off"))
        out.writelines("f " + " ".join(str(i + 1) for i in f) + "\n" for f in faces)


def ball(radius):
    vertices, faces = [(0, 0, -radius)], []
    for ring in range(1, RINGS):
        a = math.pi * ring / RINGS
        for side in range(SIDES):
            b = 2 * math.pi * side / SIDES
            vertices.append((radius * math.sin(a) * math.cos(b), radius * math.sin(a) * math.sin(b),
                             -radius * math.cos(a)))
    vertices.append((0, 0, radius))
    for side in range(SIDES):
        after = (side + 1) % SIDES
        faces.append((0, 1 + after, 1 + side))
        for ring in range(RINGS - 2):
            low, high = 1 + ring * SIDES, 1 + (ring + 1) * SIDES
            faces.append((low + side, low + after, high + after, high + side))
        top = 1 + (RINGS - 2) * SIDES
        faces.append((top + side, top + after, len(vertices) - 1))
    return vertices, faces


def box(half):
    vertices = [(x, y, z) for z in (-half, half) for y in (-half, half) for x in (-half, half)]
    faces = [(0, 1, 5, 4), (2, 6, 7, 3), (0, 4, 6, 2), (1, 3, 7, 5), (0, 2, 3, 1), (4, 5, 7, 6)]
    return vertices, faces


def cylinder(radius, half):
    ring = [(radius * math.cos(2 * math.pi * i / SIDES), radius * math.sin(2 * math.pi * i / SIDES))
            for i in range(SIDES)]
    vertices = [(x, y, -half) for x, y in ring] + [(x, y, half) for x, y in ring]
    faces = [(i, (i + 1) % SIDES, SIDES + (i + 1) % SIDES, SIDES + i) for i in range(SIDES)]
    return vertices, faces + [tuple(range(SIDES, 2 * SIDES)), tuple(range(SIDES - 1, -1, -1))]


def floor(half):
    return [(-half, -half, 0), (half, -half, 0), (half, half, 0), (-half, half, 0)], [(0, 1, 2, 3)]


HEAD = """# made by make_gallery.py
[camera]
eye = {eye}
target = {target}
lens_mm = 40

[render]
size = {size}

[tone]
brightness = 0.1

[background]
color = "#20242a"

[[light]]
kind = "spot"
position = [-7, -12, 12]
target = [0, 0, 0.5]
lumens = 90000
beam_deg = 60
field_deg = 90
radius = 0.6
shadow_samples = 4

[[light]]
kind = "point"
position = [9, -9, 7]
lumens = 9000

[materials.floor]
color = "#9a9a96"

[[model]]
file = "floor.obj"
unit = "m"
up = "z"
material = "floor"
"""

# Name of the material, whether it runs on a mapping, its text.
PATTERNS = [
    ("marble", 'kind = "marble"\nfirst = "ivory"\nsecond = "slate"\nsize = 0.5\nturbulence = 0.6\noctaves = 5\n'
               'softness = 0.8\nratio = [0.7, 0.7]\naxis = [1, 0, 1]'),
    ("granite", 'kind = "granite"\nfirst = "ivory"\nsecond = "slate"\nsize = 0.12\noctaves = 4\nsoftness = 0.3'),
    ("wood", 'kind = "wood"\nfirst = "oak"\nsecond = "walnut"\nsize = 0.35\nturbulence = 0.12\noctaves = 3\n'
             'softness = 0.7\nratio = [0.6, 0.6]\norigin = [0, 0, -1.2]'),
    ("tile", 'kind = "tile"\nfirst = "brick"\nsecond = "ivory"\nsize = [0.4, 0.15, 0.4]\nratio = [0.94, 0.85]\n'
             'softness = 0\ntile_offset = 0.5\ncolor_jitter = [0.1, 0.06, 0.05]\nmapped = true'),
    ("mask", 'kind = "mask"\nfirst = "gold"\nsecond = "slate"\nsize = 0.5\nmask = "checker.bmp"\nmapped = true'),
    ("blend", 'kind = "blend"\nfirst = "brick"\nsecond = "ivory"\nratio = [0.35, 0.35]'),
    ("clear_finish", 'kind = "clear-finish"\nfirst = "oak"\nsecond = "coat"'),
    ("angular", 'kind = "angular"\nfirst = "violet"\nsecond = "gold"\nratio = [0.8, 0.3]'),
    ("rubble", 'color = "#b8a890"\n[[materials.rubble.bump]]\nkind = "rubble"\nsize = 0.15\nstrength = 0.6'),
    ("sandpaper", 'color = "#b8a890"\n[[materials.sandpaper.bump]]\nkind = "sandpaper"\nsize = 0.02\nstrength = 0.6'),
    ("pyramid", 'color = "#b8a890"\n[[materials.pyramid.bump]]\nkind = "pyramid"\nsize = 0.2\nstrength = 0.5'),
    ("picture", 'color = "#808080"\n[[materials.picture.image]]\nfile = "checker.bmp"\nsize = [0.5, 0.5]\nbump = 0.4'),
]

PLAIN = """
[materials.ivory]
color = "#e8e0d0"
[materials.slate]
color = "#40464e"
[materials.oak]
color = "#c08a50"
[materials.walnut]
color = "#6a4020"
[materials.brick]
color = "#a04830"
[materials.violet]
color = "#5030a0"
[materials.gold]
color = "#e0b040"
mirror = 0.5
metal = true
[materials.coat]
color = "#ffffff"
transparency = 0.9
ior = 1.5
"""


def model(shape, material, place, mapping=None):
    text = '\n[[model]]\nfile = "%s.obj"\nunit = "m"\nup = "z"\nmaterial = "%s"\ntranslate = [%g, %g, %g]\n' % (
        (shape, material) + place)
    if mapping:
        text += 'mapping = "%s"\nmapping_origin = [%g, %g, %g]\n' % ((mapping,) + place)
    return text


def gallery():
    text = HEAD.format(eye="[0, -17, 11]", target="[0, -0.7, 0]", size="[1200, 640]") + PLAIN
    for i, (name, body) in enumerate(PATTERNS):
        x, y = (i % 4 - 1.5) * 3.5, 3 - (i // 4) * 3
        text += "\n[materials.%s]\n%s\n" % (name, body)
        mapped = name in ("tile", "mask", "pyramid", "picture")
        text += model("ball", name, (x - 0.8, y, 0.75), "sphere" if mapped else None)
        text += model("box", name, (x + 0.75, y, 0.6), "box" if mapped else None)
    return text


MAPPINGS = ["box", "planar", "cylinder", "sphere", "angular-cylinder", "angular-sphere"]


def mappings():
    text = HEAD.format(eye="[0, -17, 11]", target="[0, 0.2, 0]", size="[1200, 640]") + PLAIN
    text += '\n[materials.checker]\nkind = "mask"\nfirst = "ivory"\nsecond = "slate"\nsize = 0.5\n' \
            'mask = "checker.bmp"\nmapped = true\nturbulence = 0\n'
    for column, mapping in enumerate(MAPPINGS):
        for row, shape in enumerate(("box", "cylinder", "ball")):
            place = ((column - 2.5) * 2.3, 3 - row * 2.9, 0.75)
            text += model(shape, "checker", place, mapping)
            if mapping.startswith("angular"):
                text += "mapping_repeats = [4, %g]\n" % (1 if shape != "ball" and mapping == "angular-cylinder" else 4)
    return text


def checker():
    """A picture of two by two fields, 64 texels each, as an 8-bit BMP."""
    side = 128
    head = b"BM" + (1078 + side * side).to_bytes(4, "little") + bytes(4) + (1078).to_bytes(4, "little")
    info = (40).to_bytes(4, "little") + side.to_bytes(4, "little") * 2 + (1).to_bytes(2, "little") + \
        (8).to_bytes(2, "little") + bytes(24)
    colors = b"".join(bytes((i, i, i, 0)) for i in range(256))
    rows = bytes(255 if (x < side // 2) == (y < side // 2) else 0 for y in range(side) for x in range(side))
    return head + info + colors + rows


write_obj("ball.obj", *ball(0.75), True)
write_obj("box.obj", *box(0.6), False)
write_obj("cylinder.obj", *cylinder(0.6, 0.75), False)
write_obj("floor.obj", *floor(40), False)
open("checker.bmp", "wb").write(checker())
open("gallery.toml", "w").write(gallery())
open("mappings.toml", "w").write(mappings())
