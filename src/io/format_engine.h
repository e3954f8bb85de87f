// Internals shared by the formatted writer and reader: how they report failures, and the
// two type-erased passes over a tokenized format.
#pragma once
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "base/hresult.h"
#include "io/enum_formatter.h"
#include "io/format_args.h"
#include "io/format_tokens.h"

namespace veqdx::io {

class CIoSession;
class CInstrBuffer;

// What a pass needs from its engine. Failures are reported here and their HRESULT returned.
struct EngineServices {
  const CIoSession& session;
  IEnumFormatter* enums;
  bool byteSwap;

  // A programming error of the caller (bad format, wrong or missing argument): E_INVALIDARG
  // with a description that names the problem.
  HRESULT InvalidArgument(std::string_view what) const;
  // Something that cannot happen unless the engine itself is wrong: E_UNEXPECTED.
  HRESULT Unexpected(std::string_view what) const;
  // A failure text of the I/O layer ("Binary block header not found."): the driver's I/O
  // error with the text as its description.
  HRESULT Failure(std::string_view text) const;
  // "argument 2 (a double) of format ":VOLT %d" does not fit item "%d": expected ..."
  HRESULT WrongArgument(const ParsedFormat& format, const FormatItem& item, std::size_t index,
                        const FormatArg& arg, std::string_view expected) const;
};

// Runs `step` on each item of `format` in order, up to the first failure; what the writer and
// the reader both do with a format.
template <class Step>
HRESULT ForEachItem(const ParsedFormat& format, Step&& step) {
  for (const FormatItem& item : format.items) {
    const HRESULT hr = step(item);
    if (Failed(hr)) return hr;
  }
  return S_OK;
}

// Writes the items of `format` with `args` (count already checked) to the end of `out`.
HRESULT WriteFormatted(const ParsedFormat& format, std::span<const FormatArg> args,
                       const EngineServices& services, std::string& out);

// Parses the response in `buffer` (read further from the device as needed). `touched` tells
// whether the pass read anything at all (a failure before the first read leaves the
// response untouched).
HRESULT ReadFormattedFromBuffer(CInstrBuffer& buffer, const ParsedFormat& format,
                                std::span<const FormatArg> args, const EngineServices& services,
                                bool& touched);
// Parses `input` as a complete response.
HRESULT ReadFormattedFromText(std::string_view input, const ParsedFormat& format,
                              std::span<const FormatArg> args, const EngineServices& services);

// Size in bytes of one element of an argument.
std::size_t ElemSize(ArgElem elem);
bool IsIntegerElem(ArgElem elem);  // I8..U64 and Char
bool IsRealElem(ArgElem elem);
bool IsStringElem(ArgElem elem);

}  // namespace veqdx::io
