// libFuzzer target: the resource string a caller hands to Initialize, parsed into the link it
// names. Error results are expected; any crash, hang, leak or sanitizer report is a finding.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "io/resource.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  veqdx::io::Resource resource;
  std::string error;
  if (veqdx::io::ParseResource(text, resource, error)) {
    resource.Interface();
    resource.ResourceClass();
    resource.ProtocolName();
  }
  return 0;
}
