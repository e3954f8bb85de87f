#include "store_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "cli_common.h"

namespace veqdx_cli {
namespace {

namespace fs = std::filesystem;
constexpr const char* kFileName = "ivi/IviConfigurationStore.xml";
constexpr const char* kModuleName = "VelmoraQdx";

std::string UserStorePath() {
  const char* xdg = std::getenv("XDG_CONFIG_HOME");
  if (xdg && *xdg) return std::string(xdg) + "/" + kFileName;
  const char* home = std::getenv("HOME");
  return std::string(home ? home : ".") + "/.config/" + kFileName;
}

pugi::xml_node FindNamed(pugi::xml_node section, const char* element, const std::string& name) {
  return section.find_child_by_attribute(element, "name", name.c_str());
}

void SetAttribute(pugi::xml_node node, const char* name, const std::string& value) {
  pugi::xml_attribute attribute = node.attribute(name);
  if (!attribute) attribute = node.append_attribute(name);
  attribute.set_value(value.c_str());
}

}  // namespace

std::string StorePath() {
  if (const char* named = std::getenv("IVI_CONFIG_STORE")) {
    if (!*named)
      throw UsageError("IVI_CONFIG_STORE is empty, which means no store: unset it or name a file");
    return named;
  }
  std::string user = UserStorePath();
  std::error_code error;
  if (fs::exists(user, error)) return user;
  if (fs::exists("/etc/" + std::string(kFileName), error)) return "/etc/" + std::string(kFileName);
  return user;
}

CStoreFile::CStoreFile(std::string path) : path_(std::move(path)) {
  std::error_code error;
  if (!fs::exists(path_, error)) {
    doc_.append_child(pugi::node_declaration).append_attribute("version") = "1.0";
    doc_.child("xml").append_attribute("encoding") = "UTF-8";
    doc_.append_child("IviConfigStore").append_attribute("version") = "1";
    return;
  }
  pugi::xml_parse_result result =
      doc_.load_file(path_.c_str(), pugi::parse_default | pugi::parse_declaration | pugi::parse_comments);
  if (result.status == pugi::status_file_not_found || result.status == pugi::status_io_error)
    throw DriverError(VEQDX_ERROR_CANNOT_OPEN_FILE,
                      "Cannot open file '" + path_ + "': check that it is readable.");
  if (!result) {
    // pugixml reports a byte offset; users want the line.
    std::ifstream in(path_);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    long line = 1;
    for (ptrdiff_t i = 0; i < result.offset && i < static_cast<ptrdiff_t>(text.size()); ++i)
      line += text[static_cast<size_t>(i)] == '\n';
    throw DriverError(VEQDX_ERROR_INVALID_FILE_FORMAT,
                      "Invalid file format: '" + path_ + "' line " + std::to_string(line) + ": " +
                          result.description() + "; fix or move the file.");
  }
  if (!Root())
    throw DriverError(VEQDX_ERROR_INVALID_FILE_FORMAT,
                      "Invalid file format: '" + path_ + "' has no IviConfigStore element.");
}

pugi::xml_node CStoreFile::Section(const char* name) {
  pugi::xml_node section = Root().child(name);
  return section ? section : Root().append_child(name);
}

std::string CStoreFile::ModuleName() {
  pugi::xml_node modules = Section("SoftwareModules");
  for (pugi::xml_node module : modules.children("SoftwareModule"))
    if (std::string(module.attribute("prefix").value()) == "veqdx") return module.attribute("name").value();
  pugi::xml_node module = modules.append_child("SoftwareModule");
  module.append_attribute("name") = kModuleName;
  module.append_attribute("prefix") = "veqdx";
  module.append_attribute("modulePath") = "libveqdx.so.1";
  return kModuleName;
}

void CStoreFile::AddSession(const std::string& name, const std::string& resource, bool simulate,
                            const std::string* driverSetup) {
  std::string module = ModuleName();
  pugi::xml_node sessions = Section("DriverSessions");
  pugi::xml_node session = FindNamed(sessions, "DriverSession", name);
  if (!session) {
    session = sessions.append_child("DriverSession");
    session.append_attribute("name") = name.c_str();
  }
  // The session's asset carries the resource; an asset other sessions share is not changed.
  std::string asset = session.attribute("hardwareAsset").value();
  pugi::xml_node assets = Section("HardwareAssets");
  bool shared = false;
  for (pugi::xml_node other : sessions.children("DriverSession"))
    shared |= other != session && asset == other.attribute("hardwareAsset").value();
  if (asset.empty() || shared) asset = name;
  pugi::xml_node assetNode = FindNamed(assets, "HardwareAsset", asset);
  if (!assetNode) {
    assetNode = assets.append_child("HardwareAsset");
    assetNode.append_attribute("name") = asset.c_str();
  }
  SetAttribute(assetNode, "resource", resource);
  SetAttribute(session, "softwareModule", module);
  SetAttribute(session, "hardwareAsset", asset);
  session.remove_attribute("resource");  // the asset's resource is the one in use
  SetAttribute(session, "simulate", simulate ? "true" : "false");
  if (driverSetup) SetAttribute(session, "driverSetup", *driverSetup);
}

void CStoreFile::AddLogicalName(const std::string& name, const std::string& session) {
  pugi::xml_node names = Section("LogicalNames");
  pugi::xml_node logical = FindNamed(names, "LogicalName", name);
  if (!logical) {
    logical = names.append_child("LogicalName");
    logical.append_attribute("name") = name.c_str();
  }
  SetAttribute(logical, "session", session);
}

bool CStoreFile::RemoveSession(const std::string& name) {
  pugi::xml_node sessions = Root().child("DriverSessions");
  pugi::xml_node session = FindNamed(sessions, "DriverSession", name);
  if (!session) return false;
  std::string asset = session.attribute("hardwareAsset").value();
  sessions.remove_child(session);
  bool used = false;
  for (pugi::xml_node other : sessions.children("DriverSession"))
    used |= asset == other.attribute("hardwareAsset").value();
  if (!asset.empty() && !used)
    Root().child("HardwareAssets").remove_child(FindNamed(Root().child("HardwareAssets"), "HardwareAsset", asset));
  pugi::xml_node names = Root().child("LogicalNames");
  for (pugi::xml_node logical = names.first_child(); logical;) {
    pugi::xml_node next = logical.next_sibling();
    if (std::string(logical.name()) == "LogicalName" && name == logical.attribute("session").value())
      names.remove_child(logical);
    logical = next;
  }
  return true;
}

void CStoreFile::Save() {
  fs::path target(path_);
  std::error_code error;
  if (target.has_parent_path()) fs::create_directories(target.parent_path(), error);
  std::string temporary = path_ + ".XXXXXX";
  int fd = mkstemp(temporary.data());
  auto fail = [&](const std::string& what) {
    throw DriverError(VEQDX_ERROR_WRITING_FILE, "Error writing to file '" + path_ + "': " + what +
                                                    ": " + std::strerror(errno) + ".");
  };
  if (fd < 0) fail("cannot create a temporary file beside it");
  std::ostringstream text;
  doc_.save(text, "  ", pugi::format_default, pugi::encoding_utf8);
  std::string data = text.str();
  size_t written = 0;
  while (written < data.size()) {
    ssize_t n = write(fd, data.data() + written, data.size() - written);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    written += static_cast<size_t>(n);
  }
  struct stat old = {};
  fchmod(fd, stat(path_.c_str(), &old) == 0 ? (old.st_mode & 07777) : 0644);
  bool ok = written == data.size() && fsync(fd) == 0;
  ok = close(fd) == 0 && ok;
  if (!ok || rename(temporary.c_str(), path_.c_str()) != 0) {
    int saved = errno;
    unlink(temporary.c_str());
    errno = saved;
    fail("cannot replace it");
  }
}

}  // namespace veqdx_cli
