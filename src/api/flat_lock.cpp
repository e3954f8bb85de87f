// veqdx_LockSession, veqdx_UnlockSession.
#include "api/flat_common.h"
#include "veqdx.h"

using namespace veqdx::api;

extern "C" VEQDX_EXPORT ViStatus veqdx_LockSession(ViSession Vi, ViBoolean* CallerHasLock) {
  auto entry = FindSessionOrRecord(Vi);
  if (!entry) return VEQDX_ERROR_INVALID_SESSION_HANDLE;
  return LockSession(*entry, CallerHasLock);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_UnlockSession(ViSession Vi, ViBoolean* CallerHasLock) {
  auto entry = FindSessionOrRecord(Vi);
  if (!entry) return VEQDX_ERROR_INVALID_SESSION_HANDLE;
  return UnlockSession(*entry, CallerHasLock);
}
