"""Scenes that are rendered to measure light, how their pictures are read, and integrals over the sky."""

import math
import pathlib
import re
import subprocess
import sys

import radiance_file

SIDE = 16  # pixels of a picture along each side, unless a case says otherwise
LIMIT = 0.005
LUMINANCE = (0.3, 0.6, 0.1)  # weights of the channels
HDR_ONE = 128.5 / 128  # a mantissa of the format stands for the middle of its step
GAMMA = 2.2  # of the scene file's colours
REFLECTANCES = [0.55 + 0.02 * k for k in range(-2, SIDE + 2)]


# Pictures


def read_hdr(path):
    """Rows of luminances, the top row first, and the step of each pixel's mantissa."""
    width, pictured = radiance_file.read_planes(path)
    rows, steps = [], []
    for planes in pictured:
        scales = [radiance_file.SCALES[e] for e in planes[3]]
        rows.append([sum(LUMINANCE[c] * (planes[c][x] + 0.5) for c in range(3)) * scales[x] for x in range(width)])
        steps.append(scales)
    return rows, steps


def write_hdr(path, rows):
    """`rows` of grey values; a power of two is read back as `HDR_ONE` times itself."""
    out = bytearray(b"#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y %d +X %d\n" % (len(rows), len(rows[0])))
    for row in rows:
        for value in row:
            mantissa, exponent = math.frexp(value)
            out += bytes([int(mantissa * 256)] * 3 + [exponent + 128])
    pathlib.Path(path).write_bytes(out)


# Scenes


def write_obj(path, quads):
    """Quads as (material, four corners); the names of the materials are the objects' too."""
    with open(path, "w") as out:
        for index, (material, corners) in enumerate(quads):
            out.writelines("v %.9g %.9g %.9g\n" % tuple(c) for c in corners)
            out.write("usemtl %s\nf %s\n" % (material, " ".join(str(4 * index + i + 1) for i in range(4))))


def level_quad(x0, x1, y0, y1, z):
    return [(x0, y0, z), (x1, y0, z), (x1, y1, z), (x0, y1, z)]


def color(linear):
    return linear ** (1.0 / GAMMA)


def floor_scene(folder, width, depth, center, reflectances, extra):
    """A floor of stripes seen from above through `width` x `depth` metres about `center`."""
    pixel = width / SIDE
    left = center[0] - width / 2
    quads, text = [], ""
    for k, reflectance in enumerate(reflectances):
        x0, x1 = left + (k - 2) * pixel, left + (k - 1) * pixel
        quads.append(("stripe%d" % k, level_quad(x0, x1, center[1] - width, center[1] + width, 0.0)))
        text += '[materials.stripe%d]\ncolor = [%.9f, %.9f, %.9f]\n' % ((k,) + (color(reflectance),) * 3)
    write_obj(folder / "floor.obj", quads)
    names = ", ".join('"stripe%d" = "stripe%d"' % (k, k) for k in range(len(quads)))
    return (
        '[camera]\neye = [{0}, {1}, 0.4]\ntarget = [{0}, {1}, 0.0]\nup = [0, 1, 0]\nprojection = "parallel"\n'
        "parallel_width = {2}\nparallel_height = {3}\n[[model]]\nfile = \"floor.obj\"\nup = \"z\"\n"
        "materials = {{ {4} }}\n".format(center[0], center[1], width, depth, names)
        + text
        + extra
    )


def render(program, folder, scene, samples, seed=0, size=(SIDE, SIDE), render_keys="", indirect="ambient"):
    settings = (
        '[render]\nsize = [%d, %d]\nsampler = "converging"\nmin_samples = %d\nmax_samples = %d\nseed = %d\n'
        "indirect = \"%s\"\nambient = false\nbounce_limit = 64\nquality = 5\nreflect_limit = 20\nrefract_limit = 20\n"
        % (*size, samples, samples, seed, indirect)
    )
    (folder / "scene.toml").write_text(settings + render_keys + scene)
    run_program(program, folder, ["render", "scene.toml", "-o", "out.hdr"])
    return read_hdr(folder / "out.hdr")


def run_program(program, folder, arguments):
    done = subprocess.run([program, *arguments], cwd=folder, capture_output=True, text=True)
    if done.returncode:
        sys.exit("%s %s: %s" % (program, " ".join(arguments), done.stderr.strip().splitlines()[-1]))
    return done.stdout


def summary(seen, exact, rounding, level=None):
    """Error of the mean, and root mean square error of a pixel less the variance `rounding` of the file's steps, as
    a share of `level` or the exact mean."""
    level = level or sum(exact) / len(exact)
    mean = sum(seen) / sum(exact) - 1.0
    square = (sum((s - e) ** 2 for s, e in zip(seen, exact)) - sum(rounding)) / len(exact)
    return mean, math.sqrt(max(square, 0.0)) / level


# What a case measures


class Floor:
    """Illuminance of a floor at `center`, `width` x `depth` metres of it; `exact(x, y)` in lux."""

    reflectances = REFLECTANCES

    def __init__(self, name, light, exact, width=0.4, center=(0.0, 0.0), depth=None, files=None, level=None, indirect="ambient"):
        self.indirect = indirect
        self.name, self.light, self.exact, self.limit, self.level = name, light, exact, LIMIT, level
        self.width, self.depth, self.center, self.files = width, depth or width, center, files

    def measure(self, program, folder, samples, seed=0):
        if self.files:
            self.files(folder)
        scene = floor_scene(folder, self.width, self.depth, self.center, self.reflectances, self.light)
        picture, steps = render(program, folder, scene, samples, seed, indirect=self.indirect)
        seen, exact, rounding = [], [], []
        pixel = self.width / SIDE
        for j, row in enumerate(picture):
            for i, seen_here in enumerate(row):
                x = self.center[0] + (i + 0.5 - SIDE / 2) * pixel
                y = self.center[1] + (SIDE / 2 - j - 0.5) * self.depth / SIDE
                radiance = self.exact(x, y) * self.reflectances[i + 2] / math.pi
                seen.append(seen_here)
                exact.append(radiance)
                rounding.append(steps[j][i] ** 2 / 12)
        return summary(seen, exact, rounding, self.level and self.level * self.reflectances[SIDE // 2 + 2] / math.pi)


# Directions and the sky


def unit(v):
    d = math.sqrt(sum(c * c for c in v))
    return tuple(c / d for c in v)


def axes_of(w):
    u = unit(cross(w, (0.0, 1.0, 0.0) if abs(w[1]) < 0.9 else (1.0, 0.0, 0.0)))
    return u, cross(w, u)


def turn_of(row, column, columns):
    """Angle of a place on a ring; the rings are turned against each other, so that straight edges cross all."""
    return 2 * math.pi * (column + row * 0.6180339887 % 1.0) / columns


def cross(a, b):
    return (a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0])


def dot(a, b):
    return sum(p * q for p, q in zip(a, b))


def sky_lux(function, normal=(0.0, 0.0, 1.0), rows=200, columns=400):
    """Cosine integral of `function` of a direction over the hemisphere of `normal`, by even steps of the cosine's
    square."""
    u, v = axes_of(normal)
    total = 0.0
    for i in range(rows):
        height = math.sqrt((i + 0.5) / rows)
        r = math.sqrt(1 - height * height)
        for k in range(columns):
            turn = turn_of(i, k, columns)
            a, b = r * math.cos(turn), r * math.sin(turn)
            total += function([height * normal[c] + a * u[c] + b * v[c] for c in range(3)])
    return math.pi * total / (rows * columns)


def direction_of(azimuth_deg, altitude_deg):
    azimuth, altitude = math.radians(azimuth_deg), math.radians(altitude_deg)
    return (math.cos(altitude) * math.sin(azimuth), math.cos(altitude) * math.cos(azimuth), math.sin(altitude))


def sky_function(azimuth_deg, altitude_deg, cloudiness):
    """Luminance over the sky's strength, docs/daylight.md: the law of the overcast sky round an axis."""
    sun = direction_of(azimuth_deg, altitude_deg)
    axis = unit((0.5 * sun[0], 0.5 * sun[1], 0.5 * sun[2] + 0.5 + 0.25 * cloudiness))
    flat = min(max(0.2 + sun[2], 0.0), 1.0)

    def luminance(d):
        q = dot(axis, d)
        if q > 0.0:
            return (1 + 2 * q) / 3
        return (((1 + q) - q * 0.3) * (1 - flat) + flat) / 3

    return luminance


# Keys of scenes


def write_ball(path, radius, rows=64, columns=128):
    points, faces = [], []
    for i in range(rows + 1):
        for k in range(columns):
            a, turn = math.pi * i / rows, 2 * math.pi * k / columns
            points.append((radius * math.sin(a) * math.cos(turn), radius * math.sin(a) * math.sin(turn), radius * math.cos(a)))
    for i in range(rows):
        for k in range(columns):
            n = (k + 1) % columns
            a, b, c, d = i * columns + k, (i + 1) * columns + k, (i + 1) * columns + n, i * columns + n
            if i > 0:
                faces.append((a, b, d))
            if i < rows - 1:
                faces.append((b, c, d))
    with open(path, "w") as out:
        out.writelines("v %.9g %.9g %.9g\n" % p for p in points)
        out.writelines("f %d %d %d\n" % tuple(i + 1 for i in f) for f in faces)


def light(kind, keys):
    return '[[light]]\nkind = "%s"\n%s\n' % (kind, keys)


def sun_values(program, folder, azimuth, altitude, cloudiness):
    """Lux square to the sun and strength of the sky as the program prints them."""
    text = run_program(
        program,
        folder,
        ["sun", "--azimuth", str(azimuth), "--altitude", str(altitude), "--cloudiness", str(cloudiness), "--format", "json"],
    )
    return [float(re.search('"%s": ([0-9.e+]+)' % key, text)[1]) for key in ("sun_lux", "sky_cd_m2")]


def far_model(folder):
    """A scene needs a model: one below the ground that nothing sees."""
    write_obj(folder / "far.obj", [("far", level_quad(-0.01, 0.01, -0.01, 0.01, -50.0))])
    return '[[model]]\nfile = "far.obj"\nup = "z"\n'


def sky_keys(altitude, cloudiness):
    return (
        "[sun]\nazimuth_deg = 200\naltitude_deg = %g\ncloudiness = %g\nsun_intensity = 0\n"
        '[background]\nmode = "sky"\n' % (altitude, cloudiness)
    )


