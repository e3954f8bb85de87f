#include "vxi11_wire.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace qdxsim::vxi11 {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kIdleSliceMs = 1000;
constexpr std::uint32_t kLastFragment = 0x80000000u;

enum class Wait { Ready, Stopped, TimedOut };

// Waits for `events` on `fd`, or for `stopFd`, at most `ms` (-1: for ever, in slices).
Wait WaitFor(int fd, short events, int stopFd, int ms) {
  auto deadline = Clock::now() + std::chrono::milliseconds(ms < 0 ? 0 : ms);
  for (;;) {
    int slice = kIdleSliceMs;
    if (ms >= 0) {
      auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
      if (left.count() <= 0) return Wait::TimedOut;
      slice = static_cast<int>(std::min<long long>(left.count(), kIdleSliceMs));
    }
    pollfd fds[2] = {{fd, events, 0}, {stopFd, POLLIN, 0}};
    int n = ::poll(fds, 2, slice);
    if (n < 0 && errno != EINTR) return Wait::Stopped;
    if (fds[1].revents) return Wait::Stopped;
    if (n > 0) return Wait::Ready;
  }
}

// Reads exactly `size` bytes; `firstWaitMs` bounds the wait for the first byte (-1: none),
// kStallMs every later wait.
ReadStatus ReadExact(int fd, int stopFd, char* out, std::size_t size, int firstWaitMs) {
  std::size_t got = 0;
  while (got < size) {
    Wait w = WaitFor(fd, POLLIN, stopFd, got == 0 ? firstWaitMs : kStallMs);
    if (w == Wait::Stopped) return ReadStatus::Stopped;
    if (w == Wait::TimedOut) return ReadStatus::Closed;
    ssize_t n = ::recv(fd, out + got, size - got, 0);
    if (n == 0) return ReadStatus::Closed;
    if (n < 0) {
      if (errno == EINTR || errno == EAGAIN) continue;
      return ReadStatus::Closed;
    }
    got += static_cast<std::size_t>(n);
  }
  return ReadStatus::Record;
}

}  // namespace

xdrproc_t XdrVoid() { return reinterpret_cast<xdrproc_t>(reinterpret_cast<void (*)()>(xdr_void)); }

ReadStatus ReadRecord(int fd, int stopFd, std::vector<char>& record, std::size_t maxSize) {
  record.clear();
  for (bool last = false; !last;) {
    std::uint32_t mark = 0;
    ReadStatus s = ReadExact(fd, stopFd, reinterpret_cast<char*>(&mark), sizeof mark,
                             record.empty() ? -1 : kStallMs);
    if (s != ReadStatus::Record) return s;
    mark = ntohl(mark);
    last = (mark & kLastFragment) != 0;
    std::size_t length = mark & ~kLastFragment;
    if (length > maxSize - record.size()) return ReadStatus::Invalid;
    std::size_t start = record.size();
    record.resize(start + length);
    s = ReadExact(fd, stopFd, record.data() + start, length, kStallMs);
    if (s != ReadStatus::Record) return s;
  }
  return ReadStatus::Record;
}

bool WriteRecord(int fd, int stopFd, const std::vector<char>& body) {
  std::uint32_t mark = htonl(kLastFragment | static_cast<std::uint32_t>(body.size()));
  const char* markBytes = reinterpret_cast<const char*>(&mark);
  std::vector<char> out;
  out.reserve(sizeof mark + body.size());
  out.insert(out.end(), markBytes, markBytes + sizeof mark);
  out.insert(out.end(), body.begin(), body.end());
  std::size_t sent = 0;
  while (sent < out.size()) {
    ssize_t n = ::send(fd, out.data() + sent, out.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n > 0) {
      sent += static_cast<std::size_t>(n);
      continue;
    }
    if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) return false;
    if (WaitFor(fd, POLLOUT, stopFd, kStallMs) != Wait::Ready) return false;
  }
  return true;
}

// --- replies ---

void Reply::Encode(int acceptStat, xdrproc_t encode, const void* result, std::uint32_t low,
                   std::uint32_t high) {
  rpc_msg msg{};
  msg.rm_xid = xid_;
  msg.rm_direction = REPLY;
  msg.rm_reply.rp_stat = MSG_ACCEPTED;
  msg.acpted_rply.ar_verf = _null_auth;
  msg.acpted_rply.ar_stat = static_cast<accept_stat>(acceptStat);
  if (acceptStat == SUCCESS) {
    msg.acpted_rply.ar_results.where = static_cast<caddr_t>(const_cast<void*>(result));
    msg.acpted_rply.ar_results.proc = encode;
  } else if (acceptStat == PROG_MISMATCH) {
    msg.acpted_rply.ar_vers.low = low;
    msg.acpted_rply.ar_vers.high = high;
  }
  // Header: xid, direction, status, verifier (flavour, length), accept status, versions.
  std::size_t size = 64 + (acceptStat == SUCCESS ? xdr_sizeof(encode, const_cast<void*>(result)) : 0);
  body_.assign(size, 0);
  XDR out;
  xdrmem_create(&out, body_.data(), static_cast<u_int>(size), XDR_ENCODE);
  if (!xdr_replymsg(&out, &msg)) {
    body_.clear();
    close_ = true;  // cannot happen with a sized buffer; never send half a reply
    return;
  }
  body_.resize(xdr_getpos(&out));
}

void Reply::Success(xdrproc_t encode, const void* result) { Encode(SUCCESS, encode, result, 0, 0); }
void Reply::ProgramUnavailable() { Encode(PROG_UNAVAIL, nullptr, nullptr, 0, 0); }
void Reply::VersionMismatch(std::uint32_t low, std::uint32_t high) {
  Encode(PROG_MISMATCH, nullptr, nullptr, low, high);
}
void Reply::ProcedureUnavailable() { Encode(PROC_UNAVAIL, nullptr, nullptr, 0, 0); }
void Reply::GarbageArguments() { Encode(GARBAGE_ARGS, nullptr, nullptr, 0, 0); }

Reply HandleCall(std::vector<char>& record, const Dispatcher& dispatch) {
  XDR in;
  xdrmem_create(&in, record.data(), static_cast<u_int>(record.size()), XDR_DECODE);
  rpc_msg call{};
  char credentials[MAX_AUTH_BYTES];
  char verifier[MAX_AUTH_BYTES];
  call.rm_call.cb_cred.oa_base = credentials;  // decoded in place, nothing allocated
  call.rm_call.cb_verf.oa_base = verifier;
  if (!xdr_callmsg(&in, &call) || call.rm_direction != CALL) return Reply(0);
  Reply reply(call.rm_xid);
  dispatch(CallHeader{static_cast<std::uint32_t>(call.rm_call.cb_prog),
                      static_cast<std::uint32_t>(call.rm_call.cb_vers),
                      static_cast<std::uint32_t>(call.rm_call.cb_proc)},
           &in, reply);
  return reply;
}

}  // namespace qdxsim::vxi11
