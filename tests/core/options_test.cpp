// Option strings, DriverSetup items and the configuration store.
#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>
#include <tuple>

#include "base/error_reporter.h"
#include "core/options.h"
#include "veqdx/status.hpp"

namespace veqdx {
namespace {

using Items = std::vector<std::pair<std::string, std::string>>;

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

// Runs `body` on a thread with a 256 KiB stack, as small as some host applications give
// their workers.
void OnSmallStack(const std::function<void()>& body) {
  pthread_attr_t attr;
  ASSERT_EQ(pthread_attr_init(&attr), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attr, 256 * 1024), 0);
  pthread_t thread;
  auto run = [](void* arg) -> void* {
    (*static_cast<const std::function<void()>*>(arg))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attr, run, const_cast<std::function<void()>*>(&body)), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attr);
}

// The inherent settings that are on, by name; "cache rangeCheck" for the defaults.
std::string On(const InherentSettings& s) {
  std::string out;
  for (const auto& [name, on] :
       {std::pair{"cache", s.cache}, {"interchangeCheck", s.interchangeCheck},
        {"queryInstrumentStatus", s.queryInstrumentStatus}, {"rangeCheck", s.rangeCheck},
        {"recordCoercions", s.recordCoercions}, {"simulate", s.simulate}}) {
    if (on) out += (out.empty() ? "" : " ") + std::string(name);
  }
  return out;
}

TEST(OptionString, SettingsDriverSetupAndModel) {
  struct Case {
    const char* text;
    HRESULT hr;
    const char* on;                  // the inherent settings afterwards
    const char* driverSetup = "";    // the raw DriverSetup text
    const char* model = "";
    Items items = {};                // DriverSetup items looked up by other spellings
  };
  const Case cases[] = {
      {"", S_OK, "cache rangeCheck"},
      {"Simulate=TRUE", S_OK, "cache rangeCheck simulate"},
      {" simulate = VI_TRUE ", S_OK, "cache rangeCheck simulate"},
      {"SIMULATE=vi_true", S_OK, "cache rangeCheck simulate"},
      {"RangeCheck=0", S_OK, "cache"},
      {"rangecheck=False", S_OK, "cache"},
      {"Cache=VI_FALSE", S_OK, "rangeCheck"},
      {"QueryInstrStatus=1", S_OK, "cache queryInstrumentStatus rangeCheck"},
      {"RecordCoercions=true", S_OK, "cache rangeCheck recordCoercions"},
      {"InterchangeCheck=1", S_OK, "cache interchangeCheck rangeCheck"},
      {"Foo=1", S_OK, "cache rangeCheck"},  // unknown names are only stored
      // What came before a bad value stays, what came after is not processed.
      {"Cache=false, Simulate=yes, RangeCheck=0", E_IVI_BAD_OPTION_VALUE, "rangeCheck"},
      {"Simulate=true, DriverSetup=Model=QDX1500H, Trace=false", S_OK, "cache rangeCheck simulate",
       "Model=QDX1500H, Trace=false", "QDX1500H", {{"trace", "false"}}},
      // Everything after "DriverSetup=" is DriverSetup text: this Simulate is an item.
      {"DriverSetup= Model=QDX750H, Simulate=true", S_OK, "cache rangeCheck",
       " Model=QDX750H, Simulate=true", "QDX750H", {{"SIMULATE", "true"}}},
      // Blanks before '='; unknown items are kept for the transports.
      {"RangeCheck=false,driversetup  = IoBackend=socket, BaudRate=9600", S_OK, "cache",
       " IoBackend=socket, BaudRate=9600", "", {{"iobackend", "socket"}, {"BaudRate", "9600"}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    Parsed p = Apply(c.text);
    EXPECT_EQ(p.hr, c.hr);
    EXPECT_EQ(On(p.config.settings), c.on);
    EXPECT_EQ(p.config.driverSetup, c.driverSetup);
    EXPECT_EQ(p.config.model, c.model);
    for (const auto& [name, value] : c.items) EXPECT_EQ(p.config.DriverSetupItem(name), value);
    EXPECT_EQ(p.config.options.count("DriverSetup"), 0u);  // not an option of its own
  }
}

// Splitting must not recurse per character: long items and long runs of blanks before the
// DriverSetup '=' are parsed on a small stack like any other option string.
TEST(OptionString, LongTextParsesOnASmallStack) {
  const struct {
    std::string text;
    HRESULT hr;
    const char* on;
    std::size_t driverSetupSize;
  } cases[] = {
      {"Simulate=true,Cache=" + std::string(200000, 'x'), E_IVI_BAD_OPTION_VALUE,
       "cache rangeCheck simulate", 0},
      {"DriverSetup" + std::string(200000, ' ') + "=Model=QDX1500H", S_OK, "cache rangeCheck",
       14},
      {"Cache=" + std::string(800, 'x'), E_IVI_BAD_OPTION_VALUE, "cache rangeCheck", 0},
      {"DriverSetup=VisaLibrary=" + std::string(800, 'v'), S_OK, "cache rangeCheck", 812},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text.substr(0, 30));
    Parsed p;
    p.hr = E_FAIL;  // stays when the thread did not run
    OnSmallStack([&] { p = Apply(c.text); });
    EXPECT_EQ(p.hr, c.hr);
    EXPECT_EQ(On(p.config.settings), c.on);
    EXPECT_EQ(p.config.driverSetup.size(), c.driverSetupSize);
  }
}

TEST(OptionString, OptionMapDescriptorAndMessages) {
  Parsed p = Apply("Simulate=TRUE, RangeCheck=0, Foo=1, DriverSetup=Trace=false");
  ASSERT_EQ(p.hr, S_OK);
  // The options map holds trimmed pairs and is searched without regard to case.
  ASSERT_EQ(p.config.options.count("rangecheck"), 1u);
  EXPECT_EQ(p.config.options.at("RANGECHECK"), "0");
  EXPECT_EQ(p.config.options.at("foo"), "1");
  EXPECT_EQ(p.config.DriverSetupItem("Parity", "none"), "none");

  for (const auto& [text, parameter] :
       {std::pair{" =1", "strNameIn"}, {"Simulate=  ", "strValueIn"}}) {
    EXPECT_EQ(Apply(text).hr, E_IVI_INVALID_VALUE) << text;
    const std::string& description = ThreadErrorRecord().description;
    EXPECT_NE(description.find("for method ProcessInitOption, parameter " + std::string(parameter)),
              std::string::npos)
        << description;
  }
}

TEST(OptionString, TraceItems) {
  Parsed p = Apply(
      "DriverSetup=Trace=VI_TRUE, TraceName=run1, TraceSizeMax=99999999999, TraceArray=1, "
      "TraceArraySizeMax=abc, TraceSaveInterval= -5, TraceTransform=t.xsl");
  ASSERT_EQ(p.hr, S_OK);
  EXPECT_TRUE(p.trace.Enabled());
  EXPECT_EQ(p.trace.name, "run1");
  EXPECT_EQ(p.trace.sizeMax, INT32_MAX);  // clamped
  EXPECT_TRUE(p.trace.traceArrays);
  EXPECT_EQ(p.trace.arraySizeMax, 0);  // not a number: 0, no error
  EXPECT_EQ(p.trace.saveInterval, -5);
  EXPECT_EQ(p.trace.transform, "t.xsl");

  EXPECT_EQ(Apply("DriverSetup=TraceArray=maybe").hr, E_IVI_BAD_OPTION_VALUE);
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
}

// Hostile item lists and DriverSetup positions.
TEST(OptionValues, ItemsAndTheStartOfDriverSetup) {
  // Items are the successive leftmost matches of "[^,=]+=[^,=]+", each run as long as it goes:
  // what does not match is skipped, nothing is trimmed, a value never names the next item.
  for (const auto& [list, items] : std::initializer_list<std::pair<const char*, Items>>{
           {"a=1,,junk, b = 2 ,c=3=4", {{"a", "1"}, {" b ", " 2 "}, {"c", "3"}}},
           {"a=b=c", {{"a", "b"}}},
           {"=x=y", {{"x", "y"}}},
           {",,a=b,,c", {{"a", "b"}}},
           {"a=,b=c", {{"b", "c"}}},
           {"  =  ", {{"  ", "  "}}},
           {"a==b,c=", {}},
           {"a=b,=c=d,e", {{"a", "b"}, {"c", "d"}}},
       }) {
    EXPECT_EQ(SplitOptionItems(list), items) << list;
  }

  // Where DriverSetup starts: "DriverSetup=" anywhere wins; else the first "DriverSetup",
  // a space, any further white space and '='.
  for (const auto& [text, list, setup, has] :
       std::initializer_list<std::tuple<const char*, const char*, const char*, bool>>{
           {"driversetup \t =a, DriverSetup=b", "driversetup \t =a, ", "b", true},
           {"DriverSetup x,DRIVERSETUP \n=c", "DriverSetup x,", "c", true},
           {"DriverSetup\t=a", "DriverSetup\t=a", "", false},  // the first blank is a space
           {"DriverSetup  x=a", "DriverSetup  x=a", "", false},
       }) {
    std::string optionList, driverSetup;
    bool hasDriverSetup = !has;
    SplitDriverSetup(text, optionList, driverSetup, hasDriverSetup);
    EXPECT_EQ(optionList, list) << text;
    EXPECT_EQ(driverSetup, setup) << text;
    EXPECT_EQ(hasDriverSetup, has) << text;
  }
}

}  // namespace
}  // namespace veqdx
