// Writes the results as a Markdown table, as JSON with the run's context, and as an SVG chart.
#include "report.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

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
  return config.quick ? "QUICK RUN (small sizes, FFTW_ESTIMATE): timings are not meaningful"
                      : "standard (FFTW_MEASURE)";
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

std::string jsonTiming(const Timing& timing) {
  return "{\"median_seconds\": " + jsonNumber(timing.median) +
         ", \"min_seconds\": " + jsonNumber(timing.min) + ", \"max_seconds\": " + jsonNumber(timing.max) +
         ", \"samples\": " + std::to_string(timing.samples) + "}";
}

std::string jsonNumbers(const std::vector<double>& values) {
  std::string text = "[";
  for (const double value : values) text += (text.size() > 1 ? ", " : "") + jsonNumber(value);
  return text + "]";
}

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

// One row of the table and the chart: a case against one plain side, or a case that failed before it
// was timed (no comparison).
struct Row {
  const CaseResult* result;
  const Comparison* comparison;

  std::string label(bool withShape) const {
    std::string text = result->name;
    if (withShape && !result->shape.empty()) text += " (" + result->shape + ")";
    if (comparison != nullptr && !comparison->label.empty()) text += " [" + comparison->label + "]";
    return text;
  }
  bool timed() const { return comparison != nullptr && result->runs > 0; }
  bool passed() const { return comparison != nullptr ? comparison->passed : false; }
};

std::vector<Row> rowsOf(const std::vector<CaseResult>& results) {
  std::vector<Row> rows;
  for (const CaseResult& result : results) {
    if (result.comparisons.empty()) rows.push_back({&result, nullptr});
    for (const Comparison& comparison : result.comparisons) rows.push_back({&result, &comparison});
  }
  return rows;
}

bool anyDctNd(const std::vector<CaseResult>& results) {
  return std::any_of(results.begin(), results.end(),
                     [](const CaseResult& r) { return r.entry.rfind("dctIIND", 0) == 0; });
}

}  // namespace

std::string ratioText(double ratio, const std::vector<double>& readings) {
  std::string text = format("%.2f", ratio);
  for (std::size_t i = 0; i < readings.size(); ++i)
    text += (i == 0 ? " (" : ", ") + format("%.2f", readings[i]) + (i + 1 == readings.size() ? ")" : "");
  return text;
}

void printTable(std::ostream& out, const std::vector<CaseResult>& results, const RunInfo& info) {
  const std::vector<std::string> header = {
      "case",  "entry",         "threads", "ours (first call)", "ours (median)", "plain FFTW (median)",
      "ratio", "max rel. error"};
  std::vector<std::vector<std::string>> cells;
  for (const Row& row : rowsOf(results)) {
    const CaseResult& r = *row.result;
    if (!row.timed()) {
      cells.push_back(
          {row.label(true), r.entry, std::to_string(r.threads), "-", "-", "-", "-", "FAIL: " + r.failure});
      continue;
    }
    const Comparison& c = *row.comparison;
    cells.push_back({row.label(true), r.entry, std::to_string(r.threads), duration(r.oursFirst),
                     duration(r.ours.median), duration(c.plain.median),
                     ratioText(c.ratio, &c == &r.comparisons[0] ? r.readings : std::vector<double>()),
                     format("%.1e", c.maxError) + (c.passed ? "" : " FAIL")});
  }
  std::vector<std::size_t> widths(header.size());
  for (std::size_t c = 0; c < header.size(); ++c) {
    widths[c] = header[c].size();
    for (const auto& row : cells) widths[c] = std::max(widths[c], row[c].size());
  }
  // Text columns left, numbers right.
  const auto printRow = [&](const std::vector<std::string>& row) {
    out << '|';
    for (std::size_t c = 0; c < row.size(); ++c) {
      const std::string pad(widths[c] - row[c].size(), ' ');
      out << ' ' << (c < 2 ? row[c] + pad : pad + row[c]) << " |";
    }
    out << '\n';
  };
  const RunContext& context = info.context;
  out << "tessel-fft-bench on " << context.cpuModel << ": " << modeText(info.config) << ", "
      << context.fftwVersion << ", " << info.config.threads << " thread(s) of " << context.numCpus
      << " hardware" << (info.config.wisdomPath.empty() ? "" : ", wisdom from " + info.config.wisdomPath)
      << "\n\n";
  printRow(header);
  out << '|';
  for (std::size_t c = 0; c < header.size(); ++c)
    out << (c < 2 ? ":" : "") << std::string(widths[c] + 1, '-') << (c < 2 ? "" : ":") << '|';
  out << '\n';
  for (const auto& row : cells) printRow(row);

  out << "\nfirst call: ours planning into an empty host cache, as in a fresh process (with only the "
         "--wisdom\n"
      << "file's wisdom), and running once.\n"
      << "ratio = ours / plain FFTW (below 1: the library is faster). Error: relative L2 of ours against\n"
      << "plain FFTW; tolerance " << kToleranceConstant << " * epsilon * log2(n).\n";
  if (anyDctNd(results)) {
    out << "dctIIND without a context plans by estimate on every call and runs FFTW on one thread.\n"
        << "[estimate per call]: plain FFTW under the same conditions, a rank-N FFTW_ESTIMATE plan made,\n"
        << "run and destroyed in every call, one thread. [measured plan]: one rank-N plan made before\n"
        << "timing (measured in a standard run), which dctIIND can never use; on one thread, or beside the\n"
        << "dctIIND overload with a context and a host cache (-ctx) on the same threads. dctIIND's\n"
        << "estimating planner uses wisdom of its own one-dimensional problems (--wisdom).\n";
  }
  if (info.config.quick)
    out << "QUICK RUN: small sizes and estimated plans; only the errors mean anything.\n";
  const std::size_t failed =
      std::count_if(results.begin(), results.end(), [](const CaseResult& r) { return !r.passed; });
  if (failed == 0) {
    out << "All " << results.size() << " cases within tolerance.\n";
  } else {
    out << failed << " of " << results.size() << " cases FAILED.\n";
  }
}

bool writeJson(std::ostream& out, const std::vector<CaseResult>& results, const RunInfo& info) {
  const RunContext& context = info.context;
  const bool passed =
      std::all_of(results.begin(), results.end(), [](const CaseResult& r) { return r.passed; });
  out << "{\n  \"context\": {\n    \"date\": " << jsonString(context.date)
      << ",\n    \"host_name\": " << jsonString(context.hostName)
      << ",\n    \"executable\": " << jsonString(context.executable)
      << ",\n    \"cpu_model\": " << jsonString(context.cpuModel)
      << ",\n    \"num_cpus\": " << context.numCpus << ",\n    \"load_avg\": ["
      << jsonNumber(context.loadAverage[0]) << ", " << jsonNumber(context.loadAverage[1]) << ", "
      << jsonNumber(context.loadAverage[2]) << "]"
      << ",\n    \"library_version\": " << jsonString(context.libraryVersion)
      << ",\n    \"library_build_type\": " << jsonString(context.buildType)
      << ",\n    \"fftw_version\": " << jsonString(context.fftwVersion)
      << ",\n    \"mode\": " << jsonString(info.config.quick ? "quick" : "standard")
      << ",\n    \"timings_meaningful\": " << (info.config.quick ? "false" : "true")
      << ",\n    \"threads\": " << info.config.threads
      << ",\n    \"wisdom_file\": " << jsonString(info.config.wisdomPath)
      << ",\n    \"tolerance_constant\": " << jsonNumber(kToleranceConstant)
      << "\n  },\n  \"passed\": " << (passed ? "true" : "false") << ",\n  \"cases\": [";
  for (std::size_t i = 0; i < results.size(); ++i) {
    const CaseResult& r = results[i];
    out << (i == 0 ? "\n" : ",\n") << "    {\"name\": " << jsonString(r.name)
        << ", \"entry\": " << jsonString(r.entry) << ", \"shape\": " << jsonString(r.shape)
        << ", \"threads\": " << r.threads << ", \"runs\": " << r.runs
        << ", \"tolerance\": " << jsonNumber(r.tolerance) << ", \"passed\": " << (r.passed ? "true" : "false")
        << ", \"failure\": " << jsonString(r.failure) << ",\n     \"ours\": " << jsonTiming(r.ours)
        << ", \"ours_first_call_seconds\": " << jsonNumber(r.oursFirst)
        << ", \"ratio_readings\": " << jsonNumbers(r.readings) << ",\n     \"plain\": [";
    for (std::size_t s = 0; s < r.comparisons.size(); ++s) {
      const Comparison& c = r.comparisons[s];
      out << (s == 0 ? "\n" : ",\n") << "       {\"side\": " << jsonString(c.label)
          << ", \"timing\": " << jsonTiming(c.plain) << ", \"ratio\": " << jsonNumber(c.ratio)
          << ", \"max_relative_error\": " << jsonNumber(c.maxError)
          << ", \"passed\": " << (c.passed ? "true" : "false") << "}";
    }
    out << "]}";
  }
  out << "\n  ]\n}\n";
  out.flush();
  return static_cast<bool>(out);
}

bool writeSvg(std::ostream& out, const std::vector<CaseResult>& results, const RunInfo& info) {
  const std::vector<Row> rows = rowsOf(results);
  const RunContext& context = info.context;
  const int labelWidth = 300;
  const int plotLeft = labelWidth + 12;
  const int plotWidth = 560;
  const int width = plotLeft + plotWidth + 30;
  const int rowHeight = 22;
  const int legendY = info.config.quick ? 80 : 62;
  const int top = legendY + 24;
  const int plotBottom = top + rowHeight * static_cast<int>(rows.size());
  const int height = plotBottom + 48;
  const char* const kFaster = "#2e86c1";
  const char* const kSlower = "#e67e22";
  const char* const kFailed = "#c0392b";

  // A log2 axis from one power of two to another that always shows 0.25 to 4 and widens to every ratio,
  // with a margin at both ends for the value labels.
  double low = -2;
  double high = 2;
  for (const Row& row : rows) {
    if (!row.timed() || !(row.comparison->ratio > 0) || !std::isfinite(row.comparison->ratio)) continue;
    low = std::min(low, std::floor(std::log2(row.comparison->ratio)));
    high = std::max(high, std::ceil(std::log2(row.comparison->ratio)));
  }
  const int labelMargin = 80;
  const auto xOf = [&](double ratio) {
    return plotLeft + labelMargin + (std::log2(ratio) - low) / (high - low) * (plotWidth - 2 * labelMargin);
  };
  const double oneX = xOf(1.0);

  out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\"" << height
      << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
      << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
      << "<text x=\"10\" y=\"22\" font-size=\"15\" font-weight=\"bold\">tessel_fft / plain FFTW: median time "
         "ratio per case (below 1: tessel_fft is faster)</text>\n"
      << "<text x=\"10\" y=\"42\" fill=\"#444\">" << xmlText(context.cpuModel) << ", " << context.numCpus
      << " CPUs; " << info.config.threads << " thread(s); " << xmlText(context.fftwVersion) << "; tessel_fft "
      << xmlText(context.libraryVersion) << "; " << xmlText(context.date) << "</text>\n";
  if (info.config.quick) {
    out << "<text x=\"10\" y=\"62\" font-weight=\"bold\" fill=\"" << kFailed
        << "\">QUICK RUN: small sizes and estimated plans; these timings are not meaningful</text>\n";
  }
  const struct {
    const char* colour;
    const char* text;
  } legend[] = {{kFaster, "faster (ratio below 1)"},
                {kSlower, "slower (ratio above 1)"},
                {kFailed, "failed (error above tolerance, or no result)"}};
  int legendX = 10;
  for (const auto& entry : legend) {
    out << "<rect x=\"" << legendX << "\" y=\"" << legendY - 10 << "\" width=\"12\" height=\"12\" fill=\""
        << entry.colour << "\"/>\n<text x=\"" << legendX + 17 << "\" y=\"" << legendY << "\">" << entry.text
        << "</text>\n";
    legendX += 40 + 7 * static_cast<int>(std::string(entry.text).size());
  }

  // Grid and tick labels at every power of two in range.
  for (double exponent = low; exponent <= high; ++exponent) {
    const double x = xOf(std::exp2(exponent));
    out << "<line x1=\"" << format("%.1f", x) << "\" y1=\"" << top << "\" x2=\"" << format("%.1f", x)
        << "\" y2=\"" << plotBottom << "\" stroke=\"#ddd\"/>\n<text x=\"" << format("%.1f", x) << "\" y=\""
        << plotBottom + 16 << "\" text-anchor=\"middle\">" << format("%g", std::exp2(exponent))
        << "</text>\n";
  }
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const Row& row = rows[i];
    const int y = top + rowHeight * static_cast<int>(i);
    if (i % 2 == 1) {
      out << "<rect x=\"0\" y=\"" << y << "\" width=\"" << width << "\" height=\"" << rowHeight
          << "\" fill=\"#000\" fill-opacity=\"0.04\"/>\n";
    }
    out << "<text x=\"" << labelWidth << "\" y=\"" << y + 15 << "\" text-anchor=\"end\">"
        << xmlText(row.label(false)) << "</text>\n";
    const double ratio = row.timed() ? row.comparison->ratio : 0;
    if (!(ratio > 0) || !std::isfinite(ratio)) {
      out << "<text x=\"" << format("%.1f", oneX + 6) << "\" y=\"" << y + 15 << "\" fill=\"" << kFailed
          << "\">failed</text>\n";
      continue;
    }
    const double end = xOf(ratio);
    const char* colour = !row.passed() ? kFailed : ratio <= 1.0 ? kFaster : kSlower;
    // The value sits beyond the bar's far end, away from the 1.0 line.
    const bool faster = ratio <= 1.0;
    out << "<rect x=\"" << format("%.1f", std::min(end, oneX)) << "\" y=\"" << y + 4 << "\" width=\""
        << format("%.1f", std::max(1.0, std::abs(end - oneX))) << "\" height=\"" << rowHeight - 8
        << "\" fill=\"" << colour << "\"/>\n<text x=\""
        << format("%.1f", faster ? std::min(end, oneX - 1) - 5 : std::max(end, oneX + 1) + 5) << "\" y=\""
        << y + 15 << "\" text-anchor=\"" << (faster ? "end" : "start") << "\">" << format("%.2f", ratio)
        << (row.passed() ? "" : " failed") << "</text>\n";
  }
  out << "<line x1=\"" << format("%.1f", oneX) << "\" y1=\"" << top - 4 << "\" x2=\"" << format("%.1f", oneX)
      << "\" y2=\"" << plotBottom + 4 << "\" stroke=\"black\" stroke-width=\"1.5\"/>\n"
      << "<text x=\"" << plotLeft + plotWidth / 2 << "\" y=\"" << plotBottom + 36
      << "\" text-anchor=\"middle\" fill=\"#444\">ours / plain FFTW, median wall time (log scale)</text>\n"
      << "</svg>\n";
  out.flush();
  return static_cast<bool>(out);
}

}  // namespace tessel_bench
