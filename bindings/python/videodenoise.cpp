// Python module videodenoise: a thin pybind11 layer over api/vdenoise.h.
// Frames are 2-D uint8 numpy arrays used in place (any row stride, so crops
// of larger frames work); a result is written into out= arrays or into one
// new allocation.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <stdexcept>
#include <string>

#include "api/vdenoise.h"

namespace py = pybind11;

namespace {

// A refused engine call; becomes videodenoise.Error with a status attribute.
// The text is the engine's own error line when it logged one, e.g.
// "vd_denoise: src size 336x256 is larger than the maximum 320x240
// (unsupported frame size)".
struct StatusError : std::runtime_error {
  StatusError(const std::string& text, vd_status s)
      : std::runtime_error(text), status(s) {}
  vd_status status;
};

// Where a denoiser's log lines go: errors are kept for the exception that
// follows them, warnings go to stderr as the engine's default would.
struct LogCapture {
  std::mutex mutex;
  std::string last_error;

  static void Receive(void* user, int level, const char* message) {
    auto* self = static_cast<LogCapture*>(user);
    if (level >= VD_LOG_ERROR) {
      std::lock_guard<std::mutex> lock(self->mutex);
      self->last_error = message;
    } else {
      std::fprintf(stderr, "videodenoise: %s\n", message);
    }
  }
  void Clear() {
    std::lock_guard<std::mutex> lock(mutex);
    last_error.clear();
  }
  void Check(const char* call, vd_status status) {
    if (status == VD_OK) return;
    std::string text;
    {
      std::lock_guard<std::mutex> lock(mutex);
      text = last_error.empty()
                 ? std::string(call) + ": " + vd_status_string(status)
                 : last_error + " (" + vd_status_string(status) + ")";
      last_error.clear();
    }
    throw StatusError(text, status);
  }
};

std::string ShapeText(const py::array& a) {
  std::string text = "(";
  for (py::ssize_t i = 0; i < a.ndim(); ++i) {
    text += (i ? ", " : "") + std::to_string(a.shape(i));
  }
  return text + (a.ndim() == 1 ? ",)" : ")");
}

// One plane of rows x cols bytes: its first byte, row stride and pixel
// stride, after checking dtype, shape and strides.
struct Plane {
  unsigned char* data;
  int row_stride;
  int pixel_stride;
};

Plane View(const py::array& a, const char* name, py::ssize_t rows,
           py::ssize_t cols, bool written, bool interleaved_ok) {
  if (!a.dtype().is(py::dtype::of<uint8_t>())) {
    throw py::type_error(std::string(name) + " must be a uint8 array, not " +
                         std::string(py::str(a.dtype())));
  }
  if (a.ndim() != 2 || a.shape(0) != rows || a.shape(1) != cols) {
    throw py::value_error(std::string(name) + " must have shape (" +
                          std::to_string(rows) + ", " + std::to_string(cols) +
                          "), not " + ShapeText(a));
  }
  py::ssize_t row = a.strides(0), pixel = a.strides(1);
  if (pixel != 1 && !(interleaved_ok && pixel == 2)) {
    throw py::value_error(
        std::string(name) + " must have " +
        (interleaved_ok ? "a column stride of 1 or 2 bytes"
                        : "contiguous rows (column stride 1)") +
        ", not " + std::to_string(pixel));
  }
  if (rows > 1 && (row < (cols - 1) * pixel + 1 || row > INT32_MAX)) {
    throw py::value_error(std::string(name) +
                          " must have increasing, non-overlapping rows "
                          "(row stride " + std::to_string(row) + ")");
  }
  if (written && !a.writeable()) {
    throw py::value_error(std::string(name) + " is read-only");
  }
  return {static_cast<unsigned char*>(const_cast<void*>(a.data())),
          static_cast<int>(rows > 1 ? row : cols * pixel),
          static_cast<int>(pixel)};
}

// Y (h, w) and U, V (ceil(h/2), ceil(w/2)) with one chroma layout.
vd_frame Frame(const py::array& y, const py::array& u, const py::array& v,
               const char* prefix, bool written) {
  if (y.ndim() != 2) {
    throw py::value_error(std::string(prefix) + "y must be a 2-D array "
                          "(height, width), not shape " + ShapeText(y));
  }
  py::ssize_t h = y.shape(0), w = y.shape(1);
  if (h > INT32_MAX || w > INT32_MAX) throw py::value_error("frame too large");
  std::string yn = std::string(prefix) + "y", un = std::string(prefix) + "u",
              vn = std::string(prefix) + "v";
  Plane yp = View(y, yn.c_str(), h, w, written, false);
  Plane up = View(u, un.c_str(), (h + 1) / 2, (w + 1) / 2, written, true);
  Plane vp = View(v, vn.c_str(), (h + 1) / 2, (w + 1) / 2, written, true);
  if (up.row_stride != vp.row_stride || up.pixel_stride != vp.pixel_stride) {
    throw py::value_error(std::string(prefix) +
                          "u and " + prefix +
                          "v must have the same strides");
  }
  return {static_cast<int>(w), static_cast<int>(h), yp.data, up.data, vp.data,
          yp.row_stride, up.row_stride, up.pixel_stride};
}

// A (rows, cols) view into base starting at offset.
py::array SubView(py::array& base, py::ssize_t offset, py::ssize_t rows,
                  py::ssize_t cols) {
  auto* data = static_cast<unsigned char*>(base.mutable_data()) + offset;
  return py::array(py::dtype::of<uint8_t>(), {rows, cols},
                   {cols, py::ssize_t{1}}, data, base);
}

// An output must be a numpy array already: anything else would be converted
// into a temporary that the result would vanish into.
py::array AsArray(const py::handle& h, const char* name) {
  if (!py::isinstance<py::array>(h)) {
    throw py::type_error(std::string(name) + " must be a numpy array, not " +
                         std::string(py::str(h.get_type().attr("__name__"))));
  }
  return py::reinterpret_borrow<py::array>(h);
}

vd_method MethodFromName(const std::string& name) {
  if (name == "fuzzy") return VD_METHOD_FUZZY;
  if (name == "temporal") return VD_METHOD_TEMPORAL;
  throw py::value_error("method must be \"fuzzy\" or \"temporal\", not \"" +
                        name + "\"");
}

class Denoiser {
 public:
  Denoiser(int max_width, int max_height, int threads,
           const std::string& method) {
    vd_options options;
    vd_options_init(&options);
    options.max_width = max_width;
    options.max_height = max_height;
    options.threads = threads;
    options.method = MethodFromName(method);
    options.log = LogCapture::Receive;
    options.log_user = &log_;
    log_.Check("vd_create", vd_create(&options, &denoiser_));
  }
  ~Denoiser() { vd_destroy(denoiser_); }

  py::tuple Denoise(const py::array& y, const py::array& u,
                    const py::array& v, int type, int iso,
                    const py::object& out) {
    vd_frame src = Frame(y, u, v, "", false);
    py::tuple result;
    if (out.is_none()) {
      // One I420 allocation; Y, U and V are views into it.
      py::ssize_t h = src.height, w = src.width;
      py::ssize_t ch = (h + 1) / 2, cw = (w + 1) / 2;
      py::array buffer = py::array_t<uint8_t>(h * w + 2 * ch * cw);
      result = py::make_tuple(SubView(buffer, 0, h, w),
                              SubView(buffer, h * w, ch, cw),
                              SubView(buffer, h * w + ch * cw, ch, cw));
    } else {
      result = py::tuple(out);
      if (result.size() != 3) {
        throw py::value_error("out must be a tuple (y, u, v)");
      }
    }
    py::array oy = AsArray(result[0], "out y"), ou = AsArray(result[1], "out u"),
              ov = AsArray(result[2], "out v");
    vd_frame dst = Frame(oy, ou, ov, "out ", true);
    if (dst.width != src.width || dst.height != src.height) {
      throw py::value_error("out y must have the shape of y");
    }
    Run(src, dst, type, iso);
    return result;
  }

  py::array DenoiseNv21(const py::array& frame, int type, int iso,
                        const py::object& out) {
    vd_frame src = Nv21(frame, "frame", false);
    py::array result;
    if (out.is_none()) {
      result = py::array(py::dtype::of<uint8_t>(),
                         {frame.shape(0), frame.shape(1)});
    } else {
      result = AsArray(out, "out");
    }
    vd_frame dst = Nv21(result, "out", true);
    if (dst.width != src.width || dst.height != src.height) {
      throw py::value_error("out must have the shape of frame, " +
                            ShapeText(frame) + ", not " + ShapeText(result));
    }
    Run(src, dst, type, iso);
    return result;
  }

  void Reset() { log_.Check("vd_reset", vd_reset(Open())); }

  void Close() {
    std::lock_guard<std::mutex> lock(mutex_);
    vd_destroy(denoiser_);
    denoiser_ = nullptr;
  }

 private:
  // An NV21 frame: (height * 3 / 2, width) rows, luma then interleaved V/U.
  static vd_frame Nv21(const py::array& a, const char* name, bool written) {
    const std::string what = std::string(name) +
                             " must be a 2-D NV21 frame of shape "
                             "(height * 3 // 2, width)";
    if (!a.dtype().is(py::dtype::of<uint8_t>())) {
      throw py::type_error(std::string(name) + " must be a uint8 array, not " +
                           std::string(py::str(a.dtype())));
    }
    if (a.ndim() != 2 || a.shape(0) % 3 != 0 || a.shape(1) % 2 != 0) {
      throw py::value_error(what + " with an even width, not " + ShapeText(a));
    }
    py::ssize_t rows = a.shape(0), w = a.shape(1);
    py::ssize_t h = rows / 3 * 2;
    if (h > INT32_MAX || w > INT32_MAX) throw py::value_error("frame too large");
    Plane p = View(a, name, rows, w, written, false);
    unsigned char* vu = p.data + static_cast<py::ssize_t>(p.row_stride) * h;
    return {static_cast<int>(w), static_cast<int>(h), p.data, vu + 1, vu,
            p.row_stride, p.row_stride, 2};
  }

  vd_denoiser* Open() const {
    if (!denoiser_) throw py::value_error("the denoiser is closed");
    return denoiser_;
  }

  void Run(const vd_frame& src, const vd_frame& dst, int type, int iso) {
    vd_status status;
    {
      py::gil_scoped_release release;
      std::lock_guard<std::mutex> lock(mutex_);
      log_.Clear();
      if (!denoiser_) {
        status = VD_ERR_INVALID_ARGUMENT;
      } else {
        status = vd_denoise(denoiser_, &src, &dst, type, iso);
      }
    }
    Open();
    log_.Check("vd_denoise", status);
  }

  LogCapture log_;
  vd_denoiser* denoiser_ = nullptr;
  std::mutex mutex_;
};

}  // namespace

PYBIND11_MODULE(videodenoise, m) {
  m.doc() =
      "libVideoDenoise: real-time noise removal for 4:2:0 camera video.\n\n"
      "    d = videodenoise.Denoiser(1920, 1080)\n"
      "    y, u, v = d.denoise(y, u, v, type=0, iso=100)\n"
      "    out = d.denoise_nv21(frame, type=0, iso=100)";
  m.attr("__version__") = vd_version();
  m.attr("METHODS") = py::make_tuple("fuzzy", "temporal");

  static py::exception<StatusError> error(m, "Error", PyExc_RuntimeError);
  error.doc() = "A call the engine refused; .status is its vd_status code.";
  py::register_exception_translator([](std::exception_ptr p) {
    try {
      if (p) std::rethrow_exception(p);
    } catch (const StatusError& e) {
      py::object type = py::reinterpret_borrow<py::object>(error.ptr());
      py::object instance = type(e.what());
      instance.attr("status") = static_cast<int>(e.status);
      PyErr_SetObject(error.ptr(), instance.ptr());
    }
  });

  py::class_<Denoiser>(m, "Denoiser",
                       "A denoiser for frames up to max_width x max_height.\n"
                       "threads: 0 one worker per core, 1 the calling thread "
                       "only; method: \"fuzzy\" or \"temporal\".")
      .def(py::init<int, int, int, const std::string&>(), py::arg("max_width"),
           py::arg("max_height"), py::arg("threads") = 0,
           py::arg("method") = "fuzzy")
      .def("denoise", &Denoiser::Denoise, py::arg("y"), py::arg("u"),
           py::arg("v"), py::arg("type") = 0, py::arg("iso") = 100,
           py::arg("out") = py::none(),
           "Denoises one frame given as planes: y (h, w), u and v "
           "(h/2, w/2), uint8, any row stride, u and v with column stride "
           "1 or 2 (interleaved). Returns (y, u, v): the out= arrays, or "
           "views into one new I420 allocation. out may be the inputs.")
      .def("denoise_nv21", &Denoiser::DenoiseNv21, py::arg("frame"),
           py::arg("type") = 0, py::arg("iso") = 100,
           py::arg("out") = py::none(),
           "Denoises an NV21 frame, a uint8 array of shape "
           "(h * 3 // 2, w) with any row stride. Returns out, or a new "
           "array; out may be frame itself.")
      .def("reset", &Denoiser::Reset, "Forgets the history.")
      .def("close", &Denoiser::Close,
           "Frees the native denoiser; closing again does nothing.")
      .def("__enter__", [](py::object self) { return self; })
      .def("__exit__", [](Denoiser& d, py::args) { d.Close(); });
}
