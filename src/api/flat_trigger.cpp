// Trigger functions: the per-output trigger settings and the instrument-wide trigger.
#include "api/flat_common.h"
#include "dcpwr/output.h"
#include "dcpwr/trigger.h"
#include "veqdx.h"

using namespace veqdx;
using namespace veqdx::api;
using dcpwr::CVelmoraQdxOutput;

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureTriggerSource(ViSession Vi,
                                                              ViConstString ChannelName,
                                                              ViInt32 Source) {
  return RunPerOutput(Vi, ChannelName, [&](CVelmoraQdxOutput& o) {
    return o.put_TriggerSource(static_cast<veqdx::VelmoraQdxTriggerSourceEnum>(Source));
  });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureTriggeredVoltageLevel(ViSession Vi,
                                                                      ViConstString ChannelName,
                                                                      ViReal64 Level) {
  return RunPerOutput(Vi, ChannelName,
                      [&](CVelmoraQdxOutput& o) { return o.put_TriggeredVoltageLevel(Level); });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_ConfigureTriggeredCurrentLimit(ViSession Vi,
                                                                      ViConstString ChannelName,
                                                                      ViReal64 Limit) {
  return RunPerOutput(Vi, ChannelName,
                      [&](CVelmoraQdxOutput& o) { return o.put_TriggeredCurrentLimit(Limit); });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_Abort(ViSession Vi) {
  return RunOnDriver(Vi, [](CVelmoraQdx& d) { return dcpwr::CTrigger(d).Abort(); });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_Initiate(ViSession Vi) {
  return RunOnDriver(Vi, [](CVelmoraQdx& d) { return dcpwr::CTrigger(d).Initiate(); });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_SendSoftwareTrigger(ViSession Vi) {
  return RunOnDriver(Vi, [](CVelmoraQdx& d) { return dcpwr::CTrigger(d).SendSoftwareTrigger(); });
}
