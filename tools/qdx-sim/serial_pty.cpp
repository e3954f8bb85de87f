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
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "fault_injection.h"
#include "scpi_errors.h"
#include "transcript.h"

namespace qdxsim {

namespace {

constexpr std::size_t kMaxLineLength = 64 * 1024;  // as on the socket: longer input is dropped
constexpr int kPollSliceMs = 1000;
constexpr int kSendStallLimitMs = 2000;  // a reply nobody reads is dropped after this long
constexpr int kSendSliceMs = 100;        // while it waits, a stop is noticed within this

std::string errnoText(const char* what) { return std::string(what) + ": " + std::strerror(errno); }

}  // namespace

class SerialPtyServer::Impl {
 public:
  Impl(Instrument& i, std::shared_ptr<detail::FaultState> f)
      : instrument(i), faults(std::move(f)) {}

  bool Start(std::string& error);
  void Stop();

  Instrument& instrument;
  std::shared_ptr<detail::FaultState> faults;
  Transcript transcript;
  std::atomic<bool> running{false};
  std::string path;

 private:
  class Channel;

  void Serve();
  void Process(const std::string& line);
  // Opens the server's own hold on the terminal side; false when it cannot be opened.
  bool HoldTerminal();
  bool WaitUnlessStopped(int ms);  // false when stop() was called meanwhile
  void CloseAll();

  int master_ = -1;
  int slave_ = -1;  // held open so that clients coming and going never hang the pair up
  int wake_ = -1;
  std::thread thread_;
};

bool SerialPtyServer::Impl::Start(std::string& error) {
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
    CloseAll();
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
  wake_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (!HoldTerminal() || wake_ < 0) {
    error = errnoText("cannot open the pseudo-terminal");
    CloseAll();
    return false;
  }
  int flags = fcntl(master_, F_GETFL);
  fcntl(master_, F_SETFL, flags | O_NONBLOCK);
  running = true;
  thread_ = std::thread([this] { Serve(); });
  return true;
}

void SerialPtyServer::Impl::CloseAll() {
  for (int* fd : {&master_, &slave_, &wake_}) {
    if (*fd >= 0) ::close(*fd);
    *fd = -1;
  }
}

void SerialPtyServer::Impl::Stop() {
  if (!running.exchange(false)) return;
  std::uint64_t one = 1;
  if (write(wake_, &one, sizeof one) < 0) { /* the eventfd cannot be full here */ }
  thread_.join();
  CloseAll();
}

bool SerialPtyServer::Impl::HoldTerminal() {
  slave_ = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
  return slave_ >= 0;
}

bool SerialPtyServer::Impl::WaitUnlessStopped(int ms) {
  pollfd p{wake_, POLLIN, 0};
  return poll(&p, 1, std::max(ms, 0)) <= 0;
}

// The master side as the replies see it.
class SerialPtyServer::Impl::Channel : public detail::ReplyChannel {
 public:
  explicit Channel(Impl& server) : ReplyChannel(kSendStallLimitMs, kSendSliceMs), s_(server) {}

  bool Stopping() override { return !s_.WaitUnlessStopped(0); }

  // With the server's own hold released, the pair hangs up when the client closes the
  // terminal, which ends the stream at once (writes fail with EIO).
  void EndlessBegins() override {
    if (s_.slave_ >= 0) ::close(s_.slave_);
    s_.slave_ = -1;
  }

  // Holds the terminal again, and drops the digits the client never read.
  void EndlessEnded() override {
    if (s_.HoldTerminal()) tcflush(s_.slave_, TCIFLUSH);
  }

 private:
  // EIO: nobody holds the terminal side any more (only while an endless reply runs).
  ssize_t WriteSome(std::string_view data) override {
    return write(s_.master_, data.data(), data.size());
  }

  bool WaitWritable(int ms) override {
    pollfd fds[2] = {{s_.master_, POLLOUT, 0}, {s_.wake_, POLLIN, 0}};
    poll(fds, 2, ms);
    return !fds[1].revents;
  }

  bool WaitSlice(int ms) override { return s_.WaitUnlessStopped(ms); }

  Impl& s_;
};

void SerialPtyServer::Impl::Serve() {
  std::string pending;
  bool discarding = false;  // inside an over-long line, dropping bytes up to its LF
  char buffer[4096];
  for (;;) {
    pollfd fds[2] = {{master_, POLLIN, 0}, {wake_, POLLIN, 0}};
    int n = poll(fds, 2, kPollSliceMs);
    if (fds[1].revents) return;
    if (n <= 0) continue;
    if (!(fds[0].revents & POLLIN)) {
      // Hung up: the server lost its hold on the terminal side. Take it again, without
      // spinning while that fails.
      if (slave_ < 0 && !HoldTerminal() && !WaitUnlessStopped(100)) return;
      continue;
    }
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
      Process(line);
    }
    if (pending.size() > kMaxLineLength) {
      if (!discarding) instrument.ReportError(scpi::err::kInputBufferOverrun);
      discarding = true;
      pending.clear();
    }
  }
}

void SerialPtyServer::Impl::Process(const std::string& line) {
  transcript.Record(1, line);
  // A serial line has no connection to close: closeAfterMessages does not count here.
  Faults f = faults->ForMessage(false);
  Channel channel(*this);
  detail::answerMessage(instrument, f, line, channel);
}

// --- public face ---

SerialPtyServer::SerialPtyServer(Instrument& instrument)
    : impl_(std::make_unique<Impl>(instrument, std::make_shared<detail::FaultState>())) {}
SerialPtyServer::SerialPtyServer(Emulator& emulator)
    : impl_(std::make_unique<Impl>(emulator.Device(), emulator.FaultState())) {}
SerialPtyServer::~SerialPtyServer() { Stop(); }

bool SerialPtyServer::Start(std::string* message) {
  std::string error;
  if (impl_->Start(error)) return true;
  if (message) *message = error;
  return false;
}

void SerialPtyServer::Stop() { impl_->Stop(); }
bool SerialPtyServer::Running() const { return impl_->running; }
const std::string& SerialPtyServer::Path() const { return impl_->path; }
std::vector<std::string> SerialPtyServer::TakeTranscript() { return impl_->transcript.Take(); }

void SerialPtyServer::AddSilentQuery(std::string match) {
  impl_->faults->Edit([&](Faults& f) { f.silentQueries.push_back(std::move(match)); });
}

void SerialPtyServer::ClearFaults() { impl_->faults->Clear(); }

}  // namespace qdxsim
