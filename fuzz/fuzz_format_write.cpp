// libFuzzer target: arbitrary write formats with fixed sets of arguments, through Sprintf
// and through a session's write buffer. Any crash, leak or sanitizer report is a finding;
// error results are expected.
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

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static CVelmoraQdxErrorReporter reporter;
  static fuzz::FuzzEnums enums;
  static const std::vector<std::int32_t> ints{1, -2, 3, 0x7FFFFFFF};
  static const std::vector<std::int16_t> shorts{1, -1, 0x0102};
  static const std::vector<std::uint8_t> bytes{'a', 0, 0xFF};
  static const std::vector<double> reals{0.5, -1e300, 1e-320};
  static const std::vector<float> floats{1.5f};
  static const std::vector<std::int64_t> longs{-1, INT64_MAX};
  static const std::vector<std::string> words{"a", "", "b c"};

  const std::string format(reinterpret_cast<const char*>(data), size);
  const char* f = format.c_str();

  CIoSession session(reporter);
  session.OpenWithTransport("TCPIP0::fuzz::INSTR", std::make_unique<fuzz::MemoryTransport>("", 0));
  CFormattedIo& io = session.Formatted();
  io.SetEnumFormatter(&enums);
  io.SetByteSwap(size % 2 == 0);

  std::string out;
  io.Sprintf(out, f);
  io.Sprintf(out, f, 42);
  io.Sprintf(out, f, -7, 3);
  io.Sprintf(out, f, 5, -3, 9);
  io.Sprintf(out, f, 12.5);
  io.Sprintf(out, f, 1e308, 2.5L);
  io.Sprintf(out, f, std::int16_t{-1});
  io.Sprintf(out, f, std::uint8_t{200});
  io.Sprintf(out, f, std::int64_t{INT64_MIN});
  io.Sprintf(out, f, "text");
  io.Sprintf(out, f, std::string("str"), CountedString("cs"));
  io.Sprintf(out, f, 'c');
  io.Sprintf(out, f, std::span<const std::int32_t>(ints));
  io.Sprintf(out, f, 2, std::span<const std::int32_t>(ints));
  io.Sprintf(out, f, 3, 1, std::span<const double>(reals));
  io.Sprintf(out, f, std::span<const std::int16_t>(shorts));
  io.Sprintf(out, f, std::span<const std::uint8_t>(bytes));
  io.Sprintf(out, f, std::span<const float>(floats));
  io.Sprintf(out, f, std::span<const std::int64_t>(longs));
  io.Sprintf(out, f, std::span<const std::string>(words));
  io.Sprintf(out, f, 8, 4, 2, 1.0);
  io.PrintfNoFlush(f, 42);
  io.PrintfNoFlush(f, 0.1);
  io.Printf(f, std::span<const std::int16_t>(shorts));
  return 0;
}
