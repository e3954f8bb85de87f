// IVelmoraQdxGlobal: write-only settings that the instrument applies to every output at once.
//
//   CGlobal global(driver);
//   global.put_VoltageLevel(5);          // ":GLOB:VOLT 5", sent once whatever the outputs
//
// No channel selection, no range check, no cache: a global level leaves every output's cached
// level as it was. The setters have no simulation shortcut of their own: they hand the command
// to the I/O session in every mode, and a simulated session has no device, so there they fail
// with the I/O error 0x80044214 ("VelmoraQdx: I/O error: ."), sending nothing.
#pragma once
#include <utility>

#include "base/hresult.h"
#include "dcpwr/driver_ref.h"
#include "veqdx/interfaces.hpp"

namespace veqdx::dcpwr {

class CGlobal final : public IVelmoraQdxGlobal {
 public:
  static constexpr const char* kInterface = "IVelmoraQdxGlobal";

  explicit CGlobal(CDriverRef driver) noexcept : driver_(std::move(driver)) {}

  HRESULT put_Enabled(VARIANT_BOOL val) override;      // ":GLOB:OUTP %{VARIANT_BOOL}s"
  HRESULT put_VoltageLevel(double val) override;       // ":GLOB:VOLT %0.15lg"
  HRESULT put_CurrentLimit(double val) override;       // ":GLOB:CURR %0.15lg"

 private:
  CDriverRef driver_;
};

}  // namespace veqdx::dcpwr
