// Makes the node of one output. Whoever builds a CVelmoraQdx hands it this function as its
// OutputFactory; the driver calls it once per output name that discovery found and adds the
// node to its child map under the physical name.
#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "attributes/node.h"

namespace veqdx {
class CVelmoraQdx;
}

namespace veqdx::dcpwr {

// `physicalName` is "Output0" or "Output<channel>"; `channel` is the number ":INST:NSEL %d"
// selects for it. Null only when memory is exhausted.
std::unique_ptr<attr::CRepCap> CreateOutput(CVelmoraQdx& driver, std::string physicalName,
                                            std::int32_t channel);

}  // namespace veqdx::dcpwr
