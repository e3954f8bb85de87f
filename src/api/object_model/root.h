// VelmoraQdx: the root object of the object model. One object offers IVelmoraQdx, the five
// IVI inherent interfaces and the DC power class root IIviDCPwr; its child properties hand out
// objects it owns for its whole life (the output collections, trigger, system, status and its
// groups, global), so repeated calls give identical pointers. The driver-wide ones are the
// dcpwr facets bound to whichever session is current (dcpwr/driver_ref.h), so a pointer taken
// once keeps working after Close and a new Initialize.
//
// Sessions. The driver work is done by the CVelmoraQdx of the current session (session.h).
// Initialize after Close starts a new session instead of reusing the old one: the old
// session's outputs may still be held by callers, and a new discovery would otherwise destroy
// them under their feet. The old session stays alive while anything refers to it: a shared
// output (GetOutput), or this root when a plain pointer into it was handed out. Its outputs
// were detached by Close and answer every member with the not-initialized error.
//
// Release. Destroying the root closes an open session; shared outputs keep their session's
// memory, so their members still fail cleanly.
//
// Locks. initializeMutex_ serialises Initialize; sessionMutex_ only guards the session
// pointers (a leaf lock, never held while calling into a session).
#pragma once
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "api/object_model/outputs.h"
#include "api/object_model/session.h"
#include "base/call_context.h"
#include "core/driver.h"
#include "core/options.h"
#include "dcpwr/driver_ref.h"
#include "dcpwr/global.h"
#include "dcpwr/status.h"
#include "dcpwr/system.h"
#include "dcpwr/trigger.h"
#include "veqdx/interfaces.hpp"

namespace veqdx::api {

class VelmoraQdx final : public IVelmoraQdx,
                         public IIviDCPwr,
                         public IIviDriverOperation,
                         public IIviDriverIdentity,
                         public IIviDriverUtility {
 public:
  static constexpr const char* kInterface = "IVelmoraQdx";

  // Throws std::bad_alloc when memory is exhausted (CreateVelmoraQdx turns that into null).
  VelmoraQdx();
  ~VelmoraQdx() override;
  VelmoraQdx(const VelmoraQdx&) = delete;
  VelmoraQdx& operator=(const VelmoraQdx&) = delete;

  // ---------------- configuration (call before Initialize; kept for later sessions) -------
  void SetConfigStore(std::shared_ptr<IConfigStore> store);
  void SetTransportFactory(CDriver::TransportFactory factory);

  // The current session (the last one initialized, or the first, never initialized). Never
  // null. Holding the result keeps that session alive.
  std::shared_ptr<Session> CurrentSession() const;
  // Number of earlier sessions this root keeps because plain pointers into them went out.
  std::size_t RetainedSessionCount() const;
  // Call before a plain pointer into `session` leaves the root: the root then keeps that
  // session for its own lifetime, whether it is still current or was replaced meanwhile.
  // Fails only when memory is exhausted (reported).
  HRESULT KeepForPlainPointers(const std::shared_ptr<Session>& session);

  // The interface `iid` (any case) of this object, or null.
  void* Query(std::string_view iid) noexcept;
  COutputCollection& OutputRules() noexcept { return outputRules_; }

  // Hands out `object` through `val` under the call context interfaceName.member; a null
  // `val` is reported as the null-pointer error. Navigation needs no open session.
  template <class I>
  HRESULT HandOut(const char* interfaceName, const char* member, I* object, I** val) {
    CCallContextGuard context(interfaceName, member);
    if (val == nullptr) return CurrentSession()->driver.Reporter().ReportNullPointer(member, "val");
    *val = object;
    return S_OK;
  }

  // ---------------- IIviDriver ----------------
  HRESULT get_DriverOperation(IIviDriverOperation** val) override;
  HRESULT get_Identity(IIviDriverIdentity** val) override;
  HRESULT Initialize(const char* ResourceName, VARIANT_BOOL IdQuery, VARIANT_BOOL Reset,
                     const char* OptionString) override;
  HRESULT get_Initialized(VARIANT_BOOL* val) override;
  HRESULT Close() override;
  HRESULT get_Utility(IIviDriverUtility** val) override;

  // ---------------- IVelmoraQdx ----------------
  HRESULT get_Outputs(IVelmoraQdxOutputs** val) override;
  HRESULT get_Trigger(IVelmoraQdxTrigger** val) override;
  HRESULT get_System(IVelmoraQdxSystem** val) override;
  HRESULT get_Status(IVelmoraQdxStatus** val) override;
  HRESULT get_Global(IVelmoraQdxGlobal** val) override;

  // ---------------- IIviDCPwr ----------------
  HRESULT get_Outputs(IIviDCPwrOutputs** val) override;
  HRESULT get_Trigger(IIviDCPwrTrigger** val) override;

  // ---------------- IIviDriverOperation ----------------
  HRESULT get_LogicalName(std::string* val) override;
  HRESULT get_IoResourceDescriptor(std::string* val) override;
  HRESULT get_RangeCheck(VARIANT_BOOL* val) override;
  HRESULT put_RangeCheck(VARIANT_BOOL val) override;
  HRESULT get_QueryInstrumentStatus(VARIANT_BOOL* val) override;
  HRESULT put_QueryInstrumentStatus(VARIANT_BOOL val) override;
  HRESULT get_Cache(VARIANT_BOOL* val) override;
  HRESULT put_Cache(VARIANT_BOOL val) override;
  HRESULT get_Simulate(VARIANT_BOOL* val) override;
  HRESULT put_Simulate(VARIANT_BOOL val) override;
  HRESULT get_RecordCoercions(VARIANT_BOOL* val) override;
  HRESULT put_RecordCoercions(VARIANT_BOOL val) override;
  HRESULT get_InterchangeCheck(VARIANT_BOOL* val) override;
  HRESULT put_InterchangeCheck(VARIANT_BOOL val) override;
  HRESULT get_DriverSetup(std::string* val) override;
  HRESULT InvalidateAllAttributes() override;
  HRESULT ResetInterchangeCheck() override;
  HRESULT ClearInterchangeWarnings() override;
  HRESULT GetNextCoercionRecord(std::string* val) override;
  HRESULT GetNextInterchangeWarning(std::string* val) override;

  // ---------------- IIviComponentIdentity / IIviDriverIdentity ----------------
  HRESULT get_Description(std::string* val) override;
  HRESULT get_Identifier(std::string* val) override;
  HRESULT get_Revision(std::string* val) override;
  HRESULT get_Vendor(std::string* val) override;
  HRESULT get_GroupCapabilities(std::string* val) override;
  HRESULT get_InstrumentFirmwareRevision(std::string* val) override;
  HRESULT get_InstrumentManufacturer(std::string* val) override;
  HRESULT get_InstrumentModel(std::string* val) override;
  HRESULT get_SpecificationMajorVersion(std::int32_t* val) override;
  HRESULT get_SpecificationMinorVersion(std::int32_t* val) override;
  HRESULT get_SupportedInstrumentModels(std::string* val) override;

  // ---------------- IIviDriverUtility ----------------
  HRESULT Disable() override;
  HRESULT ErrorQuery(std::int32_t* ErrorCode, std::string* ErrorMessage) override;
  HRESULT LockObject() override;
  HRESULT Reset() override;
  HRESULT ResetWithDefaults() override;
  HRESULT SelfTest(std::int32_t* TestResult, std::string* TestMessage) override;
  HRESULT UnlockObject() override;

 private:
  // A session configured with this root's hooks; null when memory is exhausted.
  std::shared_ptr<Session> NewSession() const noexcept;
  mutable std::mutex sessionMutex_;
  std::shared_ptr<Session> session_;
  std::vector<std::shared_ptr<Session>> retained_;
  std::shared_ptr<IConfigStore> configStore_;
  CDriver::TransportFactory transportFactory_;

  std::mutex initializeMutex_;

  COutputCollection outputRules_{*this};
  CVelmoraQdxOutputs outputs_{outputRules_};
  CIviDCPwrOutputs iviOutputs_{outputRules_};
  // The current session's driver, kept alive by each call that leases it.
  dcpwr::CDriverRef current_{[this] {
    const std::shared_ptr<Session> session = CurrentSession();
    return std::shared_ptr<CVelmoraQdx>(session, &session->driver);
  }};
  dcpwr::CTrigger trigger_{current_};
  dcpwr::CSystem system_{current_};
  dcpwr::CGlobal global_{current_};
  dcpwr::CStatus status_{current_};
};

}  // namespace veqdx::api
