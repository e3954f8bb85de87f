// An RPC whose answer comes after the client gave up: the call is a timeout, and the late
// answer, when it arrives, is skipped instead of being taken for the next call's.
#include <sys/eventfd.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "io/vxi11_transport.h"
#include "vxi11/vxi11.h"
#include "vxi11_bench.h"
#include "vxi11_wire.h"

namespace veqdx::io::test {
namespace {

using qdxsim::vxi11::Args;
using qdxsim::vxi11::Xdr;

// A VXI-11 core channel on one connection whose first device_read is answered `lateMs` late
// (with "late\n") and every later one at once (with "fresh\n").
class SlowDevice {
 public:
  explicit SlowDevice(int lateMs) : lateMs_(lateMs) {
    listen_ = ListenOnLoopback(1, port_);
    stop_ = ::eventfd(0, EFD_CLOEXEC);
    thread_ = std::thread([this] { Serve(); });
  }
  ~SlowDevice() {
    std::uint64_t one = 1;
    if (::write(stop_, &one, sizeof one) < 0) { /* cannot fail on a fresh eventfd */ }
    ::shutdown(listen_, SHUT_RDWR);
    thread_.join();
    ::close(listen_);
    ::close(stop_);
  }
  int port() const { return port_; }
  int reads() const { return reads_; }

 private:
  void Serve() {
    int fd = ::accept4(listen_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) return;
    std::vector<char> record;
    while (qdxsim::vxi11::ReadRecord(fd, stop_, record, 1 << 20) ==
           qdxsim::vxi11::ReadStatus::Record) {
      auto reply = qdxsim::vxi11::HandleCall(record, [&](const qdxsim::vxi11::CallHeader& h,
                                                         XDR* in, qdxsim::vxi11::Reply& out) {
        if (h.procedure == create_link) {
          Args<Create_LinkParms> a(in, xdr_Create_LinkParms);
          Create_LinkResp r{0, 7, 0, 4096};
          return out.Success(Xdr(xdr_Create_LinkResp), &r);
        }
        if (h.procedure == device_read) {
          Args<Device_ReadParms> a(in, xdr_Device_ReadParms);
          std::string data = reads_++ == 0 ? "late\n" : "fresh\n";
          if (reads_ == 1) std::this_thread::sleep_for(std::chrono::milliseconds(lateMs_));
          Device_ReadResp r{};
          r.reason = VXI11_REASON_END;
          r.data.data_len = static_cast<u_int>(data.size());
          r.data.data_val = data.data();
          return out.Success(Xdr(xdr_Device_ReadResp), &r);
        }
        Device_Error r{0};  // destroy_link and the rest
        out.Success(Xdr(xdr_Device_Error), &r);
      });
      if (!reply.Body().empty() && !qdxsim::vxi11::WriteRecord(fd, stop_, reply.Body())) break;
    }
    ::close(fd);
  }

  int lateMs_;
  int listen_ = -1;
  int stop_ = -1;
  int port_ = 0;
  int reads_ = 0;
  std::thread thread_;
};

TEST(Vxi11LateReply, TimedOutCallsAnswerIsSkipped) {
  SlowDevice device(CVxi11Transport::kRpcMarginMs + 600);
  ASSERT_NE(device.port(), 0);
  TransportOptions options;
  options.timeoutMs = 100;
  options.setup["vxi11port"] = std::to_string(device.port());
  IoResult r;
  auto t = CVxi11Transport::Open("127.0.0.1", "inst0", 0, options, r);
  ASSERT_TRUE(t) << r.message;

  char buffer[64];
  std::size_t got = 0;
  ReadEnd why = ReadEnd::Count;
  auto start = std::chrono::steady_clock::now();
  r = t->Read(buffer, sizeof buffer, got, why);
  auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(
                std::chrono::steady_clock::now() - start).count();
  EXPECT_EQ(r.code, IoCode::Timeout);
  EXPECT_EQ(r.message, "no answer to device_read from 127.0.0.1:" + std::to_string(device.port()) +
                           " within " + std::to_string(100 + CVxi11Transport::kRpcMarginMs) +
                           " ms");
  EXPECT_EQ(got, 0u);
  EXPECT_LT(ms, CVxi11Transport::kRpcMarginMs + 600);  // gave up before the answer came

  r = t->Read(buffer, sizeof buffer, got, why);
  ASSERT_TRUE(r.ok()) << r.message;
  EXPECT_EQ(std::string(buffer, got), "fresh\n");
  EXPECT_EQ(why, ReadEnd::End);
  EXPECT_EQ(device.reads(), 2);
}

}  // namespace
}  // namespace veqdx::io::test
