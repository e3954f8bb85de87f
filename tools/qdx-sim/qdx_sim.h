// qdx-sim: an emulated VelmoraQdx power supply that speaks the instrument's SCPI.
//
// Two layers, so that other front ends (VXI-11, a serial pseudo-terminal) can reuse the unit:
//   Instrument  the state model and the SCPI parser: one message in, an optional reply out.
//               Thread-safe; every front end and every client shares one Instrument, as the
//               clients of a real unit share its state.
//   Emulator    a raw TCP front end (line-feed terminated, several clients at once) around one
//               Instrument, with a transcript of what was received and fault injection for
//               reliability tests.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qdxsim {

namespace detail {
class FaultState;
}

// Rated output of one channel.
struct Rating {
  double volts = 0;
  double amps = 0;
  double watts = 0;
};

// The eight models of the family, in the order the driver lists them.
const std::vector<std::string>& knownModels();
// Rating of a model (exact, case-sensitive name); nullopt for a model the emulator does not know.
std::optional<Rating> ratingOf(std::string_view model);

// One channel of a multi-channel unit. An empty model means Config::model.
struct ChannelSpec {
  int number = 1;
  std::string model;
};

// A query answered late: its reply leaves `delayMs` after the message is taken up (messages
// are taken up in turn, so one that arrived during an earlier delay waits for that first).
struct LateQuery {
  std::string match;
  int delayMs = 0;
};

// Faults a front end injects on purpose. Queries are matched by text: a received message
// matches when it contains the given text, compared without regard to case.
struct Faults {
  int replyDelayMs = 0;                          // wait this long before every reply
  std::vector<std::string> silentQueries;        // never answer these
  std::vector<std::pair<std::string, std::string>> garbageQueries;  // (match, reply); empty
                                                 // reply means kDefaultGarbage
  int closeAfterMessages = 0;                    // close the connection after N more messages
                                                 // (0 = never); fires once
  std::size_t chunkBytes = 0;                    // send replies in pieces of this size (0 = whole)
  int chunkPauseMs = 0;                          // pause between two pieces
  std::vector<LateQuery> lateQueries;            // answer these late (on top of replyDelayMs);
                                                 // the first match counts
  std::vector<std::string> endlessQueries;       // answer these with digits that never end
};

// The endless reply: kEndlessPattern over and over, never a line feed. It stops when the client
// goes away or the front end stops, and by itself after kEndlessMaxBytes or kEndlessMaxTime,
// so that nothing waits on it for ever.
inline constexpr std::string_view kEndlessPattern = "1234567890";
inline constexpr std::size_t kEndlessMaxBytes = std::size_t{64} << 20;
inline constexpr std::chrono::seconds kEndlessMaxTime{60};

// Reply sent for a garbage query when no reply text was given.
inline constexpr std::string_view kDefaultGarbage = "#@GARBAGE!~";

// The VXI-11 front end (Vxi11Server, vxi11_server.h), in front of a running Emulator.
struct Vxi11Config {
  bool enabled = false;                          // qdx-sim --vxi11
  int corePort = 0;                              // core channel; 0 picks a free port
  int portmapPort = 0;                           // portmapper; 0 picks a free port, -1 none
  int maxLinks = 8;                              // create_link beyond: out of resources
  std::uint32_t maxRecvSize = 4096;              // announced; a larger device_write is refused
};

struct Config {
  std::string model = "QDX750ML";
  std::string serial = "SIM0001";
  std::string firmware = "1.00";
  // Empty: a single unit (one channel, numbered 0, "*OPT?" without VMCB). Otherwise a
  // multi-channel unit with these channels (numbers 1 to 30).
  std::vector<ChannelSpec> channels;
  std::string listenAddress = "127.0.0.1";
  int port = 5025;                               // 0 picks a free port
  double loadOhms = 10.0;                        // per channel; infinity = open circuit
  std::string transcriptPath;                    // empty: no transcript file
  bool serialPty = false;                        // serve a pseudo-terminal instead of TCP
  Faults faults;
  Vxi11Config vxi11;

  // Empty when the configuration is usable, else a message saying what is wrong.
  std::string Validate() const;
};

class Instrument {
 public:
  // Throws std::invalid_argument with Config::validate()'s message for an unusable config.
  explicit Instrument(const Config& config);
  ~Instrument();
  Instrument(const Instrument&) = delete;
  Instrument& operator=(const Instrument&) = delete;

  // Executes one program message (without its line feed). Returns the response message
  // (replies of the message's queries joined with ";", without line feed), or nullopt when
  // the message produced no reply.
  std::optional<std::string> Handle(std::string_view message);

  // Records an error that the front end detected (for example -363 for an over-long input).
  void ReportError(int code);
  // The IEEE 488.2 status byte, as a serial poll or VXI-11 read_stb would return it.
  std::uint8_t StatusByte() const;

  // --- test controls (no SCPI equivalent) ---
  // Load resistance of a channel; infinity = open circuit, 0 = short. False for an unknown
  // channel or a negative/NaN value.
  bool SetLoadOhms(int channel, double ohms);
  // Latches questionable condition bits (0x4 AC failure, 0x10 over-temperature, 0x100 fan,
  // ...) on a channel as an alarm would; the output switches off. Cleared by ":OUTP:PROT:CLE".
  bool RaiseAlarm(int channel, std::uint16_t questionableBits);
  // Switches the unit off and on: settings are kept, outputs follow the power-on state,
  // events, errors and latches are cleared, "*ESR?" shows power-on (0x80).
  void PowerCycle();
  // Result that "*TST?" reports (0 = passed).
  void SetSelfTestResult(int result);
  std::vector<int> ChannelNumbers() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

class Emulator {
 public:
  explicit Emulator(Config config);
  ~Emulator();  // stops
  Emulator(const Emulator&) = delete;
  Emulator& operator=(const Emulator&) = delete;

  // Listens on Config::listenAddress:port. False, with the reason in *message when given,
  // if the configuration is unusable, the address cannot be bound or the transcript file
  // cannot be opened.
  bool Start(std::string* message = nullptr);
  // Closes every connection and the listener; never hangs. Safe to call twice.
  void Stop();
  bool Running() const;
  // The port actually bound (useful with port 0); 0 before start.
  int Port() const;
  // Throws std::logic_error when the configuration was unusable.
  Instrument& Device();

  // Every message received since the last call, in arrival order over all connections,
  // exactly as received without the line feed (a trailing carriage return is kept).
  std::vector<std::string> TakeTranscript();

  // Fault injection; each setter takes effect for the next message, on the raw socket and on
  // the front ends built on this emulator (Vxi11Server, SerialPtyServer(Emulator&)).
  void SetReplyDelay(std::chrono::milliseconds delay);
  void AddSilentQuery(std::string match);
  void AddGarbageQuery(std::string match, std::string reply = {});
  void SetCloseAfter(int messages);
  void SetChunkedReplies(std::size_t bytes, std::chrono::milliseconds pause);
  // Messages containing `match` are answered `delay` late; the reply still goes out when the
  // client has stopped waiting, and later messages are answered after it, in order.
  void AddLateQuery(std::string match, std::chrono::milliseconds delay);
  // Messages containing `match` are answered with kEndlessPattern repeated, never a line feed.
  void AddEndlessQuery(std::string match);
  void ClearFaults();

 private:
  friend class SerialPtyServer;  // shares the faults
  std::shared_ptr<detail::FaultState> FaultState() const;

  class Impl;
  std::unique_ptr<Impl> impl_;
};

// Command line of the qdx-sim program. Returns false with a message for a bad argument.
// `help` is set when --help was asked for.
bool parseCommandLine(const std::vector<std::string>& args, Config& config, bool& help,
                      std::string& error);
// The text that --help prints.
std::string usageText();

}  // namespace qdxsim
