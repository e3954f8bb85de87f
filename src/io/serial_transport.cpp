#include "io/serial_transport.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <utility>

namespace veqdx::io {
namespace {

struct BaudEntry {
  unsigned rate;
  speed_t code;
};

constexpr BaudEntry kBaudRates[] = {
    {50, B50},           {75, B75},           {110, B110},         {134, B134},
    {150, B150},         {200, B200},         {300, B300},         {600, B600},
    {1200, B1200},       {1800, B1800},       {2400, B2400},       {4800, B4800},
    {9600, B9600},       {19200, B19200},     {38400, B38400},     {57600, B57600},
    {115200, B115200},   {230400, B230400},   {460800, B460800},   {500000, B500000},
    {576000, B576000},   {921600, B921600},   {1000000, B1000000}, {1152000, B1152000},
    {1500000, B1500000}, {2000000, B2000000}, {2500000, B2500000}, {3000000, B3000000},
    {3500000, B3500000}, {4000000, B4000000},
};

std::string Normalized(std::string s) {
  auto notSpace = [](unsigned char c) { return !std::isspace(c); };
  s.erase(s.begin(), std::find_if(s.begin(), s.end(), notSpace));
  s.erase(std::find_if(s.rbegin(), s.rend(), notSpace).base(), s.end());
  std::transform(s.begin(), s.end(), s.begin(),
                 [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
  return s;
}

bool ParseUnsigned(const std::string& s, unsigned long max, unsigned long& out) {
  if (s.empty() || s.size() > 9) return false;
  unsigned long v = 0;
  for (char c : s) {
    if (c < '0' || c > '9') return false;
    v = v * 10 + static_cast<unsigned long>(c - '0');
  }
  if (v > max) return false;
  out = v;
  return true;
}

const BaudEntry* FindBaud(unsigned rate) {
  for (const BaudEntry& e : kBaudRates) {
    if (e.rate == rate) return &e;
  }
  return nullptr;
}

std::string BadItem(const char* item, const std::string& value, const char* expected) {
  return std::string("DriverSetup item ") + item + "='" + value + "' is not valid: expected " +
         expected;
}

// Applies the settings to the port; false with `error` set.
bool Configure(int fd, const std::string& path, const SerialSettings& s, std::string& error) {
  termios tio{};
  if (::tcgetattr(fd, &tio) != 0) {
    error = "cannot read the line settings of " + path + ": " + std::strerror(errno);
    return false;
  }
  ApplySerialSettings(s, tio);
  const BaudEntry* baud = FindBaud(s.baudRate);
  if (::tcsetattr(fd, TCSANOW, &tio) != 0) {
    error = "cannot apply the line settings to " + path + ": " + std::strerror(errno);
    return false;
  }
  // tcsetattr succeeds when any of the changes took; check the speed really did.
  termios check{};
  if (::tcgetattr(fd, &check) == 0 && ::cfgetospeed(&check) != baud->code) {
    error = path + " does not support " + std::to_string(s.baudRate) + " baud";
    return false;
  }
  return true;
}

}  // namespace

void ApplySerialSettings(const SerialSettings& s, termios& tio) {
  ::cfmakeraw(&tio);
  tio.c_cflag &= ~static_cast<tcflag_t>(CSIZE | PARENB | PARODD | CMSPAR | CSTOPB | CRTSCTS);
  tio.c_cflag |= CLOCAL | CREAD;
  switch (s.dataBits) {
    case 5: tio.c_cflag |= CS5; break;
    case 6: tio.c_cflag |= CS6; break;
    case 7: tio.c_cflag |= CS7; break;
    default: tio.c_cflag |= CS8; break;
  }
  switch (s.parity) {
    case SerialSettings::Parity::None: break;
    case SerialSettings::Parity::Odd: tio.c_cflag |= PARENB | PARODD; break;
    case SerialSettings::Parity::Even: tio.c_cflag |= PARENB; break;
    case SerialSettings::Parity::Mark: tio.c_cflag |= PARENB | PARODD | CMSPAR; break;
    case SerialSettings::Parity::Space: tio.c_cflag |= PARENB | CMSPAR; break;
  }
  // With 5 data bits a UART sends 1.5 stop bits where CSTOPB asks for two.
  if (s.stopBits != SerialSettings::StopBits::One) tio.c_cflag |= CSTOPB;
  tio.c_iflag &= ~static_cast<tcflag_t>(IXON | IXOFF | IXANY);
  if (s.flowControl == SerialSettings::FlowControl::XonXoff) {
    tio.c_iflag |= IXON | IXOFF;
    tio.c_cc[VSTART] = 0x11;
    tio.c_cc[VSTOP] = 0x13;
  } else if (s.flowControl == SerialSettings::FlowControl::RtsCts) {
    tio.c_cflag |= CRTSCTS;
  }
  // One byte satisfies a read and there is no inter-byte timer: on the non-blocking
  // descriptor an empty queue is then EAGAIN (the stream waits with poll()), and a read of
  // 0 bytes can only mean the line hung up. (VMIN 0 would make an empty queue read as 0.)
  tio.c_cc[VMIN] = 1;
  tio.c_cc[VTIME] = 0;
  if (const BaudEntry* baud = FindBaud(s.baudRate)) {
    ::cfsetispeed(&tio, baud->code);
    ::cfsetospeed(&tio, baud->code);
  }
}

bool SerialSettings::FromOptions(const TransportOptions& options, SerialSettings& out,
                                 std::string& error) {
  SerialSettings s;
  unsigned long n = 0;
  if (std::string v = Normalized(options.Get("baudrate")); !v.empty()) {
    if (!ParseUnsigned(v, 4000000, n) || FindBaud(static_cast<unsigned>(n)) == nullptr) {
      error = BadItem("BaudRate", v,
                      "a standard rate such as 9600, 19200, 38400, 57600 or 115200 "
                      "(50 to 4000000)");
      return false;
    }
    s.baudRate = static_cast<unsigned>(n);
  }
  if (std::string v = Normalized(options.Get("databits")); !v.empty()) {
    if (!ParseUnsigned(v, 8, n) || n < 5) {
      error = BadItem("DataBits", v, "5, 6, 7 or 8");
      return false;
    }
    s.dataBits = static_cast<int>(n);
  }
  if (std::string v = Normalized(options.Get("parity")); !v.empty()) {
    if (v == "none") s.parity = Parity::None;
    else if (v == "odd") s.parity = Parity::Odd;
    else if (v == "even") s.parity = Parity::Even;
    else if (v == "mark") s.parity = Parity::Mark;
    else if (v == "space") s.parity = Parity::Space;
    else {
      error = BadItem("Parity", v, "none, odd, even, mark or space");
      return false;
    }
  }
  if (std::string v = Normalized(options.Get("stopbits")); !v.empty()) {
    if (v == "1") s.stopBits = StopBits::One;
    else if (v == "1.5") s.stopBits = StopBits::OneAndHalf;
    else if (v == "2") s.stopBits = StopBits::Two;
    else {
      error = BadItem("StopBits", v, "1, 1.5 or 2");
      return false;
    }
  }
  if (s.stopBits == StopBits::OneAndHalf && s.dataBits != 5) {
    error = "DriverSetup item StopBits=1.5 needs DataBits=5: serial ports send 1.5 stop bits "
            "only with 5 data bits";
    return false;
  }
  if (std::string v = Normalized(options.Get("flowcontrol")); !v.empty()) {
    if (v == "none") s.flowControl = FlowControl::None;
    else if (v == "xonxoff") s.flowControl = FlowControl::XonXoff;
    else if (v == "rtscts") s.flowControl = FlowControl::RtsCts;
    else {
      error = BadItem("FlowControl", v, "none, xonxoff or rtscts");
      return false;
    }
  }
  out = s;
  return true;
}

bool SerialDevicePath(int asrlNumber, const std::string& ttyPath, std::string& path,
                      std::string& error) {
  if (!ttyPath.empty()) {
    path = ttyPath;
    return true;
  }
  if (asrlNumber < 1) {
    error = "serial ports are numbered from 1 (ASRL1::INSTR is /dev/ttyS0); name a device "
            "as ASRL/dev/<tty>::INSTR";
    return false;
  }
  path = "/dev/ttyS" + std::to_string(asrlNumber - 1);
  return true;
}

std::unique_ptr<CSerialTransport> CSerialTransport::Open(const std::string& path,
                                                       int interfaceNumber,
                                                       const TransportOptions& options,
                                                       IoResult& result) {
  SerialSettings settings;
  std::string error;
  if (!SerialSettings::FromOptions(options, settings, error)) {
    result = IoResult::Error(std::move(error));
    return nullptr;
  }
  int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) {
    int err = errno;
    if (err == ENOENT || err == ENXIO || err == ENODEV) {
      result = IoResult::Error("serial port " + path + " does not exist");
    } else if (err == EACCES || err == EPERM) {
      result = IoResult::Error("no permission to open serial port " + path +
                               " (is the user in the group that owns it, e.g. dialout?)");
    } else if (err == EBUSY) {
      result = IoResult::Error("serial port " + path + " is in use by another program");
    } else {
      result = IoResult::Error("cannot open serial port " + path + ": " + std::strerror(err));
    }
    return nullptr;
  }
  auto fail = [&](std::string text) {
    ::close(fd);
    result = IoResult::Error(std::move(text));
    return nullptr;
  };
  if (!::isatty(fd)) return fail(path + " is not a serial port (not a terminal device)");
  if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK) return fail("serial port " + path + " is in use by another program");
    return fail("cannot lock serial port " + path + ": " + std::strerror(errno));
  }
  if (::ioctl(fd, TIOCEXCL) != 0)
    return fail("cannot open serial port " + path + " exclusively: " + std::strerror(errno));
  if (!Configure(fd, path, settings, error)) {
    ::ioctl(fd, TIOCNXCL);
    return fail(std::move(error));
  }
  ::tcflush(fd, TCIOFLUSH);  // nothing left over from whoever used the port before
  result = IoResult::Ok();
  return std::unique_ptr<CSerialTransport>(
      new CSerialTransport(fd, path, interfaceNumber, options.timeoutMs, settings));
}

CSerialTransport::CSerialTransport(int fd, const std::string& path, int interfaceNumber,
                                 int timeoutMs, const SerialSettings& settings)
    : CTransportBase(timeoutMs, true, interfaceNumber),
      stream_(fd, path, link_),
      settings_(settings) {}

CSerialTransport::~CSerialTransport() { Close(); }

void CSerialTransport::Close() {
  // The exclusive flag belongs to the tty, not to our descriptor: leave the port usable.
  if (stream_.IsOpen()) ::ioctl(stream_.Fd(), TIOCNXCL);
  stream_.Close();
}

IoResult CSerialTransport::Clear() {
  if (!stream_.IsOpen()) return stream_.Closed();
  ::tcflush(stream_.Fd(), TCIOFLUSH);
  return stream_.DiscardInput();
}

}  // namespace veqdx::io
