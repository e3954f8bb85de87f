#include "dcpwr/global.h"

#include "core/velmoraqdx.h"
#include "dcpwr/accessor.h"

namespace veqdx::dcpwr {
namespace {

// The write half of the accessor sequence without its simulation and cache steps: the
// command goes to the I/O session as it is, once, for the whole instrument.
template <class T>
HRESULT PutGlobal(const CDriverRef& ref, const char* member, const char* format, T val) {
  const std::shared_ptr<CVelmoraQdx> driver = ref.Lease();
  const AccessTarget root{*driver, *driver, kNoChannel};
  return RunMember(root, CGlobal::kInterface, member,
                   [&]() -> HRESULT {
                     TraceIn("val", val);
                     return SendCommand(root, false, format, val);
                   });
}

}  // namespace

HRESULT CGlobal::put_Enabled(VARIANT_BOOL val) {
  // The keyword comes from the converter of the context "IVelmoraQdxGlobal.Enabled".
  return PutGlobal(driver_, "put_Enabled", ":GLOB:OUTP %{VARIANT_BOOL}s", val);
}

HRESULT CGlobal::put_VoltageLevel(double val) {
  return PutGlobal(driver_, "put_VoltageLevel", ":GLOB:VOLT %0.15lg", val);
}

HRESULT CGlobal::put_CurrentLimit(double val) {
  return PutGlobal(driver_, "put_CurrentLimit", ":GLOB:CURR %0.15lg", val);
}

}  // namespace veqdx::dcpwr
