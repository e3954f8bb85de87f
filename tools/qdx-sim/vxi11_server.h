// The emulator's VXI-11 front end: the core channel (program 0x0607AF, version 1, over TCP)
// and a portmapper that answers GETPORT for it, in front of a running Emulator.
//
// Every link carries its messages through the emulator's raw socket front end (see
// vxi11_device.h), so the instrument, the transcript (Emulator::takeTranscript) and the fault
// setters of the Emulator apply to VXI-11 clients exactly as to raw socket clients: a silent
// query makes device_read end with the I/O timeout error, setCloseAfter drops the VXI-11
// connection, a late reply waits in the link's output queue for a later device_read, an
// endless one fills every device_read until device_clear, and so on.
//
// Served procedures: create_link, device_write, device_read, device_readstb, device_clear,
// device_remote, device_local, device_lock, device_unlock, destroy_link. device_trigger,
// device_docmd, device_enable_srq and the interrupt channel answer "operation not
// supported"; there is no abort channel (create_link announces port 0). Links are limited
// (Vxi11Config::maxLinks); create_link beyond the limit fails with error 9, out of resources.
// A connection that closes takes its links with it.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "qdx_sim.h"

namespace qdxsim {

class Vxi11Server {
 public:
  // Serves `emulator` on config.listenAddress with the ports and limits of config.vxi11.
  Vxi11Server(Emulator& emulator, const Config& config);
  ~Vxi11Server();  // stops
  Vxi11Server(const Vxi11Server&) = delete;
  Vxi11Server& operator=(const Vxi11Server&) = delete;

  // The emulator must be running. False, with the reason in *message when given, when a port
  // cannot be bound.
  bool Start(std::string* message = nullptr);
  // Closes every connection and listener; never hangs (waits in progress end at once).
  void Stop();
  bool Running() const;
  // Bound ports; 0 before start (and for the portmapper when it is off).
  int CorePort() const;
  int PortmapPort() const;

  // Links that exist now.
  std::size_t LinkCount() const;
  struct Stats {
    std::uint64_t links = 0;        // links created since start
    std::uint64_t writes = 0;       // device_write calls that reached the instrument
    std::uint64_t reads = 0;        // device_read calls
    std::size_t largestWrite = 0;   // most data bytes in one device_write
  };
  Stats Statistics() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace qdxsim
