// qdx-sim: runs the emulator until SIGINT or SIGTERM.
#include <csignal>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "qdx_sim.h"
#include "serial_pty.h"
#include "vxi11_server.h"

namespace {

// --serial-pty: the instrument behind a pseudo-terminal instead of a TCP listener.
int runSerialPty(const qdxsim::Config& config, sigset_t& stopSignals) {
  // The emulator does not listen here: it only holds the instrument and the faults.
  qdxsim::Emulator emulator(config);
  qdxsim::SerialPtyServer server(emulator);
  std::string error;
  if (!server.Start(&error)) {
    std::fprintf(stderr, "qdx-sim: %s\n", error.c_str());
    return 1;
  }
  std::printf("%s\n", server.Path().c_str());
  std::fflush(stdout);
  std::fprintf(stderr, "qdx-sim: %s on serial pseudo-terminal %s\n", config.model.c_str(),
               server.Path().c_str());
  for (;;) {
    timespec slice{1, 0};
    int sig = sigtimedwait(&stopSignals, nullptr, &slice);
    if (sig == SIGINT || sig == SIGTERM) break;
  }
  server.Stop();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  qdxsim::Config config;
  bool help = false;
  std::string error;
  if (!qdxsim::parseCommandLine(args, config, help, error)) {
    std::fprintf(stderr, "qdx-sim: %s (try --help)\n", error.c_str());
    return 2;
  }
  if (help) {
    std::fputs(qdxsim::usageText().c_str(), stdout);
    return 0;
  }
  if (std::string problem = config.Validate(); !problem.empty()) {
    std::fprintf(stderr, "qdx-sim: %s\n", problem.c_str());
    return 2;
  }

  // Block the shutdown signals in every thread; the main thread collects them below.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  if (config.serialPty) return runSerialPty(config, stopSignals);

  qdxsim::Emulator emulator(config);
  if (!emulator.Start(&error)) {
    std::fprintf(stderr, "qdx-sim: %s\n", error.c_str());
    return 1;
  }
  // --vxi11: the VXI-11 front end, in front of the TCP one.
  std::unique_ptr<qdxsim::Vxi11Server> vxi11;
  if (config.vxi11.enabled) {
    vxi11 = std::make_unique<qdxsim::Vxi11Server>(emulator, config);
    if (!vxi11->Start(&error)) {
      std::fprintf(stderr, "qdx-sim: %s\n", error.c_str());
      return 1;
    }
  }
  std::printf("%d\n", emulator.Port());
  if (vxi11) std::printf("vxi11 %d portmap %d\n", vxi11->CorePort(), vxi11->PortmapPort());
  std::fflush(stdout);
  std::fprintf(stderr, "qdx-sim: %s listening on %s port %d\n", config.model.c_str(),
               config.listenAddress.c_str(), emulator.Port());
  if (vxi11)
    std::fprintf(stderr, "qdx-sim: VXI-11 core channel on port %d, portmapper on port %d\n",
                 vxi11->CorePort(), vxi11->PortmapPort());

  for (;;) {
    timespec slice{1, 0};
    int sig = sigtimedwait(&stopSignals, nullptr, &slice);
    if (sig == SIGINT || sig == SIGTERM) break;
  }
  if (vxi11) vxi11->Stop();
  emulator.Stop();
  return 0;
}
