// Initialization options: the option string of Initialize, its DriverSetup part and the
// configuration store that can stand behind a resource name.
//
// An option string looks like "Simulate=true, RangeCheck=0, DriverSetup=Model=QDX1500H,
// Trace=false". Everything after "DriverSetup=" belongs to the DriverSetup part, so
// DriverSetup must come last.
#pragma once
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/error_reporter.h"
#include "base/hresult.h"
#include "base/text.h"

namespace veqdx {

// Option names are looked up without regard to case, so any spelling finds the entry.
using OptionMap = std::map<std::string, std::string, CaseInsensitiveLess>;

// Reads a boolean option value. The checks run in the order "true", "VI_TRUE", "1", "false",
// "VI_FALSE", "0", each on the trimmed value and without regard to case. False when the
// value is none of them (`result` is then left alone).
bool ParseBooleanOption(std::string_view value, bool& result);

// Plain decimal text-to-integer conversion: leading blanks and a sign are accepted, the digits
// that follow are converted, anything else yields 0. Values beyond 32 bits are clamped.
std::int32_t ParseDecimalOption(std::string_view value);

// The six inherent settings, in their fixed order, with the defaults of a fresh Initialize.
struct InherentSettings {
  bool cache = true;
  bool interchangeCheck = false;
  bool queryInstrumentStatus = false;
  bool rangeCheck = true;
  bool recordCoercions = false;
  bool simulate = false;
};

// The six settings by name: option names (matched without regard to case) and the
// configuration store's DriverSession attributes (matched exactly) are the same words.
struct InherentSettingField {
  const char* name;
  bool InherentSettings::*field;
};
inline constexpr InherentSettingField kInherentSettingFields[] = {
    {"cache", &InherentSettings::cache},
    {"interchangeCheck", &InherentSettings::interchangeCheck},
    {"queryInstrStatus", &InherentSettings::queryInstrumentStatus},
    {"rangeCheck", &InherentSettings::rangeCheck},
    {"recordCoercions", &InherentSettings::recordCoercions},
    {"simulate", &InherentSettings::simulate}};

// What the method trace has been told by the DriverSetup items. The trace itself only needs
// to know whether it runs and whether it was already stopped once: stopping it again after a
// restart is refused.
class CTraceState {
 public:
  // Switches the trace on or off. Off while on, after an earlier stop, returns E_UNEXPECTED
  // and changes nothing.
  HRESULT Switch(bool on);
  bool Enabled() const { return enabled_; }
  bool StoppedOnce() const { return stoppedOnce_; }

  // Settings of the trace file, with their defaults (an empty name stands for the component
  // identifier). Switching on and off is kept across Initialize calls; these are not.
  std::string name;
  std::int32_t sizeMax = 10000;       // records kept; 0: no limit
  bool traceArrays = false;
  std::int32_t arraySizeMax = 100;
  std::int32_t saveInterval = 5;      // seconds; 0: after every record
  std::string transform;
  void ResetSettings() {
    const bool enabled = enabled_, stopped = stoppedOnce_;
    *this = CTraceState{};
    enabled_ = enabled;
    stoppedOnce_ = stopped;
  }

 private:
  bool enabled_ = false;
  bool stoppedOnce_ = false;
};

// One configurable initial setting of the store, applied after the outputs exist through the
// setter of the numbered attribute `name` ("VEQDX_ATTR_..." or its decimal identifier).
struct InitialSetting {
  std::string name;
  std::string repCap;  // output selector; empty for attributes of no output
  std::string type;    // "String", "Integer", "Real" or "Boolean"
  std::string value;
  int line = 0;        // where it stands in the store file, for the error description
};

// Everything the configuration of one Initialize produced. Reset() restores the state at the
// start of an Initialize.
struct InitConfiguration {
  InherentSettings settings;
  OptionMap options;            // every processed option, trimmed name -> trimmed value
  std::string driverSetup;      // the raw DriverSetup text
  OptionMap driverSetupItems;   // every DriverSetup item, trimmed name -> trimmed value
  std::string model;            // DriverSetup "Model"; empty when none was named
  std::string logicalName;      // the resource name when it named a store session
  std::string ioResourceDescriptor;
  std::string storeFile;                        // set when the resource name was in the store
  std::vector<InitialSetting> initialSettings;  // from the store, applied after discovery

  void Reset() { *this = InitConfiguration{}; }
  // Value of a DriverSetup item by any spelling of its name; `fallback` when absent.
  std::string DriverSetupItem(std::string_view name, std::string_view fallback = {}) const;
};

// Applies option strings and DriverSetup strings to a configuration. Every failure is
// reported through `reporter` and processing stops at the first one, leaving what was
// processed before it in place.
class COptionProcessor {
 public:
  COptionProcessor(InitConfiguration& config, CTraceState& trace, const CErrorReporter& reporter)
      : config_(config), trace_(trace), reporter_(reporter) {}

  HRESULT ApplyOptionString(std::string_view optionString);
  // One "name=value" pair of the option list; unknown names are only stored.
  HRESULT ProcessInitOption(std::string_view name, std::string_view value);
  // The DriverSetup text: stored, its item map emptied and refilled.
  HRESULT ApplyDriverSetup(std::string_view driverSetup);
  HRESULT ProcessDriverSetupItem(std::string_view name, std::string_view value);

 private:
  InitConfiguration& config_;
  CTraceState& trace_;
  const CErrorReporter& reporter_;
};

// Splits a list into its "name=value" items: the successive leftmost matches of
// "[^,=]+=[^,=]+", each run as long as it goes. Text between items that does not match is
// skipped. Names and values are returned untrimmed.
std::vector<std::pair<std::string, std::string>> SplitOptionItems(std::string_view list);

// Splits an option string into the option list and the DriverSetup text. `hasDriverSetup`
// tells whether a DriverSetup option was found.
void SplitDriverSetup(std::string_view optionString, std::string& optionList,
                      std::string& driverSetup, bool& hasDriverSetup);

// ---------------------------------------------------------------------------------------------
// Configuration store: a resource name may name a driver session configured outside the
// program; its settings then apply before the option string.

struct ConfigStoreSession {
  std::string storeFile;            // the file it came from, for error descriptions
  std::string hardwareResource;     // the I/O address of the session
  bool softwareModuleLoadable = true;
  InherentSettings settings;
  std::string driverSetup;
  // The software module's settings, then the session's, each in document order.
  std::vector<InitialSetting> initialSettings;
};

class IConfigStore {
 public:
  virtual ~IConfigStore() = default;
  // Sets `found`, and fills `session`, when `resourceName` names a driver session (or a
  // logical name of one). A store that exists but cannot be read is a failure reported
  // through `reporter`; no store at all is not.
  virtual HRESULT FindDriverSession(std::string_view resourceName, const CErrorReporter& reporter,
                                    ConfigStoreSession& session, bool& found) = 0;
};

// No store: every resource name is an I/O address.
class CNoConfigStore : public IConfigStore {
 public:
  HRESULT FindDriverSession(std::string_view, const CErrorReporter&, ConfigStoreSession&,
                            bool& found) override {
    found = false;
    return S_OK;
  }
};

// Loads the whole configuration of an Initialize: defaults, the store (when `resourceName`
// names a session there), then the option string. Does not pick the default model and does
// not take the initial-settings snapshot; the driver does both.
HRESULT LoadConfiguration(std::string_view resourceName, std::string_view optionString,
                          IConfigStore& store, InitConfiguration& config, CTraceState& trace,
                          const CErrorReporter& reporter);

}  // namespace veqdx
