// The formatted engine's read and write buffers. Device traffic goes through the owning
// session's low-level operations, failures through its reporter.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <new>

#include "io/io_session.h"

namespace veqdx::io {
namespace {

std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string Format(const char* format, ...) {
  char text[256];
  va_list args;
  va_start(args, format);
  std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  return text;
}

// Allocated whole and zero-filled; nullptr when the system refuses.
std::unique_ptr<char[]> Allocate(std::int32_t capacity) {
  if (capacity <= 0 || capacity > CInstrBuffer::kMaxCapacity) return nullptr;
  return std::unique_ptr<char[]>(new (std::nothrow) char[static_cast<std::size_t>(capacity)]());
}

}  // namespace

CInstrBuffer::CInstrBuffer(CIoSession& owner) : owner_(owner) {}
CInstrBuffer::~CInstrBuffer() = default;

HRESULT CInstrBuffer::Create() {
  readBuf_ = Allocate(kDefaultCapacity);
  if (!readBuf_) {
    return owner_.ReportError(Format(
        "Couldn't allocate formatted I/O read buffer with a capacity of %d bytes.",
        kDefaultCapacity));
  }
  readCapacity_ = kDefaultCapacity;
  ResetRead();
  writeBuf_ = Allocate(kDefaultCapacity);
  if (!writeBuf_) {
    return owner_.ReportError(Format(
        "Couldn't allocate formatted I/O write buffer with a capacity of %d bytes.",
        kDefaultCapacity));
  }
  writeCapacity_ = kDefaultCapacity;
  writeCount_ = 0;
  return S_OK;
}

HRESULT CInstrBuffer::ResizeWriteBuffer(std::int32_t capacity) {
  if (capacity <= 0 || capacity < writeCount_)
    return owner_.Reporter().ReportInvalidValue("ResizeWriteBuffer", "capacity", capacity);
  auto fresh = Allocate(capacity);
  if (!fresh) {
    return owner_.ReportError(Format(
        "Couldn't allocate formatted I/O write buffer with a capacity of %d bytes.", capacity));
  }
  if (writeCount_ > 0) std::memcpy(fresh.get(), writeBuf_.get(), writeCount_);
  writeBuf_ = std::move(fresh);
  writeCapacity_ = capacity;
  return S_OK;
}

// --- read side ---

HRESULT CInstrBuffer::Refill() {
  canPushBack_ = false;  // the byte before the read position is overwritten
  readPos_ = readCount_ = 0;
  if (!responseStarted_) {
    responseBytes_ = 0;
    responseDeadline_ = Clock::now() + std::chrono::milliseconds(owner_.GetTimeout());
  }
  std::size_t got = 0;
  std::int32_t status = 0;
  HRESULT hr = owner_.LowLevelReadNoPoll(readBuf_.get(), static_cast<std::size_t>(readCapacity_),
                                         got, status);
  if (Failed(hr)) {
    // The response is lost; later reads of it see its end instead of waiting again.
    readEnded_ = true;
    responseStarted_ = true;
    return hr;
  }
  responseStarted_ = true;
  readCount_ = static_cast<std::int32_t>(got);
  readEnded_ = status != kReadStatusMaxCount;
  if (got == 0 && !readEnded_) {
    readEnded_ = true;
    return owner_.ReportError("The device stopped a read at its count without sending data.");
  }
  return readEnded_ ? S_OK : Account(got);
}

HRESULT CInstrBuffer::Account(std::size_t got) {
  responseBytes_ += got;
  const bool tooLong = responseBytes_ >= kMaxResponseBytes;
  if (!tooLong && Clock::now() <= responseDeadline_) return S_OK;
  owner_.AbandonResponse();
  readPos_ = readCount_ = 0;
  readEnded_ = true;  // later reads of this response see its end instead of waiting again
  const std::string limit = tooLong ? "after " + std::to_string(responseBytes_) + " bytes"
                                    : "within " + std::to_string(owner_.GetTimeout()) + " ms";
  return owner_.ReportError("The reply from " + owner_.ResourceDescriptor() + " did not end " +
                            limit + "; it was cut off and the rest will be dropped");
}

// Makes a byte available at the read position unless the response has ended.
HRESULT CInstrBuffer::Fill() {
  while (readPos_ >= readCount_ && !readEnded_) {
    HRESULT hr = Refill();
    if (Failed(hr)) return hr;
  }
  return S_OK;
}

HRESULT CInstrBuffer::ReadChar(int& c) {
  c = kEndOfResponse;
  if (!readBuf_) return owner_.ReportError("");
  HRESULT hr = Fill();
  if (Failed(hr)) return hr;
  if (readPos_ >= readCount_) {
    atEnd_ = true;
    return S_OK;
  }
  c = static_cast<unsigned char>(readBuf_[readPos_++]);
  hasBeenRead_ = true;
  canPushBack_ = true;
  atEnd_ = false;
  return S_OK;
}

HRESULT CInstrBuffer::PeekChar(int& c) {
  c = kEndOfResponse;
  if (!readBuf_) return owner_.ReportError("");
  HRESULT hr = Fill();
  if (Failed(hr)) return hr;
  if (readPos_ < readCount_) c = static_cast<unsigned char>(readBuf_[readPos_]);
  return S_OK;
}

HRESULT CInstrBuffer::PushBack() {
  // Pushing back the end of the response changes nothing, as ungetc(EOF) does.
  if (atEnd_) return S_OK;
  if (!hasBeenRead_ || !canPushBack_ || readPos_ == 0) {
    return owner_.ReportError(
        "Can't push character back into read buffer.  Buffer has not been read from.");
  }
  --readPos_;
  canPushBack_ = false;
  return S_OK;
}

HRESULT CInstrBuffer::Read(char* dst, std::size_t n, std::size_t& got) {
  got = 0;
  if (n > 0 && dst == nullptr)
    return owner_.ReportError("Failed copying data from formatted I/O read buffer to user buffer.");
  if (!readBuf_) return owner_.ReportError("");
  while (got < n) {
    HRESULT hr = Fill();
    if (Failed(hr)) return hr;
    if (readPos_ >= readCount_) break;
    std::size_t take = std::min(n - got, static_cast<std::size_t>(readCount_ - readPos_));
    std::memcpy(dst + got, readBuf_.get() + readPos_, take);
    readPos_ += static_cast<std::int32_t>(take);
    got += take;
    hasBeenRead_ = true;
    canPushBack_ = true;
  }
  atEnd_ = got < n;
  return S_OK;
}

bool CInstrBuffer::ResponseComplete() const { return readEnded_ && readPos_ >= readCount_; }

HRESULT CInstrBuffer::DiscardPending() {
  if (!readBuf_) return owner_.ReportError("");
  if (!readEnded_) {
    if (!responseStarted_) {
      responseBytes_ = 0;
      responseDeadline_ = Clock::now() + std::chrono::milliseconds(owner_.GetTimeout());
    }
    char chunk[kDiscardChunk];
    for (;;) {
      std::size_t got = 0;
      std::int32_t status = 0;
      IoResult r = owner_.ReadRaw(chunk, sizeof chunk, got, status);
      if (r.code == IoCode::Timeout) break;  // nothing more was waiting
      if (!r.ok()) {
        ResetRead();
        return owner_.Report(r);
      }
      if (status != kReadStatusMaxCount) break;
      HRESULT hr = Account(got);
      if (Failed(hr)) {
        ResetRead();
        return hr;
      }
    }
  }
  std::memset(readBuf_.get(), 0, static_cast<std::size_t>(readCapacity_));
  ResetRead();
  return S_OK;
}

HRESULT CInstrBuffer::FinishRead() {
  if (responseStarted_ && !readEnded_) return DiscardPending();
  ResetRead();
  return S_OK;
}

void CInstrBuffer::ResetRead() {
  readCount_ = readPos_ = 0;
  readEnded_ = false;
  responseStarted_ = false;
  canPushBack_ = false;
  atEnd_ = false;
}

// --- write side ---

HRESULT CInstrBuffer::Write(const char* src, std::size_t n) {
  if (n > 0 && src == nullptr)
    return owner_.ReportError("Failed copying data from user buffer to formatted I/O write buffer.");
  if (!writeBuf_) return owner_.ReportError("");
  while (n > 0) {
    if (writeCount_ == writeCapacity_) {
      HRESULT hr = Flush(false);
      if (Failed(hr)) return hr;
    }
    std::size_t take = std::min(n, static_cast<std::size_t>(writeCapacity_ - writeCount_));
    std::memcpy(writeBuf_.get() + writeCount_, src, take);
    writeCount_ += static_cast<std::int32_t>(take);
    src += take;
    n -= take;
  }
  return S_OK;
}

HRESULT CInstrBuffer::Flush(bool end) {
  if (writeCount_ == 0) return S_OK;
  const std::int32_t waiting = writeCount_;
  writeCount_ = 0;  // sent or not, the bytes leave the buffer
  std::size_t written = 0;
  HRESULT hr = owner_.LowLevelWriteNoPoll(writeBuf_.get(), static_cast<std::size_t>(waiting),
                                          written, end);
  if (Failed(hr)) return hr;
  if (written < static_cast<std::size_t>(waiting)) {
    return owner_.ReportError(Format(
        "Flush of formatted I/O write buffer only successfully sent %d of %d bytes to the "
        "device.",
        static_cast<int>(written), static_cast<int>(waiting)));
  }
  return S_OK;
}

}  // namespace veqdx::io
