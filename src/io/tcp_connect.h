// Connecting to an instrument over TCP, for the raw socket and the VXI-11 links alike.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "io/deadline.h"
#include "io/transport.h"

namespace veqdx::io {

// Resolves `host` (a name, an IPv4 or an IPv6 address without brackets) and connects to `port`
// before `deadline`, trying the host's addresses in turn. On success `fd` is a connected,
// blocking, close-on-exec TCP socket with TCP_NODELAY and keep-alive, and `address` is the
// peer as messages name it ("10.0.0.5:5025", "[::1]:5025"). A failure names the host as given
// and, when it was a name, the address last tried, followed by " (<service>)" when `service`
// is not empty; IoCode::Timeout ends with `timedOut` (" timed out").
IoResult ConnectTcp(const std::string& host, std::uint16_t port, Clock::time_point deadline,
                    std::string_view service, std::string_view timedOut, int& fd,
                    std::string& address);

// strerror(err) as a string.
std::string ErrnoText(int err);

}  // namespace veqdx::io
