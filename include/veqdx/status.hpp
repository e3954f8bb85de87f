// Status codes of the VelmoraQdx object model. Every member returns an HRESULT: 0 is success,
// a clear severity bit a warning (still success), a set bit an error. The C interface converts
// these to ViStatus codes (see veqdx.h).
#pragma once
#include <cstdint>

namespace veqdx {

// Same type as the driver core's HRESULT; redeclaring an alias to the same type is allowed.
using HRESULT = std::int32_t;

namespace status_detail {
constexpr HRESULT Hr(std::uint32_t bits) { return static_cast<HRESULT>(bits); }
}  // namespace status_detail

// Conditions defined by the IVI driver standard.
constexpr HRESULT E_IVI_CANNOT_RECOVER = status_detail::Hr(0x80047000u);
constexpr HRESULT E_IVI_INSTRUMENT_STATUS = status_detail::Hr(0x80047001u);
constexpr HRESULT E_IVI_CANNOT_OPEN_FILE = status_detail::Hr(0x80047002u);
constexpr HRESULT E_IVI_READING_FILE = status_detail::Hr(0x80047003u);
constexpr HRESULT E_IVI_WRITING_FILE = status_detail::Hr(0x80047004u);
constexpr HRESULT E_IVI_INVALID_PATHNAME = status_detail::Hr(0x8004700Bu);
constexpr HRESULT E_IVI_INVALID_VALUE = status_detail::Hr(0x80047010u);
constexpr HRESULT E_IVI_METHOD_NOT_SUPPORTED = status_detail::Hr(0x80047011u);
constexpr HRESULT E_IVI_PROPERTY_NOT_SUPPORTED = status_detail::Hr(0x80047012u);
constexpr HRESULT E_IVI_VALUE_NOT_SUPPORTED = status_detail::Hr(0x80047013u);
constexpr HRESULT E_IVI_NOT_INITIALIZED = status_detail::Hr(0x8004701Du);
constexpr HRESULT E_IVI_UNKNOWN_CHANNEL_NAME = status_detail::Hr(0x80047020u);
constexpr HRESULT E_IVI_TOO_MANY_OPEN_FILES = status_detail::Hr(0x80047023u);
constexpr HRESULT E_IVI_CHANNEL_NAME_REQUIRED = status_detail::Hr(0x80047044u);
constexpr HRESULT E_IVI_MISSING_OPTION_NAME = status_detail::Hr(0x80047049u);
constexpr HRESULT E_IVI_MISSING_OPTION_VALUE = status_detail::Hr(0x8004704Au);
constexpr HRESULT E_IVI_BAD_OPTION_NAME = status_detail::Hr(0x8004704Bu);
constexpr HRESULT E_IVI_BAD_OPTION_VALUE = status_detail::Hr(0x8004704Cu);
constexpr HRESULT E_IVI_OUT_OF_MEMORY = status_detail::Hr(0x80047056u);
constexpr HRESULT E_IVI_OPERATION_PENDING = status_detail::Hr(0x80047057u);
constexpr HRESULT E_IVI_NULL_POINTER = status_detail::Hr(0x80047058u);
constexpr HRESULT E_IVI_UNEXPECTED_RESPONSE = status_detail::Hr(0x80047059u);
constexpr HRESULT E_IVI_FILE_NOT_FOUND = status_detail::Hr(0x8004705Bu);
constexpr HRESULT E_IVI_INVALID_FILE_FORMAT = status_detail::Hr(0x8004705Cu);
constexpr HRESULT E_IVI_STATUS_NOT_AVAILABLE = status_detail::Hr(0x8004705Du);
constexpr HRESULT E_IVI_ID_QUERY_FAILED = status_detail::Hr(0x8004705Eu);
constexpr HRESULT E_IVI_RESET_FAILED = status_detail::Hr(0x8004705Fu);
constexpr HRESULT E_IVI_RESOURCE_UNKNOWN = status_detail::Hr(0x80047060u);
constexpr HRESULT E_IVI_ALREADY_INITIALIZED = status_detail::Hr(0x80047061u);
constexpr HRESULT E_IVI_SIMULATION_STATE_UNSUPPORTED = status_detail::Hr(0x80047062u);
constexpr HRESULT E_IVI_INVALID_NUMBER_OF_LEVELS_IN_SELECTOR = status_detail::Hr(0x80047063u);
constexpr HRESULT E_IVI_INVALID_RANGE_IN_SELECTOR = status_detail::Hr(0x80047064u);
constexpr HRESULT E_IVI_UNKNOWN_NAME_IN_SELECTOR = status_detail::Hr(0x80047065u);
constexpr HRESULT E_IVI_BADLY_FORMED_SELECTOR = status_detail::Hr(0x80047066u);
constexpr HRESULT E_IVI_UNKNOWN_PHYSICAL_IDENTIFIER = status_detail::Hr(0x80047067u);

// Warnings: the operation is not supported by the instrument, the call still succeeds. Note
// that S_IVI_NSUP_ID_QUERY and E_IVI_UNKNOWN_NAME_IN_SELECTOR differ only in severity.
constexpr HRESULT S_IVI_NSUP_ID_QUERY = status_detail::Hr(0x00047065u);
constexpr HRESULT S_IVI_NSUP_RESET = status_detail::Hr(0x00047066u);
constexpr HRESULT S_IVI_NSUP_SELF_TEST = status_detail::Hr(0x00047067u);
constexpr HRESULT S_IVI_NSUP_ERROR_QUERY = status_detail::Hr(0x00047068u);
constexpr HRESULT S_IVI_NSUP_REV_QUERY = status_detail::Hr(0x00047069u);

// The DC power class's own error.
constexpr HRESULT E_IVIDCPWR_TRIGGER_NOT_SOFTWARE = status_detail::Hr(0x80041001u);

// The driver's own errors, as published in its type library. Scoped, because the driver core
// declares constants of the same names; compare with static_cast<HRESULT>(...).
// "Not licensed" is numerically above "not installed" although it comes first in the table.
enum class VelmoraQdxErrorCodesEnum : std::int32_t {
  E_VELMORAQDX_IO_GENERAL = status_detail::Hr(0x80044214u),
  E_VELMORAQDX_IO_TIMEOUT = status_detail::Hr(0x80044215u),
  E_VELMORAQDX_MODEL_NOT_SUPPORTED = status_detail::Hr(0x80044216u),
  E_VELMORAQDX_PERSONALITY_NOT_ACTIVE = status_detail::Hr(0x80044211u),
  E_VELMORAQDX_PERSONALITY_NOT_LICENSED = status_detail::Hr(0x80044213u),
  E_VELMORAQDX_PERSONALITY_NOT_INSTALLED = status_detail::Hr(0x80044212u),
};

}  // namespace veqdx
