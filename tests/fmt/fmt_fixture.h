// A formatted I/O engine on a CIoSession over the scripted device, with a small enum formatter.
#pragma once
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

#include "base/error_reporter.h"
#include "io/formatted_io.h"
#include "io/io_session.h"
#include "support/scripted_transport.h"

namespace veqdx::io::fmt_test {

// VARIANT_BOOL: -1 <-> "1"/"ON", 0 <-> "0"/"OFF"; "TestSource": 0 <-> "IMM", 1 <-> "BUS".
class TestEnums : public IEnumFormatter {
 public:
  explicit TestEnums(const CIoSession& session) : session_(session) {}

  HRESULT FormatEnum(std::string_view name, std::int32_t value, std::string& keyword) override {
    if (name == "VARIANT_BOOL") {
      keyword = value != 0 ? "1" : "0";
      return S_OK;
    }
    if (name != "TestSource") return UnknownName(name);
    if (value == 0) keyword = "IMM";
    else if (value == 1) keyword = "BUS";
    else return session_.ReportError("Unexpected value '" + std::to_string(value) +
                                     "' for enum 'TestSource'.");
    return S_OK;
  }

  HRESULT ParseEnum(std::string_view name, std::string_view reply,
                    std::int32_t& value) override {
    if (name == "VARIANT_BOOL") {
      if (reply == "1" || reply == "ON") value = -1;
      else if (reply == "0" || reply == "OFF") value = 0;
      else return Unexpected(reply, name);
      return S_OK;
    }
    if (name != "TestSource") return UnknownName(name);
    if (reply == "IMM") value = 0;
    else if (reply == "BUS") value = 1;
    else return Unexpected(reply, name);
    return S_OK;
  }

 private:
  HRESULT UnknownName(std::string_view name) {
    return session_.ReportError("Unrecognized enum name '" + std::string(name) + "'.");
  }
  HRESULT Unexpected(std::string_view reply, std::string_view name) {
    return session_.ReportError("Unexpected value '" + std::string(reply) + "' for enum '" +
                                std::string(name) + "'.");
  }
  const CIoSession& session_;
};

class FmtTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(session.OpenWithTransport("TCPIP0::sim::INSTR", dev->Connect()), S_OK);
    io().SetEnumFormatter(&enums);
    session.SetPollHook([this] {
      ++polls;
      return S_OK;
    });
  }

  CFormattedIo& io() { return session.Formatted(); }

  // The description of the calling thread's last error.
  static std::string LastError() { return ThreadErrorRecord().description; }
  // The description an I/O failure text produces (no extra text: the message's CR LF ends it).
  static std::string IoErrorText(std::string_view text) {
    return "VelmoraQdx: I/O error: " + std::string(text) + ".\r\n";
  }

  CVelmoraQdxErrorReporter reporter;
  CIoSession session{reporter};
  std::shared_ptr<ScriptedDevice> dev = std::make_shared<ScriptedDevice>();
  TestEnums enums{session};
  int polls = 0;
};

}  // namespace veqdx::io::fmt_test
