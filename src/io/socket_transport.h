// The built-in raw TCP transport for TCPIP[board]::host::port::SOCKET resources.
//
// A raw socket has no END signal, so the link is line-feed terminated both ways: reads end at
// the termination character (line feed, enabled from the start), and while it is enabled a
// write with END gets it appended unless the message already ends with it. Each message goes to the
// kernel in one call (TCP_NODELAY is set, so a command is not held back waiting for a delayed
// ACK). Reads take whole blocks from the kernel and keep the bytes after a terminator for the
// next read. Every connect, read and write is bounded by its timeout; nothing
// raises SIGPIPE; the descriptor is close-on-exec and closed on every failure path.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "io/stream_framing.h"
#include "io/transport.h"

namespace veqdx::io {

class CSocketTransport final : public CTransportBase {
 public:
  // Resolves `host` (a name, an IPv4 or an IPv6 address without brackets) and connects to
  // the first address that accepts within options.openTimeoutMs. On failure returns nullptr
  // with `result` saying what happened and where (IoCode::Timeout when no address answered in
  // time, IoCode::Error for a refusal, an unknown host, ...).
  static std::unique_ptr<CSocketTransport> Connect(const std::string& host, std::uint16_t port,
                                                  int board, const TransportOptions& options,
                                                  IoResult& result);
  ~CSocketTransport() override;
  CSocketTransport(const CSocketTransport&) = delete;
  CSocketTransport& operator=(const CSocketTransport&) = delete;

  IoResult Write(const char* data, std::size_t size, bool end, std::size_t& written) override;
  IoResult Read(char* buffer, std::size_t max, std::size_t& got, ReadEnd& why) override;

  void SetTimeout(int milliseconds) override;

  // Throws away what has arrived and not been read; sends nothing. A raw socket carries no
  // status byte, and nothing else shares the connection, so locking has nothing to exclude.
  IoResult Clear() override;
  void Close() override;
  std::string LinkName() const override { return "a raw socket connection (" + address_ + ")"; }

  InterfaceType Interface() const override { return InterfaceType::Tcpip; }
  std::string ResourceClass() const override { return "SOCKET"; }

  // "10.0.0.5:5025", "[::1]:5025": the peer, as messages name it.
  const std::string& PeerAddress() const { return address_; }

 private:
  CSocketTransport(int fd, std::string address, int board, int timeoutMs);
  IoResult ClosedByPeer(std::string_view during);
  void ApplyReceiveTimeout();

  int fd_;
  std::string address_;
  bool blockingReceive_ = false;  // the receive timeout is set: a read's first wait may block
  // Bytes asked of the kernel per receive: whole blocks, never byte by byte.
  static constexpr std::size_t kReceiveBlock = 16384;
  CStreamInbox inbox_{kReceiveBlock};
};

}  // namespace veqdx::io
