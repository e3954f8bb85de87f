// Steady ticks for `log`: tick k is due at start + k * interval, whatever earlier readings
// cost, so a slow instrument never stretches the interval and ticks are never bunched.
#pragma once

#include <chrono>
#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

namespace veqdx_cli {

// Set by SIGINT/SIGTERM while a log runs; waits end early when it is set.
extern volatile std::sig_atomic_t g_stopRequested;
void InstallStopHandlers();

class CTickClock {
 public:
  using Clock = std::chrono::steady_clock;
  explicit CTickClock(double intervalSeconds);

  Clock::time_point Due(std::int64_t tick) const;
  // Sleeps until tick is due; false when a stop was requested first.
  bool WaitFor(std::int64_t tick) const;
  // A tick whose due time is more than half an interval gone is missed: reading it now would
  // bunch it with the next one.
  bool Missed(std::int64_t tick, Clock::time_point now) const;
  // Wall-clock time of a tick, for the CSV.
  std::chrono::system_clock::time_point WallTime(std::int64_t tick) const;

 private:
  Clock::duration interval_;
  Clock::time_point start_;
  std::chrono::system_clock::time_point wallStart_;
};

// "2024-05-01T12:00:00.123Z"
std::string IsoTime(std::chrono::system_clock::time_point when);

// Median and maximum of lateness samples in milliseconds (0 for none).
struct Jitter {
  double medianMs = 0, maxMs = 0;
};
Jitter Summarize(std::vector<double> latenessMs);

}  // namespace veqdx_cli
