#include "tick_clock.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>

#include <pthread.h>

namespace veqdx_cli {

volatile std::sig_atomic_t g_stopRequested = 0;

namespace {
void OnStop(int) { g_stopRequested = 1; }
}  // namespace

namespace {
void MaskStopSignals(int how) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  pthread_sigmask(how, &set, nullptr);
}
}  // namespace

void InstallStopHandlers() {
  // Blocked except while waiting for a tick: a signal in the middle of an instrument exchange
  // would otherwise break the driver's read, and the tick in progress is finished first.
  MaskStopSignals(SIG_BLOCK);
  struct sigaction action = {};
  action.sa_handler = OnStop;
  sigemptyset(&action.sa_mask);
  action.sa_flags = 0;  // no SA_RESTART: a sleeping wait must wake up
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

CTickClock::CTickClock(double intervalSeconds)
    : interval_(std::chrono::duration_cast<Clock::duration>(
          std::chrono::duration<double>(intervalSeconds))),
      start_(Clock::now()),
      wallStart_(std::chrono::system_clock::now()) {}

CTickClock::Clock::time_point CTickClock::Due(std::int64_t tick) const {
  return start_ + interval_ * tick;
}

bool CTickClock::WaitFor(std::int64_t tick) const {
  auto due = std::chrono::duration_cast<std::chrono::nanoseconds>(Due(tick).time_since_epoch());
  timespec until = {static_cast<time_t>(due.count() / 1000000000),
                    static_cast<long>(due.count() % 1000000000)};
  // steady_clock is CLOCK_MONOTONIC on Linux; an absolute wait does not drift.
  MaskStopSignals(SIG_UNBLOCK);  // a pending stop is delivered here
  int rc = 0;
  while (!g_stopRequested) {
    rc = clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
    if (rc != EINTR) break;
  }
  MaskStopSignals(SIG_BLOCK);
  return rc == 0 && !g_stopRequested;
}

bool CTickClock::Missed(std::int64_t tick, Clock::time_point now) const {
  return now - Due(tick) > interval_ / 2;
}

std::chrono::system_clock::time_point CTickClock::WallTime(std::int64_t tick) const {
  return wallStart_ +
         std::chrono::duration_cast<std::chrono::system_clock::duration>(interval_ * tick);
}

std::string IsoTime(std::chrono::system_clock::time_point when) {
  auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(when.time_since_epoch()).count();
  time_t seconds = static_cast<time_t>(ms / 1000);
  tm utc = {};
  gmtime_r(&seconds, &utc);
  char text[80];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900,
                utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                static_cast<int>(ms % 1000));
  return text;
}

Jitter Summarize(std::vector<double> latenessMs) {
  if (latenessMs.empty()) return {};
  std::sort(latenessMs.begin(), latenessMs.end());
  return {latenessMs[latenessMs.size() / 2], latenessMs.back()};
}

}  // namespace veqdx_cli
