// libFuzzer target: the option string of Initialize (with its DriverSetup part), straight from
// the caller, and the resource name it is looked up with. Input: the option string, a NUL
// byte, the resource name; without a NUL the whole input is used as both. Error results are
// expected; any crash, hang, leak or sanitizer report is a finding.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/error_reporter.h"
#include "core/options.h"

using namespace veqdx;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static CVelmoraQdxErrorReporter reporter;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t nul = input.find('\0');
  const std::string_view optionString = input.substr(0, nul);
  const std::string_view resourceName =
      nul == std::string_view::npos ? input : input.substr(nul + 1);

  // The same path as Initialize: store lookup, then the option string over the defaults.
  CNoConfigStore store;
  InitConfiguration config;
  CTraceState trace;
  LoadConfiguration(resourceName, optionString, store, config, trace, reporter);
  // Applying the same text again exercises the trace's restart rules.
  COptionProcessor(config, trace, reporter).ApplyOptionString(optionString);
  ClearThreadErrorRecord();
  return 0;
}
