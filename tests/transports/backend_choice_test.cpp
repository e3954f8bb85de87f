// IoBackend: which transport a resource gets with and without a VISA library.
#include <gtest/gtest.h>

#include "io/io_session.h"
#include "io/serial_transport.h"
#include "io/socket_transport.h"
#include "io/visa_library.h"
#include "io/visa_transport.h"
#include "qdx_sim.h"
#include "serial_pty.h"
#include "transport_test_util.h"

namespace veqdx::io {
namespace {

// True when some VISA library is installed on this machine, so that "none found" cannot be
// shown here.
bool SystemHasVisa() {
  for (const std::string& name : CVisaLibrary::UsualNames()) {
    std::string ignored;
    if (CVisaLibrary::Load(name, ignored)) return true;
  }
  return false;
}

std::unique_ptr<ITransport> Open(const std::string& resource, const std::string& backend,
                                 IoResult& result) {
  TransportOptions options;
  if (!backend.empty()) options.setup["iobackend"] = backend;
  return OpenTransport(resource, options, result);
}

TEST(BackendChoice, WithoutVisaGpibAsksForOne) {
  if (SystemHasVisa()) GTEST_SKIP() << "a VISA library is installed here";
  ::unsetenv("VEQDX_VISA_LIBRARY");
  IoResult result;
  EXPECT_EQ(Open("GPIB0::5::INSTR", "", result), nullptr);
  EXPECT_EQ(result.code, IoCode::Error);
  EXPECT_EQ(result.message,
            "GPIB resources need an installed VISA library (none found; set "
            "VEQDX_VISA_LIBRARY): GPIB0::5::INSTR");
  EXPECT_EQ(Open("gpib1::7::instr", "visa", result), nullptr);
  EXPECT_EQ(result.message,
            "IoBackend=visa needs an installed VISA library (none found; set "
            "VEQDX_VISA_LIBRARY): gpib1::7::instr");
}

TEST(BackendChoice, BuiltinNeverLoadsVisa) {
  test::FakeVisa visa;
  IoResult result;
  EXPECT_EQ(Open("GPIB0::5::INSTR", "BuiltIn", result), nullptr);
  EXPECT_EQ(result.message,
            "GPIB resources need an installed VISA library (IoBackend=builtin): GPIB0::5::INSTR");
  EXPECT_EQ(Open("TCPIP0::10.0.0.5::hislip0::INSTR", "builtin", result), nullptr);
  EXPECT_EQ(result.message,
            "HiSLIP resources need an installed VISA library (IoBackend=builtin): "
            "TCPIP0::10.0.0.5::hislip0::INSTR");
  EXPECT_TRUE(visa.Calls().empty());
}

TEST(BackendChoice, AutoAndVisaGoThroughTheLibraryWhenThereIsOne) {
  test::FakeVisa visa;
  for (const char* backend : {"", "auto", "VISA"}) {
    IoResult result;
    auto t = Open("GPIB0::5::INSTR", backend, result);
    ASSERT_NE(dynamic_cast<CVisaTransport*>(t.get()), nullptr) << backend << ": " << result.message;
    EXPECT_EQ(dynamic_cast<CVisaTransport*>(t.get())->Library().Name(), VEQDX_FAKE_VISA_LIBRARY);
    // Forms the built-in parser refuses are the library's to judge.
    t = Open("PXI0::3-18.0::INSTR", backend, result);
    EXPECT_NE(dynamic_cast<CVisaTransport*>(t.get()), nullptr) << result.message;
  }
}

TEST(BackendChoice, AutoFallsBackToBuiltInWhenVisaDoesNotKnowTheResource) {
  test::FakeVisa visa;
  qdxsim::Instrument instrument{qdxsim::Config{}};
  qdxsim::SerialPtyServer server(instrument);
  std::string error;
  ASSERT_TRUE(server.Start(&error)) << error;
  const std::string resource = "ASRL" + server.Path() + "::INSTR";

  visa.Script("open_status 0xBFFF0011\n");  // resource not found
  IoResult result;
  auto t = Open(resource, "auto", result);
  EXPECT_NE(dynamic_cast<CSerialTransport*>(t.get()), nullptr) << result.message;
  t.reset();
  // Forced to VISA, VISA's answer stands.
  EXPECT_EQ(Open(resource, "visa", result), nullptr);
  EXPECT_NE(result.message.find("VI_ERROR_RSRC_NFOUND"), std::string::npos);
  // GPIB has nothing to fall back to.
  EXPECT_EQ(Open("GPIB0::5::INSTR", "auto", result), nullptr);
  EXPECT_EQ(result.message.rfind("viOpen GPIB0::5::INSTR: ", 0), 0u);
  // Another failure (an I/O error) is not a reason to try elsewhere.
  visa.Script("open_status 0xBFFF003C\n");
  EXPECT_EQ(Open(resource, "auto", result), nullptr);
  EXPECT_NE(result.message.find("VI_ERROR_IO"), std::string::npos);
}

TEST(BackendChoice, BadValuesAndUnusableLibrariesAreClearErrors) {
  IoResult result;
  EXPECT_EQ(Open("TCPIP::127.0.0.1::5025::SOCKET", "pyvisa", result), nullptr);
  EXPECT_EQ(result.message,
            "DriverSetup item IoBackend='pyvisa' is not valid: expected builtin, visa or auto");

  test::ScratchDir dir;
  ::setenv("VEQDX_VISA_LIBRARY", (dir / "libnothing.so").c_str(), 1);
  EXPECT_EQ(Open("GPIB0::5::INSTR", "visa", result), nullptr);
  EXPECT_EQ(result.message.rfind("IoBackend=visa needs an installed VISA library (cannot load " +
                                     (dir / "libnothing.so") + ": ",
                                 0),
            0u)
      << result.message;
  EXPECT_EQ(Open("GPIB0::5::INSTR", "auto", result), nullptr);
  EXPECT_EQ(result.message.rfind("GPIB resources need an installed VISA library (cannot load ", 0), 0u);

  // A library that loads but is no VISA is named with what it lacks; DriverSetup beats the
  // environment.
  TransportOptions options;
  options.setup["iobackend"] = "visa";
  options.setup["visalibrary"] = "libm.so.6";
  EXPECT_EQ(OpenTransport("GPIB0::5::INSTR", options, result), nullptr);
  EXPECT_NE(result.message.find("libm.so.6 is not a usable VISA library: it lacks viOpenDefaultRM, "
                                "viOpen, viClose"),
            std::string::npos)
      << result.message;
  ::unsetenv("VEQDX_VISA_LIBRARY");
}

}  // namespace
}  // namespace veqdx::io
