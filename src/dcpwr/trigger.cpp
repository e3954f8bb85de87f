#include "dcpwr/trigger.h"

#include "core/velmoraqdx.h"
#include "dcpwr/accessor.h"
#include "dcpwr/output_properties.h"

namespace veqdx::dcpwr {

void InvalidateProgrammedLevels(const attr::CNode& node) {
  for (const dcpwr::PropertyInfo* level : {&props::kVoltageLevel, &props::kCurrentLimit}) {
    if (attr::CCacheEntryBase* entry = node.FindCacheEntry(level->key)) entry->Invalidate();
  }
  node.ForEachChild([](attr::CNode& child) { InvalidateProgrammedLevels(child); });
}

HRESULT CTrigger::Abort() { return Fire("Abort", ":ABOR", false); }

HRESULT CTrigger::Initiate() { return Fire("Initiate", ":INIT", true); }

HRESULT CTrigger::SendSoftwareTrigger() {
  // No check of the trigger source: "*TRG" goes out whatever the outputs' sources are.
  return Fire("SendSoftwareTrigger", "*TRG", true);
}

HRESULT CTrigger::Fire(const char* member, const char* command, bool changesLevels) {
  const std::shared_ptr<CVelmoraQdx> driver = driver_.Lease();
  const AccessTarget root{*driver, *driver, kNoChannel};
  return RunMember(root, kInterface, member, [&]() -> HRESULT {
    const HRESULT hr = driver->Simulate() ? S_OK : SendCommand(root, false, command);
    // The I/O lock is released by now: the walk below reads the child maps.
    if (Succeeded(hr) && changesLevels && driver->Cache()) InvalidateProgrammedLevels(*driver);
    return hr;
  });
}

}  // namespace veqdx::dcpwr
