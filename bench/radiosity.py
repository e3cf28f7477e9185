"""Light between matt rectangles, solved on patches: an independent answer for rooms that have no formula.

Patches send evenly; what a point receives from one is exact (Lambert's sum over the edges), so only the evenness is an
approximation, and it goes with the square of the patches' size.
"""

import math

from validation_scenes import cross, dot


class Patch:
    def __init__(self, corners, normal, reflectance):
        self.corners, self.normal, self.reflectance = corners, normal, reflectance
        self.middle = tuple(sum(c[k] for c in corners) / 4 for k in range(3))
        self.area = math.dist(corners[0], corners[1]) * math.dist(corners[1], corners[2])
        self.first, self.leaving = 0.0, 0.0  # irradiance from outside the solution; exitance


def rectangle(corner, along, across, reflectance, cells):
    """Patches of a rectangle that faces `along` x `across`."""
    normal = cross(along, across)
    length = math.sqrt(dot(normal, normal))
    normal = tuple(c / length for c in normal)
    at = lambda i, k: tuple(corner[c] + along[c] * i / cells[0] + across[c] * k / cells[1] for c in range(3))
    return [Patch([at(i, k), at(i + 1, k), at(i + 1, k + 1), at(i, k + 1)], normal, reflectance)
        for i in range(cells[0]) for k in range(cells[1])]


def share(point, normal, corners):
    """Form factor from a small surface to a polygon before it; polygons are counter-clockwise as seen from the point."""
    rays = []
    for c in corners:
        d = (c[0] - point[0], c[1] - point[1], c[2] - point[2])
        length = math.sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2])
        rays.append((d[0] / length, d[1] / length, d[2] / length))
    total = 0.0
    a = rays[-1]
    for b in rays:
        n = (a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0])
        length = math.sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2])
        if length > 1e-12:
            angle = math.atan2(length, a[0] * b[0] + a[1] * b[1] + a[2] * b[2])
            total += angle * (n[0] * normal[0] + n[1] * normal[1] + n[2] * normal[2]) / length
        a = b
    return abs(total) / (2 * math.pi)


def faces(point, normal, patch):
    """Whether all of the patch is before the point, and the point before the patch."""
    if dot(patch.normal, [point[k] - patch.middle[k] for k in range(3)]) < 1e-9:
        return False
    return dot(normal, [patch.middle[k] - point[k] for k in range(3)]) > 1e-9


def solve(patches, rounds=60):
    """Fills in what leaves each patch, from `first` and all reflections."""
    factors = []
    for receiver in patches:
        row = [(k, share(receiver.middle, receiver.normal, p.corners)) for k, p in enumerate(patches)
            if faces(receiver.middle, receiver.normal, p)]
        factors.append([r for r in row if r[1] > 0.0])
    for p in patches:
        p.leaving = p.reflectance * p.first
    for _ in range(rounds):
        received = [p.first + sum(f * patches[k].leaving for k, f in row) for p, row in zip(patches, factors)]
        change = max(abs(p.reflectance * e - p.leaving) for p, e in zip(patches, received))
        for p, e in zip(patches, received):
            p.leaving = p.reflectance * e
        if change < 1e-7 * max(p.leaving for p in patches):
            break


def reflected(patches, point, normal):
    """Irradiance at a point by way of the patches."""
    return sum(p.leaving * share(point, normal, p.corners) for p in patches if faces(point, normal, p))
