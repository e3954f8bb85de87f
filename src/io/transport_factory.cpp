// Resource string -> transport. The only place that knows which transports exist: a new one
// (VXI-11, serial, USB TMC, a VISA library) is one more branch of OpenParsed.
#include <algorithm>
#include <cctype>

#include "io/io_session.h"
#include "io/resource.h"
#include "io/serial_transport.h"
#include "io/socket_transport.h"
#include "io/usbtmc_transport.h"
#include "io/visa_transport.h"
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
      return CSocketTransport::Connect(r.host, r.port, r.board, options, result);
    case ResourceKind::TcpipInstr:
      // A HiSLIP device name ("hislip0") means another protocol on the same resource form.
      if (r.ProtocolName() != "VXI-11") return NotBuiltIn(r, result);
      return CVxi11Transport::Open(r.host, r.device, r.board, options, result);
    case ResourceKind::Serial: {
      std::string path;
      std::string error;
      if (!SerialDevicePath(r.serialPort, r.ttyPath, path, error)) {
        result = IoResult::Error(error + ": " + r.text);
        return nullptr;
      }
      return CSerialTransport::Open(path, std::max(r.serialPort, 0), options, result);
    }
    case ResourceKind::UsbTmc:
      return CUsbTmcTransport::Open(
          UsbTmcAddress{r.vendorId, r.productId, r.serialNumber, r.usbInterface}, r.board,
          options, result);
    case ResourceKind::Gpib:
      return NotBuiltIn(r, result);
  }
  return NotBuiltIn(r, result);
}

// IoBackend (DriverSetup): "builtin", "visa" or "auto" (the default), in any case.
enum class Backend { Auto, BuiltIn, Visa };

bool ParseBackend(const TransportOptions& options, Backend& backend, IoResult& result) {
  std::string value = options.Get("iobackend", "auto");
  for (char& c : value) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (value == "auto") backend = Backend::Auto;
  else if (value == "builtin") backend = Backend::BuiltIn;
  else if (value == "visa") backend = Backend::Visa;
  else {
    result = IoResult::Error("DriverSetup item IoBackend='" + options.Get("iobackend") +
                             "' is not valid: expected builtin, visa or auto");
    return false;
  }
  return true;
}

// In auto mode a resource that the VISA library does not know (a form it does not parse, such
// as ASRL/dev/ttyUSB0 for some libraries, or a device it does not see) is still tried with
// the built-in transport that exists for it.
bool BuiltInMayHelp(VqViStatus visaStatus, std::string_view resource) {
  if (visaStatus != VQ_VI_ERROR_RSRC_NFOUND && visaStatus != VQ_VI_ERROR_INV_RSRC_NAME)
    return false;
  Resource parsed;
  std::string ignored;
  return ParseResource(resource, parsed, ignored) && parsed.kind != ResourceKind::Gpib;
}

}  // namespace

std::unique_ptr<ITransport> OpenTransport(std::string_view resource,
                                          const TransportOptions& options, IoResult& result) {
  Backend backend = Backend::Auto;
  if (!ParseBackend(options, backend, result)) return nullptr;
  std::string noVisa = "IoBackend=builtin";  // why GPIB and the like cannot be opened
  if (backend != Backend::BuiltIn) {
    std::shared_ptr<const CVisaLibrary> visa = CVisaLibrary::Find(options, noVisa);
    if (visa) {
      VqViStatus status = VQ_VI_SUCCESS;
      auto transport = CVisaTransport::Open(visa, std::string(resource), options, result, &status);
      if (transport || backend == Backend::Visa || !BuiltInMayHelp(status, resource))
        return transport;
    } else if (backend == Backend::Visa) {
      result = IoResult::Error("IoBackend=visa needs an installed VISA library (" + noVisa +
                               "): " + std::string(resource));
      return nullptr;
    }
  }
  Resource parsed;
  std::string error;
  if (!ParseResource(resource, parsed, error)) {
    result = IoResult::Error(std::move(error));
    return nullptr;
  }
  // Protocols with no built-in transport are VISA's alone.
  if (parsed.kind == ResourceKind::Gpib || parsed.ProtocolName() == "HiSLIP") {
    result = IoResult::Error(parsed.ProtocolName() + " resources need an installed VISA library (" +
                             noVisa + "): " + parsed.text);
    return nullptr;
  }
  return OpenParsed(parsed, options, result);
}

}  // namespace veqdx::io
