// Direct I/O: the user's own messages on the driver's connection. The object handed out by
// IVelmoraQdxSystem::get_DirectIO writes and reads through the driver's I/O session, so direct
// traffic and driver traffic share one link, one termination setting and one timeout: a reply
// that the user leaves unread stays in the instrument's output queue and is what the driver's
// next query meets (nothing here discards it).
//
//   IFormattedIO488* dio = nullptr;
//   system.get_DirectIO(&dio);          // refused while simulating
//   dio->WriteString("*IDN?");          // one message with END, no status poll
//   std::string reply;
//   dio->ReadString(&reply);            // one response, termination character included
//
// Writes and reads go straight to the transport (the session's low-level operations): they
// never pass through the formatted buffers and never trigger the "*ESR?" status check, which
// would consume the very reply the user asked for.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "base/hresult.h"
#include "dcpwr/driver_ref.h"
#include "veqdx/interfaces.hpp"

namespace veqdx {
class CVelmoraQdx;
}

namespace veqdx::dcpwr {

// The %1 of the I/O error reported when direct I/O is asked for while simulating.
inline constexpr const char* kDirectIoSimulatingText = "Direct I/O not available while Simulating";

class CDirectIo final : public IFormattedIO488 {
 public:
  static constexpr const char* kInterface = "IFormattedIO488";
  // Most characters ReadString keeps of one response. The rest of a longer response is read
  // and dropped, so the next exchange starts on a clean response.
  static constexpr std::size_t kMaxResponse = 1024 * 1024;
  // Most bytes one Read takes from the device for a single response (kept and dropped
  // together). A device that keeps sending past it is reported, so an endless stream can
  // neither hold the caller forever nor grow memory without bound.
  static constexpr std::size_t kMaxTransfer = 16 * 1024 * 1024;

  explicit CDirectIo(CDriverRef driver) noexcept : driver_(std::move(driver)) {}

  // ---------------- IFormattedIO488 ----------------
  // Sends `data` as one message (END on the last byte). Null: the null-pointer error.
  HRESULT WriteString(const char* data) override;
  // Reads one response (at most kMaxResponse characters kept).
  HRESULT ReadString(std::string* val) override;

  // The same operations for the flat interface. Write sends `text` as one message; Read
  // replaces `out` with at most `max` characters of one response (the termination
  // character, when the link uses one, is part of the response) and drops the rest of that
  // response. On failure `out` is empty.
  HRESULT Write(std::string_view text);
  HRESULT Read(std::size_t max, std::string& out);

 private:
  static HRESULT WriteBody(CVelmoraQdx& driver, std::string_view text);
  static HRESULT ReadBody(CVelmoraQdx& driver, std::size_t max, std::string& out);

  CDriverRef driver_;
};

// Reports that direct I/O is refused because the session simulates: message 0x2A with
// kDirectIoSimulatingText as %1.
HRESULT ReportDirectIoWhileSimulating(const CVelmoraQdx& driver);

}  // namespace veqdx::dcpwr
