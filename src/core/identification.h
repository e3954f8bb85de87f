// Pieces of instrument identification and output discovery that need no I/O: reading an
// "*IDN?" reply, the model acceptance rule and the ratings of a single unit.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

namespace veqdx {

// Ratings of one output. The range checks of the output settings take their upper limits
// from here.
struct OutputRecord {
  std::string model;
  double maxVoltage = 0.0;  // V
  double maxCurrent = 0.0;  // A
  double maxPower = 0.0;    // W
};

// What the instrument says about itself, in IEEE 488.2 order.
struct InstrumentIdentity {
  std::string manufacturer;
  std::string model;
  std::string serialNumber;
  std::string firmwareRevision;
};

// The catalog of a multi-channel unit lists at most this many channels, and channel numbers
// must lie in 0..kMaxChannelNumber so that they can index the output records.
constexpr std::int32_t kMaxCatalogChannels = 32;
constexpr std::int32_t kMaxChannelNumber = 32;

// Splits an "*IDN?" reply at its commas into manufacturer, model, serial number and firmware
// revision, each trimmed. Fields the reply does not have keep their previous value; fields
// past the fourth are ignored.
void ParseIdentityReply(std::string_view reply, InstrumentIdentity& identity);

// The model acceptance rule: the text reads as "QDX%ld" with exactly one number converted and
// that number above zero. The prefix is compared exactly (case matters); any positive number
// passes, listed model or not.
bool IsAcceptedModelName(std::string_view model);

// Ratings of a single unit by its model; models without an entry get open limits of 9999 V
// and 9999 A. The power is 750 W in every case. `record.model` is `model`.
OutputRecord SingleUnitRating(std::string_view model);

// Ratings of the one output a simulated session has: always those of the QDX750ML.
OutputRecord SimulatedRating();

}  // namespace veqdx
