// The USB TMC transport on a fake sysfs tree, with a pseudo-terminal of the emulator standing
// in for the usbtmc device node.
#include "io/usbtmc_transport.h"

#include <gtest/gtest.h>

#include "io/io_session.h"
#include "qdx_sim.h"
#include "serial_pty.h"
#include "transport_test_util.h"

namespace veqdx::io {
namespace {

using test::FakeUsbTree;

TEST(UsbTmcLookup, MatchesVendorProductSerialAndInterface) {
  FakeUsbTree tree;
  tree.AddDevice(0, "0957", "1796", "MY123", 0, "/dev/null");
  tree.AddDevice(1, "1ab1", "0e11", "DS1ZA1", 1, "/dev/null");
  tree.AddDevice(2, "1ab1", "0e11", "DS1ZA1", 0, "/dev/null");
  tree.AddDevice(3, "1ab1", "0e11", "OTHER", 0, "/dev/null");
  const struct {
    UsbTmcAddress address;
    const char* node;  // nullptr: not found
  } table[] = {
      {{0x0957, 0x1796, "MY123", -1}, "usbtmc0"},
      {{0x0957, 0x1796, "my123", -1}, "usbtmc0"},  // serial numbers match in any case
      {{0x1AB1, 0x0E11, "DS1ZA1", -1}, "usbtmc2"},  // the lowest interface when none is given
      {{0x1AB1, 0x0E11, "DS1ZA1", 1}, "usbtmc1"},
      {{0x1AB1, 0x0E11, "OTHER", 0}, "usbtmc3"},
      {{0x1AB1, 0x0E11, "DS1ZA1", 2}, nullptr},
      {{0x1AB1, 0x0E12, "DS1ZA1", -1}, nullptr},
      {{0x0958, 0x1796, "MY123", -1}, nullptr},
      {{0x0957, 0x1796, "MY1234", -1}, nullptr},
  };
  for (const auto& row : table) {
    std::string node, error;
    bool found = FindUsbTmcNode(row.address, tree.sysfsRoot(), tree.devRoot(), node, error);
    SCOPED_TRACE(UsbTmcAddressText(row.address));
    ASSERT_EQ(found, row.node != nullptr) << error;
    if (found) {
      EXPECT_EQ(node, tree.devRoot() + "/" + row.node);
    }
  }
  std::string node, error;
  EXPECT_FALSE(FindUsbTmcNode({0x1234, 0x5678, "X", 3}, tree.sysfsRoot(), tree.devRoot(), node, error));
  EXPECT_EQ(error, "no USB TMC device 0x1234::0x5678::X::3 is connected (found: "
                   "usbtmc0 = 0x0957::0x1796::MY123::0 usbtmc1 = 0x1AB1::0x0E11::DS1ZA1::1 "
                   "usbtmc2 = 0x1AB1::0x0E11::DS1ZA1::0 usbtmc3 = 0x1AB1::0x0E11::OTHER::0)");
}

TEST(UsbTmcLookup, WithoutTheDriverOrDevicesTheMessageSaysSo) {
  test::ScratchDir dir;
  std::string node, error;
  EXPECT_FALSE(FindUsbTmcNode({1, 2, "S", -1}, dir / "sys", dir / "dev", node, error));
  EXPECT_EQ(error.rfind("no USB TMC devices: " + (dir / "sys") + "/class/usbtmc cannot be read", 0), 0u)
      << error;
  EXPECT_NE(error.find("usbtmc kernel driver"), std::string::npos);

  std::filesystem::create_directories(dir / "sys/class/usbtmc");
  EXPECT_FALSE(FindUsbTmcNode({1, 2, "S", -1}, dir / "sys", dir / "dev", node, error));
  EXPECT_EQ(error, "no USB TMC device 0x0001::0x0002::S is connected (no usbtmc devices at all "
                   "under " + (dir / "sys") + ")");
}

TEST(UsbTmcLookup, RootsFromDriverSetupThenEnvironmentThenDefaults) {
  TransportOptions options;
  EXPECT_EQ(UsbSysfsRoot(options), "/sys");
  EXPECT_EQ(UsbDevRoot(options), "/dev");
  ::setenv("VEQDX_USB_SYSFS_ROOT", "/env/sys", 1);
  ::setenv("VEQDX_USB_DEV_ROOT", "/env/dev", 1);
  EXPECT_EQ(UsbSysfsRoot(options), "/env/sys");
  EXPECT_EQ(UsbDevRoot(options), "/env/dev");
  options.setup["usbsysfsroot"] = "/setup/sys";
  options.setup["usbdevroot"] = "/setup/dev";
  EXPECT_EQ(UsbSysfsRoot(options), "/setup/sys");
  EXPECT_EQ(UsbDevRoot(options), "/setup/dev");
  ::unsetenv("VEQDX_USB_SYSFS_ROOT");
  ::unsetenv("VEQDX_USB_DEV_ROOT");
}

class UsbTmcOverStandIn : public ::testing::Test {
 protected:
  void SetUp() override {
    instrument_ = std::make_unique<qdxsim::Instrument>(qdxsim::Config{});
    server_ = std::make_unique<qdxsim::SerialPtyServer>(*instrument_);
    std::string error;
    ASSERT_TRUE(server_->Start(&error)) << error;
    tree.AddDevice(0, "1ab1", "0e11", "SIM0001", 0, server_->Path());
    options.setup["iobackend"] = "builtin";
    options.setup["usbsysfsroot"] = tree.sysfsRoot();
    options.setup["usbdevroot"] = tree.devRoot();
    options.timeoutMs = 1000;
  }
  std::unique_ptr<ITransport> Open(const std::string& resource = "USB2::0x1AB1::0x0E11::SIM0001::INSTR") {
    return OpenTransport(resource, options, result);
  }

  FakeUsbTree tree;
  std::unique_ptr<qdxsim::Instrument> instrument_;
  std::unique_ptr<qdxsim::SerialPtyServer> server_;
  TransportOptions options;
  IoResult result;
};

TEST_F(UsbTmcOverStandIn, QueriesTheDeviceFoundInSysfs) {
  auto t = Open();
  ASSERT_NE(t, nullptr) << result.message;
  auto* usb = dynamic_cast<CUsbTmcTransport*>(t.get());
  ASSERT_NE(usb, nullptr);
  EXPECT_FALSE(usb->KernelDriver());
  EXPECT_EQ(usb->Node(), tree.devRoot() + "/usbtmc0");
  EXPECT_EQ(t->Interface(), InterfaceType::Usb);
  EXPECT_EQ(t->InterfaceNumber(), 2);
  EXPECT_EQ(t->ResourceClass(), "INSTR");

  ReadEnd why{};
  EXPECT_EQ(test::Query(*t, "*IDN?", &why), "Velmora,QDX750ML,SIM0001,1.00\n");
  EXPECT_EQ(why, ReadEnd::TermChar);
  EXPECT_EQ(server_->TakeTranscript(), std::vector<std::string>{"*IDN?"});

  // A stand-in node has no usbtmc ioctls: clear and the status byte are refused, plainly.
  IoResult r = t->Clear();
  EXPECT_EQ(r.code, IoCode::NotSupported);
  EXPECT_EQ(r.message, "device clear is not supported on " + usb->Node() +
                           ": it does not answer the usbtmc ioctls");
  std::uint8_t stb = 0;
  EXPECT_EQ(t->ReadStatusByte(stb).code, IoCode::NotSupported);
}

TEST_F(UsbTmcOverStandIn, MissingDeviceAndUnopenableNodeAreClearErrors) {
  EXPECT_EQ(Open("USB::0x1AB1::0x0E11::NOPE::INSTR"), nullptr);
  EXPECT_EQ(result.message.rfind("no USB TMC device 0x1AB1::0x0E11::NOPE is connected", 0), 0u)
      << result.message;
  tree.AddDevice(1, "1ab1", "0e11", "GONE", 0, tree.devRoot() + "/nothing-here");
  EXPECT_EQ(Open("USB::0x1AB1::0x0E11::GONE::INSTR"), nullptr);
  EXPECT_EQ(result.message, "cannot open " + tree.devRoot() + "/usbtmc1 for USB TMC device "
                            "0x1AB1::0x0E11::GONE: No such file or directory");
}

}  // namespace
}  // namespace veqdx::io
