// store list / add / remove: the configuration store file, edited in place.
#include <algorithm>
#include <iostream>

#include "commands.h"
#include "store_file.h"

namespace veqdx_cli {
namespace {

using nlohmann::json;

struct StoreRequest {
  std::string file;  // --store FILE, else the store in use
  std::string name, resource, driverSetup, logicalName;
  bool simulate = false, hasDriverSetup = false;
};

std::string PathOf(const StoreRequest& request) {
  return request.file.empty() ? StorePath() : request.file;
}

bool TrueText(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), ::tolower);
  return text == "true" || text == "1";
}

void PrintTable(const std::vector<std::vector<std::string>>& rows) {
  std::vector<size_t> widths;
  for (const auto& row : rows)
    for (size_t i = 0; i < row.size(); ++i) {
      widths.resize(std::max(widths.size(), row.size()));
      widths[i] = std::max(widths[i], row[i].size());
    }
  for (const auto& row : rows) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i)
      line += i + 1 < row.size() ? row[i] + std::string(widths[i] - row[i].size() + 2, ' ') : row[i];
    while (!line.empty() && line.back() == ' ') line.pop_back();
    std::cout << line << "\n";
  }
}

int List(const GlobalOptions& options, const StoreRequest& request) {
  CStoreFile store(PathOf(request));
  json sessions = json::array(), logicalNames = json::array();
  pugi::xml_node assets = store.Root().child("HardwareAssets");
  for (pugi::xml_node s : store.Root().child("DriverSessions").children("DriverSession")) {
    std::string asset = s.attribute("hardwareAsset").value();
    pugi::xml_node assetNode = assets.find_child_by_attribute("HardwareAsset", "name", asset.c_str());
    std::string resource = assetNode ? assetNode.attribute("resource").value() : s.attribute("resource").value();
    sessions.push_back({{"name", s.attribute("name").value()},
                        {"resource", resource},
                        {"software_module", s.attribute("softwareModule").value()},
                        {"hardware_asset", asset},
                        {"simulate", TrueText(s.attribute("simulate").value())},
                        {"driver_setup", s.attribute("driverSetup").value()}});
  }
  for (pugi::xml_node l : store.Root().child("LogicalNames").children("LogicalName"))
    logicalNames.push_back({{"name", l.attribute("name").value()}, {"session", l.attribute("session").value()}});
  if (options.json) {
    PrintJson({{"store", store.path()}, {"sessions", sessions}, {"logical_names", logicalNames}});
    return kExitOk;
  }
  std::cout << "Store: " << store.path() << "\n\n";
  std::vector<std::vector<std::string>> rows = {{"SESSION", "RESOURCE", "SIMULATE", "DRIVER SETUP"}};
  for (const json& s : sessions)
    rows.push_back({s["name"], s["resource"], s["simulate"].get<bool>() ? "true" : "false", s["driver_setup"]});
  PrintTable(rows);
  std::cout << "\n";
  rows = {{"LOGICAL NAME", "SESSION"}};
  for (const json& l : logicalNames) rows.push_back({l["name"], l["session"]});
  PrintTable(rows);
  return kExitOk;
}

int Add(const GlobalOptions& options, const StoreRequest& request) {
  CStoreFile store(PathOf(request));
  store.AddSession(request.name, request.resource, request.simulate,
                   request.hasDriverSetup ? &request.driverSetup : nullptr);
  if (!request.logicalName.empty()) store.AddLogicalName(request.logicalName, request.name);
  store.Save();
  if (options.json) PrintJson({{"ok", true}});
  return kExitOk;
}

int Remove(const GlobalOptions& options, const StoreRequest& request) {
  CStoreFile store(PathOf(request));
  if (!store.RemoveSession(request.name))
    throw DriverError(VEQDX_ERROR_RESOURCE_UNKNOWN, "No driver session named '" + request.name +
                                                        "' in the store '" + store.path() +
                                                        "': 'veqdx store list' shows the names.");
  store.Save();
  if (options.json) PrintJson({{"ok", true}});
  return kExitOk;
}

}  // namespace

void AddStoreCommands(CLI::App& app, Context& context) {
  auto request = std::make_shared<StoreRequest>();
  CLI::App* store = app.add_subcommand(
      "store", "List and edit the configuration store's driver sessions and logical names");
  store->require_subcommand(1);
  store->add_option("--store", request->file,
                    "store file to use (default: $IVI_CONFIG_STORE, else "
                    "$XDG_CONFIG_HOME/ivi/IviConfigurationStore.xml)");
  store->footer(ExampleFooter("veqdx store add PSU1 --resource TCPIP::192.168.1.20::INSTR "
                              "--logical-name MainSupply"));
  auto bind = [&context, request](CLI::App* command, int (*run)(const GlobalOptions&, const StoreRequest&)) {
    command->callback([&context, request, run] {
      context.run = [&context, request, run] { return run(context.global, *request); };
    });
  };

  CLI::App* list = store->add_subcommand("list", "List the driver sessions and logical names");
  list->footer(ExampleFooter("veqdx store list --json"));
  bind(list, List);

  CLI::App* add = store->add_subcommand(
      "add", "Add (or replace) a driver session and its hardware asset; nothing is opened");
  add->add_option("NAME", request->name, "driver session name")->required();
  add->add_option("-r,--resource", request->resource, "the instrument's resource string")->required();
  add->add_flag("--simulate", request->simulate, "the session simulates the instrument");
  add->add_option("--driver-setup", request->driverSetup, "DriverSetup text, e.g. Model=QDX750L")
      ->each([request](const std::string&) { request->hasDriverSetup = true; });
  add->add_option("--logical-name", request->logicalName, "also add this logical name for it");
  add->footer(ExampleFooter("veqdx store add Bench3 --resource TCPIP::192.168.1.20::5025::SOCKET "
                            "--driver-setup Model=QDX750MH --logical-name MainSupply"));
  bind(add, Add);

  CLI::App* remove = store->add_subcommand(
      "remove", "Remove a driver session, its hardware asset if unused, and its logical names");
  remove->add_option("NAME", request->name, "driver session name")->required();
  remove->footer(ExampleFooter("veqdx store remove Bench3"));
  bind(remove, Remove);
}

}  // namespace veqdx_cli
