// Status conversion for the C interface: the object layer's HRESULTs become ViStatus codes, and
// veqdx_error_message finds the English text of a ViStatus.
#pragma once
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "base/hresult.h"
#include "veqdx.h"

namespace veqdx::api {

// Converts an object-layer status. Codes without an entry: any other failure becomes
// VEQDX_ERROR_CANNOT_RECOVER (the caller keeps the object layer's description), any other
// success becomes VI_SUCCESS.
ViStatus ToViStatus(HRESULT hr);

// The entry of the conversion table for `hr`, if there is one.
std::optional<ViStatus> FindConversion(HRESULT hr);

// Text of `status` without the driver prefix, or nullptr when the map has none.
const char* FindStatusMessage(ViStatus status);

// What veqdx_error_message writes: the map's text, or "Unknown status code 0x%08X.".
struct StatusMessage {
  std::string text;
  ViStatus status;  // VI_SUCCESS, or VEQDX_WARN_UNKNOWN_STATUS for an unknown code
};
StatusMessage DescribeStatus(ViStatus status);

// Sizes of the two maps, for consistency checks.
std::size_t ConversionCount();
std::size_t StatusMessageCount();

}  // namespace veqdx::api
