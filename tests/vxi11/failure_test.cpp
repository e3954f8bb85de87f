// How the VXI-11 transport fails: timeouts that leave the link usable, wrong ports, a device
// out of links, an instrument that drops the connection, a peer that never answers.
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "base/error_reporter.h"
#include "core/velmoraqdx.h"
#include "io/formatted_io.h"
#include "vxi11_bench.h"
#include "dcpwr/output_factory.h"

namespace veqdx::io::test {
namespace {

using Clock = std::chrono::steady_clock;

// A loopback TCP listener that accepts (through the kernel backlog) and never answers.
class MuteListener {
 public:
  MuteListener() : fd_(ListenOnLoopback(8, port_)) {}
  ~MuteListener() { ::close(fd_); }
  int port() const { return port_; }

 private:
  int port_ = 0;
  int fd_;
};

// A loopback port with nothing listening on it.
int ClosedPort() {
  MuteListener probe;
  return probe.port();  // closed again when `probe` goes
}

long long MsSince(Clock::time_point start) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

// The timeout of a silent instrument over VXI-11 is checked with the other links
// (tests/transports); here the session's view of the link's errors.
TEST(Vxi11Failure, SessionReportsTheLinksErrors) {
  Vxi11Bench bench;
  ASSERT_BENCH(bench);
  CVelmoraQdxErrorReporter reporter;
  CIoSession session(reporter);
  ASSERT_EQ(bench.OpenSession(session, 300), S_OK);
  std::uint8_t stb = 0xFF;
  EXPECT_EQ(session.Unlock(), E_VELMORAQDX_IO_GENERAL);
  EXPECT_TRUE(Contains(ThreadErrorRecord().description, "no lock held by this link"));
  EXPECT_EQ(session.ReadStatusByte(&stb), S_OK);
  EXPECT_EQ(stb, bench.emulator->Device().StatusByte());
}

// Each case: DriverSetup items (PORTMAPPER/CORE/CLOSED stand for the bench's ports and a
// closed one) and what the transport says when it cannot be opened. The session reports any
// such failure as the one general open failure naming the resource.
TEST(Vxi11Failure, PortItemsSelectHowTheCoreChannelIsFound) {
  Vxi11Bench bench;
  ASSERT_BENCH(bench);
  const std::string portmapper = std::to_string(bench.server->PortmapPort());
  const std::string core = std::to_string(bench.server->CorePort());
  const std::string closed = std::to_string(ClosedPort());
  struct Case {
    std::string portmapperPort;
    std::string vxi11Port;
    std::string failure;  // empty: the open works
  };
  const Case cases[] = {
      {portmapper, "", ""},
      {closed, core, ""},  // Vxi11Port asks no portmapper
      {closed, "", "connect to 127.0.0.1:" + closed + " (portmapper) refused"},
      {"", closed, "connect to 127.0.0.1:" + closed + " (VXI-11 core channel) refused"},
      {core, "", "portmapper GETPORT to 127.0.0.1:" + core + " failed: RPC: Program unavailable"},
      {"abc", "", "DriverSetup item PortmapperPort has the invalid value 'abc'"},
      {portmapper, "0", "DriverSetup item Vxi11Port has the invalid value '0'"},
      {"65536", "", "DriverSetup item PortmapperPort has the invalid value '65536'"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE("PortmapperPort=" + c.portmapperPort + " Vxi11Port=" + c.vxi11Port);
    CVelmoraQdxErrorReporter reporter;
    CIoSession session(reporter);
    IoOpenOptions options;
    options.transport = bench.Options();
    options.transport.setup.erase("portmapperport");
    if (!c.portmapperPort.empty()) options.transport.setup["portmapperport"] = c.portmapperPort;
    if (!c.vxi11Port.empty()) options.transport.setup["vxi11port"] = c.vxi11Port;
    ClearThreadErrorRecord();
    HRESULT hr = session.Open(kResource, options);
    if (c.failure.empty()) {
      EXPECT_EQ(hr, S_OK) << ThreadErrorRecord().description;
      EXPECT_EQ(bench.server->LinkCount(), 1u);
      continue;
    }
    const std::string cause = c.failure + (c.failure.rfind("DriverSetup", 0) == 0
                                               ? ": expected a port number from 1 to 65535"
                                               : "");
    EXPECT_EQ(hr, E_VELMORAQDX_IO_GENERAL);
    EXPECT_EQ(ThreadErrorRecord().description,
              "VelmoraQdx: I/O error: Failed to open VISA resource..\r\n"
              "Resource descriptor = TCPIP::127.0.0.1::INSTR. Cause: " + cause + ".");
    IoResult r;
    EXPECT_FALSE(OpenTransport(kResource, options.transport, r));
    EXPECT_EQ(r.code, IoCode::Error);
    EXPECT_EQ(r.message, cause);
  }
  EXPECT_EQ(bench.AwaitLinks(0), 0u);
}

TEST(Vxi11Failure, UnresolvableHostNamesTheHost) {
  TransportOptions options;
  options.setup["iobackend"] = "builtin";
  IoResult r;
  EXPECT_FALSE(OpenTransport("TCPIP::no-such-host.invalid::INSTR", options, r));
  EXPECT_EQ(r.code, IoCode::Error);
  EXPECT_EQ(r.message.rfind("cannot resolve host 'no-such-host.invalid'", 0), 0u) << r.message;
}

TEST(Vxi11Failure, NoFreeLinkIsAClearErrorUntilOneIsClosed) {
  Vxi11Bench bench(3);
  ASSERT_BENCH(bench);
  std::vector<std::unique_ptr<ITransport>> links;
  IoResult r;
  for (int i = 0; i < 3; ++i) {
    links.push_back(bench.Open(r));
    ASSERT_TRUE(links.back()) << r.message;
  }
  EXPECT_FALSE(bench.Open(r));
  EXPECT_EQ(r.code, IoCode::Error);
  const std::string expected = "refused a link to device 'inst0': VXI-11 error 9 (out of "
                               "resources); it has no free link, close the sessions that other "
                               "programs hold";
  EXPECT_TRUE(Contains(r.message, expected)) << r.message;
  EXPECT_EQ(bench.server->LinkCount(), 3u);

  CVelmoraQdxErrorReporter reporter;
  CIoSession session(reporter);
  // The session and the driver's Initialize report the general open failure naming the
  // resource and the transport's reason.
  const std::string openFailure =
      "VelmoraQdx: I/O error: Failed to open VISA resource..\r\n"
      "Resource descriptor = TCPIP::127.0.0.1::INSTR. Cause: the instrument at 127.0.0.1:" +
      std::to_string(bench.server->CorePort()) +
      " refused a link to device 'inst0': VXI-11 error 9 (out of resources); it has no free "
      "link, close the sessions that other programs hold.";
  EXPECT_EQ(bench.OpenSession(session), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(ThreadErrorRecord().description, openFailure);
  CVelmoraQdx driver{dcpwr::CreateOutput};
  const std::string setup =
      "DriverSetup=IoBackend=builtin, PortmapperPort=" + std::to_string(bench.server->PortmapPort());
  ClearThreadErrorRecord();
  EXPECT_EQ(driver.Initialize(kResource, VARIANT_TRUE, VARIANT_FALSE, setup.c_str()),
            E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(ThreadErrorRecord().description, openFailure);

  links[1]->Close();
  EXPECT_EQ(bench.OpenSession(session), S_OK);
  EXPECT_EQ(bench.server->LinkCount(), 3u);
}

TEST(Vxi11Failure, InstrumentDroppingTheConnectionFailsEveryLaterCall) {
  Vxi11Bench bench;
  ASSERT_BENCH(bench);
  IoResult r;
  auto t = bench.Open(r);
  ASSERT_TRUE(t) << r.message;
  bench.emulator->SetCloseAfter(1);
  EXPECT_EQ(Query(*t, "*IDN?"), "Velmora,QDX750ML,SIM0001,1.00\n");  // answered, then closed
  // The write may still go out before the close is seen; the reply never comes either way.
  std::string reply = Query(*t, "*OPC?");
  EXPECT_TRUE(Contains(reply, "closed by the instrument")) << reply;
  std::uint8_t stb = 0;
  r = t->ReadStatusByte(stb);
  EXPECT_EQ(r.code, IoCode::Error);
  EXPECT_TRUE(Contains(r.message, "is closed")) << r.message;
  auto start = Clock::now();
  t->Close();
  EXPECT_LT(MsSince(start), 1000);
  EXPECT_EQ(bench.AwaitLinks(0), 0u);
}

// A core channel that accepts the connection and never answers: the open ends within its
// timeout, as a timeout.
TEST(Vxi11Failure, PeerThatNeverAnswersTimesOutTheOpen) {
  MuteListener mute;
  ASSERT_NE(mute.port(), 0);
  for (const char* item : {"vxi11port", "portmapperport"}) {
    SCOPED_TRACE(item);
    TransportOptions options;
    options.openTimeoutMs = 300;
    options.setup["iobackend"] = "builtin";
    options.setup[item] = std::to_string(mute.port());
    IoResult r;
    auto start = Clock::now();
    EXPECT_FALSE(OpenTransport(kResource, options, r));
    EXPECT_EQ(r.code, IoCode::Timeout) << r.message;
    EXPECT_TRUE(Contains(r.message, "no answer to ")) << r.message;
    EXPECT_LT(MsSince(start), 2000);
  }
}

// Opening and closing many links, refused ones included, leaves no descriptor of this process
// and no link on the instrument behind: an instrument allows only a few links.
TEST(Vxi11Leaks, HundredOpenCloseCyclesLeaveNothingBehind) {
  Vxi11Bench bench(2);
  ASSERT_BENCH(bench);
  IoResult r;
  {
    // One cycle first: libtirpc sets up per-process tables on first use.
    auto warmUp = bench.Open(r);
    ASSERT_TRUE(warmUp) << r.message;
  }
  const int fds = veqdx::testing::SettledDescriptorCount();
  ASSERT_GT(fds, 0);
  TransportOptions notVxi11 = bench.Options();
  notVxi11.setup["vxi11port"] = std::to_string(bench.server->PortmapPort());
  for (int i = 0; i < 100; ++i) {
    auto t = bench.Open(r);
    ASSERT_TRUE(t) << "cycle " << i << ": " << r.message;
    if (i % 10 == 0) {
      ASSERT_EQ(Query(*t, "*OPC?"), "1\n");
      auto second = bench.Open(r);  // the device's last link: the next is refused
      EXPECT_FALSE(bench.Open(r));
      EXPECT_TRUE(Contains(r.message, "VXI-11 error 9")) << r.message;
      EXPECT_FALSE(OpenTransport(kResource, notVxi11, r));
      EXPECT_TRUE(Contains(r.message, "create_link to 127.0.0.1:")) << r.message;
    }
    // Destroyed without an explicit Close: the destructor must destroy the link too.
    if (i % 2 == 0) t->Close();
  }
  EXPECT_EQ(veqdx::testing::SettledDescriptorCount(fds), fds);
  EXPECT_EQ(bench.server->LinkCount(), 0u);  // destroy_link answered before close returned
  EXPECT_EQ(bench.server->Statistics().links, 111u);
}

}  // namespace
}  // namespace veqdx::io::test
