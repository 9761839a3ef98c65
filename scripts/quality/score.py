"""Scores a denoised clip against the clean one, skipping the first frames.

    score.py CLEAN.y4m TEST.y4m [SKIP]

Prints PSNR-Y, PSNR-UV (U and V together) and PSNR-Y over moving pixels,
each from the mean squared error over all scored frames. Moving pixels:
|clean_t - clean_t-1| > 12 in luma, dilated 7x7.
"""
import sys

import numpy as np

import y4m


def psnr(sse, count):
    if count == 0:
        return float('nan')
    mse = sse / count
    return 99.0 if mse == 0 else 10.0 * np.log10(255.0 * 255.0 / mse)


def dilate7(mask):
    out = np.zeros_like(mask)
    h, w = mask.shape
    p = np.pad(mask, 3)
    for dy in range(7):
        for dx in range(7):
            out |= p[dy:dy + h, dx:dx + w]
    return out


def moving_masks(clean):
    """Per frame (from the second): the moving pixels."""
    return [None] + [dilate7(np.abs(clean[t][0].astype(np.int16) - clean[t - 1][0]) > 12)
                     for t in range(1, len(clean))]


def scores(clean, test, skip=2, masks=None):
    """(PSNR-Y, PSNR-UV, PSNR-Y moving) of test against clean."""
    masks = masks or moving_masks(clean)
    n = min(len(clean), len(test))
    sy = su = sm = 0.0
    cy = cu = cm = 0
    for t in range(skip, n):
        ey = clean[t][0].astype(np.float64) - test[t][0]
        sy += float((ey * ey).sum())
        cy += ey.size
        for p in (1, 2):
            e = clean[t][p].astype(np.float64) - test[t][p]
            su += float((e * e).sum())
            cu += e.size
        moving = masks[t]
        sm += float((ey[moving] ** 2).sum())
        cm += int(moving.sum())
    return psnr(sy, cy), psnr(su, cu), psnr(sm, cm)


def main():
    skip = int(sys.argv[3]) if len(sys.argv) > 3 else 2
    _, clean = y4m.read(sys.argv[1])
    _, test = y4m.read(sys.argv[2])
    print('%.3f %.3f %.3f' % scores(clean, test, skip))


if __name__ == '__main__':
    main()
