// JNI side of org.videodenoise.Denoiser: a thin layer over api/vdenoise.h.
// The Java class checks buffers, strides and sizes; this side turns direct
// buffers into vd_frame views and engine statuses into DenoiseException.
#include <jni.h>

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <new>
#include <string>

#if defined(__ANDROID__)
#include <android/log.h>
#endif

#include "api/vdenoise.h"
// javac -h's declarations, when the build generated them (host builds do;
// an Android app's build compiles the Java classes on its own).
#if __has_include("org_videodenoise_Denoiser.h")
#include "org_videodenoise_Denoiser.h"
#endif

namespace {

// One Java Denoiser's native side: the engine's denoiser and its last error
// line, kept for the exception that follows it.
struct Native {
  vd_denoiser* denoiser = nullptr;
  std::mutex mutex;
  std::string last_error;
};

// A denoiser's log lines: errors are kept; the rest go where the platform
// shows them (logcat on Android, stderr elsewhere).
void Receive(void* user, int level, const char* message) {
  Native* n = static_cast<Native*>(user);
  if (level >= VD_LOG_ERROR) {
    std::lock_guard<std::mutex> lock(n->mutex);
    n->last_error = message;
    return;
  }
#if defined(__ANDROID__)
  __android_log_print(level, "videodenoise", "%s", message);
#else
  std::fprintf(stderr, "videodenoise: %s\n", message);
#endif
}

// Throws DenoiseException with the engine's error line when it logged one,
// e.g. "vd_denoise: src size 336x256 is larger than the maximum 320x240
// (unsupported frame size)", else "vd_denoise: unsupported frame size".
void ThrowStatus(JNIEnv* env, Native* n, const char* call, vd_status status) {
  std::string text;
  {
    std::lock_guard<std::mutex> lock(n->mutex);
    text = n->last_error.empty()
               ? std::string(call) + ": " + vd_status_string(status)
               : n->last_error + " (" + vd_status_string(status) + ")";
    n->last_error.clear();
  }
  jclass cls = env->FindClass("org/videodenoise/DenoiseException");
  if (!cls) return;  // NoClassDefFoundError is pending
  jmethodID init = env->GetMethodID(cls, "<init>", "(ILjava/lang/String;)V");
  if (!init) return;
  jstring message = env->NewStringUTF(text.c_str());
  if (!message) return;
  jobject error = env->NewObject(cls, init, static_cast<jint>(status), message);
  if (error) env->Throw(static_cast<jthrowable>(error));
}

// The byte at offset of a direct buffer; null (with an exception pending)
// when the buffer is not direct.
unsigned char* At(JNIEnv* env, jobject buffer, jint offset) {
  void* base = env->GetDirectBufferAddress(buffer);
  if (!base) {
    jclass cls = env->FindClass("java/lang/IllegalArgumentException");
    if (cls) env->ThrowNew(cls, "frames must be in direct ByteBuffers");
    return nullptr;
  }
  return static_cast<unsigned char*>(base) + offset;
}

Native* Handle(jlong handle) {
  return reinterpret_cast<Native*>(static_cast<intptr_t>(handle));
}

}  // namespace

extern "C" {

JNIEXPORT jlong JNICALL Java_org_videodenoise_Denoiser_nativeCreate(
    JNIEnv* env, jclass, jint max_width, jint max_height, jint threads,
    jint method) {
  Native* n = new (std::nothrow) Native;
  if (!n) {
    jclass cls = env->FindClass("java/lang/OutOfMemoryError");
    if (cls) env->ThrowNew(cls, "videodenoise: no memory for a denoiser");
    return 0;
  }
  vd_options options;
  vd_options_init(&options);
  options.max_width = max_width;
  options.max_height = max_height;
  options.threads = threads;
  options.method = static_cast<vd_method>(method);
  options.log = Receive;
  options.log_user = n;
  vd_status status = vd_create(&options, &n->denoiser);
  if (status != VD_OK) {
    ThrowStatus(env, n, "vd_create", status);
    delete n;
    return 0;
  }
  return static_cast<jlong>(reinterpret_cast<intptr_t>(n));
}

JNIEXPORT void JNICALL Java_org_videodenoise_Denoiser_nativeDenoise(
    JNIEnv* env, jclass, jlong handle, jobject src_y, jint src_y_offset,
    jint src_y_stride, jobject src_u, jint src_u_offset, jobject src_v,
    jint src_v_offset, jint src_uv_stride, jint src_uv_pixel_stride,
    jobject dst_y, jint dst_y_offset, jint dst_y_stride, jobject dst_u,
    jint dst_u_offset, jobject dst_v, jint dst_v_offset, jint dst_uv_stride,
    jint dst_uv_pixel_stride, jint width, jint height, jint type, jint iso) {
  vd_frame src = {width, height, nullptr, nullptr, nullptr,
                  src_y_stride, src_uv_stride, src_uv_pixel_stride};
  vd_frame dst = {width, height, nullptr, nullptr, nullptr,
                  dst_y_stride, dst_uv_stride, dst_uv_pixel_stride};
  if (!(src.y = At(env, src_y, src_y_offset)) ||
      !(src.u = At(env, src_u, src_u_offset)) ||
      !(src.v = At(env, src_v, src_v_offset)) ||
      !(dst.y = At(env, dst_y, dst_y_offset)) ||
      !(dst.u = At(env, dst_u, dst_u_offset)) ||
      !(dst.v = At(env, dst_v, dst_v_offset))) {
    return;
  }
  Native* n = Handle(handle);
  {
    std::lock_guard<std::mutex> lock(n->mutex);
    n->last_error.clear();
  }
  vd_status status = vd_denoise(n->denoiser, &src, &dst, type, iso);
  if (status != VD_OK) ThrowStatus(env, n, "vd_denoise", status);
}

JNIEXPORT void JNICALL Java_org_videodenoise_Denoiser_nativeReset(
    JNIEnv* env, jclass, jlong handle) {
  Native* n = Handle(handle);
  vd_status status = vd_reset(n->denoiser);
  if (status != VD_OK) ThrowStatus(env, n, "vd_reset", status);
}

JNIEXPORT void JNICALL Java_org_videodenoise_Denoiser_nativeDestroy(
    JNIEnv*, jclass, jlong handle) {
  Native* n = Handle(handle);
  vd_destroy(n->denoiser);
  delete n;
}

JNIEXPORT jstring JNICALL Java_org_videodenoise_Denoiser_nativeVersion(
    JNIEnv* env, jclass) {
  return env->NewStringUTF(vd_version());
}

}  // extern "C"
