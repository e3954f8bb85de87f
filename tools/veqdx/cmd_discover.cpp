// discover: gathers candidates (VXI-11 hosts, raw sockets, USB TMC devices, serial ports),
// asks each one *IDN? through the driver, all at once, within a total time limit.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <mutex>
#include <thread>

#include "commands.h"
#include "portmap.h"

namespace veqdx_cli {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

struct DiscoverRequest {
  std::vector<std::string> addresses;
  std::vector<std::string> serials;
  int portmapPort = 111;
  int socketPort = 5025;
  double timeLimit = 5.0;
};

struct Candidate {
  std::string resource;     // as printed and as a user would open it
  std::string driverSetup;  // extra DriverSetup items to reach it (a VXI-11 port found)
};

struct Found {
  std::string resource, idn, error;
};

std::string ReadLine(const fs::path& file) {
  std::ifstream in(file);
  std::string line;
  std::getline(in, line);
  return line;
}

std::string Upper(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// USB test and measurement class interfaces (class 0xFE, subclass 3) as the kernel lists them.
std::vector<Candidate> UsbTmcCandidates() {
  std::vector<Candidate> found;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator("/sys/bus/usb/devices", error)) {
    fs::path interface = entry.path();
    if (interface.filename().string().find(':') == std::string::npos) continue;
    if (ReadLine(interface / "bInterfaceClass") != "fe" ||
        ReadLine(interface / "bInterfaceSubClass") != "03")
      continue;
    fs::path device = fs::canonical(interface, error).parent_path();
    std::string resource = "USB::0x" + Upper(ReadLine(device / "idVendor")) + "::0x" +
                           Upper(ReadLine(device / "idProduct")) + "::" +
                           ReadLine(device / "serial");
    long number = std::strtol(ReadLine(interface / "bInterfaceNumber").c_str(), nullptr, 16);
    if (number > 0) resource += "::" + std::to_string(number);
    found.push_back({resource + "::INSTR", ""});
  }
  return found;
}

std::vector<Candidate> Candidates(const DiscoverRequest& request, std::chrono::milliseconds wait) {
  std::vector<Candidate> candidates;
  const auto portmap = static_cast<std::uint16_t>(request.portmapPort);
  if (request.addresses.empty()) {
    for (const Vxi11Host& host : BroadcastVxi11(portmap, wait))
      candidates.push_back({"TCPIP::" + host.address + "::INSTR",
                            "Vxi11Port=" + std::to_string(host.corePort)});
  }
  for (const std::string& host : request.addresses) {
    if (auto core = QueryVxi11Port(host, portmap, wait))
      candidates.push_back({"TCPIP::" + host + "::INSTR", "Vxi11Port=" + std::to_string(*core)});
    candidates.push_back(
        {"TCPIP::" + host + "::" + std::to_string(request.socketPort) + "::SOCKET", ""});
  }
  for (const Candidate& usb : UsbTmcCandidates()) candidates.push_back(usb);
  for (const std::string& device : request.serials)
    candidates.push_back({"ASRL" + device + "::INSTR", ""});
  return candidates;
}

Found Identify(const Candidate& candidate, int timeoutMs) {
  std::string setup = "DriverSetup=IoTimeout=" + std::to_string(timeoutMs);
  if (!candidate.driverSetup.empty()) setup += ", " + candidate.driverSetup;
  try {
    CSession session(candidate.resource, false, setup);
    return {candidate.resource, session.Query("*IDN?"), ""};
  } catch (const DriverError& e) {
    return {candidate.resource, "", HexStatus(e.status) + " " + e.what()};
  }
}

int Discover(const GlobalOptions& options, const DiscoverRequest& request) {
  if (!(request.timeLimit > 0)) throw UsageError("discover: --time-limit must be more than 0");
  const auto start = std::chrono::steady_clock::now();
  const auto deadline = start + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                    std::chrono::duration<double>(request.timeLimit));
  const int timeoutMs = options.timeoutMs.value_or(1000);
  std::vector<Candidate> candidates =
      Candidates(request, std::chrono::milliseconds(std::min(timeoutMs, 1000)));

  // Each candidate in a thread of its own; results are shared with the waiting main thread.
  struct Shared {
    std::mutex mutex;
    std::condition_variable done;
    std::vector<Found> results;
    size_t finished = 0;
  };
  auto shared = std::make_shared<Shared>();
  std::vector<std::thread> threads;
  for (const Candidate& candidate : candidates)
    threads.emplace_back([shared, candidate, timeoutMs] {
      Found found = Identify(candidate, timeoutMs);
      std::lock_guard lock(shared->mutex);
      shared->results.push_back(found);
      ++shared->finished;
      shared->done.notify_all();
    });

  std::vector<Found> results;
  bool allDone = false;
  {
    std::unique_lock lock(shared->mutex);
    allDone = shared->done.wait_until(lock, deadline, [&] { return shared->finished == candidates.size(); });
    results = shared->results;
  }
  for (std::thread& thread : threads)
    if (allDone)
      thread.join();
    else
      thread.detach();
  std::sort(results.begin(), results.end(),
            [](const Found& a, const Found& b) { return a.resource < b.resource; });
  json instruments = json::array();
  for (const Found& f : results) {
    if (!f.error.empty()) {
      if (!options.quiet) std::cerr << "veqdx: discover: " << f.resource << ": " << f.error << "\n";
      continue;
    }
    if (options.json)
      instruments.push_back({{"resource", f.resource}, {"idn", f.idn}});
    else
      std::cout << f.resource << "  " << f.idn << "\n";
  }
  if (options.json) PrintJson({{"instruments", instruments}});
  if (!allDone) {
    if (!options.quiet)
      std::cerr << "veqdx: discover: " << candidates.size() - results.size()
                << " candidate(s) did not answer within the time limit\n";
    // Threads still inside the driver cannot be joined in time; leave without tearing down
    // what they use.
    std::cout.flush();
    std::cerr.flush();
    _exit(kExitOk);
  }
  return kExitOk;
}

}  // namespace

void AddDiscoverCommand(CLI::App& app, Context& context) {
  auto request = std::make_shared<DiscoverRequest>();
  CLI::App* discover = app.add_subcommand(
      "discover",
      "Find instruments: VXI-11 by a portmapper broadcast on the local networks (or on the hosts "
      "given with --address, which also probes the raw socket port), USB TMC devices and serial "
      "ports given with --serial; each is asked *IDN?");
  discover->add_option("--address", request->addresses,
                       "host to probe instead of broadcasting (repeatable)");
  discover->add_option("--serial", request->serials, "serial port to probe, e.g. /dev/ttyUSB0 (repeatable)");
  discover->add_option("--portmap-port", request->portmapPort, "portmapper port (default 111)")
      ->check(CLI::Range(1, 65535));
  discover->add_option("--socket-port", request->socketPort,
                       "raw socket port probed on --address hosts (default 5025)")
      ->check(CLI::Range(1, 65535));
  discover->add_option("--time-limit", request->timeLimit, "seconds for the whole search (default 5)");
  discover->footer(ExampleFooter(
      "veqdx discover --address 192.168.1.20 --serial /dev/ttyUSB0 --timeout 500"));
  discover->callback([&context, request] {
    context.run = [&context, request] { return Discover(context.global, *request); };
  });
}

}  // namespace veqdx_cli
