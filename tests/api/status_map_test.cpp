// Conversion of object-layer HRESULTs to ViStatus codes, and which statuses have a text.
#include <gtest/gtest.h>

#include <cstdint>

#include "api/status_map.h"
#include "veqdx.h"
#include "veqdx/status.h"

namespace veqdx::api {
namespace {

struct ConversionRow {
  std::uint32_t hr;
  std::uint32_t status;
};

// Written out by hand (not computed) so that a wrong offset in the map shows up.
constexpr ConversionRow kConversions[] = {
    {0x80047000, 0xBFFA0000}, {0x80047001, 0xBFFA0001}, {0x80047002, 0xBFFA0002},
    {0x80047003, 0xBFFA0003}, {0x80047004, 0xBFFA0004}, {0x8004700B, 0xBFFA000B},
    {0x80047010, 0xBFFA0010}, {0x80047011, 0xBFFA0011}, {0x80047012, 0xBFFA0012},
    {0x80047013, 0xBFFA0013}, {0x8004701D, 0xBFFA001D}, {0x80047020, 0xBFFA0020},
    {0x80047023, 0xBFFA0023}, {0x80047044, 0xBFFA0044}, {0x80047049, 0xBFFA0049},
    {0x8004704A, 0xBFFA004A}, {0x8004704B, 0xBFFA004B}, {0x8004704C, 0xBFFA004C},
    {0x80047056, 0xBFFA0056}, {0x80047057, 0xBFFA0057}, {0x80047058, 0xBFFA0058},
    {0x80047059, 0xBFFA0059}, {0x8004705B, 0xBFFA005B}, {0x8004705C, 0xBFFA005C},
    {0x8004705D, 0xBFFA005D}, {0x8004705E, 0xBFFA005E}, {0x8004705F, 0xBFFA005F},
    {0x80047060, 0xBFFA0060}, {0x80047061, 0xBFFA0061}, {0x80047062, 0xBFFA0062},
    {0x80047063, 0xBFFA0063}, {0x80047064, 0xBFFA0064}, {0x80047065, 0xBFFA0065},
    {0x80047066, 0xBFFA0066}, {0x80047067, 0xBFFA0067}, {0x80044211, 0xBFFA4211},
    {0x80044212, 0xBFFA4212}, {0x80044213, 0xBFFA4213}, {0x80044214, 0xBFFA4214},
    {0x80044215, 0xBFFA4215}, {0x80044216, 0xBFFA4216}, {0x80041001, 0xBFFA1001},
    {0x00000000, 0x00000000}, {0x00047065, 0x3FFA0065}, {0x00047066, 0x3FFA0066},
    {0x00047067, 0x3FFA0067}, {0x00047068, 0x3FFA0068}, {0x00047069, 0x3FFA0069},
};

TEST(StatusConversion, EveryRowOfTheMap) {
  for (const auto& row : kConversions) {
    SCOPED_TRACE(testing::Message() << std::hex << "hr 0x" << row.hr);
    auto found = FindConversion(static_cast<HRESULT>(row.hr));
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(static_cast<std::uint32_t>(*found), row.status);
    EXPECT_EQ(static_cast<std::uint32_t>(ToViStatus(static_cast<HRESULT>(row.hr))), row.status);
  }
  EXPECT_EQ(ConversionCount(), std::size(kConversions));
}

TEST(StatusConversion, CodesWithoutAnEntry) {
  struct Row {
    std::uint32_t hr;
    std::uint32_t status;
  };
  const Row rows[] = {
      {0x80070057, 0xBFFA0000},  // E_INVALIDARG: cannot recover
      {0x8007000E, 0xBFFA0000},  // E_OUTOFMEMORY
      {0x8000FFFF, 0xBFFA0000},  // E_UNEXPECTED
      {0x80047005, 0xBFFA0000},  // an IVI offset that is not in the map
      {0x80047014, 0xBFFA0000},
      {0x80047068, 0xBFFA0000},  // just past the last IVI row
      {0x80044210, 0xBFFA0000},  // just below the driver's own codes
      {0x80044217, 0xBFFA0000},  // just above them
      {0x00000001, 0x00000000},  // S_FALSE is success
      {0x00047064, 0x00000000},  // a warning without an entry stays success
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << std::hex << "hr 0x" << row.hr);
    EXPECT_FALSE(FindConversion(static_cast<HRESULT>(row.hr)).has_value());
    EXPECT_EQ(static_cast<std::uint32_t>(ToViStatus(static_cast<HRESULT>(row.hr))), row.status);
  }
}

TEST(StatusConversion, PublicHresultsAllConvert) {
  const HRESULT published[] = {
      E_IVI_CANNOT_RECOVER, E_IVI_INSTRUMENT_STATUS, E_IVI_INVALID_PATHNAME,
      E_IVI_INVALID_VALUE, E_IVI_METHOD_NOT_SUPPORTED, E_IVI_PROPERTY_NOT_SUPPORTED,
      E_IVI_VALUE_NOT_SUPPORTED, E_IVI_NOT_INITIALIZED, E_IVI_UNKNOWN_CHANNEL_NAME,
      E_IVI_CHANNEL_NAME_REQUIRED, E_IVI_NULL_POINTER, E_IVI_UNEXPECTED_RESPONSE,
      E_IVI_UNKNOWN_PHYSICAL_IDENTIFIER, S_IVI_NSUP_ID_QUERY, S_IVI_NSUP_REV_QUERY,
      E_IVIDCPWR_TRIGGER_NOT_SOFTWARE,
      static_cast<HRESULT>(VelmoraQdxErrorCodesEnum::E_VELMORAQDX_IO_TIMEOUT),
      static_cast<HRESULT>(VelmoraQdxErrorCodesEnum::E_VELMORAQDX_PERSONALITY_NOT_LICENSED),
  };
  for (HRESULT hr : published) {
    EXPECT_TRUE(FindConversion(hr).has_value()) << std::hex << hr;
  }
  // Same code part, opposite severity: two different statuses.
  EXPECT_EQ(ToViStatus(S_IVI_NSUP_ID_QUERY), VEQDX_WARN_NSUP_ID_QUERY);
  EXPECT_EQ(ToViStatus(E_IVI_UNKNOWN_NAME_IN_SELECTOR), VEQDX_ERROR_UNKNOWN_NAME_IN_SELECTOR);
}

// Every text of the message map, and the text of a code without one, is checked through
// veqdx_error_message in tests/capi. Here: every converted status has a text, and the map holds
// no more than the 51 texts listed there.
TEST(StatusMessages, EveryConvertedStatusHasAText) {
  for (const auto& row : kConversions) {
    EXPECT_NE(FindStatusMessage(static_cast<ViStatus>(row.status)), nullptr)
        << std::hex << row.status;
  }
  EXPECT_EQ(StatusMessageCount(), 51u);
}

}  // namespace
}  // namespace veqdx::api
