// Each group of commands adds its subcommands to the application. A subcommand's callback
// stores what to run in Context::run; main() runs it after parsing, so that failures map to
// the tool's exit statuses in one place.
#pragma once

#include <functional>

#include <CLI/CLI.hpp>

#include "cli_common.h"

namespace veqdx_cli {

struct Context {
  GlobalOptions global;
  std::function<int()> run;
};

void AddInstrumentCommands(CLI::App& app, Context& context);  // identify set get measure state reset self-test
void AddDirectCommands(CLI::App& app, Context& context);      // scpi errors
void AddLogCommand(CLI::App& app, Context& context);
void AddDiscoverCommand(CLI::App& app, Context& context);
void AddStoreCommands(CLI::App& app, Context& context);

// "Example:" footer text shared by every --help.
std::string ExampleFooter(const std::string& examples);

}  // namespace veqdx_cli
