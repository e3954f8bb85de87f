#include "base/error_reporter.h"

#include <array>

namespace veqdx {
namespace {

// The driver's message table: number, HRESULT, text. The "not supported by this instrument"
// rows are warnings (severity bit clear); S_IVI_NSUP_ID_QUERY and E_IVI_UNKNOWN_NAME_IN_SELECTOR
// share their code part and differ only in severity.
constexpr std::array<MessageRow, msg::Last> kMessages{{
    {msg::Success, S_OK, "VelmoraQdx: Success."},
    {msg::Unrecoverable, E_IVI_CANNOT_RECOVER, "VelmoraQdx: Unrecoverable failure."},
    {msg::InstrumentError, E_IVI_INSTRUMENT_STATUS,
     "VelmoraQdx: Instrument error detected.  Use ErrorQuery() to determine error(s)."},
    {msg::CannotOpenFile, E_IVI_CANNOT_OPEN_FILE, "VelmoraQdx: Cannot open file."},
    {msg::ReadingFile, E_IVI_READING_FILE, "VelmoraQdx: Error reading file."},
    {msg::WritingFile, E_IVI_WRITING_FILE, "VelmoraQdx: Error writing file."},
    {msg::InvalidPathName, E_IVI_INVALID_PATHNAME, "VelmoraQdx: The path name is invalid."},
    {msg::InvalidValue, E_IVI_INVALID_VALUE,
     "VelmoraQdx: Invalid value (%1) for method %2, parameter %3."},
    {msg::MethodNotSupported, E_IVI_METHOD_NOT_SUPPORTED,
     "VelmoraQdx: Does not support this class-compliant feature: method %1."},
    {msg::PropertyNotSupported, E_IVI_PROPERTY_NOT_SUPPORTED,
     "VelmoraQdx: Does not support this class-compliant feature: property %1."},
    {msg::ValueNotSupported, E_IVI_VALUE_NOT_SUPPORTED,
     "VelmoraQdx: Does not support this class-compliant feature: (enumeration) value %1 passed "
     "as the value for parameter %2 in method %3."},
    {msg::NotInitialized, E_IVI_NOT_INITIALIZED,
     "VelmoraQdx: A connection to the instrument has not been established."},
    {msg::UnknownChannelName, E_IVI_UNKNOWN_CHANNEL_NAME, "VelmoraQdx: Unknown channel name."},
    {msg::TooManyOpenFiles, E_IVI_TOO_MANY_OPEN_FILES, "VelmoraQdx: Too many files are opened."},
    {msg::ChannelNameRequired, E_IVI_CHANNEL_NAME_REQUIRED,
     "VelmoraQdx: A channel name is required."},
    {msg::MissingOptionName, E_IVI_MISSING_OPTION_NAME,
     "VelmoraQdx: The option string is missing an option name."},
    {msg::MissingOptionValue, E_IVI_MISSING_OPTION_VALUE,
     "VelmoraQdx: The option string is missing an option value."},
    {msg::BadOptionName, E_IVI_BAD_OPTION_NAME,
     "VelmoraQdx: The %1 name in the option string is unknown."},
    {msg::BadOptionValue, E_IVI_BAD_OPTION_VALUE,
     "VelmoraQdx: The %1 value in the option string is unknown."},
    {msg::OutOfMemory, E_IVI_OUT_OF_MEMORY, "VelmoraQdx: Could not allocate necessary memory."},
    {msg::OperationPending, E_IVI_OPERATION_PENDING, "VelmoraQdx: Operation in progress."},
    {msg::NullPointer, E_IVI_NULL_POINTER,
     "VelmoraQdx: Null pointer passed for method %1, parameter %2."},
    {msg::UnexpectedResponse, E_IVI_UNEXPECTED_RESPONSE,
     "VelmoraQdx: Unexpected response from the instrument."},
    {msg::FileNotFound, E_IVI_FILE_NOT_FOUND, "VelmoraQdx: File not found."},
    {msg::InvalidFileFormat, E_IVI_INVALID_FILE_FORMAT, "VelmoraQdx: Invalid file format."},
    {msg::StatusNotAvailable, E_IVI_STATUS_NOT_AVAILABLE,
     "VelmoraQdx: The instrument status is not available."},
    {msg::IdQueryFailed, E_IVI_ID_QUERY_FAILED, "VelmoraQdx: Instrument ID query failed."},
    {msg::ResetFailed, E_IVI_RESET_FAILED, "VelmoraQdx: Instrument reset failed."},
    {msg::ResourceUnknown, E_IVI_RESOURCE_UNKNOWN, "VelmoraQdx: Unknown resource."},
    {msg::AlreadyInitialized, E_IVI_ALREADY_INITIALIZED,
     "VelmoraQdx: The driver is already initialized."},
    {msg::SimulationStateUnsupported, E_IVI_SIMULATION_STATE_UNSUPPORTED,
     "VelmoraQdx: The simulation state cannot be changed."},
    {msg::InvalidNumberOfLevelsInSelector, E_IVI_INVALID_NUMBER_OF_LEVELS_IN_SELECTOR,
     "VelmoraQdx: The number of levels in the selector is not valid for the %1 repeated "
     "capability."},
    {msg::InvalidRangeInSelector, E_IVI_INVALID_RANGE_IN_SELECTOR,
     "VelmoraQdx: The range %1 is not valid for the repeated capability %2."},
    {msg::UnknownNameInSelector, E_IVI_UNKNOWN_NAME_IN_SELECTOR,
     "VelmoraQdx: Unknown name in selector."},
    {msg::BadlyFormedSelector, E_IVI_BADLY_FORMED_SELECTOR,
     "VelmoraQdx: The repeated capability selector is badly-formed."},
    {msg::UnknownPhysicalIdentifier, E_IVI_UNKNOWN_PHYSICAL_IDENTIFIER,
     "VelmoraQdx: Unknown physical repeated capability selector."},
    {msg::IdQueryNotSupported, S_IVI_NSUP_ID_QUERY,
     "VelmoraQdx: ID Query is not supported by this instrument."},
    {msg::ResetNotSupported, S_IVI_NSUP_RESET,
     "VelmoraQdx: Reset is not supported by this instrument."},
    {msg::SelfTestNotSupported, S_IVI_NSUP_SELF_TEST,
     "VelmoraQdx: Self test is not supported by this instrument."},
    {msg::ErrorQueryNotSupported, S_IVI_NSUP_ERROR_QUERY,
     "VelmoraQdx: Error query is not supported by this instrument."},
    {msg::RevisionQueryNotSupported, S_IVI_NSUP_REV_QUERY,
     "VelmoraQdx: Firmware revision query is not supported by this instrument."},
    {msg::IoGeneral, E_VELMORAQDX_IO_GENERAL, "VelmoraQdx: I/O error: %1."},
    {msg::IoTimeout, E_VELMORAQDX_IO_TIMEOUT, "VelmoraQdx: I/O timeout error: %1."},
    {msg::ModelNotSupported, E_VELMORAQDX_MODEL_NOT_SUPPORTED,
     "VelmoraQdx: Instrument model does not support this feature: %1."},
    {msg::PersonalityNotActive, E_VELMORAQDX_PERSONALITY_NOT_ACTIVE,
     "VelmoraQdx: Personality is not active."},
    {msg::PersonalityNotLicensed, E_VELMORAQDX_PERSONALITY_NOT_LICENSED,
     "VelmoraQdx: Personality is not licensed."},
    {msg::PersonalityNotInstalled, E_VELMORAQDX_PERSONALITY_NOT_INSTALLED,
     "VelmoraQdx: Personality is not installed."},
    {msg::TriggerNotSoftware, E_IVIDCPWR_TRIGGER_NOT_SOFTWARE,
     "VelmoraQdx: The trigger source is not set to software trigger."},
}};

// FindMessage indexes the table by number: row n-1 holds message n.
constexpr bool InNumberOrder() {
  for (std::size_t i = 0; i < kMessages.size(); ++i) {
    if (kMessages[i].number != i + 1) return false;
  }
  return true;
}
static_assert(InNumberOrder(), "the message table is out of number order");

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
