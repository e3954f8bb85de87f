#include "portmap.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <set>

namespace veqdx_cli {
namespace {

constexpr std::uint32_t kPortmapProgram = 100000, kPortmapVersion = 2, kGetPort = 3;
constexpr std::uint32_t kVxi11Core = 0x0607AF, kVxi11Version = 1, kProtocolTcp = 6;

void Put(std::vector<std::uint8_t>& out, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<std::uint8_t>(value >> shift));
}

std::uint32_t Get(const std::uint8_t* p) {
  return (std::uint32_t{p[0]} << 24) | (std::uint32_t{p[1]} << 16) | (std::uint32_t{p[2]} << 8) | p[3];
}

class CFd {
 public:
  explicit CFd(int fd) : fd_(fd) {}
  ~CFd() {
    if (fd_ >= 0) close(fd_);
  }
  CFd(const CFd&) = delete;
  CFd& operator=(const CFd&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

int RemainingMs(std::chrono::steady_clock::time_point deadline) {
  auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
  return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

bool WaitFd(int fd, short events, std::chrono::steady_clock::time_point deadline) {
  pollfd p{fd, events, 0};
  for (;;) {
    int rc = poll(&p, 1, RemainingMs(deadline));
    if (rc > 0) return true;
    if (rc == 0 || errno != EINTR) return false;
  }
}

// Connects without blocking past the deadline.
int ConnectTcp(const std::string& host, std::uint16_t port,
               std::chrono::steady_clock::time_point deadline) {
  addrinfo hints = {};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) return -1;
  int fd = -1;
  for (addrinfo* a = found; a && fd < 0; a = a->ai_next) {
    fd = socket(a->ai_family, a->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, a->ai_protocol);
    if (fd < 0) continue;
    int error = 0;
    socklen_t length = sizeof error;
    if (connect(fd, a->ai_addr, a->ai_addrlen) == 0) break;
    if (errno == EINPROGRESS && WaitFd(fd, POLLOUT, deadline) &&
        getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) == 0 && error == 0)
      break;
    close(fd);
    fd = -1;
  }
  freeaddrinfo(found);
  return fd;
}

}  // namespace

std::vector<std::uint8_t> EncodeGetPortCall(std::uint32_t xid) {
  std::vector<std::uint8_t> out;
  Put(out, xid);
  Put(out, 0);  // CALL
  Put(out, 2);  // RPC version
  Put(out, kPortmapProgram);
  Put(out, kPortmapVersion);
  Put(out, kGetPort);
  for (int i = 0; i < 4; ++i) Put(out, 0);  // AUTH_NULL credentials and verifier
  Put(out, kVxi11Core);
  Put(out, kVxi11Version);
  Put(out, kProtocolTcp);
  Put(out, 0);
  return out;
}

std::optional<std::uint16_t> DecodeGetPortReply(const std::uint8_t* data, size_t size,
                                                std::uint32_t xid) {
  // xid, REPLY(1), MSG_ACCEPTED(0), verifier flavor, verifier length, body, SUCCESS(0), port
  if (size < 24 || Get(data) != xid || Get(data + 4) != 1 || Get(data + 8) != 0) return {};
  std::uint32_t verifierLength = Get(data + 16);
  if (verifierLength > 400) return {};
  size_t at = 20 + ((verifierLength + 3) & ~3u);
  if (size < at + 8 || Get(data + at) != 0) return {};
  std::uint32_t port = Get(data + at + 4);
  if (port == 0 || port > 65535) return {};
  return static_cast<std::uint16_t>(port);
}

std::optional<std::uint16_t> QueryVxi11Port(const std::string& host, std::uint16_t portmapPort,
                                            std::chrono::milliseconds timeout) {
  auto deadline = std::chrono::steady_clock::now() + timeout;
  CFd fd(ConnectTcp(host, portmapPort, deadline));
  if (fd.get() < 0) return {};
  const std::uint32_t xid = 0x56455144;
  std::vector<std::uint8_t> call = EncodeGetPortCall(xid);
  std::vector<std::uint8_t> record;
  Put(record, 0x80000000u | static_cast<std::uint32_t>(call.size()));  // last fragment
  record.insert(record.end(), call.begin(), call.end());
  size_t sent = 0;
  while (sent < record.size()) {
    if (!WaitFd(fd.get(), POLLOUT, deadline)) return {};
    ssize_t n = send(fd.get(), record.data() + sent, record.size() - sent, MSG_NOSIGNAL);
    if (n <= 0) return {};
    sent += static_cast<size_t>(n);
  }
  std::vector<std::uint8_t> reply;
  std::uint8_t buffer[512];
  // One fragment of a reply that is well under 512 bytes.
  while (reply.size() < 4 || reply.size() < 4 + (Get(reply.data()) & 0x7FFFFFFF)) {
    if (reply.size() > 4096 || !WaitFd(fd.get(), POLLIN, deadline)) return {};
    ssize_t n = recv(fd.get(), buffer, sizeof buffer, 0);
    if (n <= 0) return {};
    reply.insert(reply.end(), buffer, buffer + n);
  }
  return DecodeGetPortReply(reply.data() + 4, reply.size() - 4, xid);
}

std::vector<Vxi11Host> BroadcastVxi11(std::uint16_t portmapPort, std::chrono::milliseconds wait) {
  std::vector<Vxi11Host> hosts;
  CFd fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  int on = 1;
  if (fd.get() < 0 || setsockopt(fd.get(), SOL_SOCKET, SO_BROADCAST, &on, sizeof on) != 0)
    return hosts;
  const std::uint32_t xid = 0x56455142;
  std::vector<std::uint8_t> call = EncodeGetPortCall(xid);
  ifaddrs* interfaces = nullptr;
  if (getifaddrs(&interfaces) != 0) return hosts;
  for (ifaddrs* i = interfaces; i; i = i->ifa_next) {
    if (!i->ifa_addr || i->ifa_addr->sa_family != AF_INET || !(i->ifa_flags & IFF_BROADCAST) ||
        (i->ifa_flags & IFF_LOOPBACK) || !i->ifa_broadaddr)
      continue;
    sockaddr_in target = *reinterpret_cast<sockaddr_in*>(i->ifa_broadaddr);
    target.sin_port = htons(portmapPort);
    sendto(fd.get(), call.data(), call.size(), 0, reinterpret_cast<sockaddr*>(&target), sizeof target);
  }
  freeifaddrs(interfaces);
  auto deadline = std::chrono::steady_clock::now() + wait;
  std::set<std::string> seen;
  std::uint8_t buffer[512];
  while (WaitFd(fd.get(), POLLIN, deadline)) {
    sockaddr_in from = {};
    socklen_t length = sizeof from;
    ssize_t n = recvfrom(fd.get(), buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&from), &length);
    if (n <= 0) continue;
    auto port = DecodeGetPortReply(buffer, static_cast<size_t>(n), xid);
    char address[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &from.sin_addr, address, sizeof address);
    if (port && seen.insert(address).second) hosts.push_back({address, *port});
  }
  return hosts;
}

}  // namespace veqdx_cli
