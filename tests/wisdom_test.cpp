// Wisdom moved in and out of FFTW: the same plans after a round trip, nothing changed by a bad text or
// file, no partial file after a failed export, every call under the planner lock, and imports while
// other threads plan and transform.

#include <fftw3.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/allocation_control.hpp"
#include "support/calls.hpp"
#include "tessel_fft/tessel_fft.hpp"

namespace {

using tessel_fft::fftwApi;

// What FFTW prints of one plan of each precision (every solver with its sizes), or "none" where it made
// no plan; n picks the problems.
std::string planTexts(int n, unsigned flags) {
  const fftwApi& api = fftwApi::getInstance();
  std::string text;
  double* data = static_cast<double*>(fftwApi::malloc(4 * sizeof(double) * n));
  const fftw_iodim64 dim{n, 1, 1}, loop{3, n, n};
  const fftw_r2r_kind kind = FFTW_REDFT10;
  fftw_plan complexPlan = api.plan(1, &dim, 1, &loop, reinterpret_cast<fftw_complex*>(data),
                                   reinterpret_cast<fftw_complex*>(data + 2 * n), FFTW_FORWARD, flags);
  fftwf_plan realPlan = api.plan(1, &dim, 0, nullptr, reinterpret_cast<float*>(data),
                                 reinterpret_cast<float*>(data + 2 * n), &kind, flags);
  for (char* printed : {complexPlan ? fftw_sprint_plan(complexPlan) : nullptr,
                        realPlan ? fftwf_sprint_plan(realPlan) : nullptr}) {
    text += printed ? std::string(printed) : "none";
    text += '\n';
    free(printed);
  }
  if (complexPlan) api.destroyPlan(complexPlan);
  if (realPlan) api.destroyPlan(realPlan);
  fftwApi::free(data);
  return text;
}

// The wisdom in memory, order aside.
std::vector<std::string> wisdomLines() {
  std::istringstream text(tessel_fft::exportWisdom());
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  return lines;
}

struct ScratchDirectory {
  ScratchDirectory() {
    char name[] = "/tmp/tessel_wisdom_XXXXXX";
    path = mkdtemp(name);
  }
  ~ScratchDirectory() { std::system(("rm -rf '" + path + "'").c_str()); }
  std::vector<std::string> entries() const {
    std::vector<std::string> names;
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(("ls -A '" + path + "'").c_str(), "r"), pclose);
    for (char line[512]; std::fgets(line, sizeof line, pipe.get()) != nullptr;) names.push_back(line);
    return names;
  }
  std::string path;
};

void writeFile(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

TEST(Wisdom, RoundTripGivesTheSamePlans) {
  tessel_fft::forgetWisdom();
  const std::string measured = planTexts(60, FFTW_MEASURE);
  const std::string text = tessel_fft::exportWisdom();
  const ScratchDirectory directory;
  const std::string path = directory.path + "/wisdom";
  ASSERT_TRUE(tessel_fft::exportWisdomToFile(path));
  for (const bool fromFile : {false, true}) {
    tessel_fft::forgetWisdom();
    EXPECT_EQ(planTexts(60, FFTW_MEASURE | FFTW_WISDOM_ONLY), "none\nnone\n");
    ASSERT_TRUE(fromFile ? tessel_fft::importWisdomFromFile(path) : tessel_fft::importWisdom(text));
    EXPECT_EQ(planTexts(60, FFTW_MEASURE | FFTW_WISDOM_ONLY), measured) << "from file " << fromFile;
  }
}

// Each bad text or file is refused whole: the wisdom in memory (of other problems) stays as it was, and
// that of the good double section, which FFTW would take, is not added.
TEST(Wisdom, BadTextsAndFilesChangeNothing) {
  tessel_fft::forgetWisdom();
  planTexts(48, FFTW_MEASURE);
  const std::string good = tessel_fft::exportWisdom();
  tessel_fft::forgetWisdom();
  planTexts(40, FFTW_MEASURE);
  const std::vector<std::string> before = wisdomLines();

  const std::size_t floatHash = good.find("#x", good.find("fftwf_wisdom"));
  std::string foreignHash = good, otherVersion = good;
  foreignHash.replace(floatHash, good.find(' ', floatHash) - floatHash, "#x12345678");
  otherVersion.replace(otherVersion.find(fftw_version), 4, "fftw-0");
  std::string rawFftw = good.substr(good.find("(fftw-"));
  const struct {
    const char* name;
    std::string text;
  } texts[] = {
      {"empty", ""},
      {"FFTW's own format", rawFftw},
      {"truncated", good.substr(0, good.size() - 12)},
      {"line cut", good.substr(0, good.find('\n'))},
      {"trailing data", good + "x"},
      {"other FFTW version", otherVersion},
      {"float section FFTW refuses", foreignHash},
      {"section swapped",
       good.substr(0, good.find("double")) + "double" + good.substr(good.find("float") + 5)},
  };
  for (const auto& row : texts) {
    std::string error;
    EXPECT_FALSE(tessel_fft::importWisdom(row.text, &error)) << row.name;
    EXPECT_FALSE(error.empty()) << row.name;
    EXPECT_EQ(wisdomLines(), before) << row.name;
  }
  std::string systemError;
  if (!tessel_fft::importSystemWisdom(&systemError)) {
    EXPECT_EQ(wisdomLines(), before) << systemError;
  }
  const ScratchDirectory directory;
  writeFile(directory.path + "/truncated", good.substr(0, good.size() / 2));
  writeFile(directory.path + "/foreign", rawFftw);
  for (const char* name : {"missing", "truncated", "foreign", ""}) {
    std::string error;
    EXPECT_FALSE(tessel_fft::importWisdomFromFile(directory.path + "/" + name, &error)) << name;
    EXPECT_NE(error.find(directory.path), std::string::npos) << error;
    EXPECT_EQ(wisdomLines(), before) << name;
  }
}

// A failed export says so and leaves neither a partial file nor its temporary file behind; a file it
// would have replaced stays byte for byte as it was, also when the write fails part way.
TEST(Wisdom, FailedExportLeavesNoFile) {
  const ScratchDirectory directory;
  ::mkdir((directory.path + "/taken").c_str(), 0755);
  const auto listing = directory.entries();
  for (const std::string& path : {directory.path + "/taken", directory.path + "/absent/wisdom"}) {
    std::string error;
    EXPECT_FALSE(tessel_fft::exportWisdomToFile(path, &error)) << path;
    EXPECT_NE(error.find(path), std::string::npos) << error;
    EXPECT_EQ(directory.entries(), listing);
  }
  const std::string path = directory.path + "/wisdom", old = "old " + tessel_fft::exportWisdom();
  writeFile(path, old);
  const auto withFile = directory.entries();
  // Under a file size limit (SIGXFSZ ignored, so write reports EFBIG), in a child.
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    alarm(20);  // a call that hangs ends the child by the signal
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{16, 16};
    setrlimit(RLIMIT_FSIZE, &limit);
    std::string error;
    const bool written = tessel_fft::exportWisdomToFile(path, &error);
    _exit(written ? 1 : error.find(path) == std::string::npos ? 2 : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
  std::ifstream file(path, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), old);
  EXPECT_EQ(directory.entries(), withFile);
}

// Each wisdom call waits while another thread holds the planner lock, and returns once it is free.
TEST(Wisdom, EveryCallTakesThePlannerLock) {
  const std::string text = tessel_fft::exportWisdom();
  const ScratchDirectory directory;
  const std::string path = directory.path + "/wisdom";
  ASSERT_TRUE(tessel_fft::exportWisdomToFile(path));
  const struct {
    const char* name;
    std::function<void()> call;
  } calls[] = {
      {"importWisdom", [&] { tessel_fft::importWisdom(text); }},
      {"importWisdomFromFile", [&] { tessel_fft::importWisdomFromFile(path); }},
      {"importSystemWisdom", [] { tessel_fft::importSystemWisdom(); }},
      {"exportWisdom", [] { tessel_fft::exportWisdom(); }},
      {"exportWisdomToFile", [&] { tessel_fft::exportWisdomToFile(path); }},
      {"forgetWisdom", [] { tessel_fft::forgetWisdom(); }},
  };
  for (const auto& row : calls) EXPECT_TRUE(tessel_test::waitsForThePlannerLock(row.call)) << row.name;
}

// Imports, exports and forgetting on one thread while others plan by measuring and transform: every
// transform stays right (TSan checks the rest).
TEST(Wisdom, ImportWhileOthersPlanAndRun) {
  const std::string text = tessel_fft::exportWisdom();
  std::atomic<bool> done{false};
  std::thread keeper([&] {
    for (unsigned round = 0; !done.load(); ++round) {
      EXPECT_TRUE(tessel_fft::importWisdom(round % 2 ? text : tessel_fft::exportWisdom()));
      if (round % 3 == 0) tessel_fft::forgetWisdom();
    }
  });
  using tessel_test::Call;
  using tessel_test::Family;
  std::vector<std::thread> hosts;
  for (unsigned host = 0; host < 2; ++host) {
    hosts.emplace_back([host] {
      for (std::uint64_t n = 8; n <= 40; n += 4) {
        const Call calls[] = {
            {Family::Quill, host == 1, 2, 3, n, n, 12, 1, 4, 1, tessel_test::kMeasure},
            {Family::DCST, host == 0, 1, 1, n, n, 200, 2, 4, -1, tessel_test::kMeasure},
        };
        for (const Call& call : calls) {
          const tessel_test::Outcome outcome = tessel_test::runCall(call);
          EXPECT_EQ(outcome.error + outcome.failure, "") << tessel_test::describe(call);
        }
      }
    });
  }
  for (std::thread& host : hosts) host.join();
  done.store(true);
  keeper.join();
}

}  // namespace
