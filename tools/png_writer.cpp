// PNG output through libpng, written under a temporary name and renamed
// when complete.
#include "tools/picture.h"
#include "tools/output_file.h"

#if VD_TOOL_HAVE_PNG
#include <png.h>

#include <csetjmp>
#endif

namespace vdtool {

#if VD_TOOL_HAVE_PNG

namespace {

struct PngSink {
  OutputFile* out;
  std::string error;
};

void PngWrite(png_structp png, png_bytep data, png_size_t size) {
  PngSink* sink = static_cast<PngSink*>(png_get_io_ptr(png));
  if (!WriteOutput(sink->out, data, size, &sink->error)) {
    png_error(png, "write failed");
  }
}

void PngFlush(png_structp) {}

void PngErrorMessage(png_structp png, png_const_charp message) {
  PngSink* sink = static_cast<PngSink*>(png_get_error_ptr(png));
  if (sink->error.empty()) sink->error = message;
  png_longjmp(png, 1);
}

void PngWarning(png_structp, png_const_charp) {}

}  // namespace

bool PngSupported() { return true; }

bool WritePng(const std::string& path, const RgbImage& image,
              std::string* error) {
  OutputFile out;
  if (!OpenOutput(path, &out, error)) return false;
  PngSink sink{&out, std::string()};
  std::vector<png_bytep> rows(static_cast<size_t>(image.height));
  for (int y = 0; y < image.height; ++y) {
    rows[y] = const_cast<png_bytep>(
        &image.pixels[static_cast<size_t>(y) * image.width * 3]);
  }
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &sink,
                                            PngErrorMessage, PngWarning);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (!png || !info) {
    png_destroy_write_struct(&png, &info);
    AbortOutput(&out);
    *error = "cannot write " + path + ": out of memory in libpng";
    return false;
  }
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    AbortOutput(&out);
    *error = sink.error.find(path) != std::string::npos
                 ? sink.error
                 : "cannot write " + path + ": " + sink.error;
    return false;
  }
  png_set_write_fn(png, &sink, PngWrite, PngFlush);
  // Fast compression: these pictures are large and written while a clip is
  // being processed.
  png_set_compression_level(png, 3);
  png_set_IHDR(png, info, static_cast<png_uint_32>(image.width),
               static_cast<png_uint_32>(image.height), 8, PNG_COLOR_TYPE_RGB,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  png_write_image(png, rows.data());
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return CommitOutput(&out, error);
}

#else  // !VD_TOOL_HAVE_PNG

bool PngSupported() { return false; }

bool WritePng(const std::string& path, const RgbImage&, std::string* error) {
  *error = "cannot write " + path +
           ": this vdenoise was built without libpng (install libpng-dev and "
           "rebuild)";
  return false;
}

#endif

}  // namespace vdtool
