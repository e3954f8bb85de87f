#include "api/object_model/root.h"

#include <algorithm>

#include "api/object_model/iid.h"

namespace veqdx::api {
namespace {
constexpr const char* kIIviDriver = "IIviDriver";
constexpr const char* kIIviDCPwr = "IIviDCPwr";
}  // namespace

VelmoraQdx::VelmoraQdx() : session_(std::make_shared<Session>()) {}

VelmoraQdx::~VelmoraQdx() {
  // Outputs handed out with a share of their own outlive this object; closing detaches them,
  // so from here on they answer "not initialized" instead of working on a released driver.
  const std::shared_ptr<Session> current = CurrentSession();
  if (current->driver.Initialized()) current->driver.Close();
}

void VelmoraQdx::SetConfigStore(std::shared_ptr<IConfigStore> store) {
  std::shared_ptr<Session> current;
  {
    std::lock_guard<std::mutex> lock(sessionMutex_);
    configStore_ = store;
    current = session_;
  }
  current->driver.SetConfigStore(std::move(store));
}

void VelmoraQdx::SetTransportFactory(CDriver::TransportFactory factory) {
  std::shared_ptr<Session> current;
  {
    std::lock_guard<std::mutex> lock(sessionMutex_);
    transportFactory_ = factory;
    current = session_;
  }
  current->driver.SetTransportFactory(std::move(factory));
}

std::shared_ptr<Session> VelmoraQdx::CurrentSession() const {
  std::lock_guard<std::mutex> lock(sessionMutex_);
  return session_;
}

std::size_t VelmoraQdx::RetainedSessionCount() const {
  std::lock_guard<std::mutex> lock(sessionMutex_);
  return retained_.size();
}

HRESULT VelmoraQdx::KeepForPlainPointers(const std::shared_ptr<Session>& session) {
  std::lock_guard<std::mutex> lock(sessionMutex_);
  session->pointersHandedOut.store(true);
  // Initialize reads the flag under this lock when it replaces the session; a session that
  // was replaced before the flag was set is kept here instead.
  if (session == session_ ||
      std::find(retained_.begin(), retained_.end(), session) != retained_.end())
    return S_OK;
  try {
    retained_.push_back(session);
  } catch (...) {
    return session->driver.Reporter().ReportOutOfMemory();
  }
  return S_OK;
}

std::shared_ptr<Session> VelmoraQdx::NewSession() const noexcept {
  std::shared_ptr<IConfigStore> store;
  CDriver::TransportFactory factory;
  std::shared_ptr<Session> fresh;
  try {
    {
      std::lock_guard<std::mutex> lock(sessionMutex_);
      store = configStore_;
      factory = transportFactory_;
    }
    fresh = std::make_shared<Session>();
  } catch (...) {
    return nullptr;
  }
  if (store) fresh->driver.SetConfigStore(std::move(store));
  if (factory) fresh->driver.SetTransportFactory(std::move(factory));
  return fresh;
}

void* VelmoraQdx::Query(std::string_view iid) noexcept {
  using Getter = void* (*)(VelmoraQdx&);
  struct Entry {
    const char* iid;
    Getter get;
  };
  static constexpr Entry kInterfaces[] = {
      {IVelmoraQdx::kIid, [](VelmoraQdx& r) -> void* { return static_cast<IVelmoraQdx*>(&r); }},
      {IIviDriver::kIid, [](VelmoraQdx& r) -> void* { return static_cast<IIviDriver*>(&r); }},
      {IIviDriverOperation::kIid,
       [](VelmoraQdx& r) -> void* { return static_cast<IIviDriverOperation*>(&r); }},
      {IIviDriverIdentity::kIid,
       [](VelmoraQdx& r) -> void* { return static_cast<IIviDriverIdentity*>(&r); }},
      {IIviComponentIdentity::kIid,
       [](VelmoraQdx& r) -> void* { return static_cast<IIviComponentIdentity*>(&r); }},
      {IIviDriverUtility::kIid,
       [](VelmoraQdx& r) -> void* { return static_cast<IIviDriverUtility*>(&r); }},
      {IVelmoraQdxOutputs::kIid,
       [](VelmoraQdx& r) -> void* { return static_cast<IVelmoraQdxOutputs*>(&r.outputs_); }},
      {IIviDCPwr::kIid, [](VelmoraQdx& r) -> void* { return static_cast<IIviDCPwr*>(&r); }},
      {IIviDCPwrOutputs::kIid,
       [](VelmoraQdx& r) -> void* { return static_cast<IIviDCPwrOutputs*>(&r.iviOutputs_); }},
      {IIviDCPwrTrigger::kIid,
       [](VelmoraQdx& r) -> void* { return static_cast<IIviDCPwrTrigger*>(&r.trigger_); }},
      {IVelmoraQdxTrigger::kIid,
       [](VelmoraQdx& r) -> void* { return static_cast<IVelmoraQdxTrigger*>(&r.trigger_); }},
      {IVelmoraQdxSystem::kIid,
       [](VelmoraQdx& r) -> void* { return static_cast<IVelmoraQdxSystem*>(&r.system_); }},
      {IVelmoraQdxStatus::kIid,
       [](VelmoraQdx& r) -> void* { return static_cast<IVelmoraQdxStatus*>(&r.status_); }},
      {IVelmoraQdxStatusOperation::kIid,
       [](VelmoraQdx& r) -> void* {
         return static_cast<IVelmoraQdxStatusOperation*>(&r.status_.Operation());
       }},
      {IVelmoraQdxStatusQuestionable::kIid,
       [](VelmoraQdx& r) -> void* {
         return static_cast<IVelmoraQdxStatusQuestionable*>(&r.status_.Questionable());
       }},
      {IVelmoraQdxStatusStandardEvent::kIid,
       [](VelmoraQdx& r) -> void* {
         return static_cast<IVelmoraQdxStatusStandardEvent*>(&r.status_.StandardEvent());
       }},
      {IVelmoraQdxStatusStatusByte::kIid,
       [](VelmoraQdx& r) -> void* {
         return static_cast<IVelmoraQdxStatusStatusByte*>(&r.status_.StatusByte());
       }},
      {IVelmoraQdxGlobal::kIid,
       [](VelmoraQdx& r) -> void* { return static_cast<IVelmoraQdxGlobal*>(&r.global_); }},
      {IVelmoraQdxStatusOperationInstrument::kIid,
       [](VelmoraQdx& r) -> void* {
         return static_cast<IVelmoraQdxStatusOperationInstrument*>(&r.status_.Operation().Instrument());
       }},
      {IVelmoraQdxStatusQuestionableInstrument::kIid,
       [](VelmoraQdx& r) -> void* {
         return static_cast<IVelmoraQdxStatusQuestionableInstrument*>(&r.status_.Questionable().Instrument());
       }},
  };
  for (const Entry& entry : kInterfaces)
    if (SameIid(entry.iid, iid)) return entry.get(*this);
  return nullptr;
}

// ---------------------------------------------------------------------------------------------
// IIviDriver

HRESULT VelmoraQdx::Initialize(const char* ResourceName, VARIANT_BOOL IdQuery, VARIANT_BOOL Reset,
                               const char* OptionString) {
  std::lock_guard<std::mutex> serial(initializeMutex_);
  const std::shared_ptr<Session> current = CurrentSession();
  {
    // Held across the check and the call, so that a Close on another thread cannot turn an
    // "already initialized" into a rediscovery of a session whose outputs are out there.
    std::lock_guard<std::recursive_mutex> lock(current->driver.Mutex());
    if (current->driver.ChildCount() == 0 || current->driver.Initialized())
      return current->driver.Initialize(ResourceName, IdQuery, Reset, OptionString);
  }
  const std::shared_ptr<Session> fresh = NewSession();
  if (!fresh) {
    CCallContextGuard context(kIIviDriver, "Initialize");
    return current->driver.Reporter().ReportOutOfMemory();
  }
  // Callers that find the new session while it is being set up wait on its lock, as they
  // would on a session being initialized in place.
  std::lock_guard<std::recursive_mutex> freshLock(fresh->driver.Mutex());
  {
    std::lock_guard<std::mutex> lock(sessionMutex_);
    try {
      if (current->pointersHandedOut.load()) retained_.push_back(current);
    } catch (...) {
      // Dropping the old session could leave plain pointers dangling: keep it current.
      CCallContextGuard context(kIIviDriver, "Initialize");
      return current->driver.Reporter().ReportOutOfMemory();
    }
    session_ = fresh;
  }
  return fresh->driver.Initialize(ResourceName, IdQuery, Reset, OptionString);
}

HRESULT VelmoraQdx::get_Initialized(VARIANT_BOOL* val) {
  return CurrentSession()->driver.get_Initialized(val);
}
HRESULT VelmoraQdx::Close() { return CurrentSession()->driver.Close(); }

HRESULT VelmoraQdx::get_DriverOperation(IIviDriverOperation** val) {
  return HandOut<IIviDriverOperation>(kIIviDriver, "get_DriverOperation", this, val);
}
HRESULT VelmoraQdx::get_Identity(IIviDriverIdentity** val) {
  return HandOut<IIviDriverIdentity>(kIIviDriver, "get_Identity", this, val);
}
HRESULT VelmoraQdx::get_Utility(IIviDriverUtility** val) {
  return HandOut<IIviDriverUtility>(kIIviDriver, "get_Utility", this, val);
}

// ---------------------------------------------------------------------------------------------
// Child properties

HRESULT VelmoraQdx::get_Outputs(IVelmoraQdxOutputs** val) {
  return HandOut<IVelmoraQdxOutputs>(kInterface, "get_Outputs", &outputs_, val);
}
HRESULT VelmoraQdx::get_Trigger(IVelmoraQdxTrigger** val) {
  return HandOut<IVelmoraQdxTrigger>(kInterface, "get_Trigger", &trigger_, val);
}
HRESULT VelmoraQdx::get_System(IVelmoraQdxSystem** val) {
  return HandOut<IVelmoraQdxSystem>(kInterface, "get_System", &system_, val);
}
HRESULT VelmoraQdx::get_Status(IVelmoraQdxStatus** val) {
  return HandOut<IVelmoraQdxStatus>(kInterface, "get_Status", &status_, val);
}
HRESULT VelmoraQdx::get_Global(IVelmoraQdxGlobal** val) {
  return HandOut<IVelmoraQdxGlobal>(kInterface, "get_Global", &global_, val);
}
HRESULT VelmoraQdx::get_Outputs(IIviDCPwrOutputs** val) {
  return HandOut<IIviDCPwrOutputs>(kIIviDCPwr, "get_Outputs", &iviOutputs_, val);
}
HRESULT VelmoraQdx::get_Trigger(IIviDCPwrTrigger** val) {
  return HandOut<IIviDCPwrTrigger>(kIIviDCPwr, "get_Trigger", &trigger_, val);
}

// ---------------------------------------------------------------------------------------------
// Inherent members: the current session's driver does the work. The temporary shared_ptr
// keeps that session alive until the call returns, even if another thread starts a new one.

HRESULT VelmoraQdx::get_LogicalName(std::string* val) {
  return CurrentSession()->driver.get_LogicalName(val);
}
HRESULT VelmoraQdx::get_IoResourceDescriptor(std::string* val) {
  return CurrentSession()->driver.get_IoResourceDescriptor(val);
}
HRESULT VelmoraQdx::get_RangeCheck(VARIANT_BOOL* val) {
  return CurrentSession()->driver.get_RangeCheck(val);
}
HRESULT VelmoraQdx::put_RangeCheck(VARIANT_BOOL val) {
  return CurrentSession()->driver.put_RangeCheck(val);
}
HRESULT VelmoraQdx::get_QueryInstrumentStatus(VARIANT_BOOL* val) {
  return CurrentSession()->driver.get_QueryInstrumentStatus(val);
}
HRESULT VelmoraQdx::put_QueryInstrumentStatus(VARIANT_BOOL val) {
  return CurrentSession()->driver.put_QueryInstrumentStatus(val);
}
HRESULT VelmoraQdx::get_Cache(VARIANT_BOOL* val) { return CurrentSession()->driver.get_Cache(val); }
HRESULT VelmoraQdx::put_Cache(VARIANT_BOOL val) { return CurrentSession()->driver.put_Cache(val); }
HRESULT VelmoraQdx::get_Simulate(VARIANT_BOOL* val) { return CurrentSession()->driver.get_Simulate(val); }
HRESULT VelmoraQdx::put_Simulate(VARIANT_BOOL val) { return CurrentSession()->driver.put_Simulate(val); }
HRESULT VelmoraQdx::get_RecordCoercions(VARIANT_BOOL* val) {
  return CurrentSession()->driver.get_RecordCoercions(val);
}
HRESULT VelmoraQdx::put_RecordCoercions(VARIANT_BOOL val) {
  return CurrentSession()->driver.put_RecordCoercions(val);
}
HRESULT VelmoraQdx::get_InterchangeCheck(VARIANT_BOOL* val) {
  return CurrentSession()->driver.get_InterchangeCheck(val);
}
HRESULT VelmoraQdx::put_InterchangeCheck(VARIANT_BOOL val) {
  return CurrentSession()->driver.put_InterchangeCheck(val);
}
HRESULT VelmoraQdx::get_DriverSetup(std::string* val) {
  return CurrentSession()->driver.get_DriverSetup(val);
}
HRESULT VelmoraQdx::InvalidateAllAttributes() {
  return CurrentSession()->driver.InvalidateAllAttributes();
}
HRESULT VelmoraQdx::ResetInterchangeCheck() { return CurrentSession()->driver.ResetInterchangeCheck(); }
HRESULT VelmoraQdx::ClearInterchangeWarnings() {
  return CurrentSession()->driver.ClearInterchangeWarnings();
}
HRESULT VelmoraQdx::GetNextCoercionRecord(std::string* val) {
  return CurrentSession()->driver.GetNextCoercionRecord(val);
}
HRESULT VelmoraQdx::GetNextInterchangeWarning(std::string* val) {
  return CurrentSession()->driver.GetNextInterchangeWarning(val);
}

HRESULT VelmoraQdx::get_Description(std::string* val) {
  return CurrentSession()->driver.get_Description(val);
}
HRESULT VelmoraQdx::get_Identifier(std::string* val) {
  return CurrentSession()->driver.get_Identifier(val);
}
HRESULT VelmoraQdx::get_Revision(std::string* val) { return CurrentSession()->driver.get_Revision(val); }
HRESULT VelmoraQdx::get_Vendor(std::string* val) { return CurrentSession()->driver.get_Vendor(val); }
HRESULT VelmoraQdx::get_GroupCapabilities(std::string* val) {
  return CurrentSession()->driver.get_GroupCapabilities(val);
}
HRESULT VelmoraQdx::get_InstrumentFirmwareRevision(std::string* val) {
  return CurrentSession()->driver.get_InstrumentFirmwareRevision(val);
}
HRESULT VelmoraQdx::get_InstrumentManufacturer(std::string* val) {
  return CurrentSession()->driver.get_InstrumentManufacturer(val);
}
HRESULT VelmoraQdx::get_InstrumentModel(std::string* val) {
  return CurrentSession()->driver.get_InstrumentModel(val);
}
HRESULT VelmoraQdx::get_SpecificationMajorVersion(std::int32_t* val) {
  return CurrentSession()->driver.get_SpecificationMajorVersion(val);
}
HRESULT VelmoraQdx::get_SpecificationMinorVersion(std::int32_t* val) {
  return CurrentSession()->driver.get_SpecificationMinorVersion(val);
}
HRESULT VelmoraQdx::get_SupportedInstrumentModels(std::string* val) {
  return CurrentSession()->driver.get_SupportedInstrumentModels(val);
}

HRESULT VelmoraQdx::Disable() { return CurrentSession()->driver.Disable(); }
HRESULT VelmoraQdx::ErrorQuery(std::int32_t* ErrorCode, std::string* ErrorMessage) {
  return CurrentSession()->driver.ErrorQuery(ErrorCode, ErrorMessage);
}
HRESULT VelmoraQdx::LockObject() { return CurrentSession()->driver.LockObject(); }
HRESULT VelmoraQdx::Reset() { return CurrentSession()->driver.Reset(); }
HRESULT VelmoraQdx::ResetWithDefaults() { return CurrentSession()->driver.ResetWithDefaults(); }
HRESULT VelmoraQdx::SelfTest(std::int32_t* TestResult, std::string* TestMessage) {
  return CurrentSession()->driver.SelfTest(TestResult, TestMessage);
}
HRESULT VelmoraQdx::UnlockObject() { return CurrentSession()->driver.UnlockObject(); }

}  // namespace veqdx::api
