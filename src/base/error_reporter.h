// Every failure and warning of the driver is reported here: a message number with its inserts
// (and an optional extra text) becomes the HRESULT the operation returns, the message text, and
// the error record the calling thread can read back.
#pragma once
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <cstdio>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

#include "base/hresult.h"

namespace veqdx {

// Message numbers of the driver's message table (1 .. 0x30).
namespace msg {
constexpr std::uint32_t Success = 0x01;
constexpr std::uint32_t Unrecoverable = 0x02;
constexpr std::uint32_t InstrumentError = 0x03;
constexpr std::uint32_t CannotOpenFile = 0x04;
constexpr std::uint32_t ReadingFile = 0x05;
constexpr std::uint32_t WritingFile = 0x06;
constexpr std::uint32_t InvalidPathName = 0x07;
constexpr std::uint32_t InvalidValue = 0x08;
constexpr std::uint32_t MethodNotSupported = 0x09;
constexpr std::uint32_t PropertyNotSupported = 0x0A;
constexpr std::uint32_t ValueNotSupported = 0x0B;
constexpr std::uint32_t NotInitialized = 0x0C;
constexpr std::uint32_t UnknownChannelName = 0x0D;
constexpr std::uint32_t TooManyOpenFiles = 0x0E;
constexpr std::uint32_t ChannelNameRequired = 0x0F;
constexpr std::uint32_t MissingOptionName = 0x10;
constexpr std::uint32_t MissingOptionValue = 0x11;
constexpr std::uint32_t BadOptionName = 0x12;
constexpr std::uint32_t BadOptionValue = 0x13;
constexpr std::uint32_t OutOfMemory = 0x14;
constexpr std::uint32_t OperationPending = 0x15;
constexpr std::uint32_t NullPointer = 0x16;
constexpr std::uint32_t UnexpectedResponse = 0x17;
constexpr std::uint32_t FileNotFound = 0x18;
constexpr std::uint32_t InvalidFileFormat = 0x19;
constexpr std::uint32_t StatusNotAvailable = 0x1A;
constexpr std::uint32_t IdQueryFailed = 0x1B;
constexpr std::uint32_t ResetFailed = 0x1C;
constexpr std::uint32_t ResourceUnknown = 0x1D;
constexpr std::uint32_t AlreadyInitialized = 0x1E;
constexpr std::uint32_t SimulationStateUnsupported = 0x1F;
constexpr std::uint32_t InvalidNumberOfLevelsInSelector = 0x20;
constexpr std::uint32_t InvalidRangeInSelector = 0x21;
constexpr std::uint32_t UnknownNameInSelector = 0x22;
constexpr std::uint32_t BadlyFormedSelector = 0x23;
constexpr std::uint32_t UnknownPhysicalIdentifier = 0x24;
constexpr std::uint32_t IdQueryNotSupported = 0x25;
constexpr std::uint32_t ResetNotSupported = 0x26;
constexpr std::uint32_t SelfTestNotSupported = 0x27;
constexpr std::uint32_t ErrorQueryNotSupported = 0x28;
constexpr std::uint32_t RevisionQueryNotSupported = 0x29;
constexpr std::uint32_t IoGeneral = 0x2A;
constexpr std::uint32_t IoTimeout = 0x2B;
constexpr std::uint32_t ModelNotSupported = 0x2C;
constexpr std::uint32_t PersonalityNotActive = 0x2D;
constexpr std::uint32_t PersonalityNotLicensed = 0x2E;
constexpr std::uint32_t PersonalityNotInstalled = 0x2F;
constexpr std::uint32_t TriggerNotSoftware = 0x30;
constexpr std::uint32_t Last = 0x30;
}  // namespace msg

// The driver's own error codes under the unscoped names the driver core uses; each takes its
// value from the published VelmoraQdxErrorCodesEnum.
#define VEQDX_OWN_CODE(name) \
  constexpr HRESULT name = static_cast<HRESULT>(VelmoraQdxErrorCodesEnum::name);
VEQDX_OWN_CODE(E_VELMORAQDX_IO_GENERAL)
VEQDX_OWN_CODE(E_VELMORAQDX_IO_TIMEOUT)
VEQDX_OWN_CODE(E_VELMORAQDX_MODEL_NOT_SUPPORTED)
VEQDX_OWN_CODE(E_VELMORAQDX_PERSONALITY_NOT_ACTIVE)
VEQDX_OWN_CODE(E_VELMORAQDX_PERSONALITY_NOT_LICENSED)
VEQDX_OWN_CODE(E_VELMORAQDX_PERSONALITY_NOT_INSTALLED)
#undef VEQDX_OWN_CODE

// One row of the code table.
struct MessageRow {
  std::uint32_t number;
  HRESULT hr;
  const char* text;  // with the "VelmoraQdx: " prefix, without the trailing line break
};
// The whole table, rows 1 .. 0x30 in order; nullptr past the end.
const MessageRow* FindMessage(std::uint32_t number);
std::size_t MessageCount();
// HRESULT of a message number; E_UNEXPECTED for numbers outside the table.
HRESULT HResultOfMessage(std::uint32_t number);
// Substitutes %1..%3 in a message-table text.
std::string FormatMessageText(const char* text, std::initializer_list<std::string_view> inserts);

// The error record of the last failure, kept per calling thread.
struct ErrorRecord {
  HRESULT hr = S_OK;
  std::string description;  // message text and its CR LF, then the extra text if any
  std::string interfaceName;  // interface through which the failing call came
  std::string source;         // the driver's programmatic identifier
  std::string helpFile;       // "VelmoraQdx.chm"
  std::uint32_t helpContext = 0;
};
ErrorRecord& ThreadErrorRecord();   // the calling thread's record
void ClearThreadErrorRecord();

class CErrorReporter {
 public:
  // `source` is the driver's programmatic identifier; `currentInterface` names the interface of
  // the call in progress (from the session's call context) and may be empty.
  explicit CErrorReporter(std::string source = "VelmoraQdx.VelmoraQdx",
                          std::function<std::string()> currentInterface = {});
  virtual ~CErrorReporter() = default;

  void SetInterfaceProvider(std::function<std::string()> provider) {
    currentInterface_ = std::move(provider);
  }

  // Formats message `number` with `inserts`, appends "\r\n" + `extra` when `extra` is not
  // empty, sets the calling thread's error record and returns the message's HRESULT (S_OK for
  // message 1, a warning for 0x25..0x29, E_UNEXPECTED outside the table).
  HRESULT ReportError(std::uint32_t number, std::string_view extra,
                      std::initializer_list<std::string_view> inserts = {}) const;

  // Value formatting for "Invalid value (%1) ...": doubles with "%.15g", integers in decimal.
  template <class T>
  static std::string ValueText(const T& value) {
    if constexpr (std::is_floating_point_v<T>) {
      char buf[64];
      std::snprintf(buf, sizeof buf, "%.15g", static_cast<double>(value));
      return buf;
    } else if constexpr (std::is_convertible_v<T, std::string_view>) {
      return std::string(std::string_view(value));
    } else {
      std::ostringstream os;
      os << +value;
      return os.str();
    }
  }

  // One operation per message.
  HRESULT ReportSuccess() const { return ReportError(msg::Success, {}); }
  HRESULT ReportUnrecoverable(std::string_view extra = {}) const;
  HRESULT ReportInstrumentError(std::string_view extra = {}) const;
  HRESULT ReportCannotOpenFile(std::string_view extra = {}) const;
  HRESULT ReportReadingFile(std::string_view extra = {}) const;
  HRESULT ReportWritingFile(std::string_view extra = {}) const;
  HRESULT ReportInvalidPathName(std::string_view extra = {}) const;
  template <class T>
  HRESULT ReportInvalidValue(std::string_view method, std::string_view parameter, const T& value,
                             std::string_view extra = {}) const {
    return ReportInvalidValueText(method, parameter, ValueText(value), extra);
  }
  HRESULT ReportInvalidValueText(std::string_view method, std::string_view parameter,
                                 std::string_view valueText, std::string_view extra = {}) const;
  HRESULT ReportMethodNotSupported(std::string_view method, std::string_view extra = {}) const;
  HRESULT ReportPropertyNotSupported(std::string_view property, std::string_view extra = {}) const;
  HRESULT ReportValueNotSupported(std::string_view value, std::string_view parameter,
                                  std::string_view method, std::string_view extra = {}) const;
  HRESULT ReportNotInitialized(std::string_view extra = {}) const;
  HRESULT ReportUnknownChannelName(std::string_view extra = {}) const;
  HRESULT ReportTooManyOpenFiles(std::string_view extra = {}) const;
  HRESULT ReportChannelNameRequired(std::string_view extra = {}) const;
  HRESULT ReportMissingOptionName(std::string_view extra = {}) const;
  HRESULT ReportMissingOptionValue(std::string_view extra = {}) const;
  HRESULT ReportBadOptionName(std::string_view name, std::string_view extra = {}) const;
  HRESULT ReportBadOptionValue(std::string_view value, std::string_view extra = {}) const;
  HRESULT ReportOutOfMemory(std::string_view extra = {}) const;
  HRESULT ReportOperationPending(std::string_view extra = {}) const;
  HRESULT ReportNullPointer(std::string_view method, std::string_view parameter,
                            std::string_view extra = {}) const;
  HRESULT ReportUnexpectedResponse(std::string_view extra = {}) const;
  HRESULT ReportFileNotFound(std::string_view extra = {}) const;
  HRESULT ReportInvalidFileFormat(std::string_view extra = {}) const;
  HRESULT ReportStatusNotAvailable(std::string_view extra = {}) const;
  HRESULT ReportIdQueryFailed(std::string_view extra = {}) const;
  HRESULT ReportResetFailed(std::string_view extra = {}) const;
  HRESULT ReportResourceUnknown(std::string_view extra = {}) const;
  HRESULT ReportAlreadyInitialized(std::string_view extra = {}) const;
  HRESULT ReportSimulationStateUnsupported(std::string_view extra = {}) const;
  HRESULT ReportInvalidNumberOfLevels(std::string_view repCap, std::string_view extra = {}) const;
  HRESULT ReportInvalidRange(std::string_view range, std::string_view repCap,
                             std::string_view extra = {}) const;
  HRESULT ReportUnknownNameInSelector(std::string_view extra = {}) const;
  HRESULT ReportBadlyFormedSelector(std::string_view extra = {}) const;
  HRESULT ReportUnknownPhysicalIdentifier(std::string_view extra = {}) const;
  HRESULT ReportIdQueryNotSupported(std::string_view extra = {}) const;
  HRESULT ReportResetNotSupported(std::string_view extra = {}) const;
  HRESULT ReportSelfTestNotSupported(std::string_view extra = {}) const;
  HRESULT ReportErrorQueryNotSupported(std::string_view extra = {}) const;
  HRESULT ReportRevisionQueryNotSupported(std::string_view extra = {}) const;
  // I/O errors carry what the I/O layer said (empty when nothing could be had) as %1.
  HRESULT ReportIoError(std::string_view description, std::string_view extra = {}) const;
  HRESULT ReportIoTimeout(std::string_view description, std::string_view extra = {}) const;
  HRESULT ReportModelNotSupported(std::string_view feature, std::string_view extra = {}) const;
  HRESULT ReportPersonalityNotActive(std::string_view extra = {}) const;
  HRESULT ReportPersonalityNotLicensed(std::string_view extra = {}) const;
  HRESULT ReportPersonalityNotInstalled(std::string_view extra = {}) const;
  HRESULT ReportTriggerNotSoftware(std::string_view extra = {}) const;

 private:
  std::string source_;
  std::function<std::string()> currentInterface_;
};

// The driver's flavour: fixes the source to the driver class's programmatic identifier.
class CVelmoraQdxErrorReporter : public CErrorReporter {
 public:
  explicit CVelmoraQdxErrorReporter(std::function<std::string()> currentInterface = {})
      : CErrorReporter("VelmoraQdx.VelmoraQdx", std::move(currentInterface)) {}
};

}  // namespace veqdx
