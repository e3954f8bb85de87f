// The object layer's error table and the records it makes: every message as a user sees it,
// the line break that only table descriptions end with, and the record being per thread.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>

#include "base/error_reporter.h"
#include "io/io_session.h"
#include "veqdx/status.hpp"

namespace veqdx {
namespace {

using D = VelmoraQdxErrorCodesEnum;

const struct Row {
  std::uint32_t number;
  HRESULT hr;
  const char* text;
} kExpected[] = {
    // Written out independently of the table in the code, so that a typo on either side
    // fails. The texts carry no line break: the recorded description adds it.
    {0x01, S_OK, "Success."},
    {0x02, E_IVI_CANNOT_RECOVER, "Unrecoverable failure."},
    {0x03, E_IVI_INSTRUMENT_STATUS,
     "Instrument error detected.  Use ErrorQuery() to determine error(s)."},
    {0x04, E_IVI_CANNOT_OPEN_FILE, "Cannot open file."},
    {0x05, E_IVI_READING_FILE, "Error reading file."},
    {0x06, E_IVI_WRITING_FILE, "Error writing file."},
    {0x07, E_IVI_INVALID_PATHNAME, "The path name is invalid."},
    {0x08, E_IVI_INVALID_VALUE, "Invalid value (A) for method B, parameter C."},
    {0x09, E_IVI_METHOD_NOT_SUPPORTED, "Does not support this class-compliant feature: method A."},
    {0x0A, E_IVI_PROPERTY_NOT_SUPPORTED,
     "Does not support this class-compliant feature: property A."},
    {0x0B, E_IVI_VALUE_NOT_SUPPORTED,
     "Does not support this class-compliant feature: (enumeration) value A passed as the value "
     "for parameter B in method C."},
    {0x0C, E_IVI_NOT_INITIALIZED, "A connection to the instrument has not been established."},
    {0x0D, E_IVI_UNKNOWN_CHANNEL_NAME, "Unknown channel name."},
    {0x0E, E_IVI_TOO_MANY_OPEN_FILES, "Too many files are opened."},
    {0x0F, E_IVI_CHANNEL_NAME_REQUIRED, "A channel name is required."},
    {0x10, E_IVI_MISSING_OPTION_NAME, "The option string is missing an option name."},
    {0x11, E_IVI_MISSING_OPTION_VALUE, "The option string is missing an option value."},
    {0x12, E_IVI_BAD_OPTION_NAME, "The A name in the option string is unknown."},
    {0x13, E_IVI_BAD_OPTION_VALUE, "The A value in the option string is unknown."},
    {0x14, E_IVI_OUT_OF_MEMORY, "Could not allocate necessary memory."},
    {0x15, E_IVI_OPERATION_PENDING, "Operation in progress."},
    {0x16, E_IVI_NULL_POINTER, "Null pointer passed for method A, parameter B."},
    {0x17, E_IVI_UNEXPECTED_RESPONSE, "Unexpected response from the instrument."},
    {0x18, E_IVI_FILE_NOT_FOUND, "File not found."},
    {0x19, E_IVI_INVALID_FILE_FORMAT, "Invalid file format."},
    {0x1A, E_IVI_STATUS_NOT_AVAILABLE, "The instrument status is not available."},
    {0x1B, E_IVI_ID_QUERY_FAILED, "Instrument ID query failed."},
    {0x1C, E_IVI_RESET_FAILED, "Instrument reset failed."},
    {0x1D, E_IVI_RESOURCE_UNKNOWN, "Unknown resource."},
    {0x1E, E_IVI_ALREADY_INITIALIZED, "The driver is already initialized."},
    {0x1F, E_IVI_SIMULATION_STATE_UNSUPPORTED, "The simulation state cannot be changed."},
    {0x20, E_IVI_INVALID_NUMBER_OF_LEVELS_IN_SELECTOR,
     "The number of levels in the selector is not valid for the A repeated capability."},
    {0x21, E_IVI_INVALID_RANGE_IN_SELECTOR,
     "The range A is not valid for the repeated capability B."},
    {0x22, E_IVI_UNKNOWN_NAME_IN_SELECTOR, "Unknown name in selector."},
    {0x23, E_IVI_BADLY_FORMED_SELECTOR, "The repeated capability selector is badly-formed."},
    {0x24, E_IVI_UNKNOWN_PHYSICAL_IDENTIFIER, "Unknown physical repeated capability selector."},
    {0x25, S_IVI_NSUP_ID_QUERY, "ID Query is not supported by this instrument."},
    {0x26, S_IVI_NSUP_RESET, "Reset is not supported by this instrument."},
    {0x27, S_IVI_NSUP_SELF_TEST, "Self test is not supported by this instrument."},
    {0x28, S_IVI_NSUP_ERROR_QUERY, "Error query is not supported by this instrument."},
    {0x29, S_IVI_NSUP_REV_QUERY, "Firmware revision query is not supported by this instrument."},
    {0x2A, HRESULT(D::E_VELMORAQDX_IO_GENERAL), "I/O error: A."},
    {0x2B, HRESULT(D::E_VELMORAQDX_IO_TIMEOUT), "I/O timeout error: A."},
    {0x2C, HRESULT(D::E_VELMORAQDX_MODEL_NOT_SUPPORTED),
     "Instrument model does not support this feature: A."},
    {0x2D, HRESULT(D::E_VELMORAQDX_PERSONALITY_NOT_ACTIVE), "Personality is not active."},
    {0x2E, HRESULT(D::E_VELMORAQDX_PERSONALITY_NOT_LICENSED), "Personality is not licensed."},
    {0x2F, HRESULT(D::E_VELMORAQDX_PERSONALITY_NOT_INSTALLED), "Personality is not installed."},
    {0x30, E_IVIDCPWR_TRIGGER_NOT_SOFTWARE, "The trigger source is not set to software trigger."},
};

TEST(ErrorReporter, EveryRowOfTheCodeTableAndNothingElse) {
  ASSERT_EQ(MessageCount(), std::size(kExpected));
  CVelmoraQdxErrorReporter reporter([] { return std::string("IVelmoraQdxOutput"); });
  for (const Row& row : kExpected) {
    SCOPED_TRACE(row.number);
    ClearThreadErrorRecord();
    EXPECT_EQ(reporter.ReportError(row.number, {}, {"A", "B", "C"}), row.hr);
    EXPECT_EQ(HResultOfMessage(row.number), row.hr);
    const ErrorRecord& rec = ThreadErrorRecord();
    EXPECT_EQ(rec.hr, row.hr);
    if (row.hr == S_OK) {
      EXPECT_TRUE(rec.description.empty());
      continue;
    }
    EXPECT_EQ(rec.description, "VelmoraQdx: " + std::string(row.text) + "\r\n");
    EXPECT_EQ(rec.helpFile, "VelmoraQdx.chm");
    EXPECT_EQ(rec.helpContext, row.number >= 0x2A ? 3u : 0u);
    EXPECT_EQ(rec.source, "VelmoraQdx.VelmoraQdx");
    EXPECT_EQ(rec.interfaceName, "IVelmoraQdxOutput");
  }
  CErrorReporter plain;
  for (std::uint32_t n : {0u, 0x31u, 0xFFFFu}) {  // numbers outside the table
    EXPECT_EQ(plain.ReportError(n, {}), E_UNEXPECTED) << n;
    EXPECT_EQ(HResultOfMessage(n), E_UNEXPECTED);
    EXPECT_NE(ThreadErrorRecord().description.find("Resource ID = " + std::to_string(n)),
              std::string::npos);
  }
}

// A table description ends with CR LF, which an extra text follows; a record made without the
// table carries no CR LF. The record is the calling thread's own.
TEST(ErrorReporter, DescriptionsAndTheThreadsRecord) {
  CErrorReporter reporter;
  io::CIoSession session(reporter);
  const std::pair<std::function<HRESULT()>, const char*> cases[] = {
      {[&] { return reporter.ReportIdQueryFailed(""); },
       "VelmoraQdx: Instrument ID query failed.\r\n"},
      {[&] { return reporter.ReportUnknownChannelName("Output3"); },
       "VelmoraQdx: Unknown channel name.\r\nOutput3"},
      {[&] { return reporter.ReportValueNotSupported("VARIANT_TRUE", "val", "put_Interchange"); },
       "VelmoraQdx: Does not support this class-compliant feature: (enumeration) value "
       "VARIANT_TRUE passed as the value for parameter val in method put_Interchange.\r\n"},
      {[&] { return session.OpenWithTransport("X", nullptr); },
       "OpenWithTransport: the transport is null."},
  };
  for (const auto& [report, description] : cases) {
    ClearThreadErrorRecord();
    EXPECT_TRUE(Failed(report()));
    EXPECT_EQ(ThreadErrorRecord().description, description);
  }
  std::string other = "not read";
  std::thread([&] {
    other = ThreadErrorRecord().description;  // a fresh thread has no error yet
    reporter.ReportResetFailed();
  }).join();
  EXPECT_EQ(other, "");
  EXPECT_EQ(ThreadErrorRecord().hr, E_INVALIDARG);
}

}  // namespace
}  // namespace veqdx
