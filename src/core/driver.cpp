#include "core/driver.h"

#include "core/config_store.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace veqdx {
namespace {

constexpr const char* kIIviDriver = "IIviDriver";
constexpr const char* kIIviDriverOperation = "IIviDriverOperation";

bool IsTrue(VARIANT_BOOL v) { return v != VARIANT_FALSE; }
VARIANT_BOOL ToVariantBool(bool b) { return b ? VARIANT_TRUE : VARIANT_FALSE; }

// Standard Event Status Register bits that mean the instrument saw an error: query error,
// device-dependent error, execution error, command error.
constexpr long kEsrErrorBits = 0x04 | 0x08 | 0x10 | 0x20;
// "*ESR?" answers with a few digits; a longer reply is drained in bounded steps.
constexpr std::size_t kEsrReplyMax = 256;
constexpr int kEsrDrainReadsMax = 64;

}  // namespace

CDriver::CDriver(DriverConstants constants)
    : attr::CNode(),
      constants_(std::move(constants)),
      reporter_([] { return CurrentInterfaceName(); }),
      io_(reporter_),
      store_(std::make_shared<CFileConfigStore>()) {
  io_.SetPollHook([this] { return CheckInstrumentStatus(); });
}

CDriver::~CDriver() {
  // Children ask this object for the session flags; cut them off while it is still whole.
  DetachChildren();
  io_.SetPollHook({});
}

void CDriver::SetConfigStore(std::shared_ptr<IConfigStore> store) {
  std::lock_guard<std::recursive_mutex> lock(Mutex());
  store_ = store ? std::move(store) : std::make_shared<CNoConfigStore>();
}

void CDriver::SetInitialSettingApplier(InitialSettingApplier applier) {
  std::lock_guard<std::recursive_mutex> lock(Mutex());
  initialSettingApplier_ = std::move(applier);
}

void CDriver::SetTransportFactory(TransportFactory factory) {
  std::lock_guard<std::recursive_mutex> lock(Mutex());
  transportFactory_ = std::move(factory);
}

// ---------------------------------------------------------------------------------------------
// Settings

void CDriver::ApplySettings(const InherentSettings& s) {
  cache_.store(s.cache, std::memory_order_relaxed);
  interchangeCheck_.store(s.interchangeCheck, std::memory_order_relaxed);
  queryInstrumentStatus_.store(s.queryInstrumentStatus, std::memory_order_relaxed);
  rangeCheck_.store(s.rangeCheck, std::memory_order_relaxed);
  recordCoercions_.store(s.recordCoercions, std::memory_order_relaxed);
  simulate_.store(s.simulate, std::memory_order_relaxed);
}

InherentSettings CDriver::CurrentSettings() const {
  InherentSettings s;
  s.cache = Cache();
  s.interchangeCheck = InterchangeCheck();
  s.queryInstrumentStatus = QueryInstrumentStatus();
  s.rangeCheck = RangeCheck();
  s.recordCoercions = RecordCoercions();
  s.simulate = Simulate();
  return s;
}

InherentSettings CDriver::InitialSettings() const {
  std::lock_guard<std::mutex> lock(configMutex_);
  return initialSettings_;
}

std::string CDriver::Model() const {
  std::lock_guard<std::recursive_mutex> io(ioMutex_);
  return model_;
}

void CDriver::SetModel(std::string model) {
  std::lock_guard<std::recursive_mutex> io(ioMutex_);
  model_ = std::move(model);
}

void CDriver::SetIdentity(const InstrumentIdentity& identity) {
  std::lock_guard<std::recursive_mutex> io(ioMutex_);
  identity_ = identity;
}

InstrumentIdentity CDriver::Identity() const {
  std::lock_guard<std::recursive_mutex> io(ioMutex_);
  return identity_;
}

std::string CDriver::DriverSetupItem(std::string_view name, std::string_view fallback) const {
  std::lock_guard<std::mutex> lock(configMutex_);
  return config_.DriverSetupItem(name, fallback);
}

OptionMap CDriver::DriverSetupItems() const {
  std::lock_guard<std::mutex> lock(configMutex_);
  return config_.driverSetupItems;
}

OptionMap CDriver::Options() const {
  std::lock_guard<std::mutex> lock(configMutex_);
  return config_.options;
}

HRESULT CDriver::GetBool(const std::atomic<bool>& flag, VARIANT_BOOL* val, const char* member) {
  return Call(kIIviDriverOperation, member, [&] {
    TraceOut("val", val);
    if (val == nullptr) return ReportNull(member, "val");
    *val = ToVariantBool(flag.load(std::memory_order_relaxed));
    return S_OK;
  });
}

HRESULT CDriver::GetString(const std::string& text, std::string* val, const char* member) {
  return Call(kIIviDriverOperation, member, [&] {
    TraceOut("val", val);
    if (val == nullptr) return ReportNull(member, "val");
    std::lock_guard<std::mutex> lock(configMutex_);
    *val = text;
    return S_OK;
  });
}

HRESULT CDriver::get_Initialized(VARIANT_BOOL* val) {
  return Call(kIIviDriver, "get_Initialized", [&] {
    TraceOut("val", val);
    if (val == nullptr) return ReportNull("get_Initialized", "val");
    *val = ToVariantBool(Initialized());
    return S_OK;
  });
}

HRESULT CDriver::get_Cache(VARIANT_BOOL* val) { return GetBool(cache_, val, "get_Cache"); }
HRESULT CDriver::get_InterchangeCheck(VARIANT_BOOL* val) {
  return GetBool(interchangeCheck_, val, "get_InterchangeCheck");
}
HRESULT CDriver::get_QueryInstrumentStatus(VARIANT_BOOL* val) {
  return GetBool(queryInstrumentStatus_, val, "get_QueryInstrumentStatus");
}
HRESULT CDriver::get_RangeCheck(VARIANT_BOOL* val) {
  return GetBool(rangeCheck_, val, "get_RangeCheck");
}
HRESULT CDriver::get_RecordCoercions(VARIANT_BOOL* val) {
  return GetBool(recordCoercions_, val, "get_RecordCoercions");
}
HRESULT CDriver::get_Simulate(VARIANT_BOOL* val) { return GetBool(simulate_, val, "get_Simulate"); }

HRESULT CDriver::put_Cache(VARIANT_BOOL val) {
  return Call(kIIviDriverOperation, "put_Cache", [&] {
    TraceIn("val", val);
    cache_.store(IsTrue(val), std::memory_order_relaxed);
    return S_OK;
  });
}

HRESULT CDriver::put_InterchangeCheck(VARIANT_BOOL val) {
  return Call(kIIviDriverOperation, "put_InterchangeCheck", [&] {
    TraceIn("val", val);
    if (IsTrue(val) && !constants_.supportsInterchangeCheck)
      return reporter_.ReportValueNotSupported("VARIANT_TRUE", "val", "put_InterchangeCheck");
    interchangeCheck_.store(IsTrue(val), std::memory_order_relaxed);
    return S_OK;
  });
}

HRESULT CDriver::put_QueryInstrumentStatus(VARIANT_BOOL val) {
  return Call(kIIviDriverOperation, "put_QueryInstrumentStatus", [&] {
    TraceIn("val", val);
    queryInstrumentStatus_.store(IsTrue(val), std::memory_order_relaxed);
    return S_OK;
  });
}

HRESULT CDriver::put_RangeCheck(VARIANT_BOOL val) {
  return Call(kIIviDriverOperation, "put_RangeCheck", [&] {
    TraceIn("val", val);
    rangeCheck_.store(IsTrue(val), std::memory_order_relaxed);
    return S_OK;
  });
}

HRESULT CDriver::put_RecordCoercions(VARIANT_BOOL val) {
  return Call(kIIviDriverOperation, "put_RecordCoercions", [&] {
    TraceIn("val", val);
    recordCoercions_.store(IsTrue(val), std::memory_order_relaxed);
    return S_OK;
  });
}

HRESULT CDriver::put_Simulate(VARIANT_BOOL val) {
  return Call(kIIviDriverOperation, "put_Simulate", [&] {
    TraceIn("val", val);
    // A session opened simulating has no instrument behind it, so it can never leave
    // simulation. The other direction is harmless and accepted.
    if (!IsTrue(val) && initialSettings_.simulate) return reporter_.ReportSimulationStateUnsupported();
    simulate_.store(IsTrue(val), std::memory_order_relaxed);
    return S_OK;
  });
}

HRESULT CDriver::get_DriverSetup(std::string* val) {
  return GetString(config_.driverSetup, val, "get_DriverSetup");
}
HRESULT CDriver::get_LogicalName(std::string* val) {
  return GetString(config_.logicalName, val, "get_LogicalName");
}
HRESULT CDriver::get_IoResourceDescriptor(std::string* val) {
  return GetString(config_.ioResourceDescriptor, val, "get_IoResourceDescriptor");
}

HRESULT CDriver::InvalidateAllAttributes() {
  return Call(kIIviDriverOperation, "InvalidateAllAttributes", [&] {
    if (!Initialized()) return reporter_.ReportNotInitialized();
    InvalidateCache();
    return S_OK;
  });
}

HRESULT CDriver::ClearInterchangeWarnings() {
  return Call(kIIviDriverOperation, "ClearInterchangeWarnings", [] { return S_OK; });
}

HRESULT CDriver::GetNextInterchangeWarning(std::string* val) {
  return GetString(std::string(), val, "GetNextInterchangeWarning");
}

HRESULT CDriver::ResetInterchangeCheck() {
  return Call(kIIviDriverOperation, "ResetInterchangeCheck", [] { return S_OK; });
}

HRESULT CDriver::GetNextCoercionRecord(std::string* val) {
  return GetString(std::string(), val, "GetNextCoercionRecord");
}

// ---------------------------------------------------------------------------------------------
// Initialize and Close

HRESULT CDriver::Initialize(const char* resourceName, VARIANT_BOOL idQuery, VARIANT_BOOL reset,
                            const char* optionString) {
  std::lock_guard<std::recursive_mutex> lock(Mutex());
  CCallContextGuard context(kIIviDriver, "Initialize");
  HRESULT hr;
  bool traced = false;
  {
    // The trace starts inside the call (step 5), so its scope is opened there.
    std::optional<CTraceScope> trace;
    hr = InitializeBody(resourceName, IsTrue(idQuery), IsTrue(reset), optionString, trace);
    if (trace) trace->Done(hr);
    traced = trace.has_value();
  }
  // A failed Initialize has no Close to save its trace.
  if (traced && Failed(hr)) methodTrace_.Stop();
  return hr;
}

HRESULT CDriver::InitializeBody(const char* resourceName, bool idQuery, bool reset,
                                const char* optionString, std::optional<CTraceScope>& trace) {
  if (resourceName == nullptr)
    return reporter_.ReportInvalidValueText("Initialize", "ResourceName", "NULL");
  if (Initialized()) return reporter_.ReportAlreadyInitialized();

  resetOnInit_ = reset;
  idQueryOnInit_ = idQuery;
  InitConfiguration config;
  HRESULT hr = LoadConfiguration(resourceName, optionString ? optionString : "", *store_, config,
                                 trace_, reporter_);
  // What was processed before a failure stays in place.
  ApplySettings(config.settings);
  {
    std::lock_guard<std::mutex> lock(configMutex_);
    config_ = std::move(config);
    if (Succeeded(hr)) initialSettings_ = CurrentSettings();
  }
  if (Failed(hr)) return hr;
  hr = ApplyIoTimeout();
  if (Failed(hr)) return hr;
  std::string model = config_.model;
  if (Simulate() && model.empty()) model = constants_.defaultModel;

  if (InterchangeCheck() && !constants_.supportsInterchangeCheck)
    return reporter_.ReportBadOptionValue("True",
                                          "Interchange checking is not supported by the driver.");

  if (trace_.Enabled()) {
    methodTrace_.Start(trace_, constants_.componentIdentifier, constants_.revision,
                       config_.ioResourceDescriptor);
    trace.emplace(methodTrace_, kIIviDriver, "Initialize");
    TraceIn("ResourceName", std::string_view(resourceName));
    TraceIn("IdQuery", ToVariantBool(idQuery));
    TraceIn("Reset", ToVariantBool(reset));
    TraceIn("OptionString", std::string_view(optionString ? optionString : ""));
  } else {
    methodTrace_.Stop();
  }

  HRESULT status = S_OK;
  {
    auto io = LockIo();
    model_ = std::move(model);
    identity_ = InstrumentIdentity{};
    hr = OpenConnection();
    if (Failed(hr)) return hr;
    initialized_.store(true, std::memory_order_release);
    hr = QueryIdentity();
    if (Failed(hr)) return FailInitialize(hr);
  }

  if (idQuery) {
    if (!constants_.supportsIdQuery) {
      status = reporter_.ReportIdQueryNotSupported();
    } else if (!IsModelSupported()) {
      return FailInitialize(reporter_.ReportIdQueryFailed("Unrecognized model: " + Model() + "."));
    }
  }

  // Outputs of an earlier session were only detached at Close; now they can go.
  RemoveAllChildren();
  hr = SetUpSession();
  if (Failed(hr)) return FailInitialize(hr);
  if (hr != S_OK) status = hr;

  if (reset) {
    hr = ResetBody();
    if (Failed(hr)) return FailInitialize(reporter_.ReportResetFailed());
    if (hr != S_OK) status = hr;
  }
  // After a reset, so that the instrument keeps them.
  hr = ApplyInitialSettings();
  if (Failed(hr)) return FailInitialize(hr);
  return status;
}

HRESULT CDriver::ApplyInitialSettings() {
  for (const InitialSetting& s : config_.initialSettings) {
    const HRESULT hr = initialSettingApplier_ ? initialSettingApplier_(s)
                                              : reporter_.ReportPropertyNotSupported(s.name);
    if (Succeeded(hr)) continue;
    // The setter's own record says what went wrong; this says where the setting came from.
    ThreadErrorRecord().description += "\r\nConfigurable initial setting " + s.name +
                                       (s.repCap.empty() ? "" : " (" + s.repCap + ")") + " = \"" +
                                       s.value + "\" in " + config_.storeFile + ", line " +
                                       std::to_string(s.line) + ".";
    return hr;
  }
  return S_OK;
}

HRESULT CDriver::FailInitialize(HRESULT hr) {
  DetachChildren();
  {
    auto io = LockIo();
    CloseConnection();
  }
  initialized_.store(false, std::memory_order_release);
  return hr;
}

HRESULT CDriver::Close() {
  const HRESULT result = Call(kIIviDriver, "Close", [&] {
    if (!Initialized()) return reporter_.ReportNotInitialized();
    // Outputs stay owned (a caller may still hold one) but answer "not initialized" from now.
    DetachChildren();
    HRESULT hr;
    {
      auto io = LockIo();
      hr = CloseConnection();
    }
    InvalidateOwnCache();
    initialized_.store(false, std::memory_order_release);
    OnSessionClosed();
    return hr;
  });
  // After the call, so that the file holds the record of Close too.
  methodTrace_.Stop();
  return result;
}

HRESULT CDriver::ApplyIoTimeout() {
  const std::string text = config_.DriverSetupItem("IoTimeout");
  if (text.empty()) {
    ioTimeoutMs_ = kDefaultIoTimeoutMs;
    return S_OK;
  }
  // Only a plain decimal count of milliseconds in range: "0", "5s" or "-1" would otherwise
  // turn into a timeout the user did not ask for.
  long long value = 0;
  bool ok = text.size() <= 7;
  for (const char c : text) {
    ok = ok && c >= '0' && c <= '9';
    if (ok) value = value * 10 + (c - '0');
  }
  if (!ok || value < 1 || value > kMaxIoTimeoutMs) return reporter_.ReportBadOptionValue(text);
  ioTimeoutMs_ = static_cast<int>(value);
  return S_OK;
}

int CDriver::UtilityTimeoutMs(int ownMs) const { return std::max(ownMs, ioTimeoutMs_); }

HRESULT CDriver::OpenConnection() {
  io::IoOpenOptions options;
  options.simulate = Simulate();
  options.transport.timeoutMs = ioTimeoutMs_;
  options.transport.openTimeoutMs = ioTimeoutMs_;
  for (const auto& [name, value] : config_.driverSetupItems) {
    std::string lower = name;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
    options.transport.setup[lower] = value;
  }
  const std::string& resource = config_.ioResourceDescriptor;
  if (!options.simulate && transportFactory_) {
    io::IoResult result;
    std::unique_ptr<io::ITransport> transport = transportFactory_(resource, options.transport, result);
    if (!transport) return io::ReportOpenFailure(reporter_, resource, result.message);
    return io_.OpenWithTransport(resource, std::move(transport));
  }
  return io_.Open(resource, options);
}

HRESULT CDriver::CloseConnection() { return io_.IsOpen() ? io_.Close() : S_OK; }

// ---------------------------------------------------------------------------------------------
// Instrument status check

HRESULT CDriver::PollInstrumentStatus() {
  return Call("IVelmoraQdx", "PollInstrumentStatus", [&] { return CheckInstrumentStatus(); });
}

HRESULT CDriver::CheckInstrumentStatus() {
  if (!QueryInstrumentStatus() || statusCheckSuspended_.load(std::memory_order_relaxed) > 0)
    return S_OK;
  auto io = LockIo();
  // Low-level and unpolled, so this check never calls itself.
  HRESULT hr = io_.LowLevelWriteStringNoPoll("*ESR?");
  std::string reply;
  std::int32_t readStatus = 0;
  if (Succeeded(hr)) hr = io_.LowLevelReadStringNoPoll(kEsrReplyMax, reply, readStatus);
  for (int i = 0; Succeeded(hr) && readStatus == io::kReadStatusMaxCount && i < kEsrDrainReadsMax;
       ++i) {
    std::string rest;
    hr = io_.LowLevelReadStringNoPoll(kEsrReplyMax, rest, readStatus);
  }
  if (Failed(hr)) {
    io_.ClearErrorState();
    return reporter_.ReportInstrumentError();
  }
  const long esr = std::strtol(reply.c_str(), nullptr, 10);
  if (esr & kEsrErrorBits) return reporter_.ReportInstrumentError();
  return S_OK;
}

CDriver::CStatusCheckSuspension::CStatusCheckSuspension(CDriver& driver) : driver_(driver) {
  driver_.statusCheckSuspended_.fetch_add(1, std::memory_order_relaxed);
}

CDriver::CStatusCheckSuspension::~CStatusCheckSuspension() {
  driver_.statusCheckSuspended_.fetch_sub(1, std::memory_order_relaxed);
}

}  // namespace veqdx
