"""Adds camera-like noise to a clean 4:2:0 y4m clip.

    add_noise.py CLEAN.y4m NOISY.y4m SIGMA SEED

Luma: Y + sqrt(a * Y + b) * n, n standard normal, with b = 0.2 s^2 and
a = 0.8 s^2 / 128 (s = SIGMA, the sigma at Y = 128). Chroma: sigma half the
luma sigma at the pixel's luma (mean of its 2x2 luma block), the noise a 2x2
average of white noise rescaled to unit variance, so that neighbouring
chroma noise is correlated. Rounded and clipped to 0..255; the generator is
seeded with SEED, one stream for the whole clip.
"""
import sys

import numpy as np

import y4m


def main():
    src, dst, s, seed = sys.argv[1], sys.argv[2], float(sys.argv[3]), int(sys.argv[4])
    b = 0.2 * s * s
    a = 0.8 * s * s / 128.0
    rng = np.random.default_rng(seed)
    header, frames = y4m.read(src)
    out = []
    for y, u, v in frames:
        yf = y.astype(np.float64)
        ny = yf + np.sqrt(a * yf + b) * rng.standard_normal(y.shape)
        h2, w2 = u.shape
        luma = yf.reshape(h2, 2, w2, 2).mean(axis=(1, 3))
        sigma_c = 0.5 * np.sqrt(a * luma + b)
        planes = []
        for c in (u, v):
            white = rng.standard_normal((h2 + 1, w2 + 1))
            corr = (white[:-1, :-1] + white[1:, :-1] + white[:-1, 1:] + white[1:, 1:]) / 2.0
            planes.append(c.astype(np.float64) + sigma_c * corr)
        out.append(tuple(np.clip(np.rint(p), 0, 255).astype(np.uint8)
                         for p in (ny, planes[0], planes[1])))
    y4m.write(dst, header, out)


if __name__ == '__main__':
    main()
