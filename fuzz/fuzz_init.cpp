// libFuzzer target: a hostile instrument during Initialize. Every query the driver writes
// ("*IDN?", "*OPT?", ":INST:CAT?", ":INST:NSEL n;INFO?", ...) is answered with the next piece
// of the input, the pieces being separated by 0x01 bytes; a piece gets a line feed unless it
// is empty (an empty reply that ends at once). Once the pieces run out the instrument stays
// silent, and the scripted device times out such a read at once, so no input waits for a
// clock. Initialize runs with the identity query on and without reset, then the session is
// closed. Failed results are expected; any crash, hang, leak or sanitizer report is a finding.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/error_reporter.h"
#include "core/velmoraqdx.h"
#include "support/scripted_transport.h"
#include "dcpwr/output_factory.h"

using namespace veqdx;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> replies;
  for (std::size_t start = 0;;) {
    const std::size_t cut = input.find('\x01', start);
    std::string reply(input.substr(start, cut - start));
    if (!reply.empty()) reply += '\n';
    replies.push_back(std::move(reply));
    if (cut == std::string_view::npos) break;
    start = cut + 1;
  }

  std::size_t next = 0;
  auto device = std::make_shared<io::ScriptedDevice>();
  device->OnMessage([&](const std::string& message) -> std::optional<std::string> {
    std::string_view text = message;
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.remove_suffix(1);
    if (text.empty() || text.back() != '?' || next >= replies.size()) return std::nullopt;
    return replies[next++];
  });

  CVelmoraQdx driver{dcpwr::CreateOutput};
  driver.SetTransportFactory(
      [device](std::string_view, const io::TransportOptions&, io::IoResult&) {
        return device->Connect();
      });
  if (Succeeded(driver.Initialize("TCPIP::192.0.2.1::INSTR", VARIANT_TRUE, VARIANT_FALSE, "")))
    driver.Close();
  ClearThreadErrorRecord();
  return 0;
}
