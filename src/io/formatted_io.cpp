#include "io/formatted_io.h"

#include <bit>
#include <new>

#include "io/format_engine.h"
#include "io/io_session.h"

namespace veqdx::io {
namespace {

// Formatting goes to a per-thread string whose capacity is kept between calls, so a
// command costs no allocation. A nested use on the same thread (an enum formatter that
// formats) gets a fresh string instead.
class Scratch {
 public:
  Scratch() {
    if (!tBusy) {
      tBusy = true;
      owner_ = true;
      text_ = &tText;
      text_->clear();
    } else {
      text_ = &local_;
    }
  }
  ~Scratch() {
    if (owner_) {
      if (tText.capacity() > kKeep) std::string().swap(tText);  // do not pin a huge block
      tBusy = false;
    }
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;
  std::string& Text() { return *text_; }

 private:
  static constexpr std::size_t kKeep = 64 * 1024;
  static thread_local std::string tText;
  static thread_local bool tBusy;
  std::string* text_;
  std::string local_;
  bool owner_ = false;
};
thread_local std::string Scratch::tText;
thread_local bool Scratch::tBusy = false;

}  // namespace

CFormattedIo::CFormattedIo(CIoSession& session)
    : session_(session), byteSwap_(DefaultByteSwap()) {}

CFormattedIo::~CFormattedIo() = default;

bool CFormattedIo::DefaultByteSwap() { return std::endian::native == std::endian::little; }

HRESULT CFormattedIo::NoBuffer() const {
  // Never opened, or simulating: nothing reaches a device.
  return session_.ReportError({});
}

HRESULT CFormattedIo::Format(std::string& out, const char* format,
                             std::span<const FormatArg> args) {
  const EngineServices services{session_, enums_, byteSwap_};
  if (format == nullptr) return services.InvalidArgument("the format is a null pointer");
  try {
    const FormatHandle parsed = GetWriteFormat(format);
    if (!parsed->error.empty()) {
      return services.InvalidArgument("write format \"" + parsed->source + "\": " +
                                      parsed->error);
    }
    if (args.size() != parsed->argCount) {
      return services.InvalidArgument(
          "write format \"" + parsed->source + "\" takes " + std::to_string(parsed->argCount) +
          " argument(s) but " + std::to_string(args.size()) + " were passed");
    }
    return WriteFormatted(*parsed, args, services, out);
  } catch (const std::bad_alloc&) {
    return session_.ReportError("Couldn't allocate temporary buffer.");
  }
}

HRESULT CFormattedIo::PrintfArgs(const char* format, std::span<const FormatArg> args,
                                 bool flush) {
  CInstrBuffer* buffer = session_.Buffer();
  if (buffer == nullptr) return NoBuffer();
  Scratch scratch;
  std::string& text = scratch.Text();
  const HRESULT hr = Format(text, format, args);
  if (Failed(hr) && flush) {
    // A half-formatted command must not reach the device with the next flush.
    buffer->DiscardWrite();
    return hr;
  }
  // Without the flush, what was formatted before a failing item stays in the buffer.
  if (!text.empty()) {
    const HRESULT written = buffer->Write(text);
    if (Failed(written)) return written;
  }
  if (Failed(hr) || !flush) return hr;
  const HRESULT flushed = buffer->Flush(true);
  if (Failed(flushed)) return flushed;
  return session_.Poll();
}

HRESULT CFormattedIo::SprintfArgs(std::string& out, const char* format,
                                  std::span<const FormatArg> args) {
  out.clear();
  return Format(out, format, args);
}

HRESULT CFormattedIo::WriteString(std::string_view text) {
  CInstrBuffer* buffer = session_.Buffer();
  if (buffer == nullptr) return NoBuffer();
  HRESULT hr = buffer->Write(text);
  if (Failed(hr)) {
    buffer->DiscardWrite();
    return hr;
  }
  if (Failed(hr = buffer->Flush(true))) return hr;
  return session_.Poll();
}

HRESULT CFormattedIo::ReadResponse(CInstrBuffer& buffer, const char* format,
                                   std::span<const FormatArg> args) {
  const EngineServices services{session_, enums_, byteSwap_};
  HRESULT hr = S_OK;
  bool touched = false;
  try {
    if (format == nullptr) {
      hr = services.InvalidArgument("the read format is a null pointer");
    } else {
      const FormatHandle parsed = GetReadFormat(format);
      if (!parsed->error.empty()) {
        hr = services.InvalidArgument("read format \"" + parsed->source + "\": " +
                                      parsed->error);
      } else if (args.size() != parsed->argCount) {
        hr = services.InvalidArgument(
            "read format \"" + parsed->source + "\" takes " +
            std::to_string(parsed->argCount) + " argument(s) but " +
            std::to_string(args.size()) + " were passed");
      } else {
        hr = ReadFormattedFromBuffer(buffer, *parsed, args, services, touched);
      }
    }
  } catch (const std::bad_alloc&) {
    hr = session_.ReportError("Could not allocate BSTR memory for Read.");
  }
  // The rest of the response goes in every case (also after a failure), so that the next
  // query does not read this one's leftovers. A read that failed before taking anything
  // (a caller's mistake) still drops the reply the device has for it.
  const HRESULT finished =
      Failed(hr) && !touched ? buffer.DiscardPending() : buffer.FinishRead();
  if (Failed(hr)) return hr;
  if (Failed(finished)) return finished;
  return session_.Poll();
}

HRESULT CFormattedIo::ScanfArgs(const char* format, std::span<const FormatArg> args) {
  CInstrBuffer* buffer = session_.Buffer();
  if (buffer == nullptr) return NoBuffer();
  return ReadResponse(*buffer, format, args);
}

HRESULT CFormattedIo::QueryArgs(std::string_view command, const char* readFormat,
                                std::span<const FormatArg> args) {
  CInstrBuffer* buffer = session_.Buffer();
  if (buffer == nullptr) return NoBuffer();
  buffer->ResetRead();  // a new query: nothing of an earlier response may be parsed
  HRESULT hr = buffer->Write(command);
  if (Failed(hr)) {
    buffer->DiscardWrite();
    return hr;
  }
  if (Failed(hr = buffer->Flush(true))) return hr;
  return ReadResponse(*buffer, readFormat, args);
}

HRESULT CFormattedIo::SscanfArgs(std::string_view input, const char* format,
                                 std::span<const FormatArg> args) {
  const EngineServices services{session_, enums_, byteSwap_};
  if (format == nullptr) return services.InvalidArgument("the read format is a null pointer");
  try {
    const FormatHandle parsed = GetReadFormat(format);
    if (!parsed->error.empty()) {
      return services.InvalidArgument("read format \"" + parsed->source + "\": " +
                                      parsed->error);
    }
    if (args.size() != parsed->argCount) {
      return services.InvalidArgument(
          "read format \"" + parsed->source + "\" takes " + std::to_string(parsed->argCount) +
          " argument(s) but " + std::to_string(args.size()) + " were passed");
    }
    return ReadFormattedFromText(input, *parsed, args, services);
  } catch (const std::bad_alloc&) {
    return session_.ReportError("Could not allocate BSTR memory for Read.");
  }
}

}  // namespace veqdx::io
