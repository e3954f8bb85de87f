// The electrical model of one output channel: settings, the resistive load, and the
// operating point they lead to (constant voltage, constant current or power limit).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "qdx_sim.h"

namespace qdxsim {

// Keyword sets of the enumerated settings, in SCPI form (upper case = short form). A
// setting stores the index of its keyword.
namespace keywords {
inline const std::vector<std::string_view> kPowerOn = {"SAFE", "AUTO", "FORCe"};
inline const std::vector<std::string_view> kRecovery = {"SAFE", "AUTO"};
inline const std::vector<std::string_view> kPriority = {"CV", "CC"};
inline const std::vector<std::string_view> kRange = {"HIGH", "LOW"};
inline const std::vector<std::string_view> kLogic = {"HIGH", "LOW"};
inline const std::vector<std::string_view> kExternalSource = {"NONE", "VOLTage"};
inline const std::vector<std::string_view> kTriggerSource = {"IMMediate", "BUS"};
}  // namespace keywords

enum PowerOnState { kPonSafe = 0, kPonAuto = 1, kPonForce = 2 };
enum Recovery { kRecoverySafe = 0, kRecoveryAuto = 1 };
enum TriggerSource { kTriggerImmediate = 0, kTriggerBus = 1 };

// Everything "*SAV" stores and "*RST" restores for one channel.
struct ChannelSettings {
  double voltage = 0;        // V, ":VOLT"
  double current = 0;        // A, ":CURR"
  double ovp = 0;            // V, ":VOLT:PROT"
  double uvl = 0;            // V, ":VOLT:LIM:LOW"
  double ocp = 0;            // A, ":CURR:PROT"
  double trigVoltage = 0;    // V, ":VOLT:TRIG"
  double trigCurrent = 0;    // A, ":CURR:TRIG"
  bool currentTrip = false;  // ":CURR:PROT:STAT": 1 = switch off on reaching the current limit
  int powerOn = kPonSafe;
  int recovery = kRecoverySafe;
  int priority = 0;          // CV
  bool bleeder = true;
  int monitorRange = 0;      // HIGH
  bool externalOutput = false;
  int externalLogic = 0;     // HIGH
  int externalRange = 0;     // HIGH
  int currentSource = 0;     // NONE
  int voltageSource = 0;     // NONE
  int triggerSource = kTriggerImmediate;
};

// The "*RST" values of a channel with this rating: 0 V, the rated current, protection at
// 105 % of the ratings, no under-voltage limit.
ChannelSettings defaultSettings(const Rating& rating);

// Highest value any level setting accepts: 105 % of the rating, as the driver allows.
inline double settingLimit(double rated) { return rated * 1.05; }

enum class Regulation { Off, ConstantVoltage, ConstantCurrent, PowerLimit };

struct OperatingPoint {
  double volts = 0;
  double amps = 0;
  Regulation mode = Regulation::Off;
};

// Where the output settles on a resistive load (infinity = open circuit, 0 = short).
OperatingPoint operatingPoint(const ChannelSettings& s, bool outputOn, const Rating& rating,
                              double loadOhms);

// One SCPI register group: condition, event (latched rising edges), enable.
struct RegisterGroup {
  std::uint32_t condition = 0;
  std::uint32_t event = 0;
  std::uint32_t enable = 0;
  void SetCondition(std::uint32_t c) {
    event |= c & ~condition;
    condition = c;
  }
  std::uint32_t TakeEvent() {
    std::uint32_t e = event;
    event = 0;
    return e;
  }
  bool Summary() const { return (event & enable) != 0; }
};

// Register bits.
namespace bits {
constexpr std::uint32_t kWaitingForTrigger = 0x20;  // operation
constexpr std::uint32_t kConstantVoltage = 0x100;   // operation
constexpr std::uint32_t kConstantCurrent = 0x400;   // operation
constexpr std::uint32_t kInstrumentSummary = 0x2000;
constexpr std::uint32_t kOverVoltage = 0x1;         // questionable
constexpr std::uint32_t kOverCurrent = 0x2;
constexpr std::uint32_t kPowerLimit = 0x8;
constexpr std::uint32_t kRegister16 = 0x7fff;       // 16-bit registers (bit 15 unused)
constexpr std::uint32_t kRegister32 = 0x7fffffff;   // instrument summary registers
}  // namespace bits

struct Channel {
  int number = 0;
  std::string model;
  Rating rating;
  ChannelSettings settings;
  bool output = false;
  bool armed = false;            // waiting for a trigger after ":INIT"
  std::uint32_t latched = 0;     // questionable bits held until ":OUTP:PROT:CLE"
  double loadOhms = 10;
  OperatingPoint point;
  RegisterGroup oper;            // ":STAT:OPER:INST:ISUM<n>"
  RegisterGroup ques;            // ":STAT:QUES:INST:ISUM<n>"
};

}  // namespace qdxsim
