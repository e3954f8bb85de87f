// A driver with CVelmoraQdxOutput nodes on a scripted device, for the tests of this folder.
#pragma once
#include "dcpwr/output_ivi.h"
#include "support/driver_on_device.h"

namespace veqdx::dcpwr::testing {

using veqdx::testing::LastError;
using veqdx::testing::Lines;

constexpr HRESULT kInvalidValue = MakeHr(0x80047010u);
constexpr HRESULT kValueNotSupported = MakeHr(0x80047013u);
constexpr HRESULT kNotInitialized = MakeHr(0x8004701Du);
constexpr HRESULT kNullPointer = MakeHr(0x80047058u);
constexpr HRESULT kInstrumentError = MakeHr(0x80047001u);
constexpr HRESULT kIoError = MakeHr(0x80044214u);
constexpr HRESULT kIoTimeout = MakeHr(0x80044215u);

using OutputOnDevice = veqdx::testing::CDriverOnDevice;

}  // namespace veqdx::dcpwr::testing
