// Type-safe arguments of the formatted I/O engine.
//
// printf/scanf style engines usually take C varargs, where a wrong type or a missing argument
// is silent memory corruption. Here every call site's arguments become an array of
// FormatArg records (kind of value, element type, address, element count) built at compile
// time from the real C++ types, so the engine can check each format item against what was
// actually passed and fail with an invalid-argument error instead.
//
// Write side: values (integers, enums, floating point, strings) and arrays (std::span,
// std::vector, std::array) for lists and blocks. Read side: pointers to scalars,
// std::string* / CountedString* for strings, std::span<T> views for arrays and char buffers.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace veqdx::io {

// The counted string of the read side's "$C" destinations (and accepted as a write
// argument): text with an explicit length, so embedded zero bytes survive.
class CountedString {
 public:
  CountedString() = default;
  explicit CountedString(std::string_view text) : text_(text) {}

  std::size_t Length() const noexcept { return text_.size(); }
  bool Empty() const noexcept { return text_.empty(); }
  const char* CStr() const noexcept { return text_.c_str(); }
  std::string_view View() const noexcept { return text_; }
  const std::string& Str() const noexcept { return text_; }
  void Assign(std::string_view text) { text_.assign(text); }
  void Assign(std::string&& text) noexcept { text_ = std::move(text); }
  void Clear() noexcept { text_.clear(); }

  friend bool operator==(const CountedString& a, std::string_view b) { return a.text_ == b; }

 private:
  std::string text_;
};

// Element type of an argument (of the value itself, or of the array's elements).
enum class ArgElem : std::uint8_t {
  None,  // not usable by the engine
  I8, U8, I16, U16, I32, U32, I64, U64,
  F32, F64, F80,
  Char,     // char: a character, or an 8-bit integer
  Byte,     // std::byte
  CStr,     // const char* (zero-terminated)
  String,   // std::string
  View,     // std::string_view
  Counted,  // CountedString
};

enum class ArgShape : std::uint8_t {
  Value,     // write side: ptr -> the value (CStr: ptr is the character pointer itself)
  Array,     // write side: ptr -> first element, count elements
  Out,       // read side: ptr -> the destination object
  OutArray,  // read side: ptr -> first element of a writable array, count elements
  Null,      // a null pointer was passed
};

struct FormatArg {
  ArgShape shape = ArgShape::Null;
  ArgElem elem = ArgElem::None;
  const void* ptr = nullptr;
  std::size_t count = 0;
};

// Human-readable name of an argument's type, for error texts ("a 16-bit integer pointer").
std::string DescribeArg(const FormatArg& arg);

namespace detail {

template <class>
inline constexpr bool kUnsupportedArgument = false;

template <class T>
constexpr ArgElem ElemOf() {
  using U = std::remove_cv_t<T>;
  if constexpr (std::is_same_v<U, bool>) {
    return ArgElem::None;  // pass VARIANT_BOOL (int16_t) for booleans
  } else if constexpr (std::is_same_v<U, char>) {
    return ArgElem::Char;
  } else if constexpr (std::is_same_v<U, std::byte>) {
    return ArgElem::Byte;
  } else if constexpr (std::is_enum_v<U>) {
    return ElemOf<std::underlying_type_t<U>>();
  } else if constexpr (std::is_integral_v<U>) {
    constexpr bool s = std::is_signed_v<U>;
    if constexpr (sizeof(U) == 1) return s ? ArgElem::I8 : ArgElem::U8;
    else if constexpr (sizeof(U) == 2) return s ? ArgElem::I16 : ArgElem::U16;
    else if constexpr (sizeof(U) == 4) return s ? ArgElem::I32 : ArgElem::U32;
    else if constexpr (sizeof(U) == 8) return s ? ArgElem::I64 : ArgElem::U64;
    else return ArgElem::None;
  } else if constexpr (std::is_same_v<U, float>) {
    return ArgElem::F32;
  } else if constexpr (std::is_same_v<U, double>) {
    return ArgElem::F64;
  } else if constexpr (std::is_same_v<U, long double>) {
    return ArgElem::F80;
  } else if constexpr (std::is_same_v<U, std::string>) {
    return ArgElem::String;
  } else if constexpr (std::is_same_v<U, std::string_view>) {
    return ArgElem::View;
  } else if constexpr (std::is_same_v<U, CountedString>) {
    return ArgElem::Counted;
  } else if constexpr (std::is_same_v<U, const char*> || std::is_same_v<U, char*>) {
    return ArgElem::CStr;
  } else {
    return ArgElem::None;
  }
}

template <class T>
struct IsSpan : std::false_type {};
template <class T, std::size_t N>
struct IsSpan<std::span<T, N>> : std::true_type {};
template <class T>
struct IsVector : std::false_type {};
template <class T, class A>
struct IsVector<std::vector<T, A>> : std::true_type {};
template <class T>
struct IsStdArray : std::false_type {};
template <class T, std::size_t N>
struct IsStdArray<std::array<T, N>> : std::true_type {};

}  // namespace detail

// One write argument, by value.
template <class T>
FormatArg MakeWriteArg(const T& value) {
  using U = std::remove_cv_t<T>;
  if constexpr (std::is_same_v<U, std::nullptr_t>) {
    return {ArgShape::Null, ArgElem::None, nullptr, 0};
  } else if constexpr (std::is_array_v<U> &&
                       std::is_same_v<std::remove_cv_t<std::remove_extent_t<U>>, char>) {
    return {ArgShape::Value, ArgElem::CStr, value, 1};  // a string literal
  } else if constexpr (std::is_pointer_v<U>) {
    static_assert(std::is_same_v<std::remove_cv_t<std::remove_pointer_t<U>>, char>,
                  "pointer arguments to a formatted write must be character strings");
    if (value == nullptr) return {ArgShape::Null, ArgElem::CStr, nullptr, 0};
    return {ArgShape::Value, ArgElem::CStr, value, 1};
  } else if constexpr (detail::IsSpan<U>::value || detail::IsVector<U>::value ||
                       detail::IsStdArray<U>::value) {
    using E = typename U::value_type;
    constexpr ArgElem elem = detail::ElemOf<E>();
    static_assert(elem != ArgElem::None, "unsupported element type for a list or block");
    return {ArgShape::Array, elem, static_cast<const void*>(value.data()), value.size()};
  } else {
    constexpr ArgElem elem = detail::ElemOf<U>();
    static_assert(elem != ArgElem::None, "unsupported formatted write argument type");
    return {ArgShape::Value, elem, static_cast<const void*>(&value), 1};
  }
}

// One read argument: a pointer to the destination, or a writable span.
template <class T>
FormatArg MakeReadArg(const T& dest) {
  using U = std::remove_cv_t<T>;
  if constexpr (std::is_same_v<U, std::nullptr_t>) {
    return {ArgShape::Null, ArgElem::None, nullptr, 0};
  } else if constexpr (std::is_pointer_v<U>) {
    using P = std::remove_pointer_t<U>;
    static_assert(!std::is_const_v<P>, "read destinations must be writable");
    constexpr ArgElem elem = detail::ElemOf<P>();
    static_assert(elem != ArgElem::None && elem != ArgElem::CStr && elem != ArgElem::View,
                  "unsupported formatted read destination type");
    if (dest == nullptr) return {ArgShape::Null, elem, nullptr, 0};
    return {ArgShape::Out, elem, static_cast<const void*>(dest), 1};
  } else if constexpr (detail::IsSpan<U>::value) {
    using E = typename U::element_type;
    static_assert(!std::is_const_v<E>, "read destinations must be writable");
    constexpr ArgElem elem = detail::ElemOf<E>();
    static_assert(elem != ArgElem::None && elem != ArgElem::CStr && elem != ArgElem::View,
                  "unsupported element type for a read array");
    return {ArgShape::OutArray, elem, static_cast<const void*>(dest.data()), dest.size()};
  } else {
    static_assert(detail::kUnsupportedArgument<U>,
                  "formatted read arguments are pointers or std::span views");
    return {};
  }
}

}  // namespace veqdx::io
