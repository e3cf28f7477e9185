#!/usr/bin/env python3
"""Renders an example by this program and by Cycles, and puts both pictures side by side.

    bench/beside_cycles.py build/release/bin/zirconlite examples/livingroom/livingroom.toml -o beside.png

The same model, materials, lights, sky and camera go to both, as far as Cycles has them: patterns and bumps of the scene
file stay behind, and what a model's own materials say is read by each in its way. Cycles gets `--samples` a pixel, this
program `--max-samples`; the processor time of both is printed. Both pictures are exposed by this program's film curve.
Wants Blender and ImageMagick.
"""

import argparse
import collections
import json
import math
import os
import pathlib
import re
import resource
import shutil
import subprocess
import sys
import tempfile
import tomllib

import radiance_file

GAMMA = 2.2


def linear(color):
    if isinstance(color, str):
        color = [int(color[k : k + 2], 16) / 255 for k in (1, 3, 5)]
    return [c**GAMMA for c in color]


def run(arguments, folder=None):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    # Blender takes the modules of the first Python in PATH: its own is beside it.
    path = "%s:%s" % (pathlib.Path(arguments[0]).parent, os.environ["PATH"])
    done = subprocess.run([str(a) for a in arguments], cwd=folder, capture_output=True, text=True, env={**os.environ, "PATH": path})
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if done.returncode:
        sys.exit("%s failed:\n%s" % (arguments[0], (done.stdout + done.stderr)[-3000:]))
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, done.stdout + done.stderr


# From the scene file to what the script below reads


def described(path, scene, program, folder, size):
    place = path.parent
    camera, sun = scene["camera"], scene.get("sun")
    out = {
        "camera": {k: camera[k] for k in ("eye", "target")}, "lens": camera.get("lens_mm", 28.0), "size": size,
        "upright": camera.get("projection") == "two-point", "models": [], "lights": [], "sky": None, "ground": None, "background": None,
        "materials": {name: material(m) for name, m in scene.get("materials", {}).items()},
    }
    for m in scene["model"]:
        out["models"].append({"file": str((place / m["file"]).resolve()), "names": m.get("materials", {}), "all": m.get("material"),
            "smooth": m.get("smooth_angle_deg"), "shadow": m.get("casts_shadow", True), "up": m.get("up", "y")})
    out["lights"] = [light(l, program, folder) for l in scene.get("light", [])]
    if sun:
        out["lights"] += sun_light(sun, program)
        out["sky"] = str(render_sky(scene, program, folder))
    elif "background" in scene and "color" in scene["background"]:
        out["background"] = linear(scene["background"]["color"])
    if "ground" in scene:
        out["ground"] = [scene["ground"].get("height", 0.0), scene["ground"].get("material")]
    return out


def material(m):
    clear, mirror, spread = m.get("transparency", 0.0), m.get("mirror", 0.0), m.get("translucency", 0.0)
    color = linear(m.get("color", [0.7] * 3))
    return {
        "color": color, "clear_color": linear(m["transparent_color"]) if "transparent_color" in m else color,
        "mirror_color": color if m.get("metal") else linear(m.get("mirror_color", [1.0] * 3)), "diffuse": (1 - clear) * (1 - mirror),
        "mirror": (1 - clear) * mirror, "translucent": clear * spread, "clear": clear * (1 - spread), "ior": m.get("ior", 1.5),
        "thin": m.get("thin", False), "glow": m.get("luminosity", 0.0), "exponent": m.get("highlight", 0),
    }


def direction(azimuth, altitude):
    a, h = math.radians(azimuth), math.radians(altitude)
    return [math.cos(h) * math.sin(a), math.cos(h) * math.cos(a), math.sin(h)]


def tint_of(l, program, folder):
    """What a white floor gets of the light's channels: temperatures as this program has them."""
    if "kelvin" not in l and "filter" not in l:
        return [1.0] * 3
    keys = "".join("%s = %s\n" % (k, json.dumps(l[k])) for k in ("kelvin", "filter") if k in l)
    (folder / "floor.obj").write_text("v -5 -5 0\nv 5 -5 0\nv 5 5 0\nv -5 5 0\nf 1 2 3 4\n")
    (folder / "tint.toml").write_text('[camera]\neye = [0, 0, 3]\ntarget = [0, 0, 0]\nup = [0, 1, 0]\n[render]\nsize = [16, 16]\nmax_samples = 16\n'
        '[[model]]\nfile = "floor.obj"\nup = "z"\nmaterial = "white"\n[materials.white]\ncolor = "#ffffff"\n'
        '[[light]]\nkind = "distant"\nazimuth_deg = 0\naltitude_deg = 90\nlux = 1000\n%s' % keys)
    run([program, "render", "tint.toml", "-o", "tint.hdr"], folder)
    row = radiance_file.read_planes(folder / "tint.hdr")[1][8]
    return [(row[c][8] + 0.5) * radiance_file.SCALES[row[3][8]] * math.pi / 1000 for c in range(3)]


def light(l, program, folder):
    tint = tint_of(l, program, folder)
    out = {"kind": l["kind"], "color": tint, "radius": l.get("radius", 0.0), "position": l.get("position"), "target": l.get("target")}
    if l["kind"] == "distant":
        return {**out, "toward": direction(l["azimuth_deg"], l["altitude_deg"]), "strength": l["lux"], "disc": l.get("disc_deg", 0.0)}
    if l["kind"] == "point":
        return {**out, "strength": l["lumens"] if "lumens" in l else 4 * math.pi * l["candela"]}
    beam, field = math.radians(l.get("beam_deg", 60)) / 2, math.radians(l.get("field_deg", 90)) / 2
    power = math.log(0.5) / math.log(math.cos(beam))
    candela = l.get("candela") or l["lumens"] * (power + 1) / (2 * math.pi * (1 - math.cos(field) ** (power + 1)))
    return {**out, "strength": 4 * math.pi * candela, "field": 2 * field, "beam": 2 * beam}


def sun_arguments(sun):
    if "azimuth_deg" in sun:
        where = ["--azimuth", sun["azimuth_deg"], "--altitude", sun["altitude_deg"]]
    else:
        where = ["--place", sun["place"], "--date", sun["date"], "--time", sun["time"]] + ["--daylight-saving"] * bool(sun.get("daylight_saving"))
    return where + ["--cloudiness", sun.get("cloudiness", 0), "--format", "json"]


def sun_light(sun, program):
    found = json.loads(run([program, "sun", *sun_arguments(sun)])[1])["moments"][0]
    lux = found["sun_lux"] * sun.get("sun_intensity", 1.0)
    if lux <= 0.0:
        return []
    azimuth = found["azimuth_deg"] + sun.get("north_deg", 0.0)
    return [{"kind": "distant", "color": found["sun_color"], "toward": direction(azimuth, found["altitude_deg"]), "strength": lux, "disc": sun.get("size_deg", 0.533),
        "radius": 0, "position": None, "target": None}]


def render_sky(scene, program, folder):
    """The sky alone as a panorama of light."""
    keys = "".join("%s = %s\n" % (k, json.dumps(v)) for k, v in scene["sun"].items())
    (folder / "far.obj").write_text("v 0 0 -50\nv 1 0 -50\nv 0 1 -50\nf 1 2 3\n")
    (folder / "sky.toml").write_text('[camera]\neye = [0, 0, 1]\ntarget = [0, 1, 1]\nprojection = "spherical"\n[render]\nsize = [512, 256]\n'
        'max_samples = 16\n[sun]\n%s[background]\nmode = "sky"\n[[model]]\nfile = "far.obj"\nup = "z"\n' % keys)
    run([program, "render", "sky.toml", "-o", "sky.hdr"], folder)
    return folder / "sky.hdr"


BLENDER_SCRIPT = r'''
import bpy, json, math, mathutils, numpy, sys, time
numpy.bool = bool  # the importer of glTF uses a name that numpy has dropped
scene = json.load(open(sys.argv[-1] + "/scene.json"))
bpy.ops.wm.read_factory_settings(use_empty=True)
s = bpy.context.scene


def made(name, d):
    """A material of the scene file: diffuse, mirrored, translucent and clear shares side by side."""
    m = bpy.data.materials.new("scene " + name)
    m.use_nodes = True
    nodes, links = m.node_tree.nodes, m.node_tree.links
    nodes.clear()
    out = nodes.new("ShaderNodeOutputMaterial")
    parts = []

    def part(kind, color, share, **inputs):
        if share > 0.0:
            n = nodes.new(kind)
            n.inputs["Color"].default_value = (*[c * share for c in color], 1)
            for key, value in inputs.items():
                n.inputs[key].default_value = value
            parts.append(n.outputs[0])
            return n

    part("ShaderNodeBsdfDiffuse", d["color"], d["diffuse"])
    gloss = part("ShaderNodeBsdfGlossy", d["mirror_color"], d["mirror"], Roughness=math.sqrt(math.sqrt(2 / (d["exponent"] + 2))) if d["exponent"] else 0.0)
    part("ShaderNodeBsdfTranslucent", d["color"], d["translucent"])
    if d["clear"] > 0.0:
        if d["thin"]:
            part("ShaderNodeBsdfTransparent", d["clear_color"], d["clear"] * (0.92 if d["translucent"] == 0 else 1))
            if d["translucent"] == 0:
                part("ShaderNodeBsdfGlossy", (1, 1, 1), d["clear"] * 0.08, Roughness=0.0)
        else:
            part("ShaderNodeBsdfGlass", d["clear_color"], d["clear"], Roughness=0.0, IOR=d["ior"])
    if d["glow"]:
        e = nodes.new("ShaderNodeEmission")
        e.inputs["Color"].default_value = (*d["color"], 1)
        e.inputs["Strength"].default_value = d["glow"]
        parts.append(e.outputs[0])
    result = parts[0] if parts else None
    for p in parts[1:]:
        add = nodes.new("ShaderNodeAddShader")
        links.new(result, add.inputs[0])
        links.new(p, add.inputs[1])
        result = add.outputs[0]
    if result:
        links.new(result, out.inputs["Surface"])
    return m


materials = {name: made(name, d) for name, d in scene["materials"].items()}
for model in scene["models"]:
    before = set(bpy.data.objects)
    if model["file"].endswith(".glb"):
        bpy.ops.import_scene.gltf(filepath=model["file"], merge_vertices=True)
    else:
        bpy.ops.import_scene.obj(filepath=model["file"], axis_forward="Y" if model["up"] == "z" else "-Z", axis_up="Z" if model["up"] == "z" else "Y")
    for o in set(bpy.data.objects) - before:
        if o.type != "MESH":
            continue
        if model["smooth"] is not None:
            o.data.polygons.foreach_set("use_smooth", [True] * len(o.data.polygons))
            o.data.use_auto_smooth, o.data.auto_smooth_angle = True, math.radians(model["smooth"])
        for slot in o.material_slots:
            name = slot.material.name.rsplit(".", 1)[0] if slot.material and slot.material.name[-3:].isdigit() else slot.material and slot.material.name
            if model["all"]:
                slot.material = materials[model["all"]]
            elif name in model["names"]:
                slot.material = materials[model["names"][name]]
        if not model["shadow"]:
            # The shape of a luminaire: its light source stands within. A ray through a shade counts as passing.
            o.visible_shadow = o.visible_diffuse = o.visible_glossy = o.visible_transmission = False
for index, l in enumerate(scene["lights"]):
    lamp = bpy.data.lights.new("l%d" % index, {"point": "POINT", "spot": "SPOT", "distant": "SUN"}[l["kind"]])
    lamp.energy, lamp.color = l["strength"], l["color"]
    o = bpy.data.objects.new("l%d" % index, lamp)
    if l["kind"] == "distant":
        lamp.angle = math.radians(l["disc"])
        o.rotation_euler = mathutils.Vector(l["toward"]).to_track_quat("Z", "Y").to_euler()
    else:
        lamp.shadow_soft_size = l["radius"]
        o.location = l["position"]
        if l["kind"] == "spot":
            lamp.spot_size, lamp.spot_blend = l["field"], 1.0
            o.rotation_euler = (mathutils.Vector(l["position"]) - mathutils.Vector(l["target"])).to_track_quat("Z", "Y").to_euler()
    s.collection.objects.link(o)
if scene["ground"]:
    mesh = bpy.data.meshes.new("ground")
    z, r = scene["ground"][0], 3000.0
    mesh.from_pydata([(-r, -r, z), (r, -r, z), (r, r, z), (-r, r, z)], [], [(0, 1, 2, 3)])
    if scene["ground"][1]:
        mesh.materials.append(materials[scene["ground"][1]])
    s.collection.objects.link(bpy.data.objects.new("ground", mesh))
world = bpy.data.worlds.new("w")
world.use_nodes = True
s.world = world
nodes, links = world.node_tree.nodes, world.node_tree.links
background = nodes["Background"]
background.inputs["Color"].default_value = (0, 0, 0, 1)
if scene["sky"]:
    picture, turn, place = nodes.new("ShaderNodeTexEnvironment"), nodes.new("ShaderNodeMapping"), nodes.new("ShaderNodeTexCoord")
    picture.image = bpy.data.images.load(scene["sky"])
    turn.inputs["Rotation"].default_value[2] = math.radians(-90)  # the picture's middle is north
    links.new(place.outputs["Generated"], turn.inputs["Vector"])
    links.new(turn.outputs["Vector"], picture.inputs["Vector"])
    links.new(picture.outputs["Color"], background.inputs["Color"])
if scene["background"]:
    # It is seen and gives no light.
    seen, none, kind, mix = (nodes.new(n) for n in ("ShaderNodeBackground", "ShaderNodeBackground", "ShaderNodeLightPath", "ShaderNodeMixShader"))
    seen.inputs["Color"].default_value, seen.inputs["Strength"].default_value = (*scene["background"], 1), 800.0
    none.inputs["Strength"].default_value = 0.0
    links.new(kind.outputs["Is Camera Ray"], mix.inputs[0])
    links.new(none.outputs[0], mix.inputs[1])
    links.new(seen.outputs[0], mix.inputs[2])
    links.new(mix.outputs[0], nodes["World Output"].inputs["Surface"])
eye, target = (mathutils.Vector(scene["camera"][k]) for k in ("eye", "target"))
camera = bpy.data.cameras.new("c")
camera.sensor_width, camera.lens, camera.clip_start, camera.clip_end = 36.0, scene["lens"], 0.01, 5000.0
d = target - eye
if scene["upright"]:
    flat = math.hypot(d.x, d.y)
    camera.shift_y = d.z / flat * scene["lens"] / 36.0
    d = mathutils.Vector((d.x, d.y, 0.0))
o = bpy.data.objects.new("c", camera)
o.location = eye
o.rotation_euler = (-d).to_track_quat("Z", "Y").to_euler()
s.collection.objects.link(o)
s.camera = o
s.render.engine = "CYCLES"
c = s.cycles
c.device, c.use_adaptive_sampling, c.use_denoising, c.samples = "CPU", False, False, scene["samples"]
c.max_bounces, c.diffuse_bounces, c.glossy_bounces, c.transmission_bounces, c.transparent_max_bounces = 24, 8, 6, 10, 24
c.sample_clamp_direct, c.sample_clamp_indirect = 0, 0
s.render.threads_mode, s.render.threads = "FIXED", 2
s.render.resolution_x, s.render.resolution_y = scene["size"]
s.render.resolution_percentage = 100
s.render.image_settings.file_format = "HDR"
s.view_settings.view_transform = "Raw"
s.render.filepath = sys.argv[-1] + "/cycles.hdr"
cpu = time.process_time()
bpy.ops.render.render(write_still=True)
print("TIMED", time.process_time() - cpu, flush=True)
'''


# Both pictures at one exposure


def render_own(program, scene, folder, options):
    """The picture without grain by the film curve at 5000 K, its light, and the processor time of the first."""
    text = re.sub(r"^(ev|white_kelvin|brightness|contrast|white_automatic) *=.*\n", "", scene.read_text(), flags=re.M)
    plain = scene.with_name(".beside-" + scene.name)  # where it finds the models that it names
    plain.write_text(text)
    try:
        arguments = [program, "render", plain, "--size", options.size, "--method", "film"]
        seconds = run(arguments + ["-o", folder / "own.png", "--max-samples", options.max_samples, "--denoise"])[0]
        run(arguments + ["-o", folder / "own.hdr", "--max-samples", 16])
    finally:
        plain.unlink()
    return seconds


def mean_shown(path):
    return float(run([shutil.which("convert"), path, "-colorspace", "gray", "-format", "%[fx:mean]", "info:"])[1])


def light_ratio(folder):
    """Mean luminance of Cycles' picture over ours, without the pixels in which it has nothing but an even background."""
    theirs, ours = ([pixel for planes in radiance_file.read_planes(folder / name)[1] for pixel in zip(*planes)] for name in ("cycles.hdr", "own.hdr"))
    most, count = collections.Counter(theirs).most_common(1)[0]
    counted = [k for k, pixel in enumerate(theirs) if pixel != most or count < len(theirs) / 50]
    luminance = lambda pixel: sum(w * (pixel[c] + 0.5) for c, w in enumerate((0.3, 0.6, 0.1))) * radiance_file.SCALES[pixel[3]]
    return sum(luminance(theirs[k]) for k in counted) / sum(luminance(ours[k]) for k in counted)


def tone_like(program, folder):
    """Cycles' picture by the same curve, as bright on average as ours."""
    wanted, low, high = mean_shown(folder / "own.png"), -1.0, 1.0
    for _ in range(8):
        brightness = (low + high) / 2
        run([program, "tone", folder / "cycles.hdr", "-o", folder / "cycles.png", "--method", "film", "--brightness=%g" % brightness])
        low, high = (brightness, high) if mean_shown(folder / "cycles.png") < wanted else (low, brightness)


def put_together(program, options, folder, theirs):
    ours = render_own(program, options.scene, folder, options)
    tone_like(program, folder)
    print("%s: this program %.1f s, Cycles %.1f s of processor time; light of Cycles' picture %.3f of ours" % (
        options.scene.name, ours, theirs, light_ratio(folder)))
    run([shutil.which("convert"), folder / "own.png", folder / "cycles.png", "+append", "-quality", "88", options.output])


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("program", type=pathlib.Path)
    parser.add_argument("scene", type=pathlib.Path)
    parser.add_argument("-o", "--output", type=pathlib.Path, required=True)
    parser.add_argument("--size", default="480x300")
    parser.add_argument("--samples", type=int, default=64, help="of Cycles, for each pixel")
    parser.add_argument("--max-samples", type=int, default=64, help="of this program")
    parser.add_argument("--keep", type=pathlib.Path, help="folder for what is made on the way, which stays")
    options = parser.parse_args()
    program, blender = options.program.resolve(), shutil.which("blender")
    options.output = options.output.resolve()
    size = list(map(int, options.size.split("x")))
    scene = tomllib.loads(options.scene.read_text())
    with tempfile.TemporaryDirectory() as temporary:
        folder = (options.keep or pathlib.Path(temporary)).resolve()
        folder.mkdir(exist_ok=True, parents=True)
        (folder / "scene.json").write_text(json.dumps({**described(options.scene, scene, program, folder, size), "samples": options.samples}))
        (folder / "cycles.py").write_text(BLENDER_SCRIPT)
        text = run([blender, "-b", "--factory-startup", "--python-exit-code", "1", "-P", folder / "cycles.py", "--", folder])[1]
        theirs = float(re.search(r"^TIMED (\S+)", text, re.M)[1])
        put_together(program, options, folder, theirs)


if __name__ == "__main__":
    main()
