#include "sim_client.h"

#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <rpc/rpc.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <thread>

#include "serial_pty.h"
#include "vxi11/vxi11.h"
#include "vxi11_server.h"
#include "vxi11_wire.h"

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

namespace {

// The next line of `buffer`, reading more with `readSome` until `timeout`. A socket reports
// its end as an empty piece (`emptyEnds`); a VXI-11 read may legitimately bring nothing.
template <class ReadSome>
std::optional<std::string> ReadLine(std::string& buffer, std::chrono::milliseconds timeout,
                                    bool emptyEnds, ReadSome&& readSome) {
  auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    if (auto lf = buffer.find('\n'); lf != std::string::npos) {
      std::string line = buffer.substr(0, lf);
      buffer.erase(0, lf + 1);
      return line;
    }
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return std::nullopt;
    auto piece = readSome(left);
    if (!piece || (emptyEnds && piece->empty())) return std::nullopt;
    buffer += *piece;
  }
}

}  // namespace

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

std::optional<std::string> SimClient::readLine(std::chrono::milliseconds timeout) {
  return ReadLine(buffer_, timeout, true, [&](auto left) { return readSome(left); });
}

std::string SimClient::query(std::string_view message, std::chrono::milliseconds timeout) {
  if (!send(message)) return "<send failed>";
  return readLine(timeout).value_or("<no reply>");
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
  ASSERT_TRUE(emulator_->start(&error)) << error;
  ASSERT_GT(emulator_->port(), 0);
}

void EmulatorFixture::TearDown() {
  if (emulator_) emulator_->stop();
}

std::unique_ptr<SimClient> EmulatorFixture::startAndConnect(Config config) {
  startWith(std::move(config));
  return connect();
}

std::unique_ptr<SimClient> EmulatorFixture::connect() {
  auto client = std::make_unique<SimClient>(emulator_->port());
  EXPECT_TRUE(client->connected());
  return client;
}

std::optional<std::string> LineClient::readLine(std::chrono::milliseconds timeout) {
  return ReadLine(buffer_, timeout, false, [&](auto left) { return readSome(left); });
}

std::string LineClient::query(std::string_view message, std::chrono::milliseconds timeout) {
  if (!send(message)) return "<send failed>";
  return readLine(timeout).value_or("<no reply>");
}

namespace {

class SocketLineClient : public LineClient {
 public:
  explicit SocketLineClient(int port) : client_(port) {}
  bool send(std::string_view message) override { return client_.send(message); }
  std::optional<std::string> readSome(std::chrono::milliseconds timeout) override {
    auto piece = client_.readSome(timeout);
    if (piece && piece->empty()) return std::nullopt;  // closed
    return piece;
  }

 private:
  SimClient client_;
};

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

// One VXI-11 link (inst0) over libtirpc's TCP client, straight to the core channel.
class Vxi11LineClient : public LineClient {
 public:
  explicit Vxi11LineClient(int corePort) {
    // libtirpc writes without MSG_NOSIGNAL: a server that closes the link (an endless reply
    // reaching its cap) must fail the call, not kill the test program.
    std::signal(SIGPIPE, SIG_IGN);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<std::uint16_t>(corePort));
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int sock = RPC_ANYSOCK;
    client_ = clnttcp_create(&a, DEVICE_CORE, DEVICE_CORE_VERSION, &sock, 0, 0);
    if (!client_) return;
    Create_LinkParms p{};
    p.device = const_cast<char*>("inst0");
    Create_LinkResp r{};
    linked_ = call(create_link, xdr_Create_LinkParms, &p, xdr_Create_LinkResp, &r, 2000ms) &&
              r.error == VXI11_ERR_NONE;
    lid_ = r.lid;
  }
  ~Vxi11LineClient() override {
    if (!client_) return;
    Device_Error r{};
    if (linked_) call(destroy_link, xdr_Device_Link, &lid_, xdr_Device_Error, &r, 2000ms);
    clnt_destroy(client_);
  }
  bool send(std::string_view message) override {
    Device_WriteParms p{};
    p.lid = lid_;
    p.io_timeout = 2000;
    p.flags = VXI11_FLAG_END;
    std::string bytes(message);
    p.data.data_len = static_cast<u_int>(bytes.size());
    p.data.data_val = bytes.data();
    Device_WriteResp r{};
    return call(device_write, xdr_Device_WriteParms, &p, xdr_Device_WriteResp, &r, 4000ms) &&
           r.error == VXI11_ERR_NONE && r.size == bytes.size();
  }
  // One device_read of up to 1 MiB, waiting at most `timeout` (io_timeout).
  std::optional<std::string> readSome(std::chrono::milliseconds timeout) override {
    Device_ReadParms p{};
    p.lid = lid_;
    p.requestSize = 1u << 20;
    p.io_timeout = static_cast<u_long>(timeout.count());
    Device_ReadResp r{};
    if (!call(device_read, xdr_Device_ReadParms, &p, xdr_Device_ReadResp, &r, timeout + 4000ms))
      return std::nullopt;
    std::optional<std::string> data;
    if (r.error == VXI11_ERR_NONE) data.emplace(r.data.data_val, r.data.data_len);
    xdr_free(vxi11::Xdr(xdr_Device_ReadResp), &r);
    return data;
  }
  bool clear() override {
    Device_GenericParms p{};
    p.lid = lid_;
    p.io_timeout = p.lock_timeout = 2000;
    Device_Error r{};
    return call(device_clear, xdr_Device_GenericParms, &p, xdr_Device_Error, &r, 4000ms) &&
           r.error == VXI11_ERR_NONE;
  }

 private:
  template <class In, class Out>
  bool call(u_long procedure, bool_t (*encode)(XDR*, In*), In* in, bool_t (*decode)(XDR*, Out*),
            Out* out, std::chrono::milliseconds timeout) {
    if (!client_ || (procedure != create_link && !linked_)) return false;
    timeval tv{static_cast<time_t>(timeout.count() / 1000),
               static_cast<suseconds_t>(timeout.count() % 1000 * 1000)};
    return clnt_call(client_, procedure, vxi11::Xdr(encode), reinterpret_cast<char*>(in),
                     vxi11::Xdr(decode), reinterpret_cast<char*>(out), tv) == RPC_SUCCESS;
  }

  CLIENT* client_ = nullptr;
  bool linked_ = false;
  Device_Link lid_ = 0;
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
    case FrontEnd::Vxi11: return "VXI-11";
    case FrontEnd::SerialPty: return "serial pty";
  }
  return "?";
}

FrontEndBench::FrontEndBench(FrontEnd kind, Config config) : kind_(kind) {
  config.vxi11.portmapPort = -1;  // the client goes straight to the core channel
  emulator_ = std::make_unique<Emulator>(config);
  if (kind == FrontEnd::SerialPty) {
    pty_ = std::make_unique<SerialPtyServer>(*emulator_);  // the emulator need not listen
    started_ = pty_->start(&error_);
    return;
  }
  started_ = emulator_->start(&error_);
  if (started_ && kind == FrontEnd::Vxi11) {
    vxi11_ = std::make_unique<Vxi11Server>(*emulator_, config);
    started_ = vxi11_->start(&error_);
  }
}

FrontEndBench::~FrontEndBench() { stop(); }

void FrontEndBench::stop() {
  if (vxi11_) vxi11_->stop();
  if (pty_) pty_->stop();
  emulator_->stop();
}

std::unique_ptr<LineClient> connectPty(const std::string& path) {
  return std::make_unique<PtyLineClient>(path);
}

std::unique_ptr<LineClient> FrontEndBench::connect() {
  switch (kind_) {
    case FrontEnd::Socket: return std::make_unique<SocketLineClient>(emulator_->port());
    case FrontEnd::Vxi11: return std::make_unique<Vxi11LineClient>(vxi11_->corePort());
    case FrontEnd::SerialPty: return connectPty(pty_->path());
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
