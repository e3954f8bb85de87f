// What reaches the device through Printf, PrintfNoFlush and WriteString.
#include <span>
#include <vector>

#include "fmt_fixture.h"

namespace veqdx::io::fmt_test {
namespace {

class WriteWireTest : public FmtTest {};

TEST_F(WriteWireTest, PrintfAndWriteStringSendExactBytesWithEndAndPollOnce) {
  ASSERT_EQ(io().Printf(":VOLT %0.15lg", 12.5), S_OK);
  EXPECT_EQ(polls, 1);
  ASSERT_EQ(io().WriteString("*RST;*CLS %d"), S_OK);  // verbatim
  EXPECT_EQ(polls, 2);
  EXPECT_EQ(dev->Writes(),
            (std::vector<WriteRecord>{{":VOLT 12.5", true}, {"*RST;*CLS %d", true}}));
  EXPECT_EQ(session.Buffer()->WritePending(), 0);
  // A failing poll is the result of a Printf that was sent.
  session.SetPollHook([] { return E_FAIL; });
  EXPECT_EQ(io().Printf("*CLS"), E_FAIL);
  EXPECT_EQ(dev->Written().back(), "*CLS");
}

TEST_F(WriteWireTest, NoFlushBuildsACommandThatTheNextPrintfSends) {
  ASSERT_EQ(io().PrintfNoFlush(":INST:NSEL %d;", 2), S_OK);
  EXPECT_TRUE(dev->Writes().empty());
  EXPECT_EQ(session.Buffer()->WritePending(), 13);
  EXPECT_EQ(polls, 0);
  ASSERT_EQ(io().Printf(":OUTP %{VARIANT_BOOL}s", VARIANT_TRUE), S_OK);
  EXPECT_EQ(dev->Writes(), (std::vector<WriteRecord>{{":INST:NSEL 2;:OUTP 1", true}}));
  EXPECT_EQ(polls, 1);
  // What was formatted before a failing item stays in the buffer.
  EXPECT_EQ(io().PrintfNoFlush(":VOLT %d;%s", 5, 6), E_INVALIDARG);
  EXPECT_EQ(session.Buffer()->WritePending(), 8);  // ":VOLT 5;"
}

TEST_F(WriteWireTest, CommandLongerThanTheBufferGoesOutInPiecesEndOnTheLast) {
  const std::string text(5000, 'x');
  ASSERT_EQ(io().Printf("%s", text.c_str()), S_OK);
  const auto writes = dev->Writes();
  ASSERT_EQ(writes.size(), 2u);
  EXPECT_EQ(writes[0], (WriteRecord{text.substr(0, 4096), false}));
  EXPECT_EQ(writes[1], (WriteRecord{text.substr(4096), true}));
}

TEST_F(WriteWireTest, ShortFlushIsReported) {
  dev->AcceptAtMostNextWrite(3);
  EXPECT_EQ(io().Printf(":VOLT %d", 5), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(), IoErrorText("Flush of formatted I/O write buffer only successfully "
                                     "sent 3 of 7 bytes to the device."));
  EXPECT_EQ(polls, 0);
}

struct ArgumentMistake {
  const char* name;
  std::function<HRESULT(CFormattedIo&)> call;
  const char* mentions;  // part of the description
};

TEST_F(WriteWireTest, ArgumentMistakesAreInvalidArgumentsAndSendNothing) {
  const std::vector<std::int32_t> ints{1, 2};
  const std::vector<std::int32_t> words{1};
  const ArgumentMistake cases[] = {
      {"double for %d", [](CFormattedIo& io) { return io.Printf(":INST:NSEL %d", 1.5); },
       "argument 1 of format \":INST:NSEL %d\" is a double"},
      {"32-bit for %hd", [](CFormattedIo& io) { return io.Printf("%hd", 70000); },
       "expects an integer of at most 16 bits"},
      {"64-bit for %d", [](CFormattedIo& io) { return io.Printf("%d", std::int64_t{1}); },
       "is a 64-bit signed integer"},
      {"int for %s", [](CFormattedIo& io) { return io.Printf("%s", 5); }, "expects a string"},
      {"int for %lf", [](CFormattedIo& io) { return io.Printf("%lf", 5); }, "expects a float or double"},
      {"long double for %lf", [](CFormattedIo& io) { return io.Printf("%lf", 1.0L); }, "long double"},
      {"missing argument", [](CFormattedIo& io) { return io.Printf(":VOLT %0.15lg"); },
       "takes 1 argument(s) but 0 were passed"},
      {"missing star argument", [](CFormattedIo& io) { return io.Printf("%*d", 5); },
       "takes 2 argument(s) but 1 were passed"},
      {"surplus argument", [](CFormattedIo& io) { return io.Printf("*CLS", 5); },
       "takes 0 argument(s) but 1 were passed"},
      {"null string", [](CFormattedIo& io) { return io.Printf("%s", static_cast<const char*>(nullptr)); },
       "null pointer"},
      {"null format", [](CFormattedIo& io) { return io.Printf(static_cast<const char*>(nullptr)); },
       "null pointer"},
      {"scalar for a list", [](CFormattedIo& io) { return io.Printf("%,d", 5); }, "an array"},
      {"int array for a byte block",
       [&](CFormattedIo& io) { return io.Printf("%b", std::span<const std::int32_t>(ints)); },
       "an array of bytes"},
      {"double for a star", [](CFormattedIo& io) { return io.Printf("%*d", 2.0, 5); }, "'*'"},
      {"bad separator letter",
       [&](CFormattedIo& io) { return io.Printf("%(x)d", std::span<const std::int32_t>(ints)); },
       "list separator 'x'"},
      {"32-bit for VARIANT_BOOL",
       [](CFormattedIo& io) { return io.Printf("%{VARIANT_BOOL}s", 1); }, "VARIANT_BOOL"},
      {"untokenizable", [](CFormattedIo& io) { return io.Printf(":VOLT %k", 1); },
       "invalid format item at \"%k\""},
      {"lone percent", [](CFormattedIo& io) { return io.Printf("50%% %"); }, "invalid format item"},
      {"huge width", [](CFormattedIo& io) { return io.Printf("%70000d", 1); }, "exceeds 65535"},
  };
  for (const ArgumentMistake& c : cases) {
    EXPECT_EQ(c.call(io()), E_INVALIDARG) << c.name;
    EXPECT_NE(LastError().find(c.mentions), std::string::npos) << c.name << ": " << LastError();
    EXPECT_EQ(ThreadErrorRecord().hr, E_INVALIDARG) << c.name;
    EXPECT_EQ(session.Buffer()->WritePending(), 0) << c.name;
  }
  EXPECT_TRUE(dev->Writes().empty());
  EXPECT_EQ(polls, 0);
}

TEST_F(WriteWireTest, EnumErrorsComeFromTheFormatter) {
  EXPECT_EQ(io().Printf(":TRIG %{Nope}s", 1), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(), IoErrorText("Unrecognized enum name 'Nope'."));
  EXPECT_EQ(io().Printf(":TRIG %{TestSource}s", 7), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(), IoErrorText("Unexpected value '7' for enum 'TestSource'."));
  io().SetEnumFormatter(nullptr);
  EXPECT_EQ(io().Printf(":OUTP %{VARIANT_BOOL}s", VARIANT_TRUE), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastError(), IoErrorText("Unrecognized enum name 'VARIANT_BOOL'."));
  EXPECT_TRUE(dev->Writes().empty());
}

TEST(FormattedIoWithoutBuffer, FailsThroughTheReporterWithAnEmptyDescription) {
  CVelmoraQdxErrorReporter reporter;
  CIoSession session(reporter);  // never opened
  double d = 0;
  const HRESULT calls[] = {
      session.Formatted().Printf(":VOLT %0.15lg", 1.0),
      session.Formatted().PrintfNoFlush("*CLS"),
      session.Formatted().WriteString("*CLS"),
      session.Formatted().Scanf("%lg", &d),
      session.Formatted().QueryString(":VOLT?", "%lg", &d),
  };
  for (const HRESULT hr : calls) {
    EXPECT_EQ(hr, E_VELMORAQDX_IO_GENERAL);
    EXPECT_EQ(ThreadErrorRecord().description, "VelmoraQdx: I/O error: .\r\n");
  }
  std::string out;  // Sprintf needs no device
  EXPECT_EQ(session.Formatted().Sprintf(out, ":VOLT %0.15lg", 1.0), S_OK);
  EXPECT_EQ(out, ":VOLT 1");
}

}  // namespace
}  // namespace veqdx::io::fmt_test
