// The message loop and the status system of the emulated unit.
#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "instrument_impl.h"
#include "scpi_errors.h"

namespace qdxsim {

namespace {

constexpr std::size_t kErrorQueueSize = 20;
constexpr std::size_t kMaxMessageLength = 64 * 1024;
constexpr double kTripTolerance = 1e-9;

}  // namespace

int expectParams(const scpi::Call& call, std::size_t count) { return expectParams(call, count, count); }

int expectParams(const scpi::Call& call, std::size_t min, std::size_t max) {
  if (call.unit.params.size() < min) return scpi::err::kMissingParameter;
  if (call.unit.params.size() > max) return scpi::err::kParameterNotAllowed;
  return 0;
}

Instrument::Impl::Impl(const Config& cfg) : config(cfg) {
  multiChannel = !cfg.channels.empty();
  std::vector<ChannelSpec> specs = cfg.channels;
  if (specs.empty()) specs.push_back({0, cfg.model});  // a single unit's output is channel 0
  for (const auto& wanted : specs) {
    Channel ch;
    ch.number = wanted.number;
    ch.model = wanted.model.empty() ? cfg.model : wanted.model;
    ch.rating = *ratingOf(ch.model);
    ch.loadOhms = cfg.loadOhms;
    channels.push_back(ch);
  }
  ResetSettings();
  for (auto& memory : memories) {
    for (const auto& ch : channels) memory.push_back(ch.settings);
  }
  PresetStatus();
  esr = scpi::esr::kPowerOn;
  RegisterChannelCommands();
  RegisterLevelCommands();
  RegisterSystemCommands();
  RegisterStatusCommands();
  RefreshStatus();
}

Channel* Instrument::Impl::FindChannel(int number) {
  for (auto& ch : channels) {
    if (ch.number == number) return &ch;
  }
  return nullptr;
}

void Instrument::Impl::PushError(int code) {
  esr |= scpi::esrBitOf(code);
  if (errors.size() < kErrorQueueSize) {
    errors.push_back(code);
  } else if (errors.back() != scpi::err::kQueueOverflow) {
    // A full queue keeps its oldest entries; the newest slot says that errors were lost.
    errors.back() = scpi::err::kQueueOverflow;
    esr |= scpi::esrBitOf(scpi::err::kQueueOverflow);
  }
}

void Instrument::Impl::Evaluate(Channel& ch) {
  ch.point = operatingPoint(ch.settings, ch.output, ch.rating, ch.loadOhms);
  if (!ch.output) return;
  const auto& s = ch.settings;
  std::uint32_t trip = 0;
  if (ch.point.volts > s.ovp + kTripTolerance) {
    trip = bits::kOverVoltage;
  } else if (ch.point.amps > s.ocp + kTripTolerance ||
             (s.currentTrip && ch.point.mode == Regulation::ConstantCurrent)) {
    trip = bits::kOverCurrent;
  }
  if (trip) {
    ch.latched |= trip;
    ch.output = false;
    ch.point = OperatingPoint{};
  }
}

void Instrument::Impl::EvaluateAll() {
  for (auto& ch : channels) Evaluate(ch);
}

int Instrument::Impl::SetOutput(Channel& ch, bool on) {
  if (on && ch.latched) {
    // A latched protection or alarm keeps the output off unless recovery is automatic, in
    // which case switching on again is the recovery.
    if (ch.settings.recovery != kRecoveryAuto) return scpi::err::kSettingsConflict;
    ch.latched = 0;
  }
  ch.output = on;
  Evaluate(ch);
  return 0;
}

void Instrument::Impl::ApplyTriggeredLevels(Channel& ch) {
  ch.settings.voltage = std::max(ch.settings.trigVoltage, ch.settings.uvl);
  ch.settings.current = ch.settings.trigCurrent;
  ch.armed = false;
  Evaluate(ch);
}

void Instrument::Impl::RefreshStatus() {
  std::uint32_t operSummary = 0;
  std::uint32_t quesSummary = 0;
  for (auto& ch : channels) {
    std::uint32_t op = ch.armed ? bits::kWaitingForTrigger : 0;
    if (ch.point.mode == Regulation::ConstantVoltage) op |= bits::kConstantVoltage;
    if (ch.point.mode == Regulation::ConstantCurrent) op |= bits::kConstantCurrent;
    std::uint32_t qs = ch.latched;
    if (ch.point.mode == Regulation::PowerLimit) qs |= bits::kPowerLimit;
    ch.oper.SetCondition(op & bits::kRegister16);
    ch.ques.SetCondition(qs & bits::kRegister16);
    if (ch.oper.Summary()) operSummary |= 1u << ch.number;
    if (ch.ques.Summary()) quesSummary |= 1u << ch.number;
  }
  operInst.SetCondition(operSummary);
  quesInst.SetCondition(quesSummary);
  // A single unit reports its output's state in the top-level registers themselves; a
  // multi-channel unit only through the instrument summary bit.
  if (multiChannel) {
    oper.SetCondition(operInst.Summary() ? bits::kInstrumentSummary : 0);
    ques.SetCondition(quesInst.Summary() ? bits::kInstrumentSummary : 0);
  } else {
    oper.SetCondition(channels[0].oper.condition);
    ques.SetCondition(channels[0].ques.condition);
  }
}

std::uint8_t Instrument::Impl::StatusByte() const {
  std::uint8_t stb = 0;
  if (!errors.empty()) stb |= 0x04;          // error/event queue not empty
  if (ques.Summary()) stb |= 0x08;           // questionable summary
  if (replyQueued) stb |= 0x10;              // message available
  if (esr & ese) stb |= 0x20;                // standard event summary
  if (oper.Summary()) stb |= 0x80;           // operation summary
  if (stb & sre & 0xbf) stb |= 0x40;         // request service
  return stb;
}

void Instrument::Impl::ResetSettings() {
  for (auto& ch : channels) {
    ch.settings = defaultSettings(ch.rating);
    ch.output = false;
    ch.armed = false;
    ch.latched = 0;
    Evaluate(ch);
  }
  selected = 0;
}

void Instrument::Impl::PresetStatus() {
  oper.enable = 0;
  ques.enable = 0;
  // The summary layers pass everything up, so enabling a top-level bit is enough.
  operInst.enable = bits::kRegister32;
  quesInst.enable = bits::kRegister32;
  for (auto& ch : channels) {
    ch.oper.enable = bits::kRegister16;
    ch.ques.enable = bits::kRegister16;
  }
}

void Instrument::Impl::ClearStatus() {
  esr = 0;
  errors.clear();
  oper.event = ques.event = operInst.event = quesInst.event = 0;
  for (auto& ch : channels) ch.oper.event = ch.ques.event = 0;
}

std::optional<std::string> Instrument::Impl::Handle(std::string_view message) {
  if (!message.empty() && message.back() == '\r') message.remove_suffix(1);
  if (message.size() > kMaxMessageLength) {
    PushError(scpi::err::kInputBufferOverrun);
    return std::nullopt;
  }
  bool unterminated = false;
  std::vector<std::string_view> units = scpi::splitUnits(message, unterminated);
  std::vector<std::string> replies;
  std::vector<scpi::Mnemonic> path;  // the current header path (IEEE 488.2 7.6.1)
  bool indefiniteAnswered = false;
  for (std::size_t i = 0; i < units.size(); ++i) {
    bool blank = units[i].find_first_not_of(" \t") == std::string_view::npos;
    if (blank) {
      if (units.size() == 1 || (i + 1 == units.size() && !unterminated)) break;  // "" or "X;"
      PushError(scpi::err::kSyntax);
      break;
    }
    scpi::ProgramUnit unit;
    int error = scpi::parseUnit(units[i], unit);
    if (!error && unterminated && i + 1 == units.size()) error = scpi::err::kInvalidStringData;
    if (error) {
      PushError(error);
      break;
    }
    if (indefiniteAnswered && unit.query) {
      PushError(scpi::err::kQueryUnterminatedIndefinite);
      break;
    }
    std::vector<scpi::Mnemonic> nodes;
    if (!unit.common && !unit.absolute) nodes = path;
    nodes.insert(nodes.end(), unit.nodes.begin(), unit.nodes.end());
    int suffix = 1;
    const scpi::CommandEntry* entry = tree.Find(nodes, suffix);
    const scpi::Handler* handler = nullptr;
    if (entry) handler = unit.query ? &entry->query : &entry->set;
    if (!handler || !*handler) {
      PushError(scpi::err::kUndefinedHeader);
      break;
    }
    if (!unit.common) path.assign(nodes.begin(), nodes.end() - 1);
    scpi::Call call{unit, suffix, {}};
    replyQueued = !replies.empty();
    error = (*handler)(call);
    replyQueued = false;
    RefreshStatus();
    if (error) {
      PushError(error);
      if (scpi::isCommandError(error)) break;  // the parser lost its place: skip the rest
      continue;
    }
    if (unit.query) {
      replies.push_back(std::move(call.reply));
      indefiniteAnswered = entry->indefiniteReply;
    }
  }
  RefreshStatus();
  if (replies.empty()) return std::nullopt;
  std::string response = replies[0];
  for (std::size_t i = 1; i < replies.size(); ++i) response += ";" + replies[i];
  return response;
}

// --- public face ---

Instrument::Instrument(const Config& config) {
  std::string problem = config.Validate();
  if (!problem.empty()) throw std::invalid_argument(problem);
  impl_ = std::make_unique<Impl>(config);
}

Instrument::~Instrument() = default;

std::optional<std::string> Instrument::Handle(std::string_view message) {
  std::lock_guard lock(impl_->mutex);
  return impl_->Handle(message);
}

void Instrument::ReportError(int code) {
  std::lock_guard lock(impl_->mutex);
  impl_->PushError(code);
}

std::uint8_t Instrument::StatusByte() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->StatusByte();
}

bool Instrument::SetLoadOhms(int channel, double ohms) {
  std::lock_guard lock(impl_->mutex);
  Channel* ch = impl_->FindChannel(channel);
  if (!ch || std::isnan(ohms) || ohms < 0) return false;
  ch->loadOhms = ohms;
  impl_->Evaluate(*ch);
  impl_->RefreshStatus();
  return true;
}

bool Instrument::RaiseAlarm(int channel, std::uint16_t questionableBits) {
  std::lock_guard lock(impl_->mutex);
  Channel* ch = impl_->FindChannel(channel);
  if (!ch) return false;
  ch->latched |= questionableBits & bits::kRegister16;
  if (ch->latched) {
    ch->output = false;
    impl_->Evaluate(*ch);
  }
  impl_->RefreshStatus();
  return true;
}

void Instrument::PowerCycle() {
  std::lock_guard lock(impl_->mutex);
  auto& d = *impl_;
  for (auto& ch : d.channels) {
    ch.latched = 0;
    ch.armed = false;
    if (ch.settings.powerOn == kPonSafe) ch.output = false;
    if (ch.settings.powerOn == kPonForce) ch.output = true;
    d.Evaluate(ch);
  }
  d.selected = 0;
  d.ClearStatus();
  d.RefreshStatus();
  // The power-up transitions are not events: a fresh unit starts with empty event registers.
  d.ClearStatus();
  d.esr = scpi::esr::kPowerOn;
}

void Instrument::SetSelfTestResult(int result) {
  std::lock_guard lock(impl_->mutex);
  impl_->selfTestResult = result;
}

std::vector<int> Instrument::ChannelNumbers() const {
  std::lock_guard lock(impl_->mutex);
  std::vector<int> numbers;
  for (const auto& ch : impl_->channels) numbers.push_back(ch.number);
  return numbers;
}

}  // namespace qdxsim
