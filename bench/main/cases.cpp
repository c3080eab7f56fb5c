// The registry of the default suite: one row per case, with its sizes for a standard and a quick run.
#include "cases.hpp"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <utility>

#include "command_line.hpp"

namespace tessel_bench {
namespace {

using u64 = std::uint64_t;
using Extents = std::vector<u64>;
using StridedFamily = StridedProblem::Family;

// A case whose workload is built from its extents: `quick` replaces `standard` in a quick run.
CaseDefinition sized(std::string name, std::string entry, std::string description, Extents standard,
                     Extents quick, std::function<Workload(const SuiteConfig&, const Extents&)> build) {
  return {std::move(name), std::move(entry), std::move(description),
          [standard, quick, build](const SuiteConfig& config) {
            return build(config, config.quick ? quick : standard);
          }};
}

// Ways a batched case departs from a double-precision, real (or FFT) batch through quillFFT1D.
enum Variant : unsigned { kSingle = 1, kNoCopy = 2, kFullLengthInput = 4, kComplex = 8 };

// A batch along the middle dimension of stride x n x blocks; stride 1 is a batch of contiguous vectors.
CaseDefinition batch(std::string name, std::string description, StridedFamily family, int direction,
                     Extents standard, Extents quick, unsigned variants = 0, int dcstKind = 1) {
  StridedProblem problem;
  problem.family = family;
  problem.direction = direction;
  problem.dcstKind = dcstKind;
  problem.singlePrecision = (variants & kSingle) != 0;
  problem.noCopy = (variants & kNoCopy) != 0;
  problem.fullLengthInput = (variants & kFullLengthInput) != 0;
  problem.isComplex = (variants & kComplex) != 0;
  return sized(std::move(name), problem.entry(), std::move(description), std::move(standard),
               std::move(quick), [problem](const SuiteConfig& config, const Extents& extents) {
                 StridedProblem shaped = problem;
                 shaped.stride = extents[0];
                 shaped.n = extents[1];
                 shaped.blocks = extents[2];
                 return stridedWorkload(config, shaped);
               });
}

CaseDefinition interleaved(std::string name, std::string description, int rank, Extents standard,
                           Extents quick) {
  const std::string entry = rank == 1 ? "interleavedFFT1D<double, r2c>" : "interleavedFFT2D<double, r2c>";
  return sized(std::move(name), entry, std::move(description), std::move(standard), std::move(quick),
               [rank](const SuiteConfig& config, const Extents& extents) {
                 return interleavedR2cWorkload(config, extents[0], extents[1], rank);
               });
}

// dctIIND without a context plans by estimate on every call and runs on one thread; `hosted` runs the
// overload with a context and a host cache instead.
CaseDefinition orthonormalDct(const std::string& name, const std::string& description, bool hosted,
                              Extents standard, Extents quick) {
  return sized(name + (hosted ? "-ctx" : ""), hosted ? "dctIIND<double> (context, cache)" : "dctIIND<double>",
               description + (hosted ? ", all threads, measured plans in a host cache" : ", one thread"),
               std::move(standard), std::move(quick),
               [hosted](const SuiteConfig& config, const Extents& extents) {
                 return orthonormalDctWorkload(config, extents, hosted);
               });
}

}  // namespace

std::vector<CaseDefinition> allCases() {
  // A DCST's directions: the inverse divides by the logical size.
  constexpr int kDcstForward = -1, kDcstInverse = 1;
  const Extents c2cStrided = {100, 4096, 20}, c2cStridedQuick = {6, 64, 3};
  const Extents dcstStrided = {64, 1024, 64}, dcstQuick = {4, 32, 5};
  const Extents halfSpectra = {1, 4096, 2000}, halfSpectraQuick = {1, 256, 10};
  std::vector<CaseDefinition> cases = {
      batch("strided-c2c-inv", "inverse c2c along dimension 2 of 100 x 4096 x 20 (stride 100), scaled by 1/n",
            StridedProblem::kC2c, FFTW_BACKWARD, c2cStrided, c2cStridedQuick),
      batch("strided-c2c-inv-f32", "the same in single precision", StridedProblem::kC2c, FFTW_BACKWARD,
            c2cStrided, c2cStridedQuick, kSingle),
  };
  // Short and long contiguous vectors, through both drivers.
  const struct { u64 n, vectors, quickVectors; } contiguous[] = {{1024, 10000, 100}, {64, 100000, 300}};
  for (const auto& c : contiguous) {
    for (const unsigned variant : {0u, unsigned{kNoCopy}}) {
      cases.push_back(batch("c2c-n" + std::to_string(c.n) + (variant == kNoCopy ? "-nocopy" : ""),
                            "forward c2c of " + std::to_string(c.vectors) + " contiguous vectors of " +
                                std::to_string(c.n) + " points",
                            StridedProblem::kC2c, FFTW_FORWARD, {1, c.n, c.vectors}, {1, c.n, c.quickVectors},
                            variant));
    }
  }
  cases.push_back(batch("r2c-full", "r2c of 2000 contiguous vectors of 4096 points to full Hermitian spectra",
                        StridedProblem::kR2c, FFTW_FORWARD, halfSpectra, halfSpectraQuick));
  cases.push_back(batch("c2r-inv", "inverse c2r of 2000 vectors of 4096 points, scaled by 1/n",
                        StridedProblem::kC2r, FFTW_BACKWARD, halfSpectra, halfSpectraQuick,
                        kFullLengthInput));
  cases.push_back(batch("c2c-long", "one c2c vector of 2^20 points: FFTW's own threads on both sides",
                        StridedProblem::kC2c, FFTW_FORWARD, {1, u64{1} << 20, 1}, {1, u64{1} << 16, 1}));
  cases.push_back(batch("dct2-strided", "DCT-II (REDFT10) along dimension 2 of 64 x 1024 x 64 (stride 64)",
                        StridedProblem::kDcst, kDcstForward, dcstStrided, dcstQuick, 0, 1));
  cases.push_back(batch("dst4-strided-inv",
                        "inverse DST-IV (RODFT11, divided by 2n) along dimension 2 of 64 x 1024 x 64",
                        StridedProblem::kDcst, kDcstInverse, dcstStrided, dcstQuick, 0, 7));
  cases.push_back(batch("dct2-strided-complex",
                        "DCT-II of the real and imaginary parts along dimension 2 of complex 64 x 1024 x 32",
                        StridedProblem::kDcst, kDcstForward, {64, 1024, 32}, dcstQuick, kComplex, 1));
  for (const bool hosted : {false, true}) {
    cases.push_back(
        orthonormalDct("dctnd-2d", "orthonormal DCT-II of 1024 x 1024", hosted, {1024, 1024}, {32, 24}));
    cases.push_back(orthonormalDct("dctnd-3d", "orthonormal DCT-II of 128 x 128 x 128", hosted,
                                   {128, 128, 128}, {8, 6, 5}));
  }
  const struct {
    const char* name;
    int kind;
    const char* entry;
    const char* description;
    Extents standard, quick;
  } ndFFTs[] = {
      {"fftnd-c2c-3d",
       2,
       "fftND<double, c2c>",
       "c2c over all of 128 x 128 x 128",
       {128, 128, 128},
       {8, 6, 4}},
      {"fftnd-r2c-2d",
       0,
       "fftND<double, r2c>",
       "r2c over all of 2048 x 2048, one-sided",
       {2048, 2048},
       {32, 12}},
      {"fftnd-c2r-3d-inv",
       1,
       "fftND<double, c2r>",
       "inverse c2r over all of 128 x 96 x 80, scaled by 1/n",
       {128, 96, 80},
       {10, 6, 4}},
  };
  for (const auto& nd : ndFFTs) {
    const int kind = nd.kind;
    cases.push_back(sized(nd.name, nd.entry, std::string(nd.description) + ", all threads, measured plans",
                          nd.standard, nd.quick, [kind](const SuiteConfig& config, const Extents& extents) {
                            return fftNDWorkload(config, kind, extents);
                          }));
  }
  cases.push_back(interleaved("interleaved-1d-r2c",
                              "r2c of 1000 vectors of 4096 points on FFTW's layout, full spectra", 1,
                              {4096, 1000}, {64, 5}));
  cases.push_back(interleaved("interleaved-2d-r2c",
                              "one 1024 x 1024 r2c on FFTW's layout, full two-dimensional spectrum", 2,
                              {1024, 1024}, {32, 12}));
  return cases;
}

void listCases(std::ostream& out, const std::vector<CaseDefinition>& cases) {
  std::size_t nameWidth = 0;
  std::size_t entryWidth = 0;
  for (const CaseDefinition& definition : cases) {
    nameWidth = std::max(nameWidth, definition.name.size());
    entryWidth = std::max(entryWidth, definition.entry.size());
  }
  for (const CaseDefinition& definition : cases) {
    out << definition.name << std::string(nameWidth - definition.name.size() + 2, ' ') << definition.entry
        << std::string(entryWidth - definition.entry.size() + 2, ' ') << definition.description << '\n';
  }
}

std::vector<CaseDefinition> selectCases(const std::vector<CaseDefinition>& pool,
                                        const std::vector<std::string>& names) {
  if (names.empty()) return pool;
  std::vector<CaseDefinition> selected;
  for (const std::string& name : names) {
    const auto found =
        std::find_if(pool.begin(), pool.end(), [&](const CaseDefinition& c) { return c.name == name; });
    if (found == pool.end())
      throw tessel_tools::UsageError("unknown case '" + name + "' (--list shows them)");
    selected.push_back(*found);
  }
  return selected;
}

}  // namespace tessel_bench
