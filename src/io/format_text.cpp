#include "io/format_text.h"

#include <charconv>
#include <cmath>
#include <memory>

namespace veqdx::io {
namespace {

// Sign, then `zeros` zeros, then `body`, padded to the width as printf pads.
void Emit(std::string& out, const NumberSpec& field, std::string_view sign, std::size_t zeros,
          std::string_view body, bool zeroPadAllowed) {
  const std::size_t used = sign.size() + zeros + body.size();
  const std::size_t width = field.width > 0 ? static_cast<std::size_t>(field.width) : 0;
  const std::size_t pad = width > used ? width - used : 0;
  if (field.left) {
    out.append(sign).append(zeros, '0').append(body).append(pad, ' ');
  } else if (field.zero && zeroPadAllowed) {
    out.append(sign).append(zeros + pad, '0').append(body);
  } else {
    out.append(pad, ' ').append(sign).append(zeros, '0').append(body);
  }
}

std::size_t Digits(char* buf, std::size_t size, std::uint64_t v, int base, bool upper) {
  const auto r = std::to_chars(buf, buf + size, v, base);
  const std::size_t n = static_cast<std::size_t>(r.ptr - buf);
  if (upper) {
    for (std::size_t i = 0; i < n; ++i) {
      if (buf[i] >= 'a' && buf[i] <= 'f') buf[i] = static_cast<char>(buf[i] - 'a' + 'A');
    }
  }
  return n;
}

int BaseOf(char conv) {
  switch (conv) {
    case 'o': return 8;
    case 'x': case 'X': return 16;
    case 'b': return 2;
    default: return 10;
  }
}

template <class Real>
void AppendRealImpl(std::string& out, const NumberSpec& field, char conv, Real value) {
  const bool negative = std::signbit(value);
  const char* sign = negative ? "-" : field.plus ? "+" : field.space ? " " : "";
  const Real magnitude = std::fabs(value);
  const bool upper = conv == 'E' || conv == 'G';
  if (!std::isfinite(magnitude)) {
    const char* text = std::isnan(magnitude) ? (upper ? "NAN" : "nan") : (upper ? "INF" : "inf");
    Emit(out, field, sign, 0, text, false);
    return;
  }
  const int precision = field.precision < 0 ? 6 : field.precision;
  std::chars_format fmt = std::chars_format::general;
  if (conv == 'f') fmt = std::chars_format::fixed;
  else if (conv == 'e' || conv == 'E') fmt = std::chars_format::scientific;
  // Fixed notation of the largest long double has 4933 integer digits.
  const std::size_t need = (fmt == std::chars_format::fixed ? 4940 : 40) +
                           static_cast<std::size_t>(precision);
  char small[512];
  std::unique_ptr<char[]> large;
  char* buf = small;
  if (need > sizeof small) {
    large = std::make_unique<char[]>(need);
    buf = large.get();
  }
  const auto r = std::to_chars(buf, buf + need, magnitude, fmt, precision);
  std::size_t n = static_cast<std::size_t>(r.ptr - buf);
  if (upper) {
    for (std::size_t i = 0; i < n; ++i) {
      if (buf[i] == 'e') buf[i] = 'E';
    }
  }
  Emit(out, field, sign, 0, std::string_view(buf, n), true);
}

}  // namespace

void AppendInteger(std::string& out, const NumberSpec& field, char conv, std::uint64_t magnitude,
                   bool negative) {
  const bool isSigned = conv == 'd' || conv == 'i';
  const char* sign = negative ? "-" : !isSigned ? "" : field.plus ? "+" : field.space ? " " : "";
  AppendPrefixed(out, field, sign, conv, magnitude);
}

void AppendPrefixed(std::string& out, const NumberSpec& field, std::string_view prefix,
                    char conv, std::uint64_t bits) {
  char buf[72];
  std::size_t n = 0;
  if (!(field.precision == 0 && bits == 0)) {
    n = Digits(buf, sizeof buf, bits, BaseOf(conv), conv == 'X');
  }
  const std::size_t zeros =
      field.precision > 0 && static_cast<std::size_t>(field.precision) > n
          ? static_cast<std::size_t>(field.precision) - n
          : 0;
  Emit(out, field, prefix, zeros, std::string_view(buf, n), field.precision < 0);
}

void AppendReal(std::string& out, const NumberSpec& field, char conv, double value) {
  AppendRealImpl(out, field, conv, value);
}
void AppendReal(std::string& out, const NumberSpec& field, char conv, long double value) {
  AppendRealImpl(out, field, conv, value);
}

void AppendPadded(std::string& out, const NumberSpec& field, std::string_view text) {
  NumberSpec blanks = field;
  blanks.zero = false;
  Emit(out, blanks, {}, 0, text, false);
}

std::string ScientificText(double value) {
  std::string s;
  AppendReal(s, NumberSpec{}, 'e', value);
  return s;
}

}  // namespace veqdx::io
