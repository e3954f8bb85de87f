// Conversion of object-layer HRESULTs to ViStatus codes, and which statuses have a text.
#include <gtest/gtest.h>

#include <cstdint>

#include "api/status_map.h"
#include "veqdx.h"
#include "veqdx/status.hpp"

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
    EXPECT_NE(FindStatusMessage(static_cast<ViStatus>(row.status)), nullptr);
  }
  EXPECT_EQ(ConversionCount(), std::size(kConversions));
  // Every converted status has a text, and three statuses of the C interface's own have one:
  // the texts themselves are checked through veqdx_error_message in tests/capi.
  EXPECT_EQ(StatusMessageCount(), std::size(kConversions) + 3);
}

// Codes without an entry: failures "cannot recover", warnings stay success.
TEST(StatusConversion, CodesWithoutAnEntry) {
  for (std::uint32_t hr : {0x80070057u, 0x8007000Eu, 0x8000FFFFu, 0x80047005u, 0x80047014u,
                           0x80047068u /* just past the last IVI row */,
                           0x80044210u /* just below the driver's own codes */,
                           0x80044217u /* just above them */, 0x00000001u, 0x00047064u}) {
    SCOPED_TRACE(testing::Message() << std::hex << "hr 0x" << hr);
    EXPECT_FALSE(FindConversion(static_cast<HRESULT>(hr)).has_value());
    EXPECT_EQ(ToViStatus(static_cast<HRESULT>(hr)),
              hr >> 31 ? VEQDX_ERROR_CANNOT_RECOVER : VI_SUCCESS);
  }
  // Same code part, opposite severity: two different statuses.
  EXPECT_EQ(ToViStatus(S_IVI_NSUP_ID_QUERY), VEQDX_WARN_NSUP_ID_QUERY);
  EXPECT_EQ(ToViStatus(E_IVI_UNKNOWN_NAME_IN_SELECTOR), VEQDX_ERROR_UNKNOWN_NAME_IN_SELECTOR);
}

}  // namespace
}  // namespace veqdx::api
