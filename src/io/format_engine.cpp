#include "io/format_engine.h"

#include "base/error_reporter.h"
#include "io/io_session.h"

namespace veqdx::io {
namespace {

// Reports through the session's reporter so the record gets the reporter's source, help
// file and the interface of the call in progress, then turns it into the given status:
// argument errors and internal failures are not I/O errors.
HRESULT ReportAs(const CIoSession& session, HRESULT hr, std::string_view kind,
                 std::string_view what) {
  std::string text(kind);
  text += what;
  if (text.empty() || text.back() != '.') text += '.';
  session.Reporter().ReportError(msg::IoGeneral, {}, {text});
  ErrorRecord& rec = ThreadErrorRecord();
  rec.hr = hr;
  rec.description = "VelmoraQdx: " + text;
  rec.helpContext = 0;
  return hr;
}

const char* ElemName(ArgElem e) {
  switch (e) {
    case ArgElem::I8: return "8-bit signed integer";
    case ArgElem::U8: return "8-bit unsigned integer";
    case ArgElem::I16: return "16-bit signed integer";
    case ArgElem::U16: return "16-bit unsigned integer";
    case ArgElem::I32: return "32-bit signed integer";
    case ArgElem::U32: return "32-bit unsigned integer";
    case ArgElem::I64: return "64-bit signed integer";
    case ArgElem::U64: return "64-bit unsigned integer";
    case ArgElem::F32: return "float";
    case ArgElem::F64: return "double";
    case ArgElem::F80: return "long double";
    case ArgElem::Char: return "char";
    case ArgElem::Byte: return "std::byte";
    case ArgElem::CStr: return "character string";
    case ArgElem::String: return "std::string";
    case ArgElem::View: return "std::string_view";
    case ArgElem::Counted: return "CountedString";
    case ArgElem::None: break;
  }
  return "unsupported type";
}

}  // namespace

std::string DescribeArg(const FormatArg& arg) {
  const std::string elem = ElemName(arg.elem);
  switch (arg.shape) {
    case ArgShape::Value: return "a " + elem;
    case ArgShape::Array: return "an array of " + elem;
    case ArgShape::Out: return "a pointer to " + elem;
    case ArgShape::OutArray: return "a writable array of " + elem;
    case ArgShape::Null: return "a null pointer";
  }
  return "an unknown argument";
}

HRESULT EngineServices::InvalidArgument(std::string_view what) const {
  return ReportAs(session, E_INVALIDARG, "Invalid argument: ", what);
}

HRESULT EngineServices::Unexpected(std::string_view what) const {
  return ReportAs(session, E_UNEXPECTED, "Unexpected failure: ", what);
}

HRESULT EngineServices::Failure(std::string_view text) const { return session.ReportError(text); }

HRESULT EngineServices::WrongArgument(const ParsedFormat& format, const FormatItem& item,
                                      std::size_t index, const FormatArg& arg,
                                      std::string_view expected) const {
  std::string what = "argument " + std::to_string(index + 1) + " of format \"" + format.source +
                     "\" is " + DescribeArg(arg) + " but item \"" + item.text + "\" expects " +
                     std::string(expected);
  return InvalidArgument(what);
}

std::size_t ElemSize(ArgElem elem) {
  switch (elem) {
    case ArgElem::I8: case ArgElem::U8: case ArgElem::Char: case ArgElem::Byte: return 1;
    case ArgElem::I16: case ArgElem::U16: return 2;
    case ArgElem::I32: case ArgElem::U32: case ArgElem::F32: return 4;
    case ArgElem::I64: case ArgElem::U64: case ArgElem::F64: return 8;
    case ArgElem::F80: return sizeof(long double);
    case ArgElem::CStr: return sizeof(const char*);
    case ArgElem::String: return sizeof(std::string);
    case ArgElem::View: return sizeof(std::string_view);
    case ArgElem::Counted: return sizeof(CountedString);
    case ArgElem::None: break;
  }
  return 0;
}

bool IsIntegerElem(ArgElem e) {
  return (e >= ArgElem::I8 && e <= ArgElem::U64) || e == ArgElem::Char;
}
bool IsRealElem(ArgElem e) { return e >= ArgElem::F32 && e <= ArgElem::F80; }
bool IsStringElem(ArgElem e) { return e >= ArgElem::CStr && e <= ArgElem::Counted; }

}  // namespace veqdx::io
