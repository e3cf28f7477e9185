"""Cases of light by way of other surfaces: by formulas where surfaces are lit evenly, else by radiosity."""

import functools
import math

import radiosity
from validation_scenes import (
    LIMIT, SIDE, Floor, color, direction_of, dot, level_quad, light, render, sky_function, sky_lux, summary, sun_values, write_ball,
    write_obj)

EVEN = 200.5 / 256  # a grey that a picture holds exactly, at the middle of a step


class Surface:
    """Radiance of a flat or nearly flat surface, seen by parallel rays through `width` metres about `target`;
    `exact(u, v)` at metres to the right and up from there. What single pixels are off by is reported, and halves with
    four times the samples; paths are few where light is rare, so it has no limit."""

    limit, pixel_limit = LIMIT, math.inf

    def __init__(self, name, scene, exact, eye, target, up, width, indirect="paths"):
        self.name, self.scene, self.exact, self.indirect = name, scene, exact, indirect
        self.eye, self.target, self.up, self.width = eye, target, up, width

    def measure(self, program, folder, samples, seed=0):
        camera = '[camera]\neye = [%.9g, %.9g, %.9g]\ntarget = [%.9g, %.9g, %.9g]\nup = [%g, %g, %g]\nprojection = "parallel"\n' % (
            *self.eye, *self.target, *self.up)
        camera += "parallel_width = %.9g\nparallel_height = %.9g\n" % (self.width, self.width)
        picture, steps = render(program, folder, camera + self.scene(folder), samples, seed, indirect=self.indirect)
        pixel = self.width / SIDE
        seen, exact, rounding = [], [], []
        for j, row in enumerate(picture):
            for i, seen_here in enumerate(row):
                seen.append(seen_here)
                exact.append(self.exact((i + 0.5 - SIDE / 2) * pixel, (SIDE / 2 - j - 0.5) * pixel))
                rounding.append(steps[j][i] ** 2 / 12)
        return summary(seen, exact, rounding)


class LitFloor(Floor):
    pixel_limit = math.inf


def material(name, reflectance, luminosity=0.0):
    """`luminosity` is what leaves, in cd/m2: the scene's own is multiplied by the colour."""
    text = "[materials.%s]\ncolor = [%.9f, %.9f, %.9f]\nhighlight_strength = 0\n" % ((name,) + (color(reflectance),) * 3)
    return text + ("luminosity = %.9g\n" % (luminosity / reflectance) if luminosity else "")


def model(file, names, keys=""):
    return '[[model]]\nfile = "%s"\nup = "z"\nmaterials = { %s }\n%s' % (file, ", ".join('"%s" = "%s"' % (n, n) for n in names), keys)


def box_quads(low, high, names):
    """Six faces, seen from inside: floor, ceiling, south, north, west, east."""
    (x0, y0, z0), (x1, y1, z1) = low, high
    return list(zip(names, (
        level_quad(x0, x1, y0, y1, z0), level_quad(x0, x1, y0, y1, z1)[::-1],
        [(x0, y0, z0), (x0, y0, z1), (x1, y0, z1), (x1, y0, z0)], [(x0, y1, z0), (x1, y1, z0), (x1, y1, z1), (x0, y1, z1)],
        [(x0, y0, z0), (x0, y1, z0), (x0, y1, z1), (x0, y0, z1)], [(x1, y0, z0), (x1, y0, z1), (x1, y1, z1), (x1, y1, z0)])))


def closed_boxes(indirect):
    cases = []
    # All faces glow and reflect alike: L = glow / (1 - reflectance) everywhere.
    for reflectance in (0.5, 0.8):
        seen = EVEN * 256.0

        def scene(folder, reflectance=reflectance, seen=seen):
            write_obj(folder / "box.obj", box_quads((-1, -1, -1), (1, 1, 1), ["wall"] * 6))
            return model("box.obj", ["wall"]) + material("wall", reflectance, seen * (1 - reflectance))

        cases.append(Surface("closed box, reflectance %g" % reflectance, scene, lambda u, v, seen=seen: seen, (0, 0, 0), (0, 0, -1), (0, 1, 0),
            0.8, indirect))
    # A ball of one reflectance in a glowing shell of another: what leaves the shell's inside is even,
    # B = glow + r (f q B + (1 - f) B) with f = (radius of ball / radius of shell)^2 and q the ball's reflectance.
    ball, shell, share = 0.8, 0.4, 0.25
    even = EVEN * 256.0
    shell_glow = even * (1 - shell * (share * ball + 1 - share))

    def scene(folder):
        write_ball(folder / "ball.obj", 0.5)
        write_ball(folder / "shell.obj", 1.0)
        whole = '[[model]]\nfile = "%s.obj"\nup = "z"\nmaterial = "%s"\n'
        return whole % ("ball", "ball") + whole % ("shell", "shell") + material("ball", ball) + material("shell", shell, shell_glow)

    cases.append(Surface("shell and ball, two reflectances", scene, lambda u, v: even, (0, 0, 0.8), (0, 0, 1), (0, 1, 0), 0.1, indirect))
    # The floor of a glowing cube reflects less than the rest: by radiosity.
    low, rest, glow = 0.2, 0.7, 100.0
    cells = 12

    @functools.cache
    def solution():
        patches = []
        for name, quad in box_quads((-1, -1, -1), (1, 1, 1), ["floor"] + ["wall"] * 5):
            along, across = ([quad[k][c] - quad[0][c] for c in range(3)] for k in (1, 3))
            new = radiosity.rectangle(quad[0], along, across, low if name == "floor" else rest, (cells, cells))
            for p in new:
                p.first = 0.0 if name == "floor" else math.pi * glow / rest  # sends `glow` as if it reflected this
            patches += new
        radiosity.solve(patches)
        return patches

    @functools.cache
    def exact(u, v):
        return low / math.pi * radiosity.reflected(solution(), (u, v, -1.0), (0.0, 0.0, 1.0))

    def cube(folder):
        write_obj(folder / "box.obj", box_quads((-1, -1, -1), (1, 1, 1), ["floor"] + ["wall"] * 5))
        return model("box.obj", ["floor", "wall"]) + material("floor", low) + material("wall", rest, glow)

    cases.append(Surface("closed box, two reflectances", cube, exact, (0, 0, 0), (0, 0, -1), (0, 1, 0), 0.8, indirect))
    return cases


def integrating_sphere(indirect):
    """Light that is reflected in a sphere falls evenly on it, wherever the lamp is: F r / (4 pi R^2 (1 - r))."""
    radius, lumens, lamp = 1.0, 1000.0, (0.0, 0.3, 0.2)
    cases = []
    for reflectance in (0.5, 0.8):
        even = lumens * reflectance / (4 * math.pi * radius**2 * (1 - reflectance))

        def exact(u, v, reflectance=reflectance, even=even):
            p = (u, v, -math.sqrt(radius**2 - u * u - v * v))
            d = [lamp[k] - p[k] for k in range(3)]
            square = dot(d, d)
            direct = lumens / (4 * math.pi) * -dot(d, p) / radius / square**1.5
            return reflectance / math.pi * (direct + even)

        def scene(folder, reflectance=reflectance):
            write_ball(folder / "sphere.obj", radius, 128, 256)
            return ('[[model]]\nfile = "sphere.obj"\nup = "z"\nmaterial = "wall"\nsmooth_angle_deg = 30\n' + material("wall", reflectance)
                + light("point", "position = [%g, %g, %g]\nlumens = %g\n" % (*lamp, lumens)))

        cases.append(Surface("sphere lit from inside, reflectance %g" % reflectance, scene, exact, (0, 0, -0.7), (0, 0, -1), (0, 1, 0), 0.2,
            indirect))
    return cases


def plates(indirect):
    """Between plates without end: B1 = (E1 + r1 E2) / (1 - r1 r2)."""
    first, second, half = 0.3, 0.8, 1000.0
    seen = EVEN * 256.0
    glow = seen * (1 - first * second) / first  # of the upper plate; the lower one sends back r1 B2

    def scene(folder):
        write_obj(folder / "plates.obj", [("lower", level_quad(-half, half, -half, half, 0.0)), ("upper", level_quad(-half, half, -half, half, 1.0)[::-1])])
        return model("plates.obj", ["lower", "upper"]) + material("lower", first) + material("upper", second, glow)

    return [Surface("two parallel plates", scene, lambda u, v: seen, (0, 0, 0.5), (0, 0, 0), (0, 1, 0), 0.4, indirect)]


def window_room(program, folder, indirect):
    """A room of 4 x 5 x 2.8 metres with a hole of 2 x 1.4 metres in its north wall, under an overcast sky."""
    wide, deep, high = 4.0, 5.0, 2.8
    x0, x1, z0, z1 = 1.0, 3.0, 0.9, 2.3
    reflectances = {"floor": 0.3, "ceiling": 0.8, "wall": 0.6}
    _, strength = sun_values(program, folder, 200, 40, 1)
    sky = sky_function(200, 40, 1)
    cells = 4  # to a metre

    def from_window(point, normal):
        """Irradiance by the sky that is seen through the hole, by patches of it that are small beside their distance."""
        nearest = math.sqrt(max(x0 - point[0], 0, point[0] - x1) ** 2 + (deep - point[1]) ** 2 + max(z0 - point[2], 0, point[2] - z1) ** 2)
        steps = min(64, max(8, round(12 / max(nearest, 0.05))))
        total = 0.0
        for i in range(steps):
            for k in range(steps):
                to = (x0 + (x1 - x0) * (i + 0.5) / steps - point[0], deep - point[1], z0 + (z1 - z0) * (k + 0.5) / steps - point[2])
                square = dot(to, to)
                length = math.sqrt(square)
                d = (to[0] / length, to[1] / length, to[2] / length)
                cosine = dot(d, normal)
                if d[2] > 0.0 and cosine > 0.0:
                    total += sky(d) * cosine * d[1] / square
        return strength * total * (x1 - x0) * (z1 - z0) / steps**2

    @functools.cache
    def solution():
        n = lambda length: max(1, round(length * cells))
        rectangles = [
            ((0, 0, 0), (wide, 0, 0), (0, deep, 0), "floor"), ((0, 0, high), (0, deep, 0), (wide, 0, 0), "ceiling"),
            ((0, 0, 0), (0, 0, high), (wide, 0, 0), "wall"), ((0, 0, 0), (0, deep, 0), (0, 0, high), "wall"),
            ((wide, 0, 0), (0, 0, high), (0, deep, 0), "wall"),
            ((0, deep, 0), (wide, 0, 0), (0, 0, z0), "wall"), ((0, deep, z1), (wide, 0, 0), (0, 0, high - z1), "wall"),
            ((0, deep, z0), (x0, 0, 0), (0, 0, z1 - z0), "wall"), ((x1, deep, z0), (wide - x1, 0, 0), (0, 0, z1 - z0), "wall")]
        patches = []
        for corner, along, across, name in rectangles:
            length = lambda v: math.sqrt(dot(v, v))
            patches += radiosity.rectangle(corner, along, across, reflectances[name], (n(length(along)), n(length(across))))
        for p in patches:
            if p.middle[1] < deep:
                a, b = p.corners[0], p.corners[2]
                places = [tuple(a[c] + (b[c] - a[c]) * (u, v, w)[c] for c in range(3)) for u, v, w in
                    ((0.25, 0.25, 0.25), (0.25, 0.75, 0.75), (0.75, 0.25, 0.25), (0.75, 0.75, 0.75))]
                p.first = sum(from_window(q, p.normal) for q in places) / 4
        # Sums over patches stray near the window; all of the light that passes it has to arrive.
        enters = strength * sky_lux(lambda d: sky(d) if d[2] > 0.0 else 0.0, (0.0, 1.0, 0.0)) * (x1 - x0) * (z1 - z0)
        arrives = sum(p.first * p.area for p in patches)
        for p in patches:
            p.first *= enters / arrives
        radiosity.solve(patches)
        return patches

    def wall_quads():
        south = [[(0, 0, 0), (0, 0, high), (wide, 0, high), (wide, 0, 0)]]
        sides = [[(0, 0, 0), (0, deep, 0), (0, deep, high), (0, 0, high)], [(wide, 0, 0), (wide, 0, high), (wide, deep, high), (wide, deep, 0)]]
        upright = lambda a, b, c, d: [(a, deep, c), (b, deep, c), (b, deep, d), (a, deep, d)]
        north = [upright(0, wide, 0, z0), upright(0, wide, z1, high), upright(0, x0, z0, z1), upright(x1, wide, z0, z1)]
        return [("wall", q) for q in south + sides + north]

    def scene(folder):
        write_obj(folder / "room.obj", [("floor", level_quad(0, wide, 0, deep, 0)), ("ceiling", level_quad(0, wide, 0, deep, high)[::-1])] + wall_quads())
        return (model("room.obj", list(reflectances)) + "".join(material(n, r) for n, r in reflectances.items())
            + "[sun]\nazimuth_deg = 200\naltitude_deg = 40\ncloudiness = 1\nsun_intensity = 0\nsun_color = \"#ffffff\"\nsky_color = \"#ffffff\"\n"
            + '[background]\nmode = "sky"\n[ground]\nheight = -1\nmaterial = "black"\n[materials.black]\ncolor = "#000000"\n')

    cases = []
    for what, place in (("near the window", (2.0, 3.8)), ("in the middle", (2.0, 2.4)), ("at the back", (2.0, 0.8))):
        direct, mirrored = (functools.cache(f) for f in (
            lambda u, v, place=place: from_window((place[0] + u, place[1] + v, 0.0), (0, 0, 1)),
            lambda place=place: radiosity.reflected(solution(), (*place, 0.0), (0.0, 0.0, 1.0))))
        # What is reflected hardly changes over a picture of 0.1 m.
        exact = lambda u, v, direct=direct, mirrored=mirrored: 0.3 / math.pi * (direct(u, v) + mirrored())
        cases.append(Surface("room with a window, " + what, scene, exact, (*place, 0.4), (*place, 0.0), (0, 1, 0), 0.1, indirect))
    return cases


def mirror_walls(program, folder, indirect):
    """A floor beside an upright mirror of 2 m by 6 m in the plane y = 0.8: the mirror shows what is before it."""
    away, half, high = 0.8, 3.0, 2.0

    def write_mirror(folder):
        write_obj(folder / "mirror.obj", [("mirror", [(-half, away, 0), (half, away, 0), (half, away, high), (-half, away, high)])])

    keys = '[[model]]\nfile = "mirror.obj"\nup = "z"\nmaterial = "mirror"\n[materials.mirror]\ncolor = "#ffffff"\nmirror = 1\nmetal = true\nglossy = false\n'

    def meets(x, y, d):
        if d[1] <= 0.0:
            return False
        t = (away - y) / d[1]
        return abs(x + t * d[0]) < half and t * d[2] < high

    def floor(name, extra, function):
        lux = functools.cache(lambda x, y: sky_lux(lambda d: function((d[0], -d[1], d[2]) if meets(x, y, d) else d), rows=80, columns=160))
        return LitFloor(name, keys + extra, lux, 0.1, files=write_mirror, indirect=indirect)

    _, strength = sun_values(program, folder, 90, 40, 1)
    sky = sky_function(90, 40, 1)
    overcast = ("[sun]\nazimuth_deg = 90\naltitude_deg = 40\ncloudiness = 1\nsun_intensity = 0\nsun_color = \"#ffffff\"\n"
        'sky_color = "#ffffff"\n[background]\nmode = "sky"\n')
    cases = [
        floor("mirror wall, even sky", '[background]\nmode = "color"\ncolor = "#ffffff"\nluminance = 1000\n', lambda d: 1000.0),
        floor("mirror wall, overcast sky", overcast, lambda d: strength * sky(d)),
    ]
    # A lamp and its image behind the mirror; the sun likewise, where the image is in the mirror.
    lamp = (0.3, -0.7, 1.1)
    image = (lamp[0], 2 * away - lamp[1], lamp[2])

    def lamp_lux(x, y):
        total = 0.0
        for p in (lamp, image):
            d = (p[0] - x, p[1] - y, p[2])
            total += 500.0 * d[2] / dot(d, d) ** 1.5
        return total

    lamp_keys = light("point", "position = [%g, %g, %g]\ncandela = 500\n" % lamp)
    cases.append(LitFloor("mirror wall, lamp", keys + lamp_keys, lamp_lux, 0.2, files=write_mirror, indirect=indirect))
    square = 50000.0 * math.sin(math.radians(35))
    sun = light("distant", "azimuth_deg = 200\naltitude_deg = 35\nlux = 50000")
    cases.append(LitFloor("mirror wall, distant light", keys + sun, lambda x, y: 2 * square, 0.2, files=write_mirror, indirect=indirect))
    return cases


def panel(indirect):
    """A luminous panel of 1.2 m by 0.6 m, 1.5 m over a floor: E = pi L times the form factor."""
    luminance, high = 3000.0, 1.5
    corners = [(x, y, high) for x, y in ((-0.6, -0.3), (0.6, -0.3), (0.6, 0.3), (-0.6, 0.3))]
    keys = '[[model]]\nfile = "panel.obj"\nup = "z"\nmaterial = "panel"\n' + material("panel", 0.004, luminance)
    lux = lambda x, y: math.pi * luminance * radiosity.share((x, y, 0.0), (0.0, 0.0, 1.0), corners)
    return [LitFloor("luminous panel, " + what, keys, lux, 0.4, center, files=lambda folder: write_obj(folder / "panel.obj", [("panel", corners[::-1])]),
        indirect=indirect) for what, center in (("below", (0.0, 0.0)), ("aside", (1.6, 0.4)))]


def soffit(indirect):
    """A soffit 3 m over a pale terrace of 20 m on grass, by the light of the sun that they reflect."""
    lux, altitude = 60000.0, 50.0
    terrace, grass, under = 0.6, 0.12, 0.02
    square = lux * math.sin(math.radians(altitude))
    high, half = 3.0, 2.0
    to_sun = direction_of(180, altitude)
    shift = high * to_sun[1] / to_sun[2]
    shadow = level_quad(-half, half, -half - shift, half - shift, 0.0)
    slab = level_quad(-10, 10, -10, 10, 0.0)

    def exact(u, v):
        # Seen from below, up is +y and right is -x.
        share = lambda corners: radiosity.share((-u, v, high), (0.0, 0.0, -1.0), corners)
        # The soffit itself reflects so little that its light comes back with a share of 0.01 at most.
        lit = terrace * (share(slab) - share(shadow)) + grass * (1 - share(slab))
        return under / math.pi * square * lit * (1 + back)

    # Light of the soffit that the terrace sends back to it, between squares of 4 m, 3 m apart.
    back = under * terrace * radiosity.share((0.0, 0.0, high), (0.0, 0.0, -1.0), level_quad(-half, half, -half, half, 0.0)) * 0.6

    def scene(folder):
        write_obj(folder / "site.obj", [("terrace", level_quad(-10, 10, -10, 10, 0.0)), ("soffit", level_quad(-half, half, -half, half, high)[::-1])])
        return (model("site.obj", ["terrace", "soffit"]) + material("terrace", terrace) + material("soffit", under) + material("grass", grass)
            + '[ground]\nheight = -0.001\nmaterial = "grass"\n' + light("distant", "azimuth_deg = 180\naltitude_deg = %g\nlux = %g" % (altitude, lux)))

    return [Surface("soffit over a terrace", scene, exact, (0, 0, 1), (0, 0, high), (0, 1, 0), 0.4, indirect)]


def bounce_cases(program, folder, indirect="paths"):
    return (closed_boxes(indirect) + integrating_sphere(indirect) + plates(indirect) + window_room(program, folder, indirect)
        + mirror_walls(program, folder, indirect) + panel(indirect) + soffit(indirect))
