#include "io/io_session.h"

#include <algorithm>
#include <new>

#include "base/call_context.h"
#include "io/formatted_io.h"
#include "io/resource.h"

namespace veqdx::io {
namespace {

// What the session says about a resource it has no transport for (simulating, or closed).
struct ResourceFacts {
  InterfaceType type = InterfaceType::Gpib;
  std::string resourceClass = "INSTR";
  bool lineFeedTerminated = false;
  int board = 0;
};

ResourceFacts FactsOf(const std::string& descriptor) {
  ResourceFacts facts;
  Resource r;
  std::string error;
  if (!ParseResource(descriptor, r, error)) return facts;
  facts.type = r.Interface();
  facts.resourceClass = r.ResourceClass();
  facts.lineFeedTerminated = r.kind == ResourceKind::TcpipSocket || r.kind == ResourceKind::Serial;
  facts.board = r.board;
  return facts;
}

// Sets a transport's timeout for one step and puts the session's back afterwards.
class CTimeoutOverride {
 public:
  CTimeoutOverride(ITransport& t, int ms) : t_(t), saved_(t.Timeout()) { t_.SetTimeout(ms); }
  ~CTimeoutOverride() { t_.SetTimeout(saved_); }
  CTimeoutOverride(const CTimeoutOverride&) = delete;
  CTimeoutOverride& operator=(const CTimeoutOverride&) = delete;

 private:
  ITransport& t_;
  int saved_;
};

std::string Replies(std::uint32_t n) {
  return std::to_string(n) + (n == 1 ? " late reply" : " late replies");
}

HRESULT StatusOf(const IoResult& r) {
  switch (r.code) {
    case IoCode::Ok: return S_OK;
    case IoCode::Timeout: return E_VELMORAQDX_IO_TIMEOUT;
    default: return E_VELMORAQDX_IO_GENERAL;
  }
}

}  // namespace

CIoSession::CIoSession(const CErrorReporter& reporter)
    : reporter_(reporter), formatted_(std::make_unique<CFormattedIo>(*this)) {}

CIoSession::~CIoSession() { Close(); }

// --- open / close ---

HRESULT CIoSession::Open(std::string_view resource, const IoOpenOptions& options) {
  Close();
  resource_ = std::string(resource);
  timeoutMs_ = std::max(0, options.transport.timeoutMs);
  if (options.simulate) {
    simulate_ = true;  // no device is opened, nothing is sent
    return S_OK;
  }
  IoResult result;
  std::unique_ptr<ITransport> transport = OpenTransport(resource, options.transport, result);
  if (!transport) {
    const HRESULT hr = ReportOpenFailure(reporter_, resource_, result.message);
    lastStatus_ = hr;
    resource_.clear();
    return hr;
  }
  return OpenWithTransport(resource, std::move(transport));
}

HRESULT CIoSession::OpenWithTransport(std::string_view resource,
                                      std::unique_ptr<ITransport> transport) {
  if (!transport) return ReportInvalidArgument("OpenWithTransport: the transport is null.");
  Close();
  resource_ = std::string(resource);
  simulate_ = false;
  transport_ = std::move(transport);
  timeoutMs_ = transport_->Timeout();
  lastStatus_ = 0;

  buffer_.reset(new (std::nothrow) CInstrBuffer(*this));
  HRESULT hr = buffer_ ? buffer_->Create()
                       : ReportError("Failed to create the formatted I/O read and write buffers.");
  if (Failed(hr)) {
    Close();
    return hr;
  }
  return S_OK;
}

HRESULT CIoSession::Close() {
  buffer_.reset();
  ledger_.Forget();
  if (transport_) {
    transport_->Close();
    transport_.reset();
  }
  simulate_ = false;
  resource_.clear();
  return S_OK;
}

// --- errors and polling ---

HRESULT CIoSession::ReportError(std::string_view text) const {
  return reporter_.ReportIoError(text);
}

HRESULT CIoSession::ReportInvalidArgument(std::string_view text) const {
  ErrorRecord& rec = ThreadErrorRecord();
  rec = ErrorRecord{};
  rec.hr = E_INVALIDARG;
  rec.description = std::string(text);
  rec.interfaceName = CurrentInterfaceName();
  rec.source = "VelmoraQdx.VelmoraQdx";
  rec.helpFile = "VelmoraQdx.chm";
  return E_INVALIDARG;
}

HRESULT CIoSession::ReportIo(const IoResult& r) const {
  switch (r.code) {
    case IoCode::Ok: return S_OK;
    case IoCode::Timeout: return reporter_.ReportIoTimeout(r.message);
    default: return reporter_.ReportIoError(r.message);
  }
}

HRESULT CIoSession::Report(const IoResult& r) {
  HRESULT hr = ReportIo(r);
  lastStatus_ = hr;
  return hr;
}

HRESULT CIoSession::Poll() {
  if (!pollHook_ || polling_) return S_OK;
  struct Reset {
    bool& flag;
    ~Reset() { flag = false; }
  } reset{polling_};
  polling_ = true;
  return pollHook_();
}

// --- keeping replies in step ---

bool CIoSession::CountsReplies() const {
  return transport_->HasEndSignal() || transport_->TermCharEnabled();
}

IoResult CIoSession::SkipOwed(Clock::time_point deadline, std::size_t& skipped) {
  char scratch[CInstrBuffer::kDefaultCapacity];
  while (ledger_.Owed() > 0) {
    CTimeoutOverride limit(*transport_, MsLeft(deadline));
    std::size_t got = 0;
    ReadEnd why = ReadEnd::Count;
    IoResult r = transport_->Read(scratch, sizeof scratch, got, why);
    skipped += got;
    if (!r.ok()) return r;
    if (why != ReadEnd::Count) ledger_.OnOwedArrived();
    if (skipped > CInstrBuffer::kMaxResponseBytes) {
      return IoResult::Error("the instrument keeps sending a reply that does not end (" +
                             std::to_string(skipped) + " bytes dropped while waiting for " +
                             Replies(ledger_.Owed()) +
                             " to earlier queries); clear the device or reopen the session");
    }
  }
  return IoResult::Ok();
}

IoResult CIoSession::SettleBeforeWrite() {
  if (transport_->ClearEmptiesOutput()) {
    IoResult r = transport_->Clear();
    if (r.ok()) ledger_.Forget();
    return r;
  }
  if (!CountsReplies()) {
    ledger_.Forget();  // nothing marks where a reply ends: there is nothing to count
    return IoResult::Ok();
  }
  // The first command after a give-up waits for what is owed; later ones take only what has
  // arrived, and a reply still on its way is dropped when it comes.
  const auto deadline = ledger_.TakeWaitDue()
                            ? Clock::now() + std::chrono::milliseconds(transport_->Timeout())
                            : Clock::now();
  std::size_t skipped = 0;
  IoResult r = SkipOwed(deadline, skipped);
  return r.code == IoCode::Timeout ? IoResult::Ok() : r;
}

HRESULT CIoSession::Resynchronize() {
  if (!transport_) return S_OK;
  ledger_.AbandonAll();
  if (ledger_.Owed() == 0) return S_OK;
  ClearErrorState();
  IoResult r;
  if (transport_->ClearEmptiesOutput()) {
    r = transport_->Clear();
  } else if (CountsReplies()) {
    std::size_t skipped = 0;
    r = SkipOwed(Clock::now() + std::chrono::milliseconds(GetTimeout()), skipped);
    if (r.code == IoCode::Timeout) r = IoResult::Ok();  // what did not come is taken as lost
  }
  ledger_.Forget();
  return r.ok() ? S_OK : Report(r);
}

void CIoSession::ClearErrorState() {
  if (buffer_) {
    buffer_->DiscardWrite();
    buffer_->ResetRead();
  }
  lastStatus_ = 0;
}

// --- low level ---

IoResult CIoSession::NotOpen() const {
  return IoResult::Error(simulate_ ? "no I/O reaches a device while simulating"
                                   : "the I/O session is not open");
}

IoResult CIoSession::WriteRaw(const char* data, std::size_t size, bool end,
                              std::size_t& written) {
  written = 0;
  IoResult r = !transport_ ? NotOpen() : ledger_.Owed() > 0 ? SettleBeforeWrite() : IoResult::Ok();
  if (r.ok()) {
    r = transport_->Write(data, size, end, written);
    ledger_.OnWritten(data, written, end && written == size);
  }
  lastStatus_ = StatusOf(r);
  return r;
}

IoResult CIoSession::ReadRaw(char* buffer, std::size_t max, std::size_t& got,
                             std::int32_t& status) {
  got = 0;
  status = 0;
  if (!transport_) {
    IoResult r = NotOpen();
    lastStatus_ = StatusOf(r);
    return r;
  }
  ReadEnd why = ReadEnd::End;
  IoResult r;
  const std::uint32_t owedBefore = ledger_.Owed();
  bool droppedAllOwed = false;
  if (owedBefore == 0) {
    r = transport_->Read(buffer, max, got, why);
  } else if (transport_->ClearEmptiesOutput()) {
    r = transport_->Clear();
    if (r.ok()) {
      ledger_.Forget();
      r = transport_->Read(buffer, max, got, why);
    }
  } else if (CountsReplies()) {
    // Late replies and this read share one timeout.
    const auto deadline = Clock::now() + std::chrono::milliseconds(transport_->Timeout());
    std::size_t skipped = 0;
    ledger_.TakeWaitDue();
    r = SkipOwed(deadline, skipped);
    droppedAllOwed = r.ok();
    if (r.ok()) {
      CTimeoutOverride limit(*transport_, MsLeft(deadline));
      r = transport_->Read(buffer, max, got, why);
    }
  } else {
    ledger_.Forget();
    r = transport_->Read(buffer, max, got, why);
  }
  if (r.ok()) {
    if (why == ReadEnd::Count) {
      status = kReadStatusMaxCount;
      if (got > 0) ledger_.OnPartial();
    } else {
      ledger_.OnResponseEnded();
    }
  } else if (droppedAllOwed && r.code == IoCode::Timeout) {
    // The line dropped as owed was most likely this query's own reply, the earlier query
    // having never been answered: start afresh rather than wait for a reply that never comes.
    ledger_.Forget();
    r.message += " (first dropped " + Replies(owedBefore) +
                 " to earlier queries; the next call starts afresh)";
  } else {
    if (got > 0) ledger_.OnPartial();
    ledger_.OnAbandoned();
  }
  lastStatus_ = r.ok() ? status : StatusOf(r);
  return r;
}

HRESULT CIoSession::LowLevelWriteNoPoll(const char* data, std::size_t size,
                                        std::size_t& written, bool end) {
  written = 0;
  if (data == nullptr && size > 0)
    return ReportInvalidArgument("LowLevelWriteNoPoll: the data buffer is null.");
  IoResult r = WriteRaw(data, size, end, written);
  return r.ok() ? S_OK : Report(r);
}

HRESULT CIoSession::LowLevelReadNoPoll(char* buffer, std::size_t max, std::size_t& got,
                                       std::int32_t& status) {
  got = 0;
  status = 0;
  if (buffer == nullptr && max > 0)
    return ReportInvalidArgument("LowLevelReadNoPoll: the data buffer is null.");
  IoResult r = ReadRaw(buffer, max, got, status);
  return r.ok() ? S_OK : Report(r);
}

HRESULT CIoSession::LowLevelWriteStringNoPoll(std::string_view text) {
  std::size_t written = 0;
  IoResult r = WriteRaw(text.data(), text.size(), true, written);
  if (!r.ok()) return Report(r);
  if (written < text.size()) {
    return ReportError("LowLevelWriteStringNoPoll sent only " + std::to_string(written) +
                       " of " + std::to_string(text.size()) + " bytes to the device");
  }
  return S_OK;
}

HRESULT CIoSession::LowLevelReadStringNoPoll(std::size_t max, std::string& out,
                                             std::int32_t& status) {
  // Bounded so that a careless count cannot ask for unbounded memory; a longer response
  // comes with kReadStatusMaxCount and is read on.
  max = std::min(max, static_cast<std::size_t>(CInstrBuffer::kMaxCapacity));
  out.assign(max, '\0');
  std::size_t got = 0;
  IoResult r = ReadRaw(out.data(), max, got, status);
  out.resize(got);
  return r.ok() ? S_OK : Report(r);
}

// --- session info ---

int CIoSession::GetTimeout() const { return transport_ ? transport_->Timeout() : timeoutMs_; }

void CIoSession::SetTimeout(int milliseconds) {
  timeoutMs_ = std::max(0, milliseconds);
  if (transport_) transport_->SetTimeout(timeoutMs_);
}

char CIoSession::GetTerminationCharacter() const {
  return transport_ ? transport_->TermChar() : '\n';
}

bool CIoSession::GetTerminationCharacterEnabled() const {
  return transport_ ? transport_->TermCharEnabled() : FactsOf(resource_).lineFeedTerminated;
}

InterfaceType CIoSession::GetInterfaceType() const {
  return transport_ ? transport_->Interface() : FactsOf(resource_).type;
}

int CIoSession::GetInterfaceNumber() const {
  return transport_ ? transport_->InterfaceNumber() : FactsOf(resource_).board;
}

std::string CIoSession::GetResourceClass() const {
  return transport_ ? transport_->ResourceClass() : FactsOf(resource_).resourceClass;
}

// --- device control ---

HRESULT CIoSession::ReadStatusByte(std::uint8_t* stb) {
  if (stb == nullptr) return reporter_.ReportNullPointer("ReadStatusBte", "StatusByte");
  if (!transport_) return Report(NotOpen());
  std::uint8_t value = 0;
  IoResult r = transport_->ReadStatusByte(value);
  if (!r.ok()) return Report(r);
  lastStatus_ = 0;
  *stb = value;
  return S_OK;
}

HRESULT CIoSession::Clear() {
  if (!transport_) return Report(NotOpen());
  // On a stream link the clear only drops what has arrived: replies still owed are waited
  // for first, so that none of them turns up after the clear.
  if (!transport_->ClearEmptiesOutput()) {
    HRESULT hr = Resynchronize();
    if (Failed(hr)) return hr;
  }
  ClearErrorState();
  IoResult r = transport_->Clear();
  lastStatus_ = StatusOf(r);
  if (r.ok()) ledger_.Forget();
  return r.ok() ? S_OK : Report(r);
}

HRESULT CIoSession::Lock(int timeoutMs) {
  if (!transport_) return Report(NotOpen());
  IoResult r = transport_->Lock(timeoutMs);
  return r.ok() ? S_OK : Report(r);
}

HRESULT CIoSession::Unlock() {
  if (!transport_) return Report(NotOpen());
  IoResult r = transport_->Unlock();
  return r.ok() ? S_OK : Report(r);
}

HRESULT ReportOpenFailure(const CErrorReporter& reporter, std::string_view resource,
                          std::string_view reason) {
  std::string extra = "Resource descriptor = " + std::string(resource) + ".";
  if (!reason.empty()) {
    extra += " Cause: " + std::string(reason);
    if (reason.back() != '.') extra += '.';
  }
  return reporter.ReportIoError("Failed to open VISA resource.", extra);
}

}  // namespace veqdx::io
