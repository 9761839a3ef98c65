// JNI side of org.videodenoise.Denoiser: a thin layer over api/vdenoise.h.
// The Java class checks buffers, strides and sizes; this side turns direct
// buffers into vd_frame views and engine statuses into DenoiseException.
#include <jni.h>

#include <cstdint>
#include <cstdio>

#include "api/vdenoise.h"
// javac -h's declarations, when the build generated them (host builds do;
// an Android app's build compiles the Java classes on its own).
#if __has_include("org_videodenoise_Denoiser.h")
#include "org_videodenoise_Denoiser.h"
#endif

namespace {

void ThrowStatus(JNIEnv* env, const char* call, vd_status status) {
  jclass cls = env->FindClass("org/videodenoise/DenoiseException");
  if (!cls) return;  // NoClassDefFoundError is pending
  jmethodID init = env->GetMethodID(cls, "<init>", "(ILjava/lang/String;)V");
  if (!init) return;
  char text[160];
  std::snprintf(text, sizeof(text), "%s: %s", call, vd_status_string(status));
  jstring message = env->NewStringUTF(text);
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

vd_denoiser* Handle(jlong handle) {
  return reinterpret_cast<vd_denoiser*>(static_cast<intptr_t>(handle));
}

}  // namespace

extern "C" {

JNIEXPORT jlong JNICALL Java_org_videodenoise_Denoiser_nativeCreate(
    JNIEnv* env, jclass, jint max_width, jint max_height, jint threads,
    jint method) {
  vd_options options;
  vd_options_init(&options);
  options.max_width = max_width;
  options.max_height = max_height;
  options.threads = threads;
  options.method = static_cast<vd_method>(method);
  vd_denoiser* denoiser = nullptr;
  vd_status status = vd_create(&options, &denoiser);
  if (status != VD_OK) {
    ThrowStatus(env, "vd_create", status);
    return 0;
  }
  return static_cast<jlong>(reinterpret_cast<intptr_t>(denoiser));
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
  vd_status status = vd_denoise(Handle(handle), &src, &dst, type, iso);
  if (status != VD_OK) ThrowStatus(env, "vd_denoise", status);
}

JNIEXPORT void JNICALL Java_org_videodenoise_Denoiser_nativeReset(
    JNIEnv* env, jclass, jlong handle) {
  vd_status status = vd_reset(Handle(handle));
  if (status != VD_OK) ThrowStatus(env, "vd_reset", status);
}

JNIEXPORT void JNICALL Java_org_videodenoise_Denoiser_nativeDestroy(
    JNIEnv*, jclass, jlong handle) {
  vd_destroy(Handle(handle));
}

JNIEXPORT jstring JNICALL Java_org_videodenoise_Denoiser_nativeVersion(
    JNIEnv* env, jclass) {
  return env->NewStringUTF(vd_version());
}

}  // extern "C"
