// Command line of the qdx-sim program.
#include <algorithm>
#include <cerrno>
#include <iterator>
#include <string_view>
#include <cmath>
#include <cstdlib>
#include <limits>

#include <unistd.h>

#include "qdx_sim.h"

namespace qdxsim {

namespace {

const std::string_view kValueOptions[] = {
    "--listen", "--model", "--serial", "--firmware", "--channels", "--load-ohms", "--transcript",
    "--reply-delay-ms", "--silent", "--garbage", "--garbage-text", "--close-after",
    "--chunk-bytes", "--chunk-pause-ms", "--late", "--endless", "--vxi11-port",
    "--portmap-port"};

bool parseInt(const std::string& text, long min, long max, long& out) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  long v = std::strtol(text.c_str(), &end, 10);
  if (errno || *end || v < min || v > max) return false;
  out = v;
  return true;
}

// "ADDR:PORT", "[V6ADDR]:PORT" or ":PORT" (default address).
bool parseListen(const std::string& text, Config& config) {
  std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) return false;
  std::string host = text.substr(0, colon);
  if (host.size() >= 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
  long port = 0;
  if (!parseInt(text.substr(colon + 1), 0, 65535, port)) return false;
  if (!host.empty()) config.listenAddress = host;
  config.port = static_cast<int>(port);
  return true;
}

// "1,2,3" or "1=QDX750L,2=QDX750MH".
bool parseChannels(const std::string& text, Config& config) {
  config.channels.clear();
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t comma = text.find(',', start);
    if (comma == std::string::npos) comma = text.size();
    std::string item = text.substr(start, comma - start);
    ChannelSpec entry;
    std::size_t eq = item.find('=');
    if (eq != std::string::npos) {
      entry.model = item.substr(eq + 1);
      item = item.substr(0, eq);
    }
    long number = 0;
    if (!parseInt(item, 0, 1000, number)) return false;
    entry.number = static_cast<int>(number);
    config.channels.push_back(entry);
    start = comma + 1;
  }
  return !config.channels.empty();
}

// A query to match; an empty one would match nothing.
bool addMatch(const std::string& text, std::vector<std::string>& matches) {
  if (text.empty()) return false;
  matches.push_back(text);
  return true;
}

// "QUERY=MS"; the query may itself contain '=', the delay follows the last one.
bool parseLate(const std::string& text, Faults& faults) {
  std::size_t eq = text.rfind('=');
  long ms = 0;
  if (eq == std::string::npos || eq == 0 || !parseInt(text.substr(eq + 1), 0, 3600000, ms))
    return false;
  faults.lateQueries.push_back({text.substr(0, eq), static_cast<int>(ms)});
  return true;
}

bool parseOhms(const std::string& text, double& out) {
  if (text == "open" || text == "inf") {
    out = std::numeric_limits<double>::infinity();
    return true;
  }
  char* end = nullptr;
  double v = std::strtod(text.c_str(), &end);
  if (text.empty() || *end || !(v >= 0)) return false;
  out = v;
  return true;
}

}  // namespace

std::string usageText() {
  return R"(Usage: qdx-sim [options]

Emulates a VelmoraQdx DC power supply on a raw TCP socket: SCPI messages terminated by a
line feed, one reply line per message that contains queries. Several clients may connect at
once; they share one instrument. The bound port is printed alone on the first line of
standard output. SIGINT or SIGTERM shuts down cleanly.

Options (a value may also be given as --option=VALUE):
  --listen ADDR:PORT       address and port to listen on (default 127.0.0.1:5025);
                           port 0 picks a free port; IPv6 as [::1]:PORT
  --model NAME             model reported by *IDN? and rating of a single unit
                           (default QDX750ML): QDX750L, QDX750ML, QDX750MH, QDX750H,
                           QDX1500H, QDX1500L, QDX1500MH, QDX1500ML
  --serial TEXT            serial number in *IDN? (default SIM0001)
  --firmware TEXT          firmware revision in *IDN? (default 1.00)
  --channels LIST          multi-channel unit with these channel numbers (1..30), e.g.
                           1,2 or 1=QDX750L,2=QDX750MH to give a channel its own model;
                           *OPT? then reports VMCB. Without it: a single unit (channel 0)
  --load-ohms R            resistive load on every output in ohms (default 10);
                           0 is a short circuit, "open" an open circuit
  --transcript FILE        log every received message with a UTC time stamp
  --reply-delay-ms N       wait N ms before sending each reply
  --silent QUERY           never answer messages containing QUERY (any case); repeatable
  --garbage QUERY          answer messages containing QUERY with garbage; repeatable
  --garbage-text TEXT      the garbage reply (default #@GARBAGE!~)
  --close-after N          close the connection after the next N messages (once)
  --chunk-bytes N          send replies in pieces of N bytes
  --chunk-pause-ms N       pause between two pieces (default 0)
  --late QUERY=MS          answer messages containing QUERY MS ms late (on top of
                           --reply-delay-ms), even when the client has stopped waiting;
                           later messages are answered after it, in order; repeatable
  --endless QUERY          answer messages containing QUERY with "1234567890" repeated
                           and no line feed, until the client goes away (at most 64 MiB
                           or 60 s; then the connection closes); repeatable
  --serial-pty             serve a pseudo-terminal instead of TCP; its path (e.g.
                           /dev/pts/3) is printed alone on the first line; the driver
                           reaches it as ASRL/dev/pts/3::INSTR (every fault applies
                           except --close-after)
  --vxi11                  also serve VXI-11 (TCPIP::host::INSTR): the core channel and
                           a portmapper; their ports are printed on the second line as
                           "vxi11 CORE portmap PORTMAP"; the faults apply to it too
  --vxi11-port N           port of the VXI-11 core channel (default: a free port)
  --portmap-port N         port of the portmapper (default 111 as root, else a free
                           port; 0 picks a free port)
  -h, --help               show this text
)";
}

bool parseCommandLine(const std::vector<std::string>& args, Config& config, bool& help,
                      std::string& error) {
  help = false;
  bool portmapGiven = false;
  std::string garbageText;
  std::vector<std::string> garbage;
  for (std::size_t i = 0; i < args.size(); ++i) {
    std::string name = args[i];
    if (name == "-h" || name == "--help") {
      help = true;
      continue;
    }
    if (name == "--serial-pty") {
      config.serialPty = true;
      continue;
    }
    if (name == "--vxi11") {
      config.vxi11.enabled = true;
      continue;
    }
    if (name.rfind("--", 0) != 0) {
      error = "unexpected argument '" + name + "'";
      return false;
    }
    std::string value;
    bool hasValue = false;
    if (std::size_t eq = name.find('='); eq != std::string::npos) {
      value = name.substr(eq + 1);
      name = name.substr(0, eq);
      hasValue = true;
    }
    if (std::find(std::begin(kValueOptions), std::end(kValueOptions), name) ==
        std::end(kValueOptions)) {
      error = "unknown option " + name;
      return false;
    }
    if (!hasValue && i + 1 < args.size()) {
      value = args[++i];
      hasValue = true;
    }
    if (!hasValue) {
      error = "option " + name + " needs a value";
      return false;
    }
    long n = 0;
    bool ok = true;
    auto number = [&](long max) { return ok = parseInt(value, 0, max, n), static_cast<int>(n); };
    if (name == "--listen") ok = parseListen(value, config);
    else if (name == "--model") config.model = value;
    else if (name == "--serial") config.serial = value;
    else if (name == "--firmware") config.firmware = value;
    else if (name == "--channels") ok = parseChannels(value, config);
    else if (name == "--load-ohms") ok = parseOhms(value, config.loadOhms);
    else if (name == "--transcript") config.transcriptPath = value;
    else if (name == "--reply-delay-ms") config.faults.replyDelayMs = number(3600000);
    else if (name == "--silent") config.faults.silentQueries.push_back(value);
    else if (name == "--garbage") garbage.push_back(value);
    else if (name == "--garbage-text") garbageText = value;
    else if (name == "--close-after") config.faults.closeAfterMessages = number(1000000000);
    else if (name == "--chunk-bytes") config.faults.chunkBytes = static_cast<std::size_t>(number(1000000));
    else if (name == "--chunk-pause-ms") config.faults.chunkPauseMs = number(3600000);
    else if (name == "--late") ok = parseLate(value, config.faults);
    else if (name == "--endless") ok = addMatch(value, config.faults.endlessQueries);
    else if (name == "--vxi11-port") config.vxi11.corePort = number(65535);
    else if (name == "--portmap-port") config.vxi11.portmapPort = number(65535);
    if (name == "--vxi11-port" || name == "--portmap-port") config.vxi11.enabled = true;
    if (name == "--portmap-port") portmapGiven = true;
    if (!ok) {
      error = "bad value '" + value + "' for " + name;
      return false;
    }
  }
  for (auto& match : garbage) config.faults.garbageQueries.emplace_back(match, garbageText);
  // VXI-11 clients ask the portmapper on 111; only root may bind it.
  if (config.vxi11.enabled && !portmapGiven) config.vxi11.portmapPort = geteuid() == 0 ? 111 : 0;
  if (config.vxi11.enabled && config.serialPty) {
    error = "--vxi11 serves next to the TCP front end and cannot be combined with --serial-pty";
    return false;
  }
  return true;
}

}  // namespace qdxsim
