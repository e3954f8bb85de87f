// The serial transport over a real tty: the emulator's pseudo-terminal front end.
#include "io/serial_transport.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "io/io_session.h"
#include "qdx_sim.h"
#include "serial_pty.h"
#include "transport_test_util.h"

namespace veqdx::io {
namespace {

using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;
using test::Query;

TEST(SerialSettings, DriverSetupItems) {
  const struct {
    std::map<std::string, std::string> setup;
    unsigned baud;
    int dataBits;
    SerialSettings::Parity parity;
    SerialSettings::StopBits stopBits;
    SerialSettings::FlowControl flow;
  } good[] = {
      {{}, 9600, 8, SerialSettings::Parity::None, SerialSettings::StopBits::One,
       SerialSettings::FlowControl::None},
      {{{"baudrate", "115200"}, {"databits", "7"}, {"parity", "Even"}, {"stopbits", "2"},
        {"flowcontrol", "RTSCTS"}},
       115200, 7, SerialSettings::Parity::Even, SerialSettings::StopBits::Two,
       SerialSettings::FlowControl::RtsCts},
      {{{"baudrate", " 300 "}, {"parity", "mark"}, {"flowcontrol", "xonxoff"}}, 300, 8,
       SerialSettings::Parity::Mark, SerialSettings::StopBits::One,
       SerialSettings::FlowControl::XonXoff},
      {{{"databits", "5"}, {"stopbits", "1.5"}, {"parity", "space"}}, 9600, 5,
       SerialSettings::Parity::Space, SerialSettings::StopBits::OneAndHalf,
       SerialSettings::FlowControl::None},
  };
  for (const auto& row : good) {
    TransportOptions options;
    options.setup = row.setup;
    SerialSettings s;
    std::string error;
    ASSERT_TRUE(SerialSettings::FromOptions(options, s, error)) << error;
    EXPECT_EQ(s.baudRate, row.baud);
    EXPECT_EQ(s.dataBits, row.dataBits);
    EXPECT_EQ(s.parity, row.parity);
    EXPECT_EQ(s.stopBits, row.stopBits);
    EXPECT_EQ(s.flowControl, row.flow);
  }

  const struct {
    const char* key;
    const char* value;
    const char* message;
  } bad[] = {
      {"baudrate", "12345", "DriverSetup item BaudRate='12345' is not valid: expected a standard rate"},
      {"baudrate", "-9600", "DriverSetup item BaudRate='-9600' is not valid"},
      {"databits", "9", "DriverSetup item DataBits='9' is not valid: expected 5, 6, 7 or 8"},
      {"databits", "4", "DriverSetup item DataBits='4' is not valid"},
      {"parity", "sometimes", "DriverSetup item Parity='sometimes' is not valid: expected none, odd, even, mark or space"},
      {"stopbits", "3", "DriverSetup item StopBits='3' is not valid: expected 1, 1.5 or 2"},
      {"stopbits", "1.5", "DriverSetup item StopBits=1.5 needs DataBits=5"},
      {"flowcontrol", "dtrdsr", "DriverSetup item FlowControl='dtrdsr' is not valid: expected none, xonxoff or rtscts"},
  };
  for (const auto& row : bad) {
    TransportOptions options;
    options.setup[row.key] = row.value;
    SerialSettings s;
    s.baudRate = 1;
    std::string error;
    EXPECT_FALSE(SerialSettings::FromOptions(options, s, error)) << row.key << "=" << row.value;
    EXPECT_EQ(error.rfind(row.message, 0), 0u) << error;
    EXPECT_EQ(s.baudRate, 1u);  // untouched on failure
  }
}

TEST(SerialDevicePath, AsrlNumbersCountFromOne) {
  std::string path, error;
  ASSERT_TRUE(SerialDevicePath(1, "", path, error));
  EXPECT_EQ(path, "/dev/ttyS0");
  ASSERT_TRUE(SerialDevicePath(4, "", path, error));
  EXPECT_EQ(path, "/dev/ttyS3");
  ASSERT_TRUE(SerialDevicePath(-1, "/dev/ttyUSB0", path, error));
  EXPECT_EQ(path, "/dev/ttyUSB0");
  EXPECT_FALSE(SerialDevicePath(0, "", path, error));
  EXPECT_NE(error.find("ASRL1::INSTR is /dev/ttyS0"), std::string::npos);

  TransportOptions options;
  options.setup["iobackend"] = "builtin";
  IoResult result;
  EXPECT_EQ(OpenTransport("ASRL0::INSTR", options, result), nullptr);
  EXPECT_NE(result.message.find("ASRL0::INSTR"), std::string::npos) << result.message;
}

class SerialOverPty : public ::testing::Test {
 protected:
  void SetUp() override {
    instrument_ = std::make_unique<qdxsim::Instrument>(qdxsim::Config{});
    server_ = std::make_unique<qdxsim::SerialPtyServer>(*instrument_);
    std::string error;
    ASSERT_TRUE(server_->Start(&error)) << error;
    options.setup["iobackend"] = "builtin";
    options.timeoutMs = 1000;
  }
  std::string Resource() const { return "ASRL" + server_->Path() + "::INSTR"; }
  std::unique_ptr<ITransport> Open() { return OpenTransport(Resource(), options, result); }
  std::unique_ptr<qdxsim::Instrument> instrument_;
  std::unique_ptr<qdxsim::SerialPtyServer> server_;
  TransportOptions options;
  IoResult result;
};

// Line-feed terminated queries; the port is held exclusively until closed; a clear throws
// away a reply that is waiting; the status byte is not the line's to give.
TEST_F(SerialOverPty, QueriesExclusiveOpenAndClear) {
  auto t = Open();
  ASSERT_NE(t, nullptr) << result.message;
  EXPECT_EQ(t->Interface(), InterfaceType::Serial);
  EXPECT_EQ(t->ResourceClass(), "INSTR");
  EXPECT_TRUE(t->TermCharEnabled());
  EXPECT_EQ(t->TermChar(), '\n');
  EXPECT_EQ(Query(*t, "*IDN?"), "Velmora,QDX750ML,SIM0001,1.00\n");
  // A message that already ends with the line feed gets no second one.
  EXPECT_EQ(Query(*t, ":VOLT 12.5;:VOLT?\n"), "12.5\n");
  EXPECT_EQ(server_->TakeTranscript(), (Lines{"*IDN?", ":VOLT 12.5;:VOLT?"}));
  EXPECT_EQ(Open(), nullptr);
  EXPECT_EQ(result.message, "serial port " + server_->Path() + " is in use by another program");

  std::size_t written = 0;
  ASSERT_TRUE(t->Write("*IDN?", 5, true, written).ok());
  // Wait (bounded) until the reply is there, then clear it away.
  for (int i = 0; i < 100 && server_->TakeTranscript().empty(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_TRUE(t->Clear().ok());
  t->SetTimeout(100);
  char buffer[64];
  std::size_t got = 0;
  ReadEnd why{};
  EXPECT_EQ(t->Read(buffer, sizeof buffer, got, why).code, IoCode::Timeout);
  std::uint8_t stb = 0;
  IoResult r = t->ReadStatusByte(stb);
  EXPECT_EQ(r.code, IoCode::NotSupported);
  EXPECT_NE(r.message.find("*STB?"), std::string::npos);
  t->Close();
  auto again = Open();
  ASSERT_NE(again, nullptr) << result.message;
  EXPECT_EQ(Query(*again, "*OPC?"), "1\n");
}

TEST_F(SerialOverPty, LineSettingsReachTheTerminalInRawMode) {
  options.setup["baudrate"] = "19200";
  options.setup["stopbits"] = "2";
  options.setup["flowcontrol"] = "xonxoff";
  auto t = Open();
  ASSERT_NE(t, nullptr) << result.message;
  int fd = ::open(server_->Path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) GTEST_SKIP() << "the exclusive open also keeps this user out";
  termios tio{};
  ASSERT_EQ(::tcgetattr(fd, &tio), 0);
  ::close(fd);
  // What a pseudo-terminal keeps of them (it forces 8 data bits and no parity).
  EXPECT_EQ(::cfgetospeed(&tio), B19200);
  EXPECT_TRUE(tio.c_cflag & CSTOPB);
  EXPECT_TRUE(tio.c_iflag & IXON);
  EXPECT_TRUE(tio.c_iflag & IXOFF);
  EXPECT_FALSE(tio.c_lflag & (ECHO | ICANON | ISIG));
  EXPECT_FALSE(tio.c_oflag & OPOST);
  EXPECT_FALSE(tio.c_iflag & ICRNL);
}

TEST(SerialTermios, SettingsMapToTheLineFlags) {
  const struct {
    int dataBits;
    SerialSettings::Parity parity;
    SerialSettings::StopBits stop;
    SerialSettings::FlowControl flow;
    tcflag_t size, parityFlags;
    bool twoStop, rtscts, xon;
  } table[] = {
      {8, SerialSettings::Parity::None, SerialSettings::StopBits::One,
       SerialSettings::FlowControl::None, CS8, 0, false, false, false},
      {7, SerialSettings::Parity::Even, SerialSettings::StopBits::Two,
       SerialSettings::FlowControl::RtsCts, CS7, PARENB, true, true, false},
      {6, SerialSettings::Parity::Odd, SerialSettings::StopBits::One,
       SerialSettings::FlowControl::XonXoff, CS6, PARENB | PARODD, false, false, true},
      {5, SerialSettings::Parity::Mark, SerialSettings::StopBits::OneAndHalf,
       SerialSettings::FlowControl::None, CS5, PARENB | PARODD | CMSPAR, true, false, false},
      {8, SerialSettings::Parity::Space, SerialSettings::StopBits::One,
       SerialSettings::FlowControl::None, CS8, PARENB | CMSPAR, false, false, false},
  };
  for (const auto& row : table) {
    SerialSettings s;
    s.baudRate = 57600;
    s.dataBits = row.dataBits;
    s.parity = row.parity;
    s.stopBits = row.stop;
    s.flowControl = row.flow;
    // Start from a cooked terminal with every flag the settings must clear.
    termios tio{};
    tio.c_cflag = CS8 | PARENB | PARODD | CMSPAR | CSTOPB | CRTSCTS;
    tio.c_iflag = ICRNL | IXON | IXOFF | IXANY;
    tio.c_lflag = ECHO | ICANON | ISIG;
    tio.c_oflag = OPOST;
    ApplySerialSettings(s, tio);
    SCOPED_TRACE(row.dataBits);
    EXPECT_EQ(tio.c_cflag & CSIZE, row.size);
    EXPECT_EQ(tio.c_cflag & (PARENB | PARODD | CMSPAR), row.parityFlags);
    EXPECT_EQ((tio.c_cflag & CSTOPB) != 0, row.twoStop);
    EXPECT_EQ((tio.c_cflag & CRTSCTS) != 0, row.rtscts);
    EXPECT_EQ((tio.c_iflag & IXON) != 0, row.xon);
    EXPECT_EQ((tio.c_iflag & IXOFF) != 0, row.xon);
    EXPECT_FALSE(tio.c_iflag & (ICRNL | IXANY));
    EXPECT_TRUE(tio.c_cflag & CLOCAL);
    EXPECT_TRUE(tio.c_cflag & CREAD);
    EXPECT_FALSE(tio.c_lflag & (ECHO | ICANON | ISIG));
    EXPECT_FALSE(tio.c_oflag & OPOST);
    EXPECT_EQ(tio.c_cc[VMIN], 1);
    EXPECT_EQ(tio.c_cc[VTIME], 0);
    EXPECT_EQ(::cfgetospeed(&tio), B57600);
    EXPECT_EQ(::cfgetispeed(&tio), B57600);
  }
}


TEST_F(SerialOverPty, OpenFailuresSayWhatIsWrong) {
  test::ScratchDir dir;
  test::WriteFile(dir / "plain", "x");
  IoResult r;
  EXPECT_EQ(OpenTransport("ASRL" + (dir / "missing") + "::INSTR", options, r), nullptr);
  EXPECT_EQ(r.message, "serial port " + (dir / "missing") + " does not exist");
  EXPECT_EQ(OpenTransport("ASRL" + (dir / "plain") + "::INSTR", options, r), nullptr);
  EXPECT_EQ(r.message, dir / "plain" + " is not a serial port (not a terminal device)");
  options.setup["baudrate"] = "7";
  EXPECT_EQ(Open(), nullptr);
  EXPECT_NE(result.message.find("BaudRate='7'"), std::string::npos);
}


TEST_F(SerialOverPty, AHungUpLineIsAnErrorNotAHang) {
  auto t = Open();
  ASSERT_NE(t, nullptr) << result.message;
  server_->Stop();
  char buffer[16];
  std::size_t got = 0;
  ReadEnd why{};
  auto start = Clock::now();
  IoResult r = t->Read(buffer, sizeof buffer, got, why);
  EXPECT_EQ(r.code, IoCode::Error);
  EXPECT_NE(r.message.find("hung up"), std::string::npos) << r.message;
  EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(900));  // before the 1 s timeout
}

}  // namespace
}  // namespace veqdx::io
