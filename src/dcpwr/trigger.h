// IVelmoraQdxTrigger: arm, abort and fire the trigger of the whole instrument.
//
//   CTrigger trigger(driver);
//   trigger.Initiate();                  // ":INIT"
//   trigger.SendSoftwareTrigger();       // "*TRG" (whatever TriggerSource holds)
//   trigger.Abort();                     // ":ABOR"
//
// The commands address the instrument as a whole: no ":INST:NSEL". Nothing is sent while
// simulating, and the call succeeds. A trigger may replace the programmed levels of any output
// with its triggered ones, so after a successful Initiate or SendSoftwareTrigger with Cache on
// (simulated ones included) the cached "IVelmoraQdxOutput.VoltageLevel" and
// "IVelmoraQdxOutput.CurrentLimit" of every output are made invalid. Abort changes no level
// and invalidates nothing; neither does a failed send.
#pragma once
#include <utility>

#include "base/hresult.h"
#include "dcpwr/driver_ref.h"
#include "veqdx/interfaces.hpp"

namespace veqdx {
class CVelmoraQdx;
namespace attr {
class CNode;
}
}  // namespace veqdx

namespace veqdx::dcpwr {

// IIviDCPwrTrigger has the same members: one override serves both interfaces.
class CTrigger final : public IVelmoraQdxTrigger, public IIviDCPwrTrigger {
 public:
  static constexpr const char* kInterface = "IVelmoraQdxTrigger";

  explicit CTrigger(CDriverRef driver) noexcept : driver_(std::move(driver)) {}

  HRESULT Abort() override;
  HRESULT Initiate() override;
  HRESULT SendSoftwareTrigger() override;

 private:
  HRESULT Fire(const char* member, const char* command, bool changesLevels);

  CDriverRef driver_;
};

// Marks the cached voltage level and current limit invalid in `node` and every node below it.
// Touches only the entries' valid flags, so it needs none of the nodes' locks.
void InvalidateProgrammedLevels(const attr::CNode& node);

}  // namespace veqdx::dcpwr
