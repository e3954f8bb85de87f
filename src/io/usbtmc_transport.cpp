#include "io/usbtmc_transport.h"

#include <fcntl.h>
#include <linux/usb/tmc.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <utility>

#include "base/text.h"

namespace veqdx::io {
namespace fs = std::filesystem;
namespace {

constexpr std::uint32_t kKernelMinTimeoutMs = 100;  // the usbtmc driver refuses less
constexpr const char* kNoUsbtmcIoctls = "it does not answer the usbtmc ioctls";

// The first line of a small sysfs attribute file, blanks trimmed; nullopt when unreadable.
std::optional<std::string> ReadAttributeFile(const fs::path& file) {
  std::ifstream in(file);
  if (!in) return std::nullopt;
  std::string line;
  char buffer[256] = {};
  in.read(buffer, sizeof buffer - 1);  // sysfs attributes are short; never read unbounded
  line.assign(buffer, static_cast<std::size_t>(in.gcount()));
  if (auto nl = line.find('\n'); nl != std::string::npos) line.resize(nl);
  while (!line.empty() && std::isspace(static_cast<unsigned char>(line.back()))) line.pop_back();
  return line;
}

std::optional<unsigned long> ReadHexFile(const fs::path& file, unsigned long max) {
  auto text = ReadAttributeFile(file);
  if (!text || text->empty() || text->size() > 8) return std::nullopt;
  unsigned long v = 0;
  for (char c : *text) {
    if (!std::isxdigit(static_cast<unsigned char>(c))) return std::nullopt;
    v = v * 16 + static_cast<unsigned long>(std::isdigit(static_cast<unsigned char>(c))
                                                ? c - '0'
                                                : std::tolower(static_cast<unsigned char>(c)) - 'a' + 10);
  }
  if (v > max) return std::nullopt;
  return v;
}

std::string Hex4(std::uint16_t v) {
  char text[8];
  std::snprintf(text, sizeof text, "0x%04X", v);
  return text;
}

std::string RootFrom(const TransportOptions& options, const char* item, const char* env,
                     const char* fallback) {
  if (std::string v = options.Get(item); !v.empty()) return v;
  if (const char* e = std::getenv(env); e != nullptr && *e != '\0') return e;
  return fallback;
}

}  // namespace

std::string UsbSysfsRoot(const TransportOptions& options) {
  return RootFrom(options, "usbsysfsroot", "VEQDX_USB_SYSFS_ROOT", "/sys");
}

std::string UsbDevRoot(const TransportOptions& options) {
  return RootFrom(options, "usbdevroot", "VEQDX_USB_DEV_ROOT", "/dev");
}

std::string UsbTmcAddressText(const UsbTmcAddress& a) {
  std::string text = Hex4(a.vendorId) + "::" + Hex4(a.productId) + "::" + a.serialNumber;
  if (a.interfaceNumber >= 0) text += "::" + std::to_string(a.interfaceNumber);
  return text;
}

bool ListUsbTmcEntries(const std::string& sysfsRoot, std::vector<UsbTmcEntry>& out,
                       std::string& error) {
  out.clear();
  const fs::path classDir = fs::path(sysfsRoot) / "class" / "usbtmc";
  std::error_code ec;
  fs::directory_iterator it(classDir, ec);
  if (ec) {
    error = "no USB TMC devices: " + classDir.string() + " cannot be read (" + ec.message() +
            "; is the usbtmc kernel driver loaded?)";
    return false;
  }
  for (const fs::directory_entry& entry : it) {
    UsbTmcEntry found;
    found.name = entry.path().filename().string();
    if (found.name.rfind("usbtmc", 0) != 0) continue;
    // "device" leads to the USB interface; its parent directory is the USB device.
    fs::path intf = fs::canonical(entry.path() / "device", ec);
    if (ec) continue;
    fs::path device = intf.parent_path();
    auto vendor = ReadHexFile(device / "idVendor", 0xFFFF);
    auto product = ReadHexFile(device / "idProduct", 0xFFFF);
    if (!vendor || !product) continue;
    found.vendorId = static_cast<std::uint16_t>(*vendor);
    found.productId = static_cast<std::uint16_t>(*product);
    found.serialNumber = ReadAttributeFile(device / "serial").value_or("");
    found.interfaceNumber = static_cast<int>(ReadHexFile(intf / "bInterfaceNumber", 0xFF).value_or(0));
    out.push_back(std::move(found));
  }
  std::sort(out.begin(), out.end(),
            [](const UsbTmcEntry& a, const UsbTmcEntry& b) { return a.name < b.name; });
  return true;
}

bool FindUsbTmcNode(const UsbTmcAddress& address, const std::string& sysfsRoot,
                    const std::string& devRoot, std::string& node, std::string& error) {
  std::vector<UsbTmcEntry> entries;
  if (!ListUsbTmcEntries(sysfsRoot, entries, error)) return false;
  const UsbTmcEntry* best = nullptr;
  for (const UsbTmcEntry& e : entries) {
    if (e.vendorId != address.vendorId || e.productId != address.productId ||
        !EqualsNoCase(e.serialNumber, address.serialNumber))
      continue;
    if (address.interfaceNumber >= 0 && e.interfaceNumber != address.interfaceNumber) continue;
    if (best == nullptr || e.interfaceNumber < best->interfaceNumber) best = &e;
  }
  if (best != nullptr) {
    node = (fs::path(devRoot) / best->name).string();
    return true;
  }
  error = "no USB TMC device " + UsbTmcAddressText(address) + " is connected";
  if (entries.empty()) {
    error += " (no usbtmc devices at all under " + sysfsRoot + ")";
  } else {
    error += " (found:";
    for (const UsbTmcEntry& e : entries) {
      UsbTmcAddress seen{e.vendorId, e.productId, e.serialNumber, e.interfaceNumber};
      error += " " + e.name + " = " + UsbTmcAddressText(seen);
    }
    error += ")";
  }
  return false;
}

std::unique_ptr<CUsbTmcTransport> CUsbTmcTransport::Open(const UsbTmcAddress& address, int board,
                                                       const TransportOptions& options,
                                                       IoResult& result) {
  std::string node;
  std::string error;
  if (!FindUsbTmcNode(address, UsbSysfsRoot(options), UsbDevRoot(options), node, error)) {
    result = IoResult::Error(std::move(error));
    return nullptr;
  }
  int fd = ::open(node.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) {
    int err = errno;
    std::string what = "cannot open " + node + " for USB TMC device " + UsbTmcAddressText(address);
    if (err == EACCES || err == EPERM)
      what += ": no permission (a udev rule can give the user access to usbtmc devices)";
    else
      what += std::string(": ") + std::strerror(err);
    result = IoResult::Error(std::move(what));
    return nullptr;
  }
  std::uint32_t kernelTimeout = 0;
  bool kernel = ::ioctl(fd, USBTMC_IOCTL_GET_TIMEOUT, &kernelTimeout) == 0;
  std::unique_ptr<CUsbTmcTransport> t(new CUsbTmcTransport(fd, node, board, options.timeoutMs, kernel));
  if (kernel) {
    // The driver's read is one synchronous transfer bounded by its own timeout.
    int flags = ::fcntl(fd, F_GETFL);
    if (flags >= 0) ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
    t->SetTimeout(options.timeoutMs);
    t->SetTermChar('\n', false);
  }
  result = IoResult::Ok();
  return t;
}

CUsbTmcTransport::CUsbTmcTransport(int fd, const std::string& node, int board, int timeoutMs,
                                 bool kernel)
    : CTransportBase(timeoutMs, true, board), stream_(fd, node, link_), kernel_(kernel) {}

CUsbTmcTransport::~CUsbTmcTransport() { Close(); }

IoResult CUsbTmcTransport::KernelFailure(const char* operation, int err) const {
  std::string text = std::string(operation) + " on " + stream_.Label();
  if (err == ETIMEDOUT)
    return IoResult::Timeout(text + " did not complete within " +
                             std::to_string(link_.timeoutMs) + " ms");
  return IoResult::Error(text + " failed: " + std::strerror(err));
}

IoResult CUsbTmcTransport::Unsupported(const char* operation, const char* why) const {
  return {IoCode::NotSupported,
          std::string(operation) + " is not supported on " + stream_.Label() + ": " + why};
}

void CUsbTmcTransport::SetTimeout(int milliseconds) {
  CTransportBase::SetTimeout(milliseconds);
  if (kernel_ && stream_.IsOpen()) {
    std::uint32_t ms = std::max<std::uint32_t>(kKernelMinTimeoutMs,
                                               static_cast<std::uint32_t>(link_.timeoutMs));
    ::ioctl(stream_.Fd(), USBTMC_IOCTL_SET_TIMEOUT, &ms);
  }
}

void CUsbTmcTransport::SetTermChar(char c, bool enabled) {
  CTransportBase::SetTermChar(c, enabled);
  if (kernel_ && stream_.IsOpen()) {
    usbtmc_termchar tc{static_cast<__u8>(c), static_cast<__u8>(enabled ? 1 : 0)};
    ::ioctl(stream_.Fd(), USBTMC_IOCTL_CONFIG_TERMCHAR, &tc);
  }
}

IoResult CUsbTmcTransport::Write(const char* data, std::size_t size, bool end,
                                std::size_t& written) {
  if (!kernel_) return stream_.Write(data, size, end, written);
  written = 0;
  if (!stream_.IsOpen()) return stream_.Closed();
  if (!eom_ || *eom_ != end) {
    __u8 eom = end ? 1 : 0;
    if (::ioctl(stream_.Fd(), USBTMC_IOCTL_EOM_ENABLE, &eom) != 0)
      return KernelFailure("setting END", errno);
    eom_ = end;
  }
  // The kernel splits the message into transfers and marks only the last with END.
  while (written < size) {
    ssize_t n = ::write(stream_.Fd(), data + written, size - written);
    if (n < 0) return KernelFailure("write", errno);
    if (n == 0) return IoResult::Error("write to " + stream_.Label() + " accepted no bytes");
    written += static_cast<std::size_t>(n);
  }
  return IoResult::Ok();
}

IoResult CUsbTmcTransport::Read(char* buffer, std::size_t max, std::size_t& got, ReadEnd& why) {
  if (!kernel_) return stream_.Read(buffer, max, got, why);
  got = 0;
  why = ReadEnd::Count;
  if (!stream_.IsOpen()) return stream_.Closed();
  if (max == 0) return IoResult::Ok();
  ssize_t n = ::read(stream_.Fd(), buffer, max);
  if (n < 0) return KernelFailure("read", errno);
  got = static_cast<std::size_t>(n);
  // The driver returns short when the device ended the message (END or the termination
  // character); a full buffer may have more behind it.
  if (got > 0 && link_.termEnabled && buffer[got - 1] == link_.termChar)
    why = ReadEnd::TermChar;
  else
    why = got < max ? ReadEnd::End : ReadEnd::Count;
  return IoResult::Ok();
}

IoResult CUsbTmcTransport::Clear() {
  if (!stream_.IsOpen()) return stream_.Closed();
  if (!kernel_) return Unsupported("device clear", kNoUsbtmcIoctls);
  if (::ioctl(stream_.Fd(), USBTMC_IOCTL_CLEAR) != 0) return KernelFailure("device clear", errno);
  return IoResult::Ok();
}

IoResult CUsbTmcTransport::ReadStatusByte(std::uint8_t& stb) {
  if (!stream_.IsOpen()) return stream_.Closed();
  if (!kernel_) return Unsupported("reading the status byte", kNoUsbtmcIoctls);
  unsigned char value = 0;
  if (::ioctl(stream_.Fd(), USBTMC488_IOCTL_READ_STB, &value) != 0) {
    int err = errno;
    // A device without the USB488 subclass has no status byte request.
    if (err == ENOTTY || err == EINVAL || err == EPIPE)
      return Unsupported("reading the status byte",
                         "the device does not offer the USB488 status byte request");
    return KernelFailure("reading the status byte", err);
  }
  stb = value;
  return IoResult::Ok();
}

}  // namespace veqdx::io
