// The driver class of the VelmoraQdx family: the framework driver (CDriver) with the family's
// constants, its model check, identification and output discovery, channel selection, and
// the keyword converters the formatted I/O engine uses for enumeration items.
//
//   CVelmoraQdx driver(dcpwr::CreateOutput);
//   driver.Initialize("TCPIP::10.0.0.5::5025::SOCKET", VARIANT_TRUE, VARIANT_FALSE, "");
//   driver.OutputNames();        // {"Output0"} on a single unit
//   driver.Rating(0)->maxVoltage;
//   driver.Close();
#pragma once
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/driver.h"
#include "core/identification.h"
#include "io/enum_formatter.h"

namespace veqdx {

class CVelmoraQdx;

// Makes the node of one output that discovery found: `physicalName` is "Output0" or
// "Output<channel>", `channel` the number ":INST:NSEL %d" selects for it. Null only when memory
// is exhausted. The output classes sit a layer above the driver (dcpwr::CreateOutput), so
// whoever builds a driver hands it the factory.
using OutputFactory = std::function<std::unique_ptr<attr::CRepCap>(
    CVelmoraQdx& driver, std::string physicalName, std::int32_t channel)>;

class CVelmoraQdx : public CDriver, public io::IEnumFormatter {
 public:
  // Interface names of the call contexts of this class's operations.
  static constexpr const char* kInterface = "IVelmoraQdx";

  explicit CVelmoraQdx(OutputFactory makeOutput);
  ~CVelmoraQdx() override;

  // The constants of the driver class.
  static DriverConstants MakeConstants();

  // ---------------- outputs (valid after a successful Initialize) ----------------
  // Number of outputs found by discovery.
  std::uint32_t OutputCount() const;
  // Their names in discovery order: "Output0" on a single unit, "Output<channel>" otherwise.
  std::vector<std::string> OutputNames() const;
  // The name of the only output; false when the session has none or several.
  bool OnlyOutputName(std::string& name) const;
  // Ratings of the output on `channel` (the channel number itself indexes the records: a
  // single unit has record 0). Empty for a channel that discovery did not find.
  std::optional<OutputRecord> Rating(std::int32_t channel) const;
  // The channel last selected with ":INST:NSEL"; -1 for none since discovery.
  std::int32_t SelectedChannel() const;

  // Selects `channel` before a per-output command. With Cache on and the channel already
  // selected nothing is sent; when simulating nothing is sent but the channel is remembered.
  // A failed selection leaves the selected channel unchanged. Takes the I/O lock; the caller
  // holds it too across the command that follows, so the pair is never split.
  HRESULT SelectChannel(std::int32_t channel);

  // ---------------- io::IEnumFormatter ----------------
  // The converter is chosen by enumeration name and the calling thread's context key.
  HRESULT FormatEnum(std::string_view name, std::int32_t value, std::string& keyword) override;
  HRESULT ParseEnum(std::string_view name, std::string_view reply, std::int32_t& value) override;

 protected:
  bool IsModelSupported() const override;
  HRESULT QueryIdentity() override;
  HRESULT SetUpSession() override;
  void OnInstrumentReset() override;

 private:
  // Outputs found by discovery, before the nodes are built.
  struct Discovery {
    std::vector<std::string> names;
    std::vector<std::int32_t> channels;
    std::array<std::optional<OutputRecord>, kMaxChannelNumber + 1> records;
  };
  HRESULT DiscoverOutputs(Discovery& found);
  HRESULT DiscoverChannels(Discovery& found);

  const OutputFactory makeOutput_;
  // Guarded by the I/O lock.
  std::vector<std::string> outputNames_;
  std::vector<std::int32_t> outputChannels_;
  std::array<std::optional<OutputRecord>, kMaxChannelNumber + 1> records_;
  std::int32_t selectedChannel_ = -1;
};

}  // namespace veqdx
