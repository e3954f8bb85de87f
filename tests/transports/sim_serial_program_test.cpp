// qdx-sim --serial-pty as a separate program: the path on the first line, then the driver's
// serial transport talks to it.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "io/io_session.h"
#include "io/serial_transport.h"
#include "transport_test_util.h"

extern char** environ;

namespace veqdx::io {
namespace {

// The program with its standard output on a pipe; killed and reaped at the end.
class SimProcess {
 public:
  explicit SimProcess(std::vector<std::string> args) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    args.insert(args.begin(), QDX_SIM_PROGRAM);
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    if (::posix_spawn(&pid_, QDX_SIM_PROGRAM, &actions, nullptr, argv.data(), environ) != 0)
      pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
    ::close(fds[1]);
    out_ = fds[0];
  }
  ~SimProcess() {
    if (pid_ > 0) Stop();
    if (out_ >= 0) ::close(out_);
  }
  // The first line of standard output, waiting at most `ms`.
  std::string FirstLine(int ms = 5000) {
    std::string line;
    char c = 0;
    while (true) {
      pollfd p{out_, POLLIN, 0};
      if (::poll(&p, 1, ms) <= 0 || ::read(out_, &c, 1) != 1 || c == '\n') return line;
      line.push_back(c);
    }
  }
  // Stops the program and returns its exit status (-1 when it did not end in time).
  int Stop() {
    ::kill(pid_, SIGTERM);
    for (int i = 0; i < 500; ++i) {
      if (::waitpid(pid_, &status_, WNOHANG) == pid_) {
        pid_ = -1;
        return WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return -1;
  }
  bool running() const { return pid_ > 0; }

 private:
  pid_t pid_ = -1;
  int out_ = -1;
  int status_ = 0;
};

TEST(SimSerialProgram, PrintsThePathAndAnswersOverIt) {
  SimProcess sim({"--serial-pty", "--model", "QDX1500H", "--silent", "*TST?"});
  ASSERT_TRUE(sim.running());
  std::string path = sim.FirstLine();
  ASSERT_EQ(path.rfind("/dev/pts/", 0), 0u) << "first line: '" << path << "'";

  TransportOptions options;
  options.timeoutMs = 2000;
  IoResult result;
  auto t = SerialTransport::Open(path, 0, options, result);
  ASSERT_NE(t, nullptr) << result.message;
  EXPECT_EQ(test::Query(*t, "*IDN?"), "Velmora,QDX1500H,SIM0001,1.00\n");
  t->SetTimeout(200);
  EXPECT_EQ(test::Query(*t, "*TST?"), "<no reply from " + path + " within 200 ms>");
  t->Close();
  EXPECT_EQ(sim.Stop(), 0);
}

}  // namespace
}  // namespace veqdx::io
