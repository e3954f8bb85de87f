// ONC RPC plumbing of the VXI-11 transport: a bounded TCP connect, and one libtirpc client per
// connection whose every call carries its own timeout. Only vxi11_*.cpp include this header:
// it pulls in the RPC headers, whose macros must not leak into the rest of the driver.
#pragma once
#include <rpc/rpc.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "io/deadline.h"
#include "io/transport.h"

namespace veqdx::io::vxi11 {

using io::Clock;
using io::MsLeft;

// An rpcgen routine ("bool_t xdr_X(XDR*, X*)") as the generic XDR procedure libtirpc calls.
template <class T>
xdrproc_t Xdr(bool_t (*routine)(XDR*, T*)) {
  // Through void(*)(): the one function-pointer cast that -Wcast-function-type allows.
  return reinterpret_cast<xdrproc_t>(reinterpret_cast<void (*)()>(routine));
}

// One RPC client over one connected socket (owned: closed on destruction).
class CRpcClient {
 public:
  // Takes `fd` (closed on failure too). `where` names the peer in messages.
  static std::unique_ptr<CRpcClient> Create(int fd, std::uint32_t program, std::uint32_t version,
                                           std::string where, IoResult& result);
  ~CRpcClient();
  CRpcClient(const CRpcClient&) = delete;
  CRpcClient& operator=(const CRpcClient&) = delete;

  // Calls `procedure`, waiting at most `timeoutMs` for the reply (sending is bounded by it
  // too). A timeout leaves the client usable: a late reply is skipped by its transaction id.
  // A connection that broke (closed, reset, half-sent request) marks the client broken, and
  // every later call fails at once. `what` names the call in messages ("device_read").
  IoResult Call(std::uint32_t procedure, xdrproc_t encodeArgs, void* args, xdrproc_t decodeResult,
                void* result, int timeoutMs, std::string_view what);
  // Frees what decoding `result` allocated.
  void Free(xdrproc_t decodeResult, void* result);

  bool Broken() const { return broken_; }
  const std::string& Where() const { return where_; }

 private:
  CRpcClient(CLIENT* client, int fd, std::string where);

  CLIENT* client_;
  int fd_;
  std::string where_;
  bool broken_ = false;
};

// Asks the portmapper at `host:port` (protocol version 2, over TCP) for the TCP port of
// `program`/`version`. Bounded by `deadline`.
IoResult PortmapperGetPort(const std::string& host, std::uint16_t port, std::uint32_t program,
                           std::uint32_t version, Clock::time_point deadline,
                           std::uint16_t& found);

}  // namespace veqdx::io::vxi11
