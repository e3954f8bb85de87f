// Helpers of the transport tests: a scratch directory, the fake VISA library's script and
// log, a fake sysfs tree for USB TMC devices, and the emulator behind each built-in link.
#pragma once
#include <stdlib.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "io/transport.h"
#include "qdx_sim.h"
#include "serial_pty.h"
#include "support/descriptors.h"
#include "vxi11_server.h"

namespace veqdx::io::test {

namespace fs = std::filesystem;

// A fresh directory under the system's temporary directory, removed with its content.
class ScratchDir {
 public:
  ScratchDir() {
    std::string pattern = (fs::temp_directory_path() / "veqdx-transports-XXXXXX").string();
    if (::mkdtemp(pattern.data()) != nullptr) path_ = pattern;
  }
  ~ScratchDir() {
    std::error_code ec;
    if (!path_.empty()) fs::remove_all(path_, ec);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  const fs::path& path() const { return path_; }
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

 private:
  fs::path path_;
};

// Writes `command` with END and reads one reply: the reply, or "<why>" when either failed.
inline std::string Query(ITransport& t, const std::string& command, ReadEnd* end = nullptr) {
  std::size_t written = 0;
  IoResult r = t.Write(command.data(), command.size(), true, written);
  EXPECT_EQ(written, r.ok() ? command.size() : 0u);
  char buffer[256];
  std::size_t got = 0;
  ReadEnd why{};
  if (r.ok()) r = t.Read(buffer, sizeof buffer, got, why);
  if (end) *end = why;
  return r.ok() ? std::string(buffer, got) : "<" + r.message + ">";
}

inline void WriteFile(const std::string& path, const std::string& text) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::trunc) << text;
}

inline std::vector<std::string> ReadLines(const std::string& path) {
  std::vector<std::string> lines;
  std::ifstream in(path);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// The fake VISA library (fake_visa.c) with its script and call log in a scratch directory.
// Construction points VEQDX_VISA_LIBRARY and the fake's variables at them; the destructor
// removes the variables again.
class FakeVisa {
 public:
  FakeVisa() {
    ::setenv("VEQDX_VISA_LIBRARY", VEQDX_FAKE_VISA_LIBRARY, 1);
    ::setenv("FAKE_VISA_SCRIPT", script().c_str(), 1);
    ::setenv("FAKE_VISA_LOG", log().c_str(), 1);
    Script("");
  }
  ~FakeVisa() {
    ::unsetenv("VEQDX_VISA_LIBRARY");
    ::unsetenv("FAKE_VISA_SCRIPT");
    ::unsetenv("FAKE_VISA_LOG");
  }
  // Replaces the script; it takes effect at the next open.
  void Script(const std::string& text) { WriteFile(script(), text); }
  // The calls logged since the last call of Calls().
  std::vector<std::string> Calls() {
    std::vector<std::string> lines = ReadLines(log());
    std::error_code ec;
    fs::remove(log(), ec);
    return lines;
  }
  std::string script() const { return dir_ / "script.txt"; }
  std::string log() const { return dir_ / "calls.log"; }

 private:
  ScratchDir dir_;
};

// A fake sysfs tree with usbtmc entries laid out as the kernel lays them out:
//   <root>/sys/devices/usb1/<dev>/{idVendor,idProduct,serial}
//   <root>/sys/devices/usb1/<dev>/<dev>:1.<intf>/bInterfaceNumber
//   <root>/sys/class/usbtmc/usbtmc<k>/device -> the interface directory
// and <root>/dev/usbtmc<k> standing in for the device node (a symbolic link to `node`).
class FakeUsbTree {
 public:
  std::string sysfsRoot() const { return dir_ / "sys"; }
  std::string devRoot() const { return dir_ / "dev"; }

  void AddDevice(int index, const std::string& vid, const std::string& pid,
                 const std::string& serial, int interfaceNumber, const std::string& node) {
    std::string dev = "1-" + std::to_string(index + 1);
    fs::path device = fs::path(sysfsRoot()) / "devices" / "usb1" / dev;
    fs::path intf = device / (dev + ":1." + std::to_string(interfaceNumber));
    WriteFile((device / "idVendor").string(), vid + "\n");
    WriteFile((device / "idProduct").string(), pid + "\n");
    if (!serial.empty()) WriteFile((device / "serial").string(), serial + "\n");
    char hex[8];
    std::snprintf(hex, sizeof hex, "%02x\n", interfaceNumber);
    WriteFile((intf / "bInterfaceNumber").string(), hex);
    fs::path entry = fs::path(sysfsRoot()) / "class" / "usbtmc" / ("usbtmc" + std::to_string(index));
    fs::create_directories(entry);
    fs::create_directory_symlink(intf, entry / "device");
    fs::create_directories(devRoot());
    if (!node.empty()) fs::create_symlink(node, fs::path(devRoot()) / ("usbtmc" + std::to_string(index)));
  }

 private:
  ScratchDir dir_;
};

// One emulated unit (QDX750ML) behind one built-in link: a raw socket, VXI-11, a serial line
// (pseudo-terminal) or a USB TMC stand-in (the pseudo-terminal found through a fake sysfs
// tree). The emulator's faults apply on every link.
class EmulatedLink {
 public:
  enum class Kind { Socket, Vxi11, Serial, Usb };
  static constexpr Kind kAll[] = {Kind::Socket, Kind::Vxi11, Kind::Serial, Kind::Usb};

  explicit EmulatedLink(Kind kind) : kind_(kind) {
    config_.port = 0;
    config_.vxi11.portmapPort = 0;
    emulator_ = std::make_unique<qdxsim::Emulator>(config_);
    if (kind == Kind::Serial || kind == Kind::Usb) {
      pty_ = std::make_unique<qdxsim::SerialPtyServer>(*emulator_);  // the emulator need not listen
      started_ = pty_->Start(&error_);
      resource_ = "ASRL" + pty_->Path() + "::INSTR";
      if (kind == Kind::Usb) {
        usb_.AddDevice(0, "1ab1", "0e11", "SIM0001", 0, pty_->Path());
        resource_ = "USB0::0x1AB1::0x0E11::SIM0001::INSTR";
        setup_ = ", UsbSysfsRoot=" + usb_.sysfsRoot() + ", UsbDevRoot=" + usb_.devRoot();
      }
      return;
    }
    started_ = emulator_->Start(&error_);
    resource_ = "TCPIP::127.0.0.1::" + std::to_string(emulator_->Port()) + "::SOCKET";
    if (kind == Kind::Vxi11) {
      vxi11_ = std::make_unique<qdxsim::Vxi11Server>(*emulator_, config_);
      started_ = started_ && vxi11_->Start(&error_);
      resource_ = "TCPIP::127.0.0.1::INSTR";
      setup_ = ", PortmapperPort=" + std::to_string(vxi11_->PortmapPort());
    }
  }
  ~EmulatedLink() {
    if (pty_) pty_->Stop();
    if (vxi11_) vxi11_->Stop();
    emulator_->Stop();
  }

  bool started() const { return started_; }
  const std::string& error() const { return error_; }
  const std::string& resource() const { return resource_; }
  // What the transport's messages name as the other end.
  std::string peer() const {
    switch (kind_) {
      case Kind::Socket: return "127.0.0.1:" + std::to_string(emulator_->Port());
      case Kind::Vxi11: return "inst0 at 127.0.0.1:" + std::to_string(vxi11_->CorePort());
      case Kind::Serial: return pty_->Path();
      case Kind::Usb: return usb_.devRoot() + "/usbtmc0";
    }
    return {};
  }
  // A resource of the same kind that fails to open while a session holds this one: a closed
  // port, a serial port held exclusively, a USB serial number that is not there.
  std::string failingResource() const {
    switch (kind_) {
      case Kind::Socket: return "TCPIP::127.0.0.1::1::SOCKET";
      case Kind::Vxi11: return "TCPIP::127.0.0.1::gpib0,5::INSTR";
      case Kind::Serial: return resource_;
      case Kind::Usb: return "USB0::0x1AB1::0x0E11::NOPE::INSTR";
    }
    return {};
  }
  // The DriverSetup items that reach this link.
  std::map<std::string, std::string> Setup() const {
    std::map<std::string, std::string> setup{{"iobackend", "builtin"}};
    if (vxi11_) setup["portmapperport"] = std::to_string(vxi11_->PortmapPort());
    if (kind_ == Kind::Usb) {
      setup["usbsysfsroot"] = usb_.sysfsRoot();
      setup["usbdevroot"] = usb_.devRoot();
    }
    return setup;
  }
  std::string Options(const std::string& more = "") const {
    return "DriverSetup=IoBackend=builtin" + setup_ + more;
  }
  std::vector<std::string> Transcript() {
    return pty_ ? pty_->TakeTranscript() : emulator_->TakeTranscript();
  }
  qdxsim::Emulator& emulator() { return *emulator_; }
  static const char* Name(Kind k) {
    const char* names[] = {"socket", "vxi11", "serial", "usb"};
    return names[static_cast<int>(k)];
  }

 private:
  Kind kind_;
  qdxsim::Config config_;
  std::unique_ptr<qdxsim::Emulator> emulator_;
  std::unique_ptr<qdxsim::Vxi11Server> vxi11_;
  std::unique_ptr<qdxsim::SerialPtyServer> pty_;
  FakeUsbTree usb_;
  std::string resource_;
  std::string setup_;
  std::string error_;
  bool started_ = false;
};

}  // namespace veqdx::io::test
