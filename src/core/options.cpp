#include "core/options.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>

namespace veqdx {
namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

char Upper(char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }

// Characters that may stand in an item's name or value: all but the separators.
bool IsItemChar(char c) { return c != ',' && c != '='; }

// Finds "DRIVERSETUP", a space, any further white space and '=' in upper-case text: the
// position of the key, and in `valuePos` the position after the '='. npos when there is none.
// A loop rather than a regular expression: the library's matcher recurses once per character,
// and a caller's option string may hold any number of blanks.
std::size_t FindDriverSetupWithBlanks(std::string_view upper, std::size_t& valuePos) {
  constexpr std::string_view kKey = "DRIVERSETUP ";
  std::size_t key = upper.find(kKey);
  while (key != std::string_view::npos) {
    std::size_t p = key + kKey.size();
    while (p < upper.size() && IsBlank(upper[p])) ++p;
    if (p < upper.size() && upper[p] == '=') {
      valuePos = p + 1;
      return key;
    }
    // No key can start inside the one just rejected or its white space.
    key = upper.find(kKey, p);
  }
  return std::string_view::npos;
}

}  // namespace

bool ParseBooleanOption(std::string_view value, bool& result) {
  const std::string_view v = TrimView(value);
  static constexpr struct {
    const char* text;
    bool value;
  } kAccepted[] = {{"true", true},   {"VI_TRUE", true},   {"1", true},
                   {"false", false}, {"VI_FALSE", false}, {"0", false}};
  for (const auto& accepted : kAccepted) {
    if (EqualsNoCase(v, accepted.text)) {
      result = accepted.value;
      return true;
    }
  }
  return false;
}

std::int32_t ParseDecimalOption(std::string_view value) {
  std::string text(value);  // strtoll needs a terminated string
  const long long parsed = std::strtoll(text.c_str(), nullptr, 10);
  return static_cast<std::int32_t>(std::clamp<long long>(parsed, INT32_MIN, INT32_MAX));
}

HRESULT CTraceState::Switch(bool on) {
  if (on) {
    enabled_ = true;
    return S_OK;
  }
  if (enabled_ && stoppedOnce_) return E_UNEXPECTED;
  if (enabled_) {
    enabled_ = false;
    stoppedOnce_ = true;
  }
  return S_OK;
}

std::string InitConfiguration::DriverSetupItem(std::string_view name,
                                               std::string_view fallback) const {
  auto it = driverSetupItems.find(TrimView(name));
  return it == driverSetupItems.end() ? std::string(fallback) : it->second;
}

std::vector<std::pair<std::string, std::string>> SplitOptionItems(std::string_view list) {
  // An item is a run of item characters, '=' and another such run, each run as long as it
  // goes. A run followed by anything else is skipped, and so is a run that served as a value:
  // "a=b=c" holds the one item a=b. Scanning is a plain loop, so any length of text is safe.
  std::vector<std::pair<std::string, std::string>> items;
  const std::size_t size = list.size();
  std::size_t pos = 0;
  while (pos < size) {
    if (!IsItemChar(list[pos])) {
      ++pos;
      continue;
    }
    const std::size_t nameBegin = pos;
    while (pos < size && IsItemChar(list[pos])) ++pos;
    if (pos + 1 >= size || list[pos] != '=' || !IsItemChar(list[pos + 1])) continue;
    const std::size_t nameEnd = pos;
    const std::size_t valueBegin = ++pos;
    while (pos < size && IsItemChar(list[pos])) ++pos;
    items.emplace_back(list.substr(nameBegin, nameEnd - nameBegin),
                       list.substr(valueBegin, pos - valueBegin));
  }
  return items;
}

void SplitDriverSetup(std::string_view optionString, std::string& optionList,
                      std::string& driverSetup, bool& hasDriverSetup) {
  std::string upper(optionString);
  std::transform(upper.begin(), upper.end(), upper.begin(), Upper);

  std::size_t keyPos = upper.find("DRIVERSETUP=");
  std::size_t valuePos = std::string::npos;
  if (keyPos != std::string::npos) {
    valuePos = keyPos + std::string_view("DRIVERSETUP=").size();
  } else {
    keyPos = FindDriverSetupWithBlanks(upper, valuePos);
  }
  hasDriverSetup = keyPos != std::string::npos;
  if (!hasDriverSetup) {
    optionList.assign(optionString);
    driverSetup.clear();
    return;
  }
  // Upper-casing keeps every position, so the positions found hold for the original text.
  optionList.assign(optionString.substr(0, keyPos));
  driverSetup.assign(optionString.substr(valuePos));
}

HRESULT COptionProcessor::ApplyOptionString(std::string_view optionString) {
  std::string optionList;
  std::string driverSetup;
  bool hasDriverSetup = false;
  SplitDriverSetup(optionString, optionList, driverSetup, hasDriverSetup);

  for (const auto& [name, value] : SplitOptionItems(optionList)) {
    const HRESULT hr = ProcessInitOption(name, value);
    if (Failed(hr)) return hr;
  }
  if (!hasDriverSetup) return S_OK;
  return ApplyDriverSetup(driverSetup);
}

HRESULT COptionProcessor::ProcessInitOption(std::string_view name, std::string_view value) {
  const std::string trimmedName = Trim(name);
  const std::string trimmedValue = Trim(value);
  if (trimmedName.empty())
    return reporter_.ReportInvalidValueText("ProcessInitOption", "strNameIn", name);
  if (trimmedValue.empty())
    return reporter_.ReportInvalidValueText("ProcessInitOption", "strValueIn", value);

  InherentSettings& s = config_.settings;
  for (const auto& setting : kInherentSettingFields) {
    if (!EqualsNoCase(trimmedName, setting.name)) continue;
    bool on = false;
    if (!ParseBooleanOption(trimmedValue, on)) return reporter_.ReportBadOptionValue(value);
    s.*setting.field = on;
    break;
  }
  config_.options[trimmedName] = trimmedValue;
  return S_OK;
}

HRESULT COptionProcessor::ApplyDriverSetup(std::string_view driverSetup) {
  config_.driverSetup.assign(driverSetup);
  config_.driverSetupItems.clear();
  for (const auto& [name, value] : SplitOptionItems(driverSetup)) {
    const HRESULT hr = ProcessDriverSetupItem(name, value);
    if (Failed(hr)) return hr;
  }
  return S_OK;
}

HRESULT COptionProcessor::ProcessDriverSetupItem(std::string_view name, std::string_view value) {
  const std::string trimmedName = Trim(name);
  const std::string trimmedValue = Trim(value);

  auto is = [&](const char* known) { return EqualsNoCase(trimmedName, known); };
  auto readBool = [&](bool& out) -> HRESULT {
    if (!ParseBooleanOption(trimmedValue, out)) return reporter_.ReportBadOptionValue(value);
    return S_OK;
  };

  if (is("Model")) {
    config_.model = trimmedValue;
  } else if (is("Trace")) {
    bool on = false;
    if (HRESULT hr = readBool(on); Failed(hr)) return hr;
    if (Failed(trace_.Switch(on))) {
      // Message numbers outside the table yield E_UNEXPECTED with an error record.
      return reporter_.ReportError(0, "The method trace was already stopped once and cannot "
                                      "be stopped again.");
    }
  } else if (is("TraceName")) {
    trace_.name = trimmedValue;
  } else if (is("TraceSizeMax")) {
    trace_.sizeMax = ParseDecimalOption(trimmedValue);
  } else if (is("TraceArray")) {
    if (HRESULT hr = readBool(trace_.traceArrays); Failed(hr)) return hr;
  } else if (is("TraceArraySizeMax")) {
    trace_.arraySizeMax = ParseDecimalOption(trimmedValue);
  } else if (is("TraceSaveInterval")) {
    trace_.saveInterval = ParseDecimalOption(trimmedValue);
  } else if (is("TraceTransform")) {
    trace_.transform = trimmedValue;
  }
  // Known or not, every item is kept: the transports read their own items from here.
  config_.driverSetupItems[trimmedName] = trimmedValue;
  return S_OK;
}

HRESULT LoadConfiguration(std::string_view resourceName, std::string_view optionString,
                          IConfigStore& store, InitConfiguration& config, CTraceState& trace,
                          const CErrorReporter& reporter) {
  config.Reset();
  trace.ResetSettings();
  COptionProcessor processor(config, trace, reporter);

  ConfigStoreSession session;
  bool found = false;
  if (HRESULT hr = store.FindDriverSession(resourceName, reporter, session, found); Failed(hr))
    return hr;
  if (found) {
    config.logicalName.assign(resourceName);
    config.ioResourceDescriptor = session.hardwareResource;
    if (!session.softwareModuleLoadable) {
      return reporter.ReportUnrecoverable(
          "Software module could not be loaded from the IVI Configuration Store.\r\n"
          "The driver session of \"" + std::string(resourceName) + "\" in " + session.storeFile +
          " names no software module with the prefix \"veqdx\".");
    }
    config.settings = session.settings;
    config.storeFile = session.storeFile;
    config.initialSettings = std::move(session.initialSettings);
    if (!session.driverSetup.empty()) {
      const HRESULT hr = processor.ApplyDriverSetup(session.driverSetup);
      if (Failed(hr)) return hr;
    }
  } else {
    config.ioResourceDescriptor.assign(resourceName);
  }
  return processor.ApplyOptionString(optionString);
}

}  // namespace veqdx
