// log: measures the selected outputs at steady ticks and writes CSV, flushed per row so that
// `tail -f` follows it. Ctrl-C ends the run with the file complete up to the last row.
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>

#include "commands.h"
#include "tick_clock.h"

namespace veqdx_cli {
namespace {

struct LogRequest {
  double interval = 1.0;
  std::optional<std::int64_t> count;
  std::optional<double> duration;
  std::string csv;
};

struct Reading {
  std::string output;
  double volts = 0, amps = 0;
};

class CCsvFile {
 public:
  explicit CCsvFile(const std::string& path) {
    if (path.empty() || path == "-") {
      file_ = stdout;
      return;
    }
    file_ = std::fopen(path.c_str(), "w");
    if (!file_)
      throw DriverError(VEQDX_ERROR_CANNOT_OPEN_FILE, "Cannot open file '" + path +
                                                          "' for the CSV log: check the folder "
                                                          "exists and is writable.");
    owned_ = true;
  }
  ~CCsvFile() {
    if (owned_) std::fclose(file_);
  }
  void Row(const std::string& line) {
    std::fputs(line.c_str(), file_);
    std::fputc('\n', file_);
    std::fflush(file_);
  }

 private:
  FILE* file_ = nullptr;
  bool owned_ = false;
};

std::string Elapsed(double seconds) {
  long s = static_cast<long>(seconds);
  char text[32];
  std::snprintf(text, sizeof text, "%02ld:%02ld:%02ld", s / 3600, s / 60 % 60, s % 60);
  return text;
}

void ShowProgress(double fraction, double elapsed, long rows, const std::vector<Reading>& latest) {
  constexpr int kWidth = 20;
  int filled = static_cast<int>(std::lround(std::min(1.0, fraction) * kWidth));
  std::string bar = "[" + std::string(filled, '#') + std::string(kWidth - filled, ' ') + "]";
  std::string line = "\r" + bar + " " + Elapsed(elapsed) + "  rows " + std::to_string(rows);
  for (const Reading& r : latest)
    line += "  " + r.output + " " + Fixed(r.volts, 3) + " V " + Fixed(r.amps, 3) + " A";
  std::fputs((line + "\x1b[K").c_str(), stderr);
  std::fflush(stderr);
}

int Log(const GlobalOptions& options, const LogRequest& request) {
  if (!request.count && !request.duration)
    throw UsageError("log: give --count N or --duration S");
  if (!(request.interval > 0)) throw UsageError("log: --interval must be more than 0");
  const std::int64_t ticks =
      request.count ? *request.count
                    : static_cast<std::int64_t>(std::ceil(*request.duration / request.interval - 1e-9));

  g_stopRequested = 0;
  InstallStopHandlers();
  CSession session = OpenSession(options, false);
  std::vector<std::string> outputs = session.Select(options.outputs);
  CCsvFile csv(request.csv);
  csv.Row("time,output,volts,amps");
  const bool progress = !options.quiet && isatty(STDERR_FILENO);

  CTickClock clock(request.interval);
  std::vector<double> latenessMs;
  std::vector<Reading> latest;
  long rows = 0, skipped = 0;
  for (std::int64_t tick = 0; tick < ticks; ++tick) {
    if (!clock.WaitFor(tick)) break;
    auto now = CTickClock::Clock::now();
    if (clock.Missed(tick, now)) {
      // The reading before took too long: this tick's slot is gone, say so and move on.
      for (const std::string& name : outputs) csv.Row(IsoTime(clock.WallTime(tick)) + "," + name + ",,");
      ++skipped;
      if (!options.quiet && !progress)
        std::fprintf(stderr, "veqdx: log: tick %lld skipped (the reading before ran late)\n",
                     static_cast<long long>(tick));
      continue;
    }
    latenessMs.push_back(std::chrono::duration<double, std::milli>(now - clock.Due(tick)).count());
    std::string time = IsoTime(std::chrono::system_clock::now());
    latest.clear();
    for (const std::string& name : outputs) {
      Reading r{name};
      session.Check(veqdx_Measure(session.vi(), name.c_str(), VEQDX_VAL_MEASURE_VOLTAGE, &r.volts));
      session.Check(veqdx_Measure(session.vi(), name.c_str(), VEQDX_VAL_MEASURE_CURRENT, &r.amps));
      latest.push_back(r);
    }
    for (const Reading& r : latest)
      csv.Row(time + "," + r.output + "," + Shortest(r.volts) + "," + Shortest(r.amps));
    rows += static_cast<long>(latest.size());
    if (progress)
      ShowProgress(static_cast<double>(tick + 1) / static_cast<double>(ticks),
                   std::chrono::duration<double>(CTickClock::Clock::now() - clock.Due(0)).count(),
                   rows, latest);
  }
  if (progress) std::fputc('\n', stderr);
  Jitter jitter = Summarize(latenessMs);
  if (!options.quiet)
    std::fprintf(stderr,
                 "veqdx: log: %zu readings, %ld skipped, %ld rows; start after the due time: "
                 "median %.3f ms, max %.3f ms (interval %.3f ms)\n",
                 latenessMs.size(), skipped, rows, jitter.medianMs, jitter.maxMs,
                 request.interval * 1000.0);
  return g_stopRequested ? kExitInterrupted : kExitOk;
}

}  // namespace

void AddLogCommand(CLI::App& app, Context& context) {
  auto request = std::make_shared<LogRequest>();
  CLI::App* log = app.add_subcommand(
      "log", "Measure each selected output at steady ticks and write CSV (time,output,volts,amps)");
  log->add_option("--interval", request->interval, "seconds between ticks (default 1)")
      ->check(CLI::PositiveNumber);
  CLI::Option* count =
      log->add_option("--count", request->count, "number of ticks")->check(CLI::PositiveNumber);
  log->add_option("--duration", request->duration, "seconds to run")
      ->check(CLI::PositiveNumber)
      ->excludes(count);
  log->add_option("--csv", request->csv, "CSV file to write (default: standard output)");
  log->footer(ExampleFooter("veqdx -r PSU1 log --interval 0.5 --duration 3600 --csv run.csv"));
  log->callback([&context, request] {
    context.run = [&context, request] { return Log(context.global, *request); };
  });
}

}  // namespace veqdx_cli
