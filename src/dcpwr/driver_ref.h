// The driver a driver-wide facet (trigger, system, global, status) works on. The flat
// functions bind a facet to their session's driver for one call; the object model's root binds
// its facets, for its whole life, to whichever session is current, so that a facet pointer
// taken once keeps working after Close and a new Initialize.
#pragma once
#include <functional>
#include <memory>
#include <utility>

namespace veqdx {
class CVelmoraQdx;
}

namespace veqdx::dcpwr {

class CDriverRef {
 public:
  using Current = std::function<std::shared_ptr<CVelmoraQdx>()>;

  // A fixed driver that outlives the facet.
  CDriverRef(CVelmoraQdx& driver) noexcept : fixed_(&driver) {}  // implicit: CTrigger(driver)
  // Whatever `current` answers at each call.
  explicit CDriverRef(Current current) noexcept : current_(std::move(current)) {}

  // The driver, kept alive for as long as the result is held (one call).
  std::shared_ptr<CVelmoraQdx> Lease() const {
    if (fixed_ != nullptr) return std::shared_ptr<CVelmoraQdx>(std::shared_ptr<void>(), fixed_);
    return current_();
  }

 private:
  CVelmoraQdx* fixed_ = nullptr;
  Current current_;
};

}  // namespace veqdx::dcpwr
