// FFTW's wisdom of both precisions as one text or file, moved in and out under the planner lock.
#include "tessel_fft/wisdom.hpp"

#include <fcntl.h>
#include <fftw3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <vector>

#include "backend/errors.hpp"
#include "backend/planner_lock.hpp"

namespace tessel_fft {

namespace {

// One precision's wisdom entries in FFTW.
struct Precision {
  const char* name;  // its section's name in the text
  const char* tag;   // what FFTW writes in the first line of its wisdom
  char* (*exportText)();
  int (*importText)(const char*);
  void (*forget)();
  int (*importSystem)();
};

const Precision kPrecisions[] = {
    {"double", " fftw_wisdom", fftw_export_wisdom_to_string, fftw_import_wisdom_from_string,
     fftw_forget_wisdom, fftw_import_system_wisdom},
    {"float", " fftwf_wisdom", fftwf_export_wisdom_to_string, fftwf_import_wisdom_from_string,
     fftwf_forget_wisdom, fftwf_import_system_wisdom}};
constexpr int kNumPrecisions = 2;

const std::string kMagic = "tessel_fft wisdom 1 ";

bool fail(std::string* error, const std::string& why) {
  if (error != nullptr) *error = why;
  return false;
}

// FFTW's exported text, which it allocates with malloc.
using FftwText = std::unique_ptr<char, decltype(&std::free)>;

// Called under the planner lock.
FftwText exported(const Precision& precision) {
  FftwText text(precision.exportText(), &std::free);
  if (text == nullptr) throwNoMemory();
  return text;
}

// Puts back what `saved` held: FFTW's import adds to its wisdom, and a refused text may have added part.
// Called under the planner lock.
void restore(const Precision& precision, const char* saved) {
  precision.forget();
  precision.importText(saved);
}

// FFTW's wisdom is one parenthesised list whose first line names the writer; anything that does not
// look like that is refused before FFTW sees any of it.
bool looksLikeWisdom(const std::string& section, const Precision& precision) {
  if (section.rfind("(fftw-", 0) != 0) return false;
  if (section.substr(0, section.find('\n')).find(precision.tag) == std::string::npos) return false;
  long depth = 0;
  std::size_t end = 0;
  for (std::size_t i = 0; i < section.size(); ++i) {
    if (section[i] == '(') ++depth;
    if (section[i] == ')' && --depth == 0) {
      end = i + 1;
      break;
    }
  }
  return end != 0 && section.find_first_not_of(" \t\r\n", end) == std::string::npos;
}

// Splits a text of exportWisdom into its sections, checking the whole of it first.
bool parse(const std::string& text, std::string (&sections)[kNumPrecisions], std::string* error) {
  if (text.rfind(kMagic, 0) != 0) return fail(error, "not a tessel_fft wisdom text");
  std::size_t position = text.find('\n');
  if (position == std::string::npos) return fail(error, "truncated wisdom text");
  const std::string version = text.substr(kMagic.size(), position - kMagic.size());
  if (version != fftw_version) {
    return fail(error, "wisdom written by " + version + ", this process runs " + fftw_version);
  }
  ++position;
  for (int i = 0; i < kNumPrecisions; ++i) {
    const std::string expected = std::string(kPrecisions[i].name) + ' ';
    const std::size_t lineEnd = text.find('\n', position);
    if (lineEnd == std::string::npos || text.compare(position, expected.size(), expected) != 0) {
      return fail(error, std::string("wisdom text has no ") + kPrecisions[i].name + " section");
    }
    const std::string count = text.substr(position + expected.size(), lineEnd - position - expected.size());
    if (count.empty() || count.find_first_not_of("0123456789") != std::string::npos || count.size() > 12) {
      return fail(error, std::string("bad size of the ") + kPrecisions[i].name + " section");
    }
    const std::size_t bytes = std::stoull(count);
    position = lineEnd + 1;
    if (bytes > text.size() - position) return fail(error, "truncated wisdom text");
    sections[i] = text.substr(position, bytes);
    if (!looksLikeWisdom(sections[i], kPrecisions[i])) {
      return fail(error, std::string("the ") + kPrecisions[i].name + " section is not FFTW wisdom");
    }
    position += bytes;
  }
  if (position != text.size()) return fail(error, "unexpected data after the wisdom");
  return true;
}

// Closes a temporary file and removes it unless it was renamed into place.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& beside) : name_(beside + ".XXXXXX") {
    descriptor_ = mkstemp(name_.data());
  }
  ~TemporaryFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
    if (descriptor_ >= 0 || closed_) ::unlink(name_.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  bool created() const { return descriptor_ >= 0; }
  bool write(const std::string& text) {
    for (std::size_t done = 0; done < text.size();) {
      const ssize_t written = ::write(descriptor_, text.data() + done, text.size() - done);
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) return false;
      done += static_cast<std::size_t>(written);
    }
    // mkstemp makes the file private; wisdom is no secret, and others on the machine may read it.
    return ::fchmod(descriptor_, 0644) == 0 && ::fsync(descriptor_) == 0;
  }
  bool close() {
    const int descriptor = descriptor_;
    descriptor_ = -1;
    closed_ = true;
    return ::close(descriptor) == 0;
  }
  bool renameTo(const std::string& path) {
    if (std::rename(name_.c_str(), path.c_str()) != 0) return false;
    closed_ = false;
    return true;
  }

 private:
  std::string name_;
  int descriptor_ = -1;
  bool closed_ = false;  // closed and still present under its temporary name
};

std::string systemError(const std::string& what, const std::string& path) {
  return what + " '" + path + "': " + std::strerror(errno);
}

}  // namespace

std::string exportWisdom() {
  fftwApi::getInstance();
  std::ostringstream text;
  text << kMagic << fftw_version << '\n';
  const PlannerLock lock;
  for (const Precision& precision : kPrecisions) {
    const FftwText section = exported(precision);
    text << precision.name << ' ' << std::strlen(section.get()) << '\n' << section.get();
  }
  return text.str();
}

bool exportWisdomToFile(const std::string& path, std::string* error) {
  const std::string text = exportWisdom();
  TemporaryFile file(path);
  if (!file.created()) return fail(error, systemError("cannot create a file beside", path));
  if (!file.write(text)) return fail(error, systemError("cannot write beside", path));
  if (!file.close()) return fail(error, systemError("cannot write beside", path));
  if (!file.renameTo(path)) return fail(error, systemError("cannot replace", path));
  return true;
}

bool importWisdom(const std::string& text, std::string* error) {
  std::string sections[kNumPrecisions];
  if (!parse(text, sections, error)) return false;
  fftwApi::getInstance();
  const PlannerLock lock;
  FftwText saved[kNumPrecisions] = {exported(kPrecisions[0]), exported(kPrecisions[1])};
  for (int i = 0; i < kNumPrecisions; ++i) {
    if (kPrecisions[i].importText(sections[i].c_str()) == 0) {
      for (int j = 0; j <= i; ++j) restore(kPrecisions[j], saved[j].get());
      return fail(error, std::string("FFTW refused the ") + kPrecisions[i].name + " wisdom");
    }
  }
  return true;
}

bool importWisdomFromFile(const std::string& path, std::string* error) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return fail(error, systemError("cannot open", path));
  std::ostringstream text;
  text << file.rdbuf();
  if (file.bad()) return fail(error, systemError("cannot read", path));
  std::string why;
  if (importWisdom(text.str(), &why)) return true;
  return fail(error, path + ": " + why);
}

bool importSystemWisdom(std::string* error) {
  fftwApi::getInstance();
  const PlannerLock lock;
  std::string missing;
  for (const Precision& precision : kPrecisions) {
    const FftwText saved = exported(precision);
    if (precision.importSystem() == 0) {
      restore(precision, saved.get());
      missing += missing.empty() ? precision.name : std::string(" and ") + precision.name;
    }
  }
  if (missing == "double and float") return fail(error, "no system wisdom could be read");
  if (!missing.empty() && error != nullptr) *error = "no system wisdom of " + missing + " precision";
  return true;
}

void forgetWisdom() {
  fftwApi::getInstance();
  const PlannerLock lock;
  for (const Precision& precision : kPrecisions) precision.forget();
}

}  // namespace tessel_fft
