#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "attributes/enum_converters.h"

namespace veqdx::attr {
namespace {

constexpr std::string_view kModel = "QDX750L";

// Each converter found by name and context key, with values it writes (nullptr: the conversion
// fails) and replies it reads (nullopt: the read fails and leaves the value alone). The plain
// keyword of every setting is checked on the wire through the C functions (tests/capi).
TEST(EnumConverters, WritingValuesAndReadingReplies) {
  const char* const kFails = nullptr;
  const std::optional<std::int32_t> kRefused;
  struct Case {
    std::string_view name, context;
    std::vector<std::pair<std::int32_t, const char*>> writes;
    std::vector<std::pair<std::string_view, std::optional<std::int32_t>>> reads;
  };
  const Case cases[] = {
      // Rows registered 1, -1, 0: "1" reads as -1. No wrap of 65537 onto 1; replies are
      // trimmed first.
      {"VARIANT_BOOL", "IVelmoraQdxOutput.Enabled",
       {{-1, "1"}, {1, "1"}, {0, "0"}, {2, kFails}, {65537, kFails}},
       {{"1", -1}, {"1\n", -1}, {"0", 0}, {"OFF", kRefused}, {" OFF", kRefused}, {"ON", kRefused}}},
      {"VARIANT_BOOL", "", {{-1, "1"}}, {}},
      {"VARIANT_BOOL", "IIviDCPwrOutput.ConfigureOVP", {{-1, "1"}}, {}},
      {"VARIANT_BOOL", "IVelmoraQdxOutputExternalControl.CCControlEnabled",
       {{-1, "VOLT"}, {0, "NONE"}}, {{"VOLT", -1}, {"1", kRefused}}},
      {"VARIANT_BOOL", "IVelmoraQdxOutputExternalControl.CVControlEnabled",
       {{1, "VOLT"}, {0, "NONE"}}, {{"NONE", 0}}},
      {"VARIANT_BOOL", "IVelmoraQdxOther.Flag",  // the catch-all
       {{-1, "1, ON"}, {0, "0, OFF"}}, {{"1, ON", -1}, {"0, OFF\n", 0}, {"1", kRefused}}},
      {"VelmoraQdxCurrentLimitBehaviorEnum", "IVelmoraQdxOutput.CurrentLimitBehavior",
       {{1, "1"}, {0, "0"}}, {{"1", 1}}},
      {"VelmoraQdxMeasurementTypeEnum", "IVelmoraQdxOutput.Measure",
       {{1, "VOLT?"}, {0, "CURR?"}}, {{"VOLT?", 1}, {"VOLT", kRefused}}},
      {"VelmoraQdxTriggerSourceEnum", "IVelmoraQdxOutput.TriggerSource",
       {{2, "BUS"}, {0, "IMM"}, {1, kFails}}, {{"BUS", 2}}},
      {"VelmoraQdxPONStateEnum", "IVelmoraQdxOutput.PONState",
       {{2, "FORC"}, {1, "AUTO"}, {0, "SAFE"}, {3, kFails}},
       {{"  SAFE \t\n", 0}, {"SAFE\r\n", 0}, {"FORC", 2}, {"safe", kRefused}, {"SA FE", kRefused},
        {"", kRefused}}},
      {"VelmoraQdxOperationModeEnum", "IVelmoraQdxOutput.OperationPriority",
       {{1, "CV"}, {0, "CC"}}, {{"CC", 0}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.name) + " / " + std::string(c.context));
    const IEnumCommandConverterErased* conv = FindConverter(c.name, c.context);
    ASSERT_NE(conv, nullptr);
    for (const auto& [value, expected] : c.writes) {
      std::string keyword = "untouched";
      const bool ok = conv->ToString(kModel, value, keyword);
      EXPECT_EQ(ok, expected != nullptr) << value;
      if (ok && expected) { EXPECT_EQ(keyword, expected) << value; }
    }
    for (const auto& [reply, expected] : c.reads) {
      std::int32_t value = 12345;
      const std::string quoted = "'" + std::string(reply) + "'";
      EXPECT_EQ(conv->FromString(kModel, reply, value), expected.has_value()) << quoted;
      EXPECT_EQ(value, expected.value_or(12345)) << quoted;
    }
  }
}

// Three spellings of each family name find one converter, with its context key or the empty
// key (the first table); near misses, other keys and enums without keywords find none.
TEST(EnumConverters, LookupsByNameAndContext) {
  const std::pair<std::string_view, std::string_view> families[] = {
      {"CurrentLimitBehavior", "IVelmoraQdxOutput.CurrentLimitBehavior"},
      {"MeasurementType", "IVelmoraQdxOutput.Measure"},
      {"TriggerSource", "IVelmoraQdxOutput.TriggerSource"},
      {"ExternalRange", "IVelmoraQdxOutput.ExternalMonitorRange"},
      {"PONState", "IVelmoraQdxOutput.PONState"},
      {"ProtectionRecovery", "IVelmoraQdxOutput.ProtectionRecovery"},
      {"OperationMode", "IVelmoraQdxOutput.OperationPriority"},
      {"ExternalLogic", "IVelmoraQdxOutputExternalControl.OutputControlLogic"},
  };
  for (const auto& [stemView, context] : families) {
    const std::string stem(stemView);
    const IEnumCommandConverterErased* first = FindConverter(stem, context);
    ASSERT_NE(first, nullptr) << stem;
    for (const std::string& name : {"VelmoraQdx" + stem + "Enum", "VelmoraQdx" + stem, stem + "Enum"}) {
      EXPECT_EQ(FindConverter(name, context), first) << name;
      EXPECT_EQ(FindConverter(name, ""), first) << name << " with the empty key";
    }
    for (const std::string& wrong :
         {"velmoraqdx" + stem + "enum", stem + "Enums", "VelmoraQdx" + stem + "Enum "}) {
      EXPECT_EQ(FindConverter(wrong, context), nullptr) << wrong;
      EXPECT_EQ(FamilyOfEnumName(wrong), EnumFamily::Unknown) << wrong;
    }
  }
  const std::pair<std::string_view, std::string_view> none[] = {
      {"PONStateEnum", "IVelmoraQdxOutput.ProtectionRecovery"},
      {"CurrentLimitBehavior", "IIviDCPwrOutput.ConfigureCurrentLimit"},
      {"MeasurementType", "IVelmoraQdxOutput.measure"},  // keys are case-sensitive
      {"TriggerSource", "IVelmoraQdxTrigger.TriggerSource"},
      {"ExternalRange", "IVelmoraQdxOutputExternalControl.OutputControlLogic"},
      {"variant_bool", ""}, {"", ""}};
  for (const auto& [name, context] : none) EXPECT_EQ(FindConverter(name, context), nullptr) << name;
  for (std::string_view name : {"OutputState", "VelmoraQdxOutputStateEnum", "VisaStatusCode",
                                "SerialParity", "VXIMemoryAccessPrivilege", "DataWidth"}) {
    EXPECT_EQ(FamilyOfEnumName(name), EnumFamily::NoConverter) << name;
    EXPECT_EQ(FindConverter(name, "IVelmoraQdxOutput.PONState"), nullptr) << name;
  }
  EXPECT_NE(FindConverter("ExternalRange", ""),
            FindConverter("ExternalRange", "IVelmoraQdxOutputExternalControl.AlanogControlRange"));
  // Contexts with the same rows still have tables of their own.
  EXPECT_NE(FindConverter("VARIANT_BOOL", "IVelmoraQdxOutput.BleederEnabled"),
            FindConverter("VARIANT_BOOL", "IVelmoraQdxOutput.Enabled"));
  EXPECT_NE(FindEnumConverter<VARIANT_BOOL>("IAnything.AtAll"), nullptr);
  EXPECT_EQ(FindEnumConverter<VelmoraQdxPONStateEnum>("IVelmoraQdxOutput.UVL"), nullptr);
  // The class-compliant behaviour table has no rows: everything fails.
  const auto* ivi = FindEnumConverter<IviDCPwrCurrentLimitBehaviorEnum>(
      "IIviDCPwrOutput.ConfigureCurrentLimit");
  ASSERT_NE(ivi, nullptr);
  std::string keyword;
  IviDCPwrCurrentLimitBehaviorEnum value = IviDCPwrCurrentTrip;
  EXPECT_FALSE(ivi->ToString("", IviDCPwrCurrentRegulate, keyword));
  EXPECT_FALSE(ivi->FromString("", "0", value));
}

// A model-specific table serves its model, the all-models table every other; later rows win
// on a shared keyword.
TEST(EnumConverters, ModelTablesAndSharedKeywords) {
  std::string keyword;
  const CEnumCommandConverter<VelmoraQdxPONStateEnum> perModel{
      CModelBasedMap<VelmoraQdxPONStateEnum>("", {{VelmoraQdxPONStateSafe, {"SAFE"}}}),
      CModelBasedMap<VelmoraQdxPONStateEnum>("QDX750L", {{VelmoraQdxPONStateSafe, {"SF"}}})};
  EXPECT_TRUE(perModel.ToString("QDX750L", VelmoraQdxPONStateSafe, keyword));
  EXPECT_EQ(keyword, "SF");
  EXPECT_TRUE(perModel.ToString("QDX750H", VelmoraQdxPONStateSafe, keyword));
  EXPECT_EQ(keyword, "SAFE");
  VelmoraQdxPONStateEnum value = VelmoraQdxPONStateForce;
  EXPECT_FALSE(perModel.FromString("QDX750L", "SAFE", value));
  EXPECT_TRUE(perModel.FromString("QDX750H", "SAFE", value));
  EXPECT_EQ(value, VelmoraQdxPONStateSafe);
  const CEnumCommandConverter<VelmoraQdxPONStateEnum> onlyOne{
      CModelBasedMap<VelmoraQdxPONStateEnum>("QDX750L", {{VelmoraQdxPONStateSafe, {"SAFE"}}})};
  EXPECT_FALSE(onlyOne.ToString("QDX750H", VelmoraQdxPONStateSafe, keyword));
  EXPECT_FALSE(onlyOne.FromString("QDX750H", "SAFE", value));

  const CModelBasedMap<VARIANT_BOOL> map("", {{1, {"1", " ON"}}, {-1, {"1", " ON"}}, {0, {"0"}}});
  VARIANT_BOOL v = 0;
  EXPECT_TRUE(map.ValueOf(" ON", v));  // stored with its blank
  EXPECT_EQ(v, -1);
  ASSERT_NE(map.KeywordOf(1), nullptr);
  EXPECT_EQ(*map.KeywordOf(1), "1");
  EXPECT_EQ(map.KeywordOf(2), nullptr);
}

}  // namespace
}  // namespace veqdx::attr
