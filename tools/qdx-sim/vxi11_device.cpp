#include "vxi11_device.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>

namespace qdxsim::vxi11 {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kConnectTimeoutMs = 2000;
// Longest io_timeout/lock_timeout honoured: larger values (up to 49 days) are cut to this.
constexpr u_long kMaxWaitMs = 3600u * 1000u;
// Most bytes returned by one device_read, whatever the client asks for.
constexpr std::size_t kMaxReadChunk = 1u << 20;
constexpr std::size_t kReceiveBlock = 65536;

Clock::time_point DeadlineIn(u_long ms) {
  return Clock::now() + std::chrono::milliseconds(std::min(ms, kMaxWaitMs));
}

int MsLeft(Clock::time_point deadline) {
  auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
  return left.count() <= 0 ? 0 : static_cast<int>(left.count());
}

// "inst0", "INST1", ...: the device names a single instrument answers to.
bool KnownDeviceName(const char* name) {
  if (name == nullptr) return false;
  std::string text(name);
  if (text.size() < 5 || text.size() > 8) return false;
  for (std::size_t i = 0; i < 4; ++i) {
    if (std::tolower(static_cast<unsigned char>(text[i])) != "inst"[i]) return false;
  }
  return std::all_of(text.begin() + 4, text.end(),
                     [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; });
}

// A non-blocking loopback connection to the raw front end; -1 on failure.
int ConnectTo(const std::string& host, int port) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) return -1;
  int result = -1;
  for (addrinfo* a = found; a != nullptr && result < 0; a = a->ai_next) {
    int fd = socket(a->ai_family, a->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, a->ai_protocol);
    if (fd < 0) continue;
    bool ok = connect(fd, a->ai_addr, a->ai_addrlen) == 0;
    if (!ok && errno == EINPROGRESS) {
      pollfd p{fd, POLLOUT, 0};
      int soError = 0;
      socklen_t len = sizeof soError;
      ok = poll(&p, 1, kConnectTimeoutMs) > 0 &&
           getsockopt(fd, SOL_SOCKET, SO_ERROR, &soError, &len) == 0 && soError == 0;
    }
    if (ok) {
      result = fd;
    } else {
      ::close(fd);
    }
  }
  freeaddrinfo(found);
  return result;
}

// `reply` with its error field set.
template <class Reply>
Reply WithError(Reply reply, long error) {
  reply.error = error;
  return reply;
}

// Closes a link's path with a reset rather than an orderly close: the raw front end then drops
// at once whatever it still owes the link, a reply it is delaying or streaming included, as a
// device clear (or a link going away) leaves nothing behind in the instrument.
void Abandon(int fd) {
  if (fd < 0) return;
  linger abort{1, 0};
  setsockopt(fd, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
  ::close(fd);
}

enum class Ready { Yes, Stopped, TimedOut };

Ready WaitFor(int fd, short events, int stopFd, Clock::time_point deadline) {
  for (;;) {
    pollfd fds[2] = {{fd, events, 0}, {stopFd, POLLIN, 0}};
    int n = poll(fds, 2, MsLeft(deadline));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 || fds[1].revents) return Ready::Stopped;
    return n == 0 ? Ready::TimedOut : Ready::Yes;
  }
}

}  // namespace

struct Device::Link {
  long id = 0;
  int connection = 0;
  int path = -1;         // loopback connection to the raw front end
  std::string pending;   // reply bytes received and not yet read out
  bool pathClosed = false;  // the front end closed the path (close-after fault)
  ~Link() { Abandon(path); }
};

Device::Device(Instrument& instrument, DeviceSettings settings)
    : instrument_(instrument), settings_(std::move(settings)) {}

Device::~Device() = default;

std::size_t Device::LinkCount() const {
  std::lock_guard lock(mutex_);
  return links_.size();
}

DeviceStats Device::Stats() const {
  std::lock_guard lock(mutex_);
  return stats_;
}

void Device::Stop() {
  std::lock_guard lock(mutex_);
  stopping_ = true;
  lockChanged_.notify_all();
}

std::shared_ptr<Device::Link> Device::Find(int connection, Device_Link lid) const {
  std::lock_guard lock(mutex_);
  auto it = links_.find(lid);
  if (it == links_.end() || it->second->connection != connection) return nullptr;
  return it->second;
}

long Device::AwaitAccess(long lid, Device_Flags flags, u_long lockTimeoutMs) {
  std::unique_lock lock(mutex_);
  auto free = [&] { return stopping_ || lockOwner_ == 0 || lockOwner_ == lid; };
  if (!free() && (flags & VXI11_FLAG_WAITLOCK))
    lockChanged_.wait_until(lock, DeadlineIn(lockTimeoutMs), free);
  if (stopping_) return VXI11_ERR_ABORT;
  return free() ? VXI11_ERR_NONE : VXI11_ERR_LOCKED;
}

void Device::Release(long lid) {
  // Called with mutex_ held.
  if (lockOwner_ == lid) {
    lockOwner_ = 0;
    lockChanged_.notify_all();
  }
}

bool Device::Reconnect(Link& link) {
  Abandon(link.path);
  link.pending.clear();
  link.pathClosed = false;
  link.path = ConnectTo(settings_.emulatorHost, settings_.emulatorPort);
  return link.path >= 0;
}

Create_LinkResp Device::CreateLink(int connection, const Create_LinkParms& p) {
  Create_LinkResp r{};
  r.maxRecvSize = settings_.maxRecvSize;
  if (!KnownDeviceName(p.device)) {
    r.error = VXI11_ERR_INVALID_ADDRESS;
    return r;
  }
  auto link = std::make_shared<Link>();
  link->connection = connection;
  {
    std::lock_guard lock(mutex_);
    if (static_cast<int>(links_.size()) >= settings_.maxLinks) {
      r.error = VXI11_ERR_OUT_OF_RESOURCES;
      return r;
    }
    link->id = nextLid_++;
  }
  if (p.lockDevice) {
    long e = AwaitAccess(link->id, VXI11_FLAG_WAITLOCK, p.lock_timeout);
    if (e != VXI11_ERR_NONE) {
      r.error = e;
      return r;
    }
  }
  if (!Reconnect(*link)) {
    r.error = VXI11_ERR_OUT_OF_RESOURCES;
    return r;
  }
  std::lock_guard lock(mutex_);
  if (static_cast<int>(links_.size()) >= settings_.maxLinks || stopping_) {
    r.error = VXI11_ERR_OUT_OF_RESOURCES;  // another connection took the last one meanwhile
    return r;
  }
  if (p.lockDevice) {
    if (lockOwner_ != 0) {
      r.error = VXI11_ERR_LOCKED;
      return r;
    }
    lockOwner_ = link->id;
  }
  links_[link->id] = link;
  ++stats_.links;
  r.lid = link->id;
  return r;
}

Device_Error Device::DestroyLink(int connection, Device_Link lid) {
  std::shared_ptr<Link> doomed;  // closed outside the lock
  std::lock_guard lock(mutex_);
  auto it = links_.find(lid);
  if (it == links_.end() || it->second->connection != connection)
    return Device_Error{VXI11_ERR_INVALID_LINK};
  doomed = std::move(it->second);
  links_.erase(it);
  Release(lid);
  return Device_Error{VXI11_ERR_NONE};
}

void Device::DropConnection(int connection) {
  std::lock_guard lock(mutex_);
  for (auto it = links_.begin(); it != links_.end();) {
    if (it->second->connection == connection) {
      Release(it->first);
      it = links_.erase(it);
    } else {
      ++it;
    }
  }
}

Device_WriteResp Device::Write(int connection, const Device_WriteParms& p, bool& close) {
  Device_WriteResp r{};
  auto link = Find(connection, p.lid);
  if (!link) return WithError(r, VXI11_ERR_INVALID_LINK);
  if ((r.error = AwaitAccess(p.lid, p.flags, p.lock_timeout)) != VXI11_ERR_NONE) return r;
  std::size_t size = p.data.data_len;
  if (size > settings_.maxRecvSize) return WithError(r, VXI11_ERR_PARAMETER);
  // The front end closed the path after its last message: the instrument drops the link.
  pollfd probe{link->path, POLLRDHUP, 0};
  if (link->pathClosed || (poll(&probe, 1, 0) > 0 && (probe.revents & (POLLRDHUP | POLLHUP)))) {
    close = true;
    return r;
  }
  std::string bytes(p.data.data_val, size);
  // END ends the message; on the raw path the line feed does.
  if ((p.flags & VXI11_FLAG_END) && (bytes.empty() || bytes.back() != '\n')) bytes += '\n';
  auto deadline = DeadlineIn(p.io_timeout);
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    ssize_t n = send(link->path, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (n > 0) {
      sent += static_cast<std::size_t>(n);
      continue;
    }
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
      Ready w = WaitFor(link->path, POLLOUT, settings_.stopFd, deadline);
      if (w == Ready::Yes) continue;
      r.error = w == Ready::TimedOut ? VXI11_ERR_IO_TIMEOUT : VXI11_ERR_ABORT;
      return r;
    }
    close = true;  // the path broke
    return r;
  }
  r.size = static_cast<u_long>(size);
  std::lock_guard lock(mutex_);
  ++stats_.writes;
  stats_.largestWrite = std::max(stats_.largestWrite, size);
  return r;
}

Device_ReadResp Device::Read(int connection, const Device_ReadParms& p, std::string& data,
                             bool& close) {
  Device_ReadResp r{};
  data.clear();
  auto link = Find(connection, p.lid);
  if (!link) return WithError(r, VXI11_ERR_INVALID_LINK);
  if ((r.error = AwaitAccess(p.lid, p.flags, p.lock_timeout)) != VXI11_ERR_NONE) return r;
  {
    std::lock_guard lock(mutex_);
    ++stats_.reads;
  }
  std::size_t want = std::min<std::size_t>(p.requestSize, kMaxReadChunk);
  bool useTerm = (p.flags & VXI11_FLAG_TERMCHRSET) != 0;
  auto deliver = [&](std::size_t n, long reason) {
    data.assign(link->pending, 0, n);
    link->pending.erase(0, n);
    if (n == want) reason |= VXI11_REASON_REQCNT;
    r.reason = reason;
    r.data.data_len = static_cast<u_int>(data.size());
    r.data.data_val = data.data();
    return r;
  };
  auto deadline = DeadlineIn(p.io_timeout);
  // A slow or endless reply arrives block by block: each byte is looked at once.
  std::size_t scanned = 0;
  for (;;) {
    // The reply line ends with its line feed (END); the termination character may come first.
    std::size_t window = std::min(link->pending.size(), want);
    for (std::size_t i = scanned; i < window; ++i) {
      char c = link->pending[i];
      long reason = (c == '\n' ? VXI11_REASON_END : 0) |
                    (useTerm && c == p.termChar ? VXI11_REASON_CHR : 0);
      if (reason != 0) return deliver(i + 1, reason);
    }
    if (link->pending.size() >= want) return deliver(want, 0);
    scanned = window;
    if (link->pathClosed) {
      if (link->pending.empty()) {
        close = true;
        return r;
      }
      return deliver(link->pending.size(), VXI11_REASON_END);
    }
    Ready w = WaitFor(link->path, POLLIN, settings_.stopFd, deadline);
    if (w == Ready::TimedOut) return WithError(r, VXI11_ERR_IO_TIMEOUT);
    if (w == Ready::Stopped) return WithError(r, VXI11_ERR_ABORT);
    char block[kReceiveBlock];
    ssize_t n = recv(link->path, block, sizeof block, 0);
    if (n > 0) {
      link->pending.append(block, static_cast<std::size_t>(n));
    } else if (n == 0 || (errno != EAGAIN && errno != EINTR)) {
      link->pathClosed = true;
    }
  }
}

Device_ReadStbResp Device::ReadStatusByte(int connection, const Device_GenericParms& p) {
  Device_ReadStbResp r{};
  if (!Find(connection, p.lid)) return WithError(r, VXI11_ERR_INVALID_LINK);
  if ((r.error = AwaitAccess(p.lid, p.flags, p.lock_timeout)) != VXI11_ERR_NONE) return r;
  r.stb = instrument_.StatusByte();
  return r;
}

Device_Error Device::Clear(int connection, const Device_GenericParms& p) {
  auto link = Find(connection, p.lid);
  if (!link) return Device_Error{VXI11_ERR_INVALID_LINK};
  if (long e = AwaitAccess(p.lid, p.flags, p.lock_timeout)) return Device_Error{e};
  return Device_Error{Reconnect(*link) ? VXI11_ERR_NONE : VXI11_ERR_IO_ERROR};
}

Device_Error Device::Accept(int connection, const Device_GenericParms& p) {
  if (!Find(connection, p.lid)) return Device_Error{VXI11_ERR_INVALID_LINK};
  return Device_Error{AwaitAccess(p.lid, p.flags, p.lock_timeout)};
}

Device_Error Device::Lock(int connection, const Device_LockParms& p) {
  if (!Find(connection, p.lid)) return Device_Error{VXI11_ERR_INVALID_LINK};
  std::unique_lock lock(mutex_);
  auto free = [&] { return stopping_ || lockOwner_ == 0 || lockOwner_ == p.lid; };
  if (!free() && (p.flags & VXI11_FLAG_WAITLOCK))
    lockChanged_.wait_until(lock, DeadlineIn(p.lock_timeout), free);
  if (stopping_) return Device_Error{VXI11_ERR_ABORT};
  if (!free()) return Device_Error{VXI11_ERR_LOCKED};
  lockOwner_ = p.lid;
  return Device_Error{VXI11_ERR_NONE};
}

Device_Error Device::Unlock(int connection, Device_Link lid) {
  if (!Find(connection, lid)) return Device_Error{VXI11_ERR_INVALID_LINK};
  std::lock_guard lock(mutex_);
  if (lockOwner_ != lid) return Device_Error{VXI11_ERR_NO_LOCK};
  Release(lid);
  return Device_Error{VXI11_ERR_NONE};
}

}  // namespace qdxsim::vxi11
