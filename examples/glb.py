"""Meshes made by rule, and the binary glTF files that hold them, for the scripts that make the examples.

Space here is z up and in metres; glTF wants y up, so points are turned when they are stored.
"""
import json
import math
import struct
from array import array


class Mesh:
    """Triangles by material. Each vertex has its normal, unless the scene's `smooth_angle_deg` shall say where
    surfaces are smooth; those of `mapped` materials have picture coordinates."""

    def __init__(self, name, normals=True, mapped=()):
        self.name, self.normals, self.mapped = name, normals, mapped
        self.parts = {}

    def part(self, material):
        return self.parts.setdefault(material, {"p": array("f"), "n": array("f"), "t": array("f"), "i": array("I")})

    def vertex(self, part, p, n=None, t=None):
        part["p"].extend((p[0], p[2], -p[1]))
        if self.normals:
            part["n"].extend((n[0], n[2], -n[1]))
        if t is not None:
            part["t"].extend(t)
        return len(part["p"]) // 3 - 1

    def flat(self, material, corners, places=None):
        """A convex polygon with its own normal; `places` are its picture coordinates."""
        a, b, c = corners[0], corners[1], corners[2]
        u = [b[i] - a[i] for i in range(3)]
        v = [c[i] - a[i] for i in range(3)]
        n = unit([u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]])
        part = self.part(material)
        ids = [self.vertex(part, p, n, t) for p, t in zip(corners, places or [None] * len(corners))]
        for k in range(1, len(ids) - 1):
            part["i"].extend((ids[0], ids[k], ids[k + 1]))

    def box(self, material, low, high):
        x0, y0, z0 = low
        x1, y1, z1 = high
        c = [(x, y, z) for z in (z0, z1) for y in (y0, y1) for x in (x0, x1)]
        for f in ((0, 2, 3, 1), (4, 5, 7, 6), (0, 1, 5, 4), (2, 6, 7, 3), (0, 4, 6, 2), (1, 3, 7, 5)):
            self.flat(material, [c[k] for k in f])

    def grid(self, material, rows, columns, point, wrap_rows=False, wrap_columns=False, place=None):
        """A smooth surface point(r, c); normals from its neighbours. `place(r, c)` are its picture coordinates."""
        part = self.part(material)
        pts = [[point(r, c) for c in range(columns)] for r in range(rows)]
        first = len(part["p"]) // 3

        def at(r, c):
            r = r % rows if wrap_rows else min(max(r, 0), rows - 1)
            c = c % columns if wrap_columns else min(max(c, 0), columns - 1)
            return pts[r][c]

        def normal(r, c, inward=0):
            u = [at(r + 1, c)[i] - at(r - 1, c)[i] for i in range(3)]
            v = [at(r + inward, c + 1)[i] - at(r + inward, c - 1)[i] for i in range(3)]
            return [v[1] * u[2] - v[2] * u[1], v[2] * u[0] - v[0] * u[2], v[0] * u[1] - v[1] * u[0]]

        for r in range(rows):
            for c in range(columns):
                n = None
                if self.normals:
                    n = normal(r, c)
                    if math.hypot(*n) < 1e-12:  # a pole: its ring is one point, so the next ring says how it lies
                        inward = 1 if r == 0 else -1
                        n = [sum(normal(r, k, inward)[i] for k in range(columns)) for i in range(3)]
                    n = unit(n)
                self.vertex(part, pts[r][c], n, place and place(r, c))
        for r in range(rows if wrap_rows else rows - 1):
            for c in range(columns if wrap_columns else columns - 1):
                a = first + r * columns + c
                b = first + r * columns + (c + 1) % columns
                d = first + (r + 1) % rows * columns + c
                e = first + (r + 1) % rows * columns + (c + 1) % columns
                if pts[r][c] != at(r, c + 1):
                    part["i"].extend((a, b, e))
                if pts[(r + 1) % rows][c] != at(r + 1, c + 1):
                    part["i"].extend((a, e, d))

    def lathe(self, material, profile, segments, centre=(0.0, 0.0, 0.0), wave=None):
        """Turns (radius, height) pairs, from below to above on the outside, about the vertical."""
        turn = [(math.cos(2 * math.pi * c / segments), math.sin(2 * math.pi * c / segments)) for c in range(segments)]

        first = 0
        for last in creases(profile) + [len(profile) - 1]:
            run = range(first, last + 1)

            def point(r, c):
                radius, z = profile[run[r]]
                if wave:
                    z += wave(run[r], radius)
                return (centre[0] + radius * turn[c][0], centre[1] + radius * turn[c][1], centre[2] + z)

            self.grid(material, len(run), segments, point, False, True)
            first = last

    def triangles(self):
        return sum(len(p["i"]) // 3 for p in self.parts.values())


def unit(v):
    length = math.hypot(*v)
    return [c / length for c in v] if length > 0 else [0.0] * (len(v) - 1) + [1.0]


def creases(profile):
    """Points at which a profile turns by more than 35 degrees: the surface has an edge there."""
    out = []
    for k in range(1, len(profile) - 1):
        a = unit([profile[k][i] - profile[k - 1][i] for i in range(2)])
        b = unit([profile[k + 1][i] - profile[k][i] for i in range(2)])
        if a[0] * b[0] + a[1] * b[1] < math.cos(math.radians(35)):
            out.append(k)
    return out


def curve(points, steps):
    """A smooth line through (radius, height) pairs: Catmull-Rom with its ends repeated."""
    out = []
    q = [points[0]] + points + [points[-1]]
    for k in range(1, len(q) - 2):
        for s in range(steps):
            t = s / steps
            out.append(tuple(
                0.5 * (2 * q[k][i] + (q[k + 1][i] - q[k - 1][i]) * t
                       + (2 * q[k - 1][i] - 5 * q[k][i] + 4 * q[k + 1][i] - q[k + 2][i]) * t * t
                       + (3 * q[k][i] - q[k - 1][i] - 3 * q[k + 1][i] + q[k + 2][i]) * t ** 3)
                for i in range(2)))
    out.append(points[-1])
    return [(max(r, 0.0), z) for r, z in out]


def ring(radius, z, width, steps=8):
    """A half-round moulding that bulges from `radius`."""
    return [(radius + width * math.sin(math.pi * k / steps), z + 2 * width * k / steps) for k in range(steps + 1)]


def placed(mesh, x, y, z, angle=0.0, scale=None):
    """A node: mesh number `mesh` turned by `angle` degrees about the vertical."""
    half = math.radians(angle) / 2
    return oriented(mesh, (x, y, z), (0, 0, math.sin(half), math.cos(half)), scale)


def oriented(mesh, position, quaternion, scale=None):
    """A node turned by the `quaternion` x, y, z, w."""
    x, y, z, w = quaternion
    node = {"mesh": mesh, "translation": [position[0], position[2], -position[1]], "rotation": [x, z, -y, w]}
    if scale:
        node["scale"] = [scale] * 3
    return node


class Binary:
    """The bytes of a file with their views and accessors."""

    def __init__(self):
        self.bytes, self.views, self.accessors = bytearray(), [], []

    def view(self, data, target):
        self.bytes += b"\0" * (-len(self.bytes) % 4)
        self.views.append({"buffer": 0, "byteOffset": len(self.bytes), "byteLength": len(data), "target": target})
        self.bytes.extend(data)
        return len(self.views) - 1

    def vectors(self, values, size, limits=False):
        accessor = {"bufferView": self.view(struct.pack("<%df" % len(values), *values), 34962), "componentType": 5126,
                    "count": len(values) // size, "type": "VEC%d" % size}
        if limits:
            accessor.update(min=[min(values[i::3]) for i in range(3)], max=[max(values[i::3]) for i in range(3)])
        self.accessors.append(accessor)
        return len(self.accessors) - 1

    def indices(self, values, count):
        short = count < 65535
        data = struct.pack("<%d%s" % (len(values), "H" if short else "I"), *values)
        self.accessors.append({"bufferView": self.view(data, 34963), "componentType": 5123 if short else 5125,
                               "count": len(values), "type": "SCALAR"})
        return len(self.accessors) - 1


def gltf_materials(names, described):
    """The entries of `names`, with the extensions and pictures that they use."""
    entries, extensions, pictures = [], set(), []
    for name in names:
        d = described[name]
        look = {"baseColorFactor": [*d["color"], 1.0], "metallicFactor": d.get("metal", 0.0), "roughnessFactor": d["rough"]}
        entry = {"name": name, "pbrMetallicRoughness": look}
        for key, target, extra in (("picture", look, {}), ("relief", entry, {"scale": d.get("relief_scale", 1.0)})):
            if key in d:
                if d[key] not in pictures:
                    pictures.append(d[key])
                target["baseColorTexture" if key == "picture" else "normalTexture"] = {"index": pictures.index(d[key]), **extra}
        if "transmission" in d:
            entry["extensions"] = {"KHR_materials_transmission": {"transmissionFactor": d["transmission"]}}
            extensions.add("KHR_materials_transmission")
        if "emissive" in d:
            entry["emissiveFactor"] = list(d["emissive"])
        if d.get("two_sided"):
            entry["doubleSided"] = True
        entries.append(entry)
    return entries, sorted(extensions), pictures


def write_glb(path, meshes, nodes, materials, generator):
    """`materials` has a record for each name: linear `color`, `rough`, and what else `gltf_materials` reads."""
    binary, gltf_meshes = Binary(), []
    names = sorted({material for m in meshes for material in m.parts})
    for m in meshes:
        primitives = []
        for material in sorted(m.parts):
            p = m.parts[material]
            attributes = {"POSITION": binary.vectors(p["p"], 3, True)}
            if p["n"]:
                attributes["NORMAL"] = binary.vectors(p["n"], 3)
            if p["t"]:
                attributes["TEXCOORD_0"] = binary.vectors(p["t"], 2)
            primitives.append({"attributes": attributes, "indices": binary.indices(p["i"], len(p["p"]) // 3),
                               "material": names.index(material)})
        gltf_meshes.append({"name": m.name, "primitives": primitives})

    entries, extensions, pictures = gltf_materials(names, materials)
    nodes = [{"mesh": n["mesh"], "name": meshes[n["mesh"]].name, **n} for n in nodes]
    document = {"asset": {"version": "2.0", "generator": generator}, "scene": 0,
                "scenes": [{"nodes": list(range(len(nodes)))}], "nodes": nodes, "meshes": gltf_meshes, "materials": entries,
                "accessors": binary.accessors, "bufferViews": binary.views, "buffers": [{"byteLength": len(binary.bytes)}]}
    if pictures:
        document["images"] = [{"uri": picture} for picture in pictures]
        document["textures"] = [{"source": k} for k in range(len(pictures))]
    if extensions:
        document["extensionsUsed"] = extensions
    text = json.dumps(document, separators=(",", ":")).encode()
    text += b" " * (-len(text) % 4)
    binary.bytes += b"\0" * (-len(binary.bytes) % 4)
    chunks = struct.pack("<II", len(text), 0x4E4F534A) + text + struct.pack("<II", len(binary.bytes), 0x004E4942) + binary.bytes
    with open(path, "wb") as out:
        out.write(struct.pack("<III", 0x46546C67, 2, 12 + len(chunks)) + chunks)
    total = sum(meshes[n["mesh"]].triangles() for n in nodes)
    print("%s: %d triangles in the scene, %d bytes" % (path, total, 12 + len(chunks)))
    return total
