package org.videodenoise;

import java.nio.ByteBuffer;

/**
 * A libVideoDenoise denoiser for one stream of 4:2:0 camera frames.
 *
 * <pre>
 * try (Denoiser d = new Denoiser(1920, 1080)) {
 *   d.denoise(nv21In, nv21Out, 1920, 1080, type, iso);   // direct ByteBuffers
 * }
 * </pre>
 *
 * Frames live in direct ByteBuffers and are read and written from each
 * buffer's position. The calls of one denoiser are serialised; different
 * denoisers run at once on different threads. Refused calls throw a
 * {@link DenoiseException} carrying the engine's status text and leave the
 * denoiser usable; wrong buffers throw IllegalArgumentException before the
 * engine is called.
 */
public final class Denoiser implements AutoCloseable {
  /** The compatible fuzzy frame path. */
  public static final int METHOD_FUZZY = 0;
  /** The motion-masked temporal pipeline. */
  public static final int METHOD_TEMPORAL = 1;

  static {
    System.loadLibrary("videodenoise_jni");
  }

  private long handle;

  /** A denoiser for frames up to maxWidth x maxHeight, one worker per core. */
  public Denoiser(int maxWidth, int maxHeight) {
    this(maxWidth, maxHeight, 0, METHOD_FUZZY);
  }

  /**
   * @param threads workers: 0 one per online core, 1 the calling thread only
   * @param method {@link #METHOD_FUZZY} or {@link #METHOD_TEMPORAL}
   */
  public Denoiser(int maxWidth, int maxHeight, int threads, int method) {
    handle = nativeCreate(maxWidth, maxHeight, threads, method);
  }

  /**
   * Denoises one tightly packed NV21 frame (width * height * 3 / 2 bytes)
   * from src into dst; src and dst may be the same buffer.
   */
  public synchronized void denoise(ByteBuffer src, ByteBuffer dst, int width,
                                   int height, int type, int iso) {
    long open = checkOpen();
    checkSize(width, height);
    long size = (long) width * height * 3 / 2;
    int s = checkBuffer(src, "src", size, false);
    int d = checkBuffer(dst, "dst", size, true);
    int chroma = width * height;
    nativeDenoise(open, src, s, width, src, s + chroma + 1, src, s + chroma,
                  width, 2, dst, d, width, dst, d + chroma + 1, dst,
                  d + chroma, width, 2, width, height, type, iso);
  }

  /**
   * Denoises a YUV_420_888 image given plane by plane with the buffers and
   * strides of Android's Image.getPlanes() (Y, U, V). The result goes to
   * dst as a tightly packed NV21 frame, or back into the planes when dst is
   * null.
   */
  public synchronized void denoise(ByteBuffer y, int yRowStride,
                                   int yPixelStride, ByteBuffer u,
                                   int uRowStride, int uPixelStride,
                                   ByteBuffer v, int vRowStride,
                                   int vPixelStride, ByteBuffer dst, int width,
                                   int height, int type, int iso) {
    long open = checkOpen();
    checkSize(width, height);
    if (yPixelStride != 1) {
      throw new IllegalArgumentException(
          "the Y plane's pixel stride must be 1, not " + yPixelStride);
    }
    if (uRowStride != vRowStride || uPixelStride != vPixelStride) {
      throw new IllegalArgumentException(
          "the U and V planes must have the same row and pixel strides");
    }
    if (uPixelStride != 1 && uPixelStride != 2) {
      throw new IllegalArgumentException(
          "the chroma pixel stride must be 1 or 2, not " + uPixelStride);
    }
    int cw = (width + 1) / 2;
    int ch = (height + 1) / 2;
    checkStride(yRowStride, width, "Y");
    checkStride(uRowStride, (long) (cw - 1) * uPixelStride + 1, "U and V");
    boolean inPlace = dst == null;
    int ys = checkBuffer(y, "the Y plane", extent(width, height, yRowStride, 1),
                         inPlace);
    long chromaExtent = extent(cw, ch, uRowStride, uPixelStride);
    int us = checkBuffer(u, "the U plane", chromaExtent, inPlace);
    int vs = checkBuffer(v, "the V plane", chromaExtent, inPlace);
    if (inPlace) {
      nativeDenoise(open, y, ys, yRowStride, u, us, v, vs, uRowStride,
                    uPixelStride, y, ys, yRowStride, u, us, v, vs, uRowStride,
                    uPixelStride, width, height, type, iso);
      return;
    }
    int d = checkBuffer(dst, "dst", (long) width * height * 3 / 2, true);
    int chroma = width * height;
    nativeDenoise(open, y, ys, yRowStride, u, us, v, vs, uRowStride,
                  uPixelStride, dst, d, width, dst, d + chroma + 1, dst,
                  d + chroma, width, 2, width, height, type, iso);
  }

  /** Forgets the history: the next frame starts afresh. */
  public synchronized void reset() {
    nativeReset(checkOpen());
  }

  /** Frees the native denoiser; closing again does nothing. */
  @Override
  public synchronized void close() {
    if (handle != 0) {
      nativeDestroy(handle);
      handle = 0;
    }
  }

  /** The engine's version, "major.minor.patch". */
  public static String version() {
    return nativeVersion();
  }

  private long checkOpen() {
    if (handle == 0) {
      throw new IllegalStateException("the denoiser is closed");
    }
    return handle;
  }

  private static void checkSize(int width, int height) {
    if (width <= 0 || height <= 0) {
      throw new IllegalArgumentException(
          "frame size " + width + "x" + height + " is not positive");
    }
  }

  private static void checkStride(int stride, long rowBytes, String plane) {
    if (stride < rowBytes) {
      throw new IllegalArgumentException("the " + plane + " row stride "
          + stride + " is shorter than a row (" + rowBytes + " bytes)");
    }
  }

  // Bytes from a plane's first byte to just past its last pixel.
  private static long extent(int cols, int rows, int rowStride,
                             int pixelStride) {
    return (long) (rows - 1) * rowStride + (long) (cols - 1) * pixelStride + 1;
  }

  // Checks a buffer and returns its position, where the frame starts.
  private static int checkBuffer(ByteBuffer buffer, String name, long bytes,
                                 boolean written) {
    if (buffer == null) {
      throw new IllegalArgumentException(name + " is null");
    }
    if (!buffer.isDirect()) {
      throw new IllegalArgumentException(
          name + " must be a direct ByteBuffer (ByteBuffer.allocateDirect)");
    }
    if (written && buffer.isReadOnly()) {
      throw new IllegalArgumentException(name + " is read-only");
    }
    if (buffer.remaining() < bytes) {
      throw new IllegalArgumentException(name + " holds " + buffer.remaining()
          + " bytes from its position, the frame needs " + bytes);
    }
    return buffer.position();
  }

  private static native long nativeCreate(int maxWidth, int maxHeight,
                                          int threads, int method);
  private static native void nativeDenoise(
      long handle, ByteBuffer srcY, int srcYOffset, int srcYStride,
      ByteBuffer srcU, int srcUOffset, ByteBuffer srcV, int srcVOffset,
      int srcUvStride, int srcUvPixelStride, ByteBuffer dstY, int dstYOffset,
      int dstYStride, ByteBuffer dstU, int dstUOffset, ByteBuffer dstV,
      int dstVOffset, int dstUvStride, int dstUvPixelStride, int width,
      int height, int type, int iso);
  private static native void nativeReset(long handle);
  private static native void nativeDestroy(long handle);
  private static native String nativeVersion();
}
