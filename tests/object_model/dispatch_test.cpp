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

// A property `Name` of interface `I`, its cache entry named after it.
#define PROP(I, T, Name, value) \
  Prop<I, T> { #I "." #Name, &I::put_##Name, &I::get_##Name, value }

const AnyProp<Out> kOutputProps[] = {
    PROP(IVelmoraQdxOutput, VARIANT_BOOL, Enabled, -1),
    PROP(IVelmoraQdxOutput, double, TriggeredCurrentLimit, 1.75),
    PROP(IVelmoraQdxOutput, double, TriggeredVoltageLevel, 7.5),
    PROP(IVelmoraQdxOutput, double, VoltageLevel, 12.5),
    PROP(IVelmoraQdxOutput, double, CurrentLimit, 2.25),
    PROP(IVelmoraQdxOutput, VelmoraQdxCurrentLimitBehaviorEnum, CurrentLimitBehavior,
         VelmoraQdxCurrentLimitTrip),
    PROP(IVelmoraQdxOutput, double, OVPLimit, 40),
    PROP(IVelmoraQdxOutput, double, UVL, 3),
    PROP(IVelmoraQdxOutput, VelmoraQdxPONStateEnum, PONState, VelmoraQdxPONStateForce),
    PROP(IVelmoraQdxOutput, double, OCPLimit, 10.5),
    PROP(IVelmoraQdxOutput, VelmoraQdxTriggerSourceEnum, TriggerSource,
         VelmoraQdxTriggerSourceSwTrigFunc),
    PROP(IVelmoraQdxOutput, VelmoraQdxExternalRangeEnum, ExternalMonitorRange,
         VelmoraQdxExternalRangeHigh),
    PROP(IVelmoraQdxOutput, VelmoraQdxOperationModeEnum, OperationPriority,
         VelmoraQdxOperationModeCV),
    PROP(IVelmoraQdxOutput, VelmoraQdxProtectionRecoveryEnum, ProtectionRecovery,
         VelmoraQdxProtectionRecoveryAuto),
    PROP(IVelmoraQdxOutput, VARIANT_BOOL, BleederEnabled, -1),
};

const AnyProp<Ext> kExternalProps[] = {
    PROP(IVelmoraQdxOutputExternalControl, VARIANT_BOOL, OutputControlEnabled, -1),
    PROP(IVelmoraQdxOutputExternalControl, VelmoraQdxExternalLogicEnum, OutputControlLogic,
         VelmoraQdxExternalLogicHigh),
    PROP(IVelmoraQdxOutputExternalControl, VelmoraQdxExternalRangeEnum, AlanogControlRange,
         VelmoraQdxExternalRangeHigh),
    PROP(IVelmoraQdxOutputExternalControl, VARIANT_BOOL, CCControlEnabled, -1),
    PROP(IVelmoraQdxOutputExternalControl, VARIANT_BOOL, CVControlEnabled, -1),
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

  // (Instrument view to class view: OneSessionOnTheWireWhicheverInterfaceIsUsed.)
  double value = 0;
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
