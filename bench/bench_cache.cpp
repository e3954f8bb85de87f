// The hot paths of the property accessors against a plain hash-map lookup, in one run:
//   BM_MapLookup      std::unordered_map<std::string, double>::find with a prepared key
//   BM_CachedGet      get_VoltageLevel answered from the attribute cache
//   BM_UnchangedPut   put_VoltageLevel with the value already cached (range check included)
// Each reports "allocs/op" (global operator new calls per iteration): the hot paths are meant
// to allocate nothing. Compare the accessor times with BM_MapLookup; the target is at most 5x.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/velmoraqdx.h"
#include "dcpwr/output.h"
#include "dcpwr/output_factory.h"

namespace {
std::atomic<long> g_allocations{0};
}  // namespace

// The replaced global allocation functions count calls and use malloc/free underneath, which
// GCC's new/delete pairing check cannot see through.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

void* operator new(std::size_t size) {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace {

using veqdx::CVelmoraQdx;
using veqdx::dcpwr::CVelmoraQdxOutput;

// A map shaped like an output's cache: a score of "Interface.Property" keys.
const std::vector<std::string>& PropertyKeys() {
  static const std::vector<std::string> keys = {
      "IVelmoraQdxOutput.VoltageLevel",
      "IVelmoraQdxOutput.CurrentLimit",
      "IVelmoraQdxOutput.TriggeredVoltageLevel",
      "IVelmoraQdxOutput.TriggeredCurrentLimit",
      "IVelmoraQdxOutput.OVPLimit",
      "IVelmoraQdxOutput.OCPLimit",
      "IVelmoraQdxOutput.UVL",
      "IVelmoraQdxOutput.Enabled",
      "IVelmoraQdxOutput.BleederEnabled",
      "IVelmoraQdxOutput.CurrentLimitBehavior",
      "IVelmoraQdxOutput.PONState",
      "IVelmoraQdxOutput.TriggerSource",
      "IVelmoraQdxOutput.ExternalMonitorRange",
      "IVelmoraQdxOutput.OperationPriority",
      "IVelmoraQdxOutput.ProtectionRecovery",
      "IVelmoraQdxOutputExternalControl.OutputControlEnabled",
      "IVelmoraQdxOutputExternalControl.OutputControlLogic",
      "IVelmoraQdxOutputExternalControl.AlanogControlRange",
      "IVelmoraQdxOutputExternalControl.CCControlEnabled",
      "IVelmoraQdxOutputExternalControl.CVControlEnabled"};
  return keys;
}

void ReportAllocations(benchmark::State& state, long before) {
  const long made = g_allocations.load(std::memory_order_relaxed) - before;
  state.counters["allocs/op"] =
      benchmark::Counter(static_cast<double>(made), benchmark::Counter::kAvgIterations);
}

void BM_MapLookup(benchmark::State& state) {
  std::unordered_map<std::string, double> map;
  double v = 1;
  for (const std::string& key : PropertyKeys()) map[key] = v++;
  const std::string key = "IVelmoraQdxOutput.VoltageLevel";
  const long before = g_allocations.load();
  for (auto _ : state) {
    auto it = map.find(key);
    benchmark::DoNotOptimize(it->second);
  }
  ReportAllocations(state, before);
}
BENCHMARK(BM_MapLookup);

// A simulated session whose output has every cached level written once.
struct SimulatedOutput {
  SimulatedOutput() {
    if (driver.Initialize("TCPIP::bench::INSTR", 0, 0, "Simulate=true") != veqdx::S_OK)
      std::abort();
    output = dynamic_cast<CVelmoraQdxOutput*>(driver.FindChild("Output0"));
    if (output == nullptr || output->put_VoltageLevel(12.5) != veqdx::S_OK) std::abort();
    // Fill the cache map as a session in use would.
    output->put_CurrentLimit(1);
    output->put_OVPLimit(20);
    output->put_OCPLimit(2);
    output->put_UVL(0.5);
    output->put_TriggeredVoltageLevel(3);
    output->put_TriggeredCurrentLimit(1);
  }
  CVelmoraQdx driver{veqdx::dcpwr::CreateOutput};
  CVelmoraQdxOutput* output = nullptr;
};

void BM_CachedGet(benchmark::State& state) {
  SimulatedOutput session;
  double v = 0;
  const long before = g_allocations.load();
  for (auto _ : state) {
    session.output->get_VoltageLevel(&v);
    benchmark::DoNotOptimize(v);
  }
  ReportAllocations(state, before);
}
BENCHMARK(BM_CachedGet);

void BM_UnchangedPut(benchmark::State& state) {
  SimulatedOutput session;
  const long before = g_allocations.load();
  for (auto _ : state) {
    benchmark::DoNotOptimize(session.output->put_VoltageLevel(12.5));
  }
  ReportAllocations(state, before);
}
BENCHMARK(BM_UnchangedPut);

}  // namespace
