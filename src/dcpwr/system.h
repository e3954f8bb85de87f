// IVelmoraQdxSystem: the instrument's setting memories and direct I/O.
//
//   CSystem system(driver);
//   system.SaveState(2);                 // "*SAV 2"
//   system.RecallState(2);               // "*RCL 2"; the driver's cache is left as it was
//   system.SystemWrite("*IDN?");         // the user's own message on the driver's link
//   std::string reply;
//   system.SystemRead(255, reply);
//
// A stateless facet of the driver object: it keeps only a reference to the root and the
// direct I/O object it hands out (which lives as long as the facet).
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "base/hresult.h"
#include "dcpwr/direct_io.h"
#include "dcpwr/driver_ref.h"
#include "veqdx/interfaces.hpp"

namespace veqdx::dcpwr {

class CSystem final : public IVelmoraQdxSystem {
 public:
  static constexpr const char* kInterface = "IVelmoraQdxSystem";
  // The instrument's memories A, B and C.
  static constexpr std::int32_t kFirstMemory = 1;
  static constexpr std::int32_t kLastMemory = 3;

  explicit CSystem(CDriverRef driver) noexcept : driver_(std::move(driver)), directIo_(driver_) {}

  // ---------------- IVelmoraQdxSystem ----------------
  // "*RCL %@1d" / "*SAV %@1d", no channel selection. With RangeCheck on, a Memory outside
  // 1..3 is reported as the invalid-value error (parameter "Memory") and the command is sent
  // all the same: the call returns the result of the send, so it succeeds when the
  // instrument took the command, while the thread's error record keeps the report. There is
  // no simulation shortcut either: in a simulated session the send itself fails (the session
  // has no device) with the I/O error 0x80044214.
  HRESULT RecallState(std::int32_t Memory) override;
  HRESULT SaveState(std::int32_t Memory) override;
  // The direct I/O object on the driver's connection (owned by this facet; never null on
  // success). Refused while simulating with message 0x2A, "Direct I/O not available while
  // Simulating".
  HRESULT get_DirectIO(IFormattedIO488** val) override;

  // ---------------- for the flat interface ----------------
  // Take DirectIO (so they are refused while simulating, with no byte sent) and write one
  // message / read one response through it; see CDirectIo::Write and CDirectIo::Read.
  HRESULT SystemWrite(const char* command);
  HRESULT SystemRead(std::size_t max, std::string& out);

 private:
  HRESULT SendMemoryCommand(const char* member, const char* format, std::int32_t memory);

  CDriverRef driver_;
  CDirectIo directIo_;
};

}  // namespace veqdx::dcpwr
