#include "io/resource.h"

#include <arpa/inet.h>

#include <cctype>
#include <vector>

#include "base/text.h"

namespace veqdx::io {
namespace {

constexpr std::string_view kSep = "::";

// "<what> '<value>' <problem>" (<what> and <problem> left out when empty): how the messages
// name what they reject. Built by appending, which also keeps g++ 12 at -O3 from a false -Wrestrict on
// literal + temporary string.
std::string Quoted(std::string_view what, std::string_view value, std::string_view problem) {
  std::string out;
  out.reserve(what.size() + value.size() + problem.size() + 4);
  if (!what.empty()) out.append(what).push_back(' ');
  out.append(1, '\'').append(value).append(1, '\'');
  if (!problem.empty()) out.append(1, ' ').append(problem);
  return out;
}

// Decimal digits only, no sign, no blanks, value <= max.
bool ParseDecimal(std::string_view s, long max, long& value) {
  if (s.empty() || s.size() > 9) return false;
  value = 0;
  for (char c : s) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + (c - '0');
  }
  return value <= max;
}

// "0x1AB1" (hexadecimal) or "6833" (decimal), as USB ids are written either way.
bool ParseUsbId(std::string_view s, std::uint16_t& id) {
  long value = 0;
  if (StartsWithNoCase(s, "0x")) {
    s.remove_prefix(2);
    if (s.empty() || s.size() > 4) return false;
    for (char c : s) {
      if (!std::isxdigit(static_cast<unsigned char>(c))) return false;
      value = value * 16 + (std::isdigit(static_cast<unsigned char>(c))
                                ? c - '0'
                                : std::tolower(static_cast<unsigned char>(c)) - 'a' + 10);
    }
  } else if (!ParseDecimal(s, 0xFFFF, value)) {
    return false;
  }
  id = static_cast<std::uint16_t>(value);
  return true;
}

std::vector<std::string_view> Split(std::string_view s) {
  std::vector<std::string_view> fields;
  for (;;) {
    auto pos = s.find(kSep);
    if (pos == std::string_view::npos) {
      fields.push_back(s);
      return fields;
    }
    fields.push_back(s.substr(0, pos));
    s.remove_prefix(pos + kSep.size());
  }
}

bool IsIpv6Literal(std::string_view s) {
  auto zone = s.find('%');  // fe80::1%eth0: the zone names the link, inet_pton knows no zones
  if (zone != std::string_view::npos) {
    if (zone + 1 == s.size()) return false;
    s = s.substr(0, zone);
  }
  std::string text(s);
  in6_addr addr{};
  return inet_pton(AF_INET6, text.c_str(), &addr) == 1;
}

bool IsHostName(std::string_view s) {
  if (s.empty() || s.size() > 253) return false;
  for (char c : s) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '-' && c != '_')
      return false;
  }
  return true;
}

bool IsDeviceName(std::string_view s) {
  if (s.empty() || !std::isalpha(static_cast<unsigned char>(s.front()))) return false;
  for (char c : s) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_' && c != ',' && c != '.')
      return false;
  }
  return true;
}

class Parser {
 public:
  Parser(std::string_view text, Resource& out, std::string& error)
      : text_(text), out_(out), error_(error) {}

  bool Run() {
    out_ = Resource{};
    out_.text = std::string(text_);
    if (text_.empty()) return Fail("it is empty");
    if (StartsWithNoCase(text_, "TCPIP")) return Tcpip(text_.substr(5));
    if (StartsWithNoCase(text_, "ASRL")) return Serial(text_.substr(4));
    if (StartsWithNoCase(text_, "USB")) return Usb(text_.substr(3));
    if (StartsWithNoCase(text_, "GPIB")) return Gpib(text_.substr(4));
    return Fail("unknown interface; expected TCPIP, ASRL, USB or GPIB");
  }

 private:
  bool Fail(std::string_view why) {
    error_ = Quoted("Invalid resource descriptor", text_, {}) + ": " + std::string(why);
    return false;
  }
  // Fails with "<what> '<value>' <problem>".
  bool Reject(std::string_view what, std::string_view value, std::string_view problem) {
    return Fail(Quoted(what, value, problem));
  }

  // Board digits right after the keyword, then "::"; returns the rest.
  bool Board(std::string_view& rest, std::string_view expected) {
    auto sep = rest.find(kSep);
    if (sep == std::string_view::npos) return Fail(std::string("expected ") + std::string(expected));
    long board = 0;
    if (sep > 0 && !ParseDecimal(rest.substr(0, sep), 9999, board))
      return Reject("the board number", rest.substr(0, sep), "is not a number from 0 to 9999");
    out_.board = static_cast<int>(board);
    rest.remove_prefix(sep + kSep.size());
    return true;
  }

  // Removes "::<keyword>" from the end of `body`; false when the class is another one.
  static bool StripClass(std::string_view& body, std::string_view keyword) {
    if (body.size() < keyword.size() + kSep.size()) return false;
    auto tail = body.substr(body.size() - keyword.size() - kSep.size());
    if (!StartsWithNoCase(tail, kSep) || !EqualsNoCase(tail.substr(kSep.size()), keyword)) return false;
    body.remove_suffix(tail.size());
    return true;
  }

  bool Host(std::string_view host) {
    if (host.size() >= 2 && host.front() == '[' && host.back() == ']') {
      host = host.substr(1, host.size() - 2);
      if (!IsIpv6Literal(host))
        return Reject("", host, "in brackets is not an IPv6 address");
    } else if (host.find(':') != std::string_view::npos) {
      if (!IsIpv6Literal(host))
        return Reject("host", host, "is neither a host name nor an IP address");
    } else if (!IsHostName(host)) {
      return Fail(host.empty() ? std::string("the host is missing")
                               : Quoted("host", host, "contains invalid characters"));
    }
    out_.host = std::string(host);
    return true;
  }

  bool Tcpip(std::string_view rest) {
    constexpr std::string_view kForms =
        "TCPIP[board]::host::port::SOCKET or TCPIP[board]::host[::device]::INSTR";
    if (!Board(rest, kForms)) return false;
    if (StripClass(rest, "SOCKET")) {
      out_.kind = ResourceKind::TcpipSocket;
      auto sep = rest.rfind(kSep);
      if (sep == std::string_view::npos)
        return Fail("expected TCPIP[board]::host::port::SOCKET (the port is missing)");
      auto portText = rest.substr(sep + kSep.size());
      long port = 0;
      if (!ParseDecimal(portText, 65535, port) || port == 0)
        return Reject("port", portText, "is not a number from 1 to 65535");
      out_.port = static_cast<std::uint16_t>(port);
      return Host(rest.substr(0, sep));
    }
    if (StripClass(rest, "INSTR")) {
      out_.kind = ResourceKind::TcpipInstr;
      out_.device = "inst0";
      std::string_view host = rest;
      std::string_view device;
      if (!rest.empty() && rest.front() == '[') {
        auto close = rest.find(']');
        if (close == std::string_view::npos) return Fail("the '[' of the IPv6 host is not closed");
        host = rest.substr(0, close + 1);
        auto after = rest.substr(close + 1);
        if (!after.empty()) {
          if (!StartsWithNoCase(after, kSep)) return Fail(std::string("expected ") + std::string(kForms));
          device = after.substr(kSep.size());
          if (device.empty()) return Fail("the device name is empty");
        }
      } else if (!IsIpv6Literal(rest)) {
        auto sep = rest.rfind(kSep);
        if (sep != std::string_view::npos) {
          host = rest.substr(0, sep);
          device = rest.substr(sep + kSep.size());
        }
      }
      if (!device.empty()) {
        if (!IsDeviceName(device))
          return Reject("device name", device, "is not valid");
        out_.device = std::string(device);
      }
      return Host(host);
    }
    return Fail(std::string("expected ") + std::string(kForms));
  }

  bool Serial(std::string_view rest) {
    constexpr std::string_view kForms = "expected ASRL<n>::INSTR or ASRL/dev/<tty>::INSTR";
    out_.kind = ResourceKind::Serial;
    if (!StripClass(rest, "INSTR")) return Fail(kForms);
    if (!rest.empty() && rest.front() == '/') {
      if (rest.size() < 2 || rest.back() == '/' || rest.find(kSep) != std::string_view::npos)
        return Reject("", rest, "is not a device path");
      out_.ttyPath = std::string(rest);
      return true;
    }
    long port = 0;
    if (!ParseDecimal(rest, 9999, port)) return Fail(kForms);
    out_.serialPort = static_cast<int>(port);
    return true;
  }

  bool Usb(std::string_view rest) {
    constexpr std::string_view kForms =
        "USB[board]::<vid>::<pid>::<serial>[::<interface>]::INSTR";
    out_.kind = ResourceKind::UsbTmc;
    if (!Board(rest, kForms)) return false;
    if (!StripClass(rest, "INSTR")) return Fail(std::string("expected ") + std::string(kForms));
    auto fields = Split(rest);
    if (fields.size() != 3 && fields.size() != 4)
      return Fail(std::string("expected ") + std::string(kForms));
    if (!ParseUsbId(fields[0], out_.vendorId))
      return Reject("vendor id", fields[0], "is not a 16-bit number");
    if (!ParseUsbId(fields[1], out_.productId))
      return Reject("product id", fields[1], "is not a 16-bit number");
    if (fields[2].empty()) return Fail("the serial number is empty");
    out_.serialNumber = std::string(fields[2]);
    if (fields.size() == 4) {
      long intf = 0;
      if (!ParseDecimal(fields[3], 255, intf))
        return Reject("interface number", fields[3], "is not a number from 0 to 255");
      out_.usbInterface = static_cast<int>(intf);
    }
    return true;
  }

  bool Gpib(std::string_view rest) {
    constexpr std::string_view kForms = "GPIB[board]::<address>[::<secondary>]::INSTR";
    out_.kind = ResourceKind::Gpib;
    if (!Board(rest, kForms)) return false;
    if (!StripClass(rest, "INSTR")) return Fail(std::string("expected ") + std::string(kForms));
    auto fields = Split(rest);
    if (fields.size() > 2) return Fail(std::string("expected ") + std::string(kForms));
    long primary = 0;
    if (!ParseDecimal(fields[0], 30, primary))
      return Reject("primary address", fields[0], "is not a number from 0 to 30");
    out_.primaryAddress = static_cast<int>(primary);
    if (fields.size() == 2) {
      long secondary = 0;
      if (!ParseDecimal(fields[1], 30, secondary))
        return Reject("secondary address", fields[1], "is not a number from 0 to 30");
      out_.secondaryAddress = static_cast<int>(secondary);
    }
    return true;
  }

  std::string_view text_;
  Resource& out_;
  std::string& error_;
};

}  // namespace

InterfaceType Resource::Interface() const {
  switch (kind) {
    case ResourceKind::TcpipSocket:
    case ResourceKind::TcpipInstr: return InterfaceType::Tcpip;
    case ResourceKind::Serial: return InterfaceType::Serial;
    case ResourceKind::UsbTmc: return InterfaceType::Usb;
    case ResourceKind::Gpib: return InterfaceType::Gpib;
  }
  return InterfaceType::Gpib;
}

std::string Resource::ResourceClass() const {
  return kind == ResourceKind::TcpipSocket ? "SOCKET" : "INSTR";
}

std::string Resource::ProtocolName() const {
  switch (kind) {
    case ResourceKind::TcpipSocket: return "raw socket";
    case ResourceKind::TcpipInstr: return StartsWithNoCase(device, "hislip") ? "HiSLIP" : "VXI-11";
    case ResourceKind::Serial: return "serial";
    case ResourceKind::UsbTmc: return "USB TMC";
    case ResourceKind::Gpib: return "GPIB";
  }
  return "unknown";
}

bool ParseResource(std::string_view text, Resource& out, std::string& error) {
  return Parser(TrimView(text), out, error).Run();
}

}  // namespace veqdx::io
