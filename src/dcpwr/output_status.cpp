// IVelmoraQdxOutputStatusOperation / IVelmoraQdxOutputStatusQuestionable: the output's summary
// registers. The channel number is part of each command ("ISUM%d"), so nothing is selected.
#include "dcpwr/output.h"

namespace veqdx::dcpwr {

HRESULT VelmoraQdxOutput::GetRegister(const char* interfaceName, const char* member,
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
HRESULT VelmoraQdxOutput::PutSummaryEnable(const char* interfaceName, std::int16_t val) {
  const AccessTarget t = Target();
  return RunMember(t, interfaceName, "put_EnableRegister", [&]() -> HRESULT {
    TraceIn("val", TraceShort{val});
    return SendCommand(t, false, ":STAT:OPER:INST:ISUM%d:ENAB %hd", channel_, val);
  });
}

HRESULT VelmoraQdxOutput::get_OperationConditionRegister(std::int16_t* val) {
  return GetRegister(kStatusOperationInterface, "get_ConditionRegister",
                     ":STAT:OPER:INST:ISUM%d:COND?", val);
}
HRESULT VelmoraQdxOutput::get_OperationEnableRegister(std::int16_t* val) {
  return GetRegister(kStatusOperationInterface, "get_EnableRegister",
                     ":STAT:OPER:INST:ISUM%d:ENAB?", val);
}
HRESULT VelmoraQdxOutput::put_OperationEnableRegister(std::int16_t val) {
  return PutSummaryEnable(kStatusOperationInterface, val);
}
HRESULT VelmoraQdxOutput::get_OperationEventRegister(std::int16_t* val) {
  return GetRegister(kStatusOperationInterface, "get_EventRegister", ":STAT:OPER:INST:ISUM%d:EVEN?",
                     val);
}

HRESULT VelmoraQdxOutput::get_QuestionableConditionRegister(std::int16_t* val) {
  return GetRegister(kStatusQuestionableInterface, "get_ConditionRegister",
                     ":STAT:QUES:INST:ISUM%d:COND?", val);
}
HRESULT VelmoraQdxOutput::get_QuestionableEnableRegister(std::int16_t* val) {
  return GetRegister(kStatusQuestionableInterface, "get_EnableRegister",
                     ":STAT:QUES:INST:ISUM%d:ENAB?", val);
}
HRESULT VelmoraQdxOutput::put_QuestionableEnableRegister(std::int16_t val) {
  return PutSummaryEnable(kStatusQuestionableInterface, val);
}
HRESULT VelmoraQdxOutput::get_QuestionableEventRegister(std::int16_t* val) {
  return GetRegister(kStatusQuestionableInterface, "get_EventRegister",
                     ":STAT:QUES:INST:ISUM%d:EVEN?", val);
}

// ---- the two interfaces' forwarding objects ----

HRESULT COutputStatusOperation::get_ConditionRegister(std::int16_t* val) {
  return output_.get_OperationConditionRegister(val);
}
HRESULT COutputStatusOperation::get_EnableRegister(std::int16_t* val) {
  return output_.get_OperationEnableRegister(val);
}
HRESULT COutputStatusOperation::put_EnableRegister(std::int16_t val) {
  return output_.put_OperationEnableRegister(val);
}
HRESULT COutputStatusOperation::get_EventRegister(std::int16_t* val) {
  return output_.get_OperationEventRegister(val);
}

HRESULT COutputStatusQuestionable::get_ConditionRegister(std::int16_t* val) {
  return output_.get_QuestionableConditionRegister(val);
}
HRESULT COutputStatusQuestionable::get_EnableRegister(std::int16_t* val) {
  return output_.get_QuestionableEnableRegister(val);
}
HRESULT COutputStatusQuestionable::put_EnableRegister(std::int16_t val) {
  return output_.put_QuestionableEnableRegister(val);
}
HRESULT COutputStatusQuestionable::get_EventRegister(std::int16_t* val) {
  return output_.get_QuestionableEventRegister(val);
}

}  // namespace veqdx::dcpwr
