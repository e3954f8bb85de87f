// identify, set, get, measure, state, reset, self-test: one session, each selected output.
#include <cstdio>
#include <iostream>
#include <optional>

#include "commands.h"

namespace veqdx_cli {
namespace {

using nlohmann::json;

// The rated power is not a driver attribute; the model name carries it (QDX750xx, QDX1500xx).
double RatedWatts(const std::string& model) {
  return model.find("1500") != std::string::npos ? 1500.0 : 750.0;
}

// The serial number is only in the *IDN? reply; a simulated session has none.
std::string SerialNumber(const CSession& session) {
  if (session.GetBool(VEQDX_ATTR_SIMULATE, "")) return "";
  std::string idn = session.Query("*IDN?");
  size_t first = idn.find(','), second = idn.find(',', first + 1);
  if (first == std::string::npos || second == std::string::npos) return "";
  size_t third = idn.find(',', second + 1);
  return idn.substr(second + 1, third == std::string::npos ? std::string::npos : third - second - 1);
}

int Identify(const GlobalOptions& options) {
  CSession session = OpenSession(options, true);
  std::string model = session.GetString(VEQDX_ATTR_INSTRUMENT_MODEL);
  json doc = {{"model", model},
              {"manufacturer", session.GetString(VEQDX_ATTR_INSTRUMENT_MANUFACTURER)},
              {"serial", SerialNumber(session)},
              {"firmware", session.GetString(VEQDX_ATTR_INSTRUMENT_FIRMWARE_REVISION)},
              {"driver", session.GetString(VEQDX_ATTR_SPECIFIC_DRIVER_REVISION)},
              {"outputs", json::array()}};
  for (const std::string& name : session.Select(options.outputs)) {
    ViReal64 volts = 0, amps = 0;
    session.Check(veqdx_QueryMaxVoltageLevel(session.vi(), name.c_str(), 0, &volts));
    session.Check(veqdx_QueryMaxCurrentLimit(session.vi(), name.c_str(), 0, &amps));
    doc["outputs"].push_back(
        {{"name", name}, {"volts", volts}, {"amps", amps}, {"watts", RatedWatts(model)}});
  }
  if (options.json) {
    PrintJson(doc);
    return kExitOk;
  }
  for (const char* key : {"Model", "Manufacturer", "Serial", "Firmware", "Driver"}) {
    std::string field = key;
    field[0] = static_cast<char>(field[0] - 'A' + 'a');
    std::cout << key << ": " << doc[field].get<std::string>() << "\n";
  }
  for (const json& output : doc["outputs"])
    std::cout << output["name"].get<std::string>() << "  " << Shortest(output["volts"]) << " V  "
              << Shortest(output["amps"]) << " A  " << Shortest(output["watts"]) << " W\n";
  return kExitOk;
}

struct SetRequest {
  std::optional<double> voltage, current, ovp, ocp, uvl;
  bool on = false, off = false, verbose = false;
};

int Set(const GlobalOptions& options, const SetRequest& request) {
  if (!request.voltage && !request.current && !request.ovp && !request.ocp && !request.uvl &&
      !request.on && !request.off)
    throw UsageError("set: nothing to set; give at least one of --voltage --current --ovp "
                     "--ocp --uvl --on --off");
  CSession session = OpenSession(options, false);
  ViSession vi = session.vi();
  for (const std::string& name : session.Select(options.outputs)) {
    const char* out = name.c_str();
    auto echo = [&](const char* what, const std::string& value) {
      if (request.verbose && !options.json) std::cout << name << ": " << what << " " << value << "\n";
    };
    if (request.voltage) {
      session.Check(veqdx_ConfigureVoltageLevel(vi, out, *request.voltage));
      echo("VoltageLevel", Shortest(*request.voltage));
    }
    if (request.current) {
      session.Check(veqdx_SetAttributeViReal64(vi, out, VEQDX_ATTR_CURRENT_LIMIT, *request.current));
      echo("CurrentLimit", Shortest(*request.current));
    }
    if (request.ovp) {
      session.Check(veqdx_SetAttributeViReal64(vi, out, VEQDX_ATTR_OVP_LIMIT, *request.ovp));
      echo("OVPLimit", Shortest(*request.ovp));
    }
    if (request.ocp) {
      session.Check(veqdx_ConfigureOCPLimit(vi, out, *request.ocp));
      echo("OCPLimit", Shortest(*request.ocp));
    }
    if (request.uvl) {
      session.Check(veqdx_ConfigureUVL(vi, out, *request.uvl));
      echo("UVL", Shortest(*request.uvl));
    }
    if (request.on || request.off) {
      session.Check(veqdx_ConfigureOutputEnabled(vi, out, request.on ? VI_TRUE : VI_FALSE));
      echo("Enabled", request.on ? "true" : "false");
    }
  }
  if (options.json) PrintJson({{"ok", true}});
  return kExitOk;
}

int Get(const GlobalOptions& options) {
  CSession session = OpenSession(options, false);
  json outputs = json::array();
  bool first = true;
  for (const std::string& name : session.Select(options.outputs)) {
    json o = {{"name", name},
              {"voltage_level", session.GetReal(VEQDX_ATTR_VOLTAGE_LEVEL, name)},
              {"current_limit", session.GetReal(VEQDX_ATTR_CURRENT_LIMIT, name)},
              {"ovp_limit", session.GetReal(VEQDX_ATTR_OVP_LIMIT, name)},
              {"ocp_limit", session.GetReal(VEQDX_ATTR_OCP_LIMIT, name)},
              {"uvl", session.GetReal(VEQDX_ATTR_UVL, name)},
              {"enabled", session.GetBool(VEQDX_ATTR_OUTPUT_ENABLED, name)}};
    if (!options.json) {
      std::cout << (first ? "" : "\n") << name << "\n"
                << "  VoltageLevel  " << Shortest(o["voltage_level"]) << " V\n"
                << "  CurrentLimit  " << Shortest(o["current_limit"]) << " A\n"
                << "  OVPLimit      " << Shortest(o["ovp_limit"]) << " V\n"
                << "  OCPLimit      " << Shortest(o["ocp_limit"]) << " A\n"
                << "  UVL           " << Shortest(o["uvl"]) << " V\n"
                << "  Enabled       " << (o["enabled"].get<bool>() ? "true" : "false") << "\n";
      first = false;
    }
    outputs.push_back(o);
  }
  if (options.json) PrintJson({{"outputs", outputs}});
  return kExitOk;
}

int Measure(const GlobalOptions& options) {
  CSession session = OpenSession(options, false);
  json outputs = json::array();
  for (const std::string& name : session.Select(options.outputs)) {
    ViReal64 volts = 0, amps = 0;
    session.Check(veqdx_Measure(session.vi(), name.c_str(), VEQDX_VAL_MEASURE_VOLTAGE, &volts));
    session.Check(veqdx_Measure(session.vi(), name.c_str(), VEQDX_VAL_MEASURE_CURRENT, &amps));
    if (!options.json)
      std::cout << name << "  " << Fixed(volts, 3) << " V  " << Fixed(amps, 3) << " A\n";
    outputs.push_back({{"name", name}, {"volts", volts}, {"amps", amps}});
  }
  if (options.json) PrintJson({{"outputs", outputs}});
  return kExitOk;
}

struct StateName {
  ViInt32 value;
  const char* name;
};
constexpr StateName kStates[] = {
    {VEQDX_VAL_OUTPUT_CONSTANT_VOLTAGE, "CV"},     {VEQDX_VAL_OUTPUT_CONSTANT_CURRENT, "CC"},
    {VEQDX_VAL_OUTPUT_OVER_VOLTAGE, "OV"},         {VEQDX_VAL_OUTPUT_OVER_CURRENT, "OC"},
    {VEQDX_VAL_OUTPUT_UNREGULATED, "UNREG"},       {VEQDX_VAL_OUTPUT_AC_POWER_FAILURE, "ACFAIL"},
    {VEQDX_VAL_OUTPUT_POWER_LIMIT, "POWERLIMIT"},  {VEQDX_VAL_OUTPUT_OVER_TEMPERATURE, "OT"},
    {VEQDX_VAL_OUTPUT_SHUTDOWN_ALARM, "SHUTDOWN"}, {VEQDX_VAL_OUTPUT_SENSING_ALARM, "SENSE"},
    {VEQDX_VAL_OUTPUT_FAN_ALARM, "FAN"},           {VEQDX_VAL_OUTPUT_OUTPUT_INHIBITED, "INHIBIT"},
    {VEQDX_VAL_OUTPUT_I2C_ALARM, "I2C"},           {VEQDX_VAL_OUTPUT_OVER_VOLTAGE2, "OV2"},
};

int State(const GlobalOptions& options) {
  CSession session = OpenSession(options, false);
  json outputs = json::array();
  for (const std::string& name : session.Select(options.outputs)) {
    json states = json::array();
    std::string line = name + " ";
    for (const StateName& state : kStates) {
      ViBoolean holds = VI_FALSE;
      session.Check(veqdx_QueryOutputState(session.vi(), name.c_str(), state.value, &holds));
      if (holds == VI_FALSE) continue;
      states.push_back(state.name);
      line += std::string(" ") + state.name;
    }
    if (!options.json) std::cout << line << (states.empty() ? " none" : "") << "\n";
    outputs.push_back({{"name", name}, {"states", states}});
  }
  if (options.json) PrintJson({{"outputs", outputs}});
  return kExitOk;
}

int Reset(const GlobalOptions& options) {
  CSession session = OpenSession(options, false);
  session.Check(veqdx_reset(session.vi()));
  if (options.json) PrintJson({{"ok", true}});
  return kExitOk;
}

int SelfTest(const GlobalOptions& options) {
  CSession session = OpenSession(options, false);
  ViInt16 result = 0;
  ViChar message[256] = {};
  session.Check(veqdx_self_test(session.vi(), &result, message));
  if (options.json)
    PrintJson({{"result", result}, {"message", message}});
  else
    std::cout << result << " " << message << "\n";
  return kExitOk;
}

}  // namespace

void AddInstrumentCommands(CLI::App& app, Context& context) {
  const GlobalOptions& g = context.global;
  auto simple = [&](const char* name, const char* description, const char* example,
                    int (*run)(const GlobalOptions&)) {
    CLI::App* command = app.add_subcommand(name, description);
    command->footer(ExampleFooter(example));
    command->callback([&context, &g, run] { context.run = [&g, run] { return run(g); }; });
  };
  simple("identify", "Open the instrument with an identity check and print who it is",
         "veqdx -r TCPIP::192.168.1.20::5025::SOCKET identify", Identify);
  simple("get", "Read the settings of each selected output",
         "veqdx -r TCPIP::192.168.1.20::INSTR get --output Output0", Get);
  simple("measure", "Measure voltage and current of each selected output",
         "veqdx -r PSU1 measure --json", Measure);
  simple("state", "Show the regulation and protection states that hold (CV, CC, OV, OC, ...)",
         "veqdx -r PSU1 state", State);
  simple("reset", "Reset the instrument to its default settings", "veqdx -r PSU1 reset", Reset);
  simple("self-test", "Run the instrument's self test and print its result and message",
         "veqdx -r PSU1 self-test", SelfTest);

  auto request = std::make_shared<SetRequest>();
  CLI::App* set = app.add_subcommand(
      "set", "Apply settings to each selected output, in the order voltage, current, OVP, OCP, "
             "UVL, on/off");
  set->add_option("--voltage", request->voltage, "voltage level (V)");
  set->add_option("--current", request->current, "current limit (A)");
  set->add_option("--ovp", request->ovp, "over-voltage protection limit (V)");
  set->add_option("--ocp", request->ocp, "over-current protection limit (A)");
  set->add_option("--uvl", request->uvl, "under-voltage limit: lowest voltage setting allowed (V)");
  CLI::Option* on = set->add_flag("--on", request->on, "switch the output on");
  set->add_flag("--off", request->off, "switch the output off")->excludes(on);
  set->add_flag("-v,--verbose", request->verbose, "echo each setting applied");
  set->footer(ExampleFooter("veqdx -r PSU1 set --voltage 12 --current 0.5 --on"));
  set->callback([&context, request] {
    context.run = [&context, request] { return Set(context.global, *request); };
  });
}

}  // namespace veqdx_cli
