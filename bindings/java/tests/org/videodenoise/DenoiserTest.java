package org.videodenoise;

import static org.junit.Assert.assertArrayEquals;
import static org.junit.Assert.assertEquals;
import static org.junit.Assert.assertTrue;
import static org.junit.Assert.fail;

import java.io.File;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.file.Files;
import java.util.Arrays;
import java.util.Random;
import org.junit.BeforeClass;
import org.junit.Test;

/**
 * The binding against the C API on the same frames (the denoise_frames
 * program, given as -Dvd.reference), its argument checks and its lifetime.
 */
public class DenoiserTest {
  private static final int W = 320;
  private static final int H = 240;
  private static final int FRAMES = 4;
  private static final int SIZE = W * H * 3 / 2;
  private static final int TYPE = 6;
  private static final int ISO = 800;

  private static byte[][] input;
  private static byte[][] fuzzy;
  private static byte[][] temporal;

  @BeforeClass
  public static void runReference() throws Exception {
    input = noisyFrames(FRAMES, 7);
    fuzzy = reference(input, "fuzzy");
    temporal = reference(input, "temporal");
  }

  // A gradient with a moving bright square, plus noise.
  private static byte[][] noisyFrames(int count, long seed) {
    Random random = new Random(seed);
    byte[][] frames = new byte[count][SIZE];
    for (int f = 0; f < count; ++f) {
      byte[] frame = frames[f];
      for (int r = 0; r < H; ++r) {
        for (int c = 0; c < W; ++c) {
          boolean square = r >= 60 && r < 120 && c >= 40 + 8 * f && c < 100 + 8 * f;
          int value = (square ? 200 : 40 + c / 4 + r / 8) + random.nextInt(31) - 15;
          frame[r * W + c] = (byte) Math.max(0, Math.min(255, value));
        }
      }
      for (int i = W * H; i < SIZE; ++i) {
        frame[i] = (byte) (128 + random.nextInt(21) - 10);
      }
    }
    return frames;
  }

  private static byte[][] reference(byte[][] frames, String method)
      throws IOException, InterruptedException {
    File in = File.createTempFile("vd_java_in", ".nv21");
    File out = File.createTempFile("vd_java_out", ".nv21");
    try {
      byte[] all = new byte[frames.length * SIZE];
      for (int f = 0; f < frames.length; ++f) {
        System.arraycopy(frames[f], 0, all, f * SIZE, SIZE);
      }
      Files.write(in.toPath(), all);
      Process p = new ProcessBuilder(System.getProperty("vd.reference"), "nv21",
          "" + W, "" + H, "" + TYPE, "" + ISO, method, in.getPath(), out.getPath())
          .inheritIO().start();
      assertEquals("denoise_frames exit code", 0, p.waitFor());
      byte[] result = Files.readAllBytes(out.toPath());
      assertEquals(frames.length * SIZE, result.length);
      byte[][] split = new byte[frames.length][];
      for (int f = 0; f < frames.length; ++f) {
        split[f] = Arrays.copyOfRange(result, f * SIZE, (f + 1) * SIZE);
      }
      return split;
    } finally {
      in.delete();
      out.delete();
    }
  }

  private static ByteBuffer direct(byte[] bytes, int offset) {
    ByteBuffer b = ByteBuffer.allocateDirect(offset + bytes.length);
    b.position(offset);
    b.put(bytes);
    b.position(offset);
    return b;
  }

  private static byte[] bytes(ByteBuffer b, int offset, int length) {
    byte[] out = new byte[length];
    ByteBuffer view = b.duplicate();
    view.position(offset);
    view.get(out);
    return out;
  }

  @Test
  public void nv21FramesMatchTheCApi() {
    for (int method : new int[] {Denoiser.METHOD_FUZZY, Denoiser.METHOD_TEMPORAL}) {
      byte[][] expected = method == Denoiser.METHOD_FUZZY ? fuzzy : temporal;
      try (Denoiser d = new Denoiser(W, H, 0, method)) {
        for (int f = 0; f < FRAMES; ++f) {
          // The frames start at the buffers' positions, not at byte 0.
          ByteBuffer src = direct(input[f], 3);
          ByteBuffer dst = ByteBuffer.allocateDirect(SIZE + 5);
          dst.position(5);
          d.denoise(src, dst, W, H, TYPE, ISO);
          assertArrayEquals("method " + method + " frame " + f, expected[f],
                            bytes(dst, 5, SIZE));
        }
      }
    }
  }

  @Test
  public void nv21InPlaceMatchesTheCApi() {
    try (Denoiser d = new Denoiser(W, H)) {
      for (int f = 0; f < FRAMES; ++f) {
        ByteBuffer frame = direct(input[f], 0);
        d.denoise(frame, frame, W, H, TYPE, ISO);
        assertArrayEquals("frame " + f, fuzzy[f], bytes(frame, 0, SIZE));
      }
    }
  }

  // Android's semi-planar YUV_420_888: padded rows, V and U interleaved in
  // one allocation, the U plane's buffer starting one byte after the V one.
  @Test
  public void semiPlanarImagePlanesMatchTheCApi() {
    int stride = W + 64;
    try (Denoiser d = new Denoiser(W, H)) {
      for (int f = 0; f < FRAMES; ++f) {
        ByteBuffer y = ByteBuffer.allocateDirect(stride * (H - 1) + W);
        ByteBuffer vu = ByteBuffer.allocateDirect(stride * (H / 2 - 1) + W);
        for (int r = 0; r < H; ++r) {
          y.position(r * stride);
          y.put(input[f], r * W, W);
        }
        for (int r = 0; r < H / 2; ++r) {
          vu.position(r * stride);
          vu.put(input[f], W * H + r * W, W);
        }
        y.position(0);
        vu.position(1);
        ByteBuffer u = vu.slice();
        vu.position(0);
        ByteBuffer v = vu.slice();
        ByteBuffer dst = ByteBuffer.allocateDirect(SIZE);
        d.denoise(y, stride, 1, u, stride, 2, v, stride, 2, dst, W, H, TYPE, ISO);
        assertArrayEquals("frame " + f, fuzzy[f], bytes(dst, 0, SIZE));
      }
    }
  }

  // Planar planes (pixel stride 1), denoised back into the planes.
  @Test
  public void planarPlanesInPlaceMatchTheCApi() {
    int yStride = W + 16;
    int cStride = W / 2 + 8;
    try (Denoiser d = new Denoiser(W, H)) {
      for (int f = 0; f < FRAMES; ++f) {
        ByteBuffer y = ByteBuffer.allocateDirect(yStride * H);
        ByteBuffer u = ByteBuffer.allocateDirect(cStride * H / 2);
        ByteBuffer v = ByteBuffer.allocateDirect(cStride * H / 2);
        for (int r = 0; r < H; ++r) {
          y.position(r * yStride);
          y.put(input[f], r * W, W);
        }
        for (int r = 0; r < H / 2; ++r) {
          for (int c = 0; c < W / 2; ++c) {
            v.put(r * cStride + c, input[f][W * H + r * W + 2 * c]);
            u.put(r * cStride + c, input[f][W * H + r * W + 2 * c + 1]);
          }
        }
        y.position(0);
        d.denoise(y, yStride, 1, u, cStride, 1, v, cStride, 1, null, W, H, TYPE, ISO);
        for (int r = 0; r < H; ++r) {
          assertArrayEquals("frame " + f + " Y row " + r,
                            Arrays.copyOfRange(fuzzy[f], r * W, (r + 1) * W),
                            bytes(y, r * yStride, W));
        }
        for (int r = 0; r < H / 2; ++r) {
          for (int c = 0; c < W / 2; ++c) {
            int at = W * H + r * W + 2 * c;
            assertEquals(fuzzy[f][at], v.get(r * cStride + c));
            assertEquals(fuzzy[f][at + 1], u.get(r * cStride + c));
          }
        }
      }
    }
  }

  private interface Call {
    void run();
  }

  private static <T extends Throwable> T expect(Class<T> type, Call call) {
    try {
      call.run();
    } catch (Throwable t) {
      if (type.isInstance(t)) {
        return type.cast(t);
      }
      throw new AssertionError("expected " + type.getSimpleName() + ", got " + t, t);
    }
    throw new AssertionError("expected " + type.getSimpleName());
  }

  @Test
  public void badArgumentsThrowAndLeaveTheDenoiserUsable() {
    try (Denoiser d = new Denoiser(W, H)) {
      ByteBuffer ok = direct(input[0], 0);
      ByteBuffer out = ByteBuffer.allocateDirect(SIZE);
      expect(IllegalArgumentException.class,
             () -> d.denoise(ByteBuffer.wrap(input[0]), out, W, H, 0, 100));
      expect(IllegalArgumentException.class,
             () -> d.denoise(ok, ByteBuffer.allocateDirect(SIZE - 1), W, H, 0, 100));
      expect(IllegalArgumentException.class,
             () -> d.denoise(ok, out.asReadOnlyBuffer(), W, H, 0, 100));
      expect(IllegalArgumentException.class, () -> d.denoise(null, out, W, H, 0, 100));
      expect(IllegalArgumentException.class, () -> d.denoise(ok, out, 0, H, 0, 100));
      expect(IllegalArgumentException.class,
             () -> d.denoise(ok, W, 2, ok, W, 2, ok, W, 2, out, W, H, 0, 100));
      expect(IllegalArgumentException.class,
             () -> d.denoise(ok, W, 1, ok, W, 2, ok, W, 1, out, W, H, 0, 100));
      expect(IllegalArgumentException.class,
             () -> d.denoise(ok, W - 1, 1, ok, W, 2, ok, W, 2, out, W, H, 0, 100));
      // A frame larger than the denoiser's maximum: refused by the engine.
      int big = (W + 16) * (H + 16) * 3 / 2;
      DenoiseException e = expect(DenoiseException.class,
          () -> d.denoise(ByteBuffer.allocateDirect(big), ByteBuffer.allocateDirect(big),
                          W + 16, H + 16, 0, 100));
      assertTrue(e.getMessage(), e.getMessage().startsWith("vd_denoise: "));
      assertTrue(e.status() == DenoiseException.UNSUPPORTED_SIZE
                 || e.status() == DenoiseException.INVALID_ARGUMENT);
      d.denoise(ok, out, W, H, TYPE, ISO);
      assertArrayEquals(fuzzy[0], bytes(out, 0, SIZE));
    }
    DenoiseException e = expect(DenoiseException.class, () -> new Denoiser(0, 0));
    assertTrue(e.getMessage(), e.getMessage().startsWith("vd_create: "));
    expect(DenoiseException.class, () -> new Denoiser(W, H, 0, 7));
    expect(DenoiseException.class, () -> new Denoiser(W, H, -1, Denoiser.METHOD_FUZZY));
  }

  @Test
  public void closeTwiceIsHarmlessAndUseAfterCloseThrows() {
    Denoiser d = new Denoiser(W, H);
    d.close();
    d.close();
    expect(IllegalStateException.class,
           () -> d.denoise(direct(input[0], 0), ByteBuffer.allocateDirect(SIZE), W, H, 0, 100));
    expect(IllegalStateException.class, d::reset);
  }

  @Test
  public void versionIsMajorMinorPatch() {
    assertTrue(Denoiser.version(), Denoiser.version().matches("\\d+\\.\\d+\\.\\d+"));
  }

  private static long residentKiB() throws IOException {
    for (String line : Files.readAllLines(new File("/proc/self/status").toPath())) {
      if (line.startsWith("VmRSS:")) {
        return Long.parseLong(line.replaceAll("[^0-9]", ""));
      }
    }
    throw new IOException("no VmRSS in /proc/self/status");
  }

  // Each 1280x720 denoiser holds about 2 MB of frame buffers and starts
  // workers; a leak of either would grow the process by far more than the
  // margin over 50 rounds.
  @Test
  public void manyDenoisersCreatedAndClosedLeakNothing() throws IOException {
    ByteBuffer frame = direct(input[0], 0);
    ByteBuffer out = ByteBuffer.allocateDirect(SIZE);
    long before = 0;
    for (int i = 0; i < 60; ++i) {
      if (i == 10) {
        before = residentKiB();
      }
      try (Denoiser d = new Denoiser(1280, 720, 2, i % 2)) {
        d.denoise(frame, out, W, H, TYPE, ISO);
      }
    }
    long grown = residentKiB() - before;
    assertTrue("resident memory grew by " + grown + " KiB", grown < 32 * 1024);
  }
}
