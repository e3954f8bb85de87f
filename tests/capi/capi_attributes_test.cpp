// The numbered attributes through the typed functions: types, access, errors and the wire.
#include <string>

#include "capi_fixture.h"

namespace capi_test {
namespace {

enum Type { I32, F64, Bool, Str };
enum Access { R = 1, W = 2, RW = 3 };

// The whole table as the C contract publishes it.
const struct Row {
  ViAttr id;
  Type type;
  Access access;
} kTable[] = {
    {1050002, Bool, RW}, {1050003, Bool, RW}, {1050004, Bool, RW}, {1050005, Bool, RW},
    {1050006, Bool, RW}, {1050007, Str, R},   {1050021, Bool, RW}, {1050302, Str, R},
    {1050304, Str, R},   {1050305, Str, R},   {1050327, Str, R},   {1050401, Str, R},
    {1050510, Str, R},   {1050511, Str, R},   {1050512, Str, R},   {1050513, Str, R},
    {1050514, Str, R},   {1050515, I32, R},   {1050516, I32, R},   {1050551, Str, R},
    {1250001, F64, RW},  {1250002, Bool, RW}, {1250003, F64, RW},  {1250004, I32, RW},
    {1250005, F64, RW},  {1250006, Bool, RW}, {1250101, I32, RW},  {1250102, F64, RW},
    {1250103, F64, RW},  {1250203, I32, R},   {1150001, I32, RW},  {1150002, Bool, RW},
    {1150003, Bool, RW}, {1150004, Bool, RW}, {1150005, I32, RW},  {1150006, F64, RW},
    {1150007, I32, RW},  {1150008, Bool, RW}, {1150009, I32, RW},  {1150010, I32, RW},
    {1150011, I32, RW},  {1150012, F64, RW},  {1150025, Bool, W},  {1150026, F64, W},
    {1150027, F64, W},
};

// Reads `id` with the typed function of `type`; a number read is stored in `*value`.
ViStatus Get(ViSession vi, ViAttr id, Type type, double* value = nullptr,
             const char* selector = "") {
  ViInt32 i = -1;
  ViReal64 r = -1;
  ViBoolean b = 9;
  char s[512];
  ViStatus status = VI_SUCCESS;
  switch (type) {
    case I32:
      status = veqdx_GetAttributeViInt32(vi, selector, id, &i), r = i;
      break;
    case F64:
      status = veqdx_GetAttributeViReal64(vi, selector, id, &r);
      break;
    case Bool:
      status = veqdx_GetAttributeViBoolean(vi, selector, id, &b), r = b;
      break;
    case Str:
      return veqdx_GetAttributeViString(vi, selector, id, sizeof s, s);
  }
  if (value != nullptr) *value = r;
  return status;
}

// Writes `value` to `id` with the typed function of `type` (strings write "x").
ViStatus Set(ViSession vi, ViAttr id, Type type, double value = 1, const char* selector = "") {
  switch (type) {
    case I32:
      return veqdx_SetAttributeViInt32(vi, selector, id, static_cast<ViInt32>(value));
    case F64:
      return veqdx_SetAttributeViReal64(vi, selector, id, value);
    case Bool:
      return veqdx_SetAttributeViBoolean(vi, selector, id, static_cast<ViBoolean>(value));
    case Str:
      return veqdx_SetAttributeViString(vi, selector, id, "x");
  }
  return VI_SUCCESS;
}

// Every refusal is returned and recorded for the session.
#define EXPECT_REFUSED(call, status, what)         \
  do {                                             \
    veqdx_ClearError(vi);                          \
    EXPECT_EQ(call, status) << what;               \
    EXPECT_EQ(LastError(vi).code, status) << what; \
  } while (0)

TEST_F(SimulatedSession, EveryAttributeHasItsTypeAndAccessOthersAreNotSupported) {
  for (const Row& row : kTable) {
    SCOPED_TRACE(testing::Message() << "attribute " << row.id);
    for (Type type : {I32, F64, Bool, Str}) {
      if (type == row.type) continue;
      EXPECT_REFUSED(Get(vi, row.id, type), VEQDX_ERROR_TYPES_DO_NOT_MATCH, "get as " << type);
      EXPECT_REFUSED(Set(vi, row.id, type), VEQDX_ERROR_TYPES_DO_NOT_MATCH, "set as " << type);
    }
    ViSession session = 0;
    EXPECT_REFUSED(veqdx_GetAttributeViSession(vi, "", row.id, &session),
                   VEQDX_ERROR_TYPES_DO_NOT_MATCH, "get as session");
    EXPECT_REFUSED(veqdx_SetAttributeViSession(vi, "", row.id, 0), VEQDX_ERROR_TYPES_DO_NOT_MATCH,
                   "set as session");
    if (row.access & R) {
      EXPECT_EQ(Get(vi, row.id, row.type), VI_SUCCESS) << LastError(vi).text;
    } else {
      EXPECT_REFUSED(Get(vi, row.id, row.type), VEQDX_ERROR_ATTR_NOT_READABLE, "get");
    }
    if (!(row.access & W)) {
      EXPECT_REFUSED(Set(vi, row.id, row.type), VEQDX_ERROR_ATTR_NOT_WRITABLE, "set");
    }
  }
  for (ViAttr id : {0u, 1050001u, 1250204u, 1150013u, 0xFFFFFFFFu}) {  // not in the table
    for (Type type : {I32, F64, Bool, Str}) {
      EXPECT_EQ(Get(vi, id, type), VEQDX_ERROR_ATTRIBUTE_NOT_SUPPORTED) << id;
      EXPECT_EQ(Set(vi, id, type), VEQDX_ERROR_ATTRIBUTE_NOT_SUPPORTED) << id;
    }
    EXPECT_EQ(LastError(vi).text,
              "VelmoraQdx: Does not support this class-compliant feature: "
              "property " +
                  std::to_string(id) + ".\r\n");
  }
}

TEST_F(SimulatedSession, IdentityAndSettingsAttributes) {
  const std::pair<ViAttr, const char*> texts[] = {
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
  for (const auto& [id, expected] : texts) {  // the selector is ignored
    char buffer[128];
    EXPECT_EQ(veqdx_GetAttributeViString(vi, "ignored-", id, sizeof buffer, buffer), VI_SUCCESS);
    EXPECT_STREQ(buffer, expected) << id;
  }
  const struct {
    ViAttr id;
    Type type;
    double expected;
  } numbers[] = {
      {VEQDX_ATTR_SPECIFIC_DRIVER_CLASS_SPEC_MAJOR_VERSION, I32, 2},
      {VEQDX_ATTR_SPECIFIC_DRIVER_CLASS_SPEC_MINOR_VERSION, I32, 0},
      {VEQDX_ATTR_CACHE, Bool, VI_TRUE},
      {VEQDX_ATTR_RANGE_CHECK, Bool, VI_TRUE},
      {VEQDX_ATTR_SIMULATE, Bool, VI_TRUE},
      {VEQDX_ATTR_QUERY_INSTRUMENT_STATUS, Bool, 0},
      {VEQDX_ATTR_RECORD_COERCIONS, Bool, 0},
      {VEQDX_ATTR_INTERCHANGE_CHECK, Bool, 0},
      {VEQDX_ATTR_OVP_ENABLED, Bool, VI_TRUE},
  };
  for (const auto& n : numbers) {
    double value = -1;
    ASSERT_EQ(Get(vi, n.id, n.type, &value), VI_SUCCESS);
    EXPECT_EQ(value, n.expected) << n.id;
  }
  ASSERT_EQ(veqdx_SetAttributeViBoolean(vi, "", VEQDX_ATTR_RECORD_COERCIONS, 42), VI_SUCCESS);
  double value = 0;
  ASSERT_EQ(Get(vi, VEQDX_ATTR_RECORD_COERCIONS, Bool, &value), VI_SUCCESS);
  EXPECT_EQ(value, VI_TRUE);  // true comes back as 1
}

// Values refused by the property behind the attribute, and the selector's errors.
TEST_F(SimulatedSession, RefusedAttributeValues) {
  const struct {
    ViAttr id;
    Type type;
    double value;
    ViStatus status;
  } rows[] = {
      {VEQDX_ATTR_SIMULATE, Bool, VI_FALSE, VEQDX_ERROR_SIMULATION_STATE_UNSUPPORTED},
      {VEQDX_ATTR_INTERCHANGE_CHECK, Bool, VI_TRUE, VEQDX_ERROR_VALUE_NOT_SUPPORTED},
      {VEQDX_ATTR_OVP_ENABLED, Bool, VI_FALSE, VEQDX_ERROR_VALUE_NOT_SUPPORTED},
      {VEQDX_ATTR_VOLTAGE_LEVEL, F64, 84.5, VEQDX_ERROR_INVALID_VALUE},
      {VEQDX_ATTR_TRIGGER_SOURCE, I32, 1, VEQDX_ERROR_INVALID_VALUE},
  };
  for (const auto& r : rows) EXPECT_REFUSED(Set(vi, r.id, r.type, r.value), r.status, r.id);
  EXPECT_EQ(LastError(vi).text,
            "VelmoraQdx: Invalid value (1) for method put_TriggerSource, parameter val.\r\n");
  EXPECT_REFUSED(Set(vi, VEQDX_ATTR_SIMULATE, Bool, VI_FALSE), rows[0].status, "");
  EXPECT_EQ(LastError(vi).text, "VelmoraQdx: The simulation state cannot be changed.\r\n");
  EXPECT_EQ(veqdx_SetAttributeViBoolean(vi, "", VEQDX_ATTR_OVP_ENABLED, VI_TRUE), VI_SUCCESS);
  // Output attributes honour the selector; the others ignore it.
  EXPECT_REFUSED(Get(vi, VEQDX_ATTR_VOLTAGE_LEVEL, F64, nullptr, "Output1"),
                 VEQDX_ERROR_UNKNOWN_CHANNEL_NAME, "");
  EXPECT_EQ(LastError(vi).text, "VelmoraQdx: Unknown channel name.\r\nOutput1");
  EXPECT_REFUSED(Get(vi, VEQDX_ATTR_VOLTAGE_LEVEL, F64, nullptr, "Output0-"),
                 VEQDX_ERROR_BADLY_FORMED_SELECTOR, "");
  EXPECT_EQ(LastError(vi).text, "The repeated capability selector is badly-formed.");
  EXPECT_EQ(Get(vi, VEQDX_ATTR_CACHE, Bool, nullptr, "Output0-"), VI_SUCCESS);
}

// The channel count answers through GetAttributeViInt32 only; any other typed access and any
// write is "not supported", not a type or access error.
TEST_F(EmulatedSession, ChannelCountOfATwoChannelUnit) {
  Open("QDX750ML", 2);
  for (ViAttr id : {VEQDX_ATTR_CHANNEL_COUNT, VEQDX_ATTR_OUTPUT_COUNT}) {
    double count = 0;
    ASSERT_EQ(Get(vi, id, I32, &count), VI_SUCCESS);
    EXPECT_EQ(count, 2) << id;
  }
  for (Type type : {F64, Bool}) {
    EXPECT_EQ(Get(vi, VEQDX_ATTR_CHANNEL_COUNT, type), VEQDX_ERROR_ATTRIBUTE_NOT_SUPPORTED);
  }
  EXPECT_EQ(Set(vi, VEQDX_ATTR_CHANNEL_COUNT, I32, 2), VEQDX_ERROR_ATTRIBUTE_NOT_SUPPORTED);
  char name[16];
  ASSERT_EQ(veqdx_GetChannelName(vi, 2, sizeof name, name), VI_SUCCESS);
  EXPECT_STREQ(name, "Output2");
  EXPECT_EQ(veqdx_GetOutputName(vi, 3, sizeof name, name), VEQDX_ERROR_INVALID_VALUE);
  // Output attributes need a selector here.
  EXPECT_EQ(Get(vi, VEQDX_ATTR_VOLTAGE_LEVEL, F64), VEQDX_ERROR_CHANNEL_NAME_REQUIRED);
  EXPECT_WIRE(Lines{});
}

TEST_F(EmulatedSession, OutputAttributesReachTheirProperties) {
  Open("QDX750ML", 2);
  const struct {
    ViAttr id;
    Type type;
    double value;
    const char* command;
  } rows[] = {
      {1250001, F64, 12.5, ":VOLT 12.5"},
      {1250003, F64, 30, ":VOLT:PROT 30"},
      {1250004, I32, 1, ":CURR:PROT:STAT 1"},
      {1250005, F64, 2.5, ":CURR 2.5"},
      {1250006, Bool, 9, ":OUTP 1"} /* any non-zero */,
      {1250101, I32, 0, "TRIG:TRAN:SOUR IMM"},
      {1250102, F64, 1.5, ":CURR:TRIG 1.5"},
      {1250103, F64, 6.5, ":VOLT:TRIG 6.5"},
      {1150001, I32, 1, ":OUTP:EXT:LOG HIGH"},
      {1150002, Bool, 1, ":OUTP:EXT 1"},
      {1150003, Bool, 1, ":CURR:EXT:SOUR VOLT"},
      {1150004, Bool, 0, ":VOLT:EXT:SOUR NONE"},
      {1150005, I32, 1, ":VOLT:EXT:RANG HIGH"},
      {1150006, F64, 0.5, ":VOLT:LIM:LOW 0.5"},
      {1150007, I32, 1, ":OUTP:PON AUTO"},
      {1150008, Bool, 0, ":SYST:CONF:BLE 0"},
      {1150009, I32, 0, ":SYST:CONF:PROT:REC SAFE"},
      {1150010, I32, 0, ":SYST:CONF:STAR:PRI CC"},
      {1150011, I32, 0, ":SYST:CONF:MON:RANG LOW"},
      {1150012, F64, 12, ":CURR:PROT 12"},
  };
  Lines expected{":INST:NSEL 1"};
  for (const auto& row : rows) {
    ASSERT_EQ(Set(vi, row.id, row.type, row.value, "Output1"), VI_SUCCESS)
        << row.id << ": " << LastError(vi).text;
    expected.push_back(row.command);
    EXPECT_EQ(Wire(expected.size()), expected) << row.id;
    expected.clear();
  }
  // Each reads back what was written through the same number (true as 1), from the cache or
  // from the instrument.
  for (const auto& row : rows) {
    double read = -1;
    EXPECT_EQ(Get(vi, row.id, row.type, &read, "Output1"), VI_SUCCESS) << LastError(vi).text;
    EXPECT_EQ(read, row.type == Bool ? row.value != 0 : row.value) << row.id;
  }
  Wire();

  // Reads ask the instrument (Cache off, so every read goes out).
  ASSERT_EQ(veqdx_SetAttributeViBoolean(vi, "", VEQDX_ATTR_CACHE, VI_FALSE), VI_SUCCESS);
  double value = -1;
  ASSERT_EQ(Get(vi, 1150011, I32, &value, "Output1"), VI_SUCCESS) << LastError(vi).text;
  EXPECT_EQ(value, 0);
  ASSERT_EQ(Get(vi, VEQDX_ATTR_OVP_ENABLED, Bool, &value, "Output1"), VI_SUCCESS);
  EXPECT_EQ(value, VI_TRUE);
  ASSERT_EQ(Set(vi, VEQDX_ATTR_OVP_ENABLED, Bool, VI_TRUE, "Output1"), VI_SUCCESS);
  ASSERT_EQ(veqdx_SetAttributeViReal64(vi, "", VEQDX_ATTR_GLOBAL_VOLTAGE_LEVEL, 3), VI_SUCCESS);
  EXPECT_WIRE(Lines{":INST:NSEL 1", ":SYST:CONF:MON:RANG?", ":GLOB:VOLT 3"});
}

}  // namespace
}  // namespace capi_test
