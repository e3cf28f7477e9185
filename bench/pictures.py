#!/usr/bin/env python3
"""Times pictures against their error, for this program and, where they are installed, POV-Ray and Cycles.

    bench/pictures.py build/release/bin/zirconlite                     all scenes, 800 x 600, two threads
    bench/pictures.py build/release/bin/zirconlite --scenes room --keep /tmp/pictures

One description makes each scene for every program. Each picture is compared with the same program's own
converged one, in steps of 255 after one tone curve; the figure is the processor time that a program takes to an
error. Pictures are written as `.hdr`. Processor time is that of the whole process for this program and POV-Ray,
with reading and sorting of the scene, and that of the render alone for Cycles, whose process takes seconds to
start.
"""

import argparse
import array
import math
import os
import pathlib
import re
import resource
import shutil
import subprocess
import sys
import tempfile

import radiance_file

THREADS = 2
WHITE_SHARE = 0.995  # share of the values of a converged picture that are below white
GAMMA = 2.2


# Geometry: a mesh is a material's name, points and triangles


def box(material, low, high):
    p = [(high[0] if i & 1 else low[0], high[1] if i & 2 else low[1], high[2] if i & 4 else low[2]) for i in range(8)]
    quads = [(0, 2, 3, 1), (4, 5, 7, 6), (0, 1, 5, 4), (2, 6, 7, 3), (0, 4, 6, 2), (1, 3, 7, 5)]
    return material, p, [t for a, b, c, d in quads for t in ((a, b, c), (a, c, d))]


def quad(material, a, b, c, d):
    return material, [a, b, c, d], [(0, 1, 2), (0, 2, 3)]


def ball(material, middle, radius, rows, columns, bumps=0.0):
    points = []
    for i in range(rows + 1):
        for k in range(columns):
            a, turn = math.pi * i / rows, 2 * math.pi * k / columns
            r = radius * (1 + bumps * math.sin(9 * a) * math.sin(7 * turn))
            points.append((middle[0] + r * math.sin(a) * math.cos(turn), middle[1] + r * math.sin(a) * math.sin(turn),
                middle[2] + r * math.cos(a)))
    faces = []
    for i in range(rows):
        for k in range(columns):
            n = (k + 1) % columns
            a, b, c, d = i * columns + k, (i + 1) * columns + k, (i + 1) * columns + n, i * columns + n
            faces += [(a, b, d)] * (i > 0) + [(b, c, d)] * (i < rows - 1)
    return material, points, faces


def column(material, x, y, z0, z1, radius, sides=24):
    points = [(x + radius * math.cos(2 * math.pi * k / sides), y + radius * math.sin(2 * math.pi * k / sides), z)
        for z in (z0, z1) for k in range(sides)]
    faces = []
    for k in range(sides):
        n = (k + 1) % sides
        faces += [(k, n, sides + n), (k, sides + n, sides + k)]
    return material, points, faces


# Scenes: meshes, materials {name: (linear colour, mirrored share)}, light


def exterior():
    """A village of 70 thousand triangles under a sharp sun on mirroring ground: antialiasing alone."""
    meshes = [quad("ground", (-60, -60, 0), (60, -60, 0), (60, 60, 0), (-60, 60, 0)),
        ball("stone", (0, 4, 4.2), 3.6, 132, 200, 0.06)]
    for i in range(14):
        for k in range(10):
            x, y = -26 + 4 * i + (k % 2), 12 + 4 * k
            height = 2 + (i * 7 + k * 5) % 6
            meshes.append(box("wall", (x, y, 0), (x + 2, y + 2, height)))
            meshes.append(box("roof", (x - 0.2, y - 0.2, height), (x + 2.2, y + 2.2, height + 0.25)))
    for i in range(24):
        x = -11.5 + i
        meshes.append(ball("leaf", (x, -3 + (i % 3), 0.5), 0.42, 14, 24))
    for i in range(40):
        meshes.append(box("wall", (-12 + 0.6 * i, -5.06, 0), (-11.88 + 0.6 * i, -4.94, 1.1)))
    return {
        "meshes": meshes,
        "materials": {"ground": ((0.22, 0.24, 0.22), 0.25), "stone": ((0.6, 0.52, 0.4), 0), "wall": ((0.65, 0.62, 0.58), 0),
            "roof": ((0.5, 0.2, 0.14), 0), "leaf": ((0.2, 0.36, 0.12), 0)},
        "camera": ((-4, -17, 3.4), (0.5, 6, 2.6), 50),
        "sun": ((-0.5, -0.62, 0.6), 60000.0, 0.0),
        "background": ((0.25, 0.4, 0.7), 0.0),
        "spheres": [],
    }


def room():
    """A room with two spherical light sources: direct light with soft shadows."""
    meshes = [quad("floor", (-3, -4, 0), (3, -4, 0), (3, 3, 0), (-3, 3, 0)), quad("white", (-3, 3, 0), (3, 3, 0), (3, 3, 2.8), (-3, 3, 2.8)),
        quad("white", (-3, -4, 0), (-3, 3, 0), (-3, 3, 2.8), (-3, -4, 2.8)), quad("white", (3, 3, 0), (3, -4, 0), (3, -4, 2.8), (3, 3, 2.8)),
        quad("white", (-3, 3, 2.8), (3, 3, 2.8), (3, -4, 2.8), (-3, -4, 2.8)),
        box("wood", (-1.2, 0.2, 0.72), (1.2, 1.2, 0.77))]
    for x in (-1.1, 1.1):
        for y in (0.3, 1.1):
            meshes.append(box("wood", (x - 0.04, y - 0.04, 0), (x + 0.04, y + 0.04, 0.72)))
    for i in range(7):
        meshes.append(ball("white" if i % 2 else "clay", (-0.9 + 0.3 * i, 0.7, 0.87), 0.1, 24, 40))
    for i in range(12):
        meshes.append(box("clay" if i % 3 else "white", (-2.95, -1.5 + 0.3 * i, 1.2), (-2.7, -1.42 + 0.3 * i, 1.45 + 0.02 * (i % 4))))
    meshes.append(box("wood", (-2.98, -1.7, 1.15), (-2.65, 2.3, 1.2)))
    for k in range(5):
        meshes.append(box("wood", (1.9 + 0.1 * k, 1.5, 0.0), (1.93 + 0.1 * k, 2.8, 1.8)))
    return {
        "meshes": meshes,
        "materials": {"floor": ((0.45, 0.36, 0.28), 0), "white": ((0.75, 0.74, 0.7), 0), "wood": ((0.4, 0.25, 0.14), 0),
            "clay": ((0.55, 0.22, 0.13), 0)},
        "camera": ((0.3, -3.8, 1.6), (0, 1, 1.0), 70),
        "sun": None,
        "background": ((0, 0, 0), 0.0),
        "spheres": [((0.4, -0.4, 2.3), 0.15, 150.0), ((-1.8, 1.6, 1.9), 0.1, 60.0)],
    }


def courtyard():
    """Arcades round a court under an even sky and a sun of its real size."""
    meshes = [quad("floor", (-14, -14, 0), (14, -14, 0), (14, 14, 0), (-14, 14, 0))]
    for turn in range(4):
        c, s = (1, 0, -1, 0)[turn], (0, 1, 0, -1)[turn]
        at = lambda x, y: (c * x - s * y, s * x + c * y)
        parts = [((-11, 10.5, 0), (11, 11, 7)), ((-8, 7.6, 3.6), (8, 8.2, 5.5)), ((-11, 7.6, 5.5), (11, 11, 5.8))]
        for low, high in parts:
            (x0, y0), (x1, y1) = at(low[0], low[1]), at(high[0], high[1])
            meshes.append(box("stone", (min(x0, x1), min(y0, y1), low[2]), (max(x0, x1), max(y0, y1), high[2])))
        for i in range(8):
            x, y = at(-8 + 16 / 7 * i, 7.9)
            meshes.append(column("stone", x, y, 0, 3.6, 0.25))
            meshes.append(box("stone", (x - 0.38, y - 0.38, 3.4), (x + 0.38, y + 0.38, 3.6)))
    meshes += [column("clay", 0, 0, 0, 0.9, 1.4, 48), ball("clay", (0, 0, 1.4), 0.7, 40, 64)]
    return {
        "meshes": meshes,
        "materials": {"floor": ((0.4, 0.36, 0.3), 0), "stone": ((0.62, 0.55, 0.44), 0), "clay": ((0.5, 0.24, 0.15), 0)},
        "camera": ((-5.5, -7.0, 1.7), (3, 4, 2.0), 75),
        "sun": ((-0.45, -0.3, 0.85), 60000.0, 0.533),
        "background": ((0.3, 0.45, 0.75), 9000.0),
        "spheres": [],
    }


def hall(across=20, along=50):
    """A hall of 1,000 small light sources between columns."""
    meshes = [quad("floor", (-21, -2, 0), (21, -2, 0), (21, 82, 0), (-21, 82, 0)), quad("white", (-21, -2, 6), (-21, 82, 6), (21, 82, 6), (21, -2, 6)),
        quad("white", (-21, -2, 0), (-21, 82, 0), (-21, 82, 6), (-21, -2, 6)), quad("white", (21, 82, 0), (21, -2, 0), (21, -2, 6), (21, 82, 6)),
        quad("white", (-21, 82, 0), (21, 82, 0), (21, 82, 6), (-21, 82, 6))]
    for i in range(6):
        for k in range(14):
            meshes.append(column("white", -15 + 6 * i, 3 + 6 * k, 0, 6, 0.35))
    for i in range(60):
        x, y = -16 + (i * 37 % 33), 2 + (i * 53 % 71)
        meshes.append(box("clay", (x, y, 0), (x + 0.8, y + 0.8, 0.5 + 0.3 * (i % 3))))
    candela = 8000.0 / (across * along)
    sources = [((-19.5 + 39 * (i + 0.5) / across, 80 * (k + 0.5) / along, 4.6 + 0.1 * ((i + k) % 3)), 0.05, candela)
        for i in range(across) for k in range(along)]
    return {
        "meshes": meshes,
        "materials": {"floor": ((0.4, 0.37, 0.33), 0), "white": ((0.7, 0.68, 0.63), 0), "clay": ((0.5, 0.24, 0.15), 0)},
        "camera": ((1.2, -1.5, 1.7), (0, 30, 1.6), 75),
        "sun": None,
        "background": ((0, 0, 0), 0.0),
        "spheres": sources,
    }


def lit_room():
    """The room with all interreflection."""
    return dict(room(), bounces=16)


def sky():
    """The village under an even sky and a sun of its real size, with all interreflection."""
    scene = dict(exterior(), bounces=16, sun=((-0.5, -0.62, 0.6), 60000.0, 0.533), background=((0.3, 0.45, 0.75), 9000.0))
    return dict(scene, materials={name: (rgb, 0) for name, (rgb, _) in scene["materials"].items()})


def few():
    """The hall with 10 light sources of the same light in all."""
    return hall(2, 5)


SCENES = {"exterior": exterior, "room": room, "courtyard": courtyard, "hall": hall, "few": few, "lit_room": lit_room, "sky": sky}


def triangle_count(scene):
    return sum(len(faces) for _, _, faces in scene["meshes"])


def toward(scene):
    d = scene["sun"][0]
    length = math.sqrt(sum(c * c for c in d))
    return [c / length for c in d]


def display(linear):
    return "[%s]" % ", ".join("%.6f" % (c ** (1 / GAMMA)) for c in linear)


# This program


def export_own(scene, folder):
    with open(folder / "scene.obj", "w") as out:
        first = 1
        for material, points, faces in scene["meshes"]:
            out.write("usemtl %s\n" % material)
            out.writelines("v %.9g %.9g %.9g\n" % p for p in points)
            out.writelines("f %d %d %d\n" % tuple(i + first for i in f) for f in faces)
            first += len(points)
    eye, target, fov = scene["camera"]
    text = '[camera]\neye = [%g, %g, %g]\ntarget = [%g, %g, %g]\nfov_deg = %g\n' % (*eye, *target, fov)
    text += '[render]\nsampler = "converging"\nindirect = "%s"\nambient = false\n[tone]\nmethod = "film"\n' % (
        "paths" if scene.get("bounces") else "ambient")
    color, luminance = scene["background"]
    text += "[background]\nmode = \"color\"\ncolor = %s\n" % display(color)
    text += "luminance = %g\n" % luminance if luminance else ""
    text += '[[model]]\nfile = "scene.obj"\nup = "z"\nsmooth_angle_deg = 0\nmaterials = { %s }\n' % ", ".join(
        '"%s" = "%s"' % (m, m) for m in scene["materials"])
    for name, (rgb, mirror) in scene["materials"].items():
        text += "[materials.%s]\ncolor = %s\nmirror = %g\nglossy = false\nhighlight_strength = 0\n" % (name, display(rgb), mirror)
    if scene["sun"]:
        d = toward(scene)
        azimuth, altitude = math.degrees(math.atan2(d[0], d[1])), math.degrees(math.asin(d[2]))
        text += '[[light]]\nkind = "distant"\nazimuth_deg = %.9g\naltitude_deg = %.9g\nlux = %g\ndisc_deg = %g\n' % (
            azimuth, altitude, scene["sun"][1], scene["sun"][2])
    for position, radius, candela in scene["spheres"]:
        text += '[[light]]\nkind = "point"\nposition = [%g, %g, %g]\nradius = %g\ncandela = %g\n' % (*position, radius, candela)
    (folder / "scene.toml").write_text(text)


def own_settings(name):
    """The converged picture, and those that are timed, by `noise`."""
    converged = {"exterior": 128, "room": 384, "courtyard": 256, "hall": 384, "few": 384, "lit_room": 512, "sky": 256}[name]
    low = 1 if name == "exterior" else 4  # sharp light leaves nothing to chance
    noises = (14, 12, 10, 6) if name == "exterior" else (12, 6, 3, 2)
    kinds = ("paths", "cache") if SCENES[name]().get("bounces") else ("",)
    return [("converged", (0.01, converged, converged, 7, ""))] + [
        (("%s noise %g" % (kind, n)).strip(), (n, low, 4096, 0, kind)) for kind in kinds for n in noises]


def render_own(program, scene, folder, size, setting, output, threads=THREADS):
    noise, low, high, seed, kind = setting
    text = (folder / "scene.toml").read_text()
    limits = "[render]\nsize = [%d, %d]\nnoise = %g\nmin_samples = %d\nmax_samples = %d\nseed = %d\n" % (*size, noise, low, high, seed)
    (folder / "timed.toml").write_text(text.replace("[render]\n", limits))
    chosen = ["--indirect", kind] if kind else []
    return run([program, "render", "timed.toml", "-o", str(output), "--threads", str(threads), *chosen], folder)[0]


# POV-Ray


def export_pov(scene, folder):
    lines = ["#version 3.7;\nglobal_settings { assumed_gamma 1.0 max_trace_level 6 ambient_light rgb 0 }\n"]
    vector = lambda p: "<%.9g,%.9g,%.9g>" % (p[0], p[2], p[1])  # its space is left-handed, y up
    eye, target, fov = scene["camera"]
    lines.append("camera { perspective location %s right x*4/3 up y angle %g look_at %s }\n" % (vector(eye), fov, vector(target)))
    rgb = lambda c: "rgb <%g,%g,%g>" % tuple(c)
    unit = 1e-3 # its lights are shown as 1; ours are lux
    lines.append("background { %s }\n" % rgb(scene["background"][0]))
    for name, (color, mirror) in scene["materials"].items():
        lines.append("#declare %s_look = texture { pigment { %s } finish { ambient 0 diffuse %g reflection { %g } } }\n" % (
            name, rgb(color), 1 - mirror, mirror))
    for material in scene["materials"]:
        points, faces = [], []
        for m, p, f in scene["meshes"]:
            if m == material:
                faces += [tuple(i + len(points) for i in t) for t in f]
                points += p
        lines.append("mesh2 { vertex_vectors { %d,%s }\nface_indices { %d,%s }\ntexture { %s_look } }\n" % (
            len(points), ",\n".join(map(vector, points)), len(faces), ",\n".join("<%d,%d,%d>" % f for f in faces), material))
    if scene["sun"]:
        d = [1e4 * c for c in toward(scene)]
        lines.append("light_source { %s %s parallel point_at <0,0,0> }\n" % (vector(d), rgb([1.6] * 3)))
    for position, radius, candela in scene["spheres"]:
        # fade_distance d, power 2: (1 + 1) / (1 + r^2 / d^2), close to 2 d^2 / r^2 for a small d
        d = 0.02
        lines.append("light_source { %s %s area_light x*%g, z*%g, 9, 9 adaptive 1 jitter circular orient "
            "fade_distance %g fade_power 2 }\n" % (vector(position), rgb([candela * unit * 10 / (2 * d * d) / 10] * 3), 2 * radius, 2 * radius, d))
    (folder / "scene.pov").write_text("".join(lines))


def pov_settings(name):
    if name == "exterior":
        return [("converged", "+A0.0 +AM1 +R9 -J"), ("+A0.1 +AM2 +R3", "+A0.1 +AM2 +R3"), ("+A0.3 +AM2 +R3", "+A0.3 +AM2 +R3"),
            ("no antialiasing", "-A")]
    return [("converged", "+A0.0 +AM1 +R9"), ("+A0.1 +AM2 +R3", "+A0.1 +AM2 +R3"), ("no antialiasing", "-A")]


def render_pov(program, scene, folder, size, setting, output):
    arguments = [program, "+Iscene.pov", "+O" + str(output), "+FH", "+W%d" % size[0], "+H%d" % size[1], "-D", "+WT%d" % THREADS,
        *setting.split()]
    return run(arguments, folder)[0]


# Cycles, in Blender

BLENDER_SCRIPT = r'''
import bpy, json, math, mathutils, sys, time
scene = json.load(open(sys.argv[-1] + "/scene.json"))
bpy.ops.wm.read_factory_settings(use_empty=True)
s = bpy.context.scene
materials = {}
for name, (rgb, mirror) in scene["materials"].items():
    m = bpy.data.materials.new(name)
    m.use_nodes = True
    nodes, links = m.node_tree.nodes, m.node_tree.links
    nodes.clear()
    out, diffuse = nodes.new("ShaderNodeOutputMaterial"), nodes.new("ShaderNodeBsdfDiffuse")
    diffuse.inputs["Color"].default_value = (*rgb, 1)
    result = diffuse.outputs[0]
    if mirror:
        glossy, mix = nodes.new("ShaderNodeBsdfGlossy"), nodes.new("ShaderNodeMixShader")
        glossy.distribution = "SHARP"
        glossy.inputs["Color"].default_value = (1, 1, 1, 1)
        mix.inputs[0].default_value = mirror
        links.new(diffuse.outputs[0], mix.inputs[1])
        links.new(glossy.outputs[0], mix.inputs[2])
        result = mix.outputs[0]
    links.new(result, out.inputs["Surface"])
    materials[name] = m
for index, (material, points, faces) in enumerate(scene["meshes"]):
    mesh = bpy.data.meshes.new("m%d" % index)
    mesh.from_pydata(points, [], faces)
    mesh.materials.append(materials[material])
    s.collection.objects.link(bpy.data.objects.new("m%d" % index, mesh))
for index, (position, radius, candela) in enumerate(scene["spheres"]):
    light = bpy.data.lights.new("l%d" % index, "POINT")
    light.energy, light.shadow_soft_size = candela * 4 * math.pi, radius
    o = bpy.data.objects.new("l%d" % index, light)
    o.location = position
    s.collection.objects.link(o)
if scene["sun"]:
    light = bpy.data.lights.new("sun", "SUN")
    light.energy, light.angle = scene["sun"][1] / math.pi, math.radians(scene["sun"][2])
    o = bpy.data.objects.new("sun", light)
    o.rotation_euler = mathutils.Vector(scene["toward"]).to_track_quat("Z", "Y").to_euler()
    s.collection.objects.link(o)
world = bpy.data.worlds.new("w")
world.use_nodes = True
color, luminance = scene["background"]
world.node_tree.nodes["Background"].inputs[0].default_value = (*color, 1)
world.node_tree.nodes["Background"].inputs[1].default_value = luminance if luminance else 1.0
s.world = world
camera = bpy.data.cameras.new("c")
eye, target, fov = scene["camera"]
camera.sensor_fit, camera.angle = "HORIZONTAL", math.radians(fov)
o = bpy.data.objects.new("c", camera)
o.location = eye
o.rotation_euler = (mathutils.Vector(eye) - mathutils.Vector(target)).to_track_quat("Z", "Y").to_euler()
s.collection.objects.link(o)
s.camera = o
s.render.engine = "CYCLES"
c = s.cycles
c.device, c.use_adaptive_sampling, c.use_denoising = "CPU", False, False
c.max_bounces, c.diffuse_bounces, c.glossy_bounces, c.transmission_bounces = (
    scene["mirrors"] + scene["bounces"], scene["bounces"], scene["mirrors"], 0)
c.sample_clamp_direct = c.sample_clamp_indirect = 0
c.use_light_tree = True if hasattr(c, "use_light_tree") else None
s.render.threads_mode, s.render.threads = "FIXED", scene["threads"]
s.render.resolution_x, s.render.resolution_y = scene["size"]
s.render.resolution_percentage = 100
s.render.image_settings.file_format = "HDR"
s.render.use_persistent_data = False
s.view_settings.view_transform = "Raw"
for samples, seed, output in scene["renders"]:
    c.samples, c.seed = samples, seed
    s.render.filepath = output
    wall, cpu = time.time(), time.process_time()
    bpy.ops.render.render(write_still=True)
    print("TIMED", output, time.process_time() - cpu, time.time() - wall, flush=True)
'''


def cycles_settings(name):
    converged = {"exterior": 128, "room": 512, "courtyard": 256, "hall": 256, "few": 256, "lit_room": 256, "sky": 128}[name]
    return [("converged", (converged, 7))] + [("%d samples" % n, (n, 0)) for n in (16, 64)]


def render_cycles(program, scene, folder, size, settings, outputs):
    import json

    description = dict(scene, size=size, threads=THREADS,
        mirrors=6 if any(m for _, m in scene["materials"].values()) else 0, bounces=scene.get("bounces", 0),
        renders=[(samples, seed, str(output)) for (_, (samples, seed)), output in zip(settings, outputs)])
    if scene["sun"]:
        description["toward"] = toward(scene)
    (folder / "scene.json").write_text(json.dumps(description))
    (folder / "cycles.py").write_text(BLENDER_SCRIPT)
    text = run([program, "-b", "--factory-startup", "--python-exit-code", "1", "-P", folder / "cycles.py", "--", folder], folder)[1]
    times = dict((m[1], float(m[2])) for m in re.finditer(r"^TIMED (\S+) (\S+)", text, re.M))
    return [times[str(output)] for output in outputs]


# Timing and error


def run(arguments, folder):
    """Processor seconds of a program, and what it prints."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    done = subprocess.run([str(a) for a in arguments], cwd=folder, capture_output=True, text=True)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if done.returncode:
        sys.exit("%s failed:\n%s" % (arguments[0], (done.stdout + done.stderr)[-2000:]))
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, done.stdout + done.stderr


def read_hdr(path):
    """Values of all channels, by planes of rows."""
    values = array.array("f")
    for planes in radiance_file.read_planes(path)[1]:
        scales = [radiance_file.SCALES[e] for e in planes[3]]
        for plane in planes[:3]:
            values.extend((m + 0.5) * s for m, s in zip(plane, scales))
    return values


def white_of(values):
    return sorted(values[:: max(len(values) // 100000, 1)])[int(WHITE_SHARE * 99999) if len(values) >= 100000 else -1]


def shown(values, white):
    """Display steps of the tone curve, which is the same for all: a power, cut at white."""
    return array.array("f", (255.0 * min(max(v / white, 0.0), 1.0) ** (1 / GAMMA) for v in values))


def rms(a, b):
    return math.sqrt(sum((x - y) ** 2 for x, y in zip(a, b)) / len(a))


def time_to(points, error):
    """Seconds to an error, between the measured (seconds, error) by powers; None outside of them."""
    points = sorted(points, key=lambda p: -p[1])
    for (t0, e0), (t1, e1) in zip(points, points[1:]):
        if e0 >= error >= e1 and e0 > e1:
            share = math.log(e0 / error) / math.log(e0 / e1)
            return t0 * (t1 / t0) ** share
    return None


def measure(name, programs, size, folder, keep):
    """Rows (program, setting, seconds, error) of one scene."""
    scene, rows = SCENES[name](), []
    for program, path in programs.items():
        inner = folder / ("%s_%s" % (name, program))
        inner.mkdir(exist_ok=True)
        settings = {"zirconlite": own_settings, "povray": pov_settings, "cycles": cycles_settings}[program](name)
        if program == "povray" and name in ("courtyard", "hall", "few", "lit_room", "sky"):
            continue  # an even sky takes its radiosity, and a thousand area lights hours
        outputs = [inner / ("%d.hdr" % i) for i in range(len(settings))]
        if program == "cycles":
            seconds = render_cycles(path, scene, inner, size, settings, outputs)
        else:
            (export_own if program == "zirconlite" else export_pov)(scene, inner)
            render = render_own if program == "zirconlite" else render_pov
            seconds = [render(path, scene, inner, size, setting, output) for (_, setting), output in zip(settings, outputs)]
        exact = read_hdr(outputs[0])
        white = white_of(exact)
        exact = shown(exact, white)
        for (what, _), output, taken in list(zip(settings, outputs, seconds))[1:]:
            error = rms(shown(read_hdr(output), white), exact)
            rows.append((program, what, taken, error))
            print("%-10s %-10s %-16s %8.2f s %7.2f steps" % (name, program, what, taken, error), flush=True)
    return rows


# Of a scene: whose setting, which of our own, and the share of the other's time
BARS = (("exterior", "povray", "+A0.1 +AM2 +R3", "", 0.5), ("room", "cycles", "64 samples", "", 0.5),
    ("lit_room", "cycles", "64 samples", "paths", 0.5), ("lit_room", "cycles", "64 samples", "cache", 0.25),
    ("sky", "cycles", "64 samples", "cache", 0.5))


def report_bars(name, rows):
    for scene, other, setting, kind, share in BARS:
        theirs = [r for r in rows if r[0] == other and r[1] == setting]
        if scene != name or not theirs:
            continue
        ours = time_to([(r[2], r[3]) for r in rows if r[0] == "zirconlite" and r[1].startswith(kind)],
            theirs[0][3])
        print("%s %s: %s of %s errs by %.2f in %.2f s; this program takes %s, to be at most %.2f s" % (
            name, kind, setting, other, theirs[0][3], theirs[0][2], "%.2f s" % ours if ours else "more or less than was measured",
            share * theirs[0][2]), flush=True)


def report_threads(program, folder, size):
    """Wall-clock time of one thread over that of two; wants a quiet machine."""
    import time

    scene = room()
    export_own(scene, folder)
    walls = []
    for threads in (1, 2):
        start = time.perf_counter()
        render_own(program, scene, folder, size, (0.01, 64, 64, 0, ""), folder / "threads.hdr", threads)
        walls.append(time.perf_counter() - start)
    print("two threads: %.2f of one (%.2f and %.2f s)" % (walls[0] / walls[1], *walls), flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("program", type=pathlib.Path)
    parser.add_argument("--scenes", default=",".join(SCENES))
    parser.add_argument("--programs", default="zirconlite,povray,cycles")
    parser.add_argument("--size", default="800x600")
    parser.add_argument("--threads", action="store_true", help="measure two threads against one alone")
    parser.add_argument("--keep", type=pathlib.Path, help="folder for scenes and pictures, which stay")
    options = parser.parse_args()
    size = tuple(map(int, options.size.split("x")))
    paths = {"zirconlite": options.program.resolve(), "povray": shutil.which("povray"), "cycles": shutil.which("blender")}
    programs = {p: paths[p] for p in options.programs.split(",") if paths[p]}
    with tempfile.TemporaryDirectory() as temporary:
        folder = options.keep or pathlib.Path(temporary)
        folder.mkdir(exist_ok=True, parents=True)
        if options.threads:
            report_threads(programs["zirconlite"], folder, size)
            return
        for name in options.scenes.split(","):
            rows = measure(name, programs, size, folder, options.keep)
            report_bars(name, rows)


if __name__ == "__main__":
    main()
