// Model ratings and configuration checks.
//
// The 750 W models are the published ratings. The 1500 W models are built as two 750 W power
// stages in parallel: the same voltage classes with twice the current, 1500 W each:
//   QDX1500L 30 V / 150 A, QDX1500ML 80 V / 56 A, QDX1500MH 230 V / 20 A, QDX1500H 650 V / 7 A.
// Like their 750 W siblings they are auto-ranging: voltage times current exceeds the power
// rating, so at high voltage and current the unit limits power (see channel_model.cpp).
#include <algorithm>
#include <cmath>
#include <set>

#include "qdx_sim.h"

namespace qdxsim {

namespace {

struct ModelRow {
  const char* name;
  Rating rating;
};

constexpr ModelRow kModels[] = {
    {"QDX750L", {30.0, 75.0, 750.0}},    {"QDX750ML", {80.0, 28.0, 750.0}},
    {"QDX750MH", {230.0, 10.0, 750.0}},  {"QDX750H", {650.0, 3.5, 750.0}},
    {"QDX1500H", {650.0, 7.0, 1500.0}},  {"QDX1500L", {30.0, 150.0, 1500.0}},
    {"QDX1500MH", {230.0, 20.0, 1500.0}}, {"QDX1500ML", {80.0, 56.0, 1500.0}},
};

constexpr int kMaxChannelNumber = 30;  // channel k is bit k of a 32-bit signed summary register

std::string modelList() {
  std::string out;
  for (const auto& row : kModels) {
    if (!out.empty()) out += ", ";
    out += row.name;
  }
  return out;
}

// Identity fields travel inside the comma-separated "*IDN?" reply.
bool fitsIdentity(const std::string& text) {
  return !text.empty() && text.size() <= 64 &&
         std::all_of(text.begin(), text.end(),
                     [](char c) { return c > 0x20 && c < 0x7f && c != ',' && c != ';'; });
}

}  // namespace

const std::vector<std::string>& knownModels() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> v;
    for (const auto& row : kModels) v.emplace_back(row.name);
    return v;
  }();
  return names;
}

std::optional<Rating> ratingOf(std::string_view model) {
  for (const auto& row : kModels) {
    if (model == row.name) return row.rating;
  }
  return std::nullopt;
}

std::string Config::Validate() const {
  if (!ratingOf(model)) {
    return "unknown model '" + model + "' (known models: " + modelList() + ")";
  }
  if (!fitsIdentity(serial)) return "serial number must be 1 to 64 printable characters without blanks, ',' or ';'";
  if (!fitsIdentity(firmware)) return "firmware revision must be 1 to 64 printable characters without blanks, ',' or ';'";
  std::set<int> seen;
  for (const auto& ch : channels) {
    if (ch.number < 1 || ch.number > kMaxChannelNumber) {
      return "channel number " + std::to_string(ch.number) + " is outside 1.." +
             std::to_string(kMaxChannelNumber);
    }
    if (!seen.insert(ch.number).second) {
      return "channel " + std::to_string(ch.number) + " is listed twice";
    }
    if (!ch.model.empty() && !ratingOf(ch.model)) {
      return "unknown model '" + ch.model + "' for channel " + std::to_string(ch.number) +
             " (known models: " + modelList() + ")";
    }
  }
  if (listenAddress.empty()) return "listen address is empty";
  if (port < 0 || port > 65535) return "port " + std::to_string(port) + " is outside 0..65535";
  if (std::isnan(loadOhms) || loadOhms < 0) return "load resistance must be 0 or more ohms";
  if (faults.replyDelayMs < 0 || faults.closeAfterMessages < 0 || faults.chunkPauseMs < 0) {
    return "fault delays and counts must not be negative";
  }
  return {};
}

}  // namespace qdxsim
