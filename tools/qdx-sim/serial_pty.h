// The serial front end of the emulator: an Instrument behind a pseudo-terminal, so that a
// program (or the driver, with ASRL/dev/pts/<n>::INSTR) talks to it over a real tty.
//
// start() creates the pseudo-terminal pair (posix_openpt), puts the line in raw mode (no
// echo, no translation) and serves the master side on a thread of its own: messages are
// line-feed terminated as on the raw socket, each reply is one line. The server keeps the
// terminal side open itself, so that clients may open and close it as often as they like
// without the pair hanging up. stop() (or the destructor) ends the thread and closes both
// sides; it never hangs.
//
// Faults act as on the raw socket, except closeAfterMessages, which a serial line has no
// connection for. A late reply is written after its delay whether or not anyone still reads;
// what a client does not read stays in the terminal for the next reader, as on a real line.
// During an endless reply the server lets go of its own hold on the terminal side, so that the
// pair hangs up, and the stream stops, once the client closes the terminal; afterwards it holds
// the terminal again and discards what the client never read, so the next client starts on a
// clean line.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "qdx_sim.h"

namespace qdxsim {

class SerialPtyServer {
 public:
  // Serves `instrument`, which must outlive the server (it may be shared with other front
  // ends, as the clients of a real unit share its state).
  explicit SerialPtyServer(Instrument& instrument);
  // Serves the instrument of `emulator` (which need not be listening itself) with the
  // emulator's faults: its setters apply here too, and this server's addSilentQuery and
  // clearFaults change the emulator's faults. `emulator` must outlive the server; throws
  // std::logic_error for an emulator whose configuration is unusable.
  explicit SerialPtyServer(Emulator& emulator);
  ~SerialPtyServer();
  SerialPtyServer(const SerialPtyServer&) = delete;
  SerialPtyServer& operator=(const SerialPtyServer&) = delete;

  // False, with the reason in *message when given, if no pseudo-terminal can be had.
  bool Start(std::string* message = nullptr);
  void Stop();
  bool Running() const;
  // The terminal device clients open ("/dev/pts/3"); empty before start.
  const std::string& Path() const;

  // Every message received since the last call, exactly as received without the line feed.
  std::vector<std::string> TakeTranscript();
  // Messages containing `match` (any case) are executed but never answered. For the other
  // faults, build the server on an Emulator and use its setters.
  void AddSilentQuery(std::string match);
  void ClearFaults();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace qdxsim
