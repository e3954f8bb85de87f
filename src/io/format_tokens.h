// Tokens of a format string, and the process-wide cache that tokenizes each distinct format
// once. Tokenizing cuts literal text by hand and matches every other item with one anchored
// regular expression per side (twelve write kinds, fifteen read kinds); the matched text is
// then decoded into a FormatItem so that running a cached format never touches the regex
// engine.
#pragma once
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace veqdx::io {

// Write kinds, numbered as the groups of the write expression.
enum class WriteKind : std::uint8_t {
  Literal, Integer, IntegerList, Real, RealList, Block, BlockLf, Raw, Char, String,
  StringList, Enum, EnumList,
};
// Read kinds, numbered as the groups of the read expression.
enum class ReadKind : std::uint8_t {
  Literal, Integer, IntegerList, Real, RealList, Block, Raw, Char, RestToTerm, RestToEnd, Word,
  CharSet, StringList, EnumWord, EnumSet, EnumList,
};

// Where a width, precision or count comes from.
enum class NumSource : std::uint8_t { None, Digits, Star, Hash };

// One token, decoded. Fields that a kind does not have keep their defaults.
struct FormatItem {
  std::uint8_t kind = 0;   // WriteKind or ReadKind
  std::string text;        // literal: the characters to write / match; else the item as written
  bool suppress = false;   // read "*": parse, do not store
  bool left = false, plus = false, space = false, zero = false;  // write flags
  char form = 0;           // number form after '@': '1' '2' '3' 'H' 'Q' 'B'
  NumSource widthFrom = NumSource::None;
  std::int64_t width = -1;
  NumSource precisionFrom = NumSource::None;
  std::int64_t precision = -1;
  bool list = false;
  std::string separators;  // decoded separator characters of a list
  char badSeparator = 0;   // a letter in "(...)" outside the separator table
  NumSource countFrom = NumSource::None;
  std::int64_t count = -1;
  bool safeArray = false;  // "$S"
  char byteOrder = 0;      // 'b' / 'l' after "!o"
  char stringForm = 0;     // 'B' / 'C' after '$'
  char quote = 0;          // '\'' for q, '"' for Q
  char length = 0;         // 'l' 'h' 'b' 'I' 'L' 'z' 'Z'
  char conv = 0;           // conversion letter; '[' for character sets
  std::string enumName;    // trimmed text between the braces
  bool setNegated = false;
  std::bitset<256> set;    // members of a "[...]" set
};

struct ParsedFormat {
  std::string source;
  std::vector<FormatItem> items;
  std::size_t argCount = 0;  // arguments the format consumes, stars and '#' included
  std::string error;         // not empty: the format could not be tokenized
};

// A tokenized format: a cached one (lives for the process) or one owned by the handle.
class FormatHandle {
 public:
  FormatHandle(const ParsedFormat* cached, std::unique_ptr<ParsedFormat> owned)
      : format_(cached), owned_(std::move(owned)) {
    if (owned_) format_ = owned_.get();
  }
  const ParsedFormat& operator*() const { return *format_; }
  const ParsedFormat* operator->() const { return format_; }

 private:
  const ParsedFormat* format_;
  std::unique_ptr<ParsedFormat> owned_;
};

FormatHandle GetWriteFormat(std::string_view format);
FormatHandle GetReadFormat(std::string_view format);

// Tokenizes without the cache (tests, and formats beyond the cache's bound).
std::unique_ptr<ParsedFormat> TokenizeWriteFormat(std::string_view format);
std::unique_ptr<ParsedFormat> TokenizeReadFormat(std::string_view format);

// Number of times the regular expressions ran since the process started: lets tests check
// that a cached format is never tokenized again.
std::uint64_t TokenizerRunCount();

// Formats kept in the cache at most; further distinct formats are tokenized on every use,
// so that a flood of generated formats cannot grow memory without bound.
constexpr std::size_t kFormatCacheLimit = 4096;

}  // namespace veqdx::io
