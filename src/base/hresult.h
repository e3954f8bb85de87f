// Status codes of the object layer. The driver speaks COM-style HRESULTs internally: zero is
// success, a clear severity bit is success (warnings), a set bit is an error. The driver's own
// codes and the IVI ones are the public header's (veqdx/status.hpp); here are the general COM
// codes the driver also returns.
#pragma once
#include <cstdint>

#include "veqdx/status.hpp"

namespace veqdx {

constexpr HRESULT MakeHr(std::uint32_t v) { return status_detail::Hr(v); }

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_UNEXPECTED = MakeHr(0x8000FFFFu);
constexpr HRESULT E_NOTIMPL = MakeHr(0x80004001u);
constexpr HRESULT E_POINTER = MakeHr(0x80004003u);
constexpr HRESULT E_FAIL = MakeHr(0x80004005u);
constexpr HRESULT E_OUTOFMEMORY = MakeHr(0x8007000Eu);
constexpr HRESULT E_INVALIDARG = MakeHr(0x80070057u);

constexpr bool Succeeded(HRESULT hr) { return hr >= 0; }
constexpr bool Failed(HRESULT hr) { return hr < 0; }

// VARIANT_BOOL: the object layer's 16-bit boolean, true is -1.
using VARIANT_BOOL = std::int16_t;
constexpr VARIANT_BOOL VARIANT_TRUE = -1;
constexpr VARIANT_BOOL VARIANT_FALSE = 0;

}  // namespace veqdx
