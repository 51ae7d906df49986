#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Renders the sample picture: three spheres on a chequered floor under an evening sky.

make_sample.py OUT.ppm -- a small ray tracer, deterministic, standard library only. The
picture has what a photograph has: smooth gradients, fine texture, hard edges, saturated
and grey areas. sample.jpg was made of it by `jpgtool encode OUT.ppm -o sample.jpg`.
"""
import math
import sys

WIDTH, HEIGHT, OVERSAMPLING = 640, 480, 2
SPHERES = [  # centre, radius, colour, mirror share
    ((-1.35, 0.75, 3.9), 0.75, (0.85, 0.18, 0.12), 0.12),
    ((0.25, 1.0, 4.8), 1.0, (0.90, 0.92, 0.95), 0.65),
    ((1.55, 0.5, 3.2), 0.5, (0.10, 0.42, 0.75), 0.18),
]
LIGHT = (-0.55, 0.62, -0.56)
EYE = (0.0, 1.35, -1.6)


def dot(a, b):
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]


def along(p, d, t):
    return (p[0] + d[0] * t, p[1] + d[1] * t, p[2] + d[2] * t)


def unit(v):
    n = math.sqrt(dot(v, v))
    return (v[0] / n, v[1] / n, v[2] / n)


def noise(x, y):
    """Value in 0..1 of a lattice point, by an integer hash."""
    h = (x * 374761393 + y * 668265263) & 0xFFFFFFFF
    h = ((h ^ (h >> 13)) * 1274126177) & 0xFFFFFFFF
    return ((h ^ (h >> 16)) & 0xFFFF) / 65535.0


def smooth_noise(x, y):
    ix, iy = math.floor(x), math.floor(y)
    fx, fy = x - ix, y - iy
    fx, fy = fx * fx * (3 - 2 * fx), fy * fy * (3 - 2 * fy)
    top = noise(ix, iy) * (1 - fx) + noise(ix + 1, iy) * fx
    low = noise(ix, iy + 1) * (1 - fx) + noise(ix + 1, iy + 1) * fx
    return top * (1 - fy) + low * fy


def cloud(x, y):
    return sum(smooth_noise(x * 2**k, y * 2**k) / 2**k for k in range(1, 6))


def sky(d):
    h = max(d[1], 0.0)
    base = (0.95 - 1.1 * h, 0.62 - 0.35 * h, 0.42 + 0.45 * h)
    c = max(0.0, cloud(3 + 2.2 * d[0] / (h + 0.25), 2.2 / (h + 0.25)) - 0.45)
    return tuple(min(1.0, max(0.0, b + 0.9 * c * w)) for b, w in zip(base, (0.9, 0.75, 0.7)))


def floor_colour(p):
    even = (math.floor(p[0] * 1.25) + math.floor(p[2] * 1.25)) % 2 == 0
    grain = 0.75 + 0.25 * cloud(p[0] * 6, p[2] * 6)
    return tuple(v * grain for v in ((0.80, 0.76, 0.68) if even else (0.22, 0.20, 0.19)))


def hit(p, d):
    """Nearest hit: distance, point, normal, colour, mirror share; None for the sky."""
    best = None
    if d[1] < -1e-6:
        t = -p[1] / d[1]
        if t < 60:
            q = along(p, d, t)
            best = (t, q, (0, 1, 0), floor_colour(q), 0.08)
    for centre, radius, colour, mirror in SPHERES:
        o = along(p, centre, -1)
        b = dot(o, d)
        disc = b * b - dot(o, o) + radius * radius
        if disc <= 0:
            continue
        t = -b - math.sqrt(disc)
        if t > 1e-4 and (best is None or t < best[0]):
            q = along(p, d, t)
            best = (t, q, unit(along(q, centre, -1)), colour, mirror)
    return best


def trace(p, d, depth):
    h = hit(p, d)
    if h is None:
        return sky(d)
    t, q, n, colour, mirror = h
    off = along(q, n, 1e-3)
    lit = 0.0 if hit(off, LIGHT) else max(0.0, dot(n, LIGHT))
    shine = 0.0
    r = along(d, n, -2 * dot(d, n))
    if lit > 0:
        shine = 0.6 * max(0.0, dot(r, LIGHT)) ** 60
    out = [c * (0.22 + 0.85 * lit) + shine for c in colour]
    if depth > 0 and mirror > 0:
        m = trace(off, r, depth - 1)
        out = [o * (1 - mirror) + v * mirror for o, v in zip(out, m)]
    haze = min(1.0, max(0.0, (t - 8) / 50))
    return tuple(o * (1 - haze) + s * haze for o, s in zip(out, sky((d[0], 0.02, d[2]))))


def pixel(x, y):
    total = [0.0, 0.0, 0.0]
    for j in range(OVERSAMPLING):
        for i in range(OVERSAMPLING):
            u = (x + (i + 0.5) / OVERSAMPLING - WIDTH / 2) / HEIGHT
            v = (HEIGHT / 2 - y - (j + 0.5) / OVERSAMPLING) / HEIGHT
            c = trace(EYE, unit((u, v - 0.12, 1.05)), 2)
            total = [a + b for a, b in zip(total, c)]
    share = 1 / OVERSAMPLING**2
    return bytes(min(255, int(255 * (min(1.0, t * share) ** 0.8) + 0.5)) for t in total)


def main():
    with open(sys.argv[1], "wb") as out:
        out.write(b"P6\n%d %d\n255\n" % (WIDTH, HEIGHT))
        for y in range(HEIGHT):
            out.write(b"".join(pixel(x, y) for x in range(WIDTH)))


if __name__ == "__main__":
    main()
