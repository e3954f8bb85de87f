// CFormattedIo: the printf/scanf-like engine through which every command of the driver is
// written and every reply parsed.
//
// The format language is printf/scanf extended for instruments: IEEE 488.2 number forms
// ("%@1d", "%@3lg", "%@Hd"), lists with chosen separators ("%,d", "%(;,)#d"), definite-length
// binary blocks ("%hb", "%3Zb"), raw binary ("%!oly"), quoted strings ("%Qs"), and enumeration
// values written and read as instrument keywords ("%{VARIANT_BOOL}s").
//
// Arguments are checked against the format: writes take values, reads take pointers or
// std::span views (see format_args.h); a missing, surplus or wrongly typed argument is an
// invalid-argument error (E_INVALIDARG) before anything is stored.
//
// Numbers are always written and read with a period as decimal separator, whatever the
// process locale. Formats are tokenized once per process and cached.
#pragma once
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "base/hresult.h"
#include "io/enum_formatter.h"
#include "io/format_args.h"

namespace veqdx::io {

class CIoSession;
class CInstrBuffer;
struct ParsedFormat;

class CFormattedIo {
 public:
  explicit CFormattedIo(CIoSession& session);
  ~CFormattedIo();
  CFormattedIo(const CFormattedIo&) = delete;
  CFormattedIo& operator=(const CFormattedIo&) = delete;

  // Formats into the write buffer, flushes it with END, then runs the session's poll.
  template <class... A>
  HRESULT Printf(const char* format, const A&... args) {
    const std::array<FormatArg, sizeof...(A)> list{MakeWriteArg(args)...};
    return PrintfArgs(format, list, true);
  }
  // Formats into the write buffer only; a later flush or Printf sends it.
  template <class... A>
  HRESULT PrintfNoFlush(const char* format, const A&... args) {
    const std::array<FormatArg, sizeof...(A)> list{MakeWriteArg(args)...};
    return PrintfArgs(format, list, false);
  }
  // Formats into `out` (replacing its content); no I/O, no session buffer needed.
  template <class... A>
  HRESULT Sprintf(std::string& out, const char* format, const A&... args) {
    const std::array<FormatArg, sizeof...(A)> list{MakeWriteArg(args)...};
    return SprintfArgs(out, format, list);
  }
  // Writes already formatted text, flushes with END, polls.
  HRESULT WriteString(std::string_view text);

  // Parses the current response, then discards what the format did not consume, then polls.
  template <class... A>
  HRESULT Scanf(const char* format, const A&... dest) {
    const std::array<FormatArg, sizeof...(A)> list{MakeReadArg(dest)...};
    return ScanfArgs(format, list);
  }
  // Writes `command` (plain text, not a format) with END and no poll, then Scanf.
  template <class... A>
  HRESULT QueryString(std::string_view command, const char* readFormat, const A&... dest) {
    const std::array<FormatArg, sizeof...(A)> list{MakeReadArg(dest)...};
    return QueryArgs(command, readFormat, list);
  }
  // Parses `input` as if it were a complete response; no I/O, no poll.
  template <class... A>
  HRESULT Sscanf(std::string_view input, const char* format, const A&... dest) {
    const std::array<FormatArg, sizeof...(A)> list{MakeReadArg(dest)...};
    return SscanfArgs(input, format, list);
  }

  // std::string formats, for callers that build them at run time.
  template <class... A>
  HRESULT Printf(const std::string& format, const A&... args) {
    return Printf(format.c_str(), args...);
  }
  template <class... A>
  HRESULT Scanf(const std::string& format, const A&... dest) {
    return Scanf(format.c_str(), dest...);
  }

  // The driver's keyword converters; nullptr: every enum item fails as an unknown name.
  void SetEnumFormatter(IEnumFormatter* formatter) { enums_ = formatter; }
  IEnumFormatter* EnumFormatter() const { return enums_; }

  // Byte order of multi-byte binary block and raw ("%y" without "!ob"/"!ol") elements.
  // IEEE 488.2 blocks are big-endian on the wire, so the default is to swap on a
  // little-endian host (true here) and not to swap on a big-endian one.
  void SetByteSwap(bool swap) { byteSwap_ = swap; }
  bool ByteSwap() const { return byteSwap_; }
  static bool DefaultByteSwap();

  // Type-erased entry points behind the templates above.
  HRESULT PrintfArgs(const char* format, std::span<const FormatArg> args, bool flush);
  HRESULT SprintfArgs(std::string& out, const char* format, std::span<const FormatArg> args);
  HRESULT ScanfArgs(const char* format, std::span<const FormatArg> args);
  HRESULT QueryArgs(std::string_view command, const char* readFormat,
                    std::span<const FormatArg> args);
  HRESULT SscanfArgs(std::string_view input, const char* format,
                     std::span<const FormatArg> args);

 private:
  HRESULT NoBuffer() const;
  HRESULT Format(std::string& out, const char* format, std::span<const FormatArg> args);
  HRESULT ReadResponse(CInstrBuffer& buffer, const char* format,
                       std::span<const FormatArg> args);

  CIoSession& session_;
  IEnumFormatter* enums_ = nullptr;
  bool byteSwap_;
};

}  // namespace veqdx::io
