// The write pass: one tokenized format plus typed arguments become the bytes of a command.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "io/format_engine.h"
#include "io/format_text.h"

namespace veqdx::io {
namespace {

// Widths and precisions above this are refused: a format cannot make the engine allocate
// gigabytes of padding.
constexpr std::int64_t kMaxFieldSize = 65535;

// An integer argument: its value as the caller's type sees it, and its two's complement bits.
struct IntValue {
  bool isUnsigned = false;
  std::int64_t s = 0;
  std::uint64_t bits = 0;
};

template <class T>
T Load(const void* p) {
  T v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

IntValue LoadInteger(ArgElem e, const void* p) {
  IntValue v;
  switch (e) {
    case ArgElem::I8: v.s = Load<std::int8_t>(p); break;
    case ArgElem::Char: v.s = Load<char>(p); break;
    case ArgElem::I16: v.s = Load<std::int16_t>(p); break;
    case ArgElem::I32: v.s = Load<std::int32_t>(p); break;
    case ArgElem::I64: v.s = Load<std::int64_t>(p); break;
    case ArgElem::U8: v.isUnsigned = true; v.bits = Load<std::uint8_t>(p); break;
    case ArgElem::U16: v.isUnsigned = true; v.bits = Load<std::uint16_t>(p); break;
    case ArgElem::U32: v.isUnsigned = true; v.bits = Load<std::uint32_t>(p); break;
    case ArgElem::U64: v.isUnsigned = true; v.bits = Load<std::uint64_t>(p); break;
    default: break;
  }
  if (v.isUnsigned) {
    v.s = static_cast<std::int64_t>(v.bits);  // only used when it fits
  } else {
    v.bits = static_cast<std::uint64_t>(v.s);
  }
  return v;
}

long double LoadReal(ArgElem e, const void* p) {
  switch (e) {
    case ArgElem::F32: return Load<float>(p);
    case ArgElem::F64: return Load<double>(p);
    case ArgElem::F80: return Load<long double>(p);
    default: return 0;
  }
}

// Text of a string argument; `element` when p points at an array element (a const char*
// element is the pointer stored there, a value argument's ptr is the characters).
bool LoadString(ArgElem e, const void* p, bool element, std::string_view& text) {
  switch (e) {
    case ArgElem::CStr: {
      const char* s = element ? Load<const char*>(p) : static_cast<const char*>(p);
      if (s == nullptr) return false;
      text = s;
      return true;
    }
    case ArgElem::String: text = *static_cast<const std::string*>(p); return true;
    case ArgElem::View: text = *static_cast<const std::string_view*>(p); return true;
    case ArgElem::Counted: text = static_cast<const CountedString*>(p)->View(); return true;
    default: return false;
  }
}

std::uint64_t Magnitude(std::int64_t v) {
  return v < 0 ? static_cast<std::uint64_t>(-(v + 1)) + 1 : static_cast<std::uint64_t>(v);
}

int IntegerBytes(char length) {
  switch (length) {
    case 'b': return 1;
    case 'h': return 2;
    case 'I': return 8;
    default: return 4;
  }
}

std::uint64_t Mask(int bytes) {
  return bytes >= 8 ? ~std::uint64_t{0} : (std::uint64_t{1} << (8 * bytes)) - 1;
}

const char* PrefixOf(char form) { return form == 'H' ? "#H" : form == 'Q' ? "#Q" : "#B"; }
char DigitsConvOf(char form) { return form == 'H' ? 'X' : form == 'Q' ? 'o' : 'b'; }

class Writer {
 public:
  Writer(const ParsedFormat& f, std::span<const FormatArg> args, const EngineServices& s,
         std::string& out)
      : f_(f), args_(args), s_(s), out_(out) {}

  HRESULT Run() {
    return ForEachItem(f_, [this](const FormatItem& it) { return Item(it); });
  }

 private:
  HRESULT Item(const FormatItem& it) {
    const auto kind = static_cast<WriteKind>(it.kind);
    if (kind == WriteKind::Literal) {
      out_ += it.text;
      return S_OK;
    }
    NumberSpec field;
    std::int64_t count = -1;
    HRESULT hr = Resolve(it, field, count);
    if (Failed(hr)) return hr;
    if (it.list && it.badSeparator != 0) {
      return s_.InvalidArgument("list separator '" + std::string(1, it.badSeparator) +
                                "' of item \"" + it.text + "\" is not one of , : ; n r s t");
    }
    current_ = next_;
    const FormatArg& a = args_[next_++];
    switch (kind) {
      case WriteKind::Integer:
      case WriteKind::Real:
      case WriteKind::Char:
      case WriteKind::String:
      case WriteKind::Enum:
        if (a.shape != ArgShape::Value) return Wrong(it, a, Expected(it));
        return Scalar(it, field, a.elem, a.ptr, false);
      case WriteKind::IntegerList:
      case WriteKind::RealList:
      case WriteKind::StringList:
      case WriteKind::EnumList:
        return List(it, field, count, a);
      case WriteKind::Block:
      case WriteKind::BlockLf:
      case WriteKind::Raw:
        return Block(it, count, a);
      case WriteKind::Literal:
        break;
    }
    return s_.Unexpected("unknown format item kind");
  }

  // Stars take their values from the arguments, in the order they stand.
  HRESULT Resolve(const FormatItem& it, NumberSpec& field, std::int64_t& count) {
    field.left = it.left;
    field.plus = it.plus;
    field.space = it.space;
    field.zero = it.zero;
    std::int64_t width = it.width;
    std::int64_t precision = it.precision;
    HRESULT hr = S_OK;
    if (it.widthFrom == NumSource::Star) {
      if (Failed(hr = Star(it, width))) return hr;
      if (width < 0) {  // as printf: a negative star width means left-justified
        field.left = true;
        width = -width;
      }
    }
    if (it.precisionFrom == NumSource::Star) {
      if (Failed(hr = Star(it, precision))) return hr;
      if (precision < 0) precision = -1;
    }
    count = it.count;
    if (it.countFrom == NumSource::Star) {
      if (Failed(hr = Star(it, count))) return hr;
      if (count < 0) count = -1;
    }
    if (width > kMaxFieldSize || precision > kMaxFieldSize) {
      return s_.InvalidArgument("width or precision of item \"" + it.text + "\" exceeds " +
                                std::to_string(kMaxFieldSize));
    }
    field.width = static_cast<int>(width);
    field.precision = static_cast<int>(precision);
    return S_OK;
  }

  HRESULT Star(const FormatItem& it, std::int64_t& value) {
    current_ = next_;
    const FormatArg& a = args_[next_++];
    if (a.shape != ArgShape::Value || !IsIntegerElem(a.elem) || ElemSize(a.elem) > 4 ||
        a.elem == ArgElem::U32) {
      return Wrong(it, a, "a 32-bit signed integer for its '*'");
    }
    value = LoadInteger(a.elem, a.ptr).s;
    return S_OK;
  }

  HRESULT Wrong(const FormatItem& it, const FormatArg& a, std::string_view expected) {
    return s_.WrongArgument(f_, it, current_, a, expected);
  }

  static std::string Expected(const FormatItem& it) {
    switch (static_cast<WriteKind>(it.kind)) {
      case WriteKind::Integer:
      case WriteKind::IntegerList:
        return "an integer of at most " + std::to_string(8 * IntegerBytes(it.length)) + " bits";
      case WriteKind::Real:
      case WriteKind::RealList:
        return it.length == 'L' ? "a floating-point value" : "a float or double";
      case WriteKind::Char: return "a character or an integer of at most 32 bits";
      case WriteKind::String:
      case WriteKind::StringList: return "a string";
      case WriteKind::Enum:
      case WriteKind::EnumList:
        return it.enumName == "VARIANT_BOOL" ? "a VARIANT_BOOL (16-bit integer)"
                                             : "an enum value (integer of at most 32 bits)";
      default: return "an array";
    }
  }

  // One value of an item (a scalar argument or one element of a list).
  HRESULT Scalar(const FormatItem& it, const NumberSpec& field, ArgElem e, const void* p,
                 bool element) {
    switch (static_cast<WriteKind>(it.kind)) {
      case WriteKind::Integer:
      case WriteKind::IntegerList: {
        const int bytes = IntegerBytes(it.length);
        if (!IsIntegerElem(e) || ElemSize(e) > static_cast<std::size_t>(bytes)) {
          return WrongElem(it, element, Expected(it));
        }
        return Integer(it, field, LoadInteger(e, p), bytes);
      }
      case WriteKind::Real:
      case WriteKind::RealList:
        if (!IsRealElem(e) || (e == ArgElem::F80 && it.length != 'L')) {
          return WrongElem(it, element, Expected(it));
        }
        return Real(it, field, LoadReal(e, p));
      case WriteKind::Char: {
        if (!IsIntegerElem(e) || ElemSize(e) > 4) return WrongElem(it, element, Expected(it));
        const char c = static_cast<char>(LoadInteger(e, p).bits & 0xFF);
        AppendPadded(out_, field, std::string_view(&c, 1));
        return S_OK;
      }
      case WriteKind::String:
      case WriteKind::StringList: {
        std::string_view text;
        if (!IsStringElem(e)) return WrongElem(it, element, Expected(it));
        if (!LoadString(e, p, element, text)) {
          return s_.InvalidArgument("null string passed for item \"" + it.text +
                                    "\" of format \"" + f_.source + "\"");
        }
        return Text(it, field, text);
      }
      case WriteKind::Enum:
      case WriteKind::EnumList: {
        const bool isBool = it.enumName == "VARIANT_BOOL";
        if (!IsIntegerElem(e) || ElemSize(e) > (isBool ? 2u : 4u)) {
          return WrongElem(it, element, Expected(it));
        }
        return Enum(it, field, static_cast<std::int32_t>(LoadInteger(e, p).s));
      }
      default:
        return s_.Unexpected("scalar of a non-scalar item");
    }
  }

  HRESULT WrongElem(const FormatItem& it, bool element, const std::string& expected) {
    const FormatArg& a = args_[current_];
    return Wrong(it, a, element ? "an array of " + expected.substr(expected.find(' ') + 1)
                                : expected);
  }

  HRESULT Integer(const FormatItem& it, const NumberSpec& field, const IntValue& v, int bytes) {
    const std::uint64_t mask = Mask(bytes);
    const bool negative = !v.isUnsigned && v.s < 0;
    switch (it.form) {
      case 0:
        if (it.conv == 'd' || it.conv == 'i') {
          AppendInteger(out_, field, 'd', negative ? Magnitude(v.s) : v.bits, negative);
        } else {
          AppendInteger(out_, field, it.conv, v.bits & mask, false);
        }
        return S_OK;
      case '1': {
        // NR1 writes the value plus one half, truncated toward zero: for integers a negative
        // value comes out one greater (-3 -> -2). Kept deliberately.
        if (!negative) {
          AppendInteger(out_, field, 'd', v.bits, false);
        } else {
          const std::int64_t r = v.s + 1;
          AppendInteger(out_, field, 'd', Magnitude(r), r < 0);
        }
        return S_OK;
      }
      case '2':
      case '3':
        AppendReal(out_, field, it.form == '2' ? 'f' : 'E',
                   v.isUnsigned ? static_cast<double>(v.bits) : static_cast<double>(v.s));
        return S_OK;
      default: {  // 'H' 'Q' 'B' of the same rounded value
        const std::uint64_t rounded = negative ? static_cast<std::uint64_t>(v.s + 1) : v.bits;
        AppendPrefixed(out_, field, PrefixOf(it.form), DigitsConvOf(it.form), rounded & mask);
        return S_OK;
      }
    }
  }

  HRESULT Real(const FormatItem& it, const NumberSpec& field, long double value) {
    const bool isLong = it.length == 'L';
    switch (it.form) {
      case 0:
        if (isLong) AppendReal(out_, field, it.conv, value);
        else AppendReal(out_, field, it.conv, static_cast<double>(value));
        return S_OK;
      case '2':
      case '3':
        AppendReal(out_, field, it.form == '2' ? 'f' : 'E', static_cast<double>(value));
        return S_OK;
      default: break;
    }
    const long double rounded = std::trunc(value + 0.5L);
    const bool fits = std::isfinite(rounded) && std::fabs(rounded) < 9.2e18L;
    if (it.form == '1') {
      if (fits) {
        const auto r = static_cast<std::int64_t>(rounded);
        AppendInteger(out_, field, 'd', Magnitude(r), r < 0);
      } else {
        NumberSpec whole = field;
        whole.precision = 0;
        AppendReal(out_, whole, 'f', rounded);
      }
      return S_OK;
    }
    if (!fits) {
      return s_.InvalidArgument("value of item \"" + it.text +
                                "\" is out of the range of a 64-bit integer");
    }
    AppendPrefixed(out_, field, PrefixOf(it.form), DigitsConvOf(it.form),
                   static_cast<std::uint64_t>(static_cast<std::int64_t>(rounded)));
    return S_OK;
  }

  HRESULT Text(const FormatItem& it, const NumberSpec& field, std::string_view text) {
    if (field.precision >= 0 && text.size() > static_cast<std::size_t>(field.precision)) {
      text = text.substr(0, static_cast<std::size_t>(field.precision));
    }
    if (it.quote != 0) out_ += it.quote;
    AppendPadded(out_, field, text);
    if (it.quote != 0) out_ += it.quote;
    return S_OK;
  }

  HRESULT Enum(const FormatItem& it, const NumberSpec& field, std::int32_t value) {
    if (s_.enums == nullptr) return s_.Failure("Unrecognized enum name '" + it.enumName + "'.");
    std::string keyword;
    const HRESULT hr = s_.enums->FormatEnum(it.enumName, value, keyword);
    if (Failed(hr)) return hr;  // the formatter has reported it
    return Text(it, field, keyword);
  }

  HRESULT List(const FormatItem& it, const NumberSpec& field, std::int64_t count,
               const FormatArg& a) {
    if (a.shape != ArgShape::Array) return Wrong(it, a, "an array");
    const std::size_t n = count < 0 ? a.count : std::min(a.count, static_cast<std::size_t>(count));
    const std::size_t step = ElemSize(a.elem);
    const auto* base = static_cast<const unsigned char*>(a.ptr);
    for (std::size_t i = 0; i < n; ++i) {
      if (i != 0) out_ += it.separators;
      const HRESULT hr = Scalar(it, field, a.elem, base + i * step, true);
      if (Failed(hr)) return hr;
    }
    return S_OK;
  }

  // Element size of a block or raw item and whether `e` is an acceptable element type.
  static bool BlockElement(const FormatItem& it, ArgElem e, std::size_t& size,
                           const char*& expected) {
    switch (it.length) {
      case 'h':
        size = 2, expected = "an array of 16-bit integers";
        return e == ArgElem::I16 || e == ArgElem::U16;
      case 'l':
        size = 4, expected = "an array of 32-bit integers";
        return e == ArgElem::I32 || e == ArgElem::U32;
      case 'I':
        size = 8, expected = "an array of 64-bit integers";
        return e == ArgElem::I64 || e == ArgElem::U64;
      case 'z':
        size = 4, expected = "an array of float";
        return e == ArgElem::F32;
      case 'Z':
        size = 8, expected = "an array of double";
        return e == ArgElem::F64;
      default:
        size = 1, expected = "an array of bytes";
        return e == ArgElem::I8 || e == ArgElem::U8 || e == ArgElem::Char || e == ArgElem::Byte;
    }
  }

  HRESULT Block(const FormatItem& it, std::int64_t count, const FormatArg& a) {
    std::size_t size = 1;
    const char* expected = "";
    if (a.shape != ArgShape::Array || !BlockElement(it, a.elem, size, expected)) {
      return Wrong(it, a, expected);
    }
    const std::size_t n = count < 0 ? a.count : std::min(a.count, static_cast<std::size_t>(count));
    const auto kind = static_cast<WriteKind>(it.kind);
    bool swap = s_.byteSwap;
    if (kind == WriteKind::Raw && it.byteOrder != 0) {
      const bool bigOnWire = it.byteOrder == 'b';
      swap = bigOnWire == (std::endian::native == std::endian::little);
    }
    if (kind != WriteKind::Raw) {
      if (n == 0) {
        out_ += "#0";
      } else {
        const std::string bytes = std::to_string(n * size);
        if (bytes.size() > 9) {
          return s_.InvalidArgument("binary block of " + bytes +
                                    " bytes is too large for a definite-length header");
        }
        out_ += '#';
        out_ += static_cast<char>('0' + bytes.size());
        out_ += bytes;
      }
    }
    const std::size_t start = out_.size();
    out_.resize(start + n * size);
    char* dst = out_.data() + start;
    if (n > 0) std::memcpy(dst, a.ptr, n * size);  // an empty block may come with no array
    if (swap && size > 1) {
      for (std::size_t i = 0; i < n; ++i) std::reverse(dst + i * size, dst + (i + 1) * size);
    }
    if (kind == WriteKind::BlockLf) out_ += '\n';
    return S_OK;
  }

  const ParsedFormat& f_;
  std::span<const FormatArg> args_;
  const EngineServices& s_;
  std::string& out_;
  std::size_t next_ = 0;
  std::size_t current_ = 0;  // index of the argument being checked, for messages
};

}  // namespace

HRESULT WriteFormatted(const ParsedFormat& format, std::span<const FormatArg> args,
                       const EngineServices& services, std::string& out) {
  return Writer(format, args, services, out).Run();
}

}  // namespace veqdx::io
