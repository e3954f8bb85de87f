#include "io/vxi11_rpc.h"

#include <netinet/in.h>
#include <rpc/pmap_prot.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <utility>

#include "io/tcp_connect.h"

namespace veqdx::io::vxi11 {
namespace {

timeval ToTimeval(int ms) {
  ms = std::max(ms, 1);  // zero would make libtirpc send without waiting for any reply
  return timeval{ms / 1000, static_cast<suseconds_t>((ms % 1000) * 1000)};
}

// libtirpc writes to the socket with write(), which raises SIGPIPE when the peer has gone. The
// signal is blocked in this thread for the call and a SIGPIPE it caused is consumed, so a
// closed connection is an error result and never kills the application.
class CSigpipeGuard {
 public:
  CSigpipeGuard() {
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    wasPending_ = sigismember(&pending, SIGPIPE) == 1;
    blocked_ = pthread_sigmask(SIG_BLOCK, &pipe_, &old_) == 0;
  }
  ~CSigpipeGuard() {
    if (!blocked_) return;
    sigset_t pending;
    sigpending(&pending);
    if (!wasPending_ && sigismember(&pending, SIGPIPE) == 1) {
      timespec zero{0, 0};
      while (sigtimedwait(&pipe_, nullptr, &zero) < 0 && errno == EINTR) {
      }
    }
    pthread_sigmask(SIG_SETMASK, &old_, nullptr);
  }
  CSigpipeGuard(const CSigpipeGuard&) = delete;
  CSigpipeGuard& operator=(const CSigpipeGuard&) = delete;

 private:
  sigset_t pipe_;
  sigset_t old_;
  bool wasPending_ = false;
  bool blocked_ = false;
};

}  // namespace

// --- CRpcClient ---

std::unique_ptr<CRpcClient> CRpcClient::Create(int fd, std::uint32_t program,
                                             std::uint32_t version, std::string where,
                                             IoResult& result) {
  sockaddr_storage peer{};
  socklen_t len = sizeof peer;
  if (::getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &len) != 0) {
    result = IoResult::Error("connection to " + where + " lost: " + ErrnoText(errno));
    ::close(fd);
    return nullptr;
  }
  netbuf address{len, len, &peer};
  CLIENT* client = clnt_vc_create(fd, &address, program, version, 0, 0);
  if (client == nullptr) {
    result = IoResult::Error("cannot set up an RPC client for " + where + ": " +
                             clnt_sperrno(rpc_createerr.cf_stat));
    ::close(fd);
    return nullptr;
  }
  result = IoResult::Ok();
  return std::unique_ptr<CRpcClient>(new CRpcClient(client, fd, std::move(where)));
}

CRpcClient::CRpcClient(CLIENT* client, int fd, std::string where)
    : client_(client), fd_(fd), where_(std::move(where)) {}

CRpcClient::~CRpcClient() {
  clnt_destroy(client_);  // leaves the descriptor open (no CLSET_FD_CLOSE): closed here
  ::close(fd_);
}

IoResult CRpcClient::Call(std::uint32_t procedure, xdrproc_t encodeArgs, void* args,
                         xdrproc_t decodeResult, void* result, int timeoutMs,
                         std::string_view what) {
  std::string call(what);
  if (broken_) return IoResult::Error("connection to " + where_ + " is closed");
  timeval wait = ToTimeval(timeoutMs);
  ::setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &wait, sizeof wait);
  clnt_stat status;
  {
    CSigpipeGuard guard;
    status = clnt_call(client_, procedure, encodeArgs, static_cast<char*>(args), decodeResult,
                       static_cast<char*>(result), wait);
  }
  if (status == RPC_SUCCESS) return IoResult::Ok();
  rpc_err detail{};
  clnt_geterr(client_, &detail);
  std::string ms = std::to_string(std::max(timeoutMs, 1)) + " ms";
  switch (status) {
    case RPC_TIMEDOUT:
      return IoResult::Timeout("no answer to " + call + " from " + where_ + " within " + ms);
    case RPC_CANTSEND:
      // Part of the request may be on the wire: the stream cannot carry another call.
      broken_ = true;
      if (detail.re_errno == EAGAIN || detail.re_errno == EWOULDBLOCK)
        return IoResult::Timeout(call + " to " + where_ + " could not be sent within " + ms);
      if (detail.re_errno == EPIPE || detail.re_errno == ECONNRESET)
        return IoResult::Error("connection to " + where_ + " closed by the instrument");
      return IoResult::Error(call + " to " + where_ + " failed: " + ErrnoText(detail.re_errno));
    case RPC_CANTRECV:
      broken_ = true;
      if (detail.re_errno == 0 || detail.re_errno == ECONNRESET)
        return IoResult::Error("connection to " + where_ + " closed by the instrument");
      return IoResult::Error(call + " to " + where_ + " failed: " + ErrnoText(detail.re_errno));
    default:
      return IoResult::Error(call + " to " + where_ + " failed: " + clnt_sperrno(status));
  }
}

void CRpcClient::Free(xdrproc_t decodeResult, void* result) {
  clnt_freeres(client_, decodeResult, static_cast<char*>(result));
}

// --- portmapper ---

IoResult PortmapperGetPort(const std::string& host, std::uint16_t port, std::uint32_t program,
                           std::uint32_t version, Clock::time_point deadline,
                           std::uint16_t& found) {
  found = 0;
  int fd = -1;
  std::string where;
  IoResult r = ConnectTcp(host, port, deadline, "portmapper", " timed out", fd, where);
  if (!r.ok()) return r;
  std::unique_ptr<CRpcClient> client = CRpcClient::Create(fd, PMAPPROG, PMAPVERS, where, r);
  if (!client) return r;
  pmap query{program, version, IPPROTO_TCP, 0};
  u_long answer = 0;
  r = client->Call(PMAPPROC_GETPORT, Xdr(xdr_pmap), &query, Xdr(xdr_u_long), &answer,
                   MsLeft(deadline), "portmapper GETPORT");
  if (!r.ok()) return r;
  if (answer == 0 || answer > 65535) {
    char id[64];
    std::snprintf(id, sizeof id, "program 0x%X version %u over TCP",
                  static_cast<unsigned>(program), static_cast<unsigned>(version));
    return IoResult::Error("the portmapper at " + client->Where() + " has no " + id +
                           (answer == 0 ? " registered" : " (it answered port " +
                                                              std::to_string(answer) + ")"));
  }
  found = static_cast<std::uint16_t>(answer);
  return IoResult::Ok();
}

}  // namespace veqdx::io::vxi11
