// The numbered attributes through the ten typed functions: the table's types and access,
// the channel-count quirk, the errors, booleans, selectors, and what reaches the wire.
#include <string>
#include <vector>

#include "capi_fixture.h"

namespace capi_test {
namespace {

enum Type { kInt32, kReal64, kBoolean, kString };
enum Access { kRead = 1, kWrite = 2, kReadWrite = 3 };

struct Row {
  ViAttr id;
  Type type;
  Access access;
};

// The whole table as the C contract publishes it.
const Row kTable[] = {
    {1050002, kBoolean, kReadWrite}, {1050003, kBoolean, kReadWrite},
    {1050004, kBoolean, kReadWrite}, {1050005, kBoolean, kReadWrite},
    {1050006, kBoolean, kReadWrite}, {1050007, kString, kRead},
    {1050021, kBoolean, kReadWrite}, {1050302, kString, kRead},
    {1050304, kString, kRead},       {1050305, kString, kRead},
    {1050327, kString, kRead},       {1050401, kString, kRead},
    {1050510, kString, kRead},       {1050511, kString, kRead},
    {1050512, kString, kRead},       {1050513, kString, kRead},
    {1050514, kString, kRead},       {1050515, kInt32, kRead},
    {1050516, kInt32, kRead},        {1050551, kString, kRead},
    {1250001, kReal64, kReadWrite},  {1250002, kBoolean, kReadWrite},
    {1250003, kReal64, kReadWrite},  {1250004, kInt32, kReadWrite},
    {1250005, kReal64, kReadWrite},  {1250006, kBoolean, kReadWrite},
    {1250101, kInt32, kReadWrite},   {1250102, kReal64, kReadWrite},
    {1250103, kReal64, kReadWrite},  {1250203, kInt32, kRead},
    {1150001, kInt32, kReadWrite},   {1150002, kBoolean, kReadWrite},
    {1150003, kBoolean, kReadWrite}, {1150004, kBoolean, kReadWrite},
    {1150005, kInt32, kReadWrite},   {1150006, kReal64, kReadWrite},
    {1150007, kInt32, kReadWrite},   {1150008, kBoolean, kReadWrite},
    {1150009, kInt32, kReadWrite},   {1150010, kInt32, kReadWrite},
    {1150011, kInt32, kReadWrite},   {1150012, kReal64, kReadWrite},
    {1150025, kBoolean, kWrite},     {1150026, kReal64, kWrite},
    {1150027, kReal64, kWrite},
};

// Reads `id` with the typed function of `type`.
ViStatus Get(ViSession vi, ViAttr id, Type type) {
  ViInt32 i = 0;
  ViReal64 r = 0;
  ViBoolean b = 0;
  char s[512];
  switch (type) {
    case kInt32: return veqdx_GetAttributeViInt32(vi, "", id, &i);
    case kReal64: return veqdx_GetAttributeViReal64(vi, "", id, &r);
    case kBoolean: return veqdx_GetAttributeViBoolean(vi, "", id, &b);
    case kString: return veqdx_GetAttributeViString(vi, "", id, sizeof s, s);
  }
  return VI_SUCCESS;
}

// Writes `id` with the typed function of `type` (a value that no property would accept is
// not needed: only type and access are checked before any value is looked at).
ViStatus Set(ViSession vi, ViAttr id, Type type) {
  switch (type) {
    case kInt32: return veqdx_SetAttributeViInt32(vi, "", id, 0);
    case kReal64: return veqdx_SetAttributeViReal64(vi, "", id, 0);
    case kBoolean: return veqdx_SetAttributeViBoolean(vi, "", id, VI_TRUE);
    case kString: return veqdx_SetAttributeViString(vi, "", id, "x");
  }
  return VI_SUCCESS;
}

TEST_F(SimulatedSession, EveryAttributeHasItsTypeAndAccess) {
  for (const Row& row : kTable) {
    for (Type type : {kInt32, kReal64, kBoolean, kString}) {
      if (type == row.type) continue;
      EXPECT_EQ(Get(vi, row.id, type), VEQDX_ERROR_TYPES_DO_NOT_MATCH) << row.id << "/" << type;
      EXPECT_EQ(Set(vi, row.id, type), VEQDX_ERROR_TYPES_DO_NOT_MATCH) << row.id << "/" << type;
    }
    ViSession session = 0;
    EXPECT_EQ(veqdx_GetAttributeViSession(vi, "", row.id, &session),
              VEQDX_ERROR_TYPES_DO_NOT_MATCH);
    EXPECT_EQ(veqdx_SetAttributeViSession(vi, "", row.id, 0), VEQDX_ERROR_TYPES_DO_NOT_MATCH);
    if (row.access & kRead) {
      EXPECT_EQ(Get(vi, row.id, row.type), VI_SUCCESS) << row.id << ": " << LastError(vi).text;
    } else {
      EXPECT_EQ(Get(vi, row.id, row.type), VEQDX_ERROR_ATTR_NOT_READABLE) << row.id;
    }
    if (!(row.access & kWrite)) {
      EXPECT_EQ(Set(vi, row.id, row.type), VEQDX_ERROR_ATTR_NOT_WRITABLE) << row.id;
    }
  }
}

TEST_F(SimulatedSession, UnknownIdentifiersAreNotSupported) {
  for (ViAttr id : {0u, 1050001u, 1250204u, 1150013u, 0xFFFFFFFFu}) {
    for (Type type : {kInt32, kReal64, kBoolean, kString}) {
      EXPECT_EQ(Get(vi, id, type), VEQDX_ERROR_ATTRIBUTE_NOT_SUPPORTED) << id;
      EXPECT_EQ(Set(vi, id, type), VEQDX_ERROR_ATTRIBUTE_NOT_SUPPORTED) << id;
    }
    EXPECT_EQ(LastError(vi).text, "VelmoraQdx: Does not support this class-compliant feature: "
                                  "property " + std::to_string(id) + ".");
  }
}

TEST_F(SimulatedSession, ChannelCountIsReadOnlyThroughGetAttributeViInt32) {
  ViInt32 count = 0;
  ASSERT_EQ(veqdx_GetAttributeViInt32(vi, "", VEQDX_ATTR_CHANNEL_COUNT, &count), VI_SUCCESS);
  EXPECT_EQ(count, 1);
  ViReal64 real = 0;
  EXPECT_EQ(veqdx_GetAttributeViReal64(vi, "", VEQDX_ATTR_CHANNEL_COUNT, &real),
            VEQDX_ERROR_ATTRIBUTE_NOT_SUPPORTED);
  ViBoolean flag = 0;
  EXPECT_EQ(veqdx_GetAttributeViBoolean(vi, "", VEQDX_ATTR_CHANNEL_COUNT, &flag),
            VEQDX_ERROR_ATTRIBUTE_NOT_SUPPORTED);
  EXPECT_EQ(veqdx_SetAttributeViInt32(vi, "", VEQDX_ATTR_CHANNEL_COUNT, 2),
            VEQDX_ERROR_ATTRIBUTE_NOT_SUPPORTED);
}

TEST_F(SimulatedSession, AccessErrorsAreRecorded) {
  EXPECT_EQ(veqdx_SetAttributeViString(vi, "", VEQDX_ATTR_DRIVER_SETUP, "x"),
            VEQDX_ERROR_ATTR_NOT_WRITABLE);
  EXPECT_EQ(LastError(vi).code, VEQDX_ERROR_ATTR_NOT_WRITABLE);
  ViBoolean on = 0;
  EXPECT_EQ(veqdx_GetAttributeViBoolean(vi, "", VEQDX_ATTR_GLOBAL_OUTPUT_ENABLED, &on),
            VEQDX_ERROR_ATTR_NOT_READABLE);
  EXPECT_EQ(LastError(vi).code, VEQDX_ERROR_ATTR_NOT_READABLE);
  ViInt32 i = 0;
  EXPECT_EQ(veqdx_GetAttributeViInt32(vi, "", VEQDX_ATTR_VOLTAGE_LEVEL, &i),
            VEQDX_ERROR_TYPES_DO_NOT_MATCH);
  EXPECT_EQ(LastError(vi).code, VEQDX_ERROR_TYPES_DO_NOT_MATCH);
}

TEST_F(SimulatedSession, IdentityAndSettingsAttributes) {
  struct Text {
    ViAttr id;
    const char* value;
  };
  const Text texts[] = {
      {VEQDX_ATTR_SPECIFIC_DRIVER_PREFIX, "veqdx"},
      {VEQDX_ATTR_SPECIFIC_DRIVER_VENDOR, "Velmora"},
      {VEQDX_ATTR_SPECIFIC_DRIVER_REVISION, "1.0.4.0"},
      {VEQDX_ATTR_SPECIFIC_DRIVER_DESCRIPTION,
       "IVI Driver for Velmora QDX DC Power Supply [Compiled for 64-bit.]"},
      {VEQDX_ATTR_INSTRUMENT_FIRMWARE_REVISION, "Sim1.0.4.0"},
      {VEQDX_ATTR_INSTRUMENT_MANUFACTURER, "Velmora"},
      {VEQDX_ATTR_INSTRUMENT_MODEL, "QDX750ML"},
      {VEQDX_ATTR_SUPPORTED_INSTRUMENT_MODELS,
       "QDX750L,QDX750ML,QDX750MH,QDX750H,QDX1500H,QDX1500L,QDX1500MH,QDX1500ML"},
      {VEQDX_ATTR_GROUP_CAPABILITIES,
       "IviDCPwrBase,IviDCPwrTrigger,IviDCPwrSoftwareTrigger,IviDCPwrMeasurement"},
      {VEQDX_ATTR_IO_RESOURCE_DESCRIPTOR, kSimResource},
      {VEQDX_ATTR_LOGICAL_NAME, ""},
  };
  for (const Text& t : texts) {
    const auto needed = static_cast<ViStatus>(std::string(t.value).size() + 1);
    EXPECT_EQ(veqdx_GetAttributeViString(vi, "ignored-", t.id, 0, nullptr), needed) << t.id;
    std::vector<char> buffer(static_cast<std::size_t>(needed));
    EXPECT_EQ(veqdx_GetAttributeViString(vi, "", t.id, needed, buffer.data()), VI_SUCCESS);
    EXPECT_STREQ(buffer.data(), t.value) << t.id;
    if (needed > 1) {
      EXPECT_EQ(veqdx_GetAttributeViString(vi, "", t.id, needed - 1, buffer.data()), needed);
      EXPECT_EQ(std::string(buffer.data()), std::string(t.value).substr(0, needed - 2));
    }
  }
  char buffer[8];
  EXPECT_EQ(veqdx_GetAttributeViString(vi, "", VEQDX_ATTR_SPECIFIC_DRIVER_PREFIX, -1, buffer),
            VEQDX_ERROR_INVALID_VALUE);

  ViInt32 version = -1;
  ASSERT_EQ(veqdx_GetAttributeViInt32(
                vi, "", VEQDX_ATTR_SPECIFIC_DRIVER_CLASS_SPEC_MAJOR_VERSION, &version),
            VI_SUCCESS);
  EXPECT_EQ(version, 2);
  ASSERT_EQ(veqdx_GetAttributeViInt32(
                vi, "", VEQDX_ATTR_SPECIFIC_DRIVER_CLASS_SPEC_MINOR_VERSION, &version),
            VI_SUCCESS);
  EXPECT_EQ(version, 0);

  struct Flag {
    ViAttr id;
    ViBoolean value;
  };
  for (const Flag& f : {Flag{VEQDX_ATTR_CACHE, VI_TRUE}, Flag{VEQDX_ATTR_RANGE_CHECK, VI_TRUE},
                        Flag{VEQDX_ATTR_SIMULATE, VI_TRUE},
                        Flag{VEQDX_ATTR_QUERY_INSTRUMENT_STATUS, VI_FALSE},
                        Flag{VEQDX_ATTR_RECORD_COERCIONS, VI_FALSE},
                        Flag{VEQDX_ATTR_INTERCHANGE_CHECK, VI_FALSE}}) {
    ViBoolean value = 9;
    ASSERT_EQ(veqdx_GetAttributeViBoolean(vi, "", f.id, &value), VI_SUCCESS);
    EXPECT_EQ(value, f.value) << f.id;
  }
  ASSERT_EQ(veqdx_SetAttributeViBoolean(vi, "", VEQDX_ATTR_RECORD_COERCIONS, 42), VI_SUCCESS);
  ViBoolean value = 0;
  ASSERT_EQ(veqdx_GetAttributeViBoolean(vi, "", VEQDX_ATTR_RECORD_COERCIONS, &value), VI_SUCCESS);
  EXPECT_EQ(value, VI_TRUE);  // true comes back as 1

  EXPECT_EQ(veqdx_SetAttributeViBoolean(vi, "", VEQDX_ATTR_SIMULATE, VI_FALSE),
            VEQDX_ERROR_SIMULATION_STATE_UNSUPPORTED);
  EXPECT_EQ(LastError(vi).text, "VelmoraQdx: The simulation state cannot be changed.");
  EXPECT_EQ(veqdx_SetAttributeViBoolean(vi, "", VEQDX_ATTR_INTERCHANGE_CHECK, VI_TRUE),
            VEQDX_ERROR_VALUE_NOT_SUPPORTED);
}

TEST_F(SimulatedSession, OutputAttributesKeepTheirValuesWhileSimulating) {
  ASSERT_EQ(veqdx_SetAttributeViReal64(vi, "", VEQDX_ATTR_VOLTAGE_LEVEL, 12.5), VI_SUCCESS);
  ASSERT_EQ(veqdx_SetAttributeViBoolean(vi, "Output0", VEQDX_ATTR_OUTPUT_ENABLED, 9),
            VI_SUCCESS);
  ASSERT_EQ(veqdx_SetAttributeViInt32(vi, "", VEQDX_ATTR_PON_STATE, 2), VI_SUCCESS);
  ViReal64 level = 0;
  ASSERT_EQ(veqdx_GetAttributeViReal64(vi, "Output0", VEQDX_ATTR_VOLTAGE_LEVEL, &level),
            VI_SUCCESS);
  EXPECT_EQ(level, 12.5);
  ViBoolean on = 0;
  ASSERT_EQ(veqdx_GetAttributeViBoolean(vi, "", VEQDX_ATTR_OUTPUT_ENABLED, &on), VI_SUCCESS);
  EXPECT_EQ(on, VI_TRUE);
  ViInt32 pon = 0;
  ASSERT_EQ(veqdx_GetAttributeViInt32(vi, "", VEQDX_ATTR_PON_STATE, &pon), VI_SUCCESS);
  EXPECT_EQ(pon, 2);
  ViReal64 measured = 0;
  ASSERT_EQ(veqdx_Measure(vi, "", VEQDX_VAL_MEASURE_VOLTAGE, &measured), VI_SUCCESS);
  EXPECT_EQ(measured, 12.5);

  // The property's own checks apply.
  EXPECT_EQ(veqdx_SetAttributeViReal64(vi, "", VEQDX_ATTR_VOLTAGE_LEVEL, 84.5),
            VEQDX_ERROR_INVALID_VALUE);
  EXPECT_EQ(veqdx_SetAttributeViInt32(vi, "", VEQDX_ATTR_TRIGGER_SOURCE, 1),
            VEQDX_ERROR_INVALID_VALUE);
  // Output attributes honour the selector; the others ignore it.
  EXPECT_EQ(veqdx_GetAttributeViReal64(vi, "Output1", VEQDX_ATTR_VOLTAGE_LEVEL, &level),
            VEQDX_ERROR_UNKNOWN_CHANNEL_NAME);
  EXPECT_EQ(veqdx_GetAttributeViReal64(vi, "Output0-", VEQDX_ATTR_VOLTAGE_LEVEL, &level),
            VEQDX_ERROR_BADLY_FORMED_SELECTOR);
  ViBoolean cache = 0;
  EXPECT_EQ(veqdx_GetAttributeViBoolean(vi, "Output0-", VEQDX_ATTR_CACHE, &cache), VI_SUCCESS);
}

TEST_F(SimulatedSession, OverVoltageProtectionCannotBeSwitchedOff) {
  ViBoolean enabled = 0;
  ASSERT_EQ(veqdx_GetAttributeViBoolean(vi, "", VEQDX_ATTR_OVP_ENABLED, &enabled), VI_SUCCESS);
  EXPECT_EQ(enabled, VI_TRUE);
  EXPECT_EQ(veqdx_SetAttributeViBoolean(vi, "", VEQDX_ATTR_OVP_ENABLED, VI_TRUE), VI_SUCCESS);
  EXPECT_EQ(veqdx_SetAttributeViBoolean(vi, "", VEQDX_ATTR_OVP_ENABLED, VI_FALSE),
            VEQDX_ERROR_VALUE_NOT_SUPPORTED);
  EXPECT_EQ(LastError(vi).code, VEQDX_ERROR_VALUE_NOT_SUPPORTED);
}

TEST_F(EmulatedSession, ChannelCountOfATwoChannelUnit) {
  Open("QDX750ML", 2);
  ViInt32 count = 0;
  ASSERT_EQ(veqdx_GetAttributeViInt32(vi, "", VEQDX_ATTR_CHANNEL_COUNT, &count), VI_SUCCESS);
  EXPECT_EQ(count, 2);
  ASSERT_EQ(veqdx_GetAttributeViInt32(vi, "", VEQDX_ATTR_OUTPUT_COUNT, &count), VI_SUCCESS);
  EXPECT_EQ(count, 2);
  char name[16];
  ASSERT_EQ(veqdx_GetChannelName(vi, 2, sizeof name, name), VI_SUCCESS);
  EXPECT_STREQ(name, "Output2");
  EXPECT_EQ(veqdx_GetOutputName(vi, 3, sizeof name, name), VEQDX_ERROR_INVALID_VALUE);
  // Output attributes need a selector here.
  ViReal64 level = 0;
  EXPECT_EQ(veqdx_GetAttributeViReal64(vi, "", VEQDX_ATTR_VOLTAGE_LEVEL, &level),
            VEQDX_ERROR_CHANNEL_NAME_REQUIRED);
  EXPECT_WIRE(Lines{});
}

// One output attribute written through the table and the command that must go out.
struct WireRow {
  ViAttr id;
  Type type;
  double value;
  const char* command;
};

TEST_F(EmulatedSession, OutputAttributesReachTheirProperties) {
  Open("QDX750ML", 2);
  const WireRow rows[] = {
      {1250001, kReal64, 12.5, ":VOLT 12.5"},
      {1250003, kReal64, 30, ":VOLT:PROT 30"},
      {1250004, kInt32, 1, ":CURR:PROT:STAT 1"},
      {1250005, kReal64, 2.5, ":CURR 2.5"},
      {1250006, kBoolean, 1, ":OUTP 1"},
      {1250101, kInt32, 0, "TRIG:TRAN:SOUR IMM"},
      {1250102, kReal64, 1.5, ":CURR:TRIG 1.5"},
      {1250103, kReal64, 6.5, ":VOLT:TRIG 6.5"},
      {1150001, kInt32, 1, ":OUTP:EXT:LOG HIGH"},
      {1150002, kBoolean, 1, ":OUTP:EXT 1"},
      {1150003, kBoolean, 1, ":CURR:EXT:SOUR VOLT"},
      {1150004, kBoolean, 0, ":VOLT:EXT:SOUR NONE"},
      {1150005, kInt32, 1, ":VOLT:EXT:RANG HIGH"},
      {1150006, kReal64, 0.5, ":VOLT:LIM:LOW 0.5"},
      {1150007, kInt32, 1, ":OUTP:PON AUTO"},
      {1150008, kBoolean, 0, ":SYST:CONF:BLE 0"},
      {1150009, kInt32, 0, ":SYST:CONF:PROT:REC SAFE"},
      {1150010, kInt32, 0, ":SYST:CONF:STAR:PRI CC"},
      {1150011, kInt32, 0, ":SYST:CONF:MON:RANG LOW"},
      {1150012, kReal64, 12, ":CURR:PROT 12"},
  };
  bool first = true;
  for (const WireRow& row : rows) {
    ViStatus status = VI_SUCCESS;
    switch (row.type) {
      case kInt32:
        status = veqdx_SetAttributeViInt32(vi, "Output1", row.id, static_cast<ViInt32>(row.value));
        break;
      case kReal64:
        status = veqdx_SetAttributeViReal64(vi, "Output1", row.id, row.value);
        break;
      case kBoolean:
        status = veqdx_SetAttributeViBoolean(vi, "Output1", row.id,
                                             static_cast<ViBoolean>(row.value));
        break;
      case kString:
        break;
    }
    ASSERT_EQ(status, VI_SUCCESS) << row.id << ": " << LastError(vi).text;
    Lines expected;
    if (first) expected.push_back(":INST:NSEL 1");
    expected.push_back(row.command);
    EXPECT_EQ(Wire(expected.size()), expected) << row.id;
    first = false;
  }

  // Reads ask the instrument (Cache off, so every read goes out).
  ASSERT_EQ(veqdx_SetAttributeViBoolean(vi, "", VEQDX_ATTR_CACHE, VI_FALSE), VI_SUCCESS);
  ViInt32 range = -1;
  ASSERT_EQ(veqdx_GetAttributeViInt32(vi, "Output1", 1150011, &range), VI_SUCCESS)
      << LastError(vi).text;
  EXPECT_EQ(range, 0);
  ViBoolean ovp = 0;
  ASSERT_EQ(veqdx_GetAttributeViBoolean(vi, "Output1", VEQDX_ATTR_OVP_ENABLED, &ovp), VI_SUCCESS);
  EXPECT_EQ(ovp, VI_TRUE);
  ASSERT_EQ(veqdx_SetAttributeViBoolean(vi, "Output1", VEQDX_ATTR_OVP_ENABLED, VI_TRUE),
            VI_SUCCESS);
  ASSERT_EQ(veqdx_SetAttributeViReal64(vi, "", VEQDX_ATTR_GLOBAL_VOLTAGE_LEVEL, 3), VI_SUCCESS);
  EXPECT_WIRE(Lines{":INST:NSEL 1", ":SYST:CONF:MON:RANG?", ":GLOB:VOLT 3"});
}

}  // namespace
}  // namespace capi_test
