"""The videodenoise module against the C API on the same frames (the
denoise_frames program named by $VD_REFERENCE), its views, out= arrays and
argument checks."""
import os
import subprocess
import tempfile

import numpy as np
import pytest

import videodenoise

W, H = 320, 240
TYPE, ISO = 6, 800


def noisy_frames(count, seed=7):
    """I420 frames: a gradient with a moving bright square, plus noise."""
    rng = np.random.default_rng(seed)
    rows, cols = np.mgrid[0:H, 0:W]
    frames = []
    for f in range(count):
        y = 40 + cols // 4 + rows // 8
        y[60:120, 40 + 8 * f:100 + 8 * f] = 200
        y = np.clip(y + rng.integers(-15, 16, (H, W)), 0, 255).astype(np.uint8)
        u = rng.integers(118, 139, (H // 2, W // 2), dtype=np.uint8)
        v = rng.integers(108, 149, (H // 2, W // 2), dtype=np.uint8)
        frames.append((y, u, v))
    return frames


def to_layout(y, u, v, layout):
    """One packed frame of width * height * 3 / 2 bytes."""
    if layout == "i420":
        return np.concatenate([y.ravel(), u.ravel(), v.ravel()])
    chroma = np.empty((H // 2, W), np.uint8)
    first, second = (v, u) if layout == "nv21" else (u, v)
    chroma[:, 0::2], chroma[:, 1::2] = first, second
    return np.concatenate([y.ravel(), chroma.ravel()])


def from_layout(packed, layout):
    y = packed[:W * H].reshape(H, W)
    rest = packed[W * H:]
    if layout == "i420":
        n = W * H // 4
        return y, rest[:n].reshape(H // 2, W // 2), rest[n:].reshape(H // 2, W // 2)
    chroma = rest.reshape(H // 2, W)
    first, second = chroma[:, 0::2], chroma[:, 1::2]
    return (y, second, first) if layout == "nv21" else (y, first, second)


def reference(frames, layout, method="fuzzy"):
    """(y, u, v) of each frame as the C API denoises them."""
    size = W * H * 3 // 2
    with tempfile.TemporaryDirectory() as tmp:
        src, dst = os.path.join(tmp, "in"), os.path.join(tmp, "out")
        np.concatenate([to_layout(*f, layout) for f in frames]).tofile(src)
        subprocess.run([os.environ["VD_REFERENCE"], layout, str(W), str(H),
                        str(TYPE), str(ISO), method, src, dst], check=True)
        out = np.fromfile(dst, np.uint8)
    assert out.size == size * len(frames)
    return [from_layout(out[i * size:(i + 1) * size], layout)
            for i in range(len(frames))]


FRAMES = noisy_frames(4)


@pytest.fixture(scope="module")
def expected():
    # The result does not depend on the layout: one run per method serves.
    return {m: reference(FRAMES, "i420", m) for m in videodenoise.METHODS}


def assert_frame(got, want, what):
    for name, g, w in zip("yuv", got, want):
        np.testing.assert_array_equal(g, w, err_msg=f"{what}: plane {name}")


@pytest.mark.parametrize("method", videodenoise.METHODS)
def test_planes_match_the_c_api_in_one_new_allocation(expected, method):
    with videodenoise.Denoiser(W, H, method=method) as d:
        for i, frame in enumerate(FRAMES):
            y, u, v = d.denoise(*frame, TYPE, ISO)
            assert_frame((y, u, v), expected[method][i], f"frame {i}")
            # The three planes are views into one I420 buffer.
            assert y.base is u.base is v.base
            assert y.base.nbytes == W * H * 3 // 2


def test_nv21_frames_match_the_c_api(expected):
    ref_nv21 = reference(FRAMES, "nv21")
    for a, b in zip(ref_nv21, expected["fuzzy"]):
        assert_frame(a, b, "layouts")
    with videodenoise.Denoiser(W, H, threads=2) as d:
        for i, frame in enumerate(FRAMES):
            nv21 = to_layout(*frame, "nv21").reshape(H * 3 // 2, W)
            out = d.denoise_nv21(nv21, TYPE, ISO)
            assert out.shape == nv21.shape and out.dtype == np.uint8
            assert_frame(from_layout(out.ravel(), "nv21"), expected["fuzzy"][i],
                         f"frame {i}")


def test_out_arrays_and_in_place(expected):
    with videodenoise.Denoiser(W, H) as d, videodenoise.Denoiser(W, H) as e:
        out = np.empty((H * 3 // 2, W), np.uint8)
        for i, frame in enumerate(FRAMES):
            nv21 = to_layout(*frame, "nv21").reshape(H * 3 // 2, W)
            assert d.denoise_nv21(nv21, TYPE, ISO, out=out) is out
            assert_frame(from_layout(out.ravel(), "nv21"), expected["fuzzy"][i],
                         f"out= frame {i}")
            planes = tuple(p.copy() for p in frame)
            result = e.denoise(*planes, TYPE, ISO, out=planes)
            assert all(r is p for r, p in zip(result, planes))
            assert_frame(planes, expected["fuzzy"][i], f"in place frame {i}")


def test_crops_of_larger_frames_are_accepted(expected):
    """Strided views: every plane a window of a larger canvas, chroma taken
    interleaved from an NV12 canvas, and NV21 as a column crop."""
    with videodenoise.Denoiser(W, H) as d, videodenoise.Denoiser(W, H) as e:
        for i, (y, u, v) in enumerate(FRAMES):
            canvas_y = np.zeros((H + 40, W + 100), np.uint8)
            canvas_y[10:10 + H, 30:30 + W] = y
            canvas_uv = np.zeros((H // 2 + 8, W + 64), np.uint8)
            canvas_uv[4:4 + H // 2, 16:16 + W:2] = u
            canvas_uv[4:4 + H // 2, 17:17 + W:2] = v
            cy = canvas_y[10:10 + H, 30:30 + W]
            cu = canvas_uv[4:4 + H // 2, 16:16 + W:2]
            cv = canvas_uv[4:4 + H // 2, 17:17 + W:2]
            out_canvas = np.zeros((H * 2, W * 2), np.uint8)
            out = (out_canvas[:H, 1:1 + W], out_canvas[H:H + H // 2, :W:2],
                   out_canvas[H:H + H // 2, 1:W:2])
            d.denoise(cy, cu, cv, TYPE, ISO, out=out)
            assert_frame(out, expected["fuzzy"][i], f"crop frame {i}")
            assert not out_canvas[H + H // 2:].any(), "wrote outside out"

            wide = np.zeros((H * 3 // 2, W + 64), np.uint8)
            wide[:, 32:32 + W] = to_layout(y, u, v, "nv21").reshape(H * 3 // 2, W)
            got = e.denoise_nv21(wide[:, 32:32 + W], TYPE, ISO)
            assert_frame(from_layout(got.ravel(), "nv21"), expected["fuzzy"][i],
                         f"NV21 crop frame {i}")


def test_wrong_dtype_and_shape_are_rejected_clearly():
    y, u, v = FRAMES[0]
    nv21 = to_layout(y, u, v, "nv21").reshape(H * 3 // 2, W)
    with videodenoise.Denoiser(W, H) as d:
        with pytest.raises(TypeError, match="y must be a uint8 array, not float32"):
            d.denoise(y.astype(np.float32), u, v)
        with pytest.raises(TypeError, match="frame must be a uint8 array, not int16"):
            d.denoise_nv21(nv21.astype(np.int16))
        with pytest.raises(ValueError, match=r"u must have shape \(120, 160\), not \(120, 159\)"):
            d.denoise(y, u[:, :-1], v)
        with pytest.raises(ValueError, match=r"y must be a 2-D array"):
            d.denoise(y.ravel(), u, v)
        with pytest.raises(ValueError, match=r"frame must be a 2-D NV21 frame of shape"):
            d.denoise_nv21(nv21.ravel())
        with pytest.raises(ValueError, match=r"contiguous rows"):
            d.denoise(np.zeros((H, 2 * W), np.uint8)[:, ::2], u, v)
        with pytest.raises(ValueError, match="same strides"):
            d.denoise(y, u, np.zeros((H // 2, W), np.uint8)[:, ::2])
        with pytest.raises(ValueError, match="read-only"):
            ro = np.zeros_like(nv21)
            ro.flags.writeable = False
            d.denoise_nv21(nv21, out=ro)
        with pytest.raises(TypeError, match="out must be a numpy array, not list"):
            d.denoise_nv21(nv21, out=[0] * nv21.size)
        with pytest.raises(ValueError, match="out must have the shape of frame"):
            d.denoise_nv21(nv21, out=np.empty((H * 3 // 2, W + 2), np.uint8))
        # The engine refuses a frame above the maximum; the denoiser stays usable.
        big = np.zeros(((H + 16) * 3 // 2, W + 16), np.uint8)
        with pytest.raises(videodenoise.Error, match="vd_denoise: ") as error:
            d.denoise_nv21(big)
        assert error.value.status in (1, 2)
        d.denoise(y, u, v)


def test_lifetime_and_construction_errors():
    with pytest.raises(ValueError, match='method must be "fuzzy" or "temporal"'):
        videodenoise.Denoiser(W, H, method="median")
    with pytest.raises(videodenoise.Error, match="vd_create: "):
        videodenoise.Denoiser(0, 0)
    d = videodenoise.Denoiser(W, H)
    d.close()
    d.close()
    with pytest.raises(ValueError, match="closed"):
        d.denoise(*FRAMES[0])
    assert videodenoise.__version__.count(".") == 2
