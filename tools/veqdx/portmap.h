// The one portmapper call discovery needs: GETPORT for the VXI-11 core channel (program
// 0x0607AF version 1 over TCP), over TCP to one host or over UDP as a broadcast.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace veqdx_cli {

// ONC RPC call message (RFC 5531) for PMAPPROC_GETPORT; the reply's port, if it is an
// accepted, successful reply to xid naming a non-zero port.
std::vector<std::uint8_t> EncodeGetPortCall(std::uint32_t xid);
std::optional<std::uint16_t> DecodeGetPortReply(const std::uint8_t* data, size_t size,
                                                std::uint32_t xid);

// Asks host's portmapper (TCP) for the VXI-11 core channel port, within timeout.
std::optional<std::uint16_t> QueryVxi11Port(const std::string& host, std::uint16_t portmapPort,
                                            std::chrono::milliseconds timeout);

struct Vxi11Host {
  std::string address;
  std::uint16_t corePort;
};
// Broadcasts GETPORT on every IPv4 network with a broadcast address (not loopback) and
// gathers the answers until the time is up.
std::vector<Vxi11Host> BroadcastVxi11(std::uint16_t portmapPort, std::chrono::milliseconds wait);

}  // namespace veqdx_cli
