// Listeners, connection threads and the dispatch of the VXI-11 front end. Every wait polls an
// eventfd that stop() signals, so no thread can hold up shutdown.
#include "vxi11_server.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <rpc/rpc.h>
#include <rpc/pmap_prot.h>  // after rpc.h, which it needs
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>
#include <vector>

#include "listener.h"
#include "vxi11_device.h"
#include "vxi11_wire.h"

namespace qdxsim {

namespace {

constexpr std::size_t kMaxConnections = 32;  // further connections are closed at once
constexpr int kPollSliceMs = 1000;
// Largest call taken: a full device_write and its headers.
constexpr std::size_t kMaxRecord = VXI11_MAX_DATA + 4096;

// The raw front end's address as a client reaches it: a wildcard means this host.
std::string reachable(const std::string& listen) {
  if (listen.empty() || listen == "0.0.0.0") return "127.0.0.1";
  if (listen == "::") return "::1";
  return listen;
}

}  // namespace

class Vxi11Server::Impl {
 public:
  Impl(Emulator& e, const Config& c) : emulator(e), config(c) {}
  ~Impl() { Stop(); }

  bool Start(std::string& error);
  void Stop();

  Emulator& emulator;
  Config config;
  std::unique_ptr<vxi11::Device> device;
  std::atomic<bool> running{false};
  int corePort = 0;
  int portmapPort = 0;

 private:
  enum class Service { Core, Portmapper };
  struct Connection {
    std::thread thread;
    std::shared_ptr<std::atomic<bool>> done;
  };

  void AcceptLoop();
  void Serve(int fd, Service service, int id, std::shared_ptr<std::atomic<bool>> done);
  void DispatchCore(int connection, const vxi11::CallHeader& h, XDR* in, vxi11::Reply& out);
  void DispatchPortmapper(const vxi11::CallHeader& h, XDR* in, vxi11::Reply& out);
  void CloseListeners();

  int coreFd_ = -1;
  int portmapFd_ = -1;
  int wakeFd_ = -1;
  int nextId_ = 1;
  std::thread acceptor_;
  std::vector<Connection> connections_;  // touched by the acceptor thread only
};

void Vxi11Server::Impl::CloseListeners() {
  for (int* fd : {&coreFd_, &portmapFd_, &wakeFd_}) {
    if (*fd >= 0) ::close(*fd);
    *fd = -1;
  }
}

bool Vxi11Server::Impl::Start(std::string& error) {
  if (running) {
    error = "the VXI-11 server is already running";
    return false;
  }
  if (!emulator.Running()) {
    error = "the VXI-11 front end needs the emulator to be running";
    return false;
  }
  const Vxi11Config& v = config.vxi11;
  if (v.maxLinks < 1 || v.maxRecvSize < 1 || v.maxRecvSize > VXI11_MAX_DATA) {
    error = "VXI-11 settings out of range: at least one link, maxRecvSize 1 to " +
            std::to_string(VXI11_MAX_DATA);
    return false;
  }
  coreFd_ = detail::listenOn(config.listenAddress, v.corePort, "VXI-11 core channel", true, error);
  if (coreFd_ >= 0 && v.portmapPort >= 0)
    portmapFd_ = detail::listenOn(config.listenAddress, v.portmapPort, "portmapper", true, error);
  if (coreFd_ < 0 || (v.portmapPort >= 0 && portmapFd_ < 0)) {
    CloseListeners();
    return false;
  }
  wakeFd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wakeFd_ < 0) {
    error = std::string("cannot create eventfd: ") + std::strerror(errno);
    CloseListeners();
    return false;
  }
  corePort = detail::boundPort(coreFd_);
  portmapPort = portmapFd_ >= 0 ? detail::boundPort(portmapFd_) : 0;
  vxi11::DeviceSettings settings;
  settings.emulatorHost = reachable(config.listenAddress);
  settings.emulatorPort = emulator.Port();
  settings.maxLinks = v.maxLinks;
  settings.maxRecvSize = v.maxRecvSize;
  settings.stopFd = wakeFd_;
  device = std::make_unique<vxi11::Device>(emulator.Device(), settings);
  running = true;
  acceptor_ = std::thread([this] { AcceptLoop(); });
  return true;
}

void Vxi11Server::Impl::Stop() {
  if (!running.exchange(false)) return;
  std::uint64_t one = 1;
  if (write(wakeFd_, &one, sizeof one) < 0) { /* the eventfd cannot be full here */ }
  device->Stop();
  acceptor_.join();
  CloseListeners();
  corePort = portmapPort = 0;
}

void Vxi11Server::Impl::AcceptLoop() {
  for (;;) {
    pollfd fds[3] = {{wakeFd_, POLLIN, 0}, {coreFd_, POLLIN, 0}, {portmapFd_, POLLIN, 0}};
    int n = poll(fds, portmapFd_ >= 0 ? 3 : 2, kPollSliceMs);
    if (fds[0].revents) break;
    std::erase_if(connections_, [](Connection& c) {
      if (!c.done->load()) return false;
      c.thread.join();
      return true;
    });
    if (n <= 0) continue;
    for (int i = 1; i < 3; ++i) {
      if (!(fds[i].revents & POLLIN)) continue;
      int fd = accept4(fds[i].fd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
      if (fd < 0) continue;
      if (connections_.size() >= kMaxConnections) {
        ::close(fd);
        continue;
      }
      auto done = std::make_shared<std::atomic<bool>>(false);
      Service service = i == 1 ? Service::Core : Service::Portmapper;
      int id = nextId_++;
      connections_.push_back(
          {std::thread([this, fd, service, id, done] { Serve(fd, service, id, done); }), done});
    }
  }
  for (auto& c : connections_) c.thread.join();
  connections_.clear();
}

void Vxi11Server::Impl::Serve(int fd, Service service, int id,
                              std::shared_ptr<std::atomic<bool>> done) {
  std::vector<char> record;
  while (vxi11::ReadRecord(fd, wakeFd_, record, kMaxRecord) == vxi11::ReadStatus::Record) {
    vxi11::Reply reply = vxi11::HandleCall(record, [&](const vxi11::CallHeader& h, XDR* in,
                                                        vxi11::Reply& out) {
      if (service == Service::Core) DispatchCore(id, h, in, out);
      else DispatchPortmapper(h, in, out);
    });
    if (reply.Close()) break;
    if (!reply.Body().empty() && !vxi11::WriteRecord(fd, wakeFd_, reply.Body())) break;
  }
  if (service == Service::Core) device->DropConnection(id);
  ::close(fd);
  done->store(true);
}

void Vxi11Server::Impl::DispatchPortmapper(const vxi11::CallHeader& h, XDR* in,
                                           vxi11::Reply& out) {
  using vxi11::Xdr;
  if (h.program != PMAPPROG) return out.ProgramUnavailable();
  // rpcbind clients ask version 4 or 3 first and fall back to 2 on this answer.
  if (h.version != PMAPVERS) return out.VersionMismatch(PMAPVERS, PMAPVERS);
  if (h.procedure == PMAPPROC_NULL) return out.Success(vxi11::XdrVoid(), nullptr);
  if (h.procedure != PMAPPROC_GETPORT) return out.ProcedureUnavailable();
  vxi11::Args<pmap> query(in, xdr_pmap);
  if (!query.Ok()) return out.GarbageArguments();
  u_long port = 0;
  if (query->pm_prog == DEVICE_CORE && query->pm_vers == DEVICE_CORE_VERSION &&
      query->pm_prot == IPPROTO_TCP)
    port = static_cast<u_long>(corePort);
  out.Success(Xdr(xdr_u_long), &port);
}

void Vxi11Server::Impl::DispatchCore(int connection, const vxi11::CallHeader& h, XDR* in,
                                     vxi11::Reply& out) {
  using vxi11::Args;
  using vxi11::Xdr;
  if (h.program != DEVICE_CORE) return out.ProgramUnavailable();
  if (h.version != DEVICE_CORE_VERSION)
    return out.VersionMismatch(DEVICE_CORE_VERSION, DEVICE_CORE_VERSION);
  vxi11::Device& d = *device;
  bool close = false;
  switch (h.procedure) {
    case 0:
      return out.Success(vxi11::XdrVoid(), nullptr);
    case create_link: {
      Args<Create_LinkParms> a(in, xdr_Create_LinkParms);
      if (!a.Ok()) return out.GarbageArguments();
      Create_LinkResp r = d.CreateLink(connection, *a);
      return out.Success(Xdr(xdr_Create_LinkResp), &r);
    }
    case device_write: {
      Args<Device_WriteParms> a(in, xdr_Device_WriteParms);
      if (!a.Ok()) return out.GarbageArguments();
      Device_WriteResp r = d.Write(connection, *a, close);
      if (close) return out.CloseConnection();
      return out.Success(Xdr(xdr_Device_WriteResp), &r);
    }
    case device_read: {
      Args<Device_ReadParms> a(in, xdr_Device_ReadParms);
      if (!a.Ok()) return out.GarbageArguments();
      std::string data;
      Device_ReadResp r = d.Read(connection, *a, data, close);
      if (close) return out.CloseConnection();
      return out.Success(Xdr(xdr_Device_ReadResp), &r);
    }
    case device_readstb: {
      Args<Device_GenericParms> a(in, xdr_Device_GenericParms);
      if (!a.Ok()) return out.GarbageArguments();
      Device_ReadStbResp r = d.ReadStatusByte(connection, *a);
      return out.Success(Xdr(xdr_Device_ReadStbResp), &r);
    }
    case device_clear:
    case device_remote:
    case device_local: {
      Args<Device_GenericParms> a(in, xdr_Device_GenericParms);
      if (!a.Ok()) return out.GarbageArguments();
      Device_Error r = h.procedure == device_clear ? d.Clear(connection, *a)
                                                   : d.Accept(connection, *a);
      return out.Success(Xdr(xdr_Device_Error), &r);
    }
    case device_lock: {
      Args<Device_LockParms> a(in, xdr_Device_LockParms);
      if (!a.Ok()) return out.GarbageArguments();
      Device_Error r = d.Lock(connection, *a);
      return out.Success(Xdr(xdr_Device_Error), &r);
    }
    case device_unlock:
    case destroy_link: {
      Args<Device_Link> a(in, xdr_Device_Link);
      if (!a.Ok()) return out.GarbageArguments();
      Device_Error r = h.procedure == device_unlock ? d.Unlock(connection, *a)
                                                    : d.DestroyLink(connection, *a);
      return out.Success(Xdr(xdr_Device_Error), &r);
    }
    case device_trigger:
    case device_enable_srq:
    case device_docmd:
    case create_intr_chan:
    case destroy_intr_chan: {
      // Known procedures this instrument does not offer; their arguments are not needed.
      Device_Error r{VXI11_ERR_NOT_SUPPORTED};
      if (h.procedure == device_docmd) {
        Device_DocmdResp doc{};
        doc.error = VXI11_ERR_NOT_SUPPORTED;
        return out.Success(Xdr(xdr_Device_DocmdResp), &doc);
      }
      return out.Success(Xdr(xdr_Device_Error), &r);
    }
    default:
      return out.ProcedureUnavailable();
  }
}

// --- public face ---

Vxi11Server::Vxi11Server(Emulator& emulator, const Config& config)
    : impl_(std::make_unique<Impl>(emulator, config)) {}
Vxi11Server::~Vxi11Server() = default;

bool Vxi11Server::Start(std::string* message) {
  std::string error;
  if (impl_->Start(error)) return true;
  if (message) *message = error;
  return false;
}

void Vxi11Server::Stop() { impl_->Stop(); }
bool Vxi11Server::Running() const { return impl_->running; }
int Vxi11Server::CorePort() const { return impl_->corePort; }
int Vxi11Server::PortmapPort() const { return impl_->portmapPort; }

std::size_t Vxi11Server::LinkCount() const {
  return impl_->device ? impl_->device->LinkCount() : 0;
}

Vxi11Server::Stats Vxi11Server::Statistics() const {
  Stats s;
  if (!impl_->device) return s;
  vxi11::DeviceStats d = impl_->device->Stats();
  s.links = d.links;
  s.writes = d.writes;
  s.reads = d.reads;
  s.largestWrite = d.largestWrite;
  return s;
}

}  // namespace qdxsim
