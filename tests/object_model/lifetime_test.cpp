// Outputs kept after Close, a new Initialize or the driver object's end fail cleanly.
#include <atomic>
#include <chrono>
#include <thread>

#include "om_fixture.h"

namespace veqdx::om_test {
namespace {

// Calls members through both interfaces of `output`; each must fail as not initialized.
void ExpectNotInitialized(IVelmoraQdxOutput* output, const char* when) {
  double value = 1;
  EXPECT_EQ(output->put_VoltageLevel(2.5), E_IVI_NOT_INITIALIZED) << when;
  EXPECT_EQ(LastError(),
            "VelmoraQdx: A connection to the instrument has not been established.\r\n")
      << when;
  EXPECT_EQ(output->get_CurrentLimit(&value), E_IVI_NOT_INITIALIZED) << when;
  EXPECT_EQ(output->Measure(VelmoraQdxMeasurementVoltage, &value), E_IVI_NOT_INITIALIZED) << when;
  EXPECT_EQ(As<IIviDCPwrOutput>(output)->get_VoltageLevel(&value), E_IVI_NOT_INITIALIZED) << when;
  VARIANT_BOOL on = 0;
  EXPECT_EQ(As<IVelmoraQdxOutputExternalControl>(output)->get_CCControlEnabled(&on),
            E_IVI_NOT_INITIALIZED)
      << when;
}

TEST_F(ObjectModel, OutputsHeldAcrossCloseAndReinitializeFailCleanly) {
  OpenSimulated();
  IVelmoraQdxOutput* plain = Item("Output0");
  std::shared_ptr<IVelmoraQdxOutput> shared = Shared("Output0");
  ASSERT_EQ(plain->put_VoltageLevel(5), S_OK);
  ASSERT_EQ(driver->Close(), S_OK);
  ExpectNotInitialized(plain, "after Close");
  ExpectNotInitialized(shared.get(), "shared, after Close");

  OpenSimulated();
  IVelmoraQdxOutput* fresh = Item("Output0");
  EXPECT_NE(fresh, plain);  // a new session has new outputs ...
  ExpectNotInitialized(plain, "after a new Initialize");  // ... and the old ones stay alive
  ExpectNotInitialized(shared.get(), "shared, after a new Initialize");
  double level = 1;
  ASSERT_EQ(fresh->put_VoltageLevel(7), S_OK);
  ASSERT_EQ(fresh->get_VoltageLevel(&level), S_OK);
  EXPECT_EQ(level, 7);
  // The first session gave out a plain pointer, so the root keeps it.
  EXPECT_EQ(Root().RetainedSessionCount(), 1u);
}

TEST_F(ObjectModel, SessionsWithOnlySharedOutputsLiveAsLongAsTheirOutputs) {
  OpenSimulated();
  std::weak_ptr<api::Session> first = Root().CurrentSession();
  std::shared_ptr<IVelmoraQdxOutput> shared = Shared("Output0");
  ASSERT_EQ(driver->Close(), S_OK);
  OpenSimulated();
  EXPECT_EQ(Root().RetainedSessionCount(), 0u);
  EXPECT_FALSE(first.expired());  // the output holds it
  shared.reset();
  EXPECT_TRUE(first.expired());
}

TEST_F(ObjectModel, SharedOutputOutlivesTheDriverObject) {
  OpenSingle();
  ASSERT_TRUE(device->Connected());
  std::weak_ptr<api::Session> session = Root().CurrentSession();
  std::shared_ptr<IVelmoraQdxOutput> output = Shared("Output0");
  std::shared_ptr<IIviDCPwrOutput> classView = As<IIviDCPwrOutput>(output);
  ASSERT_NE(classView, nullptr);
  driver.reset();
  // Releasing the driver object closed the link and detached the outputs.
  EXPECT_FALSE(device->Connected());
  ExpectNotInitialized(output.get(), "after release");
  double value = 0;
  EXPECT_EQ(classView->put_CurrentLimit(1), E_IVI_NOT_INITIALIZED);
  EXPECT_EQ(classView->get_OVPLimit(&value), E_IVI_NOT_INITIALIZED);
  EXPECT_EQ(device->Written(), Lines{});  // nothing was sent after the release
  output.reset();
  EXPECT_FALSE(session.expired());  // the class view still shares it
  classView.reset();
  EXPECT_TRUE(session.expired());
}

// One thread works an output while another releases the driver object: every call either
// works or reports not-initialized, and once the release is done only the latter.
TEST_F(ObjectModel, ReleaseWhileAnotherThreadUsesAnOutput) {
  OpenSimulated();
  std::shared_ptr<IVelmoraQdxOutput> output = Shared("Output0");
  std::atomic<int> calls{0};
  std::atomic<bool> released{false};
  std::atomic<int> unexpected{0};
  std::atomic<int> failedAfterRelease{0};
  // Only a bound against a hang: the loop ends on the hundredth call after the release.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  std::thread worker([&] {
    for (int i = 0; failedAfterRelease.load() < 100 && std::chrono::steady_clock::now() < deadline;
         ++i) {
      const bool wasReleased = released.load();
      const HRESULT hr = output->put_VoltageLevel(i % 2 ? 1.0 : 2.0);
      calls.fetch_add(1);
      if (hr == E_IVI_NOT_INITIALIZED) {
        if (wasReleased) failedAfterRelease.fetch_add(1);
      } else if (hr != S_OK || wasReleased) {
        unexpected.fetch_add(1);
      }
    }
  });
  while (calls.load() < 1000 && std::chrono::steady_clock::now() < deadline)
    std::this_thread::yield();
  driver.reset();
  released.store(true);
  worker.join();
  EXPECT_EQ(unexpected.load(), 0);
  EXPECT_EQ(failedAfterRelease.load(), 100);
}

// Close and Initialize on one thread, the collection and an output on another: an output
// found in one session stays usable memory whatever the other thread does.
TEST_F(ObjectModel, ReinitializeRacesWithOutputLookups) {
  OpenSimulated();
  std::atomic<bool> done{false};
  std::atomic<int> unexpected{0};
  std::thread user([&] {
    IVelmoraQdxOutputs* outputs = Outputs();
    while (!done.load()) {
      IVelmoraQdxOutput* output = nullptr;
      HRESULT hr = outputs->get_Item("Output0", &output);
      if (hr == E_IVI_NOT_INITIALIZED) continue;
      if (hr != S_OK) {
        unexpected.fetch_add(1);
        continue;
      }
      for (int i = 0; i < 20; ++i) {
        hr = output->put_CurrentLimit(0.5 + i);
        if (hr != S_OK && hr != E_IVI_NOT_INITIALIZED) unexpected.fetch_add(1);
      }
    }
  });
  for (int round = 0; round < 100; ++round) {
    ASSERT_EQ(driver->Close(), S_OK);
    ASSERT_EQ(driver->Initialize("TCPIP::sim::INSTR", kVariantFalse, kVariantFalse,
                                 "Simulate=true"),
              S_OK);
  }
  done.store(true);
  user.join();
  EXPECT_EQ(unexpected.load(), 0);
}

}  // namespace
}  // namespace veqdx::om_test
