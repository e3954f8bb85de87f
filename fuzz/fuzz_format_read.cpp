// libFuzzer target: every read format the driver uses, and a few more, over arbitrary
// replies delivered in arbitrary pieces. Input: byte 0 picks the format, byte 1 the transfer
// size, the rest is the reply. Any crash, hang, leak or sanitizer report is a finding.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/error_reporter.h"
#include "fuzz_support.h"
#include "io/formatted_io.h"
#include "io/io_session.h"

using namespace veqdx;
using namespace veqdx::io;

namespace {

HRESULT ReadWith(CFormattedIo& io, unsigned which, std::string_view text, bool fromText) {
  auto scan = [&](const char* format, const auto&... dest) {
    return fromText ? io.Sscanf(text, format, dest...) : io.Scanf(format, dest...);
  };
  double d[3] = {};
  float fl = 0;
  std::int32_t i = 0;
  std::int16_t s = 0;
  std::uint8_t b = 0;
  std::int64_t l = 0;
  CountedString cs;
  std::string str;
  std::int32_t count = 32;
  std::vector<std::int32_t> channels(32);
  std::vector<std::int16_t> shorts(16);
  std::vector<char> bytes(64);
  std::vector<double> reals(8);
  std::vector<std::string> words(4);
  char buf[8];
  switch (which % 20) {
    case 0: return scan("%lg", &d[0]);
    case 1: return scan("%@3lg", &d[0]);
    case 2: return scan("%hd", &s);
    case 3: return scan("%d", &i);
    case 4: return scan("%bd", &b);
    case 5: return scan("%d,%$Ct", &i, &cs);
    case 6: return scan("%lf,%lf,%lf,%$C[^\n]", &d[0], &d[1], &d[2], &cs);
    case 7: return scan("%$C[^\n]", &cs);
    case 8: return scan("%(;,)#d", &count, std::span<std::int32_t>(channels));
    case 9: return scan("%{VARIANT_BOOL}s", &s);
    case 10: return scan("%{Source}s", &i);
    case 11: return scan("%hb", std::span<std::int16_t>(shorts));
    case 12: return scan("%#b", &count, std::span<char>(bytes));
    case 13: return scan("%,#Zb", &count, std::span<double>(reals));
    case 14: return scan("%f%Id%x", &fl, &l, &i);
    case 15: return scan("%,#qs", &count, std::span<std::string>(words));
    case 16: return scan("%#$BT%7s", &count, &str, std::span<char>(buf));
    case 17: return scan("%(;)#lf", &count, std::span<double>(reals));
    case 18: return scan("%*d%3c%*[^,],%#!obhy", std::span<char>(buf), &count,
                         std::span<std::int16_t>(shorts));
    default: return scan("%{Source},#s", &count, std::span<std::int32_t>(channels));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static CVelmoraQdxErrorReporter reporter;
  static fuzz::FuzzEnums enums;
  if (size < 2) return 0;
  const unsigned which = data[0];
  const std::size_t chunk = data[1];
  const std::string reply(reinterpret_cast<const char*>(data) + 2, size - 2);

  CIoSession session(reporter);
  session.OpenWithTransport("TCPIP0::fuzz::INSTR",
                            std::make_unique<fuzz::MemoryTransport>(reply, chunk));
  CFormattedIo& io = session.Formatted();
  io.SetEnumFormatter(&enums);
  ReadWith(io, which, reply, false);
  ReadWith(io, which, reply, true);
  return 0;
}
