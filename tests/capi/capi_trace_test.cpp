// The method trace through the C interface, and the stylesheet rendering it.
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <pugixml.hpp>
#include <string>

#include "../support/env_folder.h"
#include "capi_fixture.h"

namespace capi_test {
namespace {

namespace fs = std::filesystem;

std::string RunCommand(const std::string& command) {
  std::string out;
  std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  char buf[4096];
  while (pipe && fgets(buf, sizeof buf, pipe.get()) != nullptr) out += buf;
  return out;
}

std::size_t Count(const std::string& text, const std::string& what) {
  std::size_t n = 0;
  for (std::size_t p = text.find(what); p != std::string::npos; p = text.find(what, p + 1)) ++n;
  return n;
}

class FlatTrace : public testing::Test {
 protected:
  veqdx::testing::CEnvFolder folder{"VEQDX_TRACE_DIR", "veqdx_flat_trace"};
  const std::string dir = folder.Path();
};

TEST_F(FlatTrace, FlatCallsAreRecordedAndTheStylesheetRendersThem) {
  ViSession vi = VI_NULL;
  ASSERT_EQ(veqdx_InitWithOptions("X", VI_FALSE, VI_FALSE,
                                  "Simulate=1, DriverSetup=Trace=1, TraceName=flat, "
                                  "TraceTransform=trace.xsl",
                                  &vi),
            VI_SUCCESS);
  ViReal64 v = 0;
  EXPECT_EQ(veqdx_ConfigureVoltageLevel(vi, "Output0", 3.25), VI_SUCCESS);
  EXPECT_EQ(veqdx_SetAttributeViReal64(vi, "", VEQDX_ATTR_VOLTAGE_LEVEL, 4), VI_SUCCESS);
  EXPECT_EQ(veqdx_Measure(vi, "", VEQDX_VAL_MEASURE_VOLTAGE, &v), VI_SUCCESS);
  EXPECT_EQ(veqdx_ConfigureVoltageLevel(vi, "", -1), VEQDX_ERROR_INVALID_VALUE);
  EXPECT_EQ(veqdx_close(vi), VI_SUCCESS);

  ASSERT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1);
  const fs::path file = fs::directory_iterator(dir)->path();
  pugi::xml_document doc;
  ASSERT_TRUE(doc.load_file(file.c_str()));
  std::string methods;
  for (pugi::xml_node r : doc.child("TraceRecords").children("TraceRecord"))
    methods += std::string(r.child_value("Method")) + " ";
  EXPECT_EQ(methods, "Initialize put_VoltageLevel put_VoltageLevel Measure put_VoltageLevel Close ");

  if (std::string(VEQDX_XSLTPROC).empty()) GTEST_SKIP() << "xsltproc is not installed";
  const std::string html =
      RunCommand(std::string(VEQDX_XSLTPROC) + " " + VEQDX_TRACE_XSL + " " + file.string() + " 2>&1");
  EXPECT_EQ(Count(html, "<tr class=\"failed\">"), 1u) << html;
  EXPECT_EQ(Count(html, "<td>IVelmoraQdxOutput.put_VoltageLevel</td>"), 4u);  // 3 rows, 1 total
  EXPECT_NE(html.find("<td class=\"number\">3</td>"), std::string::npos);     // its count
  EXPECT_NE(html.find("MeasurementType = VelmoraQdxMeasurementVoltage"), std::string::npos);
  std::string words = html;  // the summary line, blanks and line breaks aside
  std::erase_if(words, [](char c) { return c == ' ' || c == '\n'; });
  EXPECT_NE(words.find("6calls,1failed."), std::string::npos) << html;
}

// Trace=false after a trace was stopped once: E_UNEXPECTED, which the flat layer converts like
// any other code it has no own status for.
TEST_F(FlatTrace, StoppingASecondTimeIsUnexpected) {
  ViSession vi = VI_NULL;
  ASSERT_EQ(veqdx_InitWithOptions(
                "X", VI_FALSE, VI_FALSE,
                "Simulate=1, DriverSetup=Trace=true, Trace=false, Trace=true, Trace=false", &vi),
            VEQDX_ERROR_CANNOT_RECOVER);
  EXPECT_EQ(vi, VI_NULL);
  EXPECT_NE(LastError(VI_NULL).text.find("stopped once"), std::string::npos);
}

}  // namespace
}  // namespace capi_test
