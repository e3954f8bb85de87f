#include "transcript.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>

namespace qdxsim {

namespace {

// "2024-05-01T12:00:00.123456Z": UTC with microseconds, sortable.
std::string timestamp() {
  auto now = std::chrono::system_clock::now();
  auto micros = std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch()).count();
  std::time_t seconds = static_cast<std::time_t>(micros / 1000000);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[48];
  std::size_t n = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
  std::snprintf(text + n, sizeof text - n, ".%06lldZ", static_cast<long long>(micros % 1000000));
  return text;
}

}  // namespace

std::string escapeForLog(std::string_view message) {
  std::string out;
  out.reserve(message.size());
  for (char c : message) {
    auto u = static_cast<unsigned char>(c);
    if (c == '\\') {
      out += "\\\\";
    } else if (u < 0x20 || u >= 0x7f) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02X", u);
      out += hex;
    } else {
      out += c;
    }
  }
  return out;
}

Transcript::~Transcript() { Close(); }

bool Transcript::Open(const std::string& path, std::string& error) {
  std::lock_guard lock(mutex_);
  std::FILE* f = std::fopen(path.c_str(), "w");
  if (!f) {
    error = "cannot open transcript file '" + path + "': " + std::strerror(errno);
    return false;
  }
  if (file_) std::fclose(file_);
  file_ = f;
  return true;
}

void Transcript::Close() {
  std::lock_guard lock(mutex_);
  if (file_) std::fclose(file_);
  file_ = nullptr;
}

void Transcript::Record(int connection, std::string_view message) {
  std::lock_guard lock(mutex_);
  messages_.emplace_back(message);
  bytes_ += message.size();
  while (bytes_ > kMaxBytes && !messages_.empty()) {
    bytes_ -= messages_.front().size();
    messages_.pop_front();
  }
  if (file_) {
    std::fprintf(file_, "%s c%d %s\n", timestamp().c_str(), connection,
                 escapeForLog(message).c_str());
    std::fflush(file_);
  }
}

std::vector<std::string> Transcript::Take() {
  std::lock_guard lock(mutex_);
  std::vector<std::string> out(std::make_move_iterator(messages_.begin()),
                               std::make_move_iterator(messages_.end()));
  messages_.clear();
  bytes_ = 0;
  return out;
}

}  // namespace qdxsim
