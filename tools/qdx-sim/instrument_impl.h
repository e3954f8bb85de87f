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

  std::optional<std::string> Handle(std::string_view message);

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
  Channel& Current() { return channels[selected]; }
  Channel* FindChannel(int number);
  void PushError(int code);
  // Recomputes the operating point of a channel and trips its protection when exceeded.
  void Evaluate(Channel& ch);
  void EvaluateAll();
  // Brings condition, event and summary bits up to date with the channels.
  void RefreshStatus();
  std::uint8_t StatusByte() const;
  int SetOutput(Channel& ch, bool on);
  void ApplyTriggeredLevels(Channel& ch);
  void ResetSettings();   // "*RST"
  void PresetStatus();    // ":STAT:PRES"
  void ClearStatus();     // "*CLS"

 private:
  void RegisterChannelCommands();  // commands_channel.cpp
  void RegisterLevelCommands();    // commands_channel.cpp
  void RegisterSystemCommands();   // commands_system.cpp
  void RegisterStatusCommands();   // commands_system.cpp
};

// Parameter count checks shared by the handlers: -109 when missing, -108 when too many.
int expectParams(const scpi::Call& call, std::size_t count);
int expectParams(const scpi::Call& call, std::size_t min, std::size_t max);

}  // namespace qdxsim
