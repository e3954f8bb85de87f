// Identification ("*IDN?"), the model check and output discovery of CVelmoraQdx.
#include <algorithm>
#include <climits>
#include <cstdio>

#include "core/velmoraqdx.h"
#include "io/formatted_io.h"

namespace veqdx {
namespace {

std::string OutputName(std::int32_t channel) {
  char name[32];
  std::snprintf(name, sizeof name, "Output%d", static_cast<int>(channel));
  return name;
}

// Marks catalog slots the reply did not fill.
constexpr std::int32_t kUnfilled = INT32_MIN;

}  // namespace

bool CVelmoraQdx::IsModelSupported() const { return IsAcceptedModelName(Model()); }

HRESULT CVelmoraQdx::QueryIdentity() {
  if (Simulate()) return S_OK;  // the identity getters answer from the driver's constants
  auto io = LockIo();
  io::CountedString reply;
  const HRESULT hr = Io().Formatted().QueryString("*IDN?", "%$Ct", &reply);
  if (Failed(hr)) return hr;
  InstrumentIdentity identity = Identity();
  identity.model = Model();  // a reply without a model field keeps the model in use
  ParseIdentityReply(reply.View(), identity);
  SetIdentity(identity);
  SetModel(identity.model);
  return hr;
}

HRESULT CVelmoraQdx::SetUpSession() {
  Discovery found;
  HRESULT hr = DiscoverOutputs(found);
  if (Failed(hr)) return hr;
  {
    auto io = LockIo();
    outputNames_ = found.names;
    outputChannels_ = found.channels;
    records_ = found.records;
  }
  // The nodes are built outside the I/O lock: attaching takes each node's own lock, and the
  // I/O lock must stay the innermost one.
  for (std::size_t i = 0; i < found.names.size(); ++i) {
    std::unique_ptr<attr::CRepCap> output =
        makeOutput_(*this, found.names[i], found.channels[i]);
    if (!output) return Reporter().ReportOutOfMemory();
    if (AddChild(found.names[i], std::move(output)) == nullptr)
      return Reporter().ReportUnexpectedResponse("Output " + found.names[i] + " exists twice.");
  }
  return hr;
}

HRESULT CVelmoraQdx::DiscoverOutputs(Discovery& found) {
  auto io = LockIo();
  selectedChannel_ = -1;
  outputNames_.clear();
  outputChannels_.clear();
  records_ = {};

  if (Simulate()) {
    // Always the QDX750ML's ratings, whatever model the session names.
    found.names = {"Output0"};
    found.channels = {0};
    found.records[0] = SimulatedRating();
    return S_OK;
  }

  io::CountedString options;
  HRESULT hr = Io().Formatted().QueryString("*OPT?", "%$C[^\n]", &options);
  if (Failed(hr)) return hr;
  if (options.View().find("VMCB") != std::string_view::npos) return DiscoverChannels(found);

  // A single supply: one output, rated by its model.
  found.names = {"Output0"};
  found.channels = {0};
  found.records[0] = SingleUnitRating(Model());
  return hr;
}

HRESULT CVelmoraQdx::DiscoverChannels(Discovery& found) {
  io::CFormattedIo& fio = Io().Formatted();
  std::int32_t count = kMaxCatalogChannels;
  std::array<std::int32_t, kMaxCatalogChannels> channels;
  channels.fill(kUnfilled);
  HRESULT hr = fio.QueryString(":INST:CAT?", "%(;,)#d", &count, std::span<std::int32_t>(channels));
  if (Failed(hr)) return hr;
  count = std::clamp<std::int32_t>(count, 0, kMaxCatalogChannels);

  for (std::int32_t i = 0; i < count && channels[static_cast<std::size_t>(i)] != kUnfilled; ++i) {
    const std::int32_t channel = channels[static_cast<std::size_t>(i)];
    // The channel number indexes the output records; one that cannot is not a channel.
    if (channel < 0 || channel > kMaxChannelNumber) {
      return Reporter().ReportUnexpectedResponse(
          "The instrument listed channel " + std::to_string(channel) + "; channels 0 to " +
          std::to_string(kMaxChannelNumber) + " are supported.");
    }
    auto& record = found.records[static_cast<std::size_t>(channel)];
    if (record) {
      return Reporter().ReportUnexpectedResponse("The instrument listed channel " +
                                                 std::to_string(channel) + " twice.");
    }
    std::string command;
    hr = fio.Sprintf(command, ":INST:NSEL %d;INFO?", channel);
    if (Failed(hr)) return hr;
    OutputRecord rating;
    io::CountedString model;
    hr = fio.QueryString(command, "%lf,%lf,%lf,%$C[^\n]", &rating.maxVoltage, &rating.maxCurrent,
                         &rating.maxPower, &model);
    if (Failed(hr)) return hr;
    rating.model = model.Str();
    record = std::move(rating);
    found.names.push_back(OutputName(channel));
    found.channels.push_back(channel);
  }
  return hr;
}

}  // namespace veqdx
