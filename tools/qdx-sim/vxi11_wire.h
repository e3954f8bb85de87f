// ONC RPC on the server side of the emulator's VXI-11 front end: record-marked messages on a
// TCP stream, the call header, and the reply header, through libtirpc's XDR; the arguments and
// results go through the routines rpcgen generated from src/io/vxi11.x.
//
// libtirpc's own server loop (svc_run) keeps process-wide tables and blocks in one thread, so
// several emulators in one test process, a device_read that waits, and a stop that must never
// hang call for this small loop of our own instead.
#pragma once
#include <rpc/rpc.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace qdxsim::vxi11 {

// An rpcgen routine ("bool_t xdr_X(XDR*, X*)") as the generic XDR procedure libtirpc calls.
template <class T>
xdrproc_t Xdr(bool_t (*routine)(XDR*, T*)) {
  // Through void(*)(): the one function-pointer cast that -Wcast-function-type allows.
  return reinterpret_cast<xdrproc_t>(reinterpret_cast<void (*)()>(routine));
}
// The procedure for "no data" (NULL procedures, their void result).
xdrproc_t XdrVoid();

// Arguments of a call decoded by their rpcgen routine; what decoding allocated is freed with
// the object.
template <class T>
class Args {
 public:
  Args(XDR* in, bool_t (*routine)(XDR*, T*)) : proc_(Xdr(routine)) {
    ok_ = routine(in, &value_) != 0;
  }
  ~Args() { xdr_free(proc_, &value_); }
  Args(const Args&) = delete;
  Args& operator=(const Args&) = delete;
  bool Ok() const { return ok_; }
  const T& operator*() const { return value_; }
  const T* operator->() const { return &value_; }

 private:
  xdrproc_t proc_;
  T value_{};
  bool ok_ = false;
};

enum class ReadStatus { Record, Closed, Stopped, Invalid };

// Reads one record-marked message into `record`. Waits for its first byte as long as it takes
// (until `stopFd` becomes readable); once begun, the rest must keep arriving (a peer silent
// for kStallMs in the middle of a message is dropped). A message above `maxSize` is Invalid.
ReadStatus ReadRecord(int fd, int stopFd, std::vector<char>& record, std::size_t maxSize);
// Sends `body` as one record of one fragment; false when the peer is gone, stalls or stop is
// signalled.
bool WriteRecord(int fd, int stopFd, const std::vector<char>& body);

constexpr int kStallMs = 5000;

// The answer to one call; the dispatcher picks exactly one of these.
class Reply {
 public:
  explicit Reply(std::uint32_t xid) : xid_(xid) {}
  // Encodes `result` at once: it only has to live for this call.
  void Success(xdrproc_t encode, const void* result);
  void ProgramUnavailable();
  void VersionMismatch(std::uint32_t low, std::uint32_t high);
  void ProcedureUnavailable();
  void GarbageArguments();
  // Sends nothing and makes the connection close (the instrument dropped it).
  void CloseConnection() { close_ = true; }

  std::vector<char>& Body() { return body_; }
  bool Close() const { return close_; }

 private:
  void Encode(int acceptStat, xdrproc_t encode, const void* result, std::uint32_t low,
              std::uint32_t high);

  std::uint32_t xid_;
  std::vector<char> body_;
  bool close_ = false;
};

struct CallHeader {
  std::uint32_t program;
  std::uint32_t version;
  std::uint32_t procedure;
};

// Runs one call: decodes the header of `record`, hands the arguments (positioned after the
// header) to `dispatch`, and returns its reply. A record that is no valid call gets no reply,
// as libtirpc's own servers do.
using Dispatcher = std::function<void(const CallHeader&, XDR* args, Reply& reply)>;
Reply HandleCall(std::vector<char>& record, const Dispatcher& dispatch);

}  // namespace qdxsim::vxi11
