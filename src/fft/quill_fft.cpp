// The batched FFT entries: what an FFT adds to the shared batch skeleton.
#include <complex>
#include <cstdint>

#include "backend/aligned_scratch.hpp"
#include "backend/precision.hpp"
#include "batch/batch_run.hpp"
#include "batch/gather.hpp"
#include "batch/scale_inverse.hpp"
#include "buffering/copy.hpp"
#include "buffering/output_reconstruction.hpp"
#include "buffering/stream.hpp"
#include "buffering/transpose.hpp"
#include "plans/fft_planner.hpp"
#include "tessel_fft/fft.hpp"
#include "tessel_fft/fftw_api.hpp"

namespace tessel_fft {

namespace {

// Vector lengths on the two sides of a batched plan in scratch: the plan reads n points, or the n/2+1 of a
// c2r spectrum, and writes n points, or the n/2+1 of an r2c spectrum, which the move out completes.
template <int Kind>
std::size_t planInputLength(std::size_t n) {
  return Kind == c2r ? oneSidedLength(n) : n;
}
template <int Kind>
std::size_t planOutputLength(std::size_t n) {
  return Kind == r2c ? oneSidedLength(n) : n;
}

// How one batch moves, decided once for all its runs.
struct FFTMoves {
  bool directInput;       // plans read the caller's input vectors where they lie
  bool streamOut;         // the output is too large for the caches
  std::uint64_t divisor;  // of an inverse transform; 1 for none
};

// The loop of one range of vectors: gather a run into scratch (or read it in place), transform it plan
// unit by plan unit, divide it while it is hot, move it out (completing r2c spectra). When the output
// block is the output array itself the plans write straight into the array, and only an r2c spectrum
// still moves, in place.
template <typename T, int Kind>
struct FFTLoop {
  using In = typename fftElements<T, Kind>::In;
  using Out = typename fftElements<T, Kind>::Out;
  using Plan = fftwPlan<T>;

  const In* in;
  Out* out;
  BatchShape shape;
  FFTMoves moves;

  void operator()(const LoopSetting<Plan>& setting, void* inBlock, void* outBlock, std::size_t begin,
                  std::size_t end) const {
    const fftwApi& api = fftwApi::getInstance();
    In* const inBuf = static_cast<In*>(inBlock);
    Out* const outBuf = static_cast<Out*>(outBlock);
    const std::size_t n = shape.length;
    const bool contiguous = shape.stride == 1;
    const bool directOutput = outBuf == out;
    // In the output, a run's vectors are adjacent columns, or at stride 1 whole vectors one after another.
    const std::size_t outputStep = contiguous ? n : 1;
    walkBatch(shape, setting.plans, setting.cuts, begin, end, [&](const VectorRun<Plan>& run) {
      const In* const source = in + run.inputOffset;
      Out* const destination = out + run.outputOffset;
      const std::size_t vectorsPerPlan = run.vectorsPerPlan;
      const RunPlaces inputPlaces =
          moves.directInput
              ? RunPlaces{shape.inputLength, vectorsPerPlan, vectorsPerPlan * shape.inputLength}
              : RunPlaces::inScratch(planInputLength<Kind>(n), sizeof(In), vectorsPerPlan, setting.cuts);
      const RunPlaces outputPlaces =
          directOutput
              ? RunPlaces{planOutputLength<Kind>(n), vectorsPerPlan, vectorsPerPlan * n}
              : RunPlaces::inScratch(planOutputLength<Kind>(n), sizeof(Out), vectorsPerPlan, setting.cuts);
      In* const planInput = moves.directInput ? const_cast<In*>(source) : inBuf;
      Out* const planOutput = directOutput ? destination : outBuf;
      if (!moves.directInput) gather(inBuf, inputPlaces, source, run);
      for (std::size_t u = 0; u < run.executions(); ++u) {
        Out* const unitOutput = planOutput + outputPlaces.unit(u);
        api.execute(run.plan, asFftw(planInput + inputPlaces.unit(u)), asFftw(unitOutput));
        if (moves.divisor != 1)
          scaleInverse(unitOutput, moves.divisor, vectorsPerPlan * outputPlaces.vectorPitch,
                       setting.divisionOverTasks);
      }
      moveOut(planOutput, outputPlaces, destination, outputStep, run);
    });
    if (moves.streamOut) buffering::streamFence();
  }

  // Gathers the run's vectors into their places in scratch, cut to or padded with zeros to the length the
  // plans read. A strided group is one pass over the rows of its columns.
  void gather(In* inBuf, const RunPlaces& places, const In* source, const VectorRun<Plan>& run) const {
    const std::size_t logical = places.vectorPitch;
    if (shape.stride != 1 && run.executions() > 1) {
      In* rows[RunCuts::kMaxGroupVectors];
      for (std::size_t v = 0; v < run.count; ++v) rows[v] = inBuf + places.of(v);
      const std::size_t used = std::min(shape.inputLength, logical);
      buffering::strided::gather_rows(rows, source, static_cast<std::ptrdiff_t>(shape.stride), used,
                                      run.count);
      for (std::size_t v = 0; v < run.count; ++v) zeroPadVectors(rows[v], logical, used, 1);
      return;
    }
    // Otherwise the run lies packed in scratch: one unit, or contiguous vectors.
    copyToInputBuffer(inBuf, source, {shape.stride, shape.inputLength, logical}, run.count);
  }

  // Moves the run's transformed vectors from their places to the array.
  void moveOut(Out* planOutput, const RunPlaces& places, Out* destination, std::size_t step,
               const VectorRun<Plan>& run) const {
    const std::size_t n = shape.length;
    const std::size_t stride = shape.stride;
    const std::size_t vectorsPerPlan = run.vectorsPerPlan;
    if (Kind != r2c && stride != 1 && run.count > 1) {
      const Out* columns[RunCuts::kMaxGroupVectors];
      for (std::size_t v = 0; v < run.count; ++v) columns[v] = planOutput + places.of(v);
      const auto dstStride = static_cast<std::ptrdiff_t>(stride);
      if (moves.streamOut) {
        buffering::strided::stream_scatter_columns(destination, dstStride, columns, run.count, n);
      } else {
        buffering::strided::scatter_columns(destination, dstStride, columns, run.count, n);
      }
      return;
    }
    // Units apart from each other (an r2c spectrum FFTW wrote into the array) move one by one, a packed
    // run in one piece.
    const bool packed = places.packed();
    const std::size_t units = packed ? 1 : run.executions();
    const std::size_t count = packed ? run.count : vectorsPerPlan;
    for (std::size_t u = 0; u < units; ++u) {
      Out* const unitOutput = planOutput + places.unit(u);
      Out* const unitDestination = destination + u * vectorsPerPlan * step;
      if constexpr (Kind == r2c) {
        if (stride == 1) {
          copyFromOutputBuffer(unitOutput, n, count, unitDestination, r2cTag{});
        } else {
          copyFromOutputBuffer(unitOutput, n, count, StridedOutput<Out>{unitDestination, stride}, r2cTag{});
        }
      } else if (stride != 1) {
        copyFromOutputBuffer(unitOutput, n, count, StridedOutput<Out>{unitDestination, stride});
      } else if (unitOutput != unitDestination) {
        if (moves.streamOut) {
          buffering::contiguous::stream_copy(unitDestination, unitOutput, n * count);
        } else {
          buffering::contiguous::copy(unitDestination, static_cast<const Out*>(unitOutput), n * count);
        }
      }
    }
  }
};

// Everything after the entries' own tests. `context` is the entry's copy.
template <typename T, int Kind>
void runBatchedFFT(fftwContext& context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                   const typename fftElements<T, Kind>::In* in, typename fftElements<T, Kind>::Out* out,
                   const BatchShape& shape, int sign) {
  using In = typename fftElements<T, Kind>::In;
  using Out = typename fftElements<T, Kind>::Out;
  const std::size_t n = shape.length;
  const bool streamOut = n * shape.numVectors * sizeof(Out) >= kStreamingOutputBytes;
  // FFTW writes the output itself where it stays in the caches anyway.
  const DirectMoves direct = directMovesFor(
      shape, {in, sizeof(In), planInputLength<Kind>(n), Kind != c2r, out, sizeof(Out), context.getChunkSize(),
              !streamOut, context.getPlanStrategy(n) == FFTW_ESTIMATE});
  const bool directOutput = direct.output;
  const FFTMoves moves{direct.input, streamOut, sign == FFTW_BACKWARD ? n : 1};
  const ScratchLayout scratch{planInputLength<Kind>(n) * sizeof(In), planOutputLength<Kind>(n) * sizeof(Out),
                              sizeof(In), directOutput ? out : nullptr};
  runBatch<FFTPlanner<T, Kind>>(context, cache, shape, sign, scratch,
                                FFTLoop<T, Kind>{in, out, shape, moves});
}

}  // namespace

template <typename T, int Kind>
void quillFFT1D(fftwContext context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                const typename fftElements<T, Kind>::In* in, typename fftElements<T, Kind>::Out* out,
                std::uint64_t stride, std::uint64_t fftLength, std::uint64_t inputLength,
                std::uint64_t numVectors, int sign) {
  if (fftLength == 0) return;
  runBatchedFFT<T, Kind>(context, cache, in, out, {stride, fftLength, inputLength, numVectors}, sign);
}

// The copying entry already lets FFTW write straight into an output that qualifies (contiguous, with
// every vector on a 16-byte border) wherever that is the faster way, and otherwise goes through scratch,
// with cache-bypassing stores for large outputs: the two entries differ in nothing a host can observe.
template <typename T, int Kind>
void quillFFT1DNoCopy(fftwContext context, fftwPlanCacheInterface<T, Kind, fftwPlanKey>* cache,
                      const typename fftElements<T, Kind>::In* in, typename fftElements<T, Kind>::Out* out,
                      std::uint64_t stride, std::uint64_t fftLength, std::uint64_t inputLength,
                      std::uint64_t numVectors, int sign) {
  quillFFT1D<T, Kind>(context, cache, in, out, stride, fftLength, inputLength, numVectors, sign);
}

#define TESSEL_QUILL_FFT(T, Kind)                                            \
  template TESSEL_FFT_API decltype(quillFFT1D<T, Kind>) quillFFT1D<T, Kind>; \
  template TESSEL_FFT_API decltype(quillFFT1DNoCopy<T, Kind>) quillFFT1DNoCopy<T, Kind>;

TESSEL_FOR_EACH_FFT_TYPE(TESSEL_QUILL_FFT)

}  // namespace tessel_fft
