// Unit-wide commands: IEEE 488.2 common commands, trigger, memories, the error queue and the
// SCPI status registers.
#include <functional>

#include "instrument_impl.h"
#include "scpi_errors.h"

namespace qdxsim {

namespace {

using scpi::Call;
namespace err = scpi::err;

constexpr int kMemoryCount = 3;

// Reads an integer parameter within [min, max]; -222 outside.
int integerParam(const Call& c, long long min, long long max, long long& out) {
  if (int e = expectParams(c, 1)) return e;
  if (int e = scpi::parseInteger(c.unit.params[0], out)) return e;
  return out < min || out > max ? err::kDataOutOfRange : 0;
}

}  // namespace

void Instrument::Impl::RegisterSystemCommands() {
  auto query = [](std::function<std::string()> value) {
    return [value](Call& c) {
      if (int e = expectParams(c, 0)) return e;
      c.reply = value();
      return 0;
    };
  };
  auto command = [](std::function<int()> action) {
    return [action](Call& c) {
      if (int e = expectParams(c, 0)) return e;
      return action();
    };
  };

  tree.Add("*IDN", {}, query([this] {
             return "Velmora," + config.model + "," + config.serial + "," + config.firmware;
           }))
      .indefiniteReply = true;
  tree.Add("*OPT", {}, query([this] { return std::string(multiChannel ? "VMCB" : "0"); }))
      .indefiniteReply = true;
  tree.Add("*RST", command([this] {
             ResetSettings();
             return 0;
           }),
           {});
  tree.Add("*OPC", command([this] {
             esr |= scpi::esr::kOperationComplete;  // every operation completes at once
             return 0;
           }),
           query([] { return std::string("1"); }));
  tree.Add("*WAI", command([] { return 0; }), {});
  tree.Add("*CLS", command([this] {
             ClearStatus();
             return 0;
           }),
           {});
  tree.Add("*ESR", {}, query([this] {
             int value = esr;
             esr = 0;
             return std::to_string(value);
           }));
  tree.Add(
      "*ESE",
      [this](Call& c) {
        long long v = 0;
        if (int e = integerParam(c, 0, 255, v)) return e;
        ese = static_cast<std::uint8_t>(v);
        return 0;
      },
      query([this] { return std::to_string(ese); }));
  tree.Add(
      "*SRE",
      [this](Call& c) {
        long long v = 0;
        if (int e = integerParam(c, 0, 255, v)) return e;
        sre = static_cast<std::uint8_t>(v & 0xbf);  // bit 6 cannot be enabled
        return 0;
      },
      query([this] { return std::to_string(sre); }));
  tree.Add("*STB", {}, query([this] { return std::to_string(StatusByte()); }));
  tree.Add("*TST", {}, query([this] { return std::to_string(selfTestResult); }));

  // Trigger: ":INIT" arms every channel; a channel on IMM applies its triggered levels at
  // once, a channel on BUS waits for "*TRG". ":ABOR" disarms.
  tree.Add("INITiate:[IMMediate]:[TRANsient]", command([this] {
             for (const auto& ch : channels) {
               if (ch.armed) return err::kInitIgnored;
             }
             for (auto& ch : channels) {
               if (ch.settings.triggerSource == kTriggerImmediate) ApplyTriggeredLevels(ch);
               else ch.armed = true;
             }
             return 0;
           }),
           {});
  tree.Add("ABORt", command([this] {
             for (auto& ch : channels) ch.armed = false;
             return 0;
           }),
           {});
  tree.Add("*TRG", command([this] {
             bool fired = false;
             for (auto& ch : channels) {
               if (ch.armed && ch.settings.triggerSource == kTriggerBus) {
                 ApplyTriggeredLevels(ch);
                 fired = true;
               }
             }
             return fired ? 0 : err::kTriggerIgnored;
           }),
           {});

  // Memories keep the settings of every channel; the output states are not part of them.
  tree.Add(
      "*SAV",
      [this](Call& c) {
        long long n = 0;
        if (int e = integerParam(c, 1, kMemoryCount, n)) return e;
        for (std::size_t k = 0; k < channels.size(); ++k) memories[n - 1][k] = channels[k].settings;
        return 0;
      },
      {});
  tree.Add(
      "*RCL",
      [this](Call& c) {
        long long n = 0;
        if (int e = integerParam(c, 1, kMemoryCount, n)) return e;
        for (std::size_t k = 0; k < channels.size(); ++k) {
          channels[k].settings = memories[n - 1][k];
          Evaluate(channels[k]);
        }
        return 0;
      },
      {});

  tree.Add("SYSTem:ERRor:[NEXT]", {}, query([this] {
             int code = 0;
             if (!errors.empty()) {
               code = errors.front();
               errors.pop_front();
             }
             return scpi::errorEntry(code);
           }));
  tree.Add("SYSTem:ERRor:COUNt", {}, query([this] { return std::to_string(errors.size()); }));
  tree.Add("SYSTem:VERSion", {}, query([] { return std::string("1999.0"); }));
}

void Instrument::Impl::RegisterStatusCommands() {
  // One register group: [EVENt]? (read and clear), CONDition?, ENABle and ENABle?.
  // `group` finds the registers for the call (nullptr: the suffix names no channel).
  using Finder = std::function<RegisterGroup*(const Call&)>;
  auto addGroup = [this](const std::string& prefix, Finder group, std::uint32_t mask) {
    auto read = [this, group](std::uint32_t (*what)(RegisterGroup&)) {
      return [this, group, what](Call& c) {
        if (int e = expectParams(c, 0)) return e;
        RegisterGroup* g = group(c);
        if (!g) return err::kSuffixOutOfRange;
        c.reply = std::to_string(what(*g));
        return 0;
      };
    };
    tree.Add(prefix + ":[EVENt]", {}, read([](RegisterGroup& g) { return g.TakeEvent(); }));
    tree.Add(prefix + ":CONDition", {}, read([](RegisterGroup& g) { return g.condition; }));
    tree.Add(
        prefix + ":ENABle",
        [this, group, mask](Call& c) {
          long long v = 0;
          if (int e = integerParam(c, 0, mask, v)) return e;
          RegisterGroup* g = group(c);
          if (!g) return err::kSuffixOutOfRange;
          g->enable = static_cast<std::uint32_t>(v);
          return 0;
        },
        read([](RegisterGroup& g) { return g.enable; }));
  };
  auto channelGroup = [this](RegisterGroup Channel::*which) {
    return [this, which](const Call& c) -> RegisterGroup* {
      Channel* ch = FindChannel(c.suffix);
      return ch ? &(ch->*which) : nullptr;
    };
  };
  addGroup("STATus:OPERation", [this](const Call&) { return &oper; }, bits::kRegister16);
  addGroup("STATus:OPERation:INSTrument", [this](const Call&) { return &operInst; },
           bits::kRegister32);
  addGroup("STATus:OPERation:INSTrument:ISUMmary#", channelGroup(&Channel::oper),
           bits::kRegister16);
  addGroup("STATus:QUEStionable", [this](const Call&) { return &ques; }, bits::kRegister16);
  addGroup("STATus:QUEStionable:INSTrument", [this](const Call&) { return &quesInst; },
           bits::kRegister32);
  addGroup("STATus:QUEStionable:INSTrument:ISUMmary#", channelGroup(&Channel::ques),
           bits::kRegister16);
  tree.Add(
      "STATus:PRESet",
      [this](Call& c) {
        if (int e = expectParams(c, 0)) return e;
        PresetStatus();
        return 0;
      },
      {});
}

}  // namespace qdxsim
