// An emulator with its VXI-11 front end on free ports, and helpers to reach it through the
// driver's VXI-11 transport. The portmapper always listens on a free port (never 111), and
// the driver is pointed at it with the DriverSetup item PortmapperPort.
#pragma once
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "io/io_session.h"
#include "io/transport.h"
#include "io/vxi11_transport.h"
#include "qdx_sim.h"
#include "support/descriptors.h"
#include "vxi11_server.h"

namespace veqdx::io::test {

constexpr const char* kResource = "TCPIP::127.0.0.1::INSTR";

class Vxi11Bench {
 public:
  explicit Vxi11Bench(int maxLinks = 8, std::uint32_t maxRecvSize = 4096,
                      std::vector<qdxsim::ChannelSpec> channels = {}) {
    config.channels = std::move(channels);
    config.port = 0;
    config.vxi11.enabled = true;
    config.vxi11.portmapPort = 0;
    config.vxi11.maxLinks = maxLinks;
    config.vxi11.maxRecvSize = maxRecvSize;
    emulator = std::make_unique<qdxsim::Emulator>(config);
    std::string error;
    started = emulator->Start(&error);
    if (started) {
      server = std::make_unique<qdxsim::Vxi11Server>(*emulator, config);
      started = server->Start(&error);
    }
    startError = error;
  }
  ~Vxi11Bench() {
    if (server) server->Stop();
    emulator->Stop();
  }

  // Options that reach this bench's portmapper; the built-in transport, whatever VISA
  // library the machine may have.
  TransportOptions Options(int timeoutMs = 2000) const {
    TransportOptions o;
    o.timeoutMs = timeoutMs;
    o.openTimeoutMs = 2000;
    o.setup["iobackend"] = "builtin";
    o.setup["portmapperport"] = std::to_string(server->PortmapPort());
    return o;
  }

  std::unique_ptr<ITransport> Open(IoResult& result, int timeoutMs = 2000,
                                   const std::string& resource = kResource) const {
    return OpenTransport(resource, Options(timeoutMs), result);
  }

  // Opens `session` on this bench's instrument.
  HRESULT OpenSession(CIoSession& session, int timeoutMs = 2000) const {
    IoOpenOptions o;
    o.transport = Options(timeoutMs);
    return session.Open(kResource, o);
  }

  // Waits (bounded) until the server's link count is `n`; the count after the wait.
  std::size_t AwaitLinks(std::size_t n) const {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (server->LinkCount() != n && std::chrono::steady_clock::now() < deadline)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return server->LinkCount();
  }

  qdxsim::Config config;
  std::unique_ptr<qdxsim::Emulator> emulator;
  std::unique_ptr<qdxsim::Vxi11Server> server;
  bool started = false;
  std::string startError;
};

#define ASSERT_BENCH(bench) ASSERT_TRUE((bench).started) << (bench).startError

// Writes `message` with END; the transport's result.
inline IoResult Send(ITransport& t, const std::string& message) {
  std::size_t written = 0;
  IoResult r = t.Write(message.data(), message.size(), true, written);
  if (r.ok() && written != message.size()) r = IoResult::Error("short write");
  return r;
}

// Reads one whole response (until END or the termination character), `chunk` bytes a read.
inline IoResult Receive(ITransport& t, std::string& out, std::size_t chunk = 4096,
                        int* reads = nullptr) {
  out.clear();
  std::string buffer(chunk, '\0');
  for (int n = 1;; ++n) {
    std::size_t got = 0;
    ReadEnd why = ReadEnd::Count;
    IoResult r = t.Read(buffer.data(), buffer.size(), got, why);
    out.append(buffer.data(), got);
    if (reads) *reads = n;
    if (!r.ok() || why != ReadEnd::Count) return r;
  }
}

inline std::string Query(ITransport& t, const std::string& message) {
  std::string reply;
  IoResult r = Send(t, message);
  if (r.ok()) r = Receive(t, reply);
  return r.ok() ? reply : "<" + r.message + ">";
}

// A TCP socket listening on a free loopback port, and that port (0 when it failed).
inline int ListenOnLoopback(int backlog, int& port) {
  int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof a;
  port = ::bind(fd, reinterpret_cast<sockaddr*>(&a), len) == 0 && ::listen(fd, backlog) == 0 &&
                 ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len) == 0
             ? ntohs(a.sin_port)
             : 0;
  return fd;
}

inline bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

}  // namespace veqdx::io::test
