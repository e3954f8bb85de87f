// The attribute table of the C interface carries every output property.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "api/attribute_table.h"
#include "dcpwr/output_properties.h"

namespace veqdx::api {
namespace {

using dcpwr::PropertyInfo;
using dcpwr::props::kOutputProperties;

bool IsOutputProperty(std::string_view name) {
  for (const PropertyInfo* p : kOutputProperties)
    if (p->Name() == name) return true;
  return false;
}

TEST(PropertyList, AttributeTableHasEveryOutputPropertyOnce) {
  std::size_t count = 0;
  const AttributeRecord* records = AttributeRecords(&count);
  for (const PropertyInfo* p : kOutputProperties) {
    int found = 0;
    for (std::size_t i = 0; i < count; ++i) {
      const AttributeRecord& r = records[i];
      if (r.name != p->Name()) continue;
      ++found;
      EXPECT_TRUE(r.perOutput && r.get != nullptr && r.set != nullptr) << r.name;
    }
    EXPECT_EQ(found, 1) << p->Name();
  }
  // The other way round: a per-output attribute is a listed property, except the
  // class-compliant OVPEnabled, which the instrument has no command for.
  for (std::size_t i = 0; i < count; ++i) {
    const AttributeRecord& r = records[i];
    if (r.perOutput && std::string_view(r.name) != "OVPEnabled") {
      EXPECT_TRUE(IsOutputProperty(r.name)) << r.name;
    }
  }
}

}  // namespace
}  // namespace veqdx::api
