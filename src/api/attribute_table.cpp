#include "api/attribute_table.h"

#include <iterator>
#include <string>
#include <type_traits>

#include "core/velmoraqdx.h"
#include "dcpwr/global.h"
#include "dcpwr/output.h"
#include "dcpwr/output_ivi.h"

namespace veqdx::api {
namespace {

using dcpwr::CVelmoraQdxOutput;

// ---- value conversion between the record's AttrValue and a property's own type ----------
void Store(AttrValue& v, VARIANT_BOOL value) { v.boolean = value != VARIANT_FALSE; }
void Store(AttrValue& v, std::int32_t value) { v.int32 = value; }
void Store(AttrValue& v, double value) { v.real64 = value; }
void Store(AttrValue& v, std::string value) { v.string = std::move(value); }
template <class E>
  requires std::is_enum_v<E>
void Store(AttrValue& v, E value) {
  v.int32 = static_cast<std::int32_t>(value);
}

template <class T>
T Load(const AttrValue& v) {
  if constexpr (std::is_same_v<T, VARIANT_BOOL>) {
    return v.boolean ? VARIANT_TRUE : VARIANT_FALSE;
  } else if constexpr (std::is_same_v<T, double>) {
    return v.real64;
  } else {
    static_assert(std::is_enum_v<T> || std::is_same_v<T, std::int32_t>);
    // Values outside an enumeration go through: the property's range check or converter
    // reports them, as it would for a C++ caller.
    return static_cast<T>(v.int32);
  }
}

// The value type of a getter HRESULT (C::*)(T*) and of a setter HRESULT (C::*)(T).
template <class M>
struct GetterOf;
template <class C, class T>
struct GetterOf<HRESULT (C::*)(T*)> {
  using type = T;
};
template <class M>
struct SetterOf;
template <class C, class T>
struct SetterOf<HRESULT (C::*)(T)> {
  using type = T;
};

template <auto Getter>
HRESULT DriverGet(AttrTarget& t, AttrValue& v) {
  typename GetterOf<decltype(Getter)>::type value{};
  const HRESULT hr = (t.driver.*Getter)(&value);
  Store(v, std::move(value));
  return hr;
}

template <auto Setter>
HRESULT DriverSet(AttrTarget& t, const AttrValue& v) {
  return (t.driver.*Setter)(Load<typename SetterOf<decltype(Setter)>::type>(v));
}

template <auto Getter>
HRESULT OutputGet(AttrTarget& t, AttrValue& v) {
  typename GetterOf<decltype(Getter)>::type value{};
  const HRESULT hr = (t.output->*Getter)(&value);
  Store(v, std::move(value));
  return hr;
}

template <auto Setter>
HRESULT OutputSet(AttrTarget& t, const AttrValue& v) {
  return (t.output->*Setter)(Load<typename SetterOf<decltype(Setter)>::type>(v));
}

// ---- the few attributes that are not a plain property of the driver or an output ----------
HRESULT GetPrefix(AttrTarget& t, AttrValue& v) {
  v.string = t.driver.Constants().prefix;
  return S_OK;
}

HRESULT GetOutputCount(AttrTarget& t, AttrValue& v) {
  v.int32 = static_cast<std::int32_t>(t.driver.OutputCount());
  return S_OK;
}

// Over-voltage protection is always on in this family; the class-compliant view says so.
HRESULT GetOvpEnabled(AttrTarget& t, AttrValue& v) {
  VARIANT_BOOL value = VARIANT_FALSE;
  const HRESULT hr = t.output->IviDCPwr().get_OVPEnabled(&value);
  Store(v, value);
  return hr;
}

HRESULT SetOvpEnabled(AttrTarget& t, const AttrValue& v) {
  return t.output->IviDCPwr().put_OVPEnabled(Load<VARIANT_BOOL>(v));
}

HRESULT SetGlobalEnabled(AttrTarget& t, const AttrValue& v) {
  return dcpwr::CGlobal(t.driver).put_Enabled(Load<VARIANT_BOOL>(v));
}

HRESULT SetGlobalVoltageLevel(AttrTarget& t, const AttrValue& v) {
  return dcpwr::CGlobal(t.driver).put_VoltageLevel(v.real64);
}

HRESULT SetGlobalCurrentLimit(AttrTarget& t, const AttrValue& v) {
  return dcpwr::CGlobal(t.driver).put_CurrentLimit(v.real64);
}

constexpr AttrType kInt = AttrType::Int32;
constexpr AttrType kReal = AttrType::Real64;
constexpr AttrType kBool = AttrType::Boolean;
constexpr AttrType kString = AttrType::String;
constexpr bool kDriverWide = false;
constexpr bool kPerOutput = true;

// Driver-wide read/write and read-only properties.
#define VEQDX_DRIVER_RW(id, type, prop)                                                   \
  AttributeRecord {                                                                       \
    id, type, kDriverWide, #prop, &DriverGet<&CDriver::get_##prop>,                       \
        &DriverSet<&CDriver::put_##prop>                                                  \
  }
#define VEQDX_DRIVER_RO(id, type, prop)                                                   \
  AttributeRecord {                                                                       \
    id, type, kDriverWide, #prop, &DriverGet<&CDriver::get_##prop>, nullptr               \
  }
#define VEQDX_OUTPUT_RW(id, type, prop)                                                   \
  AttributeRecord {                                                                       \
    id, type, kPerOutput, #prop, &OutputGet<&CVelmoraQdxOutput::get_##prop>,               \
        &OutputSet<&CVelmoraQdxOutput::put_##prop>                                         \
  }

const AttributeRecord kRecords[] = {
    // Inherent settings and identity.
    VEQDX_DRIVER_RW(1050002, kBool, RangeCheck),
    VEQDX_DRIVER_RW(1050003, kBool, QueryInstrumentStatus),
    VEQDX_DRIVER_RW(1050004, kBool, Cache),
    VEQDX_DRIVER_RW(1050005, kBool, Simulate),
    VEQDX_DRIVER_RW(1050006, kBool, RecordCoercions),
    VEQDX_DRIVER_RO(1050007, kString, DriverSetup),
    VEQDX_DRIVER_RW(1050021, kBool, InterchangeCheck),
    AttributeRecord{1050302, kString, kDriverWide, "SpecificDriverPrefix", &GetPrefix, nullptr},
    VEQDX_DRIVER_RO(1050304, kString, IoResourceDescriptor),
    VEQDX_DRIVER_RO(1050305, kString, LogicalName),
    VEQDX_DRIVER_RO(1050327, kString, SupportedInstrumentModels),
    VEQDX_DRIVER_RO(1050401, kString, GroupCapabilities),
    VEQDX_DRIVER_RO(1050510, kString, InstrumentFirmwareRevision),
    VEQDX_DRIVER_RO(1050511, kString, InstrumentManufacturer),
    VEQDX_DRIVER_RO(1050512, kString, InstrumentModel),
    VEQDX_DRIVER_RO(1050513, kString, Vendor),
    VEQDX_DRIVER_RO(1050514, kString, Description),
    VEQDX_DRIVER_RO(1050515, kInt, SpecificationMajorVersion),
    VEQDX_DRIVER_RO(1050516, kInt, SpecificationMinorVersion),
    VEQDX_DRIVER_RO(1050551, kString, Revision),
    // DC power class, per output.
    VEQDX_OUTPUT_RW(1250001, kReal, VoltageLevel),
    AttributeRecord{1250002, kBool, kPerOutput, "OVPEnabled", &GetOvpEnabled, &SetOvpEnabled},
    VEQDX_OUTPUT_RW(1250003, kReal, OVPLimit),
    VEQDX_OUTPUT_RW(1250004, kInt, CurrentLimitBehavior),
    VEQDX_OUTPUT_RW(1250005, kReal, CurrentLimit),
    VEQDX_OUTPUT_RW(1250006, kBool, Enabled),
    VEQDX_OUTPUT_RW(1250101, kInt, TriggerSource),
    VEQDX_OUTPUT_RW(1250102, kReal, TriggeredCurrentLimit),
    VEQDX_OUTPUT_RW(1250103, kReal, TriggeredVoltageLevel),
    AttributeRecord{1250203, kInt, kDriverWide, "OutputCount", &GetOutputCount, nullptr},
    // Instrument-specific, per output.
    VEQDX_OUTPUT_RW(1150001, kInt, OutputControlLogic),
    VEQDX_OUTPUT_RW(1150002, kBool, OutputControlEnabled),
    VEQDX_OUTPUT_RW(1150003, kBool, CCControlEnabled),
    VEQDX_OUTPUT_RW(1150004, kBool, CVControlEnabled),
    VEQDX_OUTPUT_RW(1150005, kInt, AlanogControlRange),
    VEQDX_OUTPUT_RW(1150006, kReal, UVL),
    VEQDX_OUTPUT_RW(1150007, kInt, PONState),
    VEQDX_OUTPUT_RW(1150008, kBool, BleederEnabled),
    VEQDX_OUTPUT_RW(1150009, kInt, ProtectionRecovery),
    VEQDX_OUTPUT_RW(1150010, kInt, OperationPriority),
    VEQDX_OUTPUT_RW(1150011, kInt, ExternalMonitorRange),
    VEQDX_OUTPUT_RW(1150012, kReal, OCPLimit),
    // Global settings: write-only, for every output at once.
    AttributeRecord{1150025, kBool, kDriverWide, "GlobalEnabled", nullptr, &SetGlobalEnabled},
    AttributeRecord{1150026, kReal, kDriverWide, "GlobalVoltageLevel", nullptr,
                    &SetGlobalVoltageLevel},
    AttributeRecord{1150027, kReal, kDriverWide, "GlobalCurrentLimit", nullptr,
                    &SetGlobalCurrentLimit},
};

#undef VEQDX_DRIVER_RW
#undef VEQDX_DRIVER_RO
#undef VEQDX_OUTPUT_RW

}  // namespace

const char* AttrTypeName(AttrType type) {
  switch (type) {
    case AttrType::Int32: return "ViInt32";
    case AttrType::Real64: return "ViReal64";
    case AttrType::Boolean: return "ViBoolean";
    case AttrType::String: return "ViString";
    case AttrType::Session: return "ViSession";
  }
  return "unknown";
}

const AttributeRecord* FindAttribute(ViAttr id) {
  for (const AttributeRecord& record : kRecords) {
    if (record.id == id) return &record;
  }
  return nullptr;
}

const AttributeRecord* AttributeRecords(std::size_t* count) {
  if (count != nullptr) *count = std::size(kRecords);
  return kRecords;
}

}  // namespace veqdx::api
