#include "api/initial_settings.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <string>

#include "api/attribute_table.h"
#include "core/velmoraqdx.h"
#include "dcpwr/output.h"

namespace veqdx::api {
namespace {

constexpr const char* kMethod = "ConfigurableInitialSettings";

// The store's type names against the attribute's; "Integer" also carries enumerations.
bool TypeFits(const std::string& storeType, AttrType type) {
  return (storeType == "Integer" && type == AttrType::Int32) ||
         (storeType == "Real" && type == AttrType::Real64) ||
         (storeType == "Boolean" && type == AttrType::Boolean) ||
         (storeType == "String" && type == AttrType::String);
}

// Reads `text` as a value of `type`; false when it is not one.
bool ReadValue(const std::string& text, AttrType type, AttrValue& v) {
  const std::string t = Trim(text);
  char* end = nullptr;
  errno = 0;
  switch (type) {
    case AttrType::Int32: {
      const long n = std::strtol(t.c_str(), &end, 10);
      v.int32 = static_cast<std::int32_t>(n);
      return !t.empty() && *end == '\0' && errno == 0 && n == v.int32;
    }
    case AttrType::Real64:
      v.real64 = std::strtod(t.c_str(), &end);
      return !t.empty() && *end == '\0' && errno == 0 && std::isfinite(v.real64);
    case AttrType::Boolean:
      if (EqualsNoCase(t, "true") || t == "1") return v.boolean = true, true;
      if (EqualsNoCase(t, "false") || t == "0") return v.boolean = false, true;
      return false;
    case AttrType::String:
      v.string = text;
      return true;
    case AttrType::Session:
      break;
  }
  return false;
}

}  // namespace

HRESULT ApplyInitialSetting(CVelmoraQdx& driver, const InitialSetting& s) {
  const CErrorReporter& reporter = driver.Reporter();
  const AttributeRecord* record = FindAttribute(AttributeIdByName(s.name));
  if (record == nullptr || record->set == nullptr) return reporter.ReportPropertyNotSupported(s.name);
  AttrValue value;
  if (!TypeFits(s.type, record->type) || !ReadValue(s.value, record->type, value))
    return reporter.ReportInvalidValueText(kMethod, s.name, s.type + " " + s.value);
  AttrTarget target{driver, nullptr};
  if (record->perOutput) {
    std::string name = s.repCap;
    if (name.empty() && !driver.OnlyOutputName(name)) return reporter.ReportChannelNameRequired();
    target.output = dynamic_cast<dcpwr::CVelmoraQdxOutput*>(driver.FindChild(name));
    if (target.output == nullptr) return reporter.ReportUnknownChannelName(name);
  }
  return record->set(target, value);
}

void InstallInitialSettings(CVelmoraQdx& driver) {
  driver.SetInitialSettingApplier(
      [&driver](const InitialSetting& s) { return ApplyInitialSetting(driver, s); });
}

}  // namespace veqdx::api
