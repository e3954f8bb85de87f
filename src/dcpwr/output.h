// CVelmoraQdxOutput: one output of the supply, an instance of the "Output" repeated capability.
// It implements IVelmoraQdxOutput, IVelmoraQdxOutputExternalControl, IVelmoraQdxOutputStatus
// and the class-compliant IIviDCPwrOutput (output_ivi.h) itself. The two per-output status
// groups have members of one signature, so the output hands out a small object for each
// (StatusOperation(), StatusQuestionable()).
//
// Every member runs the accessor sequence (accessor.h) on this node and, for per-output
// commands, selects this output's channel first.
#pragma once
#include <array>
#include <cstdint>
#include <functional>
#include <string>

#include "attributes/node.h"
#include "base/hresult.h"
#include "dcpwr/accessor.h"
#include "dcpwr/output_ivi.h"
#include "dcpwr/output_properties.h"
#include "veqdx/interfaces.hpp"

namespace veqdx::dcpwr {

class CVelmoraQdxOutput;

// The queries of one of an output's two summary register groups (the channel fills "%d").
struct SummaryGroup {
  const char* interfaceName;
  const char* conditionQuery;
  const char* enableQuery;
  const char* eventQuery;
};

inline constexpr SummaryGroup kOperationSummary{
    "IVelmoraQdxOutputStatusOperation", ":STAT:OPER:INST:ISUM%d:COND?",
    ":STAT:OPER:INST:ISUM%d:ENAB?", ":STAT:OPER:INST:ISUM%d:EVEN?"};
inline constexpr SummaryGroup kQuestionableSummary{
    "IVelmoraQdxOutputStatusQuestionable", ":STAT:QUES:INST:ISUM%d:COND?",
    ":STAT:QUES:INST:ISUM%d:ENAB?", ":STAT:QUES:INST:ISUM%d:EVEN?"};

// IVelmoraQdxOutputStatusOperation / ...Questionable of one output (output_status.cpp).
template <class I>
class COutputStatusGroup final : public I {
 public:
  COutputStatusGroup(CVelmoraQdxOutput& output, const SummaryGroup& group) noexcept
      : output_(output), group_(group) {}
  HRESULT get_ConditionRegister(std::int16_t* val) override;
  HRESULT get_EnableRegister(std::int16_t* val) override;
  // Both groups send the operation summary enable command (see output_status.cpp).
  HRESULT put_EnableRegister(std::int16_t val) override;
  HRESULT get_EventRegister(std::int16_t* val) override;

 private:
  CVelmoraQdxOutput& output_;
  const SummaryGroup& group_;
};

// The instrument forms of the three IVelmoraQdxOutput members whose signature IIviDCPwrOutput
// shares (see output_ivi.h).
class CVelmoraQdxOutputForms : public IVelmoraQdxOutput {
 public:
  // Enabled is accepted and otherwise ignored; the limit goes through put_OVPLimit.
  HRESULT ConfigureOVP(VARIANT_BOOL enabled, double limit) final;
  HRESULT get_TriggeredCurrentLimit(double* val) final;
  HRESULT put_TriggeredCurrentLimit(double val) final;

 private:
  CVelmoraQdxOutput& Output() noexcept;
};

class CVelmoraQdxOutput : public attr::CRepCap,
                         public CVelmoraQdxOutputForms,
                         public IVelmoraQdxOutputExternalControl,
                         public IVelmoraQdxOutputStatus,
                         public CIviDCPwrOutput {
 public:
  // Called on the output itself, these three are the instrument's forms.
  using CVelmoraQdxOutputForms::ConfigureOVP;
  using CVelmoraQdxOutputForms::get_TriggeredCurrentLimit;
  using CVelmoraQdxOutputForms::put_TriggeredCurrentLimit;

  static constexpr const char* kInterface = props::kOutputInterface;
  static constexpr const char* kExternalControlInterface = props::kExternalControlInterface;
  // Levels and limits may exceed the rating by this factor.
  static constexpr double kRatingMargin = 1.05;
  // Tolerance of the level and limit range checks.
  static constexpr double kRangeTolerance = 1e-14;

  // `physicalName` is "Output<channel>"; the channel is parsed from it (falling back to
  // `channel` when the name does not have that form). The limits come from the driver's
  // ratings of that channel, which discovery has filled before the outputs are built.
  CVelmoraQdxOutput(CVelmoraQdx& driver, std::string physicalName, std::int32_t channel);
  ~CVelmoraQdxOutput() override;

  std::int32_t Channel() const noexcept { return channel_; }
  double MaximumVoltage() const noexcept { return maxVoltage_; }
  double MaximumCurrent() const noexcept { return maxCurrent_; }

  // The class-compliant IIviDCPwrOutput view of this output: the output itself.
  CIviDCPwrOutput& IviDCPwr() noexcept { return *this; }
  IVelmoraQdxOutputStatusOperation& StatusOperation() noexcept { return statusOperation_; }
  IVelmoraQdxOutputStatusQuestionable& StatusQuestionable() noexcept { return statusQuestionable_; }

  // ---------------- navigation (the same object seen through another interface) ----------
  HRESULT get_ExternalControl(IVelmoraQdxOutputExternalControl** val) override;
  HRESULT get_Status(IVelmoraQdxOutputStatus** val) override;
  HRESULT get_Operation(IVelmoraQdxOutputStatusOperation** val) override;
  HRESULT get_Questionable(IVelmoraQdxOutputStatusQuestionable** val) override;

  // ---------------- IVelmoraQdxOutput: methods ----------------
  // Behavior is accepted and otherwise ignored; the limit goes through put_CurrentLimit.
  HRESULT ConfigureCurrentLimit(VelmoraQdxCurrentLimitBehaviorEnum behavior, double limit) override;
  HRESULT Measure(VelmoraQdxMeasurementTypeEnum measurementType, double* val) override;
  // The argument is not sent: the instrument answers its own maximum.
  HRESULT QueryCurrentLimitMax(double voltageLevel, double* val) override;
  HRESULT QueryState(VelmoraQdxOutputStateEnum outputState, VARIANT_BOOL* val) override;
  HRESULT QueryVoltageLevelMax(double currentLimit, double* val) override;
  HRESULT ResetOutputProtection() override;

  // ---------------- IVelmoraQdxOutput: properties ----------------
  HRESULT get_Enabled(VARIANT_BOOL* val) override;
  HRESULT put_Enabled(VARIANT_BOOL val) override;
  HRESULT get_TriggeredVoltageLevel(double* val) override;
  HRESULT put_TriggeredVoltageLevel(double val) override;
  HRESULT get_VoltageLevel(double* val) override;
  HRESULT put_VoltageLevel(double val) override;
  HRESULT get_CurrentLimit(double* val) override;
  HRESULT put_CurrentLimit(double val) override;
  HRESULT get_CurrentLimitBehavior(VelmoraQdxCurrentLimitBehaviorEnum* val) override;
  HRESULT put_CurrentLimitBehavior(VelmoraQdxCurrentLimitBehaviorEnum val) override;
  HRESULT get_OVPLimit(double* val) override;
  HRESULT put_OVPLimit(double val) override;
  HRESULT get_UVL(double* val) override;
  HRESULT put_UVL(double val) override;
  HRESULT get_PONState(VelmoraQdxPONStateEnum* val) override;
  HRESULT put_PONState(VelmoraQdxPONStateEnum val) override;
  HRESULT get_OCPLimit(double* val) override;
  HRESULT put_OCPLimit(double val) override;
  HRESULT get_TriggerSource(VelmoraQdxTriggerSourceEnum* val) override;
  HRESULT put_TriggerSource(VelmoraQdxTriggerSourceEnum val) override;
  HRESULT get_ExternalMonitorRange(VelmoraQdxExternalRangeEnum* val) override;
  HRESULT put_ExternalMonitorRange(VelmoraQdxExternalRangeEnum val) override;
  HRESULT get_OperationPriority(VelmoraQdxOperationModeEnum* val) override;
  HRESULT put_OperationPriority(VelmoraQdxOperationModeEnum val) override;
  HRESULT get_ProtectionRecovery(VelmoraQdxProtectionRecoveryEnum* val) override;
  HRESULT put_ProtectionRecovery(VelmoraQdxProtectionRecoveryEnum val) override;
  HRESULT get_BleederEnabled(VARIANT_BOOL* val) override;
  HRESULT put_BleederEnabled(VARIANT_BOOL val) override;

  // ---------------- IVelmoraQdxOutputExternalControl ----------------
  HRESULT get_OutputControlEnabled(VARIANT_BOOL* val) override;
  HRESULT put_OutputControlEnabled(VARIANT_BOOL val) override;
  HRESULT get_OutputControlLogic(VelmoraQdxExternalLogicEnum* val) override;
  HRESULT put_OutputControlLogic(VelmoraQdxExternalLogicEnum val) override;
  HRESULT get_AlanogControlRange(VelmoraQdxExternalRangeEnum* val) override;
  HRESULT put_AlanogControlRange(VelmoraQdxExternalRangeEnum val) override;
  HRESULT get_CCControlEnabled(VARIANT_BOOL* val) override;
  HRESULT put_CCControlEnabled(VARIANT_BOOL val) override;
  HRESULT get_CVControlEnabled(VARIANT_BOOL* val) override;
  HRESULT put_CVControlEnabled(VARIANT_BOOL val) override;

  // ---------------- reset hooks ----------------
  // The instrument forgot its settings: so does this output's cache.
  void OnReset() override;
  void OnResetWithDefaults() override;

  // Range check of VoltageLevel and CurrentLimit (and of the class-compliant ConfigureRange):
  // 0 <= value <= maximum, each bound with kRangeTolerance; reports the invalid-value error
  // for `method` / `parameter` with the value in "%.15g" form.
  HRESULT CheckLevel(double value, double maximum, const char* method,
                     const char* parameter = "val") const {
    const double t = kRangeTolerance;
    const bool aboveMinimum = (value < 0 ? -value : value) < t || value > 0;
    const bool belowMaximum = (maximum - value < 0 ? value - maximum : maximum - value) < t ||
                              value < maximum;
    if (aboveMinimum && belowMaximum) return S_OK;
    return ReportInvalidLevel(value, method, parameter);
  }

  AccessTarget Target() noexcept {
    return AccessTarget{*this, driver_, channel_, entrySlots_.data()};
  }
  CVelmoraQdx& Driver() noexcept { return driver_; }

 private:
  friend class CIviDCPwrOutput;
  friend class CVelmoraQdxOutputForms;
  template <class I>
  friend class COutputStatusGroup;

  HRESULT ReportInvalidLevel(double value, const char* method, const char* parameter) const;
  // Shared by both ConfigureOVP / ConfigureCurrentLimit flavours (the instrument's interface
  // and the class interface, named by `interfaceName`): the pending command is formatted as
  // the instrument form of the call, then the property setter does the work.
  // `traceOther` names the argument the call takes but does not use, for the trace.
  HRESULT ConfigureCurrentLimitAs(const char* interfaceName, double limit,
                                  const std::function<void()>& traceOther);
  HRESULT ConfigureOVPAs(const char* interfaceName, double limit,
                         const std::function<void()>& traceOther);
  HRESULT ConfigureThroughSetter(const char* interfaceName, const char* method,
                                 const char* pendingFormat, double limit,
                                 HRESULT (CVelmoraQdxOutput::*setter)(double),
                                 const std::function<void()>& traceOther);
  // The per-output register reads: 0 without I/O when simulating, no channel selection.
  HRESULT GetRegister(const char* interfaceName, const char* member, const char* query,
                      std::int16_t* val);
  HRESULT PutSummaryEnable(const char* interfaceName, std::int16_t val);
  // The maximum queries: select, then the first rating (simulating) or the instrument.
  HRESULT QueryMaximum(const char* method, const char* query, bool voltage, double* val,
                       const char* argumentName, double argument);

  CVelmoraQdx& driver_;
  std::int32_t channel_;
  double maxVoltage_ = 0;
  double maxCurrent_ = 0;
  std::array<attr::CCacheEntryBase*, props::kOutputSlotCount> entrySlots_{};
  COutputStatusGroup<IVelmoraQdxOutputStatusOperation> statusOperation_{*this, kOperationSummary};
  COutputStatusGroup<IVelmoraQdxOutputStatusQuestionable> statusQuestionable_{
      *this, kQuestionableSummary};
};

}  // namespace veqdx::dcpwr
