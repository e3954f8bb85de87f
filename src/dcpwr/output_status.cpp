// IVelmoraQdxOutputStatusOperation / IVelmoraQdxOutputStatusQuestionable: the output's summary
// registers. The channel number is part of each command ("ISUM%d"), so nothing is selected.
#include "dcpwr/output.h"

namespace veqdx::dcpwr {

HRESULT CVelmoraQdxOutput::GetRegister(const char* interfaceName, const char* member,
                                      const char* query, std::int16_t* val) {
  const AccessTarget t = Target();
  return RunMember(t, interfaceName, member, [&]() -> HRESULT {
    TraceOutShort("val", val);
    HRESULT hr = CheckOut(t, member, val);
    if (Failed(hr) || driver_.Simulate()) return hr;
    return QueryValue(t, false, val, "%hd", query, channel_);
  });
}

// The enable setter has no simulation shortcut: the command goes to the I/O session in every
// mode. Both groups send the operation summary enable command; the questionable group's
// enable register cannot be written through this interface, as on the instrument interface
// this driver mirrors.
HRESULT CVelmoraQdxOutput::PutSummaryEnable(const char* interfaceName, std::int16_t val) {
  const AccessTarget t = Target();
  return RunMember(t, interfaceName, "put_EnableRegister", [&]() -> HRESULT {
    TraceIn("val", TraceShort{val});
    return SendCommand(t, false, ":STAT:OPER:INST:ISUM%d:ENAB %hd", channel_, val);
  });
}

template <class I>
HRESULT COutputStatusGroup<I>::get_ConditionRegister(std::int16_t* val) {
  return output_.GetRegister(group_.interfaceName, "get_ConditionRegister", group_.conditionQuery,
                             val);
}
template <class I>
HRESULT COutputStatusGroup<I>::get_EnableRegister(std::int16_t* val) {
  return output_.GetRegister(group_.interfaceName, "get_EnableRegister", group_.enableQuery, val);
}
template <class I>
HRESULT COutputStatusGroup<I>::put_EnableRegister(std::int16_t val) {
  return output_.PutSummaryEnable(group_.interfaceName, val);
}
template <class I>
HRESULT COutputStatusGroup<I>::get_EventRegister(std::int16_t* val) {
  return output_.GetRegister(group_.interfaceName, "get_EventRegister", group_.eventQuery, val);
}

template class COutputStatusGroup<IVelmoraQdxOutputStatusOperation>;
template class COutputStatusGroup<IVelmoraQdxOutputStatusQuestionable>;

}  // namespace veqdx::dcpwr
