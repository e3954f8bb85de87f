#include "core/trace_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <pugixml.hpp>

namespace veqdx {
namespace {

bool IsNameChar(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         c == '-' || c == '_' || c == '.';
}

// Length of the valid UTF-8 sequence at `s[i]`, 0 when there is none.
std::size_t Utf8Length(std::string_view s, std::size_t i) {
  const auto b = static_cast<unsigned char>(s[i]);
  std::size_t n = b < 0x80 ? 1 : (b >> 5) == 0x6 ? 2 : (b >> 4) == 0xE ? 3 : (b >> 3) == 0x1E ? 4 : 0;
  if (n == 0 || i + n > s.size() || (n == 2 && b < 0xC2)) return 0;
  for (std::size_t k = 1; k < n; ++k)
    if ((static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) return 0;
  return n;
}

void SetText(pugi::xml_node node, std::string_view text) {
  node.text().set(XmlSafeText(text).c_str());
}

void AddChild(pugi::xml_node parent, const char* name, std::string_view text) {
  SetText(parent.append_child(name), text);
}

void WriteParameter(pugi::xml_node parameters, const TraceParameter& p) {
  pugi::xml_node node = parameters.append_child("Parameter");
  node.append_attribute("name").set_value(XmlSafeText(p.name).c_str());
  node.append_attribute("direction").set_value(p.direction);
  node.append_attribute("type").set_value(XmlSafeText(p.type).c_str());
  if (!p.isArray) {
    SetText(node, p.value);
    return;
  }
  if (p.truncated) node.append_attribute("truncated").set_value("true");
  for (const std::string& item : p.items) AddChild(node, "Item", item);
}

void WriteRecord(pugi::xml_node root, const TraceRecord& r) {
  pugi::xml_node node = root.append_child("TraceRecord");
  AddChild(node, "Interface", r.interfaceName);
  AddChild(node, "Method", r.method);
  pugi::xml_node parameters = node.append_child("Parameters");
  for (const TraceParameter& p : r.parameters) WriteParameter(parameters, p);
  AddChild(node, "Thread", std::to_string(r.thread));
  AddChild(node, "StartTime", TraceTimeText(r.start));
  pugi::xml_node time = node.append_child("ExecutionTime");
  time.append_attribute("unit").set_value("us");
  time.text().set(static_cast<long long>(r.microseconds));
  char hr[16];
  std::snprintf(hr, sizeof hr, "0x%08X", static_cast<unsigned>(r.hr));
  AddChild(node, "HRESULT", hr);
  AddChild(node, "Message", r.message);
}

// A processing instruction has no escapes of its own: the href is written with the entities
// of an attribute value, which also keeps "?>" out of it.
std::string StylesheetInstruction(std::string_view href) {
  std::string out = "type=\"text/xsl\" href=\"";
  for (const char c : XmlSafeText(href)) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out + "\"";
}

}  // namespace

std::string XmlSafeText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const auto b = static_cast<unsigned char>(text[i]);
    const std::size_t n = Utf8Length(text, i);
    if (n == 0 || (b < 0x20 && b != '\t' && b != '\n' && b != '\r')) {
      char esc[8];
      std::snprintf(esc, sizeof esc, "\\x%02X", b);
      out += esc;
      ++i;
      continue;
    }
    out.append(text.substr(i, n));
    i += n;
  }
  return out;
}

std::string TraceTimeText(std::chrono::system_clock::time_point t) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(t);
  const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(
                          t.time_since_epoch()).count() % 1000000;
  std::tm local{};
  localtime_r(&seconds, &local);
  char date[32], zone[8];
  std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
  std::strftime(zone, sizeof zone, "%z", &local);  // "+0100"
  char out[64];
  std::snprintf(out, sizeof out, "%s.%06lld%.3s:%s", date, static_cast<long long>(micros), zone,
                zone + 3);
  return out;
}

std::string ReserveTraceFile(const std::string& folder, std::string_view traceName,
                             std::chrono::system_clock::time_point started) {
  std::string name(traceName);
  for (char& c : name)
    if (!IsNameChar(c)) c = '_';
  const std::time_t seconds = std::chrono::system_clock::to_time_t(started);
  std::tm local{};
  localtime_r(&seconds, &local);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y-%m-%d_%H-%M-%S", &local);
  const std::string base = folder + "/" + name + "_" + stamp;
  std::string path = base + ".xml";
  for (int n = 2; n < 10000; ++n) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd >= 0) {
      ::close(fd);
      break;
    }
    // Only a taken name moves on; any other failure is reported when the file is saved.
    if (errno != EEXIST) break;
    path = base + "_" + std::to_string(n) + ".xml";
  }
  return path;
}

bool WriteTraceFile(const std::string& path, const TraceFileContent& c, std::string& error) {
  pugi::xml_document doc;
  pugi::xml_node decl = doc.append_child(pugi::node_declaration);
  decl.append_attribute("version").set_value("1.0");
  decl.append_attribute("encoding").set_value("UTF-8");
  if (!c.transform.empty()) {
    pugi::xml_node pi = doc.append_child(pugi::node_pi);
    pi.set_name("xml-stylesheet");
    pi.set_value(StylesheetInstruction(c.transform).c_str());
  }
  pugi::xml_node root = doc.append_child("TraceRecords");
  root.append_attribute("driver").set_value(XmlSafeText(c.driver).c_str());
  root.append_attribute("revision").set_value(XmlSafeText(c.revision).c_str());
  root.append_attribute("resource").set_value(XmlSafeText(c.resource).c_str());
  root.append_attribute("started").set_value(TraceTimeText(c.started).c_str());
  if (c.dropped > 0) root.append_attribute("dropped").set_value(static_cast<unsigned long long>(c.dropped));
  for (const TraceRecord& r : c.records) WriteRecord(root, r);

  const std::string temporary = path + ".tmp";
  if (!doc.save_file(temporary.c_str(), "  ", pugi::format_default, pugi::encoding_utf8)) {
    error = "file " + temporary + " cannot be written (" + std::strerror(errno) + ").";
    std::remove(temporary.c_str());
    return false;
  }
  if (std::rename(temporary.c_str(), path.c_str()) != 0) {
    error = "file " + path + " cannot be replaced (" + std::strerror(errno) + ").";
    std::remove(temporary.c_str());
    return false;
  }
  return true;
}

}  // namespace veqdx
