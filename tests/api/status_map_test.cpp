// Conversion of object-layer HRESULTs to ViStatus codes, and the texts of veqdx_error_message.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

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

struct MessageRow {
  std::uint32_t status;
  const char* text;
};

constexpr MessageRow kMessages[] = {
    {0xBFFA4214, "I/O error."},
    {0xBFFA4215, "I/O timeout error."},
    {0xBFFA4216, "Instrument model does not support this feature."},
    {0xBFFA4211, "Personality is not active."},
    {0xBFFA4213, "Personality is not licensed."},
    {0xBFFA4212, "Personality is not installed."},
    {0xBFFA0000, "Failure cannot recover."},
    {0xBFFA0001, "Instrument error detected.  Use ErrorQuery() to determine the error(s)."},
    {0xBFFA0002, "Cannot open file."},
    {0xBFFA0003, "Error reading file."},
    {0xBFFA0004, "Error writing file."},
    {0xBFFA000B, "The pathname is invalid."},
    {0xBFFA0010, "Invalid value (%1) for method %2, parameter %3."},
    {0xBFFA0011, "Does not support this class-compliant feature: method %1"},
    {0xBFFA0012, "Does not support this class-compliant feature: property %1."},
    {0xBFFA0013, "Does not support this class-compliant feature:  (enumeration) value %1 passed "
                 "as the value for parameter %2 in method %3."},
    {0xBFFA001D, "A connection to the instrument has not been established."},
    {0xBFFA0020, "Unknown channel name."},
    {0xBFFA0023, "Too many files are open."},
    {0xBFFA0044, "A channel name is required."},
    {0xBFFA0049, "The option string is missing an option name."},
    {0xBFFA004A, "The option string is missing an option value."},
    {0xBFFA004B, "The %1 name in the option string is unknown."},
    {0xBFFA004C, "The %1 value in the option string is unknown."},
    {0xBFFA0056, "Could not allocate necessary memory."},
    {0xBFFA0057, "Operation in progress."},
    {0xBFFA0058, "Null pointer passed for method %1, parameter %2."},
    {0xBFFA0059, "Unexpected response from instrument."},
    {0xBFFA005B, "File not found."},
    {0xBFFA005C, "Invalid file format."},
    {0xBFFA005D, "The instrument status is not available."},
    {0xBFFA005E, "Instrument ID query failed."},
    {0xBFFA005F, "Instrument reset failed."},
    {0xBFFA0060, "Unknown resource."},
    {0xBFFA0061, "The driver is already initialized."},
    {0xBFFA0062, "The simulation state cannot be changed."},
    {0xBFFA0063,
     "The number of levels in the selector is not valid for the %1 repeated capability."},
    {0xBFFA0064, "The range %1 is not valid for the repeated capability %2."},
    {0xBFFA0065, "Unknown name in selector."},
    {0xBFFA0066, "The repeated capability selector is badly-formed."},
    {0xBFFA0067, "Unknown physical repeated capability selector."},
    {0xBFFA1001, "The trigger source is not set to software trigger."},
    {0xBFFA4217, "The given Register type is invalid."},
    {0xBFFA4218, "The given Sub-Register type is invalid."},
    {0xBFFA1190, "The session handle is not valid."},
    {0x00000000, "Success."},
    {0x3FFA0065, "ID Query is not supported by this instrument."},
    {0x3FFA0066, "Reset is not supported by this instrument."},
    {0x3FFA0067, "Self test is not supported by this instrument."},
    {0x3FFA0068, "Error query is not supported by this instrument."},
    {0x3FFA0069, "Firmware revision query is not supported by this instrument."},
};

TEST(StatusMessages, EveryRowOfTheMap) {
  for (const auto& row : kMessages) {
    SCOPED_TRACE(testing::Message() << std::hex << "status 0x" << row.status);
    const char* text = FindStatusMessage(static_cast<ViStatus>(row.status));
    ASSERT_NE(text, nullptr);
    EXPECT_STREQ(text, row.text);
    const StatusMessage described = DescribeStatus(static_cast<ViStatus>(row.status));
    EXPECT_EQ(described.text, row.text);
    EXPECT_EQ(described.status, VI_SUCCESS);
  }
  EXPECT_EQ(StatusMessageCount(), std::size(kMessages));
}

TEST(StatusMessages, EveryConvertedStatusHasAText) {
  for (const auto& row : kConversions) {
    EXPECT_NE(FindStatusMessage(static_cast<ViStatus>(row.status)), nullptr)
        << std::hex << row.status;
  }
}

TEST(StatusMessages, UnknownCodes) {
  struct Row {
    std::uint32_t status;
    const char* text;
  };
  const Row rows[] = {
      {0xBFFA0015, "Unknown status code 0xBFFA0015."},  // flat-layer code without a text
      {0x3FFF0085, "Unknown status code 0x3FFF0085."},
      {0x00000001, "Unknown status code 0x00000001."},
      {0x80047000, "Unknown status code 0x80047000."},  // an HRESULT is not a ViStatus
      {0xFFFFFFFF, "Unknown status code 0xFFFFFFFF."},
  };
  for (const auto& row : rows) {
    const StatusMessage described = DescribeStatus(static_cast<ViStatus>(row.status));
    EXPECT_EQ(described.text, row.text);
    EXPECT_EQ(described.status, VEQDX_WARN_UNKNOWN_STATUS);
    EXPECT_EQ(static_cast<std::uint32_t>(described.status), 0x3FFF0085u);
  }
}

}  // namespace
}  // namespace veqdx::api
