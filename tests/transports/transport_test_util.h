// Helpers of the transport tests: a scratch directory, descriptor counting, the fake VISA
// library's script and log, and a fake sysfs tree for USB TMC devices.
#pragma once
#include <dirent.h>
#include <stdlib.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "io/transport.h"

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

// Open descriptors of this process.
inline int OpenDescriptorCount() {
  int count = 0;
  if (DIR* d = ::opendir("/proc/self/fd")) {
    while (::readdir(d) != nullptr) ++count;
    ::closedir(d);
  }
  return count - 3;  // ".", ".." and the directory's own descriptor
}

// The descriptor count once it is back to `expected`, or after `ms` what it is then. An
// in-process emulator closes its side of a connection on its own thread, a moment after the
// client did.
inline int SettledDescriptorCount(int expected, int ms = 5000) {
  int count = OpenDescriptorCount();
  for (int waited = 0; count != expected && waited < ms; waited += 10) {
    ::usleep(10 * 1000);
    count = OpenDescriptorCount();
  }
  return count;
}

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

}  // namespace veqdx::io::test
