// Cost of the formatted engine against the C runtime doing the same text work.
//
//   Write: ":VOLT %0.15lg" of a double into the session's write buffer, against a bare
//          snprintf of the same text (target: at most 2x).
//   Read:  "%lg" from a buffered "12.5\n" reply, against strtod of the same text
//          (target: at most 3x). The Scanf case includes the buffer's refill from an
//          in-memory transport and the end-of-read step.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/error_reporter.h"
#include "io/formatted_io.h"
#include "io/io_session.h"

namespace {

using namespace veqdx;
using namespace veqdx::io;

// A device that answers every read with the same reply and END, and swallows writes.
class ReplayTransport : public CTransportBase {
 public:
  explicit ReplayTransport(const char* reply)
      : CTransportBase(2000, false), reply_(reply), size_(std::strlen(reply)) {}
  IoResult Write(const char*, std::size_t size, bool, std::size_t& written) override {
    written = size;
    return IoResult::Ok();
  }
  IoResult Read(char* buffer, std::size_t max, std::size_t& got, ReadEnd& why) override {
    got = std::min(max, size_);
    std::memcpy(buffer, reply_, got);
    why = got == size_ ? ReadEnd::End : ReadEnd::Count;
    return IoResult::Ok();
  }
  InterfaceType Interface() const override { return InterfaceType::Tcpip; }
  std::string ResourceClass() const override { return "INSTR"; }

 private:
  const char* reply_;
  std::size_t size_;
};

struct Session {
  CVelmoraQdxErrorReporter reporter;
  CIoSession io{reporter};
  explicit Session(const char* reply) {
    if (Failed(io.OpenWithTransport("TCPIP0::bench::INSTR", std::make_unique<ReplayTransport>(reply)))) {
      std::abort();
    }
  }
};

void BM_Write_Snprintf(benchmark::State& state) {
  char buf[64];
  double v = 12.5;
  for (auto _ : state) {
    benchmark::DoNotOptimize(v);
    const int n = std::snprintf(buf, sizeof buf, ":VOLT %0.15lg", v);
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Write_Snprintf);

void BM_Write_PrintfNoFlush(benchmark::State& state) {
  Session s("");
  CInstrBuffer& buffer = *s.io.Buffer();
  double v = 12.5;
  for (auto _ : state) {
    benchmark::DoNotOptimize(v);
    if (Failed(s.io.Formatted().PrintfNoFlush(":VOLT %0.15lg", v))) state.SkipWithError("failed");
    buffer.DiscardWrite();
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_Write_PrintfNoFlush);

void BM_Write_Sprintf(benchmark::State& state) {
  Session s("");
  std::string out;
  double v = 12.5;
  for (auto _ : state) {
    benchmark::DoNotOptimize(v);
    if (Failed(s.io.Formatted().Sprintf(out, ":VOLT %0.15lg", v))) state.SkipWithError("failed");
    benchmark::DoNotOptimize(out.data());
  }
}
BENCHMARK(BM_Write_Sprintf);

void BM_Read_Strtod(benchmark::State& state) {
  const char* text = "12.5\n";
  for (auto _ : state) {
    benchmark::DoNotOptimize(text);
    double d = std::strtod(text, nullptr);
    benchmark::DoNotOptimize(d);
  }
}
BENCHMARK(BM_Read_Strtod);

void BM_Read_Scanf(benchmark::State& state) {
  Session s("12.5\n");
  double d = 0;
  for (auto _ : state) {
    if (Failed(s.io.Formatted().Scanf("%lg", &d))) state.SkipWithError("failed");
    benchmark::DoNotOptimize(d);
  }
}
BENCHMARK(BM_Read_Scanf);

void BM_Read_Sscanf(benchmark::State& state) {
  Session s("");
  double d = 0;
  const std::string_view reply = "12.5\n";
  for (auto _ : state) {
    benchmark::DoNotOptimize(reply.data());
    if (Failed(s.io.Formatted().Sscanf(reply, "%lg", &d))) state.SkipWithError("failed");
    benchmark::DoNotOptimize(d);
  }
}
BENCHMARK(BM_Read_Sscanf);

}  // namespace
