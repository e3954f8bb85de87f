// The raw-socket front end: a listener thread and one thread per client. Every wait polls an
// eventfd that stop() signals, so that no thread can hold up shutdown.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "fault_injection.h"
#include "listener.h"
#include "qdx_sim.h"
#include "scpi_errors.h"
#include "transcript.h"

namespace qdxsim {

namespace {

constexpr std::size_t kMaxLineLength = 64 * 1024;  // longer input is discarded up to its LF
constexpr std::size_t kMaxClients = 16;
// A client that just hung up may still be finishing its thread: a new connection that finds
// every slot taken waits this long for one before it is turned away.
constexpr int kSlotWaitMs = 2000;
constexpr int kPollSliceMs = 1000;     // upper bound of one wait before re-checking state
constexpr int kSendStallLimitMs = 5000;  // a client that reads nothing for this long is dropped

}  // namespace

class Emulator::Impl {
 public:
  explicit Impl(Config c)
      : config(std::move(c)), faults(std::make_shared<detail::FaultState>(config.faults)) {
    configError = config.Validate();
    if (configError.empty()) instrument = std::make_unique<Instrument>(config);
  }

  bool Start(std::string& error);
  void Stop();

  Config config;
  std::string configError;
  std::unique_ptr<Instrument> instrument;
  Transcript transcript;

  std::shared_ptr<detail::FaultState> faults;  // shared with a SerialPtyServer built on this

  std::atomic<bool> running{false};
  int boundPort = 0;

 private:
  struct Client {
    std::thread thread;
    std::shared_ptr<std::atomic<bool>> done;
  };

  void AcceptLoop();
  // Joins the threads of clients that have hung up; with `waitMs`, keeps trying until a slot
  // is free or the time is up. False when stop() was called meanwhile.
  bool ReapClients(int waitMs);
  void Serve(int fd, int id, std::shared_ptr<std::atomic<bool>> done);
  // Executes one received message and answers it; false when the connection must close.
  bool Process(int fd, int id, const std::string& line);
  // Waits up to `ms`; true when stop() was called meanwhile.
  bool SleepUnlessStopped(int ms);

  class Channel;

  int listenFd_ = -1;
  int wakeFd_ = -1;
  int nextId_ = 1;
  std::thread acceptor_;
  std::vector<Client> clients_;  // touched by the acceptor thread only
};

bool Emulator::Impl::Start(std::string& error) {
  if (!instrument) {
    error = configError;
    return false;
  }
  if (running) {
    error = "the emulator is already running";
    return false;
  }
  listenFd_ = detail::listenOn(config.listenAddress, config.port, {}, false, error);
  if (listenFd_ < 0) return false;
  boundPort = detail::boundPort(listenFd_);
  if (!config.transcriptPath.empty() && !transcript.Open(config.transcriptPath, error)) {
    ::close(listenFd_);
    listenFd_ = -1;
    return false;
  }
  wakeFd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wakeFd_ < 0) {
    error = std::string("cannot create eventfd: ") + std::strerror(errno);
    ::close(listenFd_);
    listenFd_ = -1;
    return false;
  }
  running = true;
  acceptor_ = std::thread([this] { AcceptLoop(); });
  return true;
}

void Emulator::Impl::Stop() {
  if (!running.exchange(false)) return;
  std::uint64_t one = 1;
  if (write(wakeFd_, &one, sizeof one) < 0) { /* the eventfd cannot be full here */ }
  acceptor_.join();
  ::close(listenFd_);
  ::close(wakeFd_);
  listenFd_ = wakeFd_ = -1;
  boundPort = 0;
  transcript.Close();
}

bool Emulator::Impl::SleepUnlessStopped(int ms) {
  pollfd p{wakeFd_, POLLIN, 0};
  return poll(&p, 1, std::max(ms, 0)) > 0;
}

void Emulator::Impl::AcceptLoop() {
  for (;;) {
    pollfd fds[2] = {{listenFd_, POLLIN, 0}, {wakeFd_, POLLIN, 0}};
    int n = poll(fds, 2, kPollSliceMs);
    if (fds[1].revents) break;
    if (!ReapClients(0)) break;
    if (n <= 0 || !(fds[0].revents & POLLIN)) continue;
    int fd = accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) continue;
    if (clients_.size() >= kMaxClients && !ReapClients(kSlotWaitMs)) {
      ::close(fd);
      break;
    }
    if (clients_.size() >= kMaxClients) {
      ::close(fd);
      continue;
    }
    int one = 1;  // pieces of a chunked reply must leave one by one
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    auto done = std::make_shared<std::atomic<bool>>(false);
    int id = nextId_++;
    clients_.push_back({std::thread([this, fd, id, done] { Serve(fd, id, done); }), done});
  }
  for (auto& c : clients_) c.thread.join();
  clients_.clear();
}

bool Emulator::Impl::ReapClients(int waitMs) {
  constexpr int kStepMs = 5;
  for (int waited = 0;; waited += kStepMs) {
    std::erase_if(clients_, [](Client& c) {
      if (!c.done->load()) return false;
      c.thread.join();
      return true;
    });
    if (clients_.size() < kMaxClients || waited >= waitMs) return true;
    if (SleepUnlessStopped(kStepMs)) return false;
  }
}

void Emulator::Impl::Serve(int fd, int id, std::shared_ptr<std::atomic<bool>> done) {
  std::string pending;
  bool discarding = false;  // inside an over-long line, dropping bytes up to its LF
  char buffer[4096];
  bool open = true;
  while (open) {
    pollfd fds[2] = {{fd, POLLIN, 0}, {wakeFd_, POLLIN, 0}};
    int n = poll(fds, 2, kPollSliceMs);
    if (fds[1].revents) break;
    if (n <= 0) continue;
    ssize_t got = recv(fd, buffer, sizeof buffer, 0);
    if (got == 0) break;
    if (got < 0) {
      if (errno == EAGAIN || errno == EINTR) continue;
      break;
    }
    pending.append(buffer, static_cast<std::size_t>(got));
    std::size_t lf;
    while (open && (lf = pending.find('\n')) != std::string::npos) {
      std::string line = pending.substr(0, lf);
      pending.erase(0, lf + 1);
      if (discarding) {
        discarding = false;
        continue;
      }
      open = Process(fd, id, line);
    }
    if (pending.size() > kMaxLineLength) {
      if (!discarding) instrument->ReportError(scpi::err::kInputBufferOverrun);
      discarding = true;
      pending.clear();
    }
  }
  ::close(fd);
  done->store(true);
}

// One client connection as the replies see it.
class Emulator::Impl::Channel : public detail::ReplyChannel {
 public:
  Channel(int fd, int wakeFd)
      : ReplyChannel(kSendStallLimitMs, kPollSliceMs), fd_(fd), wakeFd_(wakeFd) {}

  bool Stopping() override {
    pollfd p{wakeFd_, POLLIN, 0};
    return poll(&p, 1, 0) > 0;
  }

 private:
  ssize_t WriteSome(std::string_view data) override {
    return ::send(fd_, data.data(), data.size(), MSG_NOSIGNAL);
  }

  bool WaitWritable(int ms) override {
    if (Stopping()) return false;
    pollfd fds[2] = {{fd_, POLLOUT, 0}, {wakeFd_, POLLIN, 0}};
    poll(fds, 2, ms);
    return true;
  }

  // Only a reset (or a connection closed both ways) ends the wait: a client that merely stopped
  // reading, or shut down its sending side, still gets the reply it is owed. The VXI-11 links
  // reset their connection on device_clear, which so drops a reply still being delayed.
  bool WaitSlice(int ms) override {
    pollfd fds[2] = {{fd_, 0, 0}, {wakeFd_, POLLIN, 0}};
    int n = poll(fds, 2, ms);
    if (n < 0 && errno != EINTR) return false;
    return !(fds[1].revents || (fds[0].revents & (POLLHUP | POLLERR | POLLNVAL)));
  }

  int fd_;
  int wakeFd_;
};

bool Emulator::Impl::Process(int fd, int id, const std::string& line) {
  transcript.Record(id, line);
  bool closeNow = false;
  Faults f = faults->ForMessage(true, &closeNow);
  Channel channel(fd, wakeFd_);
  if (!detail::answerMessage(*instrument, f, line, channel)) return false;
  return !closeNow;
}

// --- public face ---

Emulator::Emulator(Config config) : impl_(std::make_unique<Impl>(std::move(config))) {}
Emulator::~Emulator() { Stop(); }

bool Emulator::Start(std::string* message) {
  std::string error;
  if (impl_->Start(error)) return true;
  if (message) *message = error;
  return false;
}

void Emulator::Stop() { impl_->Stop(); }
bool Emulator::Running() const { return impl_->running; }
int Emulator::Port() const { return impl_->boundPort; }

Instrument& Emulator::Device() {
  if (!impl_->instrument) throw std::logic_error(impl_->configError);
  return *impl_->instrument;
}

std::vector<std::string> Emulator::TakeTranscript() { return impl_->transcript.Take(); }

std::shared_ptr<detail::FaultState> Emulator::FaultState() const { return impl_->faults; }

namespace {

int clampMs(std::chrono::milliseconds ms) {
  return static_cast<int>(std::clamp<long long>(ms.count(), 0, INT_MAX));
}

}  // namespace

void Emulator::SetReplyDelay(std::chrono::milliseconds delay) {
  impl_->faults->Edit([&](Faults& f) { f.replyDelayMs = clampMs(delay); });
}

void Emulator::AddSilentQuery(std::string match) {
  impl_->faults->Edit([&](Faults& f) { f.silentQueries.push_back(std::move(match)); });
}

void Emulator::AddGarbageQuery(std::string match, std::string reply) {
  impl_->faults->Edit(
      [&](Faults& f) { f.garbageQueries.emplace_back(std::move(match), std::move(reply)); });
}

void Emulator::SetCloseAfter(int messages) { impl_->faults->SetCloseAfter(messages); }

void Emulator::SetChunkedReplies(std::size_t bytes, std::chrono::milliseconds pause) {
  impl_->faults->Edit([&](Faults& f) {
    f.chunkBytes = bytes;
    f.chunkPauseMs = clampMs(pause);
  });
}

void Emulator::AddLateQuery(std::string match, std::chrono::milliseconds delay) {
  impl_->faults->Edit(
      [&](Faults& f) { f.lateQueries.push_back({std::move(match), clampMs(delay)}); });
}

void Emulator::AddEndlessQuery(std::string match) {
  impl_->faults->Edit([&](Faults& f) { f.endlessQueries.push_back(std::move(match)); });
}

void Emulator::ClearFaults() { impl_->faults->Clear(); }

}  // namespace qdxsim
