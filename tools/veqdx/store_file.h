// The configuration store file: where it is, and edits that keep every element the tool does
// not know (other drivers' entries, settings, comments) and replace the file atomically.
#pragma once

#include <string>

#include <pugixml.hpp>

namespace veqdx_cli {

// The store in use: $IVI_CONFIG_STORE, else the first existing of the user's and the system's
// file, else the user's ($XDG_CONFIG_HOME/ivi/IviConfigurationStore.xml), to be created.
std::string StorePath();

class CStoreFile {
 public:
  explicit CStoreFile(std::string path);  // loads it; a missing file gives an empty store
  const std::string& path() const { return path_; }
  pugi::xml_node Root() { return doc_.child("IviConfigStore"); }
  // The section named (SoftwareModules, HardwareAssets, ...), created when absent.
  pugi::xml_node Section(const char* name);

  // Adds or updates the driver session and its hardware asset of the same name.
  void AddSession(const std::string& name, const std::string& resource, bool simulate,
                  const std::string* driverSetup);
  void AddLogicalName(const std::string& name, const std::string& session);
  // Removes the session, its hardware asset when no other session uses it, and the logical
  // names pointing to it. False when there is no such session.
  bool RemoveSession(const std::string& name);
  // Writes a temporary file beside it, then renames it over the store.
  void Save();

 private:
  std::string ModuleName();
  std::string path_;
  pugi::xml_document doc_;
};

}  // namespace veqdx_cli
