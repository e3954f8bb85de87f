// Every interface pointer drives the one session (each property's wiring: tests/capi).
#include "om_fixture.h"

namespace veqdx::om_test {
namespace {

TEST_F(ObjectModel, OneSessionOnTheWireWhicheverInterfaceIsUsed) {
  OpenTwoChannels();
  IVelmoraQdxOutput* second = Item("Output2");
  ASSERT_EQ(second->put_VoltageLevel(5), S_OK) << LastError();
  EXPECT_EQ(Traffic(), (Lines{":INST:NSEL 2", ":VOLT 5"}));

  // Through the class view: answered by the cache the instrument view filled, and the other
  // way round, with the class view's enumerations converted.
  IIviDCPwrOutput* classView = nullptr;
  ASSERT_EQ(As<IIviDCPwrOutputs>(driver.get())->get_Item("Output2", &classView), S_OK);
  EXPECT_EQ(classView, As<IIviDCPwrOutput>(second));
  double level = 0;
  ASSERT_EQ(classView->get_VoltageLevel(&level), S_OK);
  EXPECT_EQ(level, 5);
  ASSERT_EQ(classView->put_CurrentLimit(1.25), S_OK);
  ASSERT_EQ(second->get_CurrentLimit(&level), S_OK);
  EXPECT_EQ(level, 1.25);
  ASSERT_EQ(classView->put_TriggerSource(IviDCPwrTriggerSourceSwTrigFunc), S_OK);
  device->OnQuery("TRIG:TRAN:SOUR?", "BUS\n");  // neither is kept in the cache
  device->OnQuery(":OUTP?", "1\n");
  VelmoraQdxTriggerSourceEnum source = VelmoraQdxTriggerSourceImmediate;
  ASSERT_EQ(second->get_TriggerSource(&source), S_OK) << LastError();
  EXPECT_EQ(source, VelmoraQdxTriggerSourceSwTrigFunc);
  ASSERT_EQ(classView->put_Enabled(kVariantTrue), S_OK);
  VARIANT_BOOL enabled = 0;
  ASSERT_EQ(second->get_Enabled(&enabled), S_OK);
  EXPECT_EQ(enabled, kVariantTrue);
  EXPECT_EQ(Traffic().front(), ":CURR 1.25");

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
  std::string text;
  ASSERT_EQ(As<IIviDriverIdentity>(driver.get())->get_InstrumentModel(&text), S_OK);
  EXPECT_EQ(text, "QDX1500H");
  ASSERT_EQ(operation->get_IoResourceDescriptor(&text), S_OK);
  EXPECT_EQ(text, "TCPIP::10.1.2.3::INSTR");
  device->OnQuery(":SYST:ERR?", "-100,\"Command error\"\n");
  std::int32_t code = 0;
  IIviDriverUtility* utility = nullptr;
  ASSERT_EQ(driver->get_Utility(&utility), S_OK);
  ASSERT_EQ(utility->ErrorQuery(&code, &text), S_OK) << LastError();
  EXPECT_EQ(code, -100);
  EXPECT_EQ(text, "Command error");
}

}  // namespace
}  // namespace veqdx::om_test
