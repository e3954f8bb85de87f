// The driver works with the published enumerations themselves; this name stays for the
// callers that include it.
#pragma once
#include "veqdx/enums.h"
