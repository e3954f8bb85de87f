// The method trace, read back from its files with pugixml.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <pugixml.hpp>
#include <string>
#include <thread>
#include <vector>

#include "core/trace_file.h"
#include "driver_fixture.h"
#include "support/env_folder.h"

namespace veqdx::testing {
namespace {

namespace fs = std::filesystem;

// The trace files of one test go to a fresh folder.
class TraceFolder : public ::testing::Test {
 protected:
  std::vector<fs::path> Files() const { return folder.Files(); }
  // "Interface.Method(name=value,...)=HRESULT" per record.
  static std::vector<std::string> Records(const fs::path& file, pugi::xml_document& doc) {
    EXPECT_TRUE(doc.load_file(file.c_str())) << file;
    std::vector<std::string> out;
    for (pugi::xml_node r : doc.child("TraceRecords").children("TraceRecord")) {
      std::string line = std::string(r.child_value("Interface")) + "." + r.child_value("Method") + "(";
      for (pugi::xml_node p : r.child("Parameters").children("Parameter"))
        line += std::string(p.attribute("direction").value()) + " " + p.attribute("type").value() +
                " " + p.attribute("name").value() + "=" + p.child_value() + ";";
      out.push_back(line + ")=" + r.child_value("HRESULT"));
    }
    return out;
  }
  CEnvFolder folder{"VEQDX_TRACE_DIR",
                    std::string("veqdx_trace_") +
                        ::testing::UnitTest::GetInstance()->current_test_info()->name()};
  const std::string dir = folder.Path();
};

TEST_F(TraceFolder, ShortSessionWithAFailureIsRecordedCallByCall) {
  CVelmoraQdx d{dcpwr::CreateOutput};
  ASSERT_EQ(OpenSimulated(d, "Simulate=1, DriverSetup=Trace=true, TraceName=../x"), S_OK);
  auto& out = *static_cast<dcpwr::CVelmoraQdxOutput*>(d.FindChild("Output0"));
  double v = 0;
  VARIANT_BOOL state = 0;
  EXPECT_EQ(out.put_VoltageLevel(12.5), S_OK);
  EXPECT_EQ(out.Measure(VelmoraQdxMeasurementVoltage, &v), S_OK);
  EXPECT_LT(out.put_VoltageLevel(1e6), 0);
  EXPECT_EQ(out.QueryState(VelmoraQdxOutputStateConstantCurrent, &state), S_OK);
  EXPECT_EQ(d.Close(), S_OK);

  const auto files = Files();
  ASSERT_EQ(files.size(), 1u);
  EXPECT_EQ(files[0].parent_path(), fs::path(dir));  // "../x" stays in the folder
  EXPECT_EQ(files[0].filename().string().rfind(".._x_", 0), 0u) << files[0];
  pugi::xml_document doc;
  const std::vector<std::string> expected = {
      "IIviDriver.Initialize(in BSTR ResourceName=A;in VARIANT_BOOL IdQuery=false;"
      "in VARIANT_BOOL Reset=false;in BSTR OptionString=Simulate=1, DriverSetup=Trace=true, "
      "TraceName=../x;)=0x00000000",
      "IVelmoraQdxOutput.put_VoltageLevel(in double val=12.5;)=0x00000000",
      "IVelmoraQdxOutput.Measure(in VelmoraQdxMeasurementTypeEnum "
      "MeasurementType=VelmoraQdxMeasurementVoltage;out double val=0;)=0x00000000",
      "IVelmoraQdxOutput.put_VoltageLevel(in double val=1e+06;)=0x80047010",
      "IVelmoraQdxOutput.QueryState(in VelmoraQdxOutputStateEnum "
      "OutputState=VelmoraQdxOutputStateConstantCurrent;out VARIANT_BOOL val=false;)=0x00000000",
      "IIviDriver.Close()=0x00000000"};
  EXPECT_EQ(Records(files[0], doc), expected);
  const pugi::xml_node root = doc.child("TraceRecords");
  EXPECT_STREQ(root.attribute("driver").value(), "VelmoraQdx");
  EXPECT_STREQ(root.attribute("revision").value(), "1.0.4.0");
  EXPECT_STREQ(root.attribute("resource").value(), "A");
  const auto records = root.children("TraceRecord");
  auto it = records.begin();
  std::advance(it, 3);
  EXPECT_NE(std::string(it->child_value("Message")).find("Invalid value"), std::string::npos);
  EXPECT_STREQ(records.begin()->child_value("Message"), "");
  EXPECT_EQ(std::stol(it->child_value("Thread")), static_cast<long>(::syscall(SYS_gettid)));
  EXPECT_STREQ(it->child("ExecutionTime").attribute("unit").value(), "us");
  EXPECT_EQ(std::string(it->child_value("StartTime")).size(), 32u);  // ...T10:15:02.130001+01:00
}

// The trace starts before the connection is opened, so a failing Initialize is on disk too.
TEST_F(TraceFolder, FailedInitializeIsTraced) {
  CVelmoraQdx d{dcpwr::CreateOutput};
  EXPECT_LT(d.Initialize("TCPIP::127.0.0.1::1::SOCKET", VARIANT_TRUE, VARIANT_FALSE,
                         "DriverSetup=Trace=true, IoTimeout=500"),
            0);
  ASSERT_EQ(Files().size(), 1u);
  pugi::xml_document doc;
  const std::vector<std::string> records = Records(Files()[0], doc);
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].rfind("IIviDriver.Initialize(in BSTR ResourceName=TCPIP::127.0.0.1::1::SOCKET;", 0), 0u);
  EXPECT_NE(std::string(doc.child("TraceRecords").child("TraceRecord").child_value("Message")), "");
}

// Text that XML cannot carry as it is, the size limit and array items, written by the trace
// itself (save after every record) and read back.
TEST_F(TraceFolder, HostileTextSizeLimitAndArraysStayWellFormed) {
  CTraceState settings;
  settings.name = "t";
  settings.sizeMax = 3;
  settings.traceArrays = true;
  settings.arraySizeMax = 2;
  settings.saveInterval = 0;
  settings.transform = "a\"?>b.xsl";
  CMethodTrace trace;
  trace.Start(settings, "VelmoraQdx", "1.0.4.0", "res<&>");
  const std::string hostile("<&\0\x01]]>\xff", 8);
  for (int i = 0; i < 5; ++i) {
    CTraceScope scope(trace, "IVelmoraQdx", "Call" + std::to_string(i));
    TraceIn("sel", std::string_view(hostile));
    const double items[] = {1, 2.5, 3};
    TraceInArray("arr", items, i < 4 ? 3u : 2u);
    scope.Done(i == 4 ? E_FAIL : S_OK);
  }
  pugi::xml_document doc;
  const auto files = Files();
  ASSERT_EQ(files.size(), 1u);
  const std::vector<std::string> records = Records(files[0], doc);
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[0], "IVelmoraQdx.Call2(in BSTR sel=<&\\x00\\x01]]>\\xFF;in double[] arr=;)=0x00000000");
  const pugi::xml_node root = doc.child("TraceRecords");
  EXPECT_STREQ(root.attribute("dropped").value(), "2");
  EXPECT_STREQ(root.attribute("resource").value(), "res<&>");
  pugi::xml_document withPi;
  ASSERT_TRUE(withPi.load_file(files[0].c_str(), pugi::parse_default | pugi::parse_pi));
  EXPECT_STREQ(withPi.first_child().value(), "type=\"text/xsl\" href=\"a&quot;?&gt;b.xsl\"");
  const auto arrays = [&](int record) {
    auto it = root.children("TraceRecord").begin();
    std::advance(it, record);
    pugi::xml_node p = it->child("Parameters").last_child();
    std::string s = p.attribute("truncated").value();
    for (pugi::xml_node item : p.children("Item")) s += std::string(" ") + item.child_value();
    return s;
  };
  EXPECT_EQ(arrays(1), "true 1 2.5");
  EXPECT_EQ(arrays(2), " 1 2.5");
}

TEST_F(TraceFolder, NameRuleSanitisesAndCountsUp) {
  const auto t = std::chrono::system_clock::now();
  const std::string first = ReserveTraceFile(dir, "a/b c", t);
  const std::string second = ReserveTraceFile(dir, "a/b c", t);
  EXPECT_EQ(fs::path(first).parent_path(), fs::path(dir));
  EXPECT_EQ(second.substr(0, second.size() - 6), first.substr(0, first.size() - 4));
  EXPECT_EQ(second.substr(second.size() - 6), "_2.xml");
  EXPECT_EQ(fs::path(first).filename().string().rfind("a_b_c_", 0), 0u);
}

// An unwritable folder: every call succeeds, the failure is reported once.
TEST_F(TraceFolder, UnwritableFolderIsReportedOnceAndNeverFailsACall) {
  setenv("VEQDX_TRACE_DIR", (dir + "/missing").c_str(), 1);
  CVelmoraQdx d{dcpwr::CreateOutput};
  ClearThreadErrorRecord();
  ASSERT_EQ(OpenSimulated(d, "Simulate=1, DriverSetup=Trace=true, TraceSaveInterval=0"), S_OK);
  EXPECT_EQ(ThreadErrorRecord().hr, MakeHr(0x80047004u));
  EXPECT_NE(ThreadErrorRecord().description.find(dir + "/missing"), std::string::npos);
  ClearThreadErrorRecord();
  VARIANT_BOOL cache = 0;
  EXPECT_EQ(d.get_Cache(&cache), S_OK);
  EXPECT_EQ(d.Close(), S_OK);
  EXPECT_EQ(ThreadErrorRecord().hr, S_OK);
}

// Sessions tracing at once, and two threads on one of them: every record arrives, each file is
// well-formed (run under ThreadSanitizer with VEQDX_SANITIZE=thread).
TEST_F(TraceFolder, ConcurrentSessionsTraceAtOnce) {
  constexpr int kSessions = 3, kCalls = 40;
  std::vector<std::unique_ptr<CVelmoraQdx>> drivers;
  for (int i = 0; i < kSessions; ++i) {
    drivers.push_back(std::make_unique<CVelmoraQdx>(dcpwr::CreateOutput));
    ASSERT_EQ(OpenSimulated(*drivers.back(),
                            "Simulate=1, DriverSetup=Trace=true, TraceSaveInterval=0"),
              S_OK);
  }
  std::vector<std::thread> threads;
  for (int i = 0; i < kSessions + 1; ++i) {
    threads.emplace_back([&, i] {
      auto& out = *static_cast<dcpwr::CVelmoraQdxOutput*>(drivers[i % kSessions]->FindChild("Output0"));
      for (int k = 0; k < kCalls; ++k) out.put_VoltageLevel(k);
    });
  }
  for (auto& t : threads) t.join();
  for (auto& d : drivers) EXPECT_EQ(d->Close(), S_OK);
  std::size_t total = 0;
  for (const auto& f : Files()) {
    pugi::xml_document doc;
    total += Records(f, doc).size();
  }
  EXPECT_EQ(Files().size(), std::size_t{kSessions});
  EXPECT_EQ(total, std::size_t{kSessions * 2 + (kSessions + 1) * kCalls});
}

}  // namespace
}  // namespace veqdx::testing
