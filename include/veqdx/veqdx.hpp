// The C++ entry to the VelmoraQdx driver: create the driver object, reach its interfaces,
// read the calling thread's error record. Link with veqdx::veqdx_cpp (libveqdx_cpp.a).
//
//   std::shared_ptr<veqdx::IVelmoraQdx> driver = veqdx::CreateVelmoraQdx();
//   driver->Initialize("TCPIP::10.0.0.5::5025::SOCKET", veqdx::kVariantTrue,
//                      veqdx::kVariantFalse, "");
//   veqdx::IVelmoraQdxOutputs* outputs = nullptr;
//   driver->get_Outputs(&outputs);
//   veqdx::IVelmoraQdxOutput* output = nullptr;
//   outputs->get_Item("Output0", &output);
//   if (veqdx::IsError(output->put_VoltageLevel(12.5)))
//     std::puts(veqdx::GetErrorInfo().description.c_str());
//   driver->Close();
//
// Lifetimes. The driver object lives as long as a shared_ptr to it (or to one of its
// interfaces, see As) does; releasing the last one closes an open session. Plain interface
// pointers from its members (get_Outputs, get_Item, get_Status, ...) are owned by the driver
// object and stay valid as long as it lives, also across Close and a new Initialize. An output
// taken with GetOutput keeps its own share: after Close, after a new Initialize or after the
// driver object is gone, its members fail with E_IVI_NOT_INITIALIZED instead of touching
// freed memory. After a new Initialize, ask the collection again for the new session's
// outputs.
//
// Errors. No member throws. A failing member returns an error HRESULT (IsError) and leaves a
// record for the calling thread (GetErrorInfo); a warning (IsWarning) also succeeds.
#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "veqdx/interfaces.hpp"

namespace veqdx {

// ---- Identifiers and lookup names ---------------------------------------------------------
constexpr const char* kVelmoraQdxVersionedProgId = "VelmoraQdx.VelmoraQdx.1";
constexpr const char* kVelmoraQdxOutputVersionedProgId = "VelmoraQdx.Output.1";
constexpr const char* kVelmoraQdxLibName = "VelmoraQdxLib";
constexpr const char* kVelmoraQdxLibDescription = "IVI VelmoraQdx 1.0 Type Library";
constexpr int kVelmoraQdxLibMajorVersion = 1;
constexpr int kVelmoraQdxLibMinorVersion = 0;

// ---- Values of the object layer ----------------------------------------------------------
constexpr VARIANT_BOOL kVariantTrue = -1;
constexpr VARIANT_BOOL kVariantFalse = 0;

constexpr bool IsError(HRESULT hr) noexcept { return hr < 0; }
constexpr bool IsSuccess(HRESULT hr) noexcept { return hr >= 0; }
// Success with a note, such as "ID Query is not supported by this instrument."
constexpr bool IsWarning(HRESULT hr) noexcept { return hr > 0; }

// ---- Creation -----------------------------------------------------------------------------
// A new, uninitialized driver object; null only when memory is exhausted.
std::shared_ptr<IVelmoraQdx> CreateVelmoraQdx() noexcept;

// Creation by lookup name: the class identifier, "VelmoraQdx.VelmoraQdx" or its versioned
// form (any case). Null for any other name; outputs are not created on their own.
std::shared_ptr<IIviDriver> CreateDriver(std::string_view lookupName) noexcept;

// ---- Interfaces by identifier -------------------------------------------------------------
// The interface `iid` (a kIid, any case) of the driver object behind `driver`, or of the
// output behind `output`; null when the object does not offer it. The result points at the
// interface named, so cast it to exactly that type (As does).
void* QueryInterface(IIviDriver* driver, std::string_view iid) noexcept;
void* QueryInterface(IVelmoraQdxOutput* output, std::string_view iid) noexcept;

// The same object seen through interface I:
//   auto* trigger = veqdx::As<veqdx::IIviDCPwrTrigger>(driver.get());
template <class I, class T>
I* As(T* object) noexcept {
  return object == nullptr ? nullptr : static_cast<I*>(QueryInterface(object, I::kIid));
}
// Shared flavour: the result shares ownership with `object`.
template <class I, class T>
std::shared_ptr<I> As(const std::shared_ptr<T>& object) noexcept {
  I* found = As<I>(object.get());
  return found == nullptr ? nullptr : std::shared_ptr<I>(object, found);
}

// ---- Outputs with a share of their own --------------------------------------------------
// The output that the collection's get_Item would give for `name` (same rules and errors),
// handed out with shared ownership of its session (see Lifetimes above).
HRESULT GetOutput(IIviDriver* driver, const char* name,
                  std::shared_ptr<IVelmoraQdxOutput>* output) noexcept;

// ---- Error record ---------------------------------------------------------------------------
// What the calling thread's last failure (or warning) left.
struct ErrorInfo {
  HRESULT code = 0;
  std::string description;    // "VelmoraQdx: Unknown channel name.\r\nOutput7"
  std::string interfaceName;  // interface of the failing member, e.g. "IVelmoraQdxOutputs"
  std::string source;         // "VelmoraQdx.VelmoraQdx"
  std::string helpFile;
  std::uint32_t helpContext = 0;
};
ErrorInfo GetErrorInfo();
void ClearErrorInfo() noexcept;

}  // namespace veqdx
