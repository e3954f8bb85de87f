#include "dcpwr/output_factory.h"

#include <new>

#include "dcpwr/output.h"

namespace veqdx::dcpwr {

std::unique_ptr<attr::CRepCap> CreateOutput(CVelmoraQdx& driver, std::string physicalName,
                                            std::int32_t channel) {
  return std::unique_ptr<attr::CRepCap>(
      new (std::nothrow) CVelmoraQdxOutput(driver, std::move(physicalName), channel));
}

}  // namespace veqdx::dcpwr
