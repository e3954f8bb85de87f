#include "dcpwr/output.h"

#include <cstdio>


namespace veqdx::dcpwr {
namespace {

std::int32_t ChannelOfName(const std::string& name, std::int32_t fallback) {
  int channel = 0;
  char rest = 0;
  if (std::sscanf(name.c_str(), "Output%d%c", &channel, &rest) == 1) return channel;
  return fallback;
}

}  // namespace

CVelmoraQdxOutput::CVelmoraQdxOutput(CVelmoraQdx& driver, std::string physicalName,
                                   std::int32_t channel)
    : attr::CRepCap("Output", physicalName, ChannelOfName(physicalName, channel)),
      driver_(driver),
      channel_(ChannelOfName(physicalName, channel)) {
  if (const std::optional<OutputRecord> rating = driver.Rating(channel_)) {
    maxVoltage_ = kRatingMargin * rating->maxVoltage;
    maxCurrent_ = kRatingMargin * rating->maxCurrent;
  }
}

CVelmoraQdxOutput::~CVelmoraQdxOutput() = default;

HRESULT CVelmoraQdxOutput::ReportInvalidLevel(double value, const char* method,
                                             const char* parameter) const {
  return driver_.Reporter().ReportInvalidValue(method, parameter, value);
}

namespace {

// Navigation getters hand out this same object through another interface.
template <class I>
HRESULT HandOut(const CErrorReporter& reporter, const char* member, I* self, I** val) {
  if (val == nullptr) return reporter.ReportNullPointer(member, "val");
  *val = self;
  return S_OK;
}

}  // namespace

HRESULT CVelmoraQdxOutput::get_ExternalControl(IVelmoraQdxOutputExternalControl** val) {
  return HandOut<IVelmoraQdxOutputExternalControl>(driver_.Reporter(), "get_ExternalControl", this,
                                                   val);
}
HRESULT CVelmoraQdxOutput::get_Status(IVelmoraQdxOutputStatus** val) {
  return HandOut<IVelmoraQdxOutputStatus>(driver_.Reporter(), "get_Status", this, val);
}
HRESULT CVelmoraQdxOutput::get_Operation(IVelmoraQdxOutputStatusOperation** val) {
  return HandOut<IVelmoraQdxOutputStatusOperation>(driver_.Reporter(), "get_Operation",
                                                   &statusOperation_, val);
}
HRESULT CVelmoraQdxOutput::get_Questionable(IVelmoraQdxOutputStatusQuestionable** val) {
  return HandOut<IVelmoraQdxOutputStatusQuestionable>(driver_.Reporter(), "get_Questionable",
                                                      &statusQuestionable_, val);
}

void CVelmoraQdxOutput::OnReset() { InvalidateCache(); }
void CVelmoraQdxOutput::OnResetWithDefaults() { InvalidateCache(); }

HRESULT CVelmoraQdxOutput::ConfigureThroughSetter(const char* interfaceName, const char* method,
                                                 const char* pendingFormat, double limit,
                                                 HRESULT (CVelmoraQdxOutput::*setter)(double),
                                                 const std::function<void()>& traceOther) {
  AccessTarget t = Target();
  return RunMember(t, interfaceName, method, [&]() -> HRESULT {
    TraceIn("Limit", limit);
    traceOther();
    // The instrument form of the whole call is kept as the pending command (diagnostics see
    // it), but the setter sends its own command, with its range check and cache.
    attr::CPendingScope pending(*this);
    const HRESULT hr = driver_.Io().Formatted().Sprintf(pending.Command(), pendingFormat, limit);
    if (Failed(hr)) return hr;
    return (this->*setter)(limit);
  });
}

HRESULT CVelmoraQdxOutput::ConfigureCurrentLimit(VelmoraQdxCurrentLimitBehaviorEnum behavior,
                                                double limit) {
  return ConfigureCurrentLimitAs(kInterface, limit, [&] { TraceIn("Behavior", behavior); });
}

CVelmoraQdxOutput& CVelmoraQdxOutputForms::Output() noexcept {
  return static_cast<CVelmoraQdxOutput&>(*this);
}

HRESULT CVelmoraQdxOutputForms::ConfigureOVP(VARIANT_BOOL enabled, double limit) {
  return Output().ConfigureOVPAs(CVelmoraQdxOutput::kInterface, limit,
                                 [&] { TraceIn("Enabled", enabled); });
}

HRESULT CVelmoraQdxOutput::ConfigureCurrentLimitAs(const char* interfaceName, double limit,
                                                   const std::function<void()>& traceOther) {
  return ConfigureThroughSetter(interfaceName, "ConfigureCurrentLimit",
                                props::kCurrentLimit.configureFormat, limit,
                                &CVelmoraQdxOutput::put_CurrentLimit, traceOther);
}

HRESULT CVelmoraQdxOutput::ConfigureOVPAs(const char* interfaceName, double limit,
                                          const std::function<void()>& traceOther) {
  return ConfigureThroughSetter(interfaceName, "ConfigureOVP", props::kOVPLimit.configureFormat,
                                limit, &CVelmoraQdxOutput::put_OVPLimit, traceOther);
}

HRESULT CVelmoraQdxOutput::QueryMaximum(const char* method, const char* query, bool voltage,
                                        double* val, const char* argumentName, double argument) {
  AccessTarget t = Target();
  return RunMember(t, kInterface, method, [&]() -> HRESULT {
    TraceIn(argumentName, argument);
    TraceOut("val", val);
    HRESULT hr = CheckOut(t, method, val);
    if (Failed(hr)) return hr;
    attr::CPendingScope pending(*this, query, "%@3lg");
    auto io = driver_.LockIo();
    if (Failed(hr = SelectTargetChannel(t))) return hr;
    if (driver_.Simulate()) {
      // The first ratings entry, unmultiplied: a simulated session has one output.
      if (const std::optional<OutputRecord> first = driver_.Rating(0))
        *val = voltage ? first->maxVoltage : first->maxCurrent;
      return S_OK;
    }
    double value = 0;
    hr = driver_.Io().Formatted().QueryString(pending.Command(), pending.ReadFormat().c_str(),
                                              &value);
    if (Succeeded(hr)) *val = value;
    return hr;
  });
}

HRESULT CVelmoraQdxOutput::QueryVoltageLevelMax(double currentLimit, double* val) {
  return QueryMaximum("QueryVoltageLevelMax", ":VOLT? MAX", true, val, "CurrentLimit",
                      currentLimit);
}

HRESULT CVelmoraQdxOutput::QueryCurrentLimitMax(double voltageLevel, double* val) {
  return QueryMaximum("QueryCurrentLimitMax", ":CURR? MAX", false, val, "VoltageLevel",
                      voltageLevel);
}

}  // namespace veqdx::dcpwr
