#include "api/status_map.h"

#include <cstdio>
#include <unordered_map>

namespace veqdx::api {
namespace {

constexpr ViStatus Vs(std::uint32_t bits) { return static_cast<ViStatus>(bits); }

using ConversionMap = std::unordered_map<HRESULT, ViStatus>;
using MessageMap = std::unordered_map<ViStatus, const char*>;

// Each status the object layer reports has one flat counterpart; built on first use, read-only
// afterwards, so concurrent lookups need no lock.
const ConversionMap& Conversions() {
  static const ConversionMap map = [] {
    ConversionMap m;
    // IVI class-compliant errors keep their offset: 0x80047000 + k -> 0xBFFA0000 + k.
    constexpr std::uint32_t kIviOffsets[] = {0x00, 0x01, 0x02, 0x03, 0x04, 0x0B, 0x10, 0x11,
                                             0x12, 0x13, 0x1D, 0x20, 0x23, 0x44, 0x49, 0x4A,
                                             0x4B, 0x4C, 0x56, 0x57, 0x58, 0x59, 0x5B};
    for (std::uint32_t k : kIviOffsets) m.emplace(MakeHr(0x80047000u + k), Vs(0xBFFA0000u + k));
    for (std::uint32_t k = 0x5C; k <= 0x67; ++k) {
      m.emplace(MakeHr(0x80047000u + k), Vs(0xBFFA0000u + k));
    }
    // The driver's own codes.
    for (std::uint32_t k = 0x4211; k <= 0x4216; ++k) {
      m.emplace(MakeHr(0x80040000u + k), Vs(0xBFFA0000u + k));
    }
    m.emplace(MakeHr(0x80041001u), Vs(0xBFFA1001u));  // trigger source not software
    m.emplace(S_OK, VI_SUCCESS);
    // "Not supported by this instrument" warnings.
    for (std::uint32_t k = 0x65; k <= 0x69; ++k) {
      m.emplace(MakeHr(0x00047000u + k), Vs(0x3FFA0000u + k));
    }
    return m;
  }();
  return map;
}

// The texts differ in places from the object layer's messages ("Failure cannot recover.",
// "Unexpected response from instrument.", ...); they are kept as callers know them.
const MessageMap& Messages() {
  static const MessageMap map = {
      {Vs(0xBFFA4214u), "I/O error."},
      {Vs(0xBFFA4215u), "I/O timeout error."},
      {Vs(0xBFFA4216u), "Instrument model does not support this feature."},
      {Vs(0xBFFA4211u), "Personality is not active."},
      {Vs(0xBFFA4213u), "Personality is not licensed."},
      {Vs(0xBFFA4212u), "Personality is not installed."},
      {Vs(0xBFFA0000u), "Failure cannot recover."},
      {Vs(0xBFFA0001u),
       "Instrument error detected.  Use ErrorQuery() to determine the error(s)."},
      {Vs(0xBFFA0002u), "Cannot open file."},
      {Vs(0xBFFA0003u), "Error reading file."},
      {Vs(0xBFFA0004u), "Error writing file."},
      {Vs(0xBFFA000Bu), "The pathname is invalid."},
      {Vs(0xBFFA0010u), "Invalid value (%1) for method %2, parameter %3."},
      {Vs(0xBFFA0011u), "Does not support this class-compliant feature: method %1"},
      {Vs(0xBFFA0012u), "Does not support this class-compliant feature: property %1."},
      {Vs(0xBFFA0013u),
       "Does not support this class-compliant feature:  (enumeration) value %1 passed as the "
       "value for parameter %2 in method %3."},
      {Vs(0xBFFA001Du), "A connection to the instrument has not been established."},
      {Vs(0xBFFA0020u), "Unknown channel name."},
      {Vs(0xBFFA0023u), "Too many files are open."},
      {Vs(0xBFFA0044u), "A channel name is required."},
      {Vs(0xBFFA0049u), "The option string is missing an option name."},
      {Vs(0xBFFA004Au), "The option string is missing an option value."},
      {Vs(0xBFFA004Bu), "The %1 name in the option string is unknown."},
      {Vs(0xBFFA004Cu), "The %1 value in the option string is unknown."},
      {Vs(0xBFFA0056u), "Could not allocate necessary memory."},
      {Vs(0xBFFA0057u), "Operation in progress."},
      {Vs(0xBFFA0058u), "Null pointer passed for method %1, parameter %2."},
      {Vs(0xBFFA0059u), "Unexpected response from instrument."},
      {Vs(0xBFFA005Bu), "File not found."},
      {Vs(0xBFFA005Cu), "Invalid file format."},
      {Vs(0xBFFA005Du), "The instrument status is not available."},
      {Vs(0xBFFA005Eu), "Instrument ID query failed."},
      {Vs(0xBFFA005Fu), "Instrument reset failed."},
      {Vs(0xBFFA0060u), "Unknown resource."},
      {Vs(0xBFFA0061u), "The driver is already initialized."},
      {Vs(0xBFFA0062u), "The simulation state cannot be changed."},
      {Vs(0xBFFA0063u),
       "The number of levels in the selector is not valid for the %1 repeated capability."},
      {Vs(0xBFFA0064u), "The range %1 is not valid for the repeated capability %2."},
      {Vs(0xBFFA0065u), "Unknown name in selector."},
      {Vs(0xBFFA0066u), "The repeated capability selector is badly-formed."},
      {Vs(0xBFFA0067u), "Unknown physical repeated capability selector."},
      {Vs(0xBFFA1001u), "The trigger source is not set to software trigger."},
      {Vs(0xBFFA4217u), "The given Register type is invalid."},
      {Vs(0xBFFA4218u), "The given Sub-Register type is invalid."},
      {Vs(0xBFFA1190u), "The session handle is not valid."},
      {VI_SUCCESS, "Success."},
      {Vs(0x3FFA0065u), "ID Query is not supported by this instrument."},
      {Vs(0x3FFA0066u), "Reset is not supported by this instrument."},
      {Vs(0x3FFA0067u), "Self test is not supported by this instrument."},
      {Vs(0x3FFA0068u), "Error query is not supported by this instrument."},
      {Vs(0x3FFA0069u), "Firmware revision query is not supported by this instrument."},
  };
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
