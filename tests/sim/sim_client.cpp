#include "sim_client.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "serial_pty.h"

namespace qdxsim::test {

SimClient::SimClient(int port) {
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return;
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(static_cast<std::uint16_t>(port));
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
    ::close(fd);
    return;
  }
  int one = 1;  // no Nagle wait between a command and the query that follows it
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  timeval tv{2, 0};  // sends never block longer than this
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
  fd_ = fd;
}

SimClient::~SimClient() {
  if (fd_ >= 0) ::close(fd_);
}


bool SimClient::send(std::string_view message) { return sendRaw(std::string(message) + "\n"); }

bool SimClient::sendRaw(std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t n = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (n <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

std::optional<std::string> SimClient::readSome(std::chrono::milliseconds timeout) {
  pollfd p{fd_, POLLIN, 0};
  if (poll(&p, 1, static_cast<int>(timeout.count())) <= 0) return std::nullopt;
  char chunk[4096];
  ssize_t n = recv(fd_, chunk, sizeof chunk, 0);
  if (n <= 0) return std::string();
  return std::string(chunk, static_cast<std::size_t>(n));
}

bool SimClient::waitForClose(std::chrono::milliseconds timeout) {
  auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    auto piece = readSome(left);
    if (!piece) return false;
    if (piece->empty()) return true;
  }
}

std::vector<std::string> SimClient::errors() {
  std::vector<std::string> out;
  for (int i = 0; i < 25; ++i) {  // the queue holds at most 20
    std::string e = query(":SYST:ERR?");
    if (e.rfind("0,", 0) == 0) return out;
    out.push_back(e);
    if (e.rfind("<", 0) == 0) return out;
  }
  return out;
}

Config testConfig(std::string model, std::vector<ChannelSpec> channels) {
  Config c;
  c.model = std::move(model);
  c.channels = std::move(channels);
  c.port = 0;
  return c;
}

void EmulatorFixture::startWith(Config config) {
  emulator_ = std::make_unique<Emulator>(std::move(config));
  std::string error;
  ASSERT_TRUE(emulator_->Start(&error)) << error;
  ASSERT_GT(emulator_->Port(), 0);
}

void EmulatorFixture::TearDown() {
  if (emulator_) emulator_->Stop();
}

std::unique_ptr<SimClient> EmulatorFixture::startAndConnect(Config config) {
  startWith(std::move(config));
  return connect();
}

std::unique_ptr<SimClient> EmulatorFixture::connect() {
  auto client = std::make_unique<SimClient>(emulator_->Port());
  EXPECT_TRUE(client->connected());
  return client;
}

std::optional<std::string> LineClient::readLine(std::chrono::milliseconds timeout) {
  auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    if (auto lf = buffer_.find('\n'); lf != std::string::npos) {
      std::string line = buffer_.substr(0, lf);
      buffer_.erase(0, lf + 1);
      return line;
    }
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return std::nullopt;
    auto piece = readSome(left);
    if (!piece || piece->empty()) return std::nullopt;  // timeout or the link is gone
    buffer_ += *piece;
  }
}

std::string LineClient::query(std::string_view message, std::chrono::milliseconds timeout) {
  if (!send(message)) return "<send failed>";
  return readLine(timeout).value_or("<no reply>");
}

namespace {

// The terminal side of a pseudo-terminal, opened as a serial port would be.
class PtyLineClient : public LineClient {
 public:
  explicit PtyLineClient(const std::string& path)
      : fd_(::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK)) {}
  ~PtyLineClient() override {
    if (fd_ >= 0) ::close(fd_);
  }
  bool send(std::string_view message) override {
    std::string bytes = std::string(message) + "\n";
    std::string_view rest = bytes;
    while (!rest.empty()) {
      ssize_t n = ::write(fd_, rest.data(), rest.size());
      if (n > 0) {
        rest.remove_prefix(static_cast<std::size_t>(n));
        continue;
      }
      pollfd p{fd_, POLLOUT, 0};
      if (n < 0 && errno != EAGAIN && errno != EINTR) return false;
      if (poll(&p, 1, 2000) <= 0) return false;
    }
    return true;
  }
  std::optional<std::string> readSome(std::chrono::milliseconds timeout) override {
    pollfd p{fd_, POLLIN, 0};
    if (poll(&p, 1, static_cast<int>(timeout.count())) <= 0) return std::nullopt;
    char chunk[65536];
    ssize_t n = ::read(fd_, chunk, sizeof chunk);
    if (n <= 0) return std::nullopt;
    return std::string(chunk, static_cast<std::size_t>(n));
  }

 private:
  int fd_;
};

int openDescriptors() {
  DIR* dir = opendir("/proc/self/fd");
  if (!dir) return -1;
  int n = 0;
  while (readdir(dir) != nullptr) ++n;
  closedir(dir);
  return n;
}

}  // namespace

const char* nameOf(FrontEnd kind) {
  switch (kind) {
    case FrontEnd::Socket: return "socket";
    case FrontEnd::SerialPty: return "serial pty";
  }
  return "?";
}

FrontEndBench::FrontEndBench(FrontEnd kind, Config config) : kind_(kind) {
  emulator_ = std::make_unique<Emulator>(config);
  if (kind == FrontEnd::SerialPty) {
    pty_ = std::make_unique<SerialPtyServer>(*emulator_);  // the emulator need not listen
    started_ = pty_->Start(&error_);
    return;
  }
  started_ = emulator_->Start(&error_);
}

FrontEndBench::~FrontEndBench() { stop(); }

void FrontEndBench::stop() {
  if (pty_) pty_->Stop();
  emulator_->Stop();
}

std::unique_ptr<LineClient> connectPty(const std::string& path) {
  return std::make_unique<PtyLineClient>(path);
}

std::unique_ptr<LineClient> FrontEndBench::connect() {
  switch (kind_) {
    case FrontEnd::Socket: return std::make_unique<SimClient>(emulator_->Port());
    case FrontEnd::SerialPty: return connectPty(pty_->Path());
  }
  return nullptr;
}

int settledDescriptors(int expected) {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (expected >= 0 && openDescriptors() != expected &&
         std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(10ms);
  int last = openDescriptors();
  for (int same = 0, rounds = 0; same < 4 && rounds < 100; ++rounds) {
    std::this_thread::sleep_for(50ms);
    int now = openDescriptors();
    same = now == last ? same + 1 : 0;
    last = now;
  }
  return last;
}

}  // namespace qdxsim::test
