/* GStreamer element vdenoise: libVideoDenoise as a GstVideoFilter.
 *
 *   ... ! video/x-raw,format=NV21 ! vdenoise type=6 iso=800 ! ...
 *
 * NV21, NV12 and I420 in and out, unchanged. A writable buffer is denoised
 * in place, any other into a new buffer. New caps (size or format) start
 * the history afresh; so does a change of method or threads, which makes a
 * new denoiser. A thin layer over api/vdenoise.h. */
#include <gst/gst.h>
#include <gst/video/gstvideofilter.h>
#include <gst/video/video.h>

#include "api/vdenoise.h"

GST_DEBUG_CATEGORY_STATIC(vdenoise_debug);
#define GST_CAT_DEFAULT vdenoise_debug

#define GST_TYPE_VDENOISE_METHOD (gst_vdenoise_method_get_type())
static GType gst_vdenoise_method_get_type(void) {
  static GType type = 0;
  static const GEnumValue values[] = {
      {VD_METHOD_FUZZY, "The compatible fuzzy frame path", "fuzzy"},
      {VD_METHOD_TEMPORAL, "The motion-masked temporal pipeline", "temporal"},
      {0, NULL, NULL}};
  if (g_once_init_enter(&type)) {
    g_once_init_leave(&type,
                      g_enum_register_static("GstVdenoiseMethod", values));
  }
  return type;
}

#define GST_TYPE_VDENOISE (gst_vdenoise_get_type())
G_DECLARE_FINAL_TYPE(GstVdenoise, gst_vdenoise, GST, VDENOISE, GstVideoFilter)

struct _GstVdenoise {
  GstVideoFilter parent;
  /* Properties, under the object lock. */
  gint method;
  gint type;
  gint iso;
  gint threads;
  gboolean rebuild; /* method or threads changed */
  /* Streaming side. */
  vd_denoiser* denoiser;
};

enum { PROP_0, PROP_METHOD, PROP_TYPE, PROP_ISO, PROP_THREADS };

#define DEFAULT_METHOD VD_METHOD_FUZZY
#define DEFAULT_TYPE 0
#define DEFAULT_ISO 100
#define DEFAULT_THREADS 0

/* The engine takes even sizes from 16x16 to 8192x8192 (odd ones fail in
 * set_info). */
#define VDENOISE_CAPS                                              \
  "video/x-raw, format = (string) { NV21, NV12, I420 }, "         \
  "width = (int) [ 16, 8192 ], height = (int) [ 16, 8192 ], "     \
  "framerate = " GST_VIDEO_FPS_RANGE

G_DEFINE_TYPE(GstVdenoise, gst_vdenoise, GST_TYPE_VIDEO_FILTER)

/* The engine's log lines go to the element's debug category. */
static void gst_vdenoise_log(void* user, int level, const char* message) {
  GstVdenoise* self = (GstVdenoise*)user;
  if (level >= VD_LOG_ERROR) {
    GST_ERROR_OBJECT(self, "%s", message);
  } else if (level >= VD_LOG_WARNING) {
    GST_WARNING_OBJECT(self, "%s", message);
  } else {
    GST_DEBUG_OBJECT(self, "%s", message);
  }
}

/* A new denoiser for frames of the negotiated size, with the current
 * method and threads. */
static gboolean gst_vdenoise_create(GstVdenoise* self, const GstVideoInfo* info) {
  vd_options options;
  vd_options_init(&options);
  options.max_width = GST_VIDEO_INFO_WIDTH(info);
  options.max_height = GST_VIDEO_INFO_HEIGHT(info);
  options.log = gst_vdenoise_log;
  options.log_user = self;
  /* Per-frame traces only when someone reads them. */
  options.log_level = gst_debug_category_get_threshold(vdenoise_debug) >=
                              GST_LEVEL_DEBUG
                          ? VD_LOG_DEBUG
                          : VD_LOG_WARNING;
  GST_OBJECT_LOCK(self);
  options.method = (vd_method)self->method;
  options.threads = self->threads;
  self->rebuild = FALSE;
  GST_OBJECT_UNLOCK(self);
  vd_destroy(self->denoiser);
  self->denoiser = NULL;
  vd_status status = vd_create(&options, &self->denoiser);
  if (status != VD_OK) {
    GST_ELEMENT_ERROR(self, STREAM, FORMAT, (NULL),
                      ("vd_create for %dx%d: %s", options.max_width,
                       options.max_height, vd_status_string(status)));
    return FALSE;
  }
  return TRUE;
}

static gboolean gst_vdenoise_set_info(GstVideoFilter* filter, GstCaps* incaps,
                                      GstVideoInfo* in_info, GstCaps* outcaps,
                                      GstVideoInfo* out_info) {
  (void)incaps;
  (void)outcaps;
  (void)out_info;
  GstVdenoise* self = GST_VDENOISE(filter);
  GST_DEBUG_OBJECT(self, "new caps %s %dx%d: history starts afresh",
                   GST_VIDEO_INFO_NAME(in_info), GST_VIDEO_INFO_WIDTH(in_info),
                   GST_VIDEO_INFO_HEIGHT(in_info));
  return gst_vdenoise_create(self, in_info);
}

/* The engine's view of a mapped frame (any of the three formats). */
static vd_frame gst_vdenoise_view(GstVideoFrame* f) {
  vd_frame v;
  v.width = GST_VIDEO_FRAME_WIDTH(f);
  v.height = GST_VIDEO_FRAME_HEIGHT(f);
  v.y = GST_VIDEO_FRAME_COMP_DATA(f, 0);
  v.u = GST_VIDEO_FRAME_COMP_DATA(f, 1);
  v.v = GST_VIDEO_FRAME_COMP_DATA(f, 2);
  v.y_stride = GST_VIDEO_FRAME_COMP_STRIDE(f, 0);
  v.uv_stride = GST_VIDEO_FRAME_COMP_STRIDE(f, 1);
  v.uv_pixel_stride = GST_VIDEO_FRAME_COMP_PSTRIDE(f, 1);
  return v;
}

static GstFlowReturn gst_vdenoise_run(GstVdenoise* self, GstVideoFrame* in,
                                      GstVideoFrame* out) {
  GST_OBJECT_LOCK(self);
  gint type = self->type, iso = self->iso;
  gboolean rebuild = self->rebuild;
  GST_OBJECT_UNLOCK(self);
  if (rebuild && !gst_vdenoise_create(self, &in->info)) {
    return GST_FLOW_ERROR;
  }
  vd_frame src = gst_vdenoise_view(in);
  vd_frame dst = gst_vdenoise_view(out);
  vd_status status = vd_denoise(self->denoiser, &src, &dst, type, iso);
  if (status != VD_OK) {
    GST_ELEMENT_ERROR(self, STREAM, FAILED, (NULL),
                      ("vd_denoise: %s", vd_status_string(status)));
    return GST_FLOW_ERROR;
  }
  return GST_FLOW_OK;
}

/* Writable input: the output is the input buffer itself. */
static GstFlowReturn gst_vdenoise_prepare_output_buffer(GstBaseTransform* trans,
                                                        GstBuffer* inbuf,
                                                        GstBuffer** outbuf) {
  if (gst_buffer_is_writable(inbuf)) {
    *outbuf = inbuf;
    return GST_FLOW_OK;
  }
  return GST_BASE_TRANSFORM_CLASS(gst_vdenoise_parent_class)
      ->prepare_output_buffer(trans, inbuf, outbuf);
}

/* Shared input: GstVideoFilter maps both buffers and calls this. */
static GstFlowReturn gst_vdenoise_transform_frame(GstVideoFilter* filter,
                                                  GstVideoFrame* in,
                                                  GstVideoFrame* out) {
  GstVdenoise* self = GST_VDENOISE(filter);
  GST_LOG_OBJECT(self, "denoising into a new buffer");
  return gst_vdenoise_run(self, in, out);
}

/* The output is the input when it was writable (see above): one mapping
 * for reading and writing. Otherwise GstVideoFilter's own transform. */
static GstFlowReturn gst_vdenoise_transform(GstBaseTransform* trans,
                                            GstBuffer* inbuf,
                                            GstBuffer* outbuf) {
  GstVideoFilter* filter = GST_VIDEO_FILTER(trans);
  GstVdenoise* self = GST_VDENOISE(trans);
  if (inbuf != outbuf) {
    return GST_BASE_TRANSFORM_CLASS(gst_vdenoise_parent_class)
        ->transform(trans, inbuf, outbuf);
  }
  if (!filter->negotiated) {
    return GST_FLOW_NOT_NEGOTIATED;
  }
  GST_LOG_OBJECT(self, "denoising in place");
  GstVideoFrame frame;
  if (!gst_video_frame_map(&frame, &filter->in_info, inbuf,
                           GST_MAP_READWRITE | GST_VIDEO_FRAME_MAP_FLAG_NO_REF)) {
    GST_ELEMENT_ERROR(self, CORE, FAILED, (NULL), ("could not map a frame"));
    return GST_FLOW_ERROR;
  }
  GstFlowReturn ret = gst_vdenoise_run(self, &frame, &frame);
  gst_video_frame_unmap(&frame);
  return ret;
}

static gboolean gst_vdenoise_stop(GstBaseTransform* trans) {
  GstVdenoise* self = GST_VDENOISE(trans);
  vd_destroy(self->denoiser);
  self->denoiser = NULL;
  return TRUE;
}

static void gst_vdenoise_set_property(GObject* object, guint id,
                                      const GValue* value, GParamSpec* pspec) {
  GstVdenoise* self = GST_VDENOISE(object);
  GST_OBJECT_LOCK(self);
  switch (id) {
    case PROP_METHOD:
      self->rebuild |= self->method != g_value_get_enum(value);
      self->method = g_value_get_enum(value);
      break;
    case PROP_TYPE:
      self->type = g_value_get_int(value);
      break;
    case PROP_ISO:
      self->iso = g_value_get_int(value);
      break;
    case PROP_THREADS:
      self->rebuild |= self->threads != g_value_get_int(value);
      self->threads = g_value_get_int(value);
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
      break;
  }
  GST_OBJECT_UNLOCK(self);
}

static void gst_vdenoise_get_property(GObject* object, guint id, GValue* value,
                                      GParamSpec* pspec) {
  GstVdenoise* self = GST_VDENOISE(object);
  GST_OBJECT_LOCK(self);
  switch (id) {
    case PROP_METHOD:
      g_value_set_enum(value, self->method);
      break;
    case PROP_TYPE:
      g_value_set_int(value, self->type);
      break;
    case PROP_ISO:
      g_value_set_int(value, self->iso);
      break;
    case PROP_THREADS:
      g_value_set_int(value, self->threads);
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
      break;
  }
  GST_OBJECT_UNLOCK(self);
}

static void gst_vdenoise_finalize(GObject* object) {
  vd_destroy(GST_VDENOISE(object)->denoiser);
  G_OBJECT_CLASS(gst_vdenoise_parent_class)->finalize(object);
}

static void gst_vdenoise_class_init(GstVdenoiseClass* klass) {
  GObjectClass* gobject_class = G_OBJECT_CLASS(klass);
  GstElementClass* element_class = GST_ELEMENT_CLASS(klass);
  GstBaseTransformClass* trans_class = GST_BASE_TRANSFORM_CLASS(klass);
  GstVideoFilterClass* filter_class = GST_VIDEO_FILTER_CLASS(klass);

  gobject_class->set_property = gst_vdenoise_set_property;
  gobject_class->get_property = gst_vdenoise_get_property;
  gobject_class->finalize = gst_vdenoise_finalize;
  const GParamFlags flags = (GParamFlags)(G_PARAM_READWRITE |
                                          G_PARAM_STATIC_STRINGS |
                                          GST_PARAM_MUTABLE_PLAYING);
  g_object_class_install_property(
      gobject_class, PROP_METHOD,
      g_param_spec_enum("method", "Method",
                        "Denoising pipeline (a change starts a new history)",
                        GST_TYPE_VDENOISE_METHOD, DEFAULT_METHOD, flags));
  g_object_class_install_property(
      gobject_class, PROP_TYPE,
      g_param_spec_int("type", "Type",
                       "Denoise mode; above 5 filters harder (a change "
                       "starts a new history)",
                       G_MININT, G_MAXINT, DEFAULT_TYPE, flags));
  g_object_class_install_property(
      gobject_class, PROP_ISO,
      g_param_spec_int("iso", "ISO", "Sensor ISO of the frames", G_MININT,
                       G_MAXINT, DEFAULT_ISO, flags));
  g_object_class_install_property(
      gobject_class, PROP_THREADS,
      g_param_spec_int("threads", "Threads",
                       "Workers: 0 one per online core, 1 the streaming "
                       "thread only",
                       0, 256, DEFAULT_THREADS, flags));

  gst_element_class_set_static_metadata(
      element_class, "Video denoiser", "Filter/Effect/Video",
      "Removes noise from camera video (libVideoDenoise)",
      "libVideoDenoise developers");
  GstCaps* caps = gst_caps_from_string(VDENOISE_CAPS);
  gst_element_class_add_pad_template(
      element_class,
      gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, caps));
  gst_element_class_add_pad_template(
      element_class,
      gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, caps));
  gst_caps_unref(caps);

  trans_class->prepare_output_buffer = gst_vdenoise_prepare_output_buffer;
  trans_class->transform = gst_vdenoise_transform;
  trans_class->stop = gst_vdenoise_stop;
  trans_class->passthrough_on_same_caps = FALSE;
  trans_class->transform_ip_on_passthrough = FALSE;
  filter_class->set_info = gst_vdenoise_set_info;
  filter_class->transform_frame = gst_vdenoise_transform_frame;

  gst_type_mark_as_plugin_api(GST_TYPE_VDENOISE_METHOD, 0);
}

static void gst_vdenoise_init(GstVdenoise* self) {
  self->method = DEFAULT_METHOD;
  self->type = DEFAULT_TYPE;
  self->iso = DEFAULT_ISO;
  self->threads = DEFAULT_THREADS;
}

static gboolean plugin_init(GstPlugin* plugin) {
  GST_DEBUG_CATEGORY_INIT(vdenoise_debug, "vdenoise", 0,
                          "libVideoDenoise element");
  return gst_element_register(plugin, "vdenoise", GST_RANK_NONE,
                              GST_TYPE_VDENOISE);
}

#define PACKAGE "libVideoDenoise" /* GST_PLUGIN_DEFINE reads it */
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, vdenoise,
                  "Noise removal for camera video (libVideoDenoise)",
                  plugin_init, VD_PLUGIN_VERSION, "unknown", "libVideoDenoise",
                  "libVideoDenoise")
