#include "core/config_store.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <pugixml.hpp>

namespace veqdx {
namespace {

constexpr const char* kStoreFileName = "/ivi/IviConfigurationStore.xml";
constexpr const char* kDriverPrefix = "veqdx";

bool Exists(const std::string& path) {
  struct stat st {};
  return !path.empty() && ::stat(path.c_str(), &st) == 0;
}

bool IsDirectory(const std::string& path) {
  struct stat st {};
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// One read of one store file: the text (for line numbers) and its document.
class CStoreReader {
 public:
  CStoreReader(std::string path, const CErrorReporter& reporter)
      : path_(std::move(path)), reporter_(reporter) {}

  HRESULT Load() {
    if (IsDirectory(path_)) return reporter_.ReportCannotOpenFile(Where() + " is a directory.");
    std::ifstream in(path_, std::ios::binary);
    if (!in) return reporter_.ReportCannotOpenFile(Where() + ": " + std::strerror(errno) + ".");
    text_.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (in.bad()) return reporter_.ReportCannotOpenFile(Where() + ": the file cannot be read.");
    const pugi::xml_parse_result parsed = doc_.load_buffer(text_.data(), text_.size());
    if (!parsed)
      return Invalid(LineOf(static_cast<std::size_t>(parsed.offset)), parsed.description());
    if (!Root()) return Invalid(1, "the root element is not IviConfigStore");
    return S_OK;
  }

  pugi::xml_node Root() const { return doc_.child("IviConfigStore"); }

  // The child of `list` (a collection element of the root) whose "name" is `name`.
  pugi::xml_node Named(const char* list, const char* item, std::string_view name) const {
    for (pugi::xml_node n : Root().child(list).children(item))
      if (name == n.attribute("name").value()) return n;
    return {};
  }

  HRESULT Invalid(int line, std::string_view what) const {
    return reporter_.ReportInvalidFileFormat(Where() + ", line " + std::to_string(line) + ": " +
                                             std::string(what) + ".");
  }
  HRESULT Invalid(pugi::xml_node at, std::string_view what) const {
    return Invalid(LineOf(static_cast<std::size_t>(std::max<std::ptrdiff_t>(0, at.offset_debug()))),
                   what);
  }
  int LineOf(std::size_t offset) const {
    offset = std::min(offset, text_.size());
    return 1 + static_cast<int>(std::count(text_.begin(), text_.begin() + offset, '\n'));
  }
  const std::string& Path() const { return path_; }

 private:
  std::string Where() const { return "IVI configuration store " + path_; }

  std::string path_;
  const CErrorReporter& reporter_;
  std::string text_;
  pugi::xml_document doc_;
};

// Reads the settings under `owner`'s ConfigurableInitialSettings; Structure settings hold
// nested ones, applied in their order; APIReference settings are accepted and ignored.
void CollectSettings(const CStoreReader& reader, pugi::xml_node parent,
                     std::vector<InitialSetting>& out) {
  for (pugi::xml_node s : parent.children("Setting")) {
    const std::string type = s.attribute("type").value();
    if (type == "Structure") {
      CollectSettings(reader, s, out);
      continue;
    }
    if (type == "APIReference") continue;
    out.push_back({s.attribute("name").value(), s.attribute("repCap").value(), type,
                   s.text().get(),
                   reader.LineOf(static_cast<std::size_t>(std::max<std::ptrdiff_t>(0, s.offset_debug())))});
  }
}

// The six inherent settings of a DriverSession element; absent attributes keep the defaults.
HRESULT ReadInherentSettings(const CStoreReader& reader, pugi::xml_node session,
                             InherentSettings& s) {
  for (const auto& a : kInherentSettingFields) {
    const pugi::xml_attribute attr = session.attribute(a.name);
    if (!attr) continue;
    const std::string_view v = TrimView(attr.value());
    if (EqualsNoCase(v, "true") || v == "1") {
      s.*a.field = true;
    } else if (EqualsNoCase(v, "false") || v == "0") {
      s.*a.field = false;
    } else {
      return reader.Invalid(session, std::string("attribute ") + a.name + " of session \"" +
                                         session.attribute("name").value() + "\" is \"" +
                                         attr.value() + "\", not true or false");
    }
  }
  return S_OK;
}

}  // namespace

std::string LocateConfigStoreFile() {
  if (const char* env = std::getenv("IVI_CONFIG_STORE")) {
    if (*env == '\0') return {};
    if (Exists(env)) return env;
  }
  std::string user;
  if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg != nullptr && *xdg != '\0')
    user = xdg;
  else if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0')
    user = std::string(home) + "/.config";
  if (!user.empty() && Exists(user + kStoreFileName)) return user + kStoreFileName;
  const std::string system = std::string("/etc") + kStoreFileName;
  return Exists(system) ? system : std::string();
}

HRESULT CFileConfigStore::FindDriverSession(std::string_view resourceName,
                                            const CErrorReporter& reporter,
                                            ConfigStoreSession& out, bool& found) {
  found = false;
  const std::string path = path_.empty() ? LocateConfigStoreFile() : path_;
  if (path.empty()) return S_OK;
  CStoreReader reader(path, reporter);
  if (HRESULT hr = reader.Load(); Failed(hr)) return hr;

  std::string sessionName(resourceName);
  if (pugi::xml_node logical = reader.Named("LogicalNames", "LogicalName", resourceName)) {
    sessionName = logical.attribute("session").value();
    if (!reader.Named("DriverSessions", "DriverSession", sessionName))
      return reader.Invalid(logical, "logical name \"" + std::string(resourceName) +
                                         "\" names the driver session \"" + sessionName +
                                         "\", which the file does not hold");
  }
  const pugi::xml_node session = reader.Named("DriverSessions", "DriverSession", sessionName);
  if (!session) return S_OK;

  ConfigStoreSession s;
  s.storeFile = path;
  // Another driver's session is not ours to read any further.
  const pugi::xml_node module =
      reader.Named("SoftwareModules", "SoftwareModule", session.attribute("softwareModule").value());
  if (!module || std::string_view(module.attribute("prefix").value()) != kDriverPrefix) {
    s.softwareModuleLoadable = false;
    out = std::move(s);
    found = true;
    return S_OK;
  }
  if (HRESULT hr = ReadInherentSettings(reader, session, s.settings); Failed(hr)) return hr;
  s.driverSetup = session.attribute("driverSetup").value();
  if (pugi::xml_attribute asset = session.attribute("hardwareAsset")) {
    const pugi::xml_node hw = reader.Named("HardwareAssets", "HardwareAsset", asset.value());
    if (!hw)
      return reader.Invalid(session, "driver session \"" + sessionName +
                                         "\" names the hardware asset \"" + asset.value() +
                                         "\", which the file does not hold");
    s.hardwareResource = hw.attribute("resource").value();
  } else {
    s.hardwareResource = session.attribute("resource").value();
  }
  CollectSettings(reader, module.child("ConfigurableInitialSettings"), s.initialSettings);
  CollectSettings(reader, session.child("ConfigurableInitialSettings"), s.initialSettings);
  out = std::move(s);
  found = true;
  return S_OK;
}

}  // namespace veqdx
