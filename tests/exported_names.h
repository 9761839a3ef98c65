// The names the shared library exports, and nothing else: the C entry
// points and toolbox with their globals, the TARNO_VideoDenoiseSet*
// additions, and the engine API of api/vdenoise.h. exports_check looks each
// one up; exports_nm_check compares the whole dynamic symbol table with it.
#ifndef VD_TESTS_EXPORTED_NAMES_H_
#define VD_TESTS_EXPORTED_NAMES_H_

namespace vdtest {

inline const char* const kExported[] = {
    // Entry points, instance, parameters, buffers, timing.
    "TARNO_VideoDenoiseInit", "TARNO_VideoDenoise", "TARNO_VideoDenoiseDeinit",
    "TARNO_VideoDenoiseSetLogSink", "TARNO_VideoDenoiseSetTimingStream",
    "TARNO_VideoDenoiseSetPipeline", "TARNO_VideoDenoiseSetStripePool",
    "VideoSizeCheck", "g_hVideoDenoise",
    "InitVideoDenoiseParams", "ParseCfgFile", "GetCfgContent", "ParseCfgParams",
    "SetVideoDenoiseParams", "AlocateFrameBuf", "FreeFrameBuf",
    "GetPrevImageList", "p_uvSpaBuff_1", "p_uvSpaBuff_2", "p_uvSpaBuff_3",
    "VD_OS_Milliseconds", "VD_OS_Milliseconds32", "VD_OS_Microseconds",
    "Calc_ProcessTime2", "Calc_ProcessTime", "g_VideoDenoise_ProcTime",
    // Image record, conversion, resampling.
    "MallocYuv", "CreateYuvImage", "MallocByteToImage", "FreeByteFromImage",
    "DeleteYuv", "DeleteYuvImage", "SetYUV", "CopyYuv", "CopyYuvImageData",
    "CopyYuvImage", "ConvertI420ToNV21", "ConvertNV21ToI420",
    "ConvertI420ToNV21_YUV", "ConvertNV21ToI420_YUV", "ConvertNV21ToI420_UV",
    "ResizeNearestNeighbor", "ResizeNearestNeighbor2", "ResizeBilinear",
    "DownScaleNewX16", "DownScale", "UpScaleX64", "UpScaleNewX16", "UpScale",
    // Stripe workers, barrier, worker threads.
    "g_hVDMulThread", "SetVDMulThreadParam", "GetEdgeUpAndDown", "barrier",
    "VideoDenoiseMulThread", "g_canFilter", "g_canDeleteDP", "g_canDilate",
    "g_canErose", "g_lock", "g_lock_2", "g_canMoveOn", "MultiThread_Init",
    "MultiThread_set", "MultiThread_trySet", "MultiThread_post",
    "MultiThread_wait", "MultiThread_post_lock", "MultiThread_clean",
    "MultiThread_destory",
    // Spatial denoising.
    "FuzzyDenoisingMul", "SpatialDenoisingMul", "nr_table", "InitNRPixelTable",
    "FuzzyFilter_2", "FuzzyFilter_UV", "FuzzyFilter", "InitBoxFilterSum",
    "g_FuzzyHeight", "g_FuzzyHeight_2", "BoxFilter3x3", "BoxFilter",
    "BoxFilter7x7", "BoxFilter_nxn", "filterUV", "GetChromaFilterFlag",
    "VideoDenoiseSharpness", "CrossBilateralFilter", "BilateralFilter",
    "BilateralFilter_new", "bilateral_7x7_neon", "bilateral_9x9_neon",
    // Motion and temporal filtering.
    "CalSADImage", "CalSADImage_neon", "CalYuvImageSAD",
    "CalSAD_threshhold_neon", "CalSAD_threshholdProc", "CalDiffAbs_neon",
    "ThresholdImage2", "ThresholdImage2_neon", "ThresholdImage", "Threshold",
    "AdaptiveThreshold", "AdaptiveThresholdProc", "AdaptiveThresholdImage",
    "MotionDetection", "MotionCounter", "TemporalFilterS", "TemporalFilter",
    "TemporalFilterMultiFrame", "InitFilterStrength", "InitVideoNR",
    "g_dLumaFilterStrength", "TemporalDenoisingMul", "FrameDifference",
    // Morphology.
    "DeleteDiscretePoints", "Erose5x5", "Dilate5x5", "Dilate9x9",
    "Dilate15x15", "DeleteDiscretePointsProc", "EroseProcess", "DilateProcess",
    "EroseImage", "DilateImage", "EroseProc", "DilateProc", "Morphology",
    "MorphologyProc", "Erose", "Dilate", "EroseOrDilate",
    // Engine API.
    "vd_options_init", "vd_create", "vd_denoise", "vd_reset", "vd_destroy",
    "vd_status_string", "vd_frame_nv21", "vd_frame_nv12", "vd_frame_i420",
    "vd_version", "vd_set_simd_level", "vd_simd_level",
};

}  // namespace vdtest

#endif  // VD_TESTS_EXPORTED_NAMES_H_
