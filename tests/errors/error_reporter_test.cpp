#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "base/error_reporter.h"
#include "io/formatted_io.h"
#include "io/io_session.h"

namespace veqdx {
namespace {

struct Row {
  std::uint32_t number;
  std::uint32_t hr;
  const char* text;
};

// Every message of the table as a user sees it, written out independently of the table in the
// code so that a typo on either side fails. The texts carry no line break: the recorded
// description adds it.
const Row kExpected[] = {
    {0x01, 0x00000000, "VelmoraQdx: Success."},
    {0x02, 0x80047000, "VelmoraQdx: Unrecoverable failure."},
    {0x03, 0x80047001,
     "VelmoraQdx: Instrument error detected.  Use ErrorQuery() to determine error(s)."},
    {0x04, 0x80047002, "VelmoraQdx: Cannot open file."},
    {0x05, 0x80047003, "VelmoraQdx: Error reading file."},
    {0x06, 0x80047004, "VelmoraQdx: Error writing file."},
    {0x07, 0x8004700B, "VelmoraQdx: The path name is invalid."},
    {0x08, 0x80047010, "VelmoraQdx: Invalid value (A) for method B, parameter C."},
    {0x09, 0x80047011, "VelmoraQdx: Does not support this class-compliant feature: method A."},
    {0x0A, 0x80047012, "VelmoraQdx: Does not support this class-compliant feature: property A."},
    {0x0B, 0x80047013,
     "VelmoraQdx: Does not support this class-compliant feature: (enumeration) value A passed as "
     "the value for parameter B in method C."},
    {0x0C, 0x8004701D, "VelmoraQdx: A connection to the instrument has not been established."},
    {0x0D, 0x80047020, "VelmoraQdx: Unknown channel name."},
    {0x0E, 0x80047023, "VelmoraQdx: Too many files are opened."},
    {0x0F, 0x80047044, "VelmoraQdx: A channel name is required."},
    {0x10, 0x80047049, "VelmoraQdx: The option string is missing an option name."},
    {0x11, 0x8004704A, "VelmoraQdx: The option string is missing an option value."},
    {0x12, 0x8004704B, "VelmoraQdx: The A name in the option string is unknown."},
    {0x13, 0x8004704C, "VelmoraQdx: The A value in the option string is unknown."},
    {0x14, 0x80047056, "VelmoraQdx: Could not allocate necessary memory."},
    {0x15, 0x80047057, "VelmoraQdx: Operation in progress."},
    {0x16, 0x80047058, "VelmoraQdx: Null pointer passed for method A, parameter B."},
    {0x17, 0x80047059, "VelmoraQdx: Unexpected response from the instrument."},
    {0x18, 0x8004705B, "VelmoraQdx: File not found."},
    {0x19, 0x8004705C, "VelmoraQdx: Invalid file format."},
    {0x1A, 0x8004705D, "VelmoraQdx: The instrument status is not available."},
    {0x1B, 0x8004705E, "VelmoraQdx: Instrument ID query failed."},
    {0x1C, 0x8004705F, "VelmoraQdx: Instrument reset failed."},
    {0x1D, 0x80047060, "VelmoraQdx: Unknown resource."},
    {0x1E, 0x80047061, "VelmoraQdx: The driver is already initialized."},
    {0x1F, 0x80047062, "VelmoraQdx: The simulation state cannot be changed."},
    {0x20, 0x80047063,
     "VelmoraQdx: The number of levels in the selector is not valid for the A repeated "
     "capability."},
    {0x21, 0x80047064, "VelmoraQdx: The range A is not valid for the repeated capability B."},
    {0x22, 0x80047065, "VelmoraQdx: Unknown name in selector."},
    {0x23, 0x80047066, "VelmoraQdx: The repeated capability selector is badly-formed."},
    {0x24, 0x80047067, "VelmoraQdx: Unknown physical repeated capability selector."},
    {0x25, 0x00047065, "VelmoraQdx: ID Query is not supported by this instrument."},
    {0x26, 0x00047066, "VelmoraQdx: Reset is not supported by this instrument."},
    {0x27, 0x00047067, "VelmoraQdx: Self test is not supported by this instrument."},
    {0x28, 0x00047068, "VelmoraQdx: Error query is not supported by this instrument."},
    {0x29, 0x00047069, "VelmoraQdx: Firmware revision query is not supported by this instrument."},
    {0x2A, 0x80044214, "VelmoraQdx: I/O error: A."},
    {0x2B, 0x80044215, "VelmoraQdx: I/O timeout error: A."},
    {0x2C, 0x80044216, "VelmoraQdx: Instrument model does not support this feature: A."},
    {0x2D, 0x80044211, "VelmoraQdx: Personality is not active."},
    {0x2E, 0x80044213, "VelmoraQdx: Personality is not licensed."},
    {0x2F, 0x80044212, "VelmoraQdx: Personality is not installed."},
    {0x30, 0x80041001, "VelmoraQdx: The trigger source is not set to software trigger."},
};

TEST(ErrorReporter, EveryRowOfTheCodeTable) {
  ASSERT_EQ(MessageCount(), std::size(kExpected));
  CVelmoraQdxErrorReporter reporter([] { return std::string("IVelmoraQdxOutput"); });
  for (const Row& row : kExpected) {
    SCOPED_TRACE(row.number);
    ClearThreadErrorRecord();
    HRESULT hr = reporter.ReportError(row.number, {}, {"A", "B", "C"});
    EXPECT_EQ(static_cast<std::uint32_t>(hr), row.hr);
    EXPECT_EQ(HResultOfMessage(row.number), MakeHr(row.hr));
    const ErrorRecord& rec = ThreadErrorRecord();
    if (row.number == msg::Success) {
      EXPECT_EQ(rec.hr, S_OK);
      EXPECT_TRUE(rec.description.empty());
      continue;
    }
    EXPECT_EQ(rec.hr, MakeHr(row.hr));
    EXPECT_EQ(FormatMessageText(FindMessage(row.number)->text, {"A", "B", "C"}), row.text);
    EXPECT_EQ(rec.description, std::string(row.text) + "\r\n");
    EXPECT_EQ(rec.helpFile, "VelmoraQdx.chm");
    EXPECT_EQ(rec.helpContext, row.number >= 0x2A ? 3u : 0u);
    EXPECT_EQ(rec.source, "VelmoraQdx.VelmoraQdx");
    EXPECT_EQ(rec.interfaceName, "IVelmoraQdxOutput");
    // Warnings count as success by the severity rule.
    EXPECT_EQ(Succeeded(hr), row.number == 1 || (row.number >= 0x25 && row.number <= 0x29));
  }
}

TEST(ErrorReporter, NumbersOutsideTheTableAreUnexpected) {
  CErrorReporter reporter;
  for (std::uint32_t n : {0u, 0x31u, 0xFFFFu}) {
    EXPECT_EQ(reporter.ReportError(n, {}), E_UNEXPECTED) << n;
    EXPECT_EQ(HResultOfMessage(n), E_UNEXPECTED);
    EXPECT_NE(ThreadErrorRecord().description.find("Resource ID = " + std::to_string(n)),
              std::string::npos);
  }
}

TEST(ErrorReporter, ExtraTextFollowsALineBreak) {
  CErrorReporter reporter;
  reporter.ReportIdQueryFailed("Unrecognized model: XYZ750.");
  EXPECT_EQ(ThreadErrorRecord().description,
            "VelmoraQdx: Instrument ID query failed.\r\nUnrecognized model: XYZ750.");
  reporter.ReportIdQueryFailed("");
  EXPECT_EQ(ThreadErrorRecord().description, "VelmoraQdx: Instrument ID query failed.\r\n");
}

// A message-table description ends with CR LF, which an extra text follows; a record made
// without the table (E_INVALIDARG, a formatted-engine failure) carries no CR LF.
TEST(ErrorReporter, OnlyMessageTableDescriptionsEndWithALineBreak) {
  CErrorReporter reporter;
  io::CIoSession session(reporter);
  std::string out;
  const struct {
    const char* what;
    std::function<HRESULT()> report;
    HRESULT hr;
    const char* description;
  } cases[] = {
      {"table, no extra", [&] { return reporter.ReportChannelNameRequired(); },
       MakeHr(0x80047044u), "VelmoraQdx: A channel name is required.\r\n"},
      {"table with inserts, no extra",
       [&] { return reporter.ReportInvalidValue("put_VoltageLevel", "val", 50); },
       MakeHr(0x80047010u),
       "VelmoraQdx: Invalid value (50) for method put_VoltageLevel, parameter val.\r\n"},
      {"table, extra", [&] { return reporter.ReportUnknownChannelName("Output3"); },
       MakeHr(0x80047020u), "VelmoraQdx: Unknown channel name.\r\nOutput3"},
      {"E_INVALIDARG", [&] { return session.OpenWithTransport("X", nullptr); }, E_INVALIDARG,
       "OpenWithTransport: the transport is null."},
      {"formatted engine", [&] { return session.Formatted().Sprintf(out, ":VOLT %d"); },
       E_INVALIDARG,
       "VelmoraQdx: Invalid argument: write format \":VOLT %d\" takes 1 argument(s) but 0 were "
       "passed."},
  };
  for (const auto& c : cases) {
    ClearThreadErrorRecord();
    EXPECT_EQ(c.report(), c.hr) << c.what;
    EXPECT_EQ(ThreadErrorRecord().description, c.description) << c.what;
  }
}

// The inserts of the invalid-value, null-pointer and timeout reports are checked where the
// driver makes them (tests/dcpwr, tests/object_model, tests/transports); this one it makes only
// for a setting the class-compliant view refuses.
TEST(ErrorReporter, ValueNotSupportedFillsItsInserts) {
  CErrorReporter reporter;
  reporter.ReportValueNotSupported("VARIANT_TRUE", "val", "put_InterchangeCheck");
  EXPECT_EQ(ThreadErrorRecord().description,
            "VelmoraQdx: Does not support this class-compliant feature: (enumeration) value "
            "VARIANT_TRUE passed as the value for parameter val in method put_InterchangeCheck."
            "\r\n");
}

TEST(ErrorReporter, RecordIsPerThread) {
  CErrorReporter reporter;
  reporter.ReportNotInitialized();
  std::string other;
  std::thread t([&] {
    other = ThreadErrorRecord().description;  // a fresh thread has no error yet
    reporter.ReportResetFailed();
  });
  t.join();
  EXPECT_TRUE(other.empty());
  EXPECT_EQ(ThreadErrorRecord().hr, MakeHr(0x8004701Du));
}

}  // namespace
}  // namespace veqdx
