// Option strings, DriverSetup items and the configuration store.
#include <gtest/gtest.h>

#include "core/error_reporter.h"
#include "core/options.h"

namespace veqdx {
namespace {

struct Parsed {
  HRESULT hr = S_OK;
  InitConfiguration config;
  CTraceState trace;
};

Parsed Apply(std::string_view optionString) {
  Parsed p;
  CVelmoraQdxErrorReporter reporter;
  CNoConfigStore store;
  ClearThreadErrorRecord();
  p.hr = LoadConfiguration("TCPIP::10.0.0.5::INSTR", optionString, store, p.config, p.trace,
                           reporter);
  return p;
}

TEST(OptionString, EmptyLeavesDefaults) {
  Parsed p = Apply("");
  ASSERT_EQ(p.hr, S_OK);
  const InherentSettings& s = p.config.settings;
  EXPECT_TRUE(s.cache);
  EXPECT_FALSE(s.interchangeCheck);
  EXPECT_FALSE(s.queryInstrumentStatus);
  EXPECT_TRUE(s.rangeCheck);
  EXPECT_FALSE(s.recordCoercions);
  EXPECT_FALSE(s.simulate);
  EXPECT_TRUE(p.config.options.empty());
  EXPECT_EQ(p.config.ioResourceDescriptor, "TCPIP::10.0.0.5::INSTR");
  EXPECT_EQ(p.config.logicalName, "");
}

TEST(OptionString, SetsSettingsByAnySpelling) {
  struct Case {
    const char* text;
    bool InherentSettings::*field;
    bool expected;
  };
  const Case cases[] = {
      {"Simulate=TRUE", &InherentSettings::simulate, true},
      {" simulate = VI_TRUE ", &InherentSettings::simulate, true},
      {"SIMULATE=vi_true", &InherentSettings::simulate, true},
      {"RangeCheck=0", &InherentSettings::rangeCheck, false},
      {"rangecheck=False", &InherentSettings::rangeCheck, false},
      {"Cache=VI_FALSE", &InherentSettings::cache, false},
      {"QueryInstrStatus=1", &InherentSettings::queryInstrumentStatus, true},
      {"RecordCoercions=true", &InherentSettings::recordCoercions, true},
      {"InterchangeCheck=1", &InherentSettings::interchangeCheck, true},
  };
  for (const Case& c : cases) {
    Parsed p = Apply(c.text);
    EXPECT_EQ(p.hr, S_OK) << c.text;
    EXPECT_EQ(p.config.settings.*c.field, c.expected) << c.text;
  }
}

TEST(OptionString, TwoOptions) {
  Parsed p = Apply("Simulate=TRUE, RangeCheck=0");
  ASSERT_EQ(p.hr, S_OK);
  EXPECT_TRUE(p.config.settings.simulate);
  EXPECT_FALSE(p.config.settings.rangeCheck);
  EXPECT_TRUE(p.config.settings.cache);
  // The options map holds trimmed pairs and is searched without regard to case.
  ASSERT_EQ(p.config.options.count("rangecheck"), 1u);
  EXPECT_EQ(p.config.options.at("RANGECHECK"), "0");
}

TEST(OptionString, BadBooleanNamesTheValue) {
  Parsed p = Apply("Cache=false, Simulate=yes, RangeCheck=0");
  EXPECT_EQ(p.hr, MakeHr(0x8004704Cu));
  EXPECT_EQ(ThreadErrorRecord().description,
            "VelmoraQdx: The yes value in the option string is unknown.");
  // What came before the failure stays, what came after is not processed.
  EXPECT_FALSE(p.config.settings.cache);
  EXPECT_TRUE(p.config.settings.rangeCheck);
}

TEST(OptionString, UnknownNameIsOnlyStored) {
  Parsed p = Apply("Foo=1");
  ASSERT_EQ(p.hr, S_OK);
  EXPECT_EQ(p.config.options.at("foo"), "1");
  EXPECT_FALSE(p.config.settings.simulate);
  EXPECT_TRUE(p.config.settings.cache);
}

TEST(OptionString, EmptyNameOrValue) {
  struct Case {
    const char* text;
    const char* parameter;
  };
  const Case cases[] = {{" =1", "strNameIn"}, {"Simulate=  ", "strValueIn"}};
  for (const Case& c : cases) {
    Parsed p = Apply(c.text);
    EXPECT_EQ(p.hr, MakeHr(0x80047010u)) << c.text;
    const std::string& text = ThreadErrorRecord().description;
    EXPECT_NE(text.find("for method ProcessInitOption, parameter " + std::string(c.parameter)),
              std::string::npos)
        << text;
  }
}

TEST(OptionString, DriverSetupPart) {
  Parsed p = Apply("Simulate=true, DriverSetup=Model=QDX1500H, Trace=false");
  ASSERT_EQ(p.hr, S_OK);
  EXPECT_TRUE(p.config.settings.simulate);
  EXPECT_EQ(p.config.driverSetup, "Model=QDX1500H, Trace=false");
  EXPECT_EQ(p.config.model, "QDX1500H");
  EXPECT_FALSE(p.trace.Enabled());
  EXPECT_EQ(p.config.DriverSetupItem("trace"), "false");
  // DriverSetup is not an option of its own.
  EXPECT_EQ(p.config.options.count("DriverSetup"), 0u);
}

TEST(OptionString, DriverSetupMustBeLast) {
  // Everything after "DriverSetup=" is DriverSetup text, so Simulate here is a DriverSetup item
  // and not an option.
  Parsed p = Apply("DriverSetup= Model=QDX750H, Simulate=true");
  ASSERT_EQ(p.hr, S_OK);
  EXPECT_FALSE(p.config.settings.simulate);
  EXPECT_EQ(p.config.model, "QDX750H");
  EXPECT_EQ(p.config.DriverSetupItem("SIMULATE"), "true");
}

TEST(OptionString, DriverSetupWithBlanksBeforeEquals) {
  Parsed p = Apply("RangeCheck=false,driversetup  = IoBackend=socket, BaudRate=9600");
  ASSERT_EQ(p.hr, S_OK);
  EXPECT_FALSE(p.config.settings.rangeCheck);
  EXPECT_EQ(p.config.driverSetup, " IoBackend=socket, BaudRate=9600");
  // Unknown items are kept for the transports.
  EXPECT_EQ(p.config.DriverSetupItem("iobackend"), "socket");
  EXPECT_EQ(p.config.DriverSetupItem("BaudRate"), "9600");
  EXPECT_EQ(p.config.DriverSetupItem("Parity", "none"), "none");
}

TEST(OptionString, TraceItems) {
  Parsed p = Apply(
      "DriverSetup=Trace=VI_TRUE, TraceName=run1, TraceSizeMax=4096, TraceArray=1, "
      "TraceArraySizeMax=abc, TraceSaveInterval= -5, TraceTransform=t.xsl");
  ASSERT_EQ(p.hr, S_OK);
  EXPECT_TRUE(p.trace.Enabled());
  EXPECT_EQ(p.trace.name, "run1");
  EXPECT_EQ(p.trace.sizeMax, 4096);
  EXPECT_TRUE(p.trace.traceArrays);
  EXPECT_EQ(p.trace.arraySizeMax, 0);  // not a number: 0, no error
  EXPECT_EQ(p.trace.saveInterval, -5);
  EXPECT_EQ(p.trace.transform, "t.xsl");

  Parsed bad = Apply("DriverSetup=TraceArray=maybe");
  EXPECT_EQ(bad.hr, MakeHr(0x8004704Cu));
  EXPECT_NE(ThreadErrorRecord().description.find("The maybe value"), std::string::npos);
}

TEST(TraceState, SecondStopAfterRestartIsRefused) {
  CTraceState trace;
  EXPECT_EQ(trace.Switch(false), S_OK);  // never on: nothing to stop
  EXPECT_EQ(trace.Switch(true), S_OK);
  EXPECT_EQ(trace.Switch(false), S_OK);
  EXPECT_TRUE(trace.StoppedOnce());
  EXPECT_EQ(trace.Switch(true), S_OK);
  EXPECT_EQ(trace.Switch(false), E_UNEXPECTED);
  EXPECT_TRUE(trace.Enabled());

  // Through DriverSetup the refusal is the call's status.
  InitConfiguration config;
  CVelmoraQdxErrorReporter reporter;
  COptionProcessor processor(config, trace, reporter);
  EXPECT_EQ(processor.ApplyDriverSetup("Trace=false"), E_UNEXPECTED);
}

TEST(OptionValues, BooleansAndIntegers) {
  bool b = false;
  EXPECT_TRUE(ParseBooleanOption("  TrUe ", b));
  EXPECT_TRUE(b);
  EXPECT_TRUE(ParseBooleanOption("vi_false", b));
  EXPECT_FALSE(b);
  b = true;
  EXPECT_FALSE(ParseBooleanOption("yes", b));
  EXPECT_FALSE(ParseBooleanOption("10", b));
  EXPECT_TRUE(b);  // untouched on failure

  EXPECT_EQ(ParseDecimalOption("123abc"), 123);
  EXPECT_EQ(ParseDecimalOption("x1"), 0);
  EXPECT_EQ(ParseDecimalOption("99999999999"), INT32_MAX);
}

TEST(OptionItems, RegularExpressionSplitsAndSkips) {
  auto items = SplitOptionItems("a=1,,junk, b = 2 ,c=3=4");
  ASSERT_EQ(items.size(), 3u);
  EXPECT_EQ(items[0], (std::pair<std::string, std::string>{"a", "1"}));
  EXPECT_EQ(items[1], (std::pair<std::string, std::string>{" b ", " 2 "}));
  EXPECT_EQ(items[2], (std::pair<std::string, std::string>{"c", "3"}));
}

// A store that knows one session.
class OneSessionStore : public IConfigStore {
 public:
  ConfigStoreSession session;
  bool FindDriverSession(std::string_view name, ConfigStoreSession& out) override {
    if (name != "MySupply") return false;
    out = session;
    return true;
  }
};

TEST(ConfigStore, SessionSettingsThenOptionString) {
  OneSessionStore store;
  store.session.hardwareResource = "ASRL1::INSTR";
  store.session.settings.simulate = true;
  store.session.settings.cache = false;
  store.session.driverSetup = "Model=QDX750L";

  InitConfiguration config;
  CTraceState trace;
  CVelmoraQdxErrorReporter reporter;
  ASSERT_EQ(LoadConfiguration("MySupply", "Cache=true", store, config, trace, reporter), S_OK);
  EXPECT_EQ(config.logicalName, "MySupply");
  EXPECT_EQ(config.ioResourceDescriptor, "ASRL1::INSTR");
  EXPECT_TRUE(config.settings.simulate);
  EXPECT_TRUE(config.settings.cache);  // the option string wins
  EXPECT_EQ(config.model, "QDX750L");

  store.session.softwareModuleLoadable = false;
  EXPECT_EQ(LoadConfiguration("MySupply", "", store, config, trace, reporter),
            MakeHr(0x80047000u));
  EXPECT_NE(ThreadErrorRecord().description.find(
                "\r\nSoftware module could not be loaded from the IVI Configuration Store."),
            std::string::npos);
}

}  // namespace
}  // namespace veqdx
