// Per-channel commands: channel selection, output, levels and limits, protection,
// configuration menu, external control, trigger source, measurements; and the global
// commands that set every channel at once. Per-channel commands act on the channel chosen
// with ":INST:NSEL".
#include <algorithm>
#include <cmath>
#include <functional>

#include "instrument_impl.h"
#include "scpi_errors.h"

namespace qdxsim {

namespace {

using scpi::Call;
namespace err = scpi::err;

// Levels at exactly 105 % of a rating must pass although 1.05 x rating is not exact.
double tolerance(double limit) { return 1e-9 * std::max(1.0, std::fabs(limit)); }

std::string boolReply(bool b) { return b ? "1" : "0"; }

}  // namespace

void Instrument::Impl::RegisterChannelCommands() {
  tree.Add(
      "INSTrument:NSELect",
      [this](Call& c) {
        if (int e = expectParams(c, 1)) return e;
        long long number = 0;
        if (int e = scpi::parseInteger(c.unit.params[0], number)) return e;
        for (std::size_t k = 0; k < channels.size(); ++k) {
          if (channels[k].number == number) {
            selected = k;
            return 0;
          }
        }
        return err::kDataOutOfRange;
      },
      [this](Call& c) {
        if (int e = expectParams(c, 0)) return e;
        c.reply = std::to_string(Current().number);
        return 0;
      });
  tree.Add("INSTrument:CATalog", {}, [this](Call& c) {
    if (int e = expectParams(c, 0)) return e;
    for (const auto& ch : channels) {
      if (!c.reply.empty()) c.reply += ",";
      c.reply += std::to_string(ch.number);
    }
    return 0;
  });
  tree.Add("INSTrument:INFOrmation", {}, [this](Call& c) {
    if (int e = expectParams(c, 0)) return e;
    const Channel& ch = Current();
    c.reply = scpi::formatNumber(ch.rating.volts) + "," + scpi::formatNumber(ch.rating.amps) +
              "," + scpi::formatNumber(ch.rating.watts) + "," + ch.model;
    return 0;
  });

  tree.Add(
      "OUTPut:[STATe]",
      [this](Call& c) {
        if (int e = expectParams(c, 1)) return e;
        bool on = false;
        if (int e = scpi::parseBoolean(c.unit.params[0], on)) return e;
        return SetOutput(Current(), on);
      },
      [this](Call& c) {
        if (int e = expectParams(c, 0)) return e;
        c.reply = boolReply(Current().output);
        return 0;
      });
  tree.Add(
      "OUTPut:PROTection:CLEar",
      [this](Call& c) {
        if (int e = expectParams(c, 0)) return e;
        Current().latched = 0;  // the output stays off until switched on again
        return 0;
      },
      {});

  auto addChoice = [this](const char* pattern, int ChannelSettings::*field,
                          const std::vector<std::string_view>* choices) {
    tree.Add(
        pattern,
        [this, field, choices](Call& c) {
          if (int e = expectParams(c, 1)) return e;
          int index = 0;
          if (int e = scpi::parseChoice(c.unit.params[0], *choices, index)) return e;
          Current().settings.*field = index;
          return 0;
        },
        [this, field, choices](Call& c) {
          if (int e = expectParams(c, 0)) return e;
          c.reply = scpi::shortForm((*choices)[Current().settings.*field]);
          return 0;
        });
  };
  auto addBool = [this](const char* pattern, bool ChannelSettings::*field) {
    tree.Add(
        pattern,
        [this, field](Call& c) {
          if (int e = expectParams(c, 1)) return e;
          bool on = false;
          if (int e = scpi::parseBoolean(c.unit.params[0], on)) return e;
          Current().settings.*field = on;
          Evaluate(Current());  // the current-limit behaviour may trip a limiting output
          return 0;
        },
        [this, field](Call& c) {
          if (int e = expectParams(c, 0)) return e;
          c.reply = boolReply(Current().settings.*field);
          return 0;
        });
  };
  addChoice("OUTPut:PON:[STATe]", &ChannelSettings::powerOn, &keywords::kPowerOn);
  addBool("OUTPut:EXTernal:[STATe]", &ChannelSettings::externalOutput);
  addChoice("OUTPut:EXTernal:LOGic", &ChannelSettings::externalLogic, &keywords::kLogic);
  addChoice("[SOURce]:VOLTage:EXTernal:RANGe", &ChannelSettings::externalRange, &keywords::kRange);
  addChoice("[SOURce]:VOLTage:EXTernal:SOURce", &ChannelSettings::voltageSource,
            &keywords::kExternalSource);
  addChoice("[SOURce]:CURRent:EXTernal:SOURce", &ChannelSettings::currentSource,
            &keywords::kExternalSource);
  addBool("[SOURce]:CURRent:PROTection:STATe", &ChannelSettings::currentTrip);
  addChoice("SYSTem:CONFigure:PROTection:RECovery", &ChannelSettings::recovery,
            &keywords::kRecovery);
  addChoice("SYSTem:CONFigure:STARtup:PRIority", &ChannelSettings::priority, &keywords::kPriority);
  addBool("SYSTem:CONFigure:BLEeder:[STATe]", &ChannelSettings::bleeder);
  addChoice("SYSTem:CONFigure:MONitor:RANGe", &ChannelSettings::monitorRange, &keywords::kRange);
  addChoice("TRIGger:[TRANsient]:SOURce", &ChannelSettings::triggerSource,
            &keywords::kTriggerSource);

  auto addMeasure = [this](const char* pattern, double (*value)(const OperatingPoint&)) {
    tree.Add(pattern, {}, [this, value](Call& c) {
      if (int e = expectParams(c, 0)) return e;
      c.reply = scpi::formatNumber(value(Current().point));
      return 0;
    });
  };
  addMeasure("MEASure:[SCALar]:VOLTage:[DC]", [](const OperatingPoint& p) { return p.volts; });
  addMeasure("MEASure:[SCALar]:CURRent:[DC]", [](const OperatingPoint& p) { return p.amps; });
  addMeasure("MEASure:[SCALar]:POWer:[DC]",
             [](const OperatingPoint& p) { return p.volts * p.amps; });
}

void Instrument::Impl::RegisterLevelCommands() {
  using RatingFn = double (*)(const Rating&);
  using Assign = std::function<int(ChannelSettings&, double)>;
  // One numeric setting: MIN is 0, MAX and DEF as given; accepted from 0 to `limit`.
  auto addLevel = [this](const char* pattern, double ChannelSettings::*field, scpi::Unit unit,
                         RatingFn maxOf, RatingFn limitOf, RatingFn defOf, Assign assign) {
    auto resolve = [maxOf, defOf](const scpi::Number& n, const Rating& r) {
      switch (n.keyword) {
        case scpi::NumberKeyword::Min: return 0.0;
        case scpi::NumberKeyword::Max: return maxOf(r);
        case scpi::NumberKeyword::Def: return defOf(r);
        case scpi::NumberKeyword::None: break;
      }
      return n.value;
    };
    tree.Add(
        pattern,
        [this, unit, limitOf, resolve, assign](Call& c) {
          if (int e = expectParams(c, 1)) return e;
          scpi::Number n;
          if (int e = scpi::parseNumber(c.unit.params[0], unit, n)) return e;
          Channel& ch = Current();
          double v = resolve(n, ch.rating);
          double limit = limitOf(ch.rating);
          if (v < -tolerance(limit) || v > limit + tolerance(limit)) return err::kDataOutOfRange;
          if (int e = assign(ch.settings, std::max(v, 0.0))) return e;
          Evaluate(ch);
          return 0;
        },
        [this, field, resolve](Call& c) {
          if (int e = expectParams(c, 0, 1)) return e;
          const Channel& ch = Current();
          double v = ch.settings.*field;
          if (!c.unit.params.empty()) {
            scpi::Number n;
            if (int e = scpi::parseNumber(c.unit.params[0], scpi::Unit::None, n)) return e;
            if (n.keyword == scpi::NumberKeyword::None) return err::kDataType;
            v = resolve(n, ch.rating);
          }
          c.reply = scpi::formatNumber(v);
          return 0;
        });
  };
  RatingFn ratedV = [](const Rating& r) { return r.volts; };
  RatingFn ratedA = [](const Rating& r) { return r.amps; };
  RatingFn limitV = [](const Rating& r) { return settingLimit(r.volts); };
  RatingFn limitA = [](const Rating& r) { return settingLimit(r.amps); };
  RatingFn zero = [](const Rating&) { return 0.0; };
  const auto V = scpi::Unit::Volt;
  const auto A = scpi::Unit::Ampere;

  // Writing a level also sets its triggered level, which follows until written itself.
  addLevel("[SOURce]:VOLTage:[LEVel]:[IMMediate]:[AMPLitude]", &ChannelSettings::voltage, V,
           ratedV, limitV, zero, [](ChannelSettings& s, double v) {
             if (v < s.uvl - tolerance(s.uvl)) return err::kSettingsConflict;
             s.voltage = s.trigVoltage = v;
             return 0;
           });
  addLevel("[SOURce]:CURRent:[LEVel]:[IMMediate]:[AMPLitude]", &ChannelSettings::current, A,
           ratedA, limitA, ratedA, [](ChannelSettings& s, double v) {
             s.current = s.trigCurrent = v;
             return 0;
           });
  addLevel("[SOURce]:VOLTage:[LEVel]:TRIGgered:[AMPLitude]", &ChannelSettings::trigVoltage, V,
           ratedV, limitV, zero, [](ChannelSettings& s, double v) {
             if (v < s.uvl - tolerance(s.uvl)) return err::kSettingsConflict;
             s.trigVoltage = v;
             return 0;
           });
  addLevel("[SOURce]:CURRent:[LEVel]:TRIGgered:[AMPLitude]", &ChannelSettings::trigCurrent, A,
           ratedA, limitA, ratedA, [](ChannelSettings& s, double v) {
             s.trigCurrent = v;
             return 0;
           });
  addLevel("[SOURce]:VOLTage:PROTection:[LEVel]", &ChannelSettings::ovp, V, limitV, limitV,
           limitV, [](ChannelSettings& s, double v) {
             s.ovp = v;
             return 0;
           });
  // The under-voltage limit is the lowest voltage setting allowed, so it may not exceed it.
  addLevel("[SOURce]:VOLTage:LIMit:LOW", &ChannelSettings::uvl, V, ratedV, limitV, zero,
           [](ChannelSettings& s, double v) {
             if (v > s.voltage + tolerance(s.voltage)) return err::kSettingsConflict;
             s.uvl = v;
             return 0;
           });
  addLevel("[SOURce]:CURRent:PROTection:[LEVel]", &ChannelSettings::ocp, A, limitA, limitA,
           limitA, [](ChannelSettings& s, double v) {
             s.ocp = v;
             return 0;
           });

  // Global settings: checked against every channel first, then applied to all or none.
  tree.Add(
      "GLOBal:OUTPut:[STATe]",
      [this](Call& c) {
        if (int e = expectParams(c, 1)) return e;
        bool on = false;
        if (int e = scpi::parseBoolean(c.unit.params[0], on)) return e;
        int result = 0;
        for (auto& ch : channels) {
          if (int e = SetOutput(ch, on)) result = e;
        }
        return result;
      },
      {});
  auto addGlobalLevel = [this](const char* pattern, scpi::Unit unit, bool voltage) {
    tree.Add(
        pattern,
        [this, unit, voltage](Call& c) {
          if (int e = expectParams(c, 1)) return e;
          scpi::Number n;
          if (int e = scpi::parseNumber(c.unit.params[0], unit, n)) return e;
          std::vector<double> values;
          for (const auto& ch : channels) {
            double rated = voltage ? ch.rating.volts : ch.rating.amps;
            double v = n.keyword == scpi::NumberKeyword::Max ? rated
                       : n.keyword == scpi::NumberKeyword::Min ? 0.0
                       : n.keyword == scpi::NumberKeyword::Def ? (voltage ? 0.0 : rated)
                                                               : n.value;
            double limit = settingLimit(rated);
            if (v < -tolerance(limit) || v > limit + tolerance(limit)) return err::kDataOutOfRange;
            if (voltage && v < ch.settings.uvl - tolerance(ch.settings.uvl)) {
              return err::kSettingsConflict;
            }
            values.push_back(std::max(v, 0.0));
          }
          for (std::size_t k = 0; k < channels.size(); ++k) {
            auto& s = channels[k].settings;
            if (voltage) s.voltage = s.trigVoltage = values[k];
            else s.current = s.trigCurrent = values[k];
            Evaluate(channels[k]);
          }
          return 0;
        },
        {});
  };
  addGlobalLevel("GLOBal:VOLTage:[LEVel]:[IMMediate]:[AMPLitude]", scpi::Unit::Volt, true);
  addGlobalLevel("GLOBal:CURRent:[LEVel]:[IMMediate]:[AMPLitude]", scpi::Unit::Ampere, false);
}

}  // namespace qdxsim
