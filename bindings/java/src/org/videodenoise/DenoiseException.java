package org.videodenoise;

/** A call the engine refused; {@link #status()} is its vd_status code. */
public class DenoiseException extends RuntimeException {
  private static final long serialVersionUID = 1L;

  public static final int INVALID_ARGUMENT = 1;
  public static final int UNSUPPORTED_SIZE = 2;
  public static final int OUT_OF_MEMORY = 3;
  public static final int THREAD = 4;
  public static final int CONFIG = 5;
  public static final int BUSY = 6;

  private final int status;

  /** Called from the native side with the engine's status and its text. */
  public DenoiseException(int status, String message) {
    super(message);
    this.status = status;
  }

  public int status() {
    return status;
  }
}
