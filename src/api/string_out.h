// String outputs of the C interface, with the IVI-C buffer rules.
#pragma once
#include <cstddef>
#include <cstring>
#include <string_view>

#include "veqdx.h"

namespace veqdx::api {

// Fixed outputs (ErrorMessage[256], TestMessage[256], DriverRev[256], InstrRev[256]).
constexpr std::size_t kFixedStringSize = 256;

// Variable-size output `buffer` of `bufferSize` characters:
// - size 0: nothing copied (buffer may be null), returns the size needed (length + 1);
// - size too small: size - 1 characters and a NUL, returns the size needed;
// - enough room: the whole text and a NUL, returns `callStatus`;
// - negative size: VEQDX_ERROR_INVALID_VALUE; positive size with a null buffer:
//   VEQDX_ERROR_NULL_POINTER. Nothing is copied then.
// A text too long for a ViInt32 count is cut to the largest count that fits.
inline ViStatus CopyOutString(std::string_view text, ViInt32 bufferSize, ViChar* buffer,
                              ViStatus callStatus = VI_SUCCESS) {
  if (bufferSize < 0) return VEQDX_ERROR_INVALID_VALUE;
  constexpr std::size_t kMaxText = 0x7FFFFFFE;  // so that length + 1 fits a ViInt32
  if (text.size() > kMaxText) text = text.substr(0, kMaxText);
  const auto needed = static_cast<ViStatus>(text.size() + 1);
  if (bufferSize == 0) return needed;
  if (buffer == nullptr) return VEQDX_ERROR_NULL_POINTER;
  const auto room = static_cast<std::size_t>(bufferSize);
  if (room >= text.size() + 1) {
    std::memcpy(buffer, text.data(), text.size());
    buffer[text.size()] = '\0';
    return callStatus;
  }
  std::memcpy(buffer, text.data(), room - 1);
  buffer[room - 1] = '\0';
  return needed;
}

// Fixed 256-character output: at most 255 characters and a NUL. `out` must not be null.
inline void CopyFixedString(std::string_view text, ViChar* out) {
  const std::size_t n = text.size() < kFixedStringSize - 1 ? text.size() : kFixedStringSize - 1;
  std::memcpy(out, text.data(), n);
  out[n] = '\0';
}

}  // namespace veqdx::api
