// veqdx: identify, set, read, log, discover and talk to VelmoraQdx supplies from a shell.
// A client of libveqdx.so through veqdx.h only, like any application.
#include <iostream>

#include "commands.h"

#ifndef VEQDX_TOOL_VERSION
#define VEQDX_TOOL_VERSION "0"
#endif

namespace veqdx_cli {

std::string ExampleFooter(const std::string& examples) {
  return "\nExample:\n  " + examples +
         "\n\nGlobal options (-r RES, --simulate, --options, --timeout, -o, --json, -q) may "
         "follow the command: see 'veqdx --help'.\n";
}

namespace {

// The driver's revision needs a session; a simulated one touches nothing.
std::string VersionText() {
  std::string driver = "unknown";
  try {
    CSession session("TCPIP::localhost::INSTR", false, "Simulate=true");
    ViChar driverRev[256] = {}, instrRev[256] = {};
    if (veqdx_revision_query(session.vi(), driverRev, instrRev) >= VI_SUCCESS) driver = driverRev;
  } catch (const DriverError&) {
  }
  return std::string("veqdx ") + VEQDX_TOOL_VERSION + "\ndriver " + driver;
}

void AddGlobalOptions(CLI::App& app, GlobalOptions& g) {
  app.add_option("-r,--resource", g.resource,
                 "resource string, or a logical or session name of the configuration store "
                 "(default: $VEQDX_RESOURCE)");
  app.add_flag("--simulate", g.simulate, "simulate the instrument (Simulate=true)");
  app.add_option("--options", g.options, "option string for the driver, after --simulate");
  app.add_option("--timeout", g.timeoutMs, "I/O timeout in milliseconds (DriverSetup IoTimeout)")
      ->check(CLI::Range(1, 3600000));
  app.add_option("-o,--output", g.outputs,
                 "output(s) to act on: a name or a range (Output1-Output2); default: every output");
  app.add_flag("--json", g.json, "machine-readable output: one JSON document on stdout");
  app.add_flag("-q,--quiet", g.quiet, "no progress and no chatter on stderr");
  app.set_version_flag("--version", VersionText, "print the tool's and the driver's revision");
}

// The command the user was in when the line went wrong, for the --help hint.
std::string CommandPath(const CLI::App& app) {
  std::string path = "veqdx";
  const CLI::App* current = &app;
  for (;;) {
    auto parsed = current->get_subcommands();
    if (parsed.empty()) break;
    current = parsed.front();
    path += " " + current->get_name();
  }
  return path;
}

}  // namespace
}  // namespace veqdx_cli

int main(int argc, char** argv) {
  using namespace veqdx_cli;
  Context context;
  CLI::App app("veqdx: identify, set, measure, log and discover VelmoraQdx DC power supplies",
               "veqdx");
  app.fallthrough();  // global options may follow the command
  app.require_subcommand(1);
  app.footer(
      "\nExample:\n  veqdx --simulate identify\n  veqdx -r TCPIP::192.168.1.20::5025::SOCKET set "
      "--voltage 12 --on\n  veqdx -r PSU1 log --interval 1 --duration 3600 --csv run.csv\n\n"
      "'veqdx COMMAND --help' tells more about each command; 'man veqdx' tells all.\n");
  AddGlobalOptions(app, context.global);
  AddInstrumentCommands(app, context);
  AddDirectCommands(app, context);
  AddLogCommand(app, context);
  AddDiscoverCommand(app, context);
  AddStoreCommands(app, context);

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    std::string path = CommandPath(app);
    std::vector<std::string> extra = app.remaining();
    std::string message = e.what();
    // CLI11 says only that a command is missing when the word given is not one.
    if (!extra.empty() && path == "veqdx" && dynamic_cast<const CLI::RequiredError*>(&e))
      message = "unknown command '" + extra.front() + "'";
    std::cerr << "veqdx: " << message << "\nRun '" << path << " --help' for usage.\n";
    return kExitUsage;
  }
  try {
    return context.run ? context.run() : kExitOk;
  } catch (const UsageError& e) {
    std::cerr << "veqdx: " << e.what() << "\nRun '" << CommandPath(app) << " --help' for usage.\n";
    return kExitUsage;
  } catch (const DriverError& e) {
    std::cout.flush();
    std::cerr << "veqdx: " << HexStatus(e.status) << " " << e.what() << "\n";
    return kExitFailure;
  } catch (const std::exception& e) {
    std::cout.flush();
    std::cerr << "veqdx: " << HexStatus(VEQDX_ERROR_CANNOT_RECOVER) << " " << e.what() << "\n";
    return kExitFailure;
  }
}
