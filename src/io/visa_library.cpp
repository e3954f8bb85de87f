#include "io/visa_library.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>

namespace veqdx::io {
namespace {

std::mutex& CacheMutex() {
  static std::mutex m;
  return m;
}

// Libraries loaded so far, by the name they were asked for; never unloaded (see the header).
std::map<std::string, std::shared_ptr<const CVisaLibrary>>& Cache() {
  static auto* cache = new std::map<std::string, std::shared_ptr<const CVisaLibrary>>();
  return *cache;
}

template <class Fn>
void Resolve(void* handle, const char* symbol, Fn& out, std::string& missing) {
  out = reinterpret_cast<Fn>(::dlsym(handle, symbol));
  if (out == nullptr) missing += (missing.empty() ? "" : ", ") + std::string(symbol);
}

}  // namespace

std::string VisaStatusHex(VqViStatus status) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(status));
  return text;
}

const std::vector<std::string>& CVisaLibrary::UsualNames() {
  static const std::vector<std::string> names = {
      "libvisa.so",
      "libvisa.so.0",
      "librsvisa.so",
      "libiovisa.so",
      "/usr/local/vxipnp/linux/lib64/libvisa.so",
      "/opt/keysight/iolibs/libiovisa.so",
  };
  return names;
}

std::shared_ptr<const CVisaLibrary> CVisaLibrary::Load(const std::string& nameOrPath,
                                                     std::string& why) {
  std::lock_guard lock(CacheMutex());
  auto& cache = Cache();
  if (auto it = cache.find(nameOrPath); it != cache.end()) return it->second;

  void* handle = ::dlopen(nameOrPath.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* error = ::dlerror();
    why = "cannot load " + nameOrPath + ": " + (error ? error : "unknown reason");
    return nullptr;
  }
  VisaFunctions fn;
  std::string missing;
  Resolve(handle, "viOpenDefaultRM", fn.viOpenDefaultRM, missing);
  Resolve(handle, "viOpen", fn.viOpen, missing);
  Resolve(handle, "viClose", fn.viClose, missing);
  Resolve(handle, "viRead", fn.viRead, missing);
  Resolve(handle, "viWrite", fn.viWrite, missing);
  Resolve(handle, "viSetAttribute", fn.viSetAttribute, missing);
  Resolve(handle, "viGetAttribute", fn.viGetAttribute, missing);
  Resolve(handle, "viReadSTB", fn.viReadSTB, missing);
  Resolve(handle, "viClear", fn.viClear, missing);
  Resolve(handle, "viLock", fn.viLock, missing);
  Resolve(handle, "viUnlock", fn.viUnlock, missing);
  Resolve(handle, "viStatusDesc", fn.viStatusDesc, missing);
  if (!missing.empty()) {
    ::dlclose(handle);
    why = nameOrPath + " is not a usable VISA library: it lacks " + missing;
    return nullptr;
  }
  std::shared_ptr<const CVisaLibrary> library(new CVisaLibrary(handle, nameOrPath, fn));
  cache.emplace(nameOrPath, library);
  return library;
}

std::shared_ptr<const CVisaLibrary> CVisaLibrary::Find(const TransportOptions& options,
                                                     std::string& why) {
  std::string named = options.Get("visalibrary");
  if (named.empty()) {
    const char* env = std::getenv(kEnvironmentVariable);
    if (env != nullptr) named = env;
  }
  if (!named.empty()) return Load(named, why);
  for (const std::string& name : UsualNames()) {
    std::string ignored;
    if (auto library = Load(name, ignored)) return library;
  }
  why = "none found; set " + std::string(kEnvironmentVariable);
  return nullptr;
}

std::string CVisaLibrary::Describe(VqViObject vi, VqViStatus status) const {
  char desc[VQ_VI_FIND_BUFLEN + 1] = {};
  std::string text;
  if (fn_.viStatusDesc(vi, status, desc) >= VQ_VI_SUCCESS) {
    desc[VQ_VI_FIND_BUFLEN] = '\0';  // a library that forgets the NUL cannot run us off
    text = desc;
  }
  while (!text.empty() && (text.back() == '.' || text.back() == ' ')) text.pop_back();
  if (text.empty()) return "VISA status " + VisaStatusHex(status);
  return text + " (VISA status " + VisaStatusHex(status) + ")";
}

}  // namespace veqdx::io
