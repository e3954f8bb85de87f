// Resource string -> transport. The only place that knows which transports exist: a new one
// (VXI-11, serial, USB TMC, a VISA library) is one more branch of OpenParsed.
#include "io/io_session.h"
#include "io/resource.h"
#include "io/socket_transport.h"
#include "io/vxi11_transport.h"

namespace veqdx::io {
namespace {

std::unique_ptr<ITransport> NotBuiltIn(const Resource& r, IoResult& result) {
  result = IoResult::Error("No built-in transport for " + r.ProtocolName() +
                           " resources yet: " + r.text);
  return nullptr;
}

std::unique_ptr<ITransport> OpenParsed(const Resource& r, const TransportOptions& options,
                                       IoResult& result) {
  switch (r.kind) {
    case ResourceKind::TcpipSocket:
      return SocketTransport::Connect(r.host, r.port, r.board, options, result);
    case ResourceKind::TcpipInstr:
      // A HiSLIP device name ("hislip0") means another protocol on the same resource form.
      if (r.ProtocolName() != "VXI-11") return NotBuiltIn(r, result);
      return Vxi11Transport::Open(r.host, r.device, r.board, options, result);
    case ResourceKind::Serial:
    case ResourceKind::UsbTmc:
    case ResourceKind::Gpib:
      return NotBuiltIn(r, result);
  }
  return NotBuiltIn(r, result);
}

}  // namespace

std::unique_ptr<ITransport> OpenTransport(std::string_view resource,
                                          const TransportOptions& options, IoResult& result) {
  Resource parsed;
  std::string error;
  if (!ParseResource(resource, parsed, error)) {
    result = IoResult::Error(std::move(error));
    return nullptr;
  }
  return OpenParsed(parsed, options, result);
}

}  // namespace veqdx::io
