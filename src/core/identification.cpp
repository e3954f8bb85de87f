#include "core/identification.h"

#include <cerrno>
#include <cstdlib>

#include "base/text.h"

namespace veqdx {

void ParseIdentityReply(std::string_view reply, InstrumentIdentity& identity) {
  std::string* fields[] = {&identity.manufacturer, &identity.model, &identity.serialNumber,
                           &identity.firmwareRevision};
  std::size_t index = 0;
  while (index < std::size(fields)) {
    const std::size_t comma = reply.find(',');
    *fields[index++] = Trim(reply.substr(0, comma));
    if (comma == std::string_view::npos) break;
    reply.remove_prefix(comma + 1);
  }
}

bool IsAcceptedModelName(std::string_view model) {
  constexpr std::string_view kPrefix = "QDX";
  if (!model.starts_with(kPrefix)) return false;
  // What "%ld" converts: optional white space, a sign and decimal digits. strtol follows the
  // same rules (and saturates instead of overflowing).
  const std::string rest(model.substr(kPrefix.size()));
  char* end = nullptr;
  errno = 0;
  const long number = std::strtol(rest.c_str(), &end, 10);
  const bool converted = end != rest.c_str();
  return converted && number > 0;
}

OutputRecord SingleUnitRating(std::string_view model) {
  struct Row {
    const char* model;
    double volts;
    double amps;
  };
  // Only the 750 W types have entries; the 1500 W types run with the open limits.
  static constexpr Row kRatings[] = {{"QDX750L", 30.0, 75.0},
                                     {"QDX750ML", 80.0, 28.0},
                                     {"QDX750MH", 230.0, 10.0},
                                     {"QDX750H", 650.0, 3.5}};
  OutputRecord record{std::string(model), 9999.0, 9999.0, 750.0};
  for (const Row& row : kRatings) {
    if (model == row.model) {
      record.maxVoltage = row.volts;
      record.maxCurrent = row.amps;
      break;
    }
  }
  return record;
}

OutputRecord SimulatedRating() { return OutputRecord{"QDX750ML", 80.0, 28.0, 750.0}; }

}  // namespace veqdx
