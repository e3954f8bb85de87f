// The pseudo-terminal front end. One thread serves the master side; every wait polls an
// eventfd that stop() signals, so shutdown never waits for a client.
#include "serial_pty.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/eventfd.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <thread>

#include "scpi_errors.h"
#include "transcript.h"

namespace qdxsim {

namespace {

constexpr std::size_t kMaxLineLength = 64 * 1024;  // as on the socket: longer input is dropped
constexpr int kPollSliceMs = 1000;
constexpr int kSendStallLimitMs = 2000;  // a reply nobody reads is dropped after this long

bool containsNoCase(std::string_view text, std::string_view part) {
  if (part.empty()) return false;
  auto it = std::search(text.begin(), text.end(), part.begin(), part.end(), [](char a, char b) {
    return std::toupper(static_cast<unsigned char>(a)) == std::toupper(static_cast<unsigned char>(b));
  });
  return it != text.end();
}

std::string errnoText(const char* what) { return std::string(what) + ": " + std::strerror(errno); }

}  // namespace

class SerialPtyServer::Impl {
 public:
  explicit Impl(Instrument& i) : instrument(i) {}

  bool start(std::string& error);
  void stop();

  Instrument& instrument;
  Transcript transcript;
  std::mutex faultsMutex;
  std::vector<std::string> silentQueries;
  std::atomic<bool> running{false};
  std::string path;

 private:
  void serve();
  void process(const std::string& line);
  void sendReply(std::string reply);
  void closeAll();

  int master_ = -1;
  int slave_ = -1;  // held open so that clients coming and going never hang the pair up
  int wake_ = -1;
  std::thread thread_;
};

bool SerialPtyServer::Impl::start(std::string& error) {
  if (running) {
    error = "the serial front end is already running";
    return false;
  }
  master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (master_ < 0) {
    error = errnoText("cannot create a pseudo-terminal");
    return false;
  }
  char name[128] = {};
  if (grantpt(master_) != 0 || unlockpt(master_) != 0 || ptsname_r(master_, name, sizeof name) != 0) {
    error = errnoText("cannot set up the pseudo-terminal");
    closeAll();
    return false;
  }
  path = name;
  // The terminal side in raw mode before any client opens it: no echo of commands back to
  // the client, no line-ending translation. (The master's termios is the terminal side's.)
  termios tio{};
  if (tcgetattr(master_, &tio) == 0) {
    cfmakeraw(&tio);
    tcsetattr(master_, TCSANOW, &tio);
  }
  slave_ = ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
  wake_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (slave_ < 0 || wake_ < 0) {
    error = errnoText("cannot open the pseudo-terminal");
    closeAll();
    return false;
  }
  int flags = fcntl(master_, F_GETFL);
  fcntl(master_, F_SETFL, flags | O_NONBLOCK);
  running = true;
  thread_ = std::thread([this] { serve(); });
  return true;
}

void SerialPtyServer::Impl::closeAll() {
  for (int* fd : {&master_, &slave_, &wake_}) {
    if (*fd >= 0) ::close(*fd);
    *fd = -1;
  }
}

void SerialPtyServer::Impl::stop() {
  if (!running.exchange(false)) return;
  std::uint64_t one = 1;
  if (write(wake_, &one, sizeof one) < 0) { /* the eventfd cannot be full here */ }
  thread_.join();
  closeAll();
}

void SerialPtyServer::Impl::serve() {
  std::string pending;
  bool discarding = false;  // inside an over-long line, dropping bytes up to its LF
  char buffer[4096];
  for (;;) {
    pollfd fds[2] = {{master_, POLLIN, 0}, {wake_, POLLIN, 0}};
    int n = poll(fds, 2, kPollSliceMs);
    if (fds[1].revents) return;
    if (n <= 0 || !(fds[0].revents & POLLIN)) continue;
    ssize_t got = read(master_, buffer, sizeof buffer);
    if (got <= 0) continue;  // EAGAIN, EINTR; the server's own terminal fd prevents EIO
    pending.append(buffer, static_cast<std::size_t>(got));
    std::size_t lf;
    while ((lf = pending.find('\n')) != std::string::npos) {
      std::string line = pending.substr(0, lf);
      pending.erase(0, lf + 1);
      if (discarding) {
        discarding = false;
        continue;
      }
      process(line);
    }
    if (pending.size() > kMaxLineLength) {
      if (!discarding) instrument.reportError(scpi::err::kInputBufferOverrun);
      discarding = true;
      pending.clear();
    }
  }
}

void SerialPtyServer::Impl::process(const std::string& line) {
  transcript.record(1, line);
  std::optional<std::string> reply = instrument.handle(line);
  if (!reply) return;
  {
    std::lock_guard lock(faultsMutex);
    for (const auto& match : silentQueries) {
      if (containsNoCase(line, match)) return;
    }
  }
  sendReply(std::move(*reply) + "\n");
}

void SerialPtyServer::Impl::sendReply(std::string reply) {
  std::string_view rest = reply;
  int stalledMs = 0;
  while (!rest.empty()) {
    ssize_t sent = write(master_, rest.data(), rest.size());
    if (sent > 0) {
      rest.remove_prefix(static_cast<std::size_t>(sent));
      stalledMs = 0;
      continue;
    }
    if (sent < 0 && errno != EAGAIN && errno != EINTR) return;
    if (stalledMs >= kSendStallLimitMs) return;
    pollfd fds[2] = {{master_, POLLOUT, 0}, {wake_, POLLIN, 0}};
    poll(fds, 2, 100);
    if (fds[1].revents) return;
    stalledMs += 100;
  }
}

// --- public face ---

SerialPtyServer::SerialPtyServer(Instrument& instrument)
    : impl_(std::make_unique<Impl>(instrument)) {}
SerialPtyServer::~SerialPtyServer() { stop(); }

bool SerialPtyServer::start(std::string* message) {
  std::string error;
  if (impl_->start(error)) return true;
  if (message) *message = error;
  return false;
}

void SerialPtyServer::stop() { impl_->stop(); }
bool SerialPtyServer::running() const { return impl_->running; }
const std::string& SerialPtyServer::path() const { return impl_->path; }
std::vector<std::string> SerialPtyServer::takeTranscript() { return impl_->transcript.take(); }

void SerialPtyServer::addSilentQuery(std::string match) {
  std::lock_guard lock(impl_->faultsMutex);
  impl_->silentQueries.push_back(std::move(match));
}

void SerialPtyServer::clearFaults() {
  std::lock_guard lock(impl_->faultsMutex);
  impl_->silentQueries.clear();
}

}  // namespace qdxsim
