#include "dcpwr/system.h"

#include <cstdio>

#include "core/velmoraqdx.h"
#include "dcpwr/accessor.h"

namespace veqdx::dcpwr {
namespace {

AccessTarget RootOf(CVelmoraQdx& driver) { return AccessTarget{driver, driver, kNoChannel}; }

}  // namespace

HRESULT CSystem::RecallState(std::int32_t Memory) {
  // The instrument's settings change behind the cache; the cached values are kept as they
  // are (reads may be stale until the cache is invalidated), as the driver always did.
  return SendMemoryCommand("RecallState", "*RCL %@1d", Memory);
}

HRESULT CSystem::SaveState(std::int32_t Memory) {
  return SendMemoryCommand("SaveState", "*SAV %@1d", Memory);
}

HRESULT CSystem::SendMemoryCommand(const char* member, const char* format,
                                   std::int32_t memory) {
  const std::shared_ptr<CVelmoraQdx> driver = driver_.Lease();
  const AccessTarget root = RootOf(*driver);
  return RunMember(root, kInterface, member, [&]() -> HRESULT {
    TraceIn("Memory", memory);
    if (driver->RangeCheck() && (memory < kFirstMemory || memory > kLastMemory)) {
      // Reported, not acted on: the instrument has the last word on its memory numbers, and
      // callers rely on the command going out. The send's result is what the call returns.
      char text[16];
      std::snprintf(text, sizeof text, "%d", static_cast<int>(memory));
      driver->Reporter().ReportInvalidValueText(member, "Memory", text);
    }
    return SendCommand(root, false, format, memory);
  });
}

HRESULT CSystem::get_DirectIO(IFormattedIO488** val) {
  const std::shared_ptr<CVelmoraQdx> driver = driver_.Lease();
  return RunMember(RootOf(*driver), kInterface, "get_DirectIO", [&]() -> HRESULT {
    if (val == nullptr) return driver->Reporter().ReportNullPointer("get_DirectIO", "val");
    *val = nullptr;
    if (driver->Simulate()) return ReportDirectIoWhileSimulating(*driver);
    *val = &directIo_;
    return S_OK;
  });
}

HRESULT CSystem::SystemWrite(const char* command) {
  const std::shared_ptr<CVelmoraQdx> driver = driver_.Lease();
  return RunMember(RootOf(*driver), kInterface, "SystemWrite", [&]() -> HRESULT {
    if (command != nullptr) TraceIn("Command", std::string_view(command));
    if (command == nullptr) return driver->Reporter().ReportNullPointer("SystemWrite", "Command");
    IFormattedIO488* direct = nullptr;
    const HRESULT hr = get_DirectIO(&direct);
    if (Failed(hr)) return hr;
    return directIo_.Write(command);
  });
}

HRESULT CSystem::SystemRead(std::size_t max, std::string& out) {
  out.clear();
  return RunMember(RootOf(*driver_.Lease()), kInterface, "SystemRead", [&]() -> HRESULT {
    TraceOut("val", &out);
    IFormattedIO488* direct = nullptr;
    const HRESULT hr = get_DirectIO(&direct);
    if (Failed(hr)) return hr;
    return directIo_.Read(max, out);
  });
}

}  // namespace veqdx::dcpwr
