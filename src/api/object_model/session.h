// One session of the object model: the driver object of one Initialize. The root object
// (root.h) starts a new session when it is initialized again after Close, so that whoever still
// holds an output of the old session holds an object that is alive (and answers "not
// initialized") rather than one the new session destroyed.
//
// Everything that points into a session (an output) keeps it alive through a shared_ptr to it,
// or through the root that keeps it (pointersHandedOut).
#pragma once
#include <atomic>

#include "api/initial_settings.h"
#include "core/velmoraqdx.h"
#include "dcpwr/output_factory.h"

namespace veqdx::api {

struct Session {
  Session() { InstallInitialSettings(driver); }

  CVelmoraQdx driver{dcpwr::CreateOutput};

  // Set once a plain pointer into this session has left the root (an output from get_Item):
  // from then on the root keeps the session for its own lifetime,
  // since nobody can tell when such a pointer is dropped.
  std::atomic<bool> pointersHandedOut{false};
};

}  // namespace veqdx::api
