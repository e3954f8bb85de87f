#include "io/format_tokens.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <mutex>
#include <regex>
#include <shared_mutex>
#include <unordered_map>

#include "base/text.h"

namespace veqdx::io {
namespace {

// --- the two expressions -------------------------------------------------------------------
// Every kind but the literal, which Tokenize cuts by hand: a literal run can be as long as the
// format, and the regex engine recurses once per character it matches. Group g of an
// expression is kind g.
// Building blocks. A blank is a space or tab; list markers bind tightly: ',' or "(...)".
// Everything inside "(...)" is accepted here so that a wrong separator letter is reported as
// an invalid argument by the writer/reader rather than as an untokenizable format.
#define VQ_BLANKS "[ \\t]*"
#define VQ_FORM "(?:@[123HQB])?"
#define VQ_PREC "(?:\\.(?:[0-9]+|\\*))?"
#define VQ_MARK "(?:,|\\([^)]*\\))"
#define VQ_WCOUNT "(?:[0-9]+|\\*)?"
#define VQ_RCOUNT "(?:[0-9]+|#)?"
#define VQ_INT "[diouxX]"
#define VQ_REAL "[feEgG]"

const char* const kWritePatterns[] = {
    /* 1 integer       */ "%" VQ_BLANKS "[-+0 ]*" VQ_FORM "(?:[0-9]+|0*\\*)?" VQ_PREC "[lhbI]?" VQ_INT,
    /* 2 integer list  */ "%" VQ_BLANKS "[-+0 ]*" VQ_FORM "(?:[0-9]+|0*\\*)?" VQ_PREC VQ_MARK VQ_BLANKS
                          VQ_WCOUNT "(?:\\$S)?[lhbI]?" VQ_INT,
    /* 3 real          */ "%" VQ_BLANKS "[-+0 ]*" VQ_FORM "(?:[0-9]+|0*\\*)?" VQ_PREC "[lL]?" VQ_REAL,
    /* 4 real list     */ "%" VQ_BLANKS "[-+0 ]*" VQ_FORM "(?:[0-9]+|0*\\*)?" VQ_PREC VQ_MARK VQ_BLANKS
                          VQ_WCOUNT "(?:\\$S)?[lL]?" VQ_REAL,
    /* 5 block         */ "%" VQ_WCOUNT "(?:\\$S)?[hlzZI]?b",
    /* 6 block + LF    */ "%" VQ_WCOUNT "(?:\\$S)?[hlzZI]?B",
    /* 7 raw binary    */ "%" VQ_WCOUNT "(?:!o[bl])?(?:\\$S)?[hlI]?y",
    /* 8 character     */ "%-?" VQ_WCOUNT VQ_PREC "c",
    /* 9 string        */ "%-?" VQ_WCOUNT VQ_PREC "(?:\\$[BC])?[qQ]?s",
    /* 10 string list  */ "%-?" VQ_WCOUNT VQ_PREC VQ_MARK VQ_BLANKS VQ_WCOUNT
                          "(?:\\$S)?(?:\\$[BC])?[qQ]?s",
    /* 11 enum         */ "%\\{[^}]*\\}-?" VQ_WCOUNT VQ_PREC "[qQ]?s",
    /* 12 enum list    */ "%\\{[^}]*\\}-?" VQ_WCOUNT VQ_PREC VQ_MARK VQ_BLANKS VQ_WCOUNT
                          "(?:\\$S)?[qQ]?s",
};

#define VQ_RSTART "%" VQ_BLANKS "\\*?" VQ_BLANKS
const char* const kReadPatterns[] = {
    /* 1 integer        */ VQ_RSTART VQ_FORM VQ_RCOUNT "[lhbI]?" VQ_INT,
    /* 2 integer list   */ VQ_RSTART VQ_FORM VQ_RCOUNT VQ_MARK VQ_BLANKS VQ_RCOUNT "(?:\\$S)?[lhbI]?" VQ_INT,
    /* 3 real           */ VQ_RSTART VQ_FORM VQ_RCOUNT "[lL]?" VQ_REAL,
    /* 4 real list      */ VQ_RSTART VQ_FORM VQ_RCOUNT VQ_MARK VQ_BLANKS VQ_RCOUNT "(?:\\$S)?[lL]?" VQ_REAL,
    /* 5 binary block   */ VQ_RSTART VQ_RCOUNT "(?:\\$S)?[hlzZI]?b",
    /* 6 raw binary     */ VQ_RSTART VQ_RCOUNT "(?:!o[bl])?(?:\\$S)?[hlI]?y",
    /* 7 character      */ VQ_RSTART VQ_RCOUNT "c",
    /* 8 to terminator  */ VQ_RSTART VQ_RCOUNT "(?:\\$[BC])?T",
    /* 9 to END         */ VQ_RSTART VQ_RCOUNT "(?:\\$[BC])?t",
    /* 10 word          */ VQ_RSTART VQ_RCOUNT "(?:\\$[BC])?s",
    /* 11 character set */ VQ_RSTART VQ_RCOUNT "(?:\\$[BC])?\\[\\^?[^\\]]*\\]",
    /* 12 string list   */ VQ_RSTART VQ_RCOUNT VQ_MARK VQ_BLANKS VQ_RCOUNT "(?:\\$S)?(?:\\$[BC])?[qQ]?s",
    /* 13 enum word     */ "%\\{[^}]*\\}\\*?" VQ_RCOUNT "[qQ]?s",
    /* 14 enum set      */ "%\\{[^}]*\\}\\*?" VQ_RCOUNT "\\[\\^?[^\\]]*\\]",
    /* 15 enum list     */ "%\\{[^}]*\\}\\*?" VQ_RCOUNT VQ_MARK VQ_BLANKS VQ_RCOUNT "(?:\\$S)?[qQ]?s",
};

template <std::size_t N>
std::string CombinedPattern(const char* const (&patterns)[N]) {
  std::string all = "^(?:";
  for (std::size_t i = 0; i < N; ++i) {
    if (i != 0) all += '|';
    all += '(';
    all += patterns[i];
    all += ')';
  }
  all += ')';
  return all;
}

const std::regex& WriteExpression() {
  static const std::regex re(CombinedPattern(kWritePatterns), std::regex::ECMAScript);
  return re;
}
const std::regex& ReadExpression() {
  static const std::regex re(CombinedPattern(kReadPatterns), std::regex::ECMAScript);
  return re;
}

std::atomic<std::uint64_t> g_tokenizerRuns{0};

// The regex engine recurses once per character matched; matching a window of the format at
// a time keeps the depth bounded for any format length. Literal runs are cut into pieces of
// the same length, which the writer and the reader treat as one text.
constexpr std::size_t kMatchWindow = 256;

// Length of the literal token at the start of `rest`: a run of characters other than '%' (at
// most kMatchWindow of them), or "%%". Zero when `rest` starts with another item. A plain
// scan, so the stack stays flat however long the run.
std::size_t LiteralLength(std::string_view rest) {
  if (rest.empty()) return 0;
  if (rest[0] == '%') return rest.size() >= 2 && rest[1] == '%' ? 2 : 0;
  const std::size_t end = rest.substr(0, kMatchWindow).find('%');
  return end == std::string_view::npos ? std::min(rest.size(), kMatchWindow) : end;
}

// --- decoding a matched token ----------------------------------------------------------------

// Saturates long digit runs instead of overflowing; the writer rejects anything this large.
constexpr std::int64_t kNumberCap = std::int64_t{1} << 40;

class ItemDecoder {
 public:
  ItemDecoder(std::string_view token, bool readSide) : t_(token), read_(readSide) {}

  FormatItem Decode(std::uint8_t kind) {
    FormatItem it;
    it.kind = kind;
    if (kind == 0) {
      it.text = t_ == "%%" ? std::string("%") : std::string(t_);
      return it;
    }
    it.text = std::string(t_);
    const bool blockLike = read_ ? (kind == static_cast<std::uint8_t>(ReadKind::Block) ||
                                    kind == static_cast<std::uint8_t>(ReadKind::Raw))
                                 : (kind >= static_cast<std::uint8_t>(WriteKind::Block) &&
                                    kind <= static_cast<std::uint8_t>(WriteKind::Raw));
    i_ = 1;
    if (At(i_) == '{') {
      const std::size_t close = t_.find('}', i_);
      it.enumName = TrimBlanks(t_.substr(i_ + 1, close - i_ - 1));
      i_ = close + 1;
    }
    if (read_) {
      SkipBlanks();
      if (At(i_) == '*') {
        it.suppress = true;
        ++i_;
        SkipBlanks();
      }
    } else if (!blockLike) {
      // A blank after '%' is printf's blank flag; blocks have no flags ("%0b" is a count).
      for (;; ++i_) {
        const char c = At(i_);
        if (c == '\t') continue;
        if (c == '-') it.left = true;
        else if (c == '+') it.plus = true;
        else if (c == '0') it.zero = true;
        else if (c == ' ') it.space = true;
        else break;
      }
    }
    if (At(i_) == '@') {
      it.form = At(i_ + 1);
      i_ += 2;
    }
    Number(it.widthFrom, it.width);
    if (At(i_) == '.') {
      ++i_;
      Number(it.precisionFrom, it.precision);
    }
    if (At(i_) == ',' || At(i_) == '(') {
      it.list = true;
      if (At(i_) == ',') {
        it.separators = ",";
        ++i_;
      } else {
        const std::size_t close = t_.find(')', i_);
        DecodeSeparators(t_.substr(i_ + 1, close - i_ - 1), it);
        i_ = close + 1;
      }
      SkipBlanks();
      Number(it.countFrom, it.count);
    }
    if (blockLike) {  // "%12b": the number after '%' is the element count
      it.countFrom = it.widthFrom;
      it.count = it.width;
      it.widthFrom = NumSource::None;
      it.width = -1;
    }
    for (;;) {  // "$S", "!ob"/"!ol", "$B"/"$C": order varies between kinds
      if (At(i_) == '$' && At(i_ + 1) == 'S') {
        it.safeArray = true;
        i_ += 2;
      } else if (At(i_) == '!') {
        it.byteOrder = At(i_ + 2);
        i_ += 3;
      } else if (At(i_) == '$' && (At(i_ + 1) == 'B' || At(i_ + 1) == 'C')) {
        it.stringForm = At(i_ + 1);
        i_ += 2;
      } else {
        break;
      }
    }
    if (At(i_) == '[') {
      it.conv = '[';
      std::size_t k = i_ + 1;
      if (At(k) == '^') {
        it.setNegated = true;
        ++k;
      }
      for (; k + 1 < t_.size(); ++k) it.set.set(static_cast<unsigned char>(t_[k]));
      return it;
    }
    it.conv = t_.back();
    const std::size_t last = t_.size() - 1;
    if (i_ < last && (At(i_) == 'q' || At(i_) == 'Q')) {
      it.quote = At(i_) == 'q' ? '\'' : '"';
      ++i_;
    }
    if (i_ < last) it.length = At(i_);
    return it;
  }

 private:
  char At(std::size_t k) const { return k < t_.size() ? t_[k] : '\0'; }
  void SkipBlanks() {
    while (At(i_) == ' ' || At(i_) == '\t') ++i_;
  }
  void Number(NumSource& from, std::int64_t& value) {
    const char c = At(i_);
    if (c == '*' && !read_) {
      from = NumSource::Star;
      ++i_;
    } else if (c == '#' && read_) {
      from = NumSource::Hash;
      ++i_;
    } else if (c >= '0' && c <= '9') {
      from = NumSource::Digits;
      value = 0;
      while (At(i_) >= '0' && At(i_) <= '9') {
        value = std::min(kNumberCap, value * 10 + (At(i_) - '0'));
        ++i_;
      }
    }
  }
  static void DecodeSeparators(std::string_view letters, FormatItem& it) {
    if (letters.empty()) it.badSeparator = ')';
    for (const char c : letters) {
      switch (c) {
        case ',': case ':': case ';': it.separators += c; break;
        case 'n': it.separators += '\n'; break;
        case 'r': it.separators += '\r'; break;
        case 's': it.separators += ' '; break;
        case 't': it.separators += '\t'; break;
        default:
          if (it.badSeparator == 0) it.badSeparator = c;
      }
    }
  }

  std::string_view t_;
  bool read_;
  std::size_t i_ = 0;
};

std::size_t ArgumentsOf(const FormatItem& it, bool readSide) {
  if (it.kind == 0) return 0;
  if (readSide) {
    return (it.widthFrom == NumSource::Hash) + (it.countFrom == NumSource::Hash) +
           (it.suppress ? 0 : 1);
  }
  return (it.widthFrom == NumSource::Star) + (it.precisionFrom == NumSource::Star) +
         (it.countFrom == NumSource::Star) + 1;
}

std::unique_ptr<ParsedFormat> Tokenize(std::string_view format, bool readSide) {
  auto parsed = std::make_unique<ParsedFormat>();
  parsed->source = std::string(format);
  g_tokenizerRuns.fetch_add(1, std::memory_order_relaxed);
  const std::regex& re = readSide ? ReadExpression() : WriteExpression();
  std::cmatch m;
  std::size_t pos = 0;
  while (pos < format.size()) {
    const char* first = format.data() + pos;
    std::uint8_t kind = 0;  // the literal
    std::size_t length = LiteralLength(format.substr(pos));
    if (length == 0) {
      const char* last = format.data() + std::min(format.size(), pos + kMatchWindow);
      if (!std::regex_search(first, last, m, re, std::regex_constants::match_continuous) ||
          m.length(0) == 0) {
        const std::string_view rest = format.substr(pos, 20);
        parsed->error = "invalid format item at \"" + std::string(rest) + "\"";
        parsed->items.clear();
        parsed->argCount = 0;
        return parsed;
      }
      for (std::size_t g = 1; g < m.size(); ++g) {
        if (m[g].matched) {
          kind = static_cast<std::uint8_t>(g);
          break;
        }
      }
      length = static_cast<std::size_t>(m.length(0));
    }
    const std::string_view token(first, length);
    parsed->items.push_back(ItemDecoder(token, readSide).Decode(kind));
    parsed->argCount += ArgumentsOf(parsed->items.back(), readSide);
    pos += token.size();
  }
  return parsed;
}

// --- the cache ---------------------------------------------------------------------------------

struct TransparentHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view s) const noexcept {
    return std::hash<std::string_view>{}(s);
  }
};

struct FormatCache {
  std::shared_mutex mutex;
  std::unordered_map<std::string, std::unique_ptr<ParsedFormat>, TransparentHash,
                     std::equal_to<>>
      formats;
};

// Per-thread front of the cache: a direct-mapped table keyed by a cheap hash of the text and
// confirmed by comparing it, so a hit costs no lock. The text, not its address, is the key:
// a query's command is often formatted into a fresh string on every call.
struct FrontSlot {
  const ParsedFormat* format = nullptr;
};
constexpr std::size_t kFrontSlots = 64;
using Front = std::array<FrontSlot, kFrontSlots>;

std::size_t FrontIndex(std::string_view format) {
  std::size_t h = format.size();
  for (char c : format) h = 33 * h + static_cast<unsigned char>(c);
  return (h ^ (h >> 7)) % kFrontSlots;
}

FormatHandle Lookup(std::string_view format, bool readSide) {
  // Leaked on purpose: formats may still be used by other statics' destructors at exit.
  static FormatCache* const writeCache = new FormatCache;
  static FormatCache* const readCache = new FormatCache;
  thread_local Front writeFront;
  thread_local Front readFront;

  Front& front = readSide ? readFront : writeFront;
  FrontSlot& slot = front[FrontIndex(format)];
  if (slot.format != nullptr && slot.format->source == format)
    return FormatHandle(slot.format, nullptr);
  FormatCache& cache = readSide ? *readCache : *writeCache;
  {
    std::shared_lock lock(cache.mutex);
    auto it = cache.formats.find(format);
    if (it != cache.formats.end()) {
      slot.format = it->second.get();
      return FormatHandle(slot.format, nullptr);
    }
  }
  // Tokenized under the exclusive lock, so that threads meeting a new format at the same
  // time run the expression once between them (only the first use of a format pays this).
  std::unique_lock lock(cache.mutex);
  auto it = cache.formats.find(format);
  if (it == cache.formats.end()) {
    std::unique_ptr<ParsedFormat> parsed = Tokenize(format, readSide);
    if (cache.formats.size() >= kFormatCacheLimit) return FormatHandle(nullptr, std::move(parsed));
    it = cache.formats.emplace(std::string(format), std::move(parsed)).first;
  }
  slot.format = it->second.get();
  return FormatHandle(slot.format, nullptr);
}

}  // namespace

FormatHandle GetWriteFormat(std::string_view format) { return Lookup(format, false); }
FormatHandle GetReadFormat(std::string_view format) { return Lookup(format, true); }
std::unique_ptr<ParsedFormat> TokenizeWriteFormat(std::string_view format) {
  return Tokenize(format, false);
}
std::unique_ptr<ParsedFormat> TokenizeReadFormat(std::string_view format) {
  return Tokenize(format, true);
}
std::uint64_t TokenizerRunCount() { return g_tokenizerRuns.load(std::memory_order_relaxed); }

}  // namespace veqdx::io
