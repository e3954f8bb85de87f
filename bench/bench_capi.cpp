// The C interface under speed and load, against qdx-sim on loopback:
//   BM_RawSocketMeasure      the baseline: a plain socket writes ":MEAS:VOLT?\n" and reads the
//                            reply line, nothing else
//   BM_DriverMeasure         veqdx_Measure through libveqdx.so, the same bytes on the wire
//   BM_MeasureOverhead       both in alternating blocks of one loop, so that they see the same
//                            machine state; reports the median per-call raw_us and driver_us
//                            and overhead_pct (the driver's share of its round trip, target at
//                            most 10 %); one_cpu:0 runs the emulator on its own processor like
//                            a real instrument, one_cpu:1 puts everything on one processor
//   BM_ThousandSessions      1000 simulated sessions open at once in one process; reports
//                            bytes_per_session (resident memory growth / 1000)
#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <pthread.h>
#include <sched.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "qdx_sim.h"
#include "veqdx.h"

namespace {

constexpr const char kMeasureQuery[] = ":MEAS:VOLT?\n";

// Where the emulator runs. The instrument is another machine, so by default, on a computer
// with two or more processors, the emulator's threads run on one and the clients on another:
// every round trip then has the same shape (a wake-up across processors) whichever client
// makes it. Left to the scheduler the two clients land on the emulator's processor or not by
// chance, and a same-processor hand-over is several times faster than a cross-processor one,
// so the comparison would measure placement. The shared placement puts everything on one
// processor: there the emulator's work is serial with the client's, the round trip is short
// and the driver's own work weighs most.
enum class Placement { Separate = 0, Shared = 1 };
constexpr int kClientCpu = 0;
constexpr int kEmulatorCpu = 1;

bool PinCurrentThread(int cpu) {
  if (::sysconf(_SC_NPROCESSORS_ONLN) < 2) return false;
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(cpu, &set);
  return ::pthread_setaffinity_np(::pthread_self(), sizeof set, &set) == 0;
}

// Emulated single-unit supplies, made on first use and kept for the whole program; their
// threads inherit the processor of the thread that starts them. The two clients of one
// comparison get one each: an emulator serving two busy connections at once answers both
// much more erratically than one. Leaves the calling thread on the client processor.
qdxsim::Emulator& SharedEmulator(int index, Placement placement = Placement::Separate) {
  static std::unique_ptr<qdxsim::Emulator> emulators[2][2];
  std::unique_ptr<qdxsim::Emulator>& e = emulators[static_cast<int>(placement)][index];
  if (!e) {
    PinCurrentThread(placement == Placement::Separate ? kEmulatorCpu : kClientCpu);
    qdxsim::Config config;
    config.port = 0;
    e = std::make_unique<qdxsim::Emulator>(config);
    std::string why;
    const bool started = e->Start(&why);
    PinCurrentThread(kClientCpu);
    if (!started) throw std::runtime_error("qdx-sim: " + why);
  }
  PinCurrentThread(kClientCpu);
  return *e;
}

std::string Resource(int index, Placement placement) {
  return "TCPIP::127.0.0.1::" + std::to_string(SharedEmulator(index, placement).Port()) +
         "::SOCKET";
}

// The baseline client: what any program needs at least to ask the same question.
class RawClient {
 public:
  explicit RawClient(int port) {
    fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int one = 1;
    ::setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    timeval timeout{5, 0};
    ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    if (::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
      throw std::runtime_error("raw client: cannot connect");
  }
  ~RawClient() { ::close(fd_); }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  // Writes the query, reads up to the line feed; the reply's length.
  std::size_t Query() {
    if (::send(fd_, kMeasureQuery, sizeof kMeasureQuery - 1, MSG_NOSIGNAL) !=
        static_cast<ssize_t>(sizeof kMeasureQuery - 1))
      throw std::runtime_error("raw client: send failed");
    std::size_t length = 0;
    for (;;) {
      const ssize_t n = ::recv(fd_, buffer_ + length, sizeof buffer_ - length, 0);
      if (n <= 0) throw std::runtime_error("raw client: no reply");
      length += static_cast<std::size_t>(n);
      if (buffer_[length - 1] == '\n' || length == sizeof buffer_) return length;
    }
  }

 private:
  int fd_ = -1;
  char buffer_[256];
};

// A driver session on the shared emulator; the first measurement has selected the channel,
// so every timed call sends exactly ":MEAS:VOLT?".
class DriverClient {
 public:
  DriverClient(int emulator, Placement placement) {
    if (veqdx_init(Resource(emulator, placement).c_str(), VI_TRUE, VI_FALSE, &vi_) != VI_SUCCESS)
      throw std::runtime_error("veqdx_init failed");
    Measure();
  }
  ~DriverClient() { veqdx_close(vi_); }
  DriverClient(const DriverClient&) = delete;
  DriverClient& operator=(const DriverClient&) = delete;

  double Measure() {
    ViReal64 volts = 0;
    if (veqdx_Measure(vi_, "", VEQDX_VAL_MEASURE_VOLTAGE, &volts) != VI_SUCCESS)
      throw std::runtime_error("veqdx_Measure failed");
    return volts;
  }

 private:
  ViSession vi_ = VI_NULL;
};

void BM_RawSocketMeasure(benchmark::State& state) {
  RawClient raw(SharedEmulator(0, Placement::Separate).Port());
  for (auto _ : state) benchmark::DoNotOptimize(raw.Query());
}
BENCHMARK(BM_RawSocketMeasure)->Unit(benchmark::kMicrosecond);

void BM_DriverMeasure(benchmark::State& state) {
  DriverClient driver(1, Placement::Separate);
  for (auto _ : state) benchmark::DoNotOptimize(driver.Measure());
}
BENCHMARK(BM_DriverMeasure)->Unit(benchmark::kMicrosecond);

// Median of per-block means: the machine may be busy with other work for a while, and a
// median keeps such stretches from deciding the comparison.
double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
  return values[values.size() / 2];
}

// Arg 0: emulator on its own processor; arg 1: everything on one processor.
void BM_MeasureOverhead(benchmark::State& state) {
  const auto placement = static_cast<Placement>(state.range(0));
  RawClient raw(SharedEmulator(0, placement).Port());
  DriverClient driver(1, placement);
  using Clock = std::chrono::steady_clock;
  using Micros = std::chrono::duration<double, std::micro>;
  // Blocks of calls, alternating between the two clients: each side runs warm within its
  // block, and neighbouring blocks share whatever else the machine does meanwhile.
  constexpr int kBlock = 16;
  std::vector<double> rawBlocks;
  std::vector<double> driverBlocks;
  for (auto _ : state) {
    const auto t0 = Clock::now();
    for (int i = 0; i < kBlock; ++i) benchmark::DoNotOptimize(raw.Query());
    const auto t1 = Clock::now();
    for (int i = 0; i < kBlock; ++i) benchmark::DoNotOptimize(driver.Measure());
    const auto t2 = Clock::now();
    rawBlocks.push_back(Micros(t1 - t0).count() / kBlock);
    driverBlocks.push_back(Micros(t2 - t1).count() / kBlock);
  }
  const double rawUs = Median(std::move(rawBlocks));
  const double driverUs = Median(std::move(driverBlocks));
  state.counters["raw_us"] = rawUs;
  state.counters["driver_us"] = driverUs;
  // The driver's own share of its round trip.
  state.counters["overhead_pct"] = driverUs > 0 ? 100.0 * (driverUs - rawUs) / driverUs : 0;
}
BENCHMARK(BM_MeasureOverhead)->ArgName("one_cpu")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

// Resident memory of this process in bytes.
long ResidentBytes() {
  long pages = 0;
  long resident = 0;
  if (std::FILE* f = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
    std::fclose(f);
  }
  return resident * ::sysconf(_SC_PAGESIZE);
}

void BM_ThousandSessions(benchmark::State& state) {
  constexpr int kSessions = 1000;
  double bytesPerSession = 0;
  for (auto _ : state) {
    std::vector<ViSession> sessions(kSessions, VI_NULL);
    const long before = ResidentBytes();
    for (ViSession& vi : sessions) {
      if (veqdx_InitWithOptions("TCPIP::localhost::INSTR", VI_FALSE, VI_FALSE, "Simulate=true",
                                &vi) != VI_SUCCESS)
        throw std::runtime_error("veqdx_InitWithOptions failed");
      // A session in use: one output level and one enable kept in its cache.
      veqdx_ConfigureVoltageLevel(vi, "", 5.0);
      veqdx_ConfigureOutputEnabled(vi, "", VI_TRUE);
    }
    const long after = ResidentBytes();
    bytesPerSession = static_cast<double>(after - before) / kSessions;
    state.PauseTiming();
    for (ViSession vi : sessions) veqdx_close(vi);
    state.ResumeTiming();
  }
  state.counters["sessions"] = kSessions;
  state.counters["bytes_per_session"] = bytesPerSession;
}
// One iteration: a second one would reuse the memory the first one freed and measure nothing.
BENCHMARK(BM_ThousandSessions)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
