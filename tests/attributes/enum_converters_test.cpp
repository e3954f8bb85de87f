#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "attributes/enum_converters.h"

namespace veqdx::attr {
namespace {

constexpr std::string_view kModel = "QDX750L";

TEST(EnumConverters, WritingValues) {
  struct Case {
    std::string_view name, context;
    std::int32_t value;
    std::optional<std::string> keyword;  // nullopt: the conversion fails
  };
  const Case cases[] = {
      {"VARIANT_BOOL", "IVelmoraQdxOutput.Enabled", -1, "1"},
      {"VARIANT_BOOL", "IVelmoraQdxOutput.Enabled", 1, "1"},
      {"VARIANT_BOOL", "IVelmoraQdxOutput.Enabled", 0, "0"},
      {"VARIANT_BOOL", "IVelmoraQdxOutput.Enabled", 2, std::nullopt},
      {"VARIANT_BOOL", "IVelmoraQdxOutput.Enabled", 65537, std::nullopt},  // no wrap onto 1
      {"VARIANT_BOOL", "", -1, "1"},
      {"VARIANT_BOOL", "IVelmoraQdxOutput.BleederEnabled", -1, "1"},
      {"VARIANT_BOOL", "IVelmoraQdxOutputExternalControl.OutputControlEnabled", 0, "0"},
      {"VARIANT_BOOL", "IVelmoraQdxGlobal.Enabled", 1, "1"},
      {"VARIANT_BOOL", "IIviDCPwrOutput.ConfigureOVP", -1, "1"},
      {"VARIANT_BOOL", "IVelmoraQdxOutputExternalControl.CCControlEnabled", -1, "VOLT"},
      {"VARIANT_BOOL", "IVelmoraQdxOutputExternalControl.CCControlEnabled", 0, "NONE"},
      {"VARIANT_BOOL", "IVelmoraQdxOutputExternalControl.CVControlEnabled", 1, "VOLT"},
      {"VARIANT_BOOL", "IVelmoraQdxOutputExternalControl.CVControlEnabled", 0, "NONE"},
      {"VARIANT_BOOL", "IVelmoraQdxSomething.Unknown", -1, "1, ON"},  // catch-all
      {"VARIANT_BOOL", "IVelmoraQdxSomething.Unknown", 0, "0, OFF"},
      {"VelmoraQdxCurrentLimitBehaviorEnum", "IVelmoraQdxOutput.CurrentLimitBehavior", 1, "1"},
      {"VelmoraQdxCurrentLimitBehaviorEnum", "IVelmoraQdxOutput.CurrentLimitBehavior", 0, "0"},
      {"VelmoraQdxMeasurementTypeEnum", "IVelmoraQdxOutput.Measure", 1, "VOLT?"},
      {"VelmoraQdxMeasurementTypeEnum", "IVelmoraQdxOutput.Measure", 0, "CURR?"},
      {"VelmoraQdxTriggerSourceEnum", "IVelmoraQdxOutput.TriggerSource", 2, "BUS"},
      {"VelmoraQdxTriggerSourceEnum", "IVelmoraQdxOutput.TriggerSource", 0, "IMM"},
      {"VelmoraQdxTriggerSourceEnum", "IVelmoraQdxOutput.TriggerSource", 1, std::nullopt},
      {"VelmoraQdxExternalRangeEnum", "IVelmoraQdxOutput.ExternalMonitorRange", 1, "HIGH"},
      {"VelmoraQdxExternalRangeEnum", "IVelmoraQdxOutputExternalControl.AlanogControlRange", 0,
       "LOW"},
      {"VelmoraQdxPONStateEnum", "IVelmoraQdxOutput.PONState", 2, "FORC"},
      {"VelmoraQdxPONStateEnum", "IVelmoraQdxOutput.PONState", 1, "AUTO"},
      {"VelmoraQdxPONStateEnum", "IVelmoraQdxOutput.PONState", 0, "SAFE"},
      {"VelmoraQdxPONStateEnum", "IVelmoraQdxOutput.PONState", 3, std::nullopt},
      {"VelmoraQdxProtectionRecoveryEnum", "IVelmoraQdxOutput.ProtectionRecovery", 1, "AUTO"},
      {"VelmoraQdxProtectionRecoveryEnum", "IVelmoraQdxOutput.ProtectionRecovery", 0, "SAFE"},
      {"VelmoraQdxOperationModeEnum", "IVelmoraQdxOutput.OperationPriority", 1, "CV"},
      {"VelmoraQdxOperationModeEnum", "IVelmoraQdxOutput.OperationPriority", 0, "CC"},
      {"VelmoraQdxExternalLogicEnum", "IVelmoraQdxOutputExternalControl.OutputControlLogic", 1,
       "HIGH"},
      {"VelmoraQdxExternalLogicEnum", "IVelmoraQdxOutputExternalControl.OutputControlLogic", 0,
       "LOW"},
  };
  for (const Case& c : cases) {
    const IEnumCommandConverterErased* conv = FindConverter(c.name, c.context);
    ASSERT_NE(conv, nullptr) << c.name << " / " << c.context;
    std::string keyword = "untouched";
    const bool ok = conv->ToString(kModel, c.value, keyword);
    EXPECT_EQ(ok, c.keyword.has_value()) << c.name << " " << c.value;
    if (ok && c.keyword) {
      EXPECT_EQ(keyword, *c.keyword) << c.name << " " << c.value;
    }
  }
}

TEST(EnumConverters, ReadingReplies) {
  struct Case {
    std::string_view name, context, reply;
    std::optional<std::int32_t> value;
  };
  const Case cases[] = {
      {"VelmoraQdxPONStateEnum", "IVelmoraQdxOutput.PONState", "  SAFE \t\n", 0},
      {"VelmoraQdxPONStateEnum", "IVelmoraQdxOutput.PONState", "SAFE\r\n", 0},
      {"VelmoraQdxPONStateEnum", "IVelmoraQdxOutput.PONState", "FORC", 2},
      {"VelmoraQdxPONStateEnum", "IVelmoraQdxOutput.PONState", "safe", std::nullopt},
      {"VelmoraQdxPONStateEnum", "IVelmoraQdxOutput.PONState", "SA FE", std::nullopt},
      {"VelmoraQdxPONStateEnum", "IVelmoraQdxOutput.PONState", "", std::nullopt},
      {"VARIANT_BOOL", "IVelmoraQdxOutput.Enabled", "1", -1},  // rows registered 1, -1, 0
      {"VARIANT_BOOL", "IVelmoraQdxOutput.Enabled", "1\n", -1},
      {"VARIANT_BOOL", "IVelmoraQdxOutput.Enabled", "0", 0},
      {"VARIANT_BOOL", "IVelmoraQdxOutput.Enabled", "OFF", std::nullopt},
      {"VARIANT_BOOL", "IVelmoraQdxOutput.Enabled", " OFF", std::nullopt},  // trimmed first
      {"VARIANT_BOOL", "IVelmoraQdxOutput.Enabled", "ON", std::nullopt},
      {"VARIANT_BOOL", "IVelmoraQdxOutputExternalControl.CCControlEnabled", "VOLT", -1},
      {"VARIANT_BOOL", "IVelmoraQdxOutputExternalControl.CVControlEnabled", "NONE", 0},
      {"VARIANT_BOOL", "IVelmoraQdxOutputExternalControl.CCControlEnabled", "1", std::nullopt},
      {"VARIANT_BOOL", "IVelmoraQdxOther.Flag", "1, ON", -1},
      {"VARIANT_BOOL", "IVelmoraQdxOther.Flag", "0, OFF\n", 0},
      {"VARIANT_BOOL", "IVelmoraQdxOther.Flag", "1", std::nullopt},
      {"VelmoraQdxCurrentLimitBehaviorEnum", "IVelmoraQdxOutput.CurrentLimitBehavior", "1", 1},
      {"VelmoraQdxTriggerSourceEnum", "IVelmoraQdxOutput.TriggerSource", "BUS", 2},
      {"VelmoraQdxMeasurementTypeEnum", "IVelmoraQdxOutput.Measure", "VOLT?", 1},
      {"VelmoraQdxMeasurementTypeEnum", "IVelmoraQdxOutput.Measure", "VOLT", std::nullopt},
      {"VelmoraQdxOperationModeEnum", "IVelmoraQdxOutput.OperationPriority", "CC", 0},
  };
  for (const Case& c : cases) {
    const IEnumCommandConverterErased* conv = FindConverter(c.name, c.context);
    ASSERT_NE(conv, nullptr) << c.name << " / " << c.context;
    std::int32_t value = 12345;
    const bool ok = conv->FromString(kModel, c.reply, value);
    EXPECT_EQ(ok, c.value.has_value()) << c.name << " '" << c.reply << "'";
    if (ok && c.value) {
      EXPECT_EQ(value, *c.value) << c.name << " '" << c.reply << "'";
    } else {
      EXPECT_EQ(value, 12345) << "a failed read leaves the value alone";
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

TEST(EnumConverters, EmptyKeySelectsTheFirstTable) {
  EXPECT_EQ(FindConverter("ExternalRange", ""),
            FindConverter("ExternalRange", "IVelmoraQdxOutput.ExternalMonitorRange"));
  EXPECT_NE(FindConverter("ExternalRange", ""),
            FindConverter("ExternalRange", "IVelmoraQdxOutputExternalControl.AlanogControlRange"));
  EXPECT_EQ(FindConverter("VARIANT_BOOL", ""),
            FindConverter("VARIANT_BOOL", "IVelmoraQdxOutput.Enabled"));
  // Contexts with the same rows still have tables of their own.
  EXPECT_NE(FindConverter("VARIANT_BOOL", "IVelmoraQdxOutput.BleederEnabled"),
            FindConverter("VARIANT_BOOL", "IVelmoraQdxOutput.Enabled"));
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

TEST(EnumConverters, TypedLookups) {
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
