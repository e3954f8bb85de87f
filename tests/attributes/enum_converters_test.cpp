#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "attributes/enum_converters.h"

namespace veqdx::attr {
namespace {

constexpr std::string_view kModel = "QDX750L";

// Each converter found by name and context key, with values it writes (nullptr: the conversion
// fails) and replies it reads (nullopt: the read fails and leaves the value alone).
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
      {"VARIANT_BOOL", "IVelmoraQdxOutput.BleederEnabled", {{-1, "1"}}, {}},
      {"VARIANT_BOOL", "IVelmoraQdxOutputExternalControl.OutputControlEnabled", {{0, "0"}}, {}},
      {"VARIANT_BOOL", "IVelmoraQdxGlobal.Enabled", {{1, "1"}}, {}},
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
      {"VelmoraQdxExternalRangeEnum", "IVelmoraQdxOutput.ExternalMonitorRange", {{1, "HIGH"}}, {}},
      {"VelmoraQdxExternalRangeEnum", "IVelmoraQdxOutputExternalControl.AlanogControlRange",
       {{0, "LOW"}}, {}},
      {"VelmoraQdxPONStateEnum", "IVelmoraQdxOutput.PONState",
       {{2, "FORC"}, {1, "AUTO"}, {0, "SAFE"}, {3, kFails}},
       {{"  SAFE \t\n", 0}, {"SAFE\r\n", 0}, {"FORC", 2}, {"safe", kRefused}, {"SA FE", kRefused},
        {"", kRefused}}},
      {"VelmoraQdxProtectionRecoveryEnum", "IVelmoraQdxOutput.ProtectionRecovery",
       {{1, "AUTO"}, {0, "SAFE"}}, {}},
      {"VelmoraQdxOperationModeEnum", "IVelmoraQdxOutput.OperationPriority",
       {{1, "CV"}, {0, "CC"}}, {{"CC", 0}}},
      {"VelmoraQdxExternalLogicEnum", "IVelmoraQdxOutputExternalControl.OutputControlLogic",
       {{1, "HIGH"}, {0, "LOW"}}, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.name) + " / " + std::string(c.context));
    const IEnumCommandConverterErased* conv = FindConverter(c.name, c.context);
    ASSERT_NE(conv, nullptr);
    for (const auto& [value, expected] : c.writes) {
      std::string keyword = "untouched";
      const bool ok = conv->ToString(kModel, value, keyword);
      EXPECT_EQ(ok, expected != nullptr) << value;
      if (ok && expected) {
        EXPECT_EQ(keyword, expected) << value;
      }
    }
    for (const auto& [reply, expected] : c.reads) {
      std::int32_t value = 12345;
      const std::string quoted = "'" + std::string(reply) + "'";
      EXPECT_EQ(conv->FromString(kModel, reply, value), expected.has_value()) << quoted;
      EXPECT_EQ(value, expected.value_or(12345)) << quoted;
    }
  }
}

TEST(EnumConverters, EveryNameSpellingFindsTheSameConverter) {
  struct Family {
    std::string_view stem, context;
  };
  const Family families[] = {
      {"CurrentLimitBehavior", "IVelmoraQdxOutput.CurrentLimitBehavior"},
      {"MeasurementType", "IVelmoraQdxOutput.Measure"},
      {"TriggerSource", "IVelmoraQdxOutput.TriggerSource"},
      {"ExternalRange", "IVelmoraQdxOutput.ExternalMonitorRange"},
      {"PONState", "IVelmoraQdxOutput.PONState"},
      {"ProtectionRecovery", "IVelmoraQdxOutput.ProtectionRecovery"},
      {"OperationMode", "IVelmoraQdxOutput.OperationPriority"},
      {"ExternalLogic", "IVelmoraQdxOutputExternalControl.OutputControlLogic"},
  };
  for (const Family& f : families) {
    const std::string stem(f.stem);
    const IEnumCommandConverterErased* first = FindConverter(stem, f.context);
    ASSERT_NE(first, nullptr) << stem;
    for (const std::string& name :
         {"VelmoraQdx" + stem + "Enum", "VelmoraQdx" + stem, stem + "Enum"}) {
      EXPECT_EQ(FindConverter(name, f.context), first) << name;
      EXPECT_EQ(FindConverter(name, ""), first) << name << " with the empty key";
    }
    // Near misses are not names.
    for (const std::string& wrong : {"velmoraqdx" + stem + "enum", stem + "Enums",
                                     "VelmoraQdx" + stem + "Enum "}) {
      EXPECT_EQ(FindConverter(wrong, f.context), nullptr) << wrong;
      EXPECT_EQ(FamilyOfEnumName(wrong), EnumFamily::Unknown) << wrong;
    }
  }
  EXPECT_NE(FindConverter("VARIANT_BOOL", ""), nullptr);
  EXPECT_EQ(FindConverter("variant_bool", ""), nullptr);
}

TEST(EnumConverters, NamesWithoutConverters) {
  const std::string_view names[] = {
      "OutputState", "VelmoraQdxOutputStateEnum", "VelmoraQdxOutputState", "OutputStateEnum",
      "VisaStatusCode", "EventType", "HardwareInterfaceType", "IOProtocol", "FDCMode",
      "AddressSpace", "EventMechanism", "TriggerLine", "TriggerProtocol", "BufferMask",
      "Timeout", "AccessMode", "SerialParity", "SerialStopBits", "SerialFlowControl",
      "SerialEndConst", "LineState", "VXIMemoryAccessPrivilege", "DataWidth"};
  for (std::string_view name : names) {
    EXPECT_EQ(FamilyOfEnumName(name), EnumFamily::NoConverter) << name;
    EXPECT_EQ(FindConverter(name, ""), nullptr) << name;
    EXPECT_EQ(FindConverter(name, "IVelmoraQdxOutput.PONState"), nullptr) << name;
  }
  EXPECT_EQ(FamilyOfEnumName("NoSuchEnum"), EnumFamily::Unknown);
  EXPECT_EQ(FindConverter("", ""), nullptr);
}

TEST(EnumConverters, ContextKeysOutsideAConvertersListYieldNone) {
  struct Case {
    std::string_view name, context;
  };
  const Case cases[] = {
      {"PONStateEnum", "IVelmoraQdxOutput.ProtectionRecovery"},
      {"ProtectionRecovery", "IVelmoraQdxOutput.PONState"},
      {"CurrentLimitBehavior", "IIviDCPwrOutput.ConfigureCurrentLimit"},
      {"MeasurementType", "IVelmoraQdxOutput.measure"},  // keys are case-sensitive
      {"TriggerSource", "IVelmoraQdxTrigger.TriggerSource"},
      {"ExternalRange", "IVelmoraQdxOutputExternalControl.OutputControlLogic"},
      {"OperationMode", "IVelmoraQdxOutput.OperationMode"},
      {"ExternalLogic", "IVelmoraQdxOutput.ExternalMonitorRange"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(FindConverter(c.name, c.context), nullptr) << c.name << " / " << c.context;
  }
}

TEST(EnumConverters, ModelResolution) {
  // The built-in tables are for every model, so any model name resolves.
  std::string keyword;
  for (std::string_view model : {"QDX750L", "QDX1500H", "", "NotAModel"}) {
    EXPECT_TRUE(FindConverter("PONState", "")->ToString(model, 1, keyword)) << model;
    EXPECT_EQ(keyword, "AUTO");
  }
  // A converter with a model-specific table: that model uses it, others the all-models table.
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
  // Without an all-models table an unknown model has nothing.
  const CEnumCommandConverter<VelmoraQdxPONStateEnum> onlyOne{
      CModelBasedMap<VelmoraQdxPONStateEnum>("QDX750L", {{VelmoraQdxPONStateSafe, {"SAFE"}}})};
  EXPECT_TRUE(onlyOne.ToString("QDX750L", VelmoraQdxPONStateSafe, keyword));
  EXPECT_FALSE(onlyOne.ToString("QDX750H", VelmoraQdxPONStateSafe, keyword));
  EXPECT_FALSE(onlyOne.FromString("QDX750H", "SAFE", value));
}

TEST(EnumConverters, LaterRowsWinOnSharedKeywords) {
  const CModelBasedMap<VARIANT_BOOL> map("", {{1, {"1", " ON"}}, {-1, {"1", " ON"}}, {0, {"0"}}});
  VARIANT_BOOL v = 0;
  EXPECT_TRUE(map.ValueOf(" ON", v));  // stored with its blank
  EXPECT_EQ(v, -1);
  ASSERT_NE(map.KeywordOf(1), nullptr);
  EXPECT_EQ(*map.KeywordOf(1), "1");
  EXPECT_EQ(map.KeywordOf(2), nullptr);
}

TEST(EnumConverters, EmptyKeySelectsTheFirstTableAndTypedLookups) {
  EXPECT_EQ(FindConverter("ExternalRange", ""),
            FindConverter("ExternalRange", "IVelmoraQdxOutput.ExternalMonitorRange"));
  EXPECT_NE(FindConverter("ExternalRange", ""),
            FindConverter("ExternalRange", "IVelmoraQdxOutputExternalControl.AlanogControlRange"));
  EXPECT_EQ(FindConverter("VARIANT_BOOL", ""),
            FindConverter("VARIANT_BOOL", "IVelmoraQdxOutput.Enabled"));
  // Contexts with the same rows still have tables of their own.
  EXPECT_NE(FindConverter("VARIANT_BOOL", "IVelmoraQdxOutput.BleederEnabled"),
            FindConverter("VARIANT_BOOL", "IVelmoraQdxOutput.Enabled"));
  EXPECT_NE(FindEnumConverter<VARIANT_BOOL>("IAnything.AtAll"), nullptr);
  EXPECT_EQ(FindEnumConverter<VelmoraQdxPONStateEnum>("IVelmoraQdxOutput.PONState"),
            FindEnumConverter<VelmoraQdxPONStateEnum>(""));
  EXPECT_EQ(FindEnumConverter<VelmoraQdxPONStateEnum>("IVelmoraQdxOutput.UVL"), nullptr);
  // The class-compliant behaviour table has no rows: everything fails.
  const auto* ivi = FindEnumConverter<IviDCPwrCurrentLimitBehaviorEnum>(
      "IIviDCPwrOutput.ConfigureCurrentLimit");
  ASSERT_NE(ivi, nullptr);
  std::string keyword;
  IviDCPwrCurrentLimitBehaviorEnum value = IviDCPwrCurrentTrip;
  EXPECT_FALSE(ivi->ToString("", IviDCPwrCurrentRegulate, keyword));
  EXPECT_FALSE(ivi->ToString("", IviDCPwrCurrentTrip, keyword));
  EXPECT_FALSE(ivi->FromString("", "0", value));
  EXPECT_FALSE(ivi->FromString("", "1", value));
}

TEST(EnumConverters, TrimSpace) {
  EXPECT_EQ(TrimSpace(" \t\r\n\v\fAB C \n"), "AB C");
  EXPECT_EQ(TrimSpace("   "), "");
  EXPECT_EQ(TrimSpace(""), "");
  EXPECT_EQ(TrimSpace("X"), "X");
}

}  // namespace
}  // namespace veqdx::attr
