// The read pass: a tokenized format parses an instrument response into typed destinations.
//
// The response is untrusted. Every field is bounded: numbers by kMaxNumberChars, text by
// the caller's width or buffer, or else by kMaxTextChars (beyond which the read fails rather
// than grow without bound); blocks by the destination, checked against the header before any
// data byte is stored. Lookahead is one character, taken back with the buffer's pushback.
#include <stdlib.h>  // strtod_l, strtold_l

#include <locale.h>

#include <algorithm>
#include <bit>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "io/format_engine.h"
#include "io/format_text.h"
#include "io/io_session.h"

namespace veqdx::io {
namespace {

constexpr std::size_t kMaxNumberChars = 256;
constexpr std::size_t kMaxTextChars = std::size_t{1} << 20;
constexpr std::size_t kNoLimit = static_cast<std::size_t>(-1);
constexpr int kEnd = -1;   // end of the response
constexpr int kStop = -2;  // field width reached: nothing was read ahead

bool IsSpace(int c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

locale_t CLocale() {
  static const locale_t c = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(nullptr));
  return c;
}

// Message text of a format or response excerpt: control characters made visible.
std::string Visible(std::string_view s) {
  std::string out;
  for (const char ch : s) {
    const auto c = static_cast<unsigned char>(ch);
    if (c == '\n') out += "\\n";
    else if (c == '\r') out += "\\r";
    else if (c == '\t') out += "\\t";
    else if (c < 0x20 || c >= 0x7F) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02X", c);
      out += hex;
    } else {
      out += ch;
    }
  }
  return out;
}

class BufferSource {
 public:
  explicit BufferSource(CInstrBuffer& b) : b_(b) {}
  HRESULT Get(int& c) {
    touched = true;
    const HRESULT hr = b_.ReadChar(c);
    if (Failed(hr)) {
      c = kEnd;
      return hr;
    }
    if (c >= 0) ++pos_;
    return S_OK;
  }
  HRESULT Unget() {
    const HRESULT hr = b_.PushBack();
    if (Succeeded(hr)) --pos_;
    return hr;
  }
  HRESULT Take(char* dst, std::size_t n, std::size_t& got) {
    got = 0;
    touched = true;
    while (got < n) {
      std::size_t g = 0;
      const HRESULT hr = b_.Read(dst + got, n - got, g);
      if (Failed(hr)) return hr;
      if (g == 0) break;
      got += g;
    }
    pos_ += got;
    return S_OK;
  }
  std::size_t Position() const { return pos_; }
  bool touched = false;  // anything asked of the buffer

 private:
  CInstrBuffer& b_;
  std::size_t pos_ = 0;
};

class TextSource {
 public:
  explicit TextSource(std::string_view s) : s_(s) {}
  HRESULT Get(int& c) {
    c = pos_ < s_.size() ? static_cast<unsigned char>(s_[pos_++]) : kEnd;
    return S_OK;
  }
  HRESULT Unget() {
    --pos_;
    return S_OK;
  }
  HRESULT Take(char* dst, std::size_t n, std::size_t& got) {
    got = std::min(n, s_.size() - pos_);
    std::memcpy(dst, s_.data() + pos_, got);
    pos_ += got;
    return S_OK;
  }
  std::size_t Position() const { return pos_; }

 private:
  std::string_view s_;
  std::size_t pos_ = 0;
};

// A parsed numeric field.
struct Number {
  double value = 0;
  long double longValue = 0;
  bool exact = false;  // `whole` holds the exact integer written
  std::int64_t whole = 0;
};

enum class TextMode { Word, Line, Rest, Set };

template <class Source>
class Reader {
 public:
  Reader(Source& in, const ParsedFormat& f, std::span<const FormatArg> args,
         const EngineServices& s)
      : in_(in), f_(f), args_(args), s_(s) {}

  HRESULT Run() {
    return ForEachItem(f_, [this](const FormatItem& it) { return Item(it); });
  }

 private:
  HRESULT Item(const FormatItem& it) {
    const auto kind = static_cast<ReadKind>(it.kind);
    if (kind == ReadKind::Literal) return Literal(it.text);
    HRESULT hr = S_OK;
    std::int64_t width = it.widthFrom == NumSource::Digits ? it.width : -1;
    std::int64_t count = it.countFrom == NumSource::Digits ? it.count : -1;
    void* widthOut = nullptr;
    void* countOut = nullptr;
    if (it.widthFrom == NumSource::Hash && Failed(hr = Hash(it, width, widthOut))) return hr;
    if (it.countFrom == NumSource::Hash && Failed(hr = Hash(it, count, countOut))) return hr;
    if (width == 0) width = -1;  // zero means no limit
    if (it.list && it.badSeparator != 0) {
      return s_.InvalidArgument("list separator '" + std::string(1, it.badSeparator) +
                                "' of item \"" + Visible(it.text) +
                                "\" is not one of , : ; n r s t");
    }
    const FormatArg* dest = nullptr;
    if (!it.suppress) {
      destIndex_ = next_;
      dest = &args_[next_++];
      if (dest->shape == ArgShape::Null) {
        return s_.InvalidArgument("argument " + std::to_string(destIndex_ + 1) + " of format \"" +
                                  Visible(f_.source) + "\" is a null pointer");
      }
    }
    std::size_t done = 0;  // elements or characters, for a '#' written back
    switch (kind) {
      case ReadKind::Integer:
      case ReadKind::Real:
        hr = NumberItem(it, width, dest);
        break;
      case ReadKind::IntegerList:
      case ReadKind::RealList:
      case ReadKind::StringList:
      case ReadKind::EnumList:
        hr = List(it, width, count, dest, done);
        break;
      case ReadKind::Block:
        hr = Block(it, count, dest, done);
        break;
      case ReadKind::Raw:
        hr = Raw(it, count, dest, done);
        break;
      case ReadKind::Char:
        hr = Chars(it, width, dest, done);
        break;
      case ReadKind::RestToTerm:
      case ReadKind::RestToEnd:
      case ReadKind::Word:
      case ReadKind::CharSet:
        hr = StringItem(it, width, dest, done);
        break;
      case ReadKind::EnumWord:
      case ReadKind::EnumSet:
        hr = EnumItem(it, width, dest);
        break;
      case ReadKind::Literal:
        break;
    }
    if (Failed(hr)) return hr;
    const bool widthCounts = kind == ReadKind::Char || kind == ReadKind::RestToTerm ||
                             kind == ReadKind::RestToEnd || kind == ReadKind::Word ||
                             kind == ReadKind::CharSet;
    if (widthOut != nullptr && widthCounts) WriteBack(widthOut, done);
    if (countOut != nullptr) WriteBack(countOut, done);
    return S_OK;
  }

  // --- arguments ---

  HRESULT Hash(const FormatItem& it, std::int64_t& value, void*& out) {
    const std::size_t index = next_;
    const FormatArg& a = args_[next_++];
    if (a.shape == ArgShape::Null) {
      return s_.InvalidArgument("the '#' of item \"" + Visible(it.text) + "\" got a null pointer");
    }
    if (a.shape != ArgShape::Out || a.elem != ArgElem::I32) {
      return s_.WrongArgument(f_, it, index, a, "a pointer to a 32-bit integer for its '#'");
    }
    std::int32_t v;
    std::memcpy(&v, a.ptr, sizeof v);
    value = v < 0 ? 0 : v;
    out = const_cast<void*>(a.ptr);
    return S_OK;
  }

  static void WriteBack(void* p, std::size_t n) {
    const auto v = static_cast<std::int32_t>(std::min<std::size_t>(n, INT32_MAX));
    std::memcpy(p, &v, sizeof v);
  }

  HRESULT Wrong(const FormatItem& it, const FormatArg& a, std::string_view expected) {
    return s_.WrongArgument(f_, it, destIndex_, a, expected);
  }

  template <class T>
  static void Store(void* p, std::size_t index, T v) {
    std::memcpy(static_cast<char*>(p) + index * sizeof(T), &v, sizeof v);
  }

  static void* Ptr(const FormatArg* a) { return const_cast<void*>(a->ptr); }

  // --- response helpers ---

  HRESULT Mismatch(std::string_view expected, int found) {
    std::string text = "Unexpected response for read format \"" + Visible(f_.source) +
                       "\": expected " + std::string(expected) + " after " +
                       std::to_string(in_.Position()) + " characters, found ";
    if (found < 0) {
      text += "the end of the response.";
    } else {
      text += "'" + Visible(std::string(1, static_cast<char>(found))) + "'.";
    }
    return s_.Failure(text);
  }

  HRESULT TooLongNumber() {
    return s_.Failure("Unexpected response for read format \"" + Visible(f_.source) +
                      "\": a number longer than " + std::to_string(kMaxNumberChars - 1) +
                      " characters after " + std::to_string(in_.Position()) + " characters");
  }

  HRESULT SkipSpace(int& c) {
    HRESULT hr;
    do {
      if (Failed(hr = in_.Get(c))) return hr;
    } while (IsSpace(c));
    return S_OK;
  }

  HRESULT UngetIfRead(int c) { return c >= 0 ? in_.Unget() : S_OK; }

  HRESULT Literal(const std::string& text) {
    HRESULT hr;
    int c;
    for (const char ch : text) {
      if (IsSpace(static_cast<unsigned char>(ch))) {  // a blank matches any run of white space
        if (Failed(hr = SkipSpace(c)) || Failed(hr = UngetIfRead(c))) return hr;
        continue;
      }
      if (Failed(hr = in_.Get(c))) return hr;
      if (c != static_cast<unsigned char>(ch)) {
        if (Failed(hr = UngetIfRead(c))) return hr;
        return Mismatch("'" + Visible(std::string(1, ch)) + "'", c);
      }
    }
    return S_OK;
  }

  // --- numbers ---

  static int DigitValue(int c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'z') return c - 'a' + 10;
    if (c >= 'A' && c <= 'Z') return c - 'A' + 10;
    return 99;
  }

  // Reads one numeric field: decimal (NR1/NR2/NR3, inf, nan), the IEEE 488.2 forms #H #Q #B,
  // or the digits of an o/x conversion.
  HRESULT ReadNumber(const FormatItem& it, std::int64_t width, bool wantLong, Number& n) {
    int c;
    HRESULT hr = SkipSpace(c);
    if (Failed(hr)) return hr;
    if (c < 0) return Mismatch("a number", c);
    // A width the caller gave ends the field where scanf would. Our own cap is different: a
    // number that runs past it is not a number this instrument sends, and cutting it short
    // would hand back a wrong value with success.
    const bool callerWidth = width > 0 && static_cast<std::size_t>(width) <= kMaxNumberChars;
    const std::size_t limit = callerWidth ? static_cast<std::size_t>(width) : kMaxNumberChars;
    char buf[kMaxNumberChars];
    std::size_t len = 0;
    auto take = [&]() -> HRESULT {
      buf[len++] = static_cast<char>(c);
      if (len >= limit) {
        if (!callerWidth) return TooLongNumber();
        c = kStop;
        return S_OK;
      }
      return in_.Get(c);
    };
    int base = 10;
    std::size_t digitsAt = 0;
    bool negative = false;
    if (c == '#') {
      if (Failed(hr = take())) return hr;
      base = (c == 'H' || c == 'h') ? 16 : (c == 'Q' || c == 'q') ? 8 : (c == 'B' || c == 'b') ? 2 : 0;
      if (base == 0) {
        if (Failed(hr = UngetIfRead(c))) return hr;
        return Mismatch("a number", c);
      }
      if (Failed(hr = take())) return hr;
      digitsAt = len;
    } else {
      if (c == '+' || c == '-') {
        negative = c == '-';
        if (Failed(hr = take())) return hr;
      }
      if (it.conv == 'x' || it.conv == 'X' || it.conv == 'o') {
        base = it.conv == 'o' ? 8 : 16;
        digitsAt = len;
        if (base == 16 && c == '0') {
          if (Failed(hr = take())) return hr;
          if (c == 'x' || c == 'X') {
            if (Failed(hr = take())) return hr;
            digitsAt = len;
          }
        }
      }
    }
    if (base != 10) {
      while (c >= 0 && DigitValue(c) < base) {
        if (Failed(hr = take())) return hr;
      }
      if (Failed(hr = UngetIfRead(c))) return hr;
      if (len == digitsAt) return Mismatch("a number", c);
      return RadixValue(std::string_view(buf + digitsAt, len - digitsAt), base, negative, n);
    }
    return DecimalNumber(buf, len, limit, c, wantLong, n, take);
  }

  template <class Take>
  HRESULT DecimalNumber(char* buf, std::size_t& len, std::size_t /*limit*/, int& c,
                        bool wantLong, Number& n, Take& take) {
    HRESULT hr = S_OK;
    const std::size_t start = len;  // after the sign
    if (c == 'i' || c == 'I' || c == 'n' || c == 'N') {  // inf, infinity, nan
      while (c >= 0 && std::isalpha(c) && len - start < 8) {
        if (Failed(hr = take())) return hr;
      }
      if (Failed(hr = UngetIfRead(c))) return hr;
      std::string word(buf + start, len - start);
      for (char& ch : word) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
      if (word != "inf" && word != "infinity" && word != "nan") return Mismatch("a number", c);
      return Convert(buf, len, wantLong, n);
    }
    std::size_t digits = 0;
    while (c >= '0' && c <= '9') {
      ++digits;
      if (Failed(hr = take())) return hr;
    }
    bool plainInteger = digits > 0;
    if (c == '.') {
      plainInteger = false;
      if (Failed(hr = take())) return hr;
      while (c >= '0' && c <= '9') {
        ++digits;
        if (Failed(hr = take())) return hr;
      }
    }
    if (digits == 0) {
      if (Failed(hr = UngetIfRead(c))) return hr;
      return Mismatch("a number", c);
    }
    std::size_t mantissaEnd = len;
    if (c == 'e' || c == 'E') {
      plainInteger = false;
      if (Failed(hr = take())) return hr;
      if (c == '+' || c == '-') {
        if (Failed(hr = take())) return hr;
      }
      std::size_t expDigits = 0;
      while (c >= '0' && c <= '9') {
        ++expDigits;
        if (Failed(hr = take())) return hr;
      }
      if (expDigits != 0) mantissaEnd = len;  // "1e" alone: the 'e' is consumed, not used
    }
    if (Failed(hr = UngetIfRead(c))) return hr;
    len = mantissaEnd;
    if (plainInteger) {
      const char* first = buf[0] == '+' ? buf + 1 : buf;
      const auto r = std::from_chars(first, buf + len, n.whole);
      n.exact = r.ec == std::errc() && r.ptr == buf + len;
    }
    return Convert(buf, len, wantLong, n);
  }

  static HRESULT Convert(const char* buf, std::size_t len, bool wantLong, Number& n) {
    char text[kMaxNumberChars + 1];
    std::memcpy(text, buf, len);
    text[len] = '\0';
    const char* first = text[0] == '+' ? text + 1 : text;
    const auto r = std::from_chars(first, text + len, n.value);
    if (r.ec != std::errc() || r.ptr != text + len) {
      n.value = strtod_l(text, nullptr, CLocale());  // overflow/underflow: +-HUGE_VAL, 0
    }
    n.longValue = wantLong ? strtold_l(text, nullptr, CLocale()) : n.value;
    return S_OK;
  }

  static HRESULT RadixValue(std::string_view digits, int base, bool negative, Number& n) {
    std::uint64_t u = 0;
    bool overflow = false;
    double d = 0;
    for (const char ch : digits) {
      const int v = DigitValue(static_cast<unsigned char>(ch));
      d = d * base + v;
      if (u > (UINT64_MAX - static_cast<unsigned>(v)) / static_cast<unsigned>(base)) {
        overflow = true;
      }
      u = u * static_cast<unsigned>(base) + static_cast<unsigned>(v);
    }
    n.value = negative ? -d : d;
    n.longValue = n.value;
    if (!overflow && u <= static_cast<std::uint64_t>(INT64_MAX)) {
      n.exact = true;
      n.whole = negative ? -static_cast<std::int64_t>(u) : static_cast<std::int64_t>(u);
    }
    return S_OK;
  }

  HRESULT RangeError(double v, const char* target) {
    return s_.Failure("Overflow or underflow reading value of '" + ScientificText(v) +
                      "' into " + target + ".");
  }

  static ArgElem IntegerElemOf(char length) {
    switch (length) {
      case 'b': return ArgElem::U8;
      case 'h': return ArgElem::I16;
      case 'I': return ArgElem::I64;
      default: return ArgElem::I32;
    }
  }
  static ArgElem RealElemOf(char length) {
    return length == 'l' ? ArgElem::F64 : length == 'L' ? ArgElem::F80 : ArgElem::F32;
  }
  static const char* ElemText(ArgElem e) {
    switch (e) {
      case ArgElem::U8: return "8-bit unsigned integer (BYTE)";
      case ArgElem::I16: return "16-bit integer (short)";
      case ArgElem::I32: return "32-bit integer (long)";
      case ArgElem::I64: return "64-bit integer";
      case ArgElem::F32: return "float";
      case ArgElem::F64: return "double";
      default: return "long double";
    }
  }

  // Range-checks `n` into the destination element type and stores it at `index` (no store
  // without a destination).
  HRESULT StoreNumber(ArgElem e, const Number& n, void* p, std::size_t index) {
    const double v = n.value;
    switch (e) {
      case ArgElem::U8:
        if (!(v >= 0 && v <= 255)) return RangeError(v, "a BYTE");
        if (p) Store(p, index, static_cast<std::uint8_t>(v));
        return S_OK;
      case ArgElem::I16:
        if (!(v >= -32768.0 && v <= 32767.0)) return RangeError(v, "a short");
        if (p) Store(p, index, static_cast<std::int16_t>(v));
        return S_OK;
      case ArgElem::I32:
        if (!(v >= -2147483648.0 && v <= 2147483647.0)) return RangeError(v, "a long");
        if (p) Store(p, index, static_cast<std::int32_t>(v));
        return S_OK;
      case ArgElem::I64: {
        std::int64_t w = n.whole;
        if (!n.exact) {
          if (!(v >= -9223372036854775808.0 && v < 9223372036854775808.0)) {
            return RangeError(v, "a 64-bit integer");
          }
          w = static_cast<std::int64_t>(v);
        }
        if (p) Store(p, index, w);
        return S_OK;
      }
      case ArgElem::F32: {
        // Zero, normal floats, and values so small that they are zero for any float; only
        // the band between the smallest normal double and the smallest normal float fails.
        const double a = v < 0 ? -v : v;
        const bool ok = v == 0 || (a >= 1.1754943508222875e-38 && a <= 3.4028234663852886e+38) ||
                        a <= 2.2250738585072014e-308;
        if (!ok) return RangeError(v, "a single-precision float");
        if (p) Store(p, index, static_cast<float>(v));
        return S_OK;
      }
      case ArgElem::F64:
        if (p) Store(p, index, v);
        return S_OK;
      default:
        if (p) Store(p, index, n.longValue);
        return S_OK;
    }
  }

  HRESULT NumberItem(const FormatItem& it, std::int64_t width, const FormatArg* dest) {
    const bool isInt = static_cast<ReadKind>(it.kind) == ReadKind::Integer;
    const ArgElem e = isInt ? IntegerElemOf(it.length) : RealElemOf(it.length);
    if (dest && (dest->shape != ArgShape::Out || dest->elem != e)) {
      return Wrong(it, *dest, std::string("a pointer to a ") + ElemText(e));
    }
    Number n;
    const HRESULT hr = ReadNumber(it, width, e == ArgElem::F80, n);
    if (Failed(hr)) return hr;
    if (!dest) return S_OK;  // suppressed: parsed, not stored
    return StoreNumber(e, n, Ptr(dest), 0);
  }

  // --- text ---

  // Reads text into `out` (or only counts it when `out` is null) up to `max` characters.
  // `capIsSafety`: reaching `max` with more text waiting is an error, not a silent stop.
  HRESULT ReadText(TextMode mode, const FormatItem& it, std::size_t max, bool capIsSafety,
                   std::string_view stops, std::string* out, std::size_t& stored) {
    stored = 0;
    int c;
    HRESULT hr = mode == TextMode::Word ? SkipSpace(c) : in_.Get(c);
    if (Failed(hr)) return hr;
    const bool quoted = mode == TextMode::Word && it.quote != 0 && c == it.quote;
    if (quoted && Failed(hr = in_.Get(c))) return hr;
    for (;;) {
      if (c < 0) break;
      if (quoted) {
        if (c == it.quote) {  // closing quote, or a doubled quote standing for one
          if (Failed(hr = in_.Get(c))) return hr;
          if (c != it.quote) return UngetIfRead(c);
        }
      } else if (mode == TextMode::Word) {
        if (IsSpace(c) || stops.find(static_cast<char>(c)) != std::string_view::npos) break;
      } else if (mode == TextMode::Line) {
        if (c == '\n') return S_OK;  // consumed, not stored
      } else if (mode == TextMode::Set) {
        if (it.set.test(static_cast<unsigned char>(c)) == it.setNegated) break;
      }
      if (stored >= max) {
        if (Failed(hr = in_.Unget())) return hr;
        if (capIsSafety) {
          return s_.Failure("Response field longer than " + std::to_string(max) +
                            " characters for read format \"" + Visible(f_.source) + "\".");
        }
        return S_OK;
      }
      if (out) *out += static_cast<char>(c);
      ++stored;
      if (Failed(hr = in_.Get(c))) return hr;
    }
    return UngetIfRead(c);
  }

  // Characters a text destination takes: the width when given (a character buffer keeps
  // one place of it, and of its own size, for the terminating zero), else the safety cap.
  static std::size_t TextLimit(std::int64_t width, const FormatArg* dest, bool& capIsSafety) {
    std::size_t max = width > 0 ? static_cast<std::size_t>(width) : kMaxTextChars;
    capIsSafety = width <= 0;
    if (dest && dest->shape == ArgShape::OutArray) {
      if (width > 0) max = max > 0 ? max - 1 : 0;
      max = std::min(max, dest->count - 1);
      capIsSafety = false;
    }
    return max;
  }

  HRESULT CheckTextDest(const FormatItem& it, const FormatArg* dest) {
    if (!dest) return S_OK;
    const bool ok = (dest->shape == ArgShape::Out &&
                     (dest->elem == ArgElem::String || dest->elem == ArgElem::Counted)) ||
                    (dest->shape == ArgShape::OutArray && dest->elem == ArgElem::Char &&
                     dest->count > 0);
    return ok ? S_OK
              : Wrong(it, *dest,
                      "a std::string*, a CountedString* or a non-empty std::span<char>");
  }

  static void StoreText(const FormatArg* dest, std::size_t index, std::string&& text) {
    if (dest->shape == ArgShape::OutArray) {
      if (dest->elem == ArgElem::Char) {
        char* p = static_cast<char*>(Ptr(dest));
        std::memcpy(p, text.data(), text.size());
        p[text.size()] = '\0';
      } else if (dest->elem == ArgElem::String) {
        static_cast<std::string*>(Ptr(dest))[index] = std::move(text);
      } else {
        static_cast<CountedString*>(Ptr(dest))[index].Assign(std::move(text));
      }
    } else if (dest->elem == ArgElem::String) {
      *static_cast<std::string*>(Ptr(dest)) = std::move(text);
    } else {
      static_cast<CountedString*>(Ptr(dest))->Assign(std::move(text));
    }
  }

  HRESULT StringItem(const FormatItem& it, std::int64_t width, const FormatArg* dest,
                     std::size_t& stored) {
    HRESULT hr = CheckTextDest(it, dest);
    if (Failed(hr)) return hr;
    const auto kind = static_cast<ReadKind>(it.kind);
    const TextMode mode = kind == ReadKind::Word         ? TextMode::Word
                          : kind == ReadKind::RestToTerm ? TextMode::Line
                          : kind == ReadKind::RestToEnd  ? TextMode::Rest
                                                         : TextMode::Set;
    bool safety = false;
    const std::size_t max = TextLimit(width, dest, safety);
    std::string text;
    FormatItem plain = it;
    plain.quote = 0;  // only word lists and enums are quote-aware
    if (Failed(hr = ReadText(mode, plain, max, safety, {}, dest ? &text : nullptr, stored))) {
      return hr;
    }
    if (dest) StoreText(dest, 0, std::move(text));
    return S_OK;
  }

  HRESULT Chars(const FormatItem& it, std::int64_t width, const FormatArg* dest,
                std::size_t& got) {
    std::size_t want = width > 0 ? static_cast<std::size_t>(width) : 1;
    if (dest) {
      const bool single = dest->shape == ArgShape::Out && dest->elem == ArgElem::Char;
      const bool ok = (single && want == 1) ||
                      (dest->shape == ArgShape::OutArray && dest->elem == ArgElem::Char) ||
                      (dest->shape == ArgShape::Out &&
                       (dest->elem == ArgElem::String || dest->elem == ArgElem::Counted));
      if (!ok) return Wrong(it, *dest, "a char* (one character), a std::span<char> or a string");
      if (dest->shape == ArgShape::OutArray) want = std::min(want, dest->count);
    }
    want = std::min(want, kMaxTextChars);
    std::string text;
    got = 0;
    HRESULT hr;
    int c = kEnd;
    while (got < want) {
      if (Failed(hr = in_.Get(c))) return hr;
      if (c < 0) break;
      text += static_cast<char>(c);
      ++got;
    }
    if (got == 0 && want > 0) return Mismatch("a character", c);
    if (!dest) return S_OK;
    if (dest->shape == ArgShape::OutArray || (dest->shape == ArgShape::Out && dest->elem == ArgElem::Char)) {
      std::memcpy(Ptr(dest), text.data(), text.size());
    } else {
      StoreText(dest, 0, std::move(text));
    }
    return S_OK;
  }

  // --- enums ---

  HRESULT EnumValue(const FormatItem& it, std::string_view word, std::int32_t& value) {
    if (s_.enums == nullptr) return s_.Failure("Unrecognized enum name '" + it.enumName + "'.");
    return s_.enums->ParseEnum(it.enumName, word, value);  // reports its own failures
  }

  ArgElem EnumElem(const FormatItem& it) const {
    return it.enumName == "VARIANT_BOOL" ? ArgElem::I16 : ArgElem::I32;
  }

  HRESULT EnumItem(const FormatItem& it, std::int64_t width, const FormatArg* dest) {
    const ArgElem e = EnumElem(it);
    if (dest && (dest->shape != ArgShape::Out || dest->elem != e)) {
      return Wrong(it, *dest, e == ArgElem::I16 ? "a pointer to a VARIANT_BOOL"
                                                : "a pointer to a 32-bit enum value");
    }
    const bool isSet = static_cast<ReadKind>(it.kind) == ReadKind::EnumSet;
    std::string word;
    std::size_t stored = 0;
    const std::size_t max = width > 0 ? static_cast<std::size_t>(width) : kMaxTextChars;
    HRESULT hr = ReadText(isSet ? TextMode::Set : TextMode::Word, it, max, width <= 0, {}, &word,
                          stored);
    if (Failed(hr)) return hr;
    std::int32_t value = 0;
    if (Failed(hr = EnumValue(it, word, value))) return hr;
    if (!dest) return S_OK;
    if (e == ArgElem::I16) Store(Ptr(dest), 0, static_cast<std::int16_t>(value));
    else Store(Ptr(dest), 0, value);
    return S_OK;
  }

  // --- lists ---

  HRESULT List(const FormatItem& it, std::int64_t width, std::int64_t count,
               const FormatArg* dest, std::size_t& n) {
    const auto kind = static_cast<ReadKind>(it.kind);
    ArgElem e = ArgElem::None;
    const char* expected = "";
    switch (kind) {
      case ReadKind::IntegerList: e = IntegerElemOf(it.length); expected = ElemText(e); break;
      case ReadKind::RealList: e = RealElemOf(it.length); expected = ElemText(e); break;
      case ReadKind::EnumList:
        e = EnumElem(it);
        expected = e == ArgElem::I16 ? "VARIANT_BOOL" : "32-bit enum value";
        break;
      default: e = ArgElem::String; expected = "std::string or CountedString"; break;
    }
    if (dest) {
      const bool ok = dest->shape == ArgShape::OutArray &&
                      (dest->elem == e ||
                       (kind == ReadKind::StringList && dest->elem == ArgElem::Counted));
      if (!ok) return Wrong(it, *dest, std::string("a writable array of ") + expected);
    }
    std::size_t limit = count >= 0 ? static_cast<std::size_t>(count) : kNoLimit;
    if (dest) limit = std::min(limit, dest->count);
    n = 0;
    HRESULT hr;
    while (n < limit) {
      if (Failed(hr = ListElement(it, kind, e, width, dest, n))) return hr;
      ++n;
      if (n == limit) break;
      int c;
      if (Failed(hr = in_.Get(c))) return hr;
      if (c >= 0 && it.separators.find(static_cast<char>(c)) != std::string::npos) continue;
      if (Failed(hr = UngetIfRead(c))) return hr;
      break;
    }
    return S_OK;
  }

  HRESULT ListElement(const FormatItem& it, ReadKind kind, ArgElem e, std::int64_t width,
                      const FormatArg* dest, std::size_t index) {
    void* p = dest ? Ptr(dest) : nullptr;
    if (kind == ReadKind::IntegerList || kind == ReadKind::RealList) {
      Number num;
      const HRESULT hr = ReadNumber(it, width, e == ArgElem::F80, num);
      if (Failed(hr)) return hr;
      return dest ? StoreNumber(e, num, p, index) : S_OK;
    }
    std::string word;
    std::size_t stored = 0;
    const std::size_t max = width > 0 ? static_cast<std::size_t>(width) : kMaxTextChars;
    HRESULT hr =
        ReadText(TextMode::Word, it, max, width <= 0, it.separators, &word, stored);
    if (Failed(hr)) return hr;
    if (kind == ReadKind::StringList) {
      if (dest) StoreText(dest, index, std::move(word));
      return S_OK;
    }
    std::int32_t value = 0;
    if (Failed(hr = EnumValue(it, word, value))) return hr;
    if (!dest) return S_OK;
    if (e == ArgElem::I16) Store(p, index, static_cast<std::int16_t>(value));
    else Store(p, index, value);
    return S_OK;
  }

  // --- binary data ---

  static bool BinaryElement(char length, bool allowReal, ArgElem e, std::size_t& size) {
    switch (length) {
      case 'h': size = 2; return e == ArgElem::I16 || e == ArgElem::U16;
      case 'l': size = 4; return e == ArgElem::I32 || e == ArgElem::U32;
      case 'I': size = 8; return e == ArgElem::I64 || e == ArgElem::U64;
      case 'z': size = 4; return allowReal && e == ArgElem::F32;
      case 'Z': size = 8; return allowReal && e == ArgElem::F64;
      default:
        size = 1;
        return e == ArgElem::U8 || e == ArgElem::I8 || e == ArgElem::Char || e == ArgElem::Byte;
    }
  }

  HRESULT CheckBinaryDest(const FormatItem& it, bool allowReal, const FormatArg* dest,
                          std::size_t& size) {
    const bool ok = BinaryElement(it.length, allowReal, dest ? dest->elem : ArgElem::None, size);
    if (!dest) return S_OK;
    if (dest->shape != ArgShape::OutArray || !ok) {
      static constexpr const char* kNames[] = {"bytes", "16-bit integers", "32-bit integers",
                                               "64-bit integers", "float", "double"};
      const int which = it.length == 'h' ? 1 : it.length == 'l' ? 2 : it.length == 'I' ? 3
                        : it.length == 'z' ? 4 : it.length == 'Z' ? 5 : 0;
      return Wrong(it, *dest, std::string("a writable array of ") + kNames[which]);
    }
    return S_OK;
  }

  // Consumes up to `n` bytes without storing them.
  HRESULT Skip(std::uint64_t n, std::uint64_t& skipped) {
    char scratch[512];
    skipped = 0;
    while (skipped < n) {
      std::size_t got = 0;
      const auto want = static_cast<std::size_t>(std::min<std::uint64_t>(n - skipped, sizeof scratch));
      const HRESULT hr = in_.Take(scratch, want, got);
      if (Failed(hr)) return hr;
      if (got == 0) break;
      skipped += got;
    }
    return S_OK;
  }

  static void Swap(void* p, std::size_t elems, std::size_t size) {
    char* b = static_cast<char*>(p);
    for (std::size_t i = 0; i < elems; ++i) std::reverse(b + i * size, b + (i + 1) * size);
  }

  HRESULT HeaderNotFound() { return s_.Failure("Binary block header not found."); }

  HRESULT Block(const FormatItem& it, std::int64_t count, const FormatArg* dest, std::size_t& n) {
    std::size_t size = 1;
    HRESULT hr = CheckBinaryDest(it, true, dest, size);
    if (Failed(hr)) return hr;
    std::size_t maxElems = count >= 0 ? static_cast<std::size_t>(count) : kNoLimit;
    if (dest) maxElems = std::min(maxElems, dest->count);
    // One stray character (a separator left by the previous field) may stand before '#'.
    int c;
    if (Failed(hr = in_.Get(c))) return hr;
    if (c != '#') {
      if (Failed(hr = in_.Get(c))) return hr;
      if (c != '#') return HeaderNotFound();
    }
    if (Failed(hr = in_.Get(c))) return hr;
    if (c < '0' || c > '9') return HeaderNotFound();
    const int digits = c - '0';
    std::uint64_t bytes = 0;
    if (digits == 0) {
      if (Failed(hr = Indefinite(size, maxElems, dest, bytes))) return hr;
    } else {
      for (int i = 0; i < digits; ++i) {
        if (Failed(hr = in_.Get(c))) return hr;
        if (c < '0' || c > '9') return HeaderNotFound();
        bytes = bytes * 10 + static_cast<std::uint64_t>(c - '0');
      }
      if (bytes % size != 0) {
        return s_.Failure("Binary block of " + std::to_string(bytes) +
                          " bytes is not a whole number of " + std::to_string(size) +
                          "-byte elements.");
      }
      if (bytes / size > maxElems) {
        return s_.Failure("Binary block of " + std::to_string(bytes) +
                          " bytes does not fit in the destination of " +
                          std::to_string(maxElems) + " elements of " + std::to_string(size) +
                          " bytes.");
      }
      std::uint64_t got = 0;
      if (dest) {
        std::size_t g = 0;
        hr = in_.Take(static_cast<char*>(Ptr(dest)), static_cast<std::size_t>(bytes), g);
        got = g;
      } else {
        hr = Skip(bytes, got);
      }
      if (Failed(hr)) return hr;
      if (got < bytes) {
        return s_.Failure("Binary block ended after " + std::to_string(got) + " of " +
                          std::to_string(bytes) + " data bytes.");
      }
    }
    n = static_cast<std::size_t>(bytes / size);
    if (dest && s_.byteSwap && size > 1) Swap(Ptr(dest), n, size);
    return S_OK;
  }

  // "#0": the data runs to the end of the response; its final line feed is the terminator.
  HRESULT Indefinite(std::size_t size, std::size_t maxElems, const FormatArg* dest,
                     std::uint64_t& bytes) {
    HRESULT hr;
    if (!dest) {
      std::uint64_t got = 0;
      std::uint64_t total = 0;
      do {
        if (Failed(hr = Skip(1 << 16, got))) return hr;
        total += got;
      } while (got == (1 << 16));
      bytes = total;  // length only matters for the count written back
      bytes -= bytes % size;
      return S_OK;
    }
    const std::size_t capacity = maxElems * size;
    char* p = static_cast<char*>(Ptr(dest));
    std::size_t got = 0;
    if (Failed(hr = in_.Take(p, capacity, got))) return hr;
    int c;
    if (Failed(hr = in_.Get(c))) return hr;
    if (c == '\n') {  // exactly full, then the terminator?
      int after;
      if (Failed(hr = in_.Get(after))) return hr;
      if (after >= 0) c = after;
      else c = kEnd;
    } else if (c < 0 && got > 0 && p[got - 1] == '\n') {
      --got;
    }
    if (c >= 0) {
      return s_.Failure("Binary block does not fit in the destination of " +
                        std::to_string(maxElems) + " elements of " + std::to_string(size) +
                        " bytes.");
    }
    if (got % size != 0) {
      return s_.Failure("Binary block of " + std::to_string(got) +
                        " bytes is not a whole number of " + std::to_string(size) +
                        "-byte elements.");
    }
    bytes = got;
    return S_OK;
  }

  HRESULT Raw(const FormatItem& it, std::int64_t count, const FormatArg* dest, std::size_t& n) {
    std::size_t size = 1;
    HRESULT hr = CheckBinaryDest(it, false, dest, size);
    if (Failed(hr)) return hr;
    std::uint64_t maxElems = count >= 0 ? static_cast<std::uint64_t>(count) : kNoLimit;
    if (dest) maxElems = std::min<std::uint64_t>(maxElems, dest->count);
    std::uint64_t got = 0;
    if (dest) {
      std::size_t g = 0;
      hr = in_.Take(static_cast<char*>(Ptr(dest)), static_cast<std::size_t>(maxElems * size), g);
      got = g;
    } else {
      hr = Skip(maxElems == kNoLimit ? UINT64_MAX : maxElems * size, got);
    }
    if (Failed(hr)) return hr;
    if (got % size != 0) {
      return s_.Failure("Raw binary data ended inside an element of " + std::to_string(size) +
                        " bytes.");
    }
    n = static_cast<std::size_t>(got / size);
    bool swap = s_.byteSwap;
    if (it.byteOrder != 0) {
      swap = (it.byteOrder == 'b') == (std::endian::native == std::endian::little);
    }
    if (dest && swap && size > 1) Swap(Ptr(dest), n, size);
    return S_OK;
  }

  Source& in_;
  const ParsedFormat& f_;
  std::span<const FormatArg> args_;
  const EngineServices& s_;
  std::size_t next_ = 0;
  std::size_t destIndex_ = 0;
};

}  // namespace

HRESULT ReadFormattedFromBuffer(CInstrBuffer& buffer, const ParsedFormat& format,
                                std::span<const FormatArg> args, const EngineServices& services,
                                bool& touched) {
  BufferSource source(buffer);
  const HRESULT hr = Reader<BufferSource>(source, format, args, services).Run();
  touched = source.touched;
  return hr;
}

HRESULT ReadFormattedFromText(std::string_view input, const ParsedFormat& format,
                              std::span<const FormatArg> args, const EngineServices& services) {
  TextSource source(input);
  return Reader<TextSource>(source, format, args, services).Run();
}

}  // namespace veqdx::io
