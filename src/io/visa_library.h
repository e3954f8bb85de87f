// An installed VISA C library, loaded at run time so that the driver has no build-time
// dependency on any vendor's VISA.
//
// Which library: the DriverSetup item VisaLibrary (a path or a name), else the environment
// variable VEQDX_VISA_LIBRARY, else the first of the usual names that loads (libvisa.so,
// libvisa.so.0, librsvisa.so, libiovisa.so, ... and the vendors' usual install paths).
// A library named explicitly is the only one tried. A library that loads must offer every
// function the session uses, or it is refused with the names of the missing ones.
//
// A library stays loaded for the life of the process once it was loaded: VISA
// implementations start threads and register exit handlers, and unloading them under a
// running program is not something they are written for.
#pragma once
#include <memory>
#include <string>
#include <vector>

#include "io/transport.h"
#include "io/visa_api.h"

namespace veqdx::io {

struct VisaFunctions {
  VqViOpenDefaultRMFn viOpenDefaultRM = nullptr;
  VqViOpenFn viOpen = nullptr;
  VqViCloseFn viClose = nullptr;
  VqViReadFn viRead = nullptr;
  VqViWriteFn viWrite = nullptr;
  VqViSetAttributeFn viSetAttribute = nullptr;
  VqViGetAttributeFn viGetAttribute = nullptr;
  VqViReadSTBFn viReadSTB = nullptr;
  VqViClearFn viClear = nullptr;
  VqViLockFn viLock = nullptr;
  VqViUnlockFn viUnlock = nullptr;
  VqViStatusDescFn viStatusDesc = nullptr;
};

class CVisaLibrary {
 public:
  // The environment variable that names the library.
  static constexpr const char* kEnvironmentVariable = "VEQDX_VISA_LIBRARY";

  // The library chosen by `options` / the environment / the usual names, loaded once per
  // process and path. nullptr when none could be loaded; `why` then says what was tried:
  // "none found; set VEQDX_VISA_LIBRARY" when nothing was named and no usual name loaded,
  // otherwise the named library and the loader's reason.
  static std::shared_ptr<const CVisaLibrary> Find(const TransportOptions& options,
                                                 std::string& why);
  // Loads `nameOrPath` (a name is searched as dlopen searches). nullptr with `why` set when
  // it cannot be loaded or lacks a function.
  static std::shared_ptr<const CVisaLibrary> Load(const std::string& nameOrPath, std::string& why);
  // The usual names and paths, in the order tried.
  static const std::vector<std::string>& UsualNames();

  const VisaFunctions& Fn() const { return fn_; }
  const std::string& Name() const { return name_; }

  // VISA's own description of `status` ("Timeout expired before operation completed."),
  // followed by the status in hex: "... (VISA status 0xBFFF0015)". Trailing full stops are
  // dropped, since the text usually ends up inside a sentence of its own.
  std::string Describe(VqViObject vi, VqViStatus status) const;

 private:
  CVisaLibrary(void* handle, std::string name, const VisaFunctions& fn)
      : handle_(handle), name_(std::move(name)), fn_(fn) {}

  void* handle_;
  std::string name_;
  VisaFunctions fn_;
};

// "0xBFFF0015".
std::string VisaStatusHex(VqViStatus status);

}  // namespace veqdx::io
