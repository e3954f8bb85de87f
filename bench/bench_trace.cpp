// What the method trace costs on the flat call path: veqdx_Measure on a simulated session
// (no I/O, so the driver's own work is all there is), with the trace off and on.
//   BM_SimulatedMeasure/0   DriverSetup Trace=false: one branch per operation and parameter
//   BM_SimulatedMeasure/1   Trace=true: a record appended to memory per call, the file
//                           written every 5 s (the default save interval) into a temporary
//                           folder
// Compare with the same program run against a library without the trace
// (LD_LIBRARY_PATH=<old build>): the /0 case must not move.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "veqdx.h"

namespace {

void BM_SimulatedMeasure(benchmark::State& state) {
  const std::string dir = std::filesystem::temp_directory_path().string() + "/veqdx_bench_trace_" +
                          std::to_string(getpid());
  std::filesystem::create_directories(dir);
  setenv("VEQDX_TRACE_DIR", dir.c_str(), 1);
  const std::string options = std::string("Simulate=true, DriverSetup=Trace=") +
                              (state.range(0) != 0 ? "true" : "false");
  ViSession vi = VI_NULL;
  if (veqdx_InitWithOptions("TCPIP::localhost::INSTR", VI_FALSE, VI_FALSE, options.c_str(), &vi) !=
      VI_SUCCESS) {
    state.SkipWithError("cannot open a simulated session");
    return;
  }
  veqdx_ConfigureOutputEnabled(vi, "Output0", VI_TRUE);
  veqdx_ConfigureVoltageLevel(vi, "Output0", 12.5);
  ViReal64 volts = 0;
  for (auto _ : state) {
    veqdx_Measure(vi, "Output0", VEQDX_VAL_MEASURE_VOLTAGE, &volts);
    benchmark::DoNotOptimize(volts);
  }
  veqdx_close(vi);
  std::filesystem::remove_all(dir);
}
BENCHMARK(BM_SimulatedMeasure)->Arg(0)->Arg(1)->Repetitions(5)->ReportAggregatesOnly(true);

}  // namespace
