// The numbered attributes of the C interface: one record per identifier, built once, leading
// to the object-layer property. Access goes through the property itself, so range checks,
// the cache and simulation behave exactly as for a C++ caller.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/hresult.h"
#include "veqdx.h"

namespace veqdx {
class CVelmoraQdx;
}
namespace veqdx::dcpwr {
class CVelmoraQdxOutput;
}

namespace veqdx::api {

// The IVI-C type codes.
enum class AttrType : std::int32_t {
  Int32 = 1,
  Real64 = 3,
  Boolean = 4,
  String = 6,
  Session = 7,  // no attribute of this driver has it; veqdx_...ViSession always mismatches
};

// "ViInt32", "ViReal64", ...
const char* AttrTypeName(AttrType type);

// A value on its way to or from a property; only the member of the attribute's type is used.
struct AttrValue {
  std::int32_t int32 = 0;
  double real64 = 0;
  bool boolean = false;
  std::string string;
};

// What a getter or setter works on: the session, and the output for per-output attributes
// (null for the others).
struct AttrTarget {
  CVelmoraQdx& driver;
  dcpwr::CVelmoraQdxOutput* output = nullptr;
};

struct AttributeRecord {
  ViAttr id;
  AttrType type;
  bool perOutput;    // honours the selector; the others ignore it
  const char* name;  // the property, for descriptions
  HRESULT (*get)(AttrTarget&, AttrValue&);        // null: write-only
  HRESULT (*set)(AttrTarget&, const AttrValue&);  // null: read-only
};

// The record of `id`, or null when the driver has no such attribute.
const AttributeRecord* FindAttribute(ViAttr id);
// Every record, in identifier table order (for tests and tools).
const AttributeRecord* AttributeRecords(std::size_t* count);

// The identifier of `name`, a VEQDX_ATTR_... name of veqdx.h or a decimal identifier; 0 when
// it is neither.
ViAttr AttributeIdByName(std::string_view name);

// veqdx_GetAttributeViInt32 reads the inherent channel count under this identifier as the
// output count; the other typed functions do not know it.
constexpr ViAttr kChannelCountAttribute = 1050203;
constexpr ViAttr kOutputCountAttribute = 1250203;

}  // namespace veqdx::api
