#include "base/error_reporter.h"

#include <array>

namespace veqdx {
namespace {

// The driver's message table: number, HRESULT, text. Numbers 0x25..0x29 are warnings (severity
// bit clear); note 0x25 and 0x22 share the code part 0x7065 and differ only in severity.
constexpr std::array<MessageRow, msg::Last> kMessages{{
    {0x01, MakeHr(0x00000000u), "VelmoraQdx: Success."},
    {0x02, MakeHr(0x80047000u), "VelmoraQdx: Unrecoverable failure."},
    {0x03, MakeHr(0x80047001u),
     "VelmoraQdx: Instrument error detected.  Use ErrorQuery() to determine error(s)."},
    {0x04, MakeHr(0x80047002u), "VelmoraQdx: Cannot open file."},
    {0x05, MakeHr(0x80047003u), "VelmoraQdx: Error reading file."},
    {0x06, MakeHr(0x80047004u), "VelmoraQdx: Error writing file."},
    {0x07, MakeHr(0x8004700Bu), "VelmoraQdx: The path name is invalid."},
    {0x08, MakeHr(0x80047010u), "VelmoraQdx: Invalid value (%1) for method %2, parameter %3."},
    {0x09, MakeHr(0x80047011u),
     "VelmoraQdx: Does not support this class-compliant feature: method %1."},
    {0x0A, MakeHr(0x80047012u),
     "VelmoraQdx: Does not support this class-compliant feature: property %1."},
    {0x0B, MakeHr(0x80047013u),
     "VelmoraQdx: Does not support this class-compliant feature: (enumeration) value %1 passed "
     "as the value for parameter %2 in method %3."},
    {0x0C, MakeHr(0x8004701Du),
     "VelmoraQdx: A connection to the instrument has not been established."},
    {0x0D, MakeHr(0x80047020u), "VelmoraQdx: Unknown channel name."},
    {0x0E, MakeHr(0x80047023u), "VelmoraQdx: Too many files are opened."},
    {0x0F, MakeHr(0x80047044u), "VelmoraQdx: A channel name is required."},
    {0x10, MakeHr(0x80047049u), "VelmoraQdx: The option string is missing an option name."},
    {0x11, MakeHr(0x8004704Au), "VelmoraQdx: The option string is missing an option value."},
    {0x12, MakeHr(0x8004704Bu), "VelmoraQdx: The %1 name in the option string is unknown."},
    {0x13, MakeHr(0x8004704Cu), "VelmoraQdx: The %1 value in the option string is unknown."},
    {0x14, MakeHr(0x80047056u), "VelmoraQdx: Could not allocate necessary memory."},
    {0x15, MakeHr(0x80047057u), "VelmoraQdx: Operation in progress."},
    {0x16, MakeHr(0x80047058u), "VelmoraQdx: Null pointer passed for method %1, parameter %2."},
    {0x17, MakeHr(0x80047059u), "VelmoraQdx: Unexpected response from the instrument."},
    {0x18, MakeHr(0x8004705Bu), "VelmoraQdx: File not found."},
    {0x19, MakeHr(0x8004705Cu), "VelmoraQdx: Invalid file format."},
    {0x1A, MakeHr(0x8004705Du), "VelmoraQdx: The instrument status is not available."},
    {0x1B, MakeHr(0x8004705Eu), "VelmoraQdx: Instrument ID query failed."},
    {0x1C, MakeHr(0x8004705Fu), "VelmoraQdx: Instrument reset failed."},
    {0x1D, MakeHr(0x80047060u), "VelmoraQdx: Unknown resource."},
    {0x1E, MakeHr(0x80047061u), "VelmoraQdx: The driver is already initialized."},
    {0x1F, MakeHr(0x80047062u), "VelmoraQdx: The simulation state cannot be changed."},
    {0x20, MakeHr(0x80047063u),
     "VelmoraQdx: The number of levels in the selector is not valid for the %1 repeated "
     "capability."},
    {0x21, MakeHr(0x80047064u),
     "VelmoraQdx: The range %1 is not valid for the repeated capability %2."},
    {0x22, MakeHr(0x80047065u), "VelmoraQdx: Unknown name in selector."},
    {0x23, MakeHr(0x80047066u), "VelmoraQdx: The repeated capability selector is badly-formed."},
    {0x24, MakeHr(0x80047067u), "VelmoraQdx: Unknown physical repeated capability selector."},
    {0x25, MakeHr(0x00047065u), "VelmoraQdx: ID Query is not supported by this instrument."},
    {0x26, MakeHr(0x00047066u), "VelmoraQdx: Reset is not supported by this instrument."},
    {0x27, MakeHr(0x00047067u), "VelmoraQdx: Self test is not supported by this instrument."},
    {0x28, MakeHr(0x00047068u), "VelmoraQdx: Error query is not supported by this instrument."},
    {0x29, MakeHr(0x00047069u),
     "VelmoraQdx: Firmware revision query is not supported by this instrument."},
    {0x2A, MakeHr(0x80044214u), "VelmoraQdx: I/O error: %1."},
    {0x2B, MakeHr(0x80044215u), "VelmoraQdx: I/O timeout error: %1."},
    {0x2C, MakeHr(0x80044216u), "VelmoraQdx: Instrument model does not support this feature: %1."},
    {0x2D, MakeHr(0x80044211u), "VelmoraQdx: Personality is not active."},
    {0x2E, MakeHr(0x80044213u), "VelmoraQdx: Personality is not licensed."},
    {0x2F, MakeHr(0x80044212u), "VelmoraQdx: Personality is not installed."},
    {0x30, MakeHr(0x80041001u), "VelmoraQdx: The trigger source is not set to software trigger."},
}};

constexpr const char* kHelpFile = "VelmoraQdx.chm";

}  // namespace

const MessageRow* FindMessage(std::uint32_t number) {
  if (number < 1 || number > msg::Last) return nullptr;
  return &kMessages[number - 1];
}

std::size_t MessageCount() { return kMessages.size(); }

HRESULT HResultOfMessage(std::uint32_t number) {
  const MessageRow* row = FindMessage(number);
  return row ? row->hr : E_UNEXPECTED;
}

std::string FormatMessageText(const char* text, std::initializer_list<std::string_view> inserts) {
  std::string out;
  for (const char* p = text; *p; ++p) {
    // %1..%3 are inserts; an insert that was not supplied is left empty, as the message-table
    // formatter does with missing arguments.
    if (p[0] == '%' && p[1] >= '1' && p[1] <= '9') {
      std::size_t index = static_cast<std::size_t>(p[1] - '1');
      if (index < inserts.size()) out.append(*(inserts.begin() + index));
      ++p;
    } else {
      out.push_back(*p);
    }
  }
  return out;
}

ErrorRecord& ThreadErrorRecord() {
  thread_local ErrorRecord record;
  return record;
}

void ClearThreadErrorRecord() { ThreadErrorRecord() = ErrorRecord{}; }

CErrorReporter::CErrorReporter(std::string source, std::function<std::string()> currentInterface)
    : source_(std::move(source)), currentInterface_(std::move(currentInterface)) {}

HRESULT CErrorReporter::ReportError(std::uint32_t number, std::string_view extra,
                                    std::initializer_list<std::string_view> inserts) const {
  const MessageRow* row = FindMessage(number);
  if (row == nullptr) {
    // Not in the table: the caller asked for a message that does not exist.
    ErrorRecord& rec = ThreadErrorRecord();
    rec = ErrorRecord{};
    rec.hr = E_UNEXPECTED;
    char buf[256];
    std::snprintf(buf, sizeof buf,
                  "Internal Error: Unable to retrieve and format error message from message "
                  "table.\nResource ID = %u\nLanguage ID = %d\nReason = '%s'",
                  static_cast<unsigned>(number), 1033, "The message was not found.");
    rec.description = buf;
    if (!extra.empty()) {
      rec.description += "\r\n";
      rec.description.append(extra);
    }
    rec.source = source_;
    rec.helpFile = kHelpFile;
    return E_UNEXPECTED;
  }
  if (number == msg::Success) return S_OK;  // success leaves no error record behind

  ErrorRecord& rec = ThreadErrorRecord();
  rec.hr = row->hr;
  // A message-table text ends with a line break: the description ends with it, or, when an
  // extra text follows, that break is the one between the two.
  rec.description = FormatMessageText(row->text, inserts);
  rec.description += "\r\n";
  rec.description.append(extra);
  rec.interfaceName = currentInterface_ ? currentInterface_() : std::string();
  rec.source = source_;
  rec.helpFile = kHelpFile;
  rec.helpContext = (number >= msg::IoGeneral && number <= msg::TriggerNotSoftware) ? 3u : 0u;
  return row->hr;
}

#define VEQDX_REPORT0(Name, Number)                                      \
  HRESULT CErrorReporter::Name(std::string_view extra) const {           \
    return ReportError(Number, extra);                                   \
  }
VEQDX_REPORT0(ReportUnrecoverable, msg::Unrecoverable)
VEQDX_REPORT0(ReportInstrumentError, msg::InstrumentError)
VEQDX_REPORT0(ReportCannotOpenFile, msg::CannotOpenFile)
VEQDX_REPORT0(ReportReadingFile, msg::ReadingFile)
VEQDX_REPORT0(ReportWritingFile, msg::WritingFile)
VEQDX_REPORT0(ReportInvalidPathName, msg::InvalidPathName)
VEQDX_REPORT0(ReportNotInitialized, msg::NotInitialized)
VEQDX_REPORT0(ReportUnknownChannelName, msg::UnknownChannelName)
VEQDX_REPORT0(ReportTooManyOpenFiles, msg::TooManyOpenFiles)
VEQDX_REPORT0(ReportChannelNameRequired, msg::ChannelNameRequired)
VEQDX_REPORT0(ReportMissingOptionName, msg::MissingOptionName)
VEQDX_REPORT0(ReportMissingOptionValue, msg::MissingOptionValue)
VEQDX_REPORT0(ReportOutOfMemory, msg::OutOfMemory)
VEQDX_REPORT0(ReportOperationPending, msg::OperationPending)
VEQDX_REPORT0(ReportUnexpectedResponse, msg::UnexpectedResponse)
VEQDX_REPORT0(ReportFileNotFound, msg::FileNotFound)
VEQDX_REPORT0(ReportInvalidFileFormat, msg::InvalidFileFormat)
VEQDX_REPORT0(ReportStatusNotAvailable, msg::StatusNotAvailable)
VEQDX_REPORT0(ReportIdQueryFailed, msg::IdQueryFailed)
VEQDX_REPORT0(ReportResetFailed, msg::ResetFailed)
VEQDX_REPORT0(ReportResourceUnknown, msg::ResourceUnknown)
VEQDX_REPORT0(ReportAlreadyInitialized, msg::AlreadyInitialized)
VEQDX_REPORT0(ReportSimulationStateUnsupported, msg::SimulationStateUnsupported)
VEQDX_REPORT0(ReportUnknownNameInSelector, msg::UnknownNameInSelector)
VEQDX_REPORT0(ReportBadlyFormedSelector, msg::BadlyFormedSelector)
VEQDX_REPORT0(ReportUnknownPhysicalIdentifier, msg::UnknownPhysicalIdentifier)
VEQDX_REPORT0(ReportIdQueryNotSupported, msg::IdQueryNotSupported)
VEQDX_REPORT0(ReportResetNotSupported, msg::ResetNotSupported)
VEQDX_REPORT0(ReportSelfTestNotSupported, msg::SelfTestNotSupported)
VEQDX_REPORT0(ReportErrorQueryNotSupported, msg::ErrorQueryNotSupported)
VEQDX_REPORT0(ReportRevisionQueryNotSupported, msg::RevisionQueryNotSupported)
VEQDX_REPORT0(ReportPersonalityNotActive, msg::PersonalityNotActive)
VEQDX_REPORT0(ReportPersonalityNotLicensed, msg::PersonalityNotLicensed)
VEQDX_REPORT0(ReportPersonalityNotInstalled, msg::PersonalityNotInstalled)
VEQDX_REPORT0(ReportTriggerNotSoftware, msg::TriggerNotSoftware)
#undef VEQDX_REPORT0

HRESULT CErrorReporter::ReportInvalidValueText(std::string_view method, std::string_view parameter,
                                               std::string_view valueText,
                                               std::string_view extra) const {
  return ReportError(msg::InvalidValue, extra, {valueText, method, parameter});
}
HRESULT CErrorReporter::ReportMethodNotSupported(std::string_view method,
                                                 std::string_view extra) const {
  return ReportError(msg::MethodNotSupported, extra, {method});
}
HRESULT CErrorReporter::ReportPropertyNotSupported(std::string_view property,
                                                   std::string_view extra) const {
  return ReportError(msg::PropertyNotSupported, extra, {property});
}
HRESULT CErrorReporter::ReportValueNotSupported(std::string_view value, std::string_view parameter,
                                                std::string_view method,
                                                std::string_view extra) const {
  return ReportError(msg::ValueNotSupported, extra, {value, parameter, method});
}
HRESULT CErrorReporter::ReportBadOptionName(std::string_view name, std::string_view extra) const {
  return ReportError(msg::BadOptionName, extra, {name});
}
HRESULT CErrorReporter::ReportBadOptionValue(std::string_view value,
                                             std::string_view extra) const {
  return ReportError(msg::BadOptionValue, extra, {value});
}
HRESULT CErrorReporter::ReportNullPointer(std::string_view method, std::string_view parameter,
                                          std::string_view extra) const {
  return ReportError(msg::NullPointer, extra, {method, parameter});
}
HRESULT CErrorReporter::ReportInvalidNumberOfLevels(std::string_view repCap,
                                                    std::string_view extra) const {
  return ReportError(msg::InvalidNumberOfLevelsInSelector, extra, {repCap});
}
HRESULT CErrorReporter::ReportInvalidRange(std::string_view range, std::string_view repCap,
                                           std::string_view extra) const {
  return ReportError(msg::InvalidRangeInSelector, extra, {range, repCap});
}
HRESULT CErrorReporter::ReportIoError(std::string_view description, std::string_view extra) const {
  return ReportError(msg::IoGeneral, extra, {description});
}
HRESULT CErrorReporter::ReportIoTimeout(std::string_view description,
                                        std::string_view extra) const {
  return ReportError(msg::IoTimeout, extra, {description});
}
HRESULT CErrorReporter::ReportModelNotSupported(std::string_view feature,
                                                std::string_view extra) const {
  return ReportError(msg::ModelNotSupported, extra, {feature});
}

}  // namespace veqdx
