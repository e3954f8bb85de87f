// Eight threads on two sessions through the C interface: no race, no deadlock, no split.
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <set>
#include <string>
#include <vector>

#include "capi_fixture.h"

namespace capi_test {
namespace {

using namespace std::chrono_literals;

constexpr int kThreads = 8;
constexpr int kIterations = 60;

// Thread t drives session t % 2 and output 1 + (t / 2) % 2; its levels are t + 1 + i / 1000,
// so a level on the wire tells which thread sent it.
int SessionOf(int t) { return t % 2; }
int ChannelOf(int t) { return 1 + (t / 2) % 2; }
double LevelOf(int t, int i) { return t + 1 + i / 1000.0; }

// A deadlock cannot be recovered from inside the process: report it and end the run.
void ExpectAllSucceedInTime(std::vector<std::future<ViStatus>>& results, const char* what) {
  const auto deadline = std::chrono::steady_clock::now() + 240s;
  for (std::size_t t = 0; t < results.size(); ++t) {
    if (results[t].wait_until(deadline) != std::future_status::ready) {
      std::fprintf(stderr, "Threads: %s, thread %zu did not finish in time (deadlock?)\n", what, t);
      std::fflush(stderr);
      std::_Exit(3);
    }
    EXPECT_EQ(results[t].get(), VI_SUCCESS) << what << ", thread " << t;
  }
}

// Counts that only the session lock protects (plain on purpose, for the race detector).
struct Exclusive {
  std::atomic<int> inside{0};
  long count = 0;
  std::atomic<int> overlaps{0};
};

ViStatus Drive(ViSession vi, int t, Exclusive& exclusive) {
  const std::string output = "Output" + std::to_string(ChannelOf(t));
  for (int i = 0; i < kIterations; ++i) {
    ViStatus s = veqdx_ConfigureVoltageLevel(vi, output.c_str(), LevelOf(t, i));
    ViReal64 value = 0;
    if (s == VI_SUCCESS) s = veqdx_Measure(vi, output.c_str(), VEQDX_VAL_MEASURE_VOLTAGE, &value);
    if (s == VI_SUCCESS)
      s = veqdx_GetAttributeViReal64(vi, output.c_str(), VEQDX_ATTR_CURRENT_LIMIT, &value);
    if (s != VI_SUCCESS) return s;
    // An explicit lock around two calls, nested once.
    ViBoolean has = VI_FALSE;
    if ((s = veqdx_LockSession(vi, &has)) != VI_SUCCESS) return s;
    veqdx_LockSession(vi, nullptr);
    if (exclusive.inside.fetch_add(1) != 0) ++exclusive.overlaps;
    const long before = exclusive.count;
    if (i % 10 == 0) {
      ViBoolean state = VI_FALSE;
      s = veqdx_QueryOutputState(vi, output.c_str(), VEQDX_VAL_OUTPUT_CONSTANT_VOLTAGE, &state);
      ViInt32 reg = 0;
      if (s == VI_SUCCESS) s = veqdx_StatusGetRegister(vi, "", 0, 1, &reg);
    }
    std::this_thread::yield();  // widen the window another thread would have to break in
    exclusive.count = before + 1;
    exclusive.inside.fetch_sub(1);
    veqdx_UnlockSession(vi, nullptr);
    veqdx_UnlockSession(vi, &has);
    if (s != VI_SUCCESS) return s;
  }
  return VI_SUCCESS;
}

TEST(Threads, EightThreadsOnTwoSessionsAndTwoOutputs) {
  Sim sims[2] = {Sim({"QDX750ML", "QDX750ML"}), Sim({"QDX750ML", "QDX750ML"})};
  ViSession sessions[2] = {VI_NULL, VI_NULL};
  Exclusive exclusive[2];
  for (int s = 0; s < 2; ++s) {
    ASSERT_TRUE(sims[s].started) << sims[s].error;
    ASSERT_EQ(veqdx_init(sims[s].Resource().c_str(), VI_TRUE, VI_FALSE, &sessions[s]), VI_SUCCESS)
        << LastError(VI_NULL).text;
    sims[s].Transcript();
  }
  std::vector<std::future<ViStatus>> results;
  for (int t = 0; t < kThreads; ++t) {
    results.push_back(std::async(std::launch::async, [&, t] {
      return Drive(sessions[SessionOf(t)], t, exclusive[SessionOf(t)]);
    }));
  }
  ExpectAllSucceedInTime(results, "two sessions");

  for (int s = 0; s < 2; ++s) {
    EXPECT_EQ(exclusive[s].overlaps.load(), 0);
    EXPECT_EQ(exclusive[s].count, kIterations * kThreads / 2);
    int selected = -1;
    int levels = 0;
    for (const std::string& line : sims[s].Transcript()) {
      if (line.rfind(":INST:NSEL ", 0) == 0) {
        selected = std::stoi(line.substr(11));
      } else if (line.rfind(":VOLT ", 0) == 0) {
        const int t = static_cast<int>(std::floor(std::stod(line.substr(6)))) - 1;
        ASSERT_TRUE(t >= 0 && t < kThreads) << line;
        EXPECT_EQ(SessionOf(t), s) << line;
        EXPECT_EQ(selected, ChannelOf(t)) << line << " sent while " << selected << " was selected";
        ++levels;
      }
    }
    EXPECT_EQ(levels, kIterations * kThreads / 2);
    EXPECT_EQ(veqdx_close(sessions[s]), VI_SUCCESS);
  }
}

// Sessions opened, used and closed from many threads at once: every handle is new (none is
// reused), and a closed one stays refused.
TEST(Threads, OpenAndCloseFromManyThreads) {
  std::vector<std::future<ViStatus>> results;
  std::vector<ViSession> handles[kThreads];
  for (int t = 0; t < kThreads; ++t) {
    results.push_back(std::async(std::launch::async, [&issued = handles[t]] {
      for (int i = 0; i < 20; ++i) {
        ViSession vi = VI_NULL;
        ViStatus s = veqdx_InitWithOptions(kSimResource, VI_FALSE, VI_FALSE, "Simulate=true", &vi);
        if (s == VI_SUCCESS) s = veqdx_ConfigureVoltageLevel(vi, "", 1.0 + i);
        if (s == VI_SUCCESS) s = veqdx_close(vi);
        if (s != VI_SUCCESS) return s;
        if (veqdx_reset(vi) != VEQDX_ERROR_INVALID_SESSION_HANDLE)
          return VEQDX_ERROR_CANNOT_RECOVER;
        issued.push_back(vi);
      }
      return VI_SUCCESS;
    }));
  }
  ExpectAllSucceedInTime(results, "open and close");
  std::set<ViSession> unique;
  for (const auto& issued : handles) unique.insert(issued.begin(), issued.end());
  EXPECT_EQ(unique.size(), kThreads * 20u);
  EXPECT_EQ(unique.count(VI_NULL), 0u);
}

}  // namespace
}  // namespace capi_test
