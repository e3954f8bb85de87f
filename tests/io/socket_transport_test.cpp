// The raw socket transport against a listener inside the test. Every wait of the peer side is
// bounded, so a broken transport fails the test instead of hanging it.
#include "io/socket_transport.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "io_test_util.h"

namespace veqdx::io {
namespace {

using test::Ask;
using test::LastDescription;

constexpr int kPeerWaitMs = 5000;

// Receives up to and including the next line feed; empty on timeout or close.
std::string RecvLine(int fd, int timeoutMs = kPeerWaitMs) {
  std::string line;
  char c = 0;
  while (line.empty() || line.back() != '\n') {
    pollfd p{fd, POLLIN, 0};
    if (::poll(&p, 1, timeoutMs) <= 0) return {};
    if (::recv(fd, &c, 1, 0) != 1) return {};
    line.push_back(c);
  }
  return line;
}

void SendAll(int fd, const std::string& text) {
  ASSERT_EQ(::send(fd, text.data(), text.size(), MSG_NOSIGNAL),
            static_cast<ssize_t>(text.size()));
}

// A loopback listener whose peer side runs `serve` for each accepted connection on its own
// thread, until the listener is destroyed.
class Listener {
 public:
  explicit Listener(int family = AF_INET) : family_(family) {
    fd_ = ::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd_ < 0) return;
    int one = 1;
    ::setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_storage ss{};
    socklen_t len = 0;
    if (family == AF_INET6) {
      auto* a = reinterpret_cast<sockaddr_in6*>(&ss);
      a->sin6_family = AF_INET6;
      a->sin6_addr = in6addr_loopback;
      len = sizeof *a;
    } else {
      auto* a = reinterpret_cast<sockaddr_in*>(&ss);
      a->sin_family = AF_INET;
      a->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
      len = sizeof *a;
    }
    if (::bind(fd_, reinterpret_cast<sockaddr*>(&ss), len) != 0 || ::listen(fd_, SOMAXCONN) != 0 ||
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&ss), &len) != 0) {
      ::close(fd_);
      fd_ = -1;
      return;
    }
    port_ = ntohs(family == AF_INET6 ? reinterpret_cast<sockaddr_in6*>(&ss)->sin6_port
                                     : reinterpret_cast<sockaddr_in*>(&ss)->sin_port);
  }
  ~Listener() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    if (fd_ >= 0) ::close(fd_);
  }

  bool ok() const { return fd_ >= 0; }
  std::uint16_t port() const { return port_; }
  std::string Resource() const {
    std::string host = family_ == AF_INET6 ? "[::1]" : "127.0.0.1";
    return "TCPIP::" + host + "::" + std::to_string(port_) + "::SOCKET";
  }

  void Serve(std::function<void(int fd)> serve) {
    thread_ = std::thread([this, serve = std::move(serve)] {
      while (!stop_) {
        pollfd p{fd_, POLLIN, 0};
        if (::poll(&p, 1, 20) <= 0) continue;
        int conn = ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
        if (conn < 0) continue;
        serve(conn);
        ::close(conn);
      }
    });
  }
 private:
  int family_;
  int fd_ = -1;
  std::uint16_t port_ = 0;
  std::thread thread_;
  std::atomic<bool> stop_{false};
};

std::unique_ptr<CSocketTransport> ConnectTo(const std::string& host, std::uint16_t port,
                                           int timeoutMs = 2000) {
  TransportOptions options;
  options.timeoutMs = timeoutMs;
  IoResult result;
  auto t = CSocketTransport::Connect(host, port, 0, options, result);
  EXPECT_TRUE(result.ok()) << result.message;
  return t;
}

std::string ReadOnce(ITransport& t, ReadEnd& why, IoResult& r, std::size_t max = 4096) {
  std::string buffer(max, '\0');
  std::size_t got = 0;
  r = t.Read(buffer.data(), max, got, why);
  buffer.resize(got);
  return buffer;
}

TEST(SocketTransport, RoundTripAndClearThroughTheSession) {
  Listener listener;
  ASSERT_TRUE(listener.ok());
  std::mutex mutex;
  std::string firstReceive;
  listener.Serve([&](int fd) {
    // The command must arrive whole, terminator included, in one segment.
    char chunk[256];
    pollfd p{fd, POLLIN, 0};
    if (::poll(&p, 1, kPeerWaitMs) <= 0) return;
    ssize_t n = ::recv(fd, chunk, sizeof chunk, 0);
    if (n > 0) {
      std::lock_guard lock(mutex);
      firstReceive.assign(chunk, static_cast<std::size_t>(n));
    }
    SendAll(fd, "Velmora,QDX750L,1,2\n");
    if (RecvLine(fd) == ":VOLT 12.5\n") SendAll(fd, "12.5\na\nstale\n");
    if (RecvLine(fd) == "NEXT?\n") SendAll(fd, "fresh\n");
    RecvLine(fd, 1000);  // until the client closes
  });
  CVelmoraQdxErrorReporter reporter;
  CIoSession session(reporter);
  ASSERT_EQ(session.Open(listener.Resource(), IoOpenOptions{}), S_OK) << LastDescription();
  EXPECT_EQ(session.GetResourceClass(), "SOCKET");
  EXPECT_EQ(session.GetInterfaceType(), InterfaceType::Tcpip);
  EXPECT_TRUE(session.GetTerminationCharacterEnabled());
  EXPECT_EQ(session.GetTerminationCharacter(), '\n');

  ASSERT_EQ(session.LowLevelWriteStringNoPoll("*IDN?"), S_OK);
  std::string text;
  std::int32_t status = -1;
  ASSERT_EQ(session.LowLevelReadStringNoPoll(1000, text, status), S_OK) << LastDescription();
  EXPECT_EQ(text, "Velmora,QDX750L,1,2\n");
  EXPECT_EQ(status, 0);
  {
    std::lock_guard lock(mutex);
    EXPECT_EQ(firstReceive, "*IDN?\n");
  }

  // A message that already ends with the terminator gets no second one.
  ASSERT_EQ(session.LowLevelWriteStringNoPoll(":VOLT 12.5\n"), S_OK);
  ASSERT_EQ(session.LowLevelReadStringNoPoll(1000, text, status), S_OK) << LastDescription();
  EXPECT_EQ(text, "12.5\n");
  // What came in the same segment after the reply waits in the transport until a clear.
  ASSERT_EQ(session.LowLevelReadStringNoPoll(100, text, status), S_OK);
  EXPECT_EQ(text, "a\n");
  ASSERT_EQ(session.Clear(), S_OK);
  EXPECT_EQ(Ask(session, "NEXT?"), "fresh\n");
  std::uint8_t stb = 0;
  EXPECT_EQ(session.ReadStatusByte(&stb), E_VELMORAQDX_IO_GENERAL);
  EXPECT_NE(LastDescription().find("status byte is not supported on a raw socket"),
            std::string::npos)
      << LastDescription();
  session.Close();
}

// A reply that comes in pieces is joined up to its terminator; bytes after the terminator
// wait for the next read, and a read short of the terminator stops at its count.
TEST(SocketTransport, ReadsJoinPiecesAndKeepWhatFollowsTheTerminator) {
  Listener listener;
  ASSERT_TRUE(listener.ok());
  listener.Serve([](int fd) {
    if (RecvLine(fd) != "MEAS?\n") return;
    SendAll(fd, "12.");
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    SendAll(fd, "345");
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    SendAll(fd, "\n");
    if (RecvLine(fd) != "NEXT?\n") return;
    SendAll(fd, "1\n22\n" + std::string(20, 'x') + "\n");  // one segment, three replies
    RecvLine(fd, 3000);                                      // nothing more is sent
  });
  auto t = ConnectTo("127.0.0.1", listener.port(), 300);
  ASSERT_TRUE(t);
  std::size_t written = 0;
  ASSERT_TRUE(t->Write("MEAS?", 5, true, written).ok());
  EXPECT_EQ(written, 5u);
  ReadEnd why = ReadEnd::End;
  IoResult r;
  EXPECT_EQ(ReadOnce(*t, why, r), "12.345\n");
  EXPECT_TRUE(r.ok()) << r.message;
  EXPECT_EQ(why, ReadEnd::TermChar);
  ASSERT_TRUE(t->Write("NEXT?", 5, true, written).ok());
  EXPECT_EQ(ReadOnce(*t, why, r), "1\n");
  EXPECT_TRUE(r.ok()) << r.message;
  EXPECT_EQ(ReadOnce(*t, why, r), "22\n");
  EXPECT_TRUE(r.ok()) << r.message;
  EXPECT_EQ(why, ReadEnd::TermChar);
  EXPECT_EQ(ReadOnce(*t, why, r, 8), std::string(8, 'x'));
  EXPECT_EQ(why, ReadEnd::Count);
  EXPECT_EQ(ReadOnce(*t, why, r), std::string(12, 'x') + "\n");
  EXPECT_TRUE(r.ok()) << r.message;
  // Without the terminator enabled, a read ends only at its count.
  t->SetTermChar('\n', false);
  EXPECT_EQ(ReadOnce(*t, why, r), "");
  EXPECT_EQ(r.code, IoCode::Timeout);
}

// A read sleeps in the kernel for its first wait, so the kernel's receive timeout must follow
// every timeout change, and a reply that stops halfway must not restart the clock.
TEST(SocketTransport, EveryReadIsBoundedByTheTimeoutInForce) {
  struct Case {
    const char* what;
    int timeoutMs;       // set after connecting with 2000 ms
    int partialAfterMs;  // the peer sends "12" this late, then nothing; -1: nothing at all
    int minMs, maxMs;    // the read must give up within this window
    const char* message;
  };
  const Case cases[] = {
      {"lowered timeout", 200, -1, 190, 1000, "no reply from "},
      {"zero timeout gives up at once", 0, -1, 0, 150, "no reply from "},
      {"half a reply keeps the deadline", 600, 400, 590, 900,
       "incomplete reply (2 bytes, no terminator) from "},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Listener listener;
    ASSERT_TRUE(listener.ok());
    const int partialAfterMs = c.partialAfterMs;
    listener.Serve([partialAfterMs](int fd) {
      if (RecvLine(fd) != "MEAS?\n") return;
      if (partialAfterMs >= 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(partialAfterMs));
        SendAll(fd, "12");
      }
      RecvLine(fd, 2000);
    });
    auto t = ConnectTo("127.0.0.1", listener.port(), 2000);
    ASSERT_TRUE(t);
    t->SetTimeout(c.timeoutMs);
    EXPECT_EQ(t->Timeout(), c.timeoutMs);
    std::size_t written = 0;
    ASSERT_TRUE(t->Write("MEAS?", 5, true, written).ok());
    ReadEnd why = ReadEnd::End;
    IoResult r;
    const auto start = std::chrono::steady_clock::now();
    const std::string got = ReadOnce(*t, why, r);
    const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(
                            std::chrono::steady_clock::now() - start)
                            .count();
    EXPECT_EQ(r.code, IoCode::Timeout);
    EXPECT_GE(waited, c.minMs);
    EXPECT_LT(waited, c.maxMs);
    EXPECT_EQ(r.message, std::string(c.message) + "127.0.0.1:" +
                             std::to_string(listener.port()) + " within " +
                             std::to_string(c.timeoutMs) + " ms");
    // What came before giving up is handed over, never kept for the next reply.
    EXPECT_EQ(got, partialAfterMs >= 0 ? "12" : "");
  }
}

TEST(SocketTransport, PeerClosingMidReplyIsAnIoError) {
  Listener listener;
  ASSERT_TRUE(listener.ok());
  listener.Serve([](int fd) {
    if (RecvLine(fd) == "MEAS?\n") SendAll(fd, "12.");
  });
  CVelmoraQdxErrorReporter reporter;
  CIoSession session(reporter);
  ASSERT_EQ(session.Open(listener.Resource(), IoOpenOptions{}), S_OK) << LastDescription();
  ASSERT_EQ(session.LowLevelWriteStringNoPoll("MEAS?"), S_OK);
  std::string text;
  std::int32_t status = 0;
  EXPECT_EQ(session.LowLevelReadStringNoPoll(100, text, status), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastDescription(), test::IoErrorText("connection to 127.0.0.1:" +
                                                 std::to_string(listener.port()) +
                                                 " closed by the instrument in the middle of "
                                                 "a reply (3 bytes received)"));
  // The link is gone: later operations fail at once with the same kind of error.
  EXPECT_EQ(session.LowLevelWriteStringNoPoll("*CLS"), E_VELMORAQDX_IO_GENERAL);
  EXPECT_NE(LastDescription().find("is closed"), std::string::npos) << LastDescription();
}

// A refused connect: the transport names the address; the session reports the general open
// failure, which names the resource.
TEST(SocketTransport, RefusedConnectNamesAddressAndResource) {
  std::uint16_t port = 0;
  {
    Listener unused;  // a port that nothing listens on once this closes
    ASSERT_TRUE(unused.ok());
    port = unused.port();
  }
  CVelmoraQdxErrorReporter reporter;
  CIoSession session(reporter);
  std::string resource = "TCPIP0::127.0.0.1::" + std::to_string(port) + "::SOCKET";
  IoResult r;
  EXPECT_FALSE(OpenTransport(resource, TransportOptions{}, r));
  EXPECT_EQ(r.code, IoCode::Error);
  EXPECT_EQ(r.message, "connect to 127.0.0.1:" + std::to_string(port) + " refused");
  EXPECT_EQ(session.Open(resource, IoOpenOptions{}), E_VELMORAQDX_IO_GENERAL);
  EXPECT_EQ(LastDescription(), test::OpenFailureText(resource, r.message + "."));
  EXPECT_FALSE(session.IsOpen());
}

// Host names resolve; IPv6 literals work with and without brackets, in any case.
TEST(SocketTransport, HostNamesAndIpv6Literals) {
  for (int family : {AF_INET, AF_INET6}) {
    Listener listener(family);
    if (!listener.ok() && family == AF_INET6) GTEST_SKIP() << "no IPv6 loopback on this machine";
    ASSERT_TRUE(listener.ok());
    listener.Serve([](int fd) {
      while (RecvLine(fd) == "*OPC?\n") SendAll(fd, "1\n");
    });
    const std::string port = std::to_string(listener.port());
    const std::vector<std::string> resources =
        family == AF_INET ? std::vector<std::string>{"TCPIP::localhost::" + port + "::SOCKET"}
                          : std::vector<std::string>{"TCPIP::[::1]::" + port + "::SOCKET",
                                                     "tcpip::::1::" + port + "::socket"};
    for (const std::string& resource : resources) {
      SCOPED_TRACE(resource);
      CVelmoraQdxErrorReporter reporter;
      CIoSession session(reporter);
      ASSERT_EQ(session.Open(resource, IoOpenOptions{}), S_OK) << LastDescription();
      EXPECT_EQ(Ask(session, "*OPC?"), "1\n");
      EXPECT_EQ(static_cast<CSocketTransport*>(session.Transport())->PeerAddress(),
                (family == AF_INET ? "127.0.0.1:" : "[::1]:") + port);
    }
  }
}

}  // namespace
}  // namespace veqdx::io
