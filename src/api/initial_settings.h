// Configurable initial settings of the configuration store, applied through the numbered
// attributes' setters, exactly as veqdx_SetAttribute... would apply them.
#pragma once
#include "base/hresult.h"
#include "core/options.h"

namespace veqdx {
class CVelmoraQdx;
}

namespace veqdx::api {

// Applies `setting` to `driver` (an initialized session whose outputs exist). Failures are
// reported through the driver's reporter: an unknown or read-only attribute, a type that
// does not fit the attribute, a value that does not read as its type, an unknown output.
HRESULT ApplyInitialSetting(CVelmoraQdx& driver, const InitialSetting& setting);

// Hands ApplyInitialSetting to `driver`, as every driver built by this layer needs.
void InstallInitialSettings(CVelmoraQdx& driver);

}  // namespace veqdx::api
