// The built-in VXI-11 transport for TCPIP[board]::host[::device]::INSTR resources: ONC RPC over
// TCP to the instrument's core channel (program 0x0607AF, version 1).
//
// Open: the portmapper on the host (TCP port 111) is asked for the core channel's port, a TCP
// connection is made to it and one link is created to the device ("inst0" unless the resource
// names another), without the device lock. Two DriverSetup items change how the channel is
// found:
//   PortmapperPort=<n>   ask the portmapper on port n instead of 111;
//   Vxi11Port=<n>        connect to the core channel on port n directly, asking no portmapper
//                        (PortmapperPort is then ignored).
// Close destroys the link and closes the connection; a failed open leaves no link behind.
//
// Messages: a write is split into device_write calls of at most the device's maxRecvSize
// bytes, END on the last one when the caller asks for it. A read is one device_read of at most
// the caller's count, ending at END, at the termination character when it is enabled (off by
// default: reads end with END) or at the count.
//
// Time: every call passes the session timeout to the device as io_timeout (and as
// lock_timeout, waiting for a lock held by another link); the RPC itself waits one second
// longer, so the device's own timeout answer normally arrives first. Either way the result is
// IoCode::Timeout, and the link stays usable: a late answer is recognised by its transaction
// id and skipped.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "io/transport.h"

namespace veqdx::io {

namespace vxi11 {
class CRpcClient;
}

class CVxi11Transport final : public CTransportBase {
 public:
  // Milliseconds an RPC waits beyond the io_timeout handed to the device.
  static constexpr int kRpcMarginMs = 1000;
  // Most bytes asked for in one device_read.
  static constexpr std::size_t kMaxReadRequest = 1u << 20;

  // Connects and creates the link, all within options.openTimeoutMs. On failure returns
  // nullptr with `result` saying what failed and where (IoCode::Timeout when the host did not
  // answer in time).
  static std::unique_ptr<CVxi11Transport> Open(const std::string& host, const std::string& device,
                                              int board, const TransportOptions& options,
                                              IoResult& result);
  ~CVxi11Transport() override;
  CVxi11Transport(const CVxi11Transport&) = delete;
  CVxi11Transport& operator=(const CVxi11Transport&) = delete;

  IoResult Write(const char* data, std::size_t size, bool end, std::size_t& written) override;
  IoResult Read(char* buffer, std::size_t max, std::size_t& got, ReadEnd& why) override;

  IoResult Clear() override;                         // device_clear
  IoResult ReadStatusByte(std::uint8_t& stb) override;  // device_readstb
  // device_lock, waiting up to `timeoutMs` for a lock that another link holds.
  IoResult Lock(int timeoutMs) override;
  IoResult Unlock() override;                        // device_unlock
  void Close() override;                             // destroy_link, then the connection

  // device_clear empties the device's output queue, a reply still being made included.
  bool ClearEmptiesOutput() const override { return true; }
  bool HasEndSignal() const override { return true; }
  InterfaceType Interface() const override { return InterfaceType::Tcpip; }
  std::string ResourceClass() const override { return "INSTR"; }

  // Largest device_write the device takes, as create_link announced it.
  std::uint32_t MaxRecvSize() const { return maxRecvSize_; }
  // "inst0 at 10.0.0.5:1024": the link, as messages name it.
  const std::string& Label() const { return label_; }

 private:
  CVxi11Transport(std::unique_ptr<vxi11::CRpcClient> rpc, long link, std::uint32_t maxRecvSize,
                 std::string label, int board, int timeoutMs);
  IoResult NotOpen() const;
  // Result of a non-zero VXI-11 error code of `call`.
  IoResult DeviceError(const char* call, long code) const;

  std::unique_ptr<vxi11::CRpcClient> rpc_;
  long lid_;
  std::uint32_t maxRecvSize_;
  std::string label_;
};

// Text of a VXI-11 error code ("out of resources"); "unknown error" for codes outside the set.
std::string Vxi11ErrorText(long code);

}  // namespace veqdx::io
