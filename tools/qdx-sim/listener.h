// TCP listeners of the front ends (the raw socket, the VXI-11 core channel and portmapper).
#pragma once
#include <string>
#include <string_view>

namespace qdxsim::detail {

// "host:port" or "[v6]:port", for messages.
std::string describe(const std::string& host, int port);

// Binds a non-blocking, close-on-exec TCP listener on `host`:`port` (port 0: any free one) and
// returns its descriptor, or -1 with `error` set: "cannot resolve listen address '<host>': ..."
// or "cannot listen on <host:port>[ for the <what>]: <reason>", followed by
// " (ports below 1024 need root)" when `privilegedHint` and that is the likely cause.
int listenOn(const std::string& host, int port, std::string_view what, bool privilegedHint,
             std::string& error);

// The port a listener was bound to.
int boundPort(int fd);

}  // namespace qdxsim::detail
