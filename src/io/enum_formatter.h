// How the formatted I/O engine turns enumeration values into instrument keywords and back.
// The driver implements it with its converter tables; the engine only knows the names.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "base/hresult.h"

namespace veqdx::io {

class IEnumFormatter {
 public:
  virtual ~IEnumFormatter() = default;
  // Keyword for `value` of the enumeration `name` ("VARIANT_BOOL" values are 16-bit, passed
  // widened). On failure the implementation has reported the error ("Unrecognized enum name
  // '%s'." or the invalid-value error) and returns its HRESULT.
  virtual HRESULT FormatEnum(std::string_view name, std::int32_t value, std::string& keyword) = 0;
  // Value for a reply word; failures as above ("Unexpected value '%s' for enum '%s'.").
  virtual HRESULT ParseEnum(std::string_view name, std::string_view reply,
                            std::int32_t& value) = 0;
};

}  // namespace veqdx::io
