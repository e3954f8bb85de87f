// The checks of values on their way to VISA and the conversions of attribute values. How VISA's
// interface types, classes and names become the driver's is checked through the fake library
// (visa_transport_test).
#include "io/visa_mapping.h"

#include <gtest/gtest.h>

#include <limits>

#include "io/visa_session_extras.h"

namespace veqdx::io {
namespace {

TEST(VisaMapping, ChecksKnowVisaValuesAndNameTheKindOfValue) {
  using Check = std::string (*)(std::uint32_t);
  const struct {
    Check check;
    std::vector<std::uint32_t> good;
    std::vector<std::uint32_t> bad;
    const char* text;
  } table[] = {
      {CheckAccessMode, {0, 1, 2, 4, 5, 6}, {3, 7, 8, 0xFFFF}, "Unsupported VISA session access mode."},
      {CheckIoProtocol, {1, 2, 3, 4, 5}, {0, 6, 100}, "Unsupported VISA I/O protocol."},
      {CheckTriggerProtocol, {0, 1, 2, 5, 6, 7}, {3, 4, 8}, "Unsupported VISA trigger protocol."},
      {CheckAddressSpace, {0, 1, 2, 3, 4, 9, 16, 0xFFFF}, {5, 8, 17, 0xFFFE}, "Unsupported VISA address space."},
      {CheckDataWidth, {1, 2, 4, 8}, {0, 3, 16}, "Unsupported VISA data width."},
      {CheckEventType, {0x3FFF200Bu, 0x3FFF2009u, 0xBFFF200Au, 0x3FFF7FFFu}, {0, 0x3FFF200Cu}, "Unsupported VISA event type."},
      {CheckEventMechanism, {1, 2, 4, 3, 5, 0xFFFF}, {0, 6, 7, 8}, "Unsupported VISA event mechanism."},
  };
  for (const auto& row : table) {
    for (std::uint32_t v : row.good) EXPECT_EQ(row.check(v), "") << row.text << " " << v;
    for (std::uint32_t v : row.bad) EXPECT_EQ(row.check(v), row.text) << v;
  }
}

// Width overflows of numbers are checked through the fake library (visa_transport_test);
// here the conversions between strings and numbers that a library rarely produces.
TEST(VisaMapping, ConversionsBetweenStringsAndNumbers) {
  const std::uint32_t attr = 0x3FFF0171u;
  auto text = [](const char* s) { return VisaAttributeValue{true, 0, s, false}; };
  std::string error;

  std::uint16_t u16 = 7;
  EXPECT_TRUE(ConvertAttribute(attr, text("5025"), u16, error));
  EXPECT_EQ(u16, 5025);
  std::uint32_t u32 = 7;
  EXPECT_FALSE(ConvertAttribute(attr, text("SOCKET"), u32, error));
  EXPECT_EQ(u32, 7u);
  EXPECT_EQ(error, "GetAttribute could not convert attribute with ID 1073676657 to a UINT32 value.");
  std::uint64_t u64 = 7;
  EXPECT_FALSE(ConvertAttribute(attr, text("18446744073709551616"), u64, error));  // 2^64
  EXPECT_EQ(u64, 7u);
  EXPECT_EQ(error, "GetAttribute could not convert attribute with ID 1073676657 to a UINT64 value.");
  bool flag = false;
  EXPECT_TRUE(ConvertAttribute(attr, text("TRUE"), flag, error));
  EXPECT_TRUE(flag);
  EXPECT_FALSE(ConvertAttribute(attr, text("yes"), flag, error));
  EXPECT_EQ(error, "GetAttribute could not convert attribute with ID 1073676657 to a boolean value.");

  std::string s = "kept";
  EXPECT_TRUE(ConvertAttribute(0xBFFF0001u, VisaAttributeValue{false, 42, {}, false}, s, error));
  EXPECT_EQ(s, "42");
}

TEST(VisaSessionExtras, EveryOperationIsRefusedWithItsText) {
  CVisaSessionExtras extras;
  std::uint8_t u8 = 1;
  std::uint16_t u16 = 2;
  std::uint32_t u32 = 3, job = 4;
  std::uint64_t u64 = 5;
  std::int32_t i32 = 6;
  bool b = true;
  char buffer[4] = {'x', 'x', 'x', 'x'};
  const struct {
    IoResult result;
    std::string_view text;
  } table[] = {
      {extras.In8(1, 0, u8), kRefuseRegister},
      {extras.In16(1, 0, u16), kRefuseRegister},
      {extras.In32(1, 0, u32), kRefuseRegister},
      {extras.Out8(1, 0, 1), kRefuseRegister},
      {extras.Out16(1, 0, 1), kRefuseRegister},
      {extras.Out32(1, 0, 1), kRefuseRegister},
      {extras.MoveIn8(1, 0, 4, reinterpret_cast<std::uint8_t*>(buffer)), kRefuseRegister},
      {extras.MoveIn16(1, 0, 1, &u16), kRefuseRegister},
      {extras.MoveIn32(1, 0, 1, &u32), kRefuseRegister},
      {extras.MoveOut8(1, 0, 1, &u8), kRefuseRegister},
      {extras.MoveOut16(1, 0, 1, &u16), kRefuseRegister},
      {extras.MoveOut32(1, 0, 1, &u32), kRefuseRegister},
      {extras.Move(1, 0, 1, 2, 0, 1, 4), kRefuseRegister},
      {extras.MapAddress(3, 0x1000, 16), kRefuseRegister},
      {extras.UnmapAddress(), kRefuseRegister},
      {extras.GetSourceIncrement(i32), kRefuseRegister},
      {extras.SetSourceIncrement(1), kRefuseRegister},
      {extras.GetDestinationIncrement(i32), kRefuseRegister},
      {extras.SetDestinationIncrement(1), kRefuseRegister},
      {extras.GetSourceBigEndian(b), kRefuseRegister},
      {extras.SetSourceBigEndian(true), kRefuseRegister},
      {extras.GetDestinationBigEndian(b), kRefuseRegister},
      {extras.SetDestinationBigEndian(true), kRefuseRegister},
      {extras.In64(4, 1ull << 40, u64), kRefuseRegister64},
      {extras.Out64(4, 0, 1), kRefuseRegister64},
      {extras.MoveIn64(4, 0, 1, &u64), kRefuseRegister64},
      {extras.MoveOut64(4, 0, 1, &u64), kRefuseRegister64},
      {extras.MoveAsync(1, 0, 1, 2, 0, 1, 4, job), kRefuseMoveAsync},
      {extras.ReadAsync(buffer, sizeof buffer, job), kRefuseAsync},
      {extras.WriteAsync("*IDN?", 5, job), kRefuseAsync},
      {extras.Terminate(job), kRefuseAsync},
      {extras.AllocateMemory(64, u64), kRefuseSharedMemory},
      {extras.FreeMemory(0), kRefuseSharedMemory},
      // The arguments are checked on their way to VISA, before the refusal.
      {extras.In8(1, 0x100000000ull, u8), kRefuseOffset},
      {extras.MoveOut32(2, 0xFFFFFFFFull + 1, 1, &u32), kRefuseOffset},
      {extras.MoveAsync(1, 0, 1, 2, 1ull << 33, 1, 4, job), kRefuseOffset},
      {extras.In16(7, 0, u16), "Unsupported VISA address space."},
      {extras.Move(1, 0, 3, 2, 0, 1, 4), "Unsupported VISA data width."},
  };
  for (const auto& row : table) {
    EXPECT_EQ(row.result.code, IoCode::NotSupported) << row.text;
    EXPECT_EQ(row.result.message, row.text);
  }
  // Outputs untouched.
  EXPECT_EQ(u8, 1);
  EXPECT_EQ(u16, 2);
  EXPECT_EQ(u32, 3);
  EXPECT_EQ(u64, 5);
  EXPECT_EQ(i32, 6);
  EXPECT_EQ(job, 4u);
  EXPECT_EQ(std::string(buffer, 4), "xxxx");
  EXPECT_EQ(extras.In32(1, 0xFFFFFFFFull, u32).message, kRefuseRegister);  // the largest offset
}

TEST(VisaSessionExtras, RefusalIsReportedAsNotImplementedWithTheText) {
  CVelmoraQdxErrorReporter reporter;
  CVisaSessionExtras extras;
  std::uint32_t job = 0;
  HRESULT hr = ReportVisaExtrasResult(reporter, extras.ReadAsync(nullptr, 0, job));
  EXPECT_EQ(hr, E_NOTIMPL);
  EXPECT_EQ(ThreadErrorRecord().hr, E_NOTIMPL);
  EXPECT_EQ(ThreadErrorRecord().description, kRefuseAsync);
  EXPECT_EQ(ReportVisaExtrasResult(reporter, IoResult::Timeout("no reply")),
            E_VELMORAQDX_IO_TIMEOUT);
  EXPECT_EQ(ReportVisaExtrasResult(reporter, IoResult::Ok()), S_OK);
}

}  // namespace
}  // namespace veqdx::io
