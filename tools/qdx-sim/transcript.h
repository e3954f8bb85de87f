// What the emulator received: kept in memory for tests (exact texts) and optionally written
// to a file with time stamps for people.
#pragma once

#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace qdxsim {

class Transcript {
 public:
  ~Transcript();
  // Opens (truncates) the log file; false with a message when it cannot be created.
  bool Open(const std::string& path, std::string& error);
  void Close();
  // One received message of connection `connection`, without its line feed.
  void Record(int connection, std::string_view message);
  // Returns and forgets the messages kept so far.
  std::vector<std::string> Take();

 private:
  // The in-memory list is bounded so that a client flooding the emulator cannot exhaust
  // memory; the oldest entries go first.
  static constexpr std::size_t kMaxBytes = 16 * 1024 * 1024;

  std::mutex mutex_;
  std::deque<std::string> messages_;
  std::size_t bytes_ = 0;
  std::FILE* file_ = nullptr;
};

// File form of a message: printable ASCII as is, '\' doubled, other bytes as \xNN.
std::string escapeForLog(std::string_view message);

}  // namespace qdxsim
