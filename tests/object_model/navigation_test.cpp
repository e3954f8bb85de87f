// Child properties hand out the objects of the tree a query finds, the same every time.
#include <functional>
#include <utility>

#include "dcpwr/output.h"
#include "dcpwr/output_ivi.h"
#include "om_fixture.h"

namespace veqdx::om_test {
namespace {

// Calls `getter` twice; both results must be `expected` (and not null).
template <class I, class Owner>
void ExpectSame(Owner* owner, HRESULT (Owner::*getter)(I**), I* expected, const char* what) {
  ASSERT_NE(owner, nullptr) << what;
  I* first = nullptr;
  I* second = nullptr;
  ASSERT_EQ((owner->*getter)(&first), S_OK) << what;
  ASSERT_EQ((owner->*getter)(&second), S_OK) << what;
  EXPECT_NE(first, nullptr) << what;
  EXPECT_EQ(first, second) << what;
  EXPECT_EQ(first, expected) << what;
}

// Every driver-wide interface the root offers, as plain pointers.
std::vector<void*> RootInterfaces(IVelmoraQdx* root) {
  return {As<IVelmoraQdx>(root),           As<IIviDriver>(root),
          As<IIviDriverOperation>(root),   As<IIviDriverIdentity>(root),
          As<IIviComponentIdentity>(root), As<IIviDriverUtility>(root),
          As<IVelmoraQdxOutputs>(root),    As<IIviDCPwr>(root),
          As<IIviDCPwrOutputs>(root),      As<IIviDCPwrTrigger>(root),
          As<IVelmoraQdxTrigger>(root),    As<IVelmoraQdxSystem>(root),
          As<IVelmoraQdxStatus>(root),     As<IVelmoraQdxStatusOperation>(root),
          As<IVelmoraQdxStatusQuestionable>(root), As<IVelmoraQdxStatusStandardEvent>(root),
          As<IVelmoraQdxStatusStatusByte>(root),   As<IVelmoraQdxGlobal>(root),
          As<IVelmoraQdxStatusOperationInstrument>(root),
          As<IVelmoraQdxStatusQuestionableInstrument>(root)};
}

// `Owner::get_Child` of `owner` gives the `Child` interface that a query of `of` finds.
#define EXPECT_CHILD(Owner, owner, Child, Interface, of) \
  ExpectSame<Interface>(owner, &Owner::get_##Child, As<Interface>(of), #Owner "." #Child)

TEST_F(ObjectModel, ChildPropertiesOfTheRootGiveTheObjectsAQueryFinds) {
  IVelmoraQdx* root = driver.get();
  EXPECT_CHILD(IVelmoraQdx, root, Outputs, IVelmoraQdxOutputs, root);
  EXPECT_CHILD(IVelmoraQdx, root, Trigger, IVelmoraQdxTrigger, root);
  EXPECT_CHILD(IVelmoraQdx, root, System, IVelmoraQdxSystem, root);
  EXPECT_CHILD(IVelmoraQdx, root, Status, IVelmoraQdxStatus, root);
  EXPECT_CHILD(IVelmoraQdx, root, Global, IVelmoraQdxGlobal, root);
  IIviDriver* ivi = root;
  EXPECT_CHILD(IIviDriver, ivi, DriverOperation, IIviDriverOperation, root);
  EXPECT_CHILD(IIviDriver, ivi, Identity, IIviDriverIdentity, root);
  EXPECT_CHILD(IIviDriver, ivi, Utility, IIviDriverUtility, root);
  IIviDCPwr* dcpwr = As<IIviDCPwr>(root);
  EXPECT_CHILD(IIviDCPwr, dcpwr, Outputs, IIviDCPwrOutputs, root);
  EXPECT_CHILD(IIviDCPwr, dcpwr, Trigger, IIviDCPwrTrigger, root);
  IVelmoraQdxStatus* status = As<IVelmoraQdxStatus>(root);
  EXPECT_CHILD(IVelmoraQdxStatus, status, Operation, IVelmoraQdxStatusOperation, root);
  EXPECT_CHILD(IVelmoraQdxStatus, status, Questionable, IVelmoraQdxStatusQuestionable, root);
  EXPECT_CHILD(IVelmoraQdxStatus, status, StandardEvent, IVelmoraQdxStatusStandardEvent, root);
  EXPECT_CHILD(IVelmoraQdxStatus, status, StatusByte, IVelmoraQdxStatusStatusByte, root);
  EXPECT_CHILD(IVelmoraQdxStatusOperation, As<IVelmoraQdxStatusOperation>(root), Instrument,
               IVelmoraQdxStatusOperationInstrument, root);
  EXPECT_CHILD(IVelmoraQdxStatusQuestionable, As<IVelmoraQdxStatusQuestionable>(root),
               Instrument, IVelmoraQdxStatusQuestionableInstrument, root);

  // The inherent interfaces are the root object itself.
  EXPECT_EQ(As<IIviDriver>(root), static_cast<IIviDriver*>(root));
  EXPECT_EQ(As<IIviComponentIdentity>(root),
            static_cast<IIviComponentIdentity*>(As<IIviDriverIdentity>(root)));
}

TEST_F(ObjectModel, DriverWideObjectsStayTheSameAndKeepWorkingAcrossSessions) {
  const std::vector<void*> before = RootInterfaces(driver.get());
  for (void* p : before) EXPECT_NE(p, nullptr);
  IVelmoraQdxStatusStandardEvent* standardEvent = nullptr;
  ASSERT_EQ(As<IVelmoraQdxStatus>(driver.get())->get_StandardEvent(&standardEvent), S_OK);
  IIviDCPwrTrigger* trigger = nullptr;
  ASSERT_EQ(As<IIviDCPwr>(driver.get())->get_Trigger(&trigger), S_OK);

  OpenSimulated();
  ASSERT_EQ(driver->Close(), S_OK);
  OpenSimulated();
  EXPECT_EQ(RootInterfaces(driver.get()), before);

  // Pointers taken before the first session work on the second.
  ASSERT_EQ(standardEvent->put_EnableRegister(0x24), S_OK) << LastError();
  std::uint8_t value = 0;
  ASSERT_EQ(As<IVelmoraQdxStatusStandardEvent>(driver.get())->get_EnableRegister(&value), S_OK);
  EXPECT_EQ(value, 0x24);
  EXPECT_EQ(trigger->Initiate(), S_OK) << LastError();
}

TEST_F(ObjectModel, OutputChildPropertiesGiveTheOutputItself) {
  OpenSimulated();
  IVelmoraQdxOutput* output = Item("Output0");
  EXPECT_CHILD(IVelmoraQdxOutput, output, ExternalControl, IVelmoraQdxOutputExternalControl,
               output);
  EXPECT_CHILD(IVelmoraQdxOutput, output, Status, IVelmoraQdxOutputStatus, output);
  IVelmoraQdxOutputStatus* status = As<IVelmoraQdxOutputStatus>(output);
  EXPECT_CHILD(IVelmoraQdxOutputStatus, status, Operation, IVelmoraQdxOutputStatusOperation,
               output);
  EXPECT_CHILD(IVelmoraQdxOutputStatus, status, Questionable,
               IVelmoraQdxOutputStatusQuestionable, output);

  // The same output object behind both collections and every interface.
  auto* node = dynamic_cast<dcpwr::CVelmoraQdxOutput*>(output);
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(As<IVelmoraQdxOutputExternalControl>(output),
            static_cast<IVelmoraQdxOutputExternalControl*>(node));
  EXPECT_EQ(As<IIviDCPwrOutput>(output), static_cast<IIviDCPwrOutput*>(&node->IviDCPwr()));
  EXPECT_EQ(Item("Output0"), output);
  EXPECT_EQ(Shared("Output0").get(), output);
}

TEST_F(ObjectModel, QueriesMatchIdentifiersWithoutCaseAndRefuseForeignInterfaces) {
  OpenSimulated();
  IVelmoraQdxOutput* output = Item("Output0");
  EXPECT_EQ(QueryInterface(driver.get(), "{4eecea53-693a-49da-99d8-75f4390a14dc}"),
            static_cast<void*>(driver.get()));
  EXPECT_EQ(QueryInterface(output, "{bdab1522-0db4-4428-a8bd-279cc22e48c8}"),
            static_cast<void*>(output));
  EXPECT_EQ(QueryInterface(driver.get(), IVelmoraQdxOutput::kIid), nullptr);
  EXPECT_EQ(QueryInterface(output, IVelmoraQdx::kIid), nullptr);
  EXPECT_EQ(QueryInterface(driver.get(), "{4EECEA53-693A-49DA-99D8-75F4390A14D}"), nullptr);
  EXPECT_EQ(QueryInterface(driver.get(), ""), nullptr);
  EXPECT_EQ(As<IVelmoraQdxTrigger>(static_cast<IVelmoraQdx*>(nullptr)), nullptr);
}

TEST_F(ObjectModel, NavigationWithoutAnOutArgumentReportsTheNullPointer) {
  const std::pair<const char*, std::function<HRESULT()>> calls[] = {
      {"get_Outputs", [&] { return driver->get_Outputs(static_cast<IVelmoraQdxOutputs**>(0)); }},
      {"get_Trigger", [&] { return driver->get_Trigger(static_cast<IVelmoraQdxTrigger**>(0)); }},
      {"get_Utility", [&] { return driver->get_Utility(nullptr); }},
      {"get_Instrument",
       [&] { return As<IVelmoraQdxStatusOperation>(driver.get())->get_Instrument(nullptr); }},
  };
  for (const auto& [member, call] : calls) {
    EXPECT_EQ(call(), E_IVI_NULL_POINTER) << member;
    EXPECT_EQ(LastError(), std::string("VelmoraQdx: Null pointer passed for method ") + member +
                               ", parameter val.\r\n");
  }
}

TEST(ObjectModelCreation, LookupNamesCreateTheDriverClassOnly) {
  for (const char* name : {"VelmoraQdx.VelmoraQdx", "velmoraqdx.velmoraqdx.1",
                           "{55fa49fe-ae20-4ccc-bfbe-fedaafdf1aa4}", kVelmoraQdxClsid}) {
    std::shared_ptr<IIviDriver> made = CreateDriver(name);
    ASSERT_NE(made, nullptr) << name;
    EXPECT_NE(As<IVelmoraQdx>(made), nullptr) << name;
  }
  for (const char* name : {"VelmoraQdx.Output", kVelmoraQdxOutputClsid, "VelmoraQdx", ""})
    EXPECT_EQ(CreateDriver(name), nullptr) << name;
}

}  // namespace
}  // namespace veqdx::om_test
