// Conversions between VISA's numbers and the driver's: interface types, the checks of access
// modes, protocols, address spaces, data widths and events, and the typed reading of an
// attribute value. Pure functions, so that they are checked without any VISA library.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "io/transport.h"

namespace veqdx::io {

// VI_ATTR_INTF_TYPE -> the driver's interface type: GPIB 1 -> 0, VXI 2 -> 1, GPIB-VXI 3 -> 2,
// ASRL 4 -> 3, TCPIP 6 -> 5, USB 7 -> 6. Every entry is the VISA number less one, and other
// interface kinds (PXI 5 -> 4, ...) follow the same rule.
InterfaceType InterfaceFromVisa(std::uint16_t visaType);

// The resource class as the session reports it: "OTHER" when it could not be read, "SOCKET"
// for a TCPIP resource whose name holds "::SOCKET" (whatever the library said).
std::string EffectiveResourceClass(InterfaceType type, std::optional<std::string> rsrcClass,
                                   std::string_view rsrcName);
// The resource name, "UNKNOWN" when it could not be read.
std::string EffectiveResourceName(std::optional<std::string> rsrcName);
// Serial lines and raw sockets carry no END signal: their messages end with a line feed.
bool NeedsLineFeedTermination(InterfaceType type, std::string_view resourceClass);

// Checks of the values handed to VISA. Each returns an empty text for a value VISA knows and
// the refusal text otherwise ("Unsupported VISA session access mode.", ...).
std::string CheckAccessMode(std::uint32_t mode);      // VI_NO_LOCK, VI_EXCLUSIVE_LOCK, ...
std::string CheckIoProtocol(std::uint32_t protocol);  // VI_PROT_NORMAL .. VI_PROT_USBTMC_VENDOR
std::string CheckTriggerProtocol(std::uint32_t protocol);
std::string CheckAddressSpace(std::uint32_t space);   // VI_A16_SPACE, ..., VI_PXI_BAR5_SPACE
std::string CheckDataWidth(std::uint32_t width);      // 1, 2, 4, 8 bytes
std::string CheckEventType(std::uint32_t eventType);
std::string CheckEventMechanism(std::uint32_t mechanism);

// An attribute value as VISA returned it: a number (widened to 64 bits) or a string.
struct VisaAttributeValue {
  bool isString = false;
  std::uint64_t number = 0;
  std::string text;
  bool unterminated = false;  // the library filled the string buffer without a NUL
};

// Typed reads of an attribute value. On a value that does not convert, the output is left
// alone and the result is false with `error` = "GetAttribute could not convert attribute with
// ID %d to a UINT8 value." (UINT16, UINT32, UINT64, "a boolean value.", "a string value.").
// A string converts to a number when it is one in decimal; a number converts to its decimal
// text; a boolean is 0 or 1 (a string "true"/"false"/"0"/"1" too). An unterminated string
// converts to nothing.
bool ConvertAttribute(std::uint32_t attr, const VisaAttributeValue& v, std::uint8_t& out,
                      std::string& error);
bool ConvertAttribute(std::uint32_t attr, const VisaAttributeValue& v, std::uint16_t& out,
                      std::string& error);
bool ConvertAttribute(std::uint32_t attr, const VisaAttributeValue& v, std::uint32_t& out,
                      std::string& error);
bool ConvertAttribute(std::uint32_t attr, const VisaAttributeValue& v, std::uint64_t& out,
                      std::string& error);
bool ConvertAttribute(std::uint32_t attr, const VisaAttributeValue& v, bool& out,
                      std::string& error);
bool ConvertAttribute(std::uint32_t attr, const VisaAttributeValue& v, std::string& out,
                      std::string& error);

}  // namespace veqdx::io
