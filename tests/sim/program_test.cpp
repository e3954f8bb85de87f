// The qdx-sim program: its command line, its run as a separate process, and the model table.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>


#include "sim_client.h"

namespace qdxsim::test {
namespace {

// A child process running qdx-sim, with its stdout and stderr readable with timeouts.
class SimProcess {
 public:
  explicit SimProcess(const std::vector<std::string>& args) {
    int out[2], err[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      dup2(out[1], 1);
      dup2(err[1], 2);
      std::vector<char*> argv{const_cast<char*>(QDX_SIM_PROGRAM)};
      for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
      argv.push_back(nullptr);
      execv(QDX_SIM_PROGRAM, argv.data());
      _exit(127);
    }
    close(out[1]);
    close(err[1]);
    out_ = out[0];
    err_ = err[0];
  }
  ~SimProcess() {
    if (pid_ > 0 && exitCode_ < 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    if (out_ >= 0) close(out_);
    if (err_ >= 0) close(err_);
  }
  // Text on a pipe up to the first line feed, or what came before EOF or the timeout.
  std::string readLine(bool fromStderr, std::chrono::milliseconds timeout) {
    int fd = fromStderr ? err_ : out_;
    std::string text;
    auto deadline = std::chrono::steady_clock::now() + timeout;
    char c;
    while (std::chrono::steady_clock::now() < deadline) {
      pollfd p{fd, POLLIN, 0};
      if (poll(&p, 1, 50) <= 0) continue;
      if (read(fd, &c, 1) != 1 || c == '\n') break;
      text += c;
    }
    return text;
  }
  // Exit code within the timeout, -1 if still running.
  int waitExit(std::chrono::milliseconds timeout) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    while (exitCode_ < 0 && std::chrono::steady_clock::now() < deadline) {
      int status = 0;
      if (waitpid(pid_, &status, WNOHANG) == pid_) {
        exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      } else {
        std::this_thread::sleep_for(10ms);
      }
    }
    return exitCode_;
  }
  void signal(int sig) { kill(pid_, sig); }

 private:
  pid_t pid_ = -1;
  int out_ = -1, err_ = -1;
  int exitCode_ = -1;
};

TEST(ProgramTest, RunsPrintsItsPortAndStopsOnSignal) {
  for (int sig : {SIGTERM, SIGINT}) {
    SCOPED_TRACE(sig);
    SimProcess sim({"--listen", "127.0.0.1:0", "--model", "QDX1500L", "--serial", "ABC42",
                    "--firmware=2.1", "--load-ohms", "open"});
    std::string portLine = sim.readLine(false, 5s);
    ASSERT_FALSE(portLine.empty());
    ASSERT_EQ(portLine.find_first_not_of("0123456789"), std::string::npos) << portLine;
    SimClient c(std::stoi(portLine));
    ASSERT_TRUE(c.connected());
    EXPECT_EQ(c.query("*IDN?"), "Velmora,QDX1500L,ABC42,2.1");
    EXPECT_EQ(c.query(":VOLT 12;:OUTP 1;:MEAS:CURR?"), "0");  // open circuit
    sim.signal(sig);
    EXPECT_EQ(sim.waitExit(5s), 0);
    EXPECT_TRUE(c.waitForClose(2s));
  }
}

// With --serial-pty the first line is the terminal's path, and the program answers there.
TEST(ProgramTest, SerialPtyPrintsItsPathAndAnswersThere) {
  SimProcess sim({"--serial-pty", "--model", "QDX1500H", "--silent", "*TST?"});
  const std::string path = sim.readLine(false, 5s);
  ASSERT_EQ(path.rfind("/dev/pts/", 0), 0u) << "first line: '" << path << "'";
  auto c = connectPty(path);
  EXPECT_EQ(c->query("*IDN?"), "Velmora,QDX1500H,SIM0001,1.00");
  ASSERT_TRUE(c->send("*TST?"));
  EXPECT_EQ(c->readLine(200ms), std::nullopt);
  sim.signal(SIGTERM);
  EXPECT_EQ(sim.waitExit(5s), 0);
}

TEST(ProgramTest, RefusesBadArgumentsWithAMessage) {
  struct Case {
    std::vector<std::string> args;
    int exitCode;
    const char* message;
  };
  const Case cases[] = {
      {{"--model", "QDX9000"}, 2, "unknown model 'QDX9000'"},
      {{"--channels", "1,1"}, 2, "channel 1 is listed twice"},
      {{"--channels", "1=QDX1"}, 2, "unknown model 'QDX1' for channel 1"},
      {{"--bogus"}, 2, "unknown option --bogus"},
      {{"--listen"}, 2, "option --listen needs a value"},
      {{"--listen", "nowhere"}, 2, "bad value 'nowhere' for --listen"},
      {{"--load-ohms", "-3"}, 2, "bad value '-3' for --load-ohms"},
      {{"--late", "*IDN?"}, 2, "bad value '*IDN?' for --late"},
      {{"--late", "=5"}, 2, "bad value '=5' for --late"},
      {{"--endless", ""}, 2, "bad value '' for --endless"},
      {{"--vxi11-port", "65536"}, 2, "bad value '65536' for --vxi11-port"},
      {{"--portmap-port", "-1"}, 2, "bad value '-1' for --portmap-port"},
      {{"--vxi11", "--serial-pty"}, 2, "--vxi11 serves next to the TCP front end and cannot be "
                                       "combined with --serial-pty"},
      {{"--listen", "256.1.1.1:0"}, 1, "cannot resolve listen address '256.1.1.1'"},
  };
  for (const auto& k : cases) {
    SCOPED_TRACE(k.message);
    SimProcess sim(k.args);
    std::string message = sim.readLine(true, 5s);
    EXPECT_NE(message.find(k.message), std::string::npos) << message;
    EXPECT_EQ(sim.waitExit(5s), k.exitCode);
  }
}

TEST(ProgramTest, HelpDocumentsEveryFlag) {
  std::string help = usageText();
  for (const char* flag : {"--listen", "--model", "--serial", "--firmware", "--channels",
                           "--load-ohms", "--transcript", "--reply-delay-ms", "--silent",
                           "--garbage", "--garbage-text", "--close-after", "--chunk-bytes",
                           "--chunk-pause-ms", "--late", "--endless", "--vxi11", "--help"}) {
    EXPECT_NE(help.find(flag), std::string::npos) << flag;
  }
  for (const auto& model : knownModels()) EXPECT_NE(help.find(model), std::string::npos) << model;
  SimProcess sim({"--help"});
  EXPECT_EQ(sim.readLine(false, 5s), "Usage: qdx-sim [options]");
  EXPECT_EQ(sim.waitExit(5s), 0);
}

TEST(ProgramTest, CommandLineFillsTheConfig) {
  Config c;
  bool help = true;
  std::string error;
  ASSERT_TRUE(parseCommandLine({"--listen", "[::1]:6000", "--channels", "1,3=QDX750H",
                                "--transcript", "/tmp/t.log", "--reply-delay-ms", "15",
                                "--silent", "*IDN?", "--silent=:MEAS:VOLT?", "--garbage", "*ESR?",
                                "--garbage-text", "xyz", "--close-after", "4", "--chunk-bytes",
                                "3", "--chunk-pause-ms", "9", "--load-ohms", "2.5", "--late",
                                "*IDN?=250", "--late=:SYST:CONF:BLE=1?=7", "--endless",
                                ":MEAS:VOLT?"},
                               c, help, error))
      << error;
  EXPECT_FALSE(help);
  EXPECT_EQ(c.listenAddress, "::1");
  EXPECT_EQ(c.port, 6000);
  std::string channels;
  for (const auto& ch : c.channels) channels += std::to_string(ch.number) + "=" + ch.model + ";";
  EXPECT_EQ(channels, "1=;3=QDX750H;");
  EXPECT_EQ(c.transcriptPath, "/tmp/t.log");
  EXPECT_EQ(c.faults.replyDelayMs, 15);
  EXPECT_EQ(c.faults.silentQueries, (std::vector<std::string>{"*IDN?", ":MEAS:VOLT?"}));
  EXPECT_EQ(c.faults.garbageQueries,
            (std::vector<std::pair<std::string, std::string>>{{"*ESR?", "xyz"}}));
  EXPECT_EQ(c.faults.closeAfterMessages, 4);
  EXPECT_EQ(c.faults.chunkBytes, 3u);
  EXPECT_EQ(c.faults.chunkPauseMs, 9);
  std::string late;
  for (const auto& q : c.faults.lateQueries)
    late += q.match + "/" + std::to_string(q.delayMs) + ";";
  EXPECT_EQ(late, "*IDN?/250;:SYST:CONF:BLE=1?/7;");  // the delay follows the last '='
  EXPECT_EQ(c.faults.endlessQueries, std::vector<std::string>{":MEAS:VOLT?"});
  EXPECT_EQ(c.loadOhms, 2.5);
  EXPECT_EQ(c.Validate(), "");
  Config defaults;
  EXPECT_TRUE(parseCommandLine({"-h"}, defaults, help, error));
  EXPECT_TRUE(help);
  EXPECT_EQ(defaults.listenAddress, "127.0.0.1");
  EXPECT_EQ(defaults.port, 5025);
  EXPECT_EQ(defaults.model, "QDX750ML");
  EXPECT_FALSE(defaults.vxi11.enabled);
  // VXI-11: the portmapper defaults to 111 where that can be bound (as root), else to a free port.
  const int rootDefault = geteuid() == 0 ? 111 : 0;
  const struct {
    std::vector<std::string> args;
    int core, portmap;
  } vxi11[] = {
      {{"--vxi11"}, 0, rootDefault},
      {{"--vxi11", "--portmap-port", "0"}, 0, 0},
      {{"--vxi11-port=4000"}, 4000, rootDefault},
      {{"--portmap-port", "4111", "--vxi11-port", "4000"}, 4000, 4111},
  };
  for (const auto& v : vxi11) {
    Config config;
    ASSERT_TRUE(parseCommandLine(v.args, config, help, error)) << error;
    EXPECT_TRUE(config.vxi11.enabled);
    EXPECT_EQ(config.vxi11.corePort, v.core);
    EXPECT_EQ(config.vxi11.portmapPort, v.portmap);
  }
}

}  // namespace
}  // namespace qdxsim::test
