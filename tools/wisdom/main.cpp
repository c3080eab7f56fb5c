// tessel-fft-wisdom: plans the problems a host will ask the library for, by measuring, and saves FFTW's
// wisdom of them in a file that the host imports at start-up. See --help.
#include <fftw3.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <complex>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "command_line.hpp"
#include "tessel_fft/tessel_fft.hpp"

namespace {

using tessel_fft::fftwContext;
using tessel_tools::kFailureExit;
using tessel_tools::split;
using tessel_tools::UsageError;
using u64 = std::uint64_t;

const char* const kUsage =
    "Usage: tessel-fft-wisdom -o FILE [options] ENTRY...\n"
    "\n"
    "Calls each entry of tessel_fft once on scratch arrays with a measuring planner, so that FFTW plans\n"
    "exactly the problems the library asks it for in those calls, and writes FFTW's wisdom of both\n"
    "precisions to FILE. A host that imports FILE (tessel_fft::importWisdomFromFile, or\n"
    "tessel-fft-bench --wisdom FILE) then gets those plans in milliseconds. Run it once per machine;\n"
    "wisdom is only valid on the machine and FFTW version that made it. Progress goes to stderr.\n"
    "\n"
    "Entry: FAMILY[:PRECISION]:SHAPE[:OPTION...], for instance c2c-inv:double:100x4096x20:t4\n"
    "  FAMILY     c2c, c2c-inv (FFTW_BACKWARD), r2c, c2r: quillFFT1D; the same with nocopy- in front:\n"
    "             quillFFT1DNoCopy; dct1..dct4, dst1..dst4: quillDCST1D;\n"
    "             i1d-r2c, i1d-c2r, i1d-c2c: interleavedFFT1D; i2d-r2c, i2d-c2r, i2d-c2c: interleavedFFT2D;\n"
    "             dctnd, idctnd: dctIIND and idctIIND with a context\n"
    "  PRECISION  double (default) or float\n"
    "  SHAPE      numbers joined by x: for the batched families STRIDExNxBLOCKS (NxVECTORS and N mean\n"
    "             stride 1); for i1d NxHOWMANY; for i2d N0xN1; for dctnd and idctnd the extents\n"
    "  OPTION     tN: the context's thread budget (default --threads);\n"
    "             complex: interleaved complex data (dct*, dst*, dctnd, idctnd);\n"
    "             full: EMBED_FULL_LENGTH (i1d, i2d)\n"
    "Give the same thread budget the host's calls will have: FFTW plans separately for each.\n"
    "\n"
    "Options:\n"
    "  -o, --output FILE     the wisdom file to write (through a temporary file beside it)\n"
    "  -f, --entries FILE    read more entries from FILE, one a line; # starts a comment\n"
    "  --append              import FILE first, if it exists, so that its wisdom is kept\n"
    "  --threads N           thread budget of the entries that name none (default 1)\n"
    "  --strategy NAME       measure (default), patient or exhaustive: FFTW's planner flag\n"
    "  --time-limit SECONDS  let FFTW's planner spend at most about this long on each plan\n"
    "  --version             show the library's and FFTW's versions and exit\n"
    "  -h, --help            show this text and exit\n"
    "\n"
    "Exit status: 0 the file was written, 1 an entry failed or the file could not be read or written,\n"
    "2 bad command line.\n";

struct Entry {
  std::string text;
  std::string family;
  bool single = false;
  std::vector<u64> extents;
  u64 threads = 0;  // 0: the --threads default
  bool complex = false;
  bool full = false;
};

struct Options {
  bool help = false;
  bool version = false;
  bool append = false;
  std::string output;
  unsigned strategy = FFTW_MEASURE;
  double timeLimit = -1;  // FFTW_NO_TIMELIMIT
  u64 threads = 1;        // of entries that name none
  std::vector<Entry> entries;
};

const std::vector<std::string> kFamilies = {
    "c2c",     "c2c-inv", "r2c",     "c2r",     "nocopy-c2c", "nocopy-c2c-inv", "nocopy-r2c", "nocopy-c2r",
    "dct1",    "dct2",    "dct3",    "dct4",    "dst1",       "dst2",           "dst3",       "dst4",
    "i1d-r2c", "i1d-c2r", "i1d-c2c", "i2d-r2c", "i2d-c2r",    "i2d-c2c",        "dctnd",      "idctnd"};

// The cosine and sine families, batched or N-D: those that take complex data.
bool isCosineOrSine(const std::string& family) {
  return family.rfind("dct", 0) == 0 || family.rfind("dst", 0) == 0 || family == "idctnd";
}

Entry parseEntry(const std::string& text) {
  const std::vector<std::string> fields = split(text, ':');
  Entry entry;
  entry.text = text;
  entry.family = fields[0];
  if (std::find(kFamilies.begin(), kFamilies.end(), entry.family) == kFamilies.end())
    throw UsageError("'" + text + "': unknown family '" + entry.family + "' (--help lists them)");
  std::size_t next = 1;
  if (next < fields.size() && (fields[next] == "double" || fields[next] == "float"))
    entry.single = fields[next++] == "float";
  if (next >= fields.size()) throw UsageError("'" + text + "': no shape");
  for (const std::string& extent : split(fields[next++], 'x'))
    entry.extents.push_back(tessel_tools::wholeNumber("'" + text + "'", extent, 1));
  for (; next < fields.size(); ++next) {
    const std::string& option = fields[next];
    if (option == "complex") {
      entry.complex = true;
    } else if (option == "full") {
      entry.full = true;
    } else if (option.size() > 1 && option[0] == 't') {
      entry.threads = tessel_tools::wholeNumber("'" + text + "'", option.substr(1), 1);
    } else {
      throw UsageError("'" + text + "': unknown option '" + option + "'");
    }
  }
  const bool nd = entry.family.find("dctnd") != std::string::npos;
  const bool interleaved = entry.family[0] == 'i' && !nd;
  const std::size_t rank = entry.extents.size();
  if (interleaved ? rank != 2 : !nd && rank > 3)
    throw UsageError("'" + text +
                     "': " + (interleaved ? "wants two extents" : "wants at most three extents"));
  if (entry.complex && !isCosineOrSine(entry.family))
    throw UsageError("'" + text + "': complex is for dct*, dst*, dctnd and idctnd");
  if (entry.full && !interleaved) throw UsageError("'" + text + "': full is for i1d and i2d");
  // The scratch arrays hold up to two reals of 8 bytes per element of the shape.
  u64 bytes = 16;
  for (const u64 extent : entry.extents)
    if (__builtin_mul_overflow(bytes, extent, &bytes)) throw UsageError("'" + text + "': too large");
  return entry;
}

void addEntriesFromFile(const std::string& path, std::vector<Entry>& entries) {
  std::ifstream file(path);
  if (!file) throw UsageError("cannot open '" + path + "'");
  for (std::string line; std::getline(file, line);) {
    line = line.substr(0, line.find('#'));
    const std::size_t start = line.find_first_not_of(" \t\r");
    if (start == std::string::npos) continue;
    entries.push_back(parseEntry(line.substr(start, line.find_last_not_of(" \t\r") + 1 - start)));
  }
}

Options parseOptions(int argc, const char* const* argv) {
  Options options;
  const std::vector<tessel_tools::Option> table = {
      tessel_tools::flag({"-h", "--help"}, options.help),
      tessel_tools::flag({"--version"}, options.version),
      tessel_tools::flag({"--append"}, options.append),
      tessel_tools::valued({"-o", "--output"}, [&](const std::string& value) { options.output = value; }),
      tessel_tools::valued({"-f", "--entries"},
                           [&](const std::string& value) { addEntriesFromFile(value, options.entries); }),
      tessel_tools::valued({"--threads"},
                           [&](const std::string& value) {
                             options.threads = tessel_tools::wholeNumber("--threads", value, 1);
                           }),
      tessel_tools::valued(
          {"--strategy"},
          [&](const std::string& name) {
            const std::vector<std::pair<std::string, unsigned>> strategies = {
                {"measure", FFTW_MEASURE}, {"patient", FFTW_PATIENT}, {"exhaustive", FFTW_EXHAUSTIVE}};
            const auto found = std::find_if(strategies.begin(), strategies.end(),
                                            [&](const auto& s) { return s.first == name; });
            if (found == strategies.end())
              throw UsageError("--strategy wants measure, patient or exhaustive, not '" + name + "'");
            options.strategy = found->second;
          }),
      tessel_tools::valued({"--time-limit"},
                           [&](const std::string& text) {
                             char* end = nullptr;
                             options.timeLimit = std::strtod(text.c_str(), &end);
                             if (text.empty() || *end != '\0' || !(options.timeLimit > 0))
                               throw UsageError("--time-limit wants seconds above 0, not '" + text + "'");
                           }),
  };
  tessel_tools::parseCommandLine(
      argc, argv, table, [&](const std::string& entry) { options.entries.push_back(parseEntry(entry)); });
  for (Entry& entry : options.entries)
    if (entry.threads == 0) entry.threads = options.threads;
  if (!options.help && !options.version) {
    if (options.output.empty()) throw UsageError("no output file (-o FILE)");
    if (options.entries.empty()) throw UsageError("no entries");
  }
  return options;
}

// Scratch arrays from FFTW's allocator, aligned as a host's arrays from it would be.
template <typename E>
class Scratch {
 public:
  explicit Scratch(u64 count) : data_(static_cast<E*>(tessel_fft::fftwApi::malloc(count * sizeof(E)))) {
    for (u64 i = 0; i < count; ++i) new (data_ + i) E();
  }
  ~Scratch() { tessel_fft::fftwApi::free(data_); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  E* get() { return data_; }

 private:
  E* data_;
};

// Seconds of planning of all entries so far.
double planningSeconds = 0;

// A host cache that keeps nothing and adds up the time from each miss to the offer of the plan made for
// it: the library's planning, which is what the wisdom saves.
template <typename Interface>
class PlanningClock : public Interface {
 public:
  using Plan = typename Interface::Plan;
  Plan lookupPlan(const tessel_fft::fftwPlanKey&) override {
    missed_ = std::chrono::steady_clock::now();
    return nullptr;
  }
  bool insertPlan(const tessel_fft::fftwPlanKey&, Plan&) override {
    planningSeconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - missed_).count();
    return false;  // the call keeps and destroys it
  }

 private:
  std::chrono::steady_clock::time_point missed_;
};

template <typename T, int Kind>
using FftClock = PlanningClock<tessel_fft::fftwPlanCacheInterface<T, Kind, tessel_fft::fftwPlanKey>>;
template <typename T, int Kind>
using DcstClock = PlanningClock<tessel_fft::dcstPlanCacheInterface<T, Kind>>;

// stride, n and number of vectors of a batched entry.
struct Batch {
  u64 stride, n, vectors;
};

Batch batchOf(const Entry& entry) {
  const std::vector<u64>& e = entry.extents;
  if (e.size() == 1) return {1, e[0], 1};
  if (e.size() == 2) return {1, e[0], e[1]};
  return {e[0], e[1], e[0] * e[2]};
}

template <typename T, int Kind>
void runFft(const Entry& entry, const fftwContext& context, bool noCopy, int sign) {
  const Batch batch = batchOf(entry);
  const u64 count = batch.stride * batch.n * (batch.vectors / batch.stride);
  Scratch<typename tessel_fft::fftElements<T, Kind>::In> in(count);
  Scratch<typename tessel_fft::fftElements<T, Kind>::Out> out(count);
  auto* driver = noCopy ? &tessel_fft::quillFFT1DNoCopy<T, Kind> : &tessel_fft::quillFFT1D<T, Kind>;
  FftClock<T, Kind> clock;
  driver(context, &clock, in.get(), out.get(), batch.stride, batch.n, batch.n, batch.vectors, sign);
}

template <typename T, int Kind>
void runDcst(const fftwContext& context, const Batch& batch, bool isComplex) {
  const u64 count = batch.stride * batch.n * (batch.vectors / batch.stride) * (isComplex ? 2 : 1);
  Scratch<T> in(count), out(count);
  DcstClock<T, Kind> clock;
  tessel_fft::quillDCST1D<T, Kind>(context, &clock, in.get(), out.get(), batch.stride, batch.n, batch.n,
                                   batch.vectors, -1, isComplex);
}

template <typename T, std::size_t... Kinds>
void runDcstKind(int kind, const fftwContext& context, const Batch& batch, bool isComplex,
                 std::index_sequence<Kinds...>) {
  ((kind == static_cast<int>(Kinds) ? runDcst<T, static_cast<int>(Kinds)>(context, batch, isComplex)
                                    : void()),
   ...);
}

template <typename T, int Kind>
void runInterleaved(const Entry& entry, const fftwContext& context) {
  using Elements = tessel_fft::interleavedElements<T, Kind>;
  // Room for n complex values per vector on either side, whatever the kind and embedding.
  const u64 count = 2 * entry.extents[0] * entry.extents[1];
  Scratch<T> in(count), out(count);
  auto* input = reinterpret_cast<typename Elements::In*>(in.get());
  auto* output = reinterpret_cast<typename Elements::Out*>(out.get());
  FftClock<T, Kind> clock;
  if (entry.family[1] == '1') {
    tessel_fft::interleavedFFT1D<T, Kind>(context, &clock, input, output, entry.extents[0], entry.extents[1],
                                          FFTW_FORWARD, true);
  } else {
    tessel_fft::interleavedFFT2D<T, Kind>(context, &clock, input, output, entry.extents[0], entry.extents[1],
                                          FFTW_FORWARD, true);
  }
}

// The plans the dctIIND and idctIIND overloads that take a context ask for, dimension by dimension. The
// ones without a context plan their own complex FFTs by estimate.
template <typename E>
void runNd(const Entry& entry, const fftwContext& context) {
  using T = tessel_fft::ndReal<E>;
  u64 total = 1;
  for (const u64 extent : entry.extents) total *= extent;
  Scratch<E> in(total), out(total);
  if (entry.family == "dctnd") {
    DcstClock<T, 1> clock;
    tessel_fft::dctIIND<E>(context, &clock, in.get(), out.get(), entry.extents.data(), entry.extents.size(),
                           false);
  } else {
    DcstClock<T, 2> clock;
    tessel_fft::idctIIND<E>(context, &clock, in.get(), out.get(), entry.extents.data(), entry.extents.size(),
                            false);
  }
}

template <typename T>
void runEntry(const Entry& entry, unsigned strategy) {
  const std::string& family = entry.family;
  const fftwContext context(entry.threads, strategy,
                            entry.full ? fftwContext::EMBED_FULL_LENGTH : fftwContext::EMBED_COMPACT, false);
  if (family.find("dctnd") != std::string::npos)
    return entry.complex ? runNd<std::complex<T>>(entry, context) : runNd<T>(entry, context);
  if (family[0] == 'i') {
    const std::string kind = family.substr(4);
    if (kind == "r2c") return runInterleaved<T, tessel_fft::r2c>(entry, context);
    if (kind == "c2r") return runInterleaved<T, tessel_fft::c2r>(entry, context);
    return runInterleaved<T, tessel_fft::c2c>(entry, context);
  }
  if (family[0] == 'd') {
    const int kind = (family[1] == 's' ? 4 : 0) + (family[3] - '1');
    return runDcstKind<T>(kind, context, batchOf(entry), entry.complex, std::make_index_sequence<8>());
  }
  const bool noCopy = family.rfind("nocopy-", 0) == 0;
  const std::string kind = family.substr(noCopy ? 7 : 0);
  if (kind == "r2c") return runFft<T, tessel_fft::r2c>(entry, context, noCopy, FFTW_FORWARD);
  if (kind == "c2r") return runFft<T, tessel_fft::c2r>(entry, context, noCopy, FFTW_BACKWARD);
  runFft<T, tessel_fft::c2c>(entry, context, noCopy, kind == "c2c" ? FFTW_FORWARD : FFTW_BACKWARD);
}

int run(int argc, char** argv) {
  const Options options = parseOptions(argc, argv);
  if (options.help) {
    std::cout << kUsage;
    return 0;
  }
  if (options.version) {
    std::cout << "tessel-fft-wisdom " << tessel_fft::getLibraryVersion() << ", " << fftw_version << '\n';
    return 0;
  }
  std::string error;
  if (options.append && std::ifstream(options.output) &&
      !tessel_fft::importWisdomFromFile(options.output, &error)) {
    std::cerr << "tessel-fft-wisdom: cannot append: " << error << '\n';
    return kFailureExit;
  }
  // A file that can't be written fails now, not after the planning.
  const std::size_t slash = options.output.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : options.output.substr(0, slash + 1);
  if (::access(directory.c_str(), W_OK) != 0) {
    std::cerr << "tessel-fft-wisdom: cannot write in '" << directory << "': " << std::strerror(errno) << '\n';
    return kFailureExit;
  }
  if (options.timeLimit > 0) {
    tessel_fft::fftwApi::getInstance();
    fftw_set_timelimit(options.timeLimit);
    fftwf_set_timelimit(options.timeLimit);
  }
  bool failed = false;
  for (std::size_t i = 0; i < options.entries.size(); ++i) {
    const Entry& entry = options.entries[i];
    std::cerr << '[' << i + 1 << '/' << options.entries.size() << "] " << entry.text << ": planning"
              << std::endl;
    const auto start = std::chrono::steady_clock::now();
    const double plannedBefore = planningSeconds;
    try {
      entry.single ? runEntry<float>(entry, options.strategy) : runEntry<double>(entry, options.strategy);
      const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
      std::cerr << '[' << i + 1 << '/' << options.entries.size() << "] " << entry.text << ": planned in "
                << planningSeconds - plannedBefore << " s, call " << took.count() << " s" << std::endl;
    } catch (const std::exception& failure) {
      std::cerr << '[' << i + 1 << '/' << options.entries.size() << "] " << entry.text
                << ": FAILED: " << failure.what() << std::endl;
      failed = true;
    }
  }
  if (!tessel_fft::exportWisdomToFile(options.output, &error)) {
    std::cerr << "tessel-fft-wisdom: " << error << '\n';
    return kFailureExit;
  }
  std::cerr << "wrote " << options.output << " (planning " << planningSeconds << " s in all)\n";
  return failed ? kFailureExit : 0;
}

}  // namespace

int main(int argc, char** argv) {
  return tessel_tools::runProgram("tessel-fft-wisdom", [&] { return run(argc, argv); });
}
