// The built-in USB TMC transport for USB[board]::<vid>::<pid>::<serial>[::<intf>]::INSTR
// resources, through the Linux kernel's usbtmc driver.
//
// Finding the device: every entry of <sysfs>/class/usbtmc (usbtmc0, usbtmc1, ...) leads
// through its "device" link to the USB interface it drives (bInterfaceNumber), whose parent
// is the USB device (idVendor, idProduct, serial). The entry whose vendor id, product id,
// serial number (compared without regard to case) and, when the resource gives one,
// interface number match is opened as <dev>/<entry name>. Without an interface number the
// lowest matching one is taken.
//
// The two roots default to /sys and /dev and can be moved (a test's fake tree, a container
// with the host's sysfs mounted elsewhere): DriverSetup items UsbSysfsRoot=<dir> and
// UsbDevRoot=<dir>, or the environment variables VEQDX_USB_SYSFS_ROOT and VEQDX_USB_DEV_ROOT
// (the DriverSetup items win).
//
// Transfers: on a real usbtmc node a read cannot be polled (the driver answers it with one
// synchronous USB transfer), so the kernel bounds every read and write with its own timeout,
// set from the session timeout (USBTMC_IOCTL_SET_TIMEOUT; the driver's minimum is 100 ms);
// END is the USB TMC end of message, switched per write with USBTMC_IOCTL_EOM_ENABLE, and a
// read ends at END, at the termination character when enabled (USBTMC_IOCTL_CONFIG_TERMCHAR)
// or at the count. Device clear is USBTMC_IOCTL_CLEAR and the status byte
// USBTMC488_IOCTL_READ_STB.
// A node that does not answer the usbtmc ioctls (a stand-in such as a FIFO or a pseudo-
// terminal, or a kernel without them) is driven as a byte stream: poll() bounds every wait,
// and since such a stream carries no END, messages end with a line feed as on a serial line
// (serial_stream.h). Device clear and the status byte are then IoCode::NotSupported.
#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "io/serial_stream.h"
#include "io/transport.h"

namespace veqdx::io {

struct UsbTmcAddress {
  std::uint16_t vendorId = 0;
  std::uint16_t productId = 0;
  std::string serialNumber;
  int interfaceNumber = -1;  // -1: any
};

// One usbtmc entry of sysfs.
struct UsbTmcEntry {
  std::string name;  // "usbtmc0"
  std::uint16_t vendorId = 0;
  std::uint16_t productId = 0;
  std::string serialNumber;
  int interfaceNumber = 0;
};

// The roots in force for `options` (DriverSetup, then environment, then /sys and /dev).
std::string UsbSysfsRoot(const TransportOptions& options);
std::string UsbDevRoot(const TransportOptions& options);

// Every usbtmc entry under `sysfsRoot`, sorted by name. False with a message when the class
// directory cannot be read (no usbtmc driver loaded). Entries whose ids cannot be read are
// left out.
bool ListUsbTmcEntries(const std::string& sysfsRoot, std::vector<UsbTmcEntry>& out,
                       std::string& error);
// The device node of `address`; false with a message that lists what was found instead.
bool FindUsbTmcNode(const UsbTmcAddress& address, const std::string& sysfsRoot,
                    const std::string& devRoot, std::string& node, std::string& error);

// "0x1AB1::0x04CE::DS1ZA123" (and "::0" when an interface is given).
std::string UsbTmcAddressText(const UsbTmcAddress& address);

class CUsbTmcTransport final : public CTransportBase {
 public:
  static std::unique_ptr<CUsbTmcTransport> Open(const UsbTmcAddress& address, int board,
                                               const TransportOptions& options,
                                               IoResult& result);
  ~CUsbTmcTransport() override;
  CUsbTmcTransport(const CUsbTmcTransport&) = delete;
  CUsbTmcTransport& operator=(const CUsbTmcTransport&) = delete;

  IoResult Write(const char* data, std::size_t size, bool end, std::size_t& written) override;
  IoResult Read(char* buffer, std::size_t max, std::size_t& got, ReadEnd& why) override;
  void SetTimeout(int milliseconds) override;
  void SetTermChar(char c, bool enabled) override;

  IoResult Clear() override;
  IoResult ReadStatusByte(std::uint8_t& stb) override;
  void Close() override { stream_.Close(); }

  bool HasEndSignal() const override { return true; }
  InterfaceType Interface() const override { return InterfaceType::Usb; }
  std::string ResourceClass() const override { return "INSTR"; }

  const std::string& Node() const { return stream_.Label(); }
  // True on a real usbtmc node (the kernel's ioctls answered), false on a byte stream.
  bool KernelDriver() const { return kernel_; }

 private:
  CUsbTmcTransport(int fd, const std::string& node, int board, int timeoutMs, bool kernel);
  IoResult KernelFailure(const char* operation, int err) const;
  IoResult Unsupported(const char* operation, const char* why) const;

  CFdStream stream_;
  bool kernel_;
  std::optional<bool> eom_;  // the end-of-message setting last given to the kernel
};

}  // namespace veqdx::io
