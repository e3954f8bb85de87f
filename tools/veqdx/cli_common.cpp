#include "cli_common.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <iostream>

namespace veqdx_cli {
namespace {

std::string Trim(const std::string& text) {
  size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string::npos) return "";
  size_t end = text.find_last_not_of(" \t");
  return text.substr(begin, end - begin + 1);
}

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// The resource given when only --simulate is: nothing is opened, but the driver wants a name.
constexpr const char* kSimulatedResource = "TCPIP::localhost::INSTR";

}  // namespace

std::string BuildOptionString(bool simulate, const std::string& options,
                              std::optional<int> timeoutMs) {
  std::string result = simulate ? "Simulate=true" : "";
  std::string user = Trim(options);
  if (!user.empty()) result += (result.empty() ? "" : ", ") + user;
  if (timeoutMs) {
    std::string item = "IoTimeout=" + std::to_string(*timeoutMs);
    if (Lower(result).find("driversetup") != std::string::npos)
      result += ", " + item;  // DriverSetup takes the rest of the string
    else
      result += (result.empty() ? "" : ", ") + ("DriverSetup=" + item);
  }
  return result;
}

std::vector<std::string> ExpandSelector(const std::string& selector,
                                        const std::vector<std::string>& names) {
  std::vector<std::string> selected;
  size_t start = 0;
  while (start <= selector.size()) {
    size_t comma = selector.find(',', start);
    std::string part = Trim(selector.substr(start, comma - start));
    start = comma == std::string::npos ? selector.size() + 1 : comma + 1;
    if (part.empty()) throw UsageError("empty output name in --output '" + selector + "'");
    size_t dash = part.find('-');
    if (dash == std::string::npos) {
      selected.push_back(part);
      continue;
    }
    std::string first = Trim(part.substr(0, dash)), last = Trim(part.substr(dash + 1));
    auto from = std::find(names.begin(), names.end(), first);
    auto to = std::find(names.begin(), names.end(), last);
    if (from == names.end() || to == names.end()) {
      // Let the driver say which name it does not know.
      selected.push_back(from == names.end() ? first : last);
      continue;
    }
    if (from > to) std::swap(from, to);
    selected.insert(selected.end(), from, to + 1);
  }
  return selected;
}

std::string HexStatus(ViStatus status) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(static_cast<ViUInt32>(status)));
  return text;
}

std::string Fixed(double value, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

std::string Shortest(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.15g", value);
  return text;
}

std::string RecordedError(ViSession vi, ViStatus status) {
  ViStatus code = 0;
  std::string description(1024, '\0');
  veqdx_GetError(vi, &code, static_cast<ViInt32>(description.size()), description.data());
  description.resize(description.find('\0'));
  if (description.empty()) {
    ViChar message[256] = {};
    veqdx_error_message(vi, status, message);
    description = message;
  }
  // Driver messages carry line breaks of their own; the tool's error is one line.
  for (char& c : description)
    if (c == '\r' || c == '\n' || c == '\t') c = ' ';
  std::string flat;
  for (char c : description)
    if (!(c == ' ' && (flat.empty() || flat.back() == ' '))) flat += c;
  while (!flat.empty() && flat.back() == ' ') flat.pop_back();
  return flat;
}

CSession::CSession(const std::string& resource, bool idQuery, const std::string& optionString) {
  ViStatus status = veqdx_InitWithOptions(const_cast<ViRsrc>(resource.c_str()),
                                          idQuery ? VI_TRUE : VI_FALSE, VI_FALSE,
                                          optionString.c_str(), &vi_);
  if (status < VI_SUCCESS) {
    vi_ = VI_NULL;
    throw DriverError(status, RecordedError(VI_NULL, status));
  }
}

CSession::~CSession() {
  if (vi_ != VI_NULL) veqdx_close(vi_);
}

void CSession::Check(ViStatus status) const {
  if (status < VI_SUCCESS) throw DriverError(status, RecordedError(vi_, status));
}

std::vector<std::string> CSession::OutputNames() const {
  ViInt32 count = 0;
  Check(veqdx_GetAttributeViInt32(vi_, "", VEQDX_ATTR_OUTPUT_COUNT, &count));
  std::vector<std::string> names;
  for (ViInt32 i = 1; i <= count; ++i) {
    ViChar name[256] = {};
    Check(veqdx_GetOutputName(vi_, i, sizeof name, name));
    names.emplace_back(name);
  }
  return names;
}

std::vector<std::string> CSession::Select(const std::string& selector) const {
  std::vector<std::string> names = OutputNames();
  return Trim(selector).empty() ? names : ExpandSelector(selector, names);
}

std::string CSession::GetString(ViAttr attribute, const std::string& repCap) const {
  ViStatus needed = veqdx_GetAttributeViString(vi_, repCap.c_str(), attribute, 0, nullptr);
  Check(needed);
  std::string value(static_cast<size_t>(std::max<ViStatus>(needed, 1)), '\0');
  Check(veqdx_GetAttributeViString(vi_, repCap.c_str(), attribute,
                                   static_cast<ViInt32>(value.size()), value.data()));
  value.resize(value.find('\0'));
  return value;
}

double CSession::GetReal(ViAttr attribute, const std::string& repCap) const {
  ViReal64 value = 0;
  Check(veqdx_GetAttributeViReal64(vi_, repCap.c_str(), attribute, &value));
  return value;
}

bool CSession::GetBool(ViAttr attribute, const std::string& repCap) const {
  ViBoolean value = VI_FALSE;
  Check(veqdx_GetAttributeViBoolean(vi_, repCap.c_str(), attribute, &value));
  return value != VI_FALSE;
}

std::string CSession::Query(const std::string& command) const {
  Check(veqdx_SystemWrite(vi_, command.c_str()));
  if (command.empty() || command.back() != '?') return "";
  std::string reply(64 * 1024, '\0');
  ViInt32 count = 0;
  Check(veqdx_SystemRead(vi_, static_cast<ViInt32>(reply.size()), reply.data(), &count));
  reply.resize(static_cast<size_t>(std::max<ViInt32>(count, 0)));
  while (!reply.empty() && (reply.back() == '\n' || reply.back() == '\r')) reply.pop_back();
  return reply;
}

CSession OpenSession(const GlobalOptions& options, bool idQuery) {
  std::string resource = options.resource;
  if (resource.empty()) {
    const char* fromEnvironment = std::getenv("VEQDX_RESOURCE");
    if (fromEnvironment) resource = fromEnvironment;
  }
  if (resource.empty()) {
    if (!options.simulate)
      throw UsageError("no instrument given: pass --resource RES (or set VEQDX_RESOURCE), "
                       "or --simulate");
    resource = kSimulatedResource;
  }
  return CSession(resource, idQuery,
                  BuildOptionString(options.simulate, options.options, options.timeoutMs));
}

void PrintJson(const nlohmann::json& document) {
  std::cout << document.dump() << "\n";
  std::cout.flush();
}

}  // namespace veqdx_cli
