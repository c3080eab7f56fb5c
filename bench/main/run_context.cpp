// Gathers the machine and build facts that every report carries.
#include "run_context.hpp"

#include <fftw3.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <thread>

#include "tessel_fft/version.hpp"

#ifndef TESSEL_BUILD_TYPE
#define TESSEL_BUILD_TYPE ""
#endif

namespace tessel_bench {
namespace {

// The value of a "key : value" line of /proc/cpuinfo, spaces squeezed; empty if the line isn't `key`.
std::string cpuinfoValue(const std::string& line, const std::string& key) {
  const std::size_t colon = line.find(':');
  if (colon == std::string::npos || line.rfind(key, 0) != 0) return "";
  std::string name = line.substr(key.size(), colon - key.size());
  if (name.find_first_not_of(" \t") != std::string::npos) return "";
  std::string value;
  for (const char c : line.substr(colon + 1)) {
    const bool space = std::isspace(static_cast<unsigned char>(c)) != 0;
    if (space && (value.empty() || value.back() == ' ')) continue;
    value += space ? ' ' : c;
  }
  while (!value.empty() && value.back() == ' ') value.pop_back();
  return value;
}

// "model name" of the first processor, with its family and model numbers: under a hypervisor the name
// may be as bare as "AMD EPYC".
std::string cpuModel() {
  std::ifstream cpuinfo("/proc/cpuinfo");
  std::string line, name, family, model;
  while (std::getline(cpuinfo, line) && !line.empty()) {
    if (name.empty()) name = cpuinfoValue(line, "model name");
    if (family.empty()) family = cpuinfoValue(line, "cpu family");
    if (model.empty()) model = cpuinfoValue(line, "model");
  }
  if (name.empty()) return "unknown CPU";
  if (!family.empty() && !model.empty()) name += " (family " + family + ", model " + model + ")";
  return name;
}

std::string localDate() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[40];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S%z", &local);
  // ISO 8601 wants the offset as +hh:mm.
  std::string date = text;
  if (date.size() >= 5) date.insert(date.size() - 2, ":");
  return date;
}

std::string hostName() {
  char name[256] = {};
  if (gethostname(name, sizeof name - 1) != 0) return "unknown";
  return name;
}

}  // namespace

RunContext describeRun(const char* executable) {
  RunContext context;
  context.date = localDate();
  context.hostName = hostName();
  context.executable = executable != nullptr ? executable : "";
  context.cpuModel = cpuModel();
  context.numCpus = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  if (getloadavg(context.loadAverage, 3) != 3) std::fill(context.loadAverage, context.loadAverage + 3, -1.0);
  context.libraryVersion = tessel_fft::getLibraryVersion();
  context.headerVersion = TESSEL_FFT_VERSION_STRING;
  context.buildType = *TESSEL_BUILD_TYPE != '\0' ? TESSEL_BUILD_TYPE : "unspecified";
  context.fftwVersion = fftw_version;
  return context;
}

std::string versionLine(const RunContext& context) {
  std::string line = "tessel-fft-bench " + context.headerVersion + " (library " + context.libraryVersion;
  if (context.libraryVersion != context.headerVersion) line += ", NOT the version it was compiled against";
  return line + ", " + context.buildType + " build), " + context.fftwVersion;
}

}  // namespace tessel_bench
