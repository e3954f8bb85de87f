// Members reached through the interface pointers land on the member of the same name: every
// property of the output interfaces round-trips on a simulated session into its own cache
// entry, the class-compliant view and the instrument view share one output, and the root's
// interfaces drive the same session the collection's outputs use.
#include <variant>

#include "dcpwr/output.h"
#include "om_fixture.h"

namespace veqdx::om_test {
namespace {

using Out = IVelmoraQdxOutput;
using Ext = IVelmoraQdxOutputExternalControl;

// One property of an output interface, with a value unlike its default and unlike every
// other property's, so that a getter or setter wired to the wrong entry shows.
template <class I, class T>
struct Prop {
  const char* key;  // its cache entry
  HRESULT (I::*put)(T);
  HRESULT (I::*get)(T*);
  T value;
};
template <class I>
using AnyProp = std::variant<Prop<I, double>, Prop<I, VARIANT_BOOL>,
                             Prop<I, VelmoraQdxCurrentLimitBehaviorEnum>,
                             Prop<I, VelmoraQdxPONStateEnum>, Prop<I, VelmoraQdxTriggerSourceEnum>,
                             Prop<I, VelmoraQdxExternalRangeEnum>,
                             Prop<I, VelmoraQdxOperationModeEnum>,
                             Prop<I, VelmoraQdxProtectionRecoveryEnum>,
                             Prop<I, VelmoraQdxExternalLogicEnum>>;

const AnyProp<Out> kOutputProps[] = {
    Prop<Out, VARIANT_BOOL>{"IVelmoraQdxOutput.Enabled", &Out::put_Enabled, &Out::get_Enabled, -1},
    Prop<Out, double>{"IVelmoraQdxOutput.TriggeredCurrentLimit", &Out::put_TriggeredCurrentLimit,
                      &Out::get_TriggeredCurrentLimit, 1.75},
    Prop<Out, double>{"IVelmoraQdxOutput.TriggeredVoltageLevel", &Out::put_TriggeredVoltageLevel,
                      &Out::get_TriggeredVoltageLevel, 7.5},
    Prop<Out, double>{"IVelmoraQdxOutput.VoltageLevel", &Out::put_VoltageLevel,
                      &Out::get_VoltageLevel, 12.5},
    Prop<Out, double>{"IVelmoraQdxOutput.CurrentLimit", &Out::put_CurrentLimit,
                      &Out::get_CurrentLimit, 2.25},
    Prop<Out, VelmoraQdxCurrentLimitBehaviorEnum>{"IVelmoraQdxOutput.CurrentLimitBehavior",
                                                  &Out::put_CurrentLimitBehavior,
                                                  &Out::get_CurrentLimitBehavior,
                                                  VelmoraQdxCurrentLimitTrip},
    Prop<Out, double>{"IVelmoraQdxOutput.OVPLimit", &Out::put_OVPLimit, &Out::get_OVPLimit, 40},
    Prop<Out, double>{"IVelmoraQdxOutput.UVL", &Out::put_UVL, &Out::get_UVL, 3},
    Prop<Out, VelmoraQdxPONStateEnum>{"IVelmoraQdxOutput.PONState", &Out::put_PONState,
                                      &Out::get_PONState, VelmoraQdxPONStateForce},
    Prop<Out, double>{"IVelmoraQdxOutput.OCPLimit", &Out::put_OCPLimit, &Out::get_OCPLimit, 10.5},
    Prop<Out, VelmoraQdxTriggerSourceEnum>{"IVelmoraQdxOutput.TriggerSource",
                                           &Out::put_TriggerSource, &Out::get_TriggerSource,
                                           VelmoraQdxTriggerSourceSwTrigFunc},
    Prop<Out, VelmoraQdxExternalRangeEnum>{"IVelmoraQdxOutput.ExternalMonitorRange",
                                           &Out::put_ExternalMonitorRange,
                                           &Out::get_ExternalMonitorRange,
                                           VelmoraQdxExternalRangeHigh},
    Prop<Out, VelmoraQdxOperationModeEnum>{"IVelmoraQdxOutput.OperationPriority",
                                           &Out::put_OperationPriority,
                                           &Out::get_OperationPriority, VelmoraQdxOperationModeCV},
    Prop<Out, VelmoraQdxProtectionRecoveryEnum>{"IVelmoraQdxOutput.ProtectionRecovery",
                                                &Out::put_ProtectionRecovery,
                                                &Out::get_ProtectionRecovery,
                                                VelmoraQdxProtectionRecoveryAuto},
    Prop<Out, VARIANT_BOOL>{"IVelmoraQdxOutput.BleederEnabled", &Out::put_BleederEnabled,
                            &Out::get_BleederEnabled, -1},
};

const AnyProp<Ext> kExternalProps[] = {
    Prop<Ext, VARIANT_BOOL>{"IVelmoraQdxOutputExternalControl.OutputControlEnabled",
                            &Ext::put_OutputControlEnabled, &Ext::get_OutputControlEnabled, -1},
    Prop<Ext, VelmoraQdxExternalLogicEnum>{"IVelmoraQdxOutputExternalControl.OutputControlLogic",
                                           &Ext::put_OutputControlLogic,
                                           &Ext::get_OutputControlLogic,
                                           VelmoraQdxExternalLogicHigh},
    Prop<Ext, VelmoraQdxExternalRangeEnum>{"IVelmoraQdxOutputExternalControl.AlanogControlRange",
                                           &Ext::put_AlanogControlRange,
                                           &Ext::get_AlanogControlRange,
                                           VelmoraQdxExternalRangeHigh},
    Prop<Ext, VARIANT_BOOL>{"IVelmoraQdxOutputExternalControl.CCControlEnabled",
                            &Ext::put_CCControlEnabled, &Ext::get_CCControlEnabled, -1},
    Prop<Ext, VARIANT_BOOL>{"IVelmoraQdxOutputExternalControl.CVControlEnabled",
                            &Ext::put_CVControlEnabled, &Ext::get_CVControlEnabled, -1},
};

// Writes every property, then reads every one back and looks at its cache entry.
template <class I, std::size_t N>
void RoundTrip(I* object, const attr::CNode& node, const AnyProp<I> (&props)[N]) {
  for (const auto& any : props)
    std::visit([&](const auto& p) { EXPECT_EQ((object->*p.put)(p.value), S_OK) << p.key; }, any);
  for (const auto& any : props) {
    std::visit(
        [&](const auto& p) {
          auto read = decltype(p.value){};
          EXPECT_EQ((object->*p.get)(&read), S_OK) << p.key;
          EXPECT_EQ(read, p.value) << p.key;
          auto cached = decltype(p.value){};
          EXPECT_TRUE(CachedValue(node, p.key, cached)) << p.key;
          EXPECT_EQ(cached, p.value) << p.key;
        },
        any);
  }
}

TEST_F(ObjectModel, EveryOutputMemberThroughItsInterfaceReachesItsOwnImplementation) {
  OpenSimulated();
  IVelmoraQdxOutput* output = Item("Output0");
  const auto& node = dynamic_cast<const attr::CNode&>(*output);
  RoundTrip(output, node, kOutputProps);
  RoundTrip(As<IVelmoraQdxOutputExternalControl>(output), node, kExternalProps);

  // The methods: simulated measurements answer the programmed level and limit of an enabled
  // output; the configure methods go through their properties.
  double value = 0;
  ASSERT_EQ(output->Measure(VelmoraQdxMeasurementVoltage, &value), S_OK);
  EXPECT_EQ(value, 12.5);
  ASSERT_EQ(output->Measure(VelmoraQdxMeasurementCurrent, &value), S_OK);
  EXPECT_EQ(value, 2.25);
  ASSERT_EQ(output->ConfigureCurrentLimit(VelmoraQdxCurrentLimitRegulate, 3.5), S_OK);
  ASSERT_EQ(output->get_CurrentLimit(&value), S_OK);
  EXPECT_EQ(value, 3.5);
  ASSERT_EQ(output->ConfigureOVP(kVariantTrue, 45), S_OK);
  ASSERT_EQ(output->get_OVPLimit(&value), S_OK);
  EXPECT_EQ(value, 45);
  // The maximum queries answer the rating of the simulated output (80 V, 28 A).
  double maxVoltage = 0;
  double maxCurrent = 0;
  EXPECT_EQ(output->QueryVoltageLevelMax(1, &maxVoltage), S_OK);
  EXPECT_EQ(output->QueryCurrentLimitMax(1, &maxCurrent), S_OK);
  EXPECT_EQ(maxVoltage, 80);
  EXPECT_EQ(maxCurrent, 28);
}

TEST_F(ObjectModel, BothOutputInterfacesWorkOnOneOutput) {
  OpenSimulated();
  IVelmoraQdxOutput* instrument = Item("Output0");
  IIviDCPwrOutput* classView = As<IIviDCPwrOutput>(instrument);
  const auto& node = dynamic_cast<const attr::CNode&>(*instrument);

  ASSERT_EQ(instrument->put_VoltageLevel(5.5), S_OK);
  double value = 0;
  ASSERT_EQ(classView->get_VoltageLevel(&value), S_OK);
  EXPECT_EQ(value, 5.5);
  ASSERT_EQ(classView->put_CurrentLimit(1.25), S_OK);
  ASSERT_EQ(instrument->get_CurrentLimit(&value), S_OK);
  EXPECT_EQ(value, 1.25);
  EXPECT_TRUE(CachedValue(node, "IVelmoraQdxOutput.CurrentLimit", value));
  EXPECT_EQ(value, 1.25);
  ASSERT_EQ(classView->put_TriggerSource(IviDCPwrTriggerSourceSwTrigFunc), S_OK);
  VelmoraQdxTriggerSourceEnum source = VelmoraQdxTriggerSourceImmediate;
  ASSERT_EQ(instrument->get_TriggerSource(&source), S_OK);
  EXPECT_EQ(source, VelmoraQdxTriggerSourceSwTrigFunc);
  ASSERT_EQ(classView->put_Enabled(kVariantTrue), S_OK);
  VARIANT_BOOL enabled = 0;
  ASSERT_EQ(instrument->get_Enabled(&enabled), S_OK);
  EXPECT_EQ(enabled, kVariantTrue);
}

TEST_F(ObjectModel, OneSessionOnTheWireWhicheverInterfaceIsUsed) {
  OpenTwoChannels();
  IVelmoraQdxOutput* second = Item("Output2");
  ASSERT_EQ(second->put_VoltageLevel(5), S_OK) << LastError();
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 2", ":VOLT 5"}));

  // Read through the class view: answered by the cache the instrument view filled.
  IIviDCPwrOutput* classView = nullptr;
  ASSERT_EQ(As<IIviDCPwrOutputs>(driver.get())->get_Item("Output2", &classView), S_OK);
  double level = 0;
  ASSERT_EQ(classView->get_VoltageLevel(&level), S_OK);
  EXPECT_EQ(level, 5);
  EXPECT_EQ(Traffic(), Lines{});

  // Cache off through the root's operation interface: the same read now asks the instrument.
  IIviDriverOperation* operation = nullptr;
  ASSERT_EQ(driver->get_DriverOperation(&operation), S_OK);
  ASSERT_EQ(operation->put_Cache(kVariantFalse), S_OK);
  device->OnQuery(":VOLT?", "4.75\n");
  ASSERT_EQ(classView->get_VoltageLevel(&level), S_OK) << LastError();
  EXPECT_EQ(level, 4.75);
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 2", ":VOLT?"}));

  // Driver-wide interfaces send as they are, without a channel selection.
  IIviDCPwrTrigger* trigger = nullptr;
  ASSERT_EQ(As<IIviDCPwr>(driver.get())->get_Trigger(&trigger), S_OK);
  ASSERT_EQ(trigger->Initiate(), S_OK) << LastError();
  IVelmoraQdxStatus* status = nullptr;
  ASSERT_EQ(driver->get_Status(&status), S_OK);
  ASSERT_EQ(status->Clear(), S_OK) << LastError();
  IVelmoraQdxGlobal* global = nullptr;
  ASSERT_EQ(driver->get_Global(&global), S_OK);
  ASSERT_EQ(global->put_VoltageLevel(3), S_OK) << LastError();
  EXPECT_EQ(Traffic(), (Lines{":INIT", "*CLS", ":GLOB:VOLT 3"}));

  // The inherent members answer for the same session.
  std::string model;
  ASSERT_EQ(As<IIviDriverIdentity>(driver.get())->get_InstrumentModel(&model), S_OK);
  EXPECT_EQ(model, "QDX1500H");
  std::string resource;
  ASSERT_EQ(operation->get_IoResourceDescriptor(&resource), S_OK);
  EXPECT_EQ(resource, "TCPIP::10.1.2.3::INSTR");
  device->OnQuery(":SYST:ERR?", "0,\"No error\"\n");
  std::int32_t code = -1;
  std::string message;
  IIviDriverUtility* utility = nullptr;
  ASSERT_EQ(driver->get_Utility(&utility), S_OK);
  ASSERT_EQ(utility->ErrorQuery(&code, &message), S_OK) << LastError();
  EXPECT_EQ(code, 0);
}

}  // namespace
}  // namespace veqdx::om_test
