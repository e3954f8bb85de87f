#include "api/status_map.h"

#include <cstdio>
#include <optional>
#include <unordered_map>

#include "base/error_reporter.h"

namespace veqdx::api {
namespace {

// One row per status the C interface knows: the object-layer status it converts from (none for
// the statuses only the C interface itself reports) and its text. The texts differ in places
// from the object layer's messages ("Failure cannot recover.", "Unexpected response from
// instrument.", ...); they are kept as callers know them. Codes without a row: any other
// failure becomes VEQDX_ERROR_CANNOT_RECOVER, any other success VI_SUCCESS.
struct StatusRow {
  std::optional<HRESULT> hr;
  ViStatus status;
  const char* text;
};

const StatusRow kStatuses[] = {
    {E_VELMORAQDX_IO_GENERAL, VEQDX_ERROR_IO_GENERAL, "I/O error."},
    {E_VELMORAQDX_IO_TIMEOUT, VEQDX_ERROR_IO_TIMEOUT, "I/O timeout error."},
    {E_VELMORAQDX_MODEL_NOT_SUPPORTED, VEQDX_ERROR_MODEL_NOT_SUPPORTED,
     "Instrument model does not support this feature."},
    {E_VELMORAQDX_PERSONALITY_NOT_ACTIVE, VEQDX_ERROR_PERSONALITY_NOT_ACTIVE,
     "Personality is not active."},
    {E_VELMORAQDX_PERSONALITY_NOT_LICENSED, VEQDX_ERROR_PERSONALITY_NOT_LICENSED,
     "Personality is not licensed."},
    {E_VELMORAQDX_PERSONALITY_NOT_INSTALLED, VEQDX_ERROR_PERSONALITY_NOT_INSTALLED,
     "Personality is not installed."},
    {E_IVI_CANNOT_RECOVER, VEQDX_ERROR_CANNOT_RECOVER, "Failure cannot recover."},
    {E_IVI_INSTRUMENT_STATUS, VEQDX_ERROR_INSTRUMENT_STATUS,
     "Instrument error detected.  Use ErrorQuery() to determine the error(s)."},
    {E_IVI_CANNOT_OPEN_FILE, VEQDX_ERROR_CANNOT_OPEN_FILE, "Cannot open file."},
    {E_IVI_READING_FILE, VEQDX_ERROR_READING_FILE, "Error reading file."},
    {E_IVI_WRITING_FILE, VEQDX_ERROR_WRITING_FILE, "Error writing file."},
    {E_IVI_INVALID_PATHNAME, VEQDX_ERROR_INVALID_PATHNAME, "The pathname is invalid."},
    {E_IVI_INVALID_VALUE, VEQDX_ERROR_INVALID_VALUE,
     "Invalid value (%1) for method %2, parameter %3."},
    {E_IVI_METHOD_NOT_SUPPORTED, VEQDX_ERROR_FUNCTION_NOT_SUPPORTED,
     "Does not support this class-compliant feature: method %1"},
    {E_IVI_PROPERTY_NOT_SUPPORTED, VEQDX_ERROR_ATTRIBUTE_NOT_SUPPORTED,
     "Does not support this class-compliant feature: property %1."},
    {E_IVI_VALUE_NOT_SUPPORTED, VEQDX_ERROR_VALUE_NOT_SUPPORTED,
     "Does not support this class-compliant feature:  (enumeration) value %1 passed as the "
     "value for parameter %2 in method %3."},
    {E_IVI_NOT_INITIALIZED, VEQDX_ERROR_NOT_INITIALIZED,
     "A connection to the instrument has not been established."},
    {E_IVI_UNKNOWN_CHANNEL_NAME, VEQDX_ERROR_UNKNOWN_CHANNEL_NAME, "Unknown channel name."},
    {E_IVI_TOO_MANY_OPEN_FILES, VEQDX_ERROR_TOO_MANY_OPEN_FILES, "Too many files are open."},
    {E_IVI_CHANNEL_NAME_REQUIRED, VEQDX_ERROR_CHANNEL_NAME_REQUIRED,
     "A channel name is required."},
    {E_IVI_MISSING_OPTION_NAME, VEQDX_ERROR_MISSING_OPTION_NAME,
     "The option string is missing an option name."},
    {E_IVI_MISSING_OPTION_VALUE, VEQDX_ERROR_MISSING_OPTION_VALUE,
     "The option string is missing an option value."},
    {E_IVI_BAD_OPTION_NAME, VEQDX_ERROR_BAD_OPTION_NAME,
     "The %1 name in the option string is unknown."},
    {E_IVI_BAD_OPTION_VALUE, VEQDX_ERROR_BAD_OPTION_VALUE,
     "The %1 value in the option string is unknown."},
    {E_IVI_OUT_OF_MEMORY, VEQDX_ERROR_OUT_OF_MEMORY, "Could not allocate necessary memory."},
    {E_IVI_OPERATION_PENDING, VEQDX_ERROR_OPERATION_PENDING, "Operation in progress."},
    {E_IVI_NULL_POINTER, VEQDX_ERROR_NULL_POINTER,
     "Null pointer passed for method %1, parameter %2."},
    {E_IVI_UNEXPECTED_RESPONSE, VEQDX_ERROR_UNEXPECTED_RESPONSE,
     "Unexpected response from instrument."},
    {E_IVI_FILE_NOT_FOUND, VEQDX_ERROR_FILE_NOT_FOUND, "File not found."},
    {E_IVI_INVALID_FILE_FORMAT, VEQDX_ERROR_INVALID_FILE_FORMAT, "Invalid file format."},
    {E_IVI_STATUS_NOT_AVAILABLE, VEQDX_ERROR_STATUS_NOT_AVAILABLE,
     "The instrument status is not available."},
    {E_IVI_ID_QUERY_FAILED, VEQDX_ERROR_ID_QUERY_FAILED, "Instrument ID query failed."},
    {E_IVI_RESET_FAILED, VEQDX_ERROR_RESET_FAILED, "Instrument reset failed."},
    {E_IVI_RESOURCE_UNKNOWN, VEQDX_ERROR_RESOURCE_UNKNOWN, "Unknown resource."},
    {E_IVI_ALREADY_INITIALIZED, VEQDX_ERROR_ALREADY_INITIALIZED,
     "The driver is already initialized."},
    {E_IVI_SIMULATION_STATE_UNSUPPORTED, VEQDX_ERROR_SIMULATION_STATE_UNSUPPORTED,
     "The simulation state cannot be changed."},
    {E_IVI_INVALID_NUMBER_OF_LEVELS_IN_SELECTOR, VEQDX_ERROR_INVALID_NUMBER_OF_LEVELS_IN_SELECTOR,
     "The number of levels in the selector is not valid for the %1 repeated capability."},
    {E_IVI_INVALID_RANGE_IN_SELECTOR, VEQDX_ERROR_INVALID_RANGE_IN_SELECTOR,
     "The range %1 is not valid for the repeated capability %2."},
    {E_IVI_UNKNOWN_NAME_IN_SELECTOR, VEQDX_ERROR_UNKNOWN_NAME_IN_SELECTOR,
     "Unknown name in selector."},
    {E_IVI_BADLY_FORMED_SELECTOR, VEQDX_ERROR_BADLY_FORMED_SELECTOR,
     "The repeated capability selector is badly-formed."},
    {E_IVI_UNKNOWN_PHYSICAL_IDENTIFIER, VEQDX_ERROR_UNKNOWN_PHYSICAL_IDENTIFIER,
     "Unknown physical repeated capability selector."},
    {E_IVIDCPWR_TRIGGER_NOT_SOFTWARE, VEQDX_ERROR_TRIGGER_NOT_SOFTWARE,
     "The trigger source is not set to software trigger."},
    {std::nullopt, VEQDX_ERROR_INVALID_REGISTER, "The given Register type is invalid."},
    {std::nullopt, VEQDX_ERROR_INVALID_SUB_REGISTER, "The given Sub-Register type is invalid."},
    {std::nullopt, VEQDX_ERROR_INVALID_SESSION_HANDLE, "The session handle is not valid."},
    {S_OK, VI_SUCCESS, "Success."},
    {S_IVI_NSUP_ID_QUERY, VEQDX_WARN_NSUP_ID_QUERY,
     "ID Query is not supported by this instrument."},
    {S_IVI_NSUP_RESET, VEQDX_WARN_NSUP_RESET, "Reset is not supported by this instrument."},
    {S_IVI_NSUP_SELF_TEST, VEQDX_WARN_NSUP_SELF_TEST,
     "Self test is not supported by this instrument."},
    {S_IVI_NSUP_ERROR_QUERY, VEQDX_WARN_NSUP_ERROR_QUERY,
     "Error query is not supported by this instrument."},
    {S_IVI_NSUP_REV_QUERY, VEQDX_WARN_NSUP_REV_QUERY,
     "Firmware revision query is not supported by this instrument."},
};

using ConversionMap = std::unordered_map<HRESULT, ViStatus>;
using MessageMap = std::unordered_map<ViStatus, const char*>;

// Both lookups are built from the table on first use and read-only afterwards, so concurrent
// lookups need no lock.
const ConversionMap& Conversions() {
  static const ConversionMap map = [] {
    ConversionMap m;
    for (const StatusRow& row : kStatuses) {
      if (row.hr) m.emplace(*row.hr, row.status);
    }
    return m;
  }();
  return map;
}

const MessageMap& Messages() {
  static const MessageMap map = [] {
    MessageMap m;
    for (const StatusRow& row : kStatuses) m.emplace(row.status, row.text);
    return m;
  }();
  return map;
}

}  // namespace

std::optional<ViStatus> FindConversion(HRESULT hr) {
  const auto& map = Conversions();
  auto it = map.find(hr);
  if (it == map.end()) return std::nullopt;
  return it->second;
}

ViStatus ToViStatus(HRESULT hr) {
  if (auto converted = FindConversion(hr)) return *converted;
  return Failed(hr) ? VEQDX_ERROR_CANNOT_RECOVER : VI_SUCCESS;
}

const char* FindStatusMessage(ViStatus status) {
  const auto& map = Messages();
  auto it = map.find(status);
  return it == map.end() ? nullptr : it->second;
}

StatusMessage DescribeStatus(ViStatus status) {
  if (const char* text = FindStatusMessage(status)) return {text, VI_SUCCESS};
  char buf[64];
  std::snprintf(buf, sizeof buf, "Unknown status code 0x%08X.", static_cast<unsigned>(status));
  return {buf, VEQDX_WARN_UNKNOWN_STATUS};
}

std::size_t ConversionCount() { return Conversions().size(); }
std::size_t StatusMessageCount() { return Messages().size(); }

}  // namespace veqdx::api
