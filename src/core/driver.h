// The framework part of the driver object: one instance is one instrument session. It keeps
// the inherent settings, runs Initialize and Close, owns the error reporter and the I/O
// session, and offers the utility and identity operations. The driver class (CVelmoraQdx)
// derives from it and supplies the constants, the model check, identification and discovery.
//
// Locks. Every public operation takes the root node's re-entrant lock (CNode::Mutex()) for its
// whole duration and pushes its call context. Instrument traffic is serialised by a second
// re-entrant lock, the I/O lock: whoever selects a channel and then writes a command (and
// reads its reply) holds it across the whole exchange, so two threads driving two outputs of
// one session never interleave on the wire. The I/O lock is always the innermost lock: while
// holding it, take no node lock.
#pragma once
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "attributes/node.h"
#include "base/call_context.h"
#include "base/error_reporter.h"
#include "base/hresult.h"
#include "core/identification.h"
#include "core/options.h"
#include "core/trace.h"
#include "io/io_session.h"
#include "io/transport.h"

namespace veqdx {

// What the driver class says about itself; fixed at construction.
struct DriverConstants {
  std::string prefix;                // IVI-C prefix, "veqdx"
  std::string componentIdentifier;   // "VelmoraQdx"
  std::string vendor;
  std::string description;           // without the build note
  std::string revision;
  std::string groupCapabilities;
  std::string supportedModels;
  std::string defaultModel;          // the model of a simulated session that names none
  std::int32_t specificationMajorVersion = 0;
  std::int32_t specificationMinorVersion = 0;
  bool supportsInterchangeCheck = false;
  // When false, the operation answers with its "not supported" warning and sends nothing.
  bool supportsIdQuery = true;
  bool supportsReset = true;
  bool supportsSelfTest = true;
  bool supportsErrorQuery = true;
  int selfTestTimeoutMs = 2000;
  int resetTimeoutMs = 2000;
  int resetWithDefaultsTimeoutMs = 2000;  // also Disable
  int ioTimeoutMs = 1000;
};

class CDriver : public attr::CNode {
 public:
  // Makes the transport of a non-simulated session instead of resolving the resource name
  // (tests use a scripted device; embedders their own link). Null result: `result` says why.
  using TransportFactory = std::function<std::unique_ptr<io::ITransport>(
      std::string_view resource, const io::TransportOptions& options, io::IoResult& result)>;

  explicit CDriver(DriverConstants constants);
  ~CDriver() override;

  // ---------------- IIviDriver ----------------
  HRESULT Initialize(const char* resourceName, VARIANT_BOOL idQuery, VARIANT_BOOL reset,
                     const char* optionString);
  HRESULT Close();
  HRESULT get_Initialized(VARIANT_BOOL* val);

  // ---------------- IIviDriverOperation ----------------
  HRESULT get_Cache(VARIANT_BOOL* val);
  HRESULT put_Cache(VARIANT_BOOL val);
  HRESULT get_InterchangeCheck(VARIANT_BOOL* val);
  HRESULT put_InterchangeCheck(VARIANT_BOOL val);  // true is refused: not supported
  HRESULT get_QueryInstrumentStatus(VARIANT_BOOL* val);
  HRESULT put_QueryInstrumentStatus(VARIANT_BOOL val);
  HRESULT get_RangeCheck(VARIANT_BOOL* val);
  HRESULT put_RangeCheck(VARIANT_BOOL val);
  HRESULT get_RecordCoercions(VARIANT_BOOL* val);
  HRESULT put_RecordCoercions(VARIANT_BOOL val);
  HRESULT get_Simulate(VARIANT_BOOL* val);
  HRESULT put_Simulate(VARIANT_BOOL val);  // off is refused in a session opened simulating
  HRESULT get_DriverSetup(std::string* val);
  HRESULT get_LogicalName(std::string* val);
  HRESULT get_IoResourceDescriptor(std::string* val);
  HRESULT InvalidateAllAttributes();
  // Interchange checking and coercion recording keep no records in this driver: the queues
  // are always empty.
  HRESULT ClearInterchangeWarnings();
  HRESULT GetNextInterchangeWarning(std::string* val);
  HRESULT ResetInterchangeCheck();
  HRESULT GetNextCoercionRecord(std::string* val);

  // ---------------- IIviDriverUtility ----------------
  HRESULT Reset();
  HRESULT ResetWithDefaults();
  HRESULT Disable();
  HRESULT SelfTest(std::int32_t* testResult, std::string* testMessage);
  HRESULT ErrorQuery(std::int32_t* errorCode, std::string* errorMessage);
  HRESULT LockObject();    // not supported
  HRESULT UnlockObject();  // not supported

  // ---------------- IIviComponentIdentity / IIviDriverIdentity ----------------
  HRESULT get_Description(std::string* val);
  HRESULT get_Revision(std::string* val);
  HRESULT get_Vendor(std::string* val);
  HRESULT get_Identifier(std::string* val);
  HRESULT get_SpecificationMajorVersion(std::int32_t* val);
  HRESULT get_SpecificationMinorVersion(std::int32_t* val);
  HRESULT get_SupportedInstrumentModels(std::string* val);
  HRESULT get_GroupCapabilities(std::string* val);
  HRESULT get_InstrumentManufacturer(std::string* val);
  HRESULT get_InstrumentModel(std::string* val);
  HRESULT get_InstrumentFirmwareRevision(std::string* val);

  // The status check run after instrument operations: with QueryInstrumentStatus on, queries
  // "*ESR?" and fails with message 3 when the query, device-dependent, execution or command
  // error bit is set. As a public operation it takes the session lock; the I/O session's poll
  // hook calls CheckInstrumentStatus instead, which takes only the I/O lock.
  HRESULT PollInstrumentStatus();

  // ---------------- accessors for the rest of the driver ----------------
  // The I/O session. Use it while holding IoLock().
  io::CIoSession& Io() noexcept { return io_; }
  const CErrorReporter& Reporter() const noexcept { return reporter_; }
  // The method trace of this session (Active() only while DriverSetup "Trace" is on).
  CMethodTrace& Trace() noexcept { return methodTrace_; }
  const DriverConstants& Constants() const noexcept { return constants_; }
  // The innermost lock of the session, held around every instrument exchange.
  std::recursive_mutex& IoLock() const noexcept { return ioMutex_; }
  [[nodiscard]] std::unique_lock<std::recursive_mutex> LockIo() const {
    return std::unique_lock<std::recursive_mutex>(ioMutex_);
  }

  // Fast reads of the current settings (no lock taken; safe from any thread).
  bool Cache() const noexcept { return cache_.load(std::memory_order_relaxed); }
  bool InterchangeCheck() const noexcept { return interchangeCheck_.load(std::memory_order_relaxed); }
  bool QueryInstrumentStatus() const noexcept {
    return queryInstrumentStatus_.load(std::memory_order_relaxed);
  }
  bool RangeCheck() const noexcept { return rangeCheck_.load(std::memory_order_relaxed); }
  bool RecordCoercions() const noexcept { return recordCoercions_.load(std::memory_order_relaxed); }
  bool Simulate() const noexcept { return simulate_.load(std::memory_order_relaxed); }
  bool Initialized() const noexcept { return initialized_.load(std::memory_order_acquire); }
  // The settings the session was opened with. Takes only a leaf lock: callable from any thread
  // under any node lock, as are Model() and DriverSetupItem().
  InherentSettings InitialSettings() const;

  // The model in use (DriverSetup "Model", the identification reply, or the default model).
  // Takes the I/O lock.
  std::string Model() const;
  // The DriverSetup item `name` of the last Initialize (any case), `fallback` when absent.
  // Items the driver does not know (IoBackend, BaudRate, ...) are kept for whoever reads them.
  std::string DriverSetupItem(std::string_view name, std::string_view fallback = {}) const;
  // Every DriverSetup item and every option of the last Initialize (trimmed names and values,
  // looked up without regard to case).
  OptionMap DriverSetupItems() const;
  OptionMap Options() const;

  // The check behind the poll hook. Takes only the I/O lock.
  HRESULT CheckInstrumentStatus();
  // While a suspension is active the status check sends nothing. ErrorQuery uses it so that
  // its own query is not followed by "*ESR?". Held under the I/O lock.
  class CStatusCheckSuspension {
   public:
    explicit CStatusCheckSuspension(CDriver& driver);
    ~CStatusCheckSuspension();
    CStatusCheckSuspension(const CStatusCheckSuspension&) = delete;
    CStatusCheckSuspension& operator=(const CStatusCheckSuspension&) = delete;

   private:
    CDriver& driver_;
  };

  // Configuration hooks (call before Initialize).
  void SetConfigStore(std::shared_ptr<IConfigStore> store);
  void SetTransportFactory(TransportFactory factory);
  // Applies one configurable initial setting of the store through the setter of its numbered
  // attribute. The attribute table lives in the programming interfaces above this layer, so
  // whoever builds a driver hands it in; without one, a session with settings fails.
  using InitialSettingApplier = std::function<HRESULT(const InitialSetting&)>;
  void SetInitialSettingApplier(InitialSettingApplier applier);

  // ---------------- CNode: the root answers the session-wide queries ----------------
  bool IsInitialized() const override { return Initialized(); }
  bool GetCache() const override { return Cache(); }
  bool GetInterchangeCheck() const override { return InterchangeCheck(); }
  bool GetQueryInstrumentStatus() const override { return QueryInstrumentStatus(); }
  bool GetRangeCheck() const override { return RangeCheck(); }
  bool GetRecordCoercions() const override { return RecordCoercions(); }
  bool GetSimulate() const override { return Simulate(); }

 protected:
  // The per-call sequence of every public operation: session lock, call context, trace,
  // body (which names its parameters with TraceIn / TraceOut).
  template <class Body>
  HRESULT Call(std::string_view interfaceName, std::string_view memberName, Body&& body) {
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    CCallContextGuard context(interfaceName, memberName);
    CTraceScope trace(methodTrace_, interfaceName, memberName);
    return trace.Done(body());
  }
  // Null output pointer: message 0x16 naming the member and the parameter.
  HRESULT ReportNull(std::string_view memberName, std::string_view parameter) const {
    return reporter_.ReportNullPointer(memberName, parameter);
  }

  // ---- overridden by the driver class, called by Initialize ----
  // Model acceptance after the identification query.
  virtual bool IsModelSupported() const { return true; }
  // Asks the instrument who it is and fills the identity (nothing is sent when simulating).
  // Called under the I/O lock.
  virtual HRESULT QueryIdentity() { return S_OK; }
  // Post-connection set-up: output discovery and the object tree. Called without the I/O lock.
  virtual HRESULT SetUpSession() { return S_OK; }
  // Opens and closes the I/O connection; called under the I/O lock.
  virtual HRESULT OpenConnection();
  virtual HRESULT CloseConnection();
  // Called by Close after the children were detached and the connection closed.
  virtual void OnSessionClosed() {}
  // Called after the instrument was sent a reset ("*RST"), before the children's reset hooks.
  virtual void OnInstrumentReset() {}

  // Identity of the connected instrument; written under the I/O lock.
  void SetIdentity(const InstrumentIdentity& identity);
  InstrumentIdentity Identity() const;
  void SetModel(std::string model);

 private:
  HRESULT InitializeBody(const char* resourceName, bool idQuery, bool reset,
                         const char* optionString, std::optional<CTraceScope>& trace);
  HRESULT FailInitialize(HRESULT hr);
  HRESULT ApplyInitialSettings();
  void ApplySettings(const InherentSettings& settings);
  InherentSettings CurrentSettings() const;
  HRESULT ResetBody();
  HRESULT ResetToDefaultsBody();
  HRESULT SendResetQuery(int timeoutMs);
  // Validates DriverSetup "IoTimeout" (1 to 3600000 ms) and keeps it for the open.
  HRESULT ApplyIoTimeout();
  // A utility operation's own timeout, or IoTimeout when that is longer.
  int UtilityTimeoutMs(int ownMs) const;
  HRESULT GetBool(const std::atomic<bool>& flag, VARIANT_BOOL* val, const char* member);
  HRESULT GetString(const std::string& text, std::string* val, const char* member);

  const DriverConstants constants_;
  CVelmoraQdxErrorReporter reporter_;
  mutable std::recursive_mutex ioMutex_;
  io::CIoSession io_;

  // Current inherent settings.
  std::atomic<bool> cache_{true};
  std::atomic<bool> interchangeCheck_{false};
  std::atomic<bool> queryInstrumentStatus_{false};
  std::atomic<bool> rangeCheck_{true};
  std::atomic<bool> recordCoercions_{false};
  std::atomic<bool> simulate_{false};
  std::atomic<bool> initialized_{false};
  std::atomic<int> statusCheckSuspended_{0};

  // Written by Initialize under the session lock and, for readers that do not hold it, under
  // configMutex_ (a leaf lock, so any thread may read these whatever node lock it holds).
  mutable std::mutex configMutex_;
  InherentSettings initialSettings_;
  InitConfiguration config_;
  // DriverSetup "IoTimeout": the limit of every read and write on the link, and of opening it.
  static constexpr int kDefaultIoTimeoutMs = 2000;
  static constexpr int kMaxIoTimeoutMs = 3'600'000;
  int ioTimeoutMs_ = kDefaultIoTimeoutMs;
  bool resetOnInit_ = false;
  bool idQueryOnInit_ = false;
  CTraceState trace_;
  CMethodTrace methodTrace_;
  std::shared_ptr<IConfigStore> store_;
  TransportFactory transportFactory_;
  InitialSettingApplier initialSettingApplier_;

  // Read from other threads: guarded by the I/O lock.
  std::string model_;
  InstrumentIdentity identity_;
};

}  // namespace veqdx
