// The compiled half of the Python package: typed calls of the library's drivers on numpy buffers that the
// Python half has already laid out column-major, and the process-wide plan caches they share.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <atomic>
#include <cmath>
#include <complex>
#include <cstdint>
#include <mutex>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

// The checked entries' rules raise (std::invalid_argument is Python's ValueError) in every build.
#define TESSEL_FFT_ENABLE_CHECKS 1
#define TESSEL_FFT_CHECK_FAILED(message) throw std::invalid_argument(message)
#include "tessel_fft/tessel_fft.hpp"
// The library's lists of precisions and kinds, which its instantiations expand.
#include "families.hpp"

namespace py = pybind11;
namespace tf = tessel_fft;
using u64 = std::uint64_t;

namespace {

// The kinds of the library's lists, walked at compile time: FFT kinds 0..2, cosine/sine kinds 0..7.
constexpr auto kFFTKinds = std::make_integer_sequence<int, tf::FFTPlans::kKinds>();
constexpr auto kDCSTKinds = std::make_integer_sequence<int, tf::DCSTPlans::kKinds>();

// Plans kept per precision and kind. A plan holds its twiddles, so this bounds the memory of a process
// that meets many shapes; beyond it, new shapes are planned on every call (cheaply, from FFTW's wisdom).
constexpr std::size_t kPlansPerCache = 64;

// The cache every Python thread shares. It never evicts: the cache protocol has no release call, so a
// shared cache cannot know whether another thread still runs a plan it handed out, and destroying one
// would pull it from under that thread. Once full it declines new plans, which then stay with the call
// that made them. A per-thread LRU would be bounded too but plans each shape once per thread, and
// thread pools (dask, concurrent.futures) make many threads.
//
// Each thread also keeps its own copy of the entries it has met, which serves its hits without the lock:
// threads calling at once would otherwise take turns on it for every call. Since nothing leaves the
// shared map, a copy stays valid. One instance per template argument (see fftCache), so the copy can be
// a thread-local of the class.
template <typename Interface>
class BoundedSharedCache final : public Interface {
 public:
  using Plan = typename Interface::Plan;
  using Plans = std::unordered_map<tf::fftwPlanKey, Plan>;

  bool insertPlan(const tf::fftwPlanKey& key, Plan& plan) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (plans_.size() >= kPlansPerCache) return false;
    try {
      return plans_.emplace(key, plan).second;
    } catch (const std::bad_alloc&) {
      return false;
    }
  }

  Plan lookupPlan(const tf::fftwPlanKey& key) override {
    Plans& seen = seenByThisThread();
    const auto local = seen.find(key);
    if (local != seen.end()) return local->second;
    Plan plan = nullptr;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      const auto found = plans_.find(key);
      if (found == plans_.end()) return nullptr;
      plan = found->second;
    }
    try {
      seen.emplace(key, plan);
    } catch (const std::bad_alloc&) {
      // The next hit takes the lock again.
    }
    return plan;
  }

  std::size_t size() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return plans_.size();
  }

 private:
  static Plans& seenByThisThread() {
    static thread_local Plans seen;
    return seen;
  }

  std::mutex mutex_;
  Plans plans_;
};

// The caches live as long as the process and are never destroyed: at interpreter exit a daemon thread
// may still be inside a transform, without the GIL, using their plans.
template <typename T, int Kind>
BoundedSharedCache<tf::fftwPlanCacheInterface<T, Kind, tf::fftwPlanKey>>& fftCache() {
  static auto* cache = new BoundedSharedCache<tf::fftwPlanCacheInterface<T, Kind, tf::fftwPlanKey>>();
  return *cache;
}
template <typename T, int Kind>
BoundedSharedCache<tf::dcstPlanCacheInterface<T, Kind>>& dcstCache() {
  static auto* cache = new BoundedSharedCache<tf::dcstPlanCacheInterface<T, Kind>>();
  return *cache;
}

// FFTW_ESTIMATE unless the host asks for more: a scipy.fft user expects no planning time, and code that
// meets many sizes once each (scipy's own tests: every length up to 511) would spend seconds measuring.
std::atomic<unsigned> planStrategy{FFTW_ESTIMATE};

tf::fftwContext contextFor(u64 threads) {
  return tf::fftwContext(threads, planStrategy.load(), tf::fftwContext::EMBED_COMPACT, false);
}

// The elements of every vector that the orthogonalising weights of a cosine or sine transform touch,
// as bits of View::weights: the input's multiplied by sqrt(2) before it, the output's divided by it after.
enum Weights : int { kInFirst = 1, kInLast = 2, kOutFirst = 4, kOutLast = 8 };

// The column-major view of one call, as the Python half computed it, the factor its norm wants beyond
// the library's division, and the Weights of a cosine or sine transform.
struct View {
  u64 stride;
  u64 n;
  u64 inputLength;
  u64 numVectors;
  double scale;
  int weights;
};

// Calls of less work than this (points times the bit length of a transform) keep the GIL. Alone a
// release costs little, but with another Python thread waiting it hands the GIL over and the call then
// waits to take it back, for longer than such a transform takes: two threads making calls of 8 vectors of
// 64 points at once took 2.4 times as long as one thread making them all where the system ran both at
// once, and 1.1 times (as pure Python code does) keeping the GIL. At the threshold the transform takes
// about 12 microseconds (6 vectors of 1024 complex doubles on a shared AMD EPYC), which other threads may
// use.
constexpr u64 kReleaseGILWork = u64{1} << 16;

// Releases the GIL for its scope if a call of `points` points in transforms of `length` reaches
// kReleaseGILWork.
class GILReleaseFor {
 public:
  GILReleaseFor(u64 points, u64 length) {
    u64 bits = 1;
    while (length >>= 1) ++bits;
    if (points * bits >= kReleaseGILWork) release_.emplace();
  }

 private:
  std::optional<py::gil_scoped_release> release_;
};

// Multiplies the output by what the norm wants beyond the library's division, in the pass that leaves it
// in the caches, where a numpy call would cost a microsecond or two more from Python. The factor is
// rounded to the output's precision first, as numpy does for a Python float and a single-precision array.
template <typename E>
void scaleOutput(E* values, u64 count, double scale) {
  if (scale == 1.0) return;
  using Real = decltype(std::real(std::declval<E>()));
  const Real factor = static_cast<Real>(scale);
  for (u64 i = 0; i < count; ++i) values[i] *= factor;
}

// The library does not validate; this edge does, so that a wrong call from Python raises instead of
// reading or writing outside a buffer.
template <typename E>
const E* readable(const py::array& array, u64 elements) {
  if (!py::isinstance<py::array_t<E>>(array)) throw py::type_error("tessel_fft: unexpected dtype");
  if (!(array.flags() & (py::array::c_style | py::array::f_style)))
    throw py::value_error("tessel_fft: array is not contiguous");
  if (static_cast<u64>(array.size()) < elements) throw py::value_error("tessel_fft: array too small");
  return static_cast<const E*>(array.data());
}

template <typename E>
E* writable(py::array& array, u64 elements) {
  readable<E>(array, elements);
  return static_cast<E*>(array.mutable_data());
}

template <typename T, int Kind>
void runFFT(const py::array& in, py::array& out, const View& view, int sign, u64 threads) {
  using In = typename tf::fftElements<T, Kind>::In;
  using Out = typename tf::fftElements<T, Kind>::Out;
  const u64 outCount = view.n * view.numVectors;
  const In* source = readable<In>(in, view.inputLength * view.numVectors);
  Out* target = writable<Out>(out, outCount);
  const GILReleaseFor release(outCount, view.n);
  tf::quillFFT1D<T, Kind>(contextFor(threads), &fftCache<T, Kind>(), source, target, view.stride, view.n,
                          view.inputLength, view.numVectors, sign);
  scaleOutput(target, outCount, view.scale);
}

// The one-sided r2c: n/2+1 outputs per vector.
template <typename T>
void runHalfSpectrum(const py::array& in, py::array& out, const View& view, int sign, u64 threads) {
  const u64 outCount = (view.n / 2 + 1) * view.numVectors;
  const T* source = readable<T>(in, view.inputLength * view.numVectors);
  std::complex<T>* target = writable<std::complex<T>>(out, outCount);
  const GILReleaseFor release(view.n * view.numVectors, view.n);
  tf::quillRFFT1D<T>(contextFor(threads), &fftCache<T, tf::r2c>(), source, target, view.stride, view.n,
                     view.inputLength, view.numVectors, sign);
  scaleOutput(target, outCount, view.scale);
}

// The column-major extents of an N-D call, as the Python half computed them.
struct NDView {
  std::vector<u64> lengths;
  std::vector<u64> inputExtents;
  std::vector<u64> axes;
  double scale;

  static u64 count(const std::vector<u64>& extents) {
    u64 total = 1;
    for (const u64 extent : extents) total *= extent;
    return total;
  }
  u64 outputCount(int kind) const {
    u64 total = 1;
    for (std::size_t d = 0; d < lengths.size(); ++d)
      total *= kind == tf::r2c && !axes.empty() && d == axes[0] ? lengths[d] / 2 + 1 : lengths[d];
    return total;
  }
};

template <typename T, int Kind>
void runFFTND(const py::array& in, py::array& out, const NDView& view, int sign, u64 threads) {
  using In = typename tf::fftElements<T, Kind>::In;
  using Out = typename tf::fftElements<T, Kind>::Out;
  if (view.inputExtents.size() != view.lengths.size())
    throw py::value_error("tessel_fft: extents differ in rank");
  const tf::fftNDShape shape{view.lengths.data(), view.inputExtents.data(), view.lengths.size(),
                             view.axes.data(), view.axes.size()};
  // The checked layer's rules on axes and extents, before the buffers are sized from them.
  tf::checked::checkNDShape("fftND", shape);
  const u64 outCount = view.outputCount(Kind);
  const In* source = readable<In>(in, view.count(view.inputExtents));
  Out* target = writable<Out>(out, outCount);
  const tf::fftNDCaches<T> caches{&fftCache<T, tf::r2c>(), &fftCache<T, tf::c2r>(), &fftCache<T, tf::c2c>()};
  const u64 points = view.count(view.lengths);
  const GILReleaseFor release(points, points);
  tf::fftND<T, Kind>(contextFor(threads), caches, source, target, shape, sign);
  scaleOutput(target, outCount, view.scale);
}

// Multiplies element k of every vector of a column-major array by `factor`: vectors of `length`
// elements of `width` reals, `stride` apart, numVectors a multiple of stride. Element k of each run of
// `stride` vectors lies together.
template <typename T>
void weightElement(T* values, const View& view, u64 length, u64 width, u64 k, T factor) {
  const u64 run = view.stride * width;
  for (u64 first = 0; first < view.numVectors; first += view.stride) {
    T* element = values + (first * length + k * view.stride) * width;
    for (u64 i = 0; i < run; ++i) element[i] *= factor;
  }
}

template <typename T, int Kind>
void runDCST(const py::array& in, py::array& out, const View& view, int direction, bool isComplex,
             u64 threads) {
  const u64 width = isComplex ? 2 : 1;
  const u64 inCount = view.inputLength * view.numVectors, outCount = view.n * view.numVectors;
  const T* source = isComplex ? reinterpret_cast<const T*>(readable<std::complex<T>>(in, inCount))
                              : readable<T>(in, inCount);
  T* target =
      isComplex ? reinterpret_cast<T*>(writable<std::complex<T>>(out, outCount)) : writable<T>(out, outCount);
  const GILReleaseFor release(width * outCount, view.n);
  // Weighted input goes through a copy: the caller's stays as it was. An element beyond the input is
  // padding, which no weight changes.
  std::vector<T> weighted;
  if (view.weights & (kInFirst | kInLast)) {
    weighted.assign(source, source + width * inCount);
    const T root2 = std::sqrt(T{2});
    if (view.weights & kInFirst) weightElement(weighted.data(), view, view.inputLength, width, 0, root2);
    if ((view.weights & kInLast) && view.n <= view.inputLength)
      weightElement(weighted.data(), view, view.inputLength, width, view.n - 1, root2);
    source = weighted.data();
  }
  tf::quillDCST1D<T, Kind>(contextFor(threads), &dcstCache<T, Kind>(), source, target, view.stride, view.n,
                           view.inputLength, view.numVectors, direction, isComplex);
  scaleOutput(target, width * outCount, view.scale);
  const T halfRoot2 = 1 / std::sqrt(T{2});
  if (view.weights & kOutFirst) weightElement(target, view, view.n, width, 0, halfRoot2);
  if (view.weights & kOutLast) weightElement(target, view, view.n, width, view.n - 1, halfRoot2);
}

template <typename E>
void runDCTND(const py::array& in, py::array& out, const std::vector<u64>& dims, bool inverse,
              bool orthonormal, u64 threads, double scale) {
  u64 count = 1;
  for (const u64 extent : dims) count *= extent;
  const E* source = readable<E>(in, count);
  E* target = writable<E>(out, count);
  const GILReleaseFor release(count, count);
  using R = tf::ndReal<E>;
  if (inverse) {
    tf::idctIIND<E>(contextFor(threads), &dcstCache<R, 2>(), source, target, dims.data(), dims.size(),
                    orthonormal);
  } else {
    tf::dctIIND<E>(contextFor(threads), &dcstCache<R, 1>(), source, target, dims.data(), dims.size(),
                   orthonormal);
  }
  scaleOutput(target, count, scale);
}

// One function per precision picks the instantiation of a run-time kind.
template <typename T, int... Kinds>
void fftOfKind(int kind, std::integer_sequence<int, Kinds...>, const py::array& in, py::array& out,
               const View& view, int sign, u64 threads) {
  if (kind < 0 || kind >= static_cast<int>(sizeof...(Kinds))) throw py::value_error("tessel_fft: bad kind");
  ((kind == Kinds ? runFFT<T, Kinds>(in, out, view, sign, threads) : void()), ...);
}

// Kinds 0..2 of quillFFT1D, and 3 for the one-sided r2c.
template <typename T>
void fftOfKind(int kind, const py::array& in, py::array& out, const View& view, int sign, u64 threads) {
  if (kind == 3) return runHalfSpectrum<T>(in, out, view, sign, threads);
  fftOfKind<T>(kind, kFFTKinds, in, out, view, sign, threads);
}

template <typename T, int... Kinds>
void fftNDOfKind(int kind, std::integer_sequence<int, Kinds...>, const py::array& in, py::array& out,
                 const NDView& view, int sign, u64 threads) {
  if (kind < 0 || kind >= static_cast<int>(sizeof...(Kinds))) throw py::value_error("tessel_fft: bad kind");
  ((kind == Kinds ? runFFTND<T, Kinds>(in, out, view, sign, threads) : void()), ...);
}

template <typename T, int... Kinds>
void dcstOfKind(int kind, std::integer_sequence<int, Kinds...>, const py::array& in, py::array& out,
                const View& view, int direction, bool isComplex, u64 threads) {
  if (kind < 0 || kind >= static_cast<int>(sizeof...(Kinds))) throw py::value_error("tessel_fft: bad kind");
  ((kind == Kinds ? runDCST<T, Kinds>(in, out, view, direction, isComplex, threads) : void()), ...);
}

template <typename T, int... FFTKinds, int... DCSTKinds>
std::size_t cachedPlansOf(std::integer_sequence<int, FFTKinds...>, std::integer_sequence<int, DCSTKinds...>) {
  return (0 + ... + fftCache<T, FFTKinds>().size()) + (0 + ... + dcstCache<T, DCSTKinds>().size());
}

}  // namespace

PYBIND11_MODULE(_core, module) {
  module.doc() = "tessel_fft's drivers on column-major numpy buffers; use the functions of tessel_fft.";

  // The library's allocation failure is Python's MemoryError; its other failure stays a RuntimeError.
  // Anything else goes on to pybind11's own translators.
  py::register_exception_translator([](std::exception_ptr failure) {
    try {
      if (failure) std::rethrow_exception(failure);
    } catch (const tf::out_of_memory& error) {
      PyErr_SetString(PyExc_MemoryError, error.what());
    } catch (const tf::backend_failure& error) {
      PyErr_SetString(PyExc_RuntimeError, error.what());
    }
  });

  module.def(
      "fft",
      [](int kind, bool single, const py::array& in, py::array& out, u64 stride, u64 n, u64 inputLength,
         u64 numVectors, int sign, u64 threads, double scale) {
        const View view{stride, n, inputLength, numVectors, scale, 0};
        if (single) {
          fftOfKind<float>(kind, in, out, view, sign, threads);
        } else {
          fftOfKind<double>(kind, in, out, view, sign, threads);
        }
      },
      "quillFFT1D of kind 0 r2c, 1 c2r, 2 c2c, or 3 the one-sided r2c (quillRFFT1D), on contiguous "
      "buffers, the output then multiplied by `scale`; GIL released while a long one runs.",
      py::arg("kind"), py::arg("single"), py::arg("input"), py::arg("output"), py::arg("stride"),
      py::arg("n"), py::arg("input_length"), py::arg("num_vectors"), py::arg("sign"), py::arg("threads"),
      py::arg("scale") = 1.0);

  module.def(
      "fftn",
      [](int kind, bool single, const py::array& in, py::array& out, std::vector<u64> lengths,
         std::vector<u64> inputExtents, std::vector<u64> axes, int sign, u64 threads, double scale) {
        const NDView view{std::move(lengths), std::move(inputExtents), std::move(axes), scale};
        if (single) {
          fftNDOfKind<float>(kind, kFFTKinds, in, out, view, sign, threads);
        } else {
          fftNDOfKind<double>(kind, kFFTKinds, in, out, view, sign, threads);
        }
      },
      "fftND of kind 0 r2c (one-sided along axes[0]), 1 c2r, 2 c2c over column-major `lengths` from an "
      "input of `input_extents`, the output then multiplied by `scale`; GIL released while a long one runs.",
      py::arg("kind"), py::arg("single"), py::arg("input"), py::arg("output"), py::arg("lengths"),
      py::arg("input_extents"), py::arg("axes"), py::arg("sign"), py::arg("threads"), py::arg("scale") = 1.0);

  module.def(
      "dcst",
      [](int kind, bool single, const py::array& in, py::array& out, u64 stride, u64 n, u64 inputLength,
         u64 numVectors, int direction, bool isComplex, u64 threads, double scale, int weights) {
        const View view{stride, n, inputLength, numVectors, scale, weights};
        if (single) {
          dcstOfKind<float>(kind, kDCSTKinds, in, out, view, direction, isComplex, threads);
        } else {
          dcstOfKind<double>(kind, kDCSTKinds, in, out, view, direction, isComplex, threads);
        }
      },
      "quillDCST1D of kind 0..7 on contiguous buffers, the output then multiplied by `scale`, the elements "
      "that `weights` names (bits: 1 first and 2 last input, 4 first and 8 last output) multiplied by "
      "sqrt(2) before and divided by it after; GIL released while a long one runs.",
      py::arg("kind"), py::arg("single"), py::arg("input"), py::arg("output"), py::arg("stride"),
      py::arg("n"), py::arg("input_length"), py::arg("num_vectors"), py::arg("direction"),
      py::arg("is_complex"), py::arg("threads"), py::arg("scale") = 1.0, py::arg("weights") = 0);

  module.def(
      "dctn",
      [](const py::array& in, py::array& out, const std::vector<u64>& dims, bool inverse, bool orthonormal,
         u64 threads, double scale) {
        const int type = py::dtype(in.dtype()).num();
        if (type == py::dtype::of<float>().num()) {
          runDCTND<float>(in, out, dims, inverse, orthonormal, threads, scale);
        } else if (type == py::dtype::of<double>().num()) {
          runDCTND<double>(in, out, dims, inverse, orthonormal, threads, scale);
        } else if (type == py::dtype::of<std::complex<float>>().num()) {
          runDCTND<std::complex<float>>(in, out, dims, inverse, orthonormal, threads, scale);
        } else {
          runDCTND<std::complex<double>>(in, out, dims, inverse, orthonormal, threads, scale);
        }
      },
      "dctIIND or idctIIND over column-major extents `dims` with the shared DCT-II or DCT-III plan cache, "
      "the output then multiplied by `scale`; GIL released while a long one runs.",
      py::arg("input"), py::arg("output"), py::arg("dims"), py::arg("inverse"), py::arg("orthonormal"),
      py::arg("threads"), py::arg("scale") = 1.0);

  module.def(
      "set_plan_strategy",
      [](const std::string& name) {
        if (name == "estimate") {
          planStrategy = FFTW_ESTIMATE;
        } else if (name == "measure") {
          planStrategy = FFTW_MEASURE;
        } else if (name == "hybrid") {
          planStrategy = tf::fftwContext::TS_FFTW_HYBRID;
        } else {
          throw py::value_error("planner must be 'estimate', 'measure' or 'hybrid'");
        }
      },
      py::arg("name"));

  module.def("cached_plans", [] {
    return cachedPlansOf<float>(kFFTKinds, kDCSTKinds) + cachedPlansOf<double>(kFFTKinds, kDCSTKinds);
  });
  module.attr("plans_per_cache") = kPlansPerCache;

  module.def("library_version", &tf::getLibraryVersion);
  module.def("fftw_version", &tf::fftwApi::getVersion);
  // Wisdom: a failed import raises with the library's one-line reason and leaves the wisdom in memory
  // as it was; the file functions release the GIL, since a file may be slow to reach.
  module.def("export_wisdom", [] { return tf::exportWisdom(); });
  module.def(
      "import_wisdom",
      [](const std::string& text) {
        std::string error;
        if (!tf::importWisdom(text, &error)) throw py::value_error(error);
      },
      py::arg("text"));
  // Runs a file function without the GIL; returns its error text, none on success.
  const auto fileCall = [](bool (*call)(const std::string&, std::string*),
                           const std::string& path) -> std::optional<std::string> {
    std::string error;
    const py::gil_scoped_release release;
    if (call(path, &error)) return std::nullopt;
    return error;
  };
  module.def(
      "export_wisdom_to_file",
      [fileCall](const std::string& path) {
        const std::optional<std::string> error = fileCall(&tf::exportWisdomToFile, path);
        if (error) {
          PyErr_SetString(PyExc_OSError, error->c_str());
          throw py::error_already_set();
        }
      },
      py::arg("path"));
  module.def(
      "import_wisdom_from_file",
      [fileCall](const std::string& path) {
        const std::optional<std::string> error = fileCall(&tf::importWisdomFromFile, path);
        if (error) throw py::value_error(*error);
      },
      py::arg("path"));
  module.def("import_system_wisdom", [] { return tf::importSystemWisdom(); });
  module.def("forget_wisdom", &tf::forgetWisdom);
}
