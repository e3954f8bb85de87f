#include "io/visa_mapping.h"

#include <algorithm>
#include <cctype>
#include <limits>

#include "base/text.h"
#include "io/visa_api.h"

namespace veqdx::io {
namespace {

bool EqualsNoCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

bool OneOf(std::uint32_t v, std::initializer_list<std::uint32_t> known) {
  return std::find(known.begin(), known.end(), v) != known.end();
}

std::string ConversionError(std::uint32_t attr, const char* what) {
  // The id is printed as VISA's C prototypes declare %d arguments: a signed 32-bit number.
  return "GetAttribute could not convert attribute with ID " +
         std::to_string(static_cast<std::int32_t>(attr)) + " to " + what + " value.";
}

// Decimal digits only (what a variant conversion of a string to an unsigned number accepts,
// less the blanks and signs that no VISA attribute string carries).
bool ParseUnsigned(std::string_view s, std::uint64_t& out) {
  if (s.empty() || s.size() > 20) return false;
  std::uint64_t v = 0;
  for (char c : s) {
    if (c < '0' || c > '9') return false;
    std::uint64_t digit = static_cast<std::uint64_t>(c - '0');
    if (v > (std::numeric_limits<std::uint64_t>::max() - digit) / 10) return false;
    v = v * 10 + digit;
  }
  out = v;
  return true;
}

template <class T>
bool ConvertNumber(std::uint32_t attr, const VisaAttributeValue& v, T& out, std::string& error,
                   const char* what) {
  std::uint64_t n = v.number;
  if (v.unterminated || (v.isString && !ParseUnsigned(v.text, n)) ||
      n > std::numeric_limits<T>::max()) {
    error = ConversionError(attr, what);
    return false;
  }
  out = static_cast<T>(n);
  return true;
}

}  // namespace

InterfaceType InterfaceFromVisa(std::uint16_t visaType) {
  return static_cast<InterfaceType>(static_cast<int>(visaType) - 1);
}

std::string EffectiveResourceClass(InterfaceType type, std::optional<std::string> rsrcClass,
                                   std::string_view rsrcName) {
  if (type == InterfaceType::Tcpip) {
    // Search without regard to case, as resource keywords are matched.
    std::string upper(rsrcName);
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); });
    if (upper.find("::SOCKET") != std::string::npos) return "SOCKET";
  }
  return rsrcClass ? *rsrcClass : "OTHER";
}

std::string EffectiveResourceName(std::optional<std::string> rsrcName) {
  return rsrcName ? *rsrcName : "UNKNOWN";
}

bool NeedsLineFeedTermination(InterfaceType type, std::string_view resourceClass) {
  return type == InterfaceType::Serial ||
         (type == InterfaceType::Tcpip && EqualsNoCase(resourceClass, "SOCKET"));
}

std::string CheckAccessMode(std::uint32_t mode) {
  bool known = (mode & ~(VQ_VI_EXCLUSIVE_LOCK | VQ_VI_SHARED_LOCK | VQ_VI_LOAD_CONFIG)) == 0 &&
               (mode & (VQ_VI_EXCLUSIVE_LOCK | VQ_VI_SHARED_LOCK)) !=
                   (VQ_VI_EXCLUSIVE_LOCK | VQ_VI_SHARED_LOCK);
  return known ? std::string() : "Unsupported VISA session access mode.";
}

std::string CheckIoProtocol(std::uint32_t protocol) {
  // VI_PROT_NORMAL, VI_PROT_FDC, VI_PROT_HS488, VI_PROT_4882_STRS, VI_PROT_USBTMC_VENDOR
  return protocol >= 1 && protocol <= 5 ? std::string() : "Unsupported VISA I/O protocol.";
}

std::string CheckTriggerProtocol(std::uint32_t protocol) {
  // DEFAULT, ON, OFF, SYNC, RESERVE, UNRESERVE
  return OneOf(protocol, {0, 1, 2, 5, 6, 7}) ? std::string() : "Unsupported VISA trigger protocol.";
}

std::string CheckAddressSpace(std::uint32_t space) {
  // LOCAL, A16, A24, A32, A64, PXI allocated, PXI configuration, PXI BAR0..BAR5, opaque
  bool known = space <= 4 || (space >= 9 && space <= 16) || space == 0xFFFF;
  return known ? std::string() : "Unsupported VISA address space.";
}

std::string CheckDataWidth(std::uint32_t width) {
  return OneOf(width, {1, 2, 4, 8}) ? std::string() : "Unsupported VISA data width.";
}

std::string CheckEventType(std::uint32_t eventType) {
  static const std::initializer_list<std::uint32_t> known = {
      0x3FFF2009u,  // I/O completion
      0xBFFF200Au,  // trigger
      0x3FFF200Bu,  // service request
      0x3FFF200Du,  // clear
      0xBFFF200Eu,  // exception
      0x3FFF2012u, 0x3FFF2013u, 0x3FFF2014u,  // GPIB CIC, talk, listen
      0x3FFF201Du, 0x3FFF201Eu, 0x3FFF2020u, 0xBFFF2021u,  // VXI/VME SYSFAIL, SYSRESET, signal, interrupt
      0x3FFF2022u,  // PXI interrupt
      0x3FFF2036u,  // TCPIP connect
      0x3FFF2037u,  // USB interrupt
      0x3FFF7FFFu,  // all enabled events
  };
  return OneOf(eventType, known) ? std::string() : "Unsupported VISA event type.";
}

std::string CheckEventMechanism(std::uint32_t mechanism) {
  constexpr std::uint32_t kQueue = 1, kHandler = 2, kSuspendedHandler = 4, kAll = 0xFFFF;
  bool known = mechanism == kAll ||
               (mechanism != 0 && (mechanism & ~(kQueue | kHandler | kSuspendedHandler)) == 0 &&
                (mechanism & (kHandler | kSuspendedHandler)) != (kHandler | kSuspendedHandler));
  return known ? std::string() : "Unsupported VISA event mechanism.";
}

bool ConvertAttribute(std::uint32_t attr, const VisaAttributeValue& v, std::uint8_t& out,
                      std::string& error) {
  return ConvertNumber(attr, v, out, error, "a UINT8");
}
bool ConvertAttribute(std::uint32_t attr, const VisaAttributeValue& v, std::uint16_t& out,
                      std::string& error) {
  return ConvertNumber(attr, v, out, error, "a UINT16");
}
bool ConvertAttribute(std::uint32_t attr, const VisaAttributeValue& v, std::uint32_t& out,
                      std::string& error) {
  return ConvertNumber(attr, v, out, error, "a UINT32");
}
bool ConvertAttribute(std::uint32_t attr, const VisaAttributeValue& v, std::uint64_t& out,
                      std::string& error) {
  return ConvertNumber(attr, v, out, error, "a UINT64");
}

bool ConvertAttribute(std::uint32_t attr, const VisaAttributeValue& v, bool& out,
                      std::string& error) {
  std::uint64_t n = v.number;
  if (v.isString) {
    if (EqualsNoCase(v.text, "true")) {
      n = 1;
    } else if (EqualsNoCase(v.text, "false")) {
      n = 0;
    } else if (!ParseUnsigned(v.text, n)) {
      n = 2;  // not a truth value
    }
  }
  if (n > 1 || v.unterminated) {
    error = ConversionError(attr, "a boolean");
    return false;
  }
  out = n == 1;
  return true;
}

bool ConvertAttribute(std::uint32_t attr, const VisaAttributeValue& v, std::string& out,
                      std::string& error) {
  if (v.unterminated) {
    error = ConversionError(attr, "a string");
    return false;
  }
  out = v.isString ? v.text : std::to_string(v.number);
  return true;
}

}  // namespace veqdx::io
