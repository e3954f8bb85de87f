// How the method trace names the object model's types and writes their values: doubles in
// the shortest form that reads back to the same value, VARIANT_BOOL as true/false,
// enumerations by member name.
#pragma once
#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "base/hresult.h"
#include "veqdx/enums.hpp"
#include "veqdx/ivi_interfaces.hpp"

namespace veqdx {

// A 16-bit register value: the same C++ type as VARIANT_BOOL, so it is marked.
struct TraceShort {
  std::int16_t value;
};

// Name of an enumeration value; the number itself for a value that is no member.
std::string TraceEnumText(std::string_view enumName, std::int32_t value);

template <class T>
constexpr const char* TraceEnumName() {
  if constexpr (std::is_same_v<T, VelmoraQdxCurrentLimitBehaviorEnum>)
    return "VelmoraQdxCurrentLimitBehaviorEnum";
  else if constexpr (std::is_same_v<T, VelmoraQdxMeasurementTypeEnum>)
    return "VelmoraQdxMeasurementTypeEnum";
  else if constexpr (std::is_same_v<T, VelmoraQdxOutputStateEnum>)
    return "VelmoraQdxOutputStateEnum";
  else if constexpr (std::is_same_v<T, VelmoraQdxTriggerSourceEnum>)
    return "VelmoraQdxTriggerSourceEnum";
  else if constexpr (std::is_same_v<T, VelmoraQdxExternalRangeEnum>)
    return "VelmoraQdxExternalRangeEnum";
  else if constexpr (std::is_same_v<T, VelmoraQdxPONStateEnum>)
    return "VelmoraQdxPONStateEnum";
  else if constexpr (std::is_same_v<T, VelmoraQdxProtectionRecoveryEnum>)
    return "VelmoraQdxProtectionRecoveryEnum";
  else if constexpr (std::is_same_v<T, VelmoraQdxOperationModeEnum>)
    return "VelmoraQdxOperationModeEnum";
  else if constexpr (std::is_same_v<T, VelmoraQdxExternalLogicEnum>)
    return "VelmoraQdxExternalLogicEnum";
  else if constexpr (std::is_same_v<T, IviDCPwrCurrentLimitBehaviorEnum>)
    return "IviDCPwrCurrentLimitBehaviorEnum";
  else if constexpr (std::is_same_v<T, IviDCPwrRangeTypeEnum>)
    return "IviDCPwrRangeTypeEnum";
  else
    return nullptr;
}

template <class T>
std::string TraceTypeName() {
  if constexpr (std::is_enum_v<T>) {
    static_assert(TraceEnumName<T>() != nullptr, "an enumeration of the object model");
    return TraceEnumName<T>();
  } else if constexpr (std::is_same_v<T, double>) {
    return "double";
  } else if constexpr (std::is_same_v<T, VARIANT_BOOL> || std::is_same_v<T, bool>) {
    return "VARIANT_BOOL";
  } else if constexpr (std::is_same_v<T, TraceShort>) {
    return "short";
  } else if constexpr (std::is_same_v<T, std::int32_t>) {
    return "long";
  } else if constexpr (std::is_same_v<T, std::uint8_t>) {
    return "BYTE";
  } else {
    static_assert(std::is_convertible_v<const T&, std::string_view>, "a traced type");
    return "BSTR";
  }
}

template <class T>
std::string TraceValueText(const T& v) {
  if constexpr (std::is_enum_v<T>) {
    return TraceEnumText(TraceEnumName<T>(), static_cast<std::int32_t>(v));
  } else if constexpr (std::is_same_v<T, double>) {
    char buf[32];
    const auto r = std::to_chars(buf, buf + sizeof buf, v);
    return std::string(buf, r.ptr);
  } else if constexpr (std::is_same_v<T, VARIANT_BOOL> || std::is_same_v<T, bool>) {
    return v ? "true" : "false";
  } else if constexpr (std::is_same_v<T, TraceShort>) {
    return std::to_string(v.value);
  } else if constexpr (std::is_same_v<T, std::int32_t> || std::is_same_v<T, std::uint8_t>) {
    return std::to_string(v);
  } else {
    return std::string(std::string_view(v));
  }
}

}  // namespace veqdx
