#include "report.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>

namespace tessel_bench {
namespace {

std::string format(const char* pattern, double value) {
  char text[64];
  std::snprintf(text, sizeof text, pattern, value);
  return text;
}

// Seconds in the unit that keeps three or four significant digits readable.
std::string duration(double seconds) {
  if (seconds >= 1) return format("%.3f s", seconds);
  if (seconds >= 1e-3) return format("%.2f ms", seconds * 1e3);
  return format("%.1f us", seconds * 1e6);
}

std::string modeText(const SuiteConfig& config) {
  return std::string(config.quick ? "quick (small sizes, FFTW_ESTIMATE)" : "standard (FFTW_MEASURE)");
}

std::string jsonString(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)));
      quoted += escape;
    } else {
      quoted += c;
    }
  }
  return quoted + "\"";
}

// JSON has no NaN or infinity.
std::string jsonNumber(double value) { return std::isfinite(value) ? format("%.6g", value) : "null"; }

std::string xmlText(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '<') {
      escaped += "&lt;";
    } else if (c == '>') {
      escaped += "&gt;";
    } else if (c == '&') {
      escaped += "&amp;";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

}  // namespace

void printTable(std::ostream& out, const std::vector<CaseResult>& results, const RunInfo& info) {
  const std::vector<std::string> header = {
      "case", "entry", "threads", "ours (median)", "plain FFTW (median)", "ratio", "max rel. error"};
  std::vector<std::vector<std::string>> rows;
  for (const CaseResult& r : results) {
    const bool timed = r.runs > 0;
    rows.push_back({r.name + (r.shape.empty() ? "" : " (" + r.shape + ")"), r.entry,
                    std::to_string(r.threads), timed ? duration(r.oursSeconds) : "-",
                    timed ? duration(r.plainSeconds) : "-", timed ? format("%.2f", r.ratio) : "-",
                    timed ? format("%.1e", r.maxError) + (r.passed ? "" : " FAIL") : "FAIL: " + r.failure});
  }
  std::vector<std::size_t> widths(header.size());
  for (std::size_t c = 0; c < header.size(); ++c) {
    widths[c] = header[c].size();
    for (const auto& row : rows) widths[c] = std::max(widths[c], row[c].size());
  }
  // Text columns left, numbers right.
  const auto printRow = [&](const std::vector<std::string>& cells) {
    out << '|';
    for (std::size_t c = 0; c < cells.size(); ++c) {
      const std::string pad(widths[c] - cells[c].size(), ' ');
      out << ' ' << (c < 2 ? cells[c] + pad : pad + cells[c]) << " |";
    }
    out << '\n';
  };
  out << "tessel-fft-bench: " << modeText(info.config) << ", FFTW " << info.fftwVersion << ", "
      << info.config.threads << " thread(s) of " << info.hardwareThreads << " hardware\n\n";
  printRow(header);
  out << '|';
  for (std::size_t c = 0; c < header.size(); ++c)
    out << (c < 2 ? ":" : "") << std::string(widths[c] + 1, '-') << (c < 2 ? "" : ":") << '|';
  out << '\n';
  for (const auto& row : rows) printRow(row);

  const std::size_t failed =
      std::count_if(results.begin(), results.end(), [](const CaseResult& r) { return !r.passed; });
  out << "\nratio = ours / plain FFTW (below 1: the library is faster). Error: relative L2 of ours against\n"
      << "plain FFTW; tolerance " << kToleranceConstant << " * epsilon * log2(n).\n";
  if (std::any_of(results.begin(), results.end(),
                  [](const CaseResult& r) { return r.entry.rfind("dctIIND", 0) == 0; })) {
    out << "dctIIND takes no context or cache: it plans by estimate on every call, with FFTW on one thread,\n"
        << "so its plain side runs on one thread as well.\n";
  }
  if (failed == 0) {
    out << "All " << results.size() << " cases within tolerance.\n";
  } else {
    out << failed << " of " << results.size() << " cases FAILED.\n";
  }
}

bool writeJson(const std::string& path, const std::vector<CaseResult>& results, const RunInfo& info) {
  std::ofstream file(path);
  if (!file) {
    std::cerr << "tessel-fft-bench: cannot write " << path << '\n';
    return false;
  }
  const bool passed =
      std::all_of(results.begin(), results.end(), [](const CaseResult& r) { return r.passed; });
  file << "{\n  \"mode\": " << jsonString(info.config.quick ? "quick" : "standard")
       << ",\n  \"fftw_version\": " << jsonString(info.fftwVersion)
       << ",\n  \"threads\": " << info.config.threads << ",\n  \"hardware_threads\": " << info.hardwareThreads
       << ",\n  \"tolerance_constant\": " << jsonNumber(kToleranceConstant)
       << ",\n  \"passed\": " << (passed ? "true" : "false") << ",\n  \"cases\": [";
  for (std::size_t i = 0; i < results.size(); ++i) {
    const CaseResult& r = results[i];
    file << (i == 0 ? "\n" : ",\n") << "    {\"name\": " << jsonString(r.name)
         << ", \"entry\": " << jsonString(r.entry) << ", \"shape\": " << jsonString(r.shape)
         << ", \"threads\": " << r.threads << ", \"runs\": " << r.runs
         << ", \"ours_median_seconds\": " << jsonNumber(r.oursSeconds)
         << ", \"plain_median_seconds\": " << jsonNumber(r.plainSeconds)
         << ", \"ratio\": " << jsonNumber(r.ratio) << ", \"max_relative_error\": " << jsonNumber(r.maxError)
         << ", \"tolerance\": " << jsonNumber(r.tolerance)
         << ", \"passed\": " << (r.passed ? "true" : "false") << ", \"failure\": " << jsonString(r.failure)
         << "}";
  }
  file << "\n  ]\n}\n";
  return static_cast<bool>(file);
}

bool writeSvg(const std::string& path, const std::vector<CaseResult>& results, const RunInfo& info) {
  std::ofstream file(path);
  if (!file) {
    std::cerr << "tessel-fft-bench: cannot write " << path << '\n';
    return false;
  }
  const int labelWidth = 230;
  const int plotWidth = 520;
  const int rowHeight = 24;
  const int top = 50;
  const int height = top + rowHeight * static_cast<int>(results.size()) + 40;
  const int width = labelWidth + plotWidth + 70;
  double largest = 1.5;
  for (const CaseResult& r : results) {
    if (std::isfinite(r.ratio)) largest = std::max(largest, r.ratio);
  }
  const double scale = plotWidth / (largest * 1.05);
  const double oneX = labelWidth + scale;

  file
      << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\"" << height
      << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
      << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
      << "<text x=\"10\" y=\"20\" font-size=\"14\" font-weight=\"bold\">tessel_fft / plain FFTW, median time "
         "ratio (below 1: tessel_fft faster)</text>\n"
      << "<text x=\"10\" y=\"38\" fill=\"#555\">" << xmlText(modeText(info.config)) << ", FFTW "
      << xmlText(info.fftwVersion) << ", " << info.config.threads << " thread(s)</text>\n";
  for (std::size_t i = 0; i < results.size(); ++i) {
    const CaseResult& r = results[i];
    const int y = top + rowHeight * static_cast<int>(i);
    const double barWidth = std::isfinite(r.ratio) ? std::max(0.0, r.ratio * scale) : 0.0;
    const char* colour = !r.passed ? "#c0392b" : r.ratio <= 1.0 ? "#2e86c1" : "#e67e22";
    file << "<text x=\"" << labelWidth - 8 << "\" y=\"" << y + 16 << "\" text-anchor=\"end\">"
         << xmlText(r.name) << "</text>\n"
         << "<rect x=\"" << labelWidth << "\" y=\"" << y + 4 << "\" width=\"" << format("%.1f", barWidth)
         << "\" height=\"" << rowHeight - 8 << "\" fill=\"" << colour << "\"/>\n"
         << "<text x=\"" << format("%.1f", labelWidth + barWidth + 4) << "\" y=\"" << y + 16 << "\">"
         << (r.passed ? format("%.2f", r.ratio) : std::string("failed")) << "</text>\n";
  }
  const int axisBottom = top + rowHeight * static_cast<int>(results.size());
  file << "<line x1=\"" << format("%.1f", oneX) << "\" y1=\"" << top - 4 << "\" x2=\"" << format("%.1f", oneX)
       << "\" y2=\"" << axisBottom + 4 << "\" stroke=\"black\" stroke-dasharray=\"4 3\"/>\n"
       << "<text x=\"" << format("%.1f", oneX) << "\" y=\"" << axisBottom + 20
       << "\" text-anchor=\"middle\">1.0</text>\n"
       << "</svg>\n";
  return static_cast<bool>(file);
}

}  // namespace tessel_bench
