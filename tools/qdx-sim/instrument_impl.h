// Inside of Instrument: the whole unit's state and its command tree. Shared by
// instrument.cpp (message loop, status system) and the commands_*.cpp files that register
// the SCPI commands. Every member is used under `mutex`.
#pragma once

#include <array>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "channel_model.h"
#include "header_tree.h"
#include "qdx_sim.h"

namespace qdxsim {

class Instrument::Impl {
 public:
  explicit Impl(const Config& config);

  std::optional<std::string> handle(std::string_view message);

  // --- state ---
  mutable std::mutex mutex;
  Config config;
  bool multiChannel = false;
  std::vector<Channel> channels;
  std::size_t selected = 0;       // index into channels (":INST:NSEL")
  std::deque<int> errors;         // the error queue, oldest first
  std::uint8_t esr = 0;
  std::uint8_t ese = 0;
  std::uint8_t sre = 0;
  RegisterGroup oper, ques;             // ":STAT:OPER", ":STAT:QUES"
  RegisterGroup operInst, quesInst;     // ":STAT:OPER:INST", ":STAT:QUES:INST"
  std::array<std::vector<ChannelSettings>, 3> memories;  // "*SAV 1..3" (memories A, B, C)
  int selfTestResult = 0;
  bool replyQueued = false;       // an earlier query of the current message has answered (MAV)
  scpi::HeaderTree tree;

  // --- helpers for the command handlers ---
  Channel& current() { return channels[selected]; }
  Channel* findChannel(int number);
  void pushError(int code);
  // Recomputes the operating point of a channel and trips its protection when exceeded.
  void evaluate(Channel& ch);
  void evaluateAll();
  // Brings condition, event and summary bits up to date with the channels.
  void refreshStatus();
  std::uint8_t statusByte() const;
  int setOutput(Channel& ch, bool on);
  void applyTriggeredLevels(Channel& ch);
  void resetSettings();   // "*RST"
  void presetStatus();    // ":STAT:PRES"
  void clearStatus();     // "*CLS"

 private:
  void registerChannelCommands();  // commands_channel.cpp
  void registerLevelCommands();    // commands_channel.cpp
  void registerSystemCommands();   // commands_system.cpp
  void registerStatusCommands();   // commands_system.cpp
};

// Parameter count checks shared by the handlers: -109 when missing, -108 when too many.
int expectParams(const scpi::Call& call, std::size_t count);
int expectParams(const scpi::Call& call, std::size_t min, std::size_t max);

}  // namespace qdxsim
