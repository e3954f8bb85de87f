// scpi and errors: talking to the instrument directly and draining its error queue.
#include <iostream>

#include "commands.h"

namespace veqdx_cli {
namespace {

using nlohmann::json;

// The queue holds 20 entries; the bound only stops an instrument that never says "0".
constexpr int kMaxErrors = 100;

int Scpi(const GlobalOptions& options, const std::vector<std::string>& commands) {
  CSession session = OpenSession(options, false);
  json replies = json::array();
  for (const std::string& command : commands) {
    std::string reply = session.Query(command);
    if (command.empty() || command.back() != '?') continue;
    if (options.json)
      replies.push_back(reply);
    else
      std::cout << reply << std::endl;
  }
  if (options.json) PrintJson({{"replies", replies}});
  return kExitOk;
}

int Errors(const GlobalOptions& options) {
  CSession session = OpenSession(options, false);
  json errors = json::array();
  for (int i = 0; i < kMaxErrors; ++i) {
    ViInt32 code = 0;
    ViChar message[256] = {};
    session.Check(veqdx_error_query(session.vi(), &code, message));
    if (code == 0) break;
    if (options.json)
      errors.push_back({{"code", code}, {"message", message}});
    else
      std::cout << code << ",\"" << message << "\"\n";
  }
  if (options.json) PrintJson({{"errors", errors}});
  return kExitOk;
}

}  // namespace

void AddDirectCommands(CLI::App& app, Context& context) {
  auto commands = std::make_shared<std::vector<std::string>>();
  CLI::App* scpi = app.add_subcommand(
      "scpi", "Send each argument to the instrument; print the reply of each one ending in '?'");
  scpi->add_option("CMD", *commands, "SCPI messages, sent in order")->required();
  scpi->footer(ExampleFooter("veqdx -r PSU1 scpi ':VOLT 5' ':VOLT?' '*IDN?'"));
  scpi->callback([&context, commands] {
    context.run = [&context, commands] { return Scpi(context.global, *commands); };
  });

  CLI::App* errors = app.add_subcommand(
      "errors", "Drain the instrument's error queue and print each entry as code,\"message\"");
  errors->footer(ExampleFooter("veqdx -r PSU1 errors --json"));
  errors->callback([&context] { context.run = [&context] { return Errors(context.global); }; });
}

}  // namespace veqdx_cli
