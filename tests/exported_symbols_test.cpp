// The shared library exports exactly the public API: the 96 names of the transform families in
// namespace tessel_fft (counting overloads, not the two symbols a constructor emits), the version query,
// and FFTW's two assertion handlers, nothing else.

#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace {

// Name without parameter list and return type, spaces removed: "tessel_fft::quillFFT1D<double,2>".
std::string baseName(std::string symbol) {
  if (symbol.rfind("void ", 0) == 0) symbol.erase(0, 5);
  int depth = 0;
  std::string base;
  for (char c : symbol) {
    if (c == '<') ++depth;
    if (c == '>') --depth;
    if (c == '(' && depth == 0) break;
    if (c != ' ') base += c;
  }
  return base;
}

std::map<std::string, int> expectedExports() {
  std::map<std::string, int> expected;
  const std::string api = "tessel_fft::fftwApi::", context = "tessel_fft::fftwContext::";
  for (const char* name : {"fftwApi", "getInstance", "malloc", "free", "getVersion", "fftwAccessMutex_"})
    expected[api + name] = 1;
  expected[api + "destroyPlan"] = 2;
  for (const char* name : {"execute", "plan", "planMany"}) expected[api + name] = 8;
  for (const char* name :
       {"getNumThreads", "getChunkSize", "getEmbedStyle", "mayOverwrite", "setNumThreads", "setChunkSize",
        "setPlanStrategy", "setEmbedStyle", "setMayOverwrite", "TS_FFTW_HYBRID"})
    expected[context + name] = 1;
  for (const char* name : {"fftwContext", "operator=", "getPlanStrategy"}) expected[context + name] = 2;
  for (const char* real : {"float", "double"}) {
    for (int kind = 0; kind < 3; ++kind)
      for (const char* family : {"quillFFT1D", "quillFFT1DNoCopy", "interleavedFFT1D", "interleavedFFT2D"})
        expected["tessel_fft::" + std::string(family) + "<" + real + "," + std::to_string(kind) + ">"] = 1;
    for (int kind = 0; kind < 8; ++kind)
      expected["tessel_fft::quillDCST1D<" + std::string(real) + "," + std::to_string(kind) + ">"] = 1;
    for (const std::string& element : {std::string(real), "std::complex<" + std::string(real) + ">"})
      for (const char* family : {"dctIIND", "idctIIND"})
        expected["tessel_fft::" + std::string(family) + "<" + element + ">"] = 1;
  }
  return expected;
}

// Exported beyond the transform families, each named here.
const std::map<std::string, int> kAdditions = {{"tessel_fft::getLibraryVersion", 1}};

TEST(ExportedSymbols, ExactlyThePublicApi) {
  const std::string command = std::string("nm -DC --defined-only '") + TESSEL_SHARED_LIBRARY_PATH + "'";
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  ASSERT_TRUE(pipe);
  std::map<std::string, std::set<std::string>> exported;  // base name -> distinct full names
  std::set<std::string> others;
  char line[4096];
  while (std::fgets(line, sizeof line, pipe.get()) != nullptr) {
    std::string text(line);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    // "address type name": the name starts after the second space.
    const std::size_t nameStart = text.find(' ', text.find(' ') + 1);
    if (nameStart == std::string::npos) continue;
    const std::string name = text.substr(nameStart + 1);
    const std::string base = baseName(name);
    if (base.rfind("tessel_fft::", 0) == 0)
      exported[base].insert(name);
    else
      others.insert(name);
  }
  std::map<std::string, int> actual;
  int total = 0;
  for (const auto& [base, names] : exported) {
    actual[base] = static_cast<int>(names.size());
    total += actual[base];
  }
  std::map<std::string, int> expected = expectedExports();
  expected.insert(kAdditions.begin(), kAdditions.end());
  EXPECT_EQ(actual, expected);
  EXPECT_EQ(total, 96 + static_cast<int>(kAdditions.size()));
  EXPECT_EQ(others, (std::set<std::string>{"fftw_assertion_failed", "fftwf_assertion_failed"}));
}

}  // namespace
