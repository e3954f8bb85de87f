// The VISA session operations this driver does not carry: register access, block moves,
// asynchronous transfers and shared memory. A message-based power supply has no registers,
// and the session interfaces the driver publishes keep these operations only so that callers
// written against a VISA session get a clear refusal instead of a missing method.
//
// Every operation is refused with IoCode::NotSupported and its fixed text, and nothing is
// sent. The arguments are checked first as they would be on their way to VISA: an unknown
// address space or data width, or an offset beyond 32 bits, is refused with that text.
// Output arguments are left alone.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/error_reporter.h"
#include "io/transport.h"

namespace veqdx::io {

class CVisaSessionExtras {
 public:
  virtual ~CVisaSessionExtras() = default;

  // Register access: In8/16/32, Out8/16/32 and the block moves MoveIn/MoveOut 8/16/32.
  IoResult In8(std::uint16_t space, std::uint64_t offset, std::uint8_t& value) const;
  IoResult In16(std::uint16_t space, std::uint64_t offset, std::uint16_t& value) const;
  IoResult In32(std::uint16_t space, std::uint64_t offset, std::uint32_t& value) const;
  IoResult Out8(std::uint16_t space, std::uint64_t offset, std::uint8_t value) const;
  IoResult Out16(std::uint16_t space, std::uint64_t offset, std::uint16_t value) const;
  IoResult Out32(std::uint16_t space, std::uint64_t offset, std::uint32_t value) const;
  IoResult MoveIn8(std::uint16_t space, std::uint64_t offset, std::size_t count,
                   std::uint8_t* dest) const;
  IoResult MoveIn16(std::uint16_t space, std::uint64_t offset, std::size_t count,
                    std::uint16_t* dest) const;
  IoResult MoveIn32(std::uint16_t space, std::uint64_t offset, std::size_t count,
                    std::uint32_t* dest) const;
  IoResult MoveOut8(std::uint16_t space, std::uint64_t offset, std::size_t count,
                    const std::uint8_t* src) const;
  IoResult MoveOut16(std::uint16_t space, std::uint64_t offset, std::size_t count,
                     const std::uint16_t* src) const;
  IoResult MoveOut32(std::uint16_t space, std::uint64_t offset, std::size_t count,
                     const std::uint32_t* src) const;
  // Register-to-register move with explicit data widths (1, 2, 4 or 8 bytes).
  IoResult Move(std::uint16_t srcSpace, std::uint64_t srcOffset, std::uint16_t srcWidth,
                std::uint16_t destSpace, std::uint64_t destOffset, std::uint16_t destWidth,
                std::size_t count) const;
  // Window mapping and the move attributes.
  IoResult MapAddress(std::uint16_t space, std::uint64_t offset, std::size_t size) const;
  IoResult UnmapAddress() const;
  IoResult GetSourceIncrement(std::int32_t& value) const;
  IoResult SetSourceIncrement(std::int32_t value) const;
  IoResult GetDestinationIncrement(std::int32_t& value) const;
  IoResult SetDestinationIncrement(std::int32_t value) const;
  IoResult GetSourceBigEndian(bool& value) const;
  IoResult SetSourceBigEndian(bool value) const;
  IoResult GetDestinationBigEndian(bool& value) const;
  IoResult SetDestinationBigEndian(bool value) const;

  // 64-bit register access.
  IoResult In64(std::uint16_t space, std::uint64_t offset, std::uint64_t& value) const;
  IoResult Out64(std::uint16_t space, std::uint64_t offset, std::uint64_t value) const;
  IoResult MoveIn64(std::uint16_t space, std::uint64_t offset, std::size_t count,
                    std::uint64_t* dest) const;
  IoResult MoveOut64(std::uint16_t space, std::uint64_t offset, std::size_t count,
                     const std::uint64_t* src) const;

  IoResult MoveAsync(std::uint16_t srcSpace, std::uint64_t srcOffset, std::uint16_t srcWidth,
                     std::uint16_t destSpace, std::uint64_t destOffset, std::uint16_t destWidth,
                     std::size_t count, std::uint32_t& jobId) const;

  // Asynchronous messaging.
  IoResult ReadAsync(char* buffer, std::size_t count, std::uint32_t& jobId) const;
  IoResult WriteAsync(const char* data, std::size_t count, std::uint32_t& jobId) const;
  IoResult Terminate(std::uint32_t jobId) const;

  // Shared memory.
  IoResult AllocateMemory(std::size_t size, std::uint64_t& offset) const;
  IoResult FreeMemory(std::uint64_t offset) const;
};

// The refusal texts.
inline constexpr std::string_view kRefuseAsync =
    "The VISA-COM session does not support asynchronous messaging operations.";
inline constexpr std::string_view kRefuseRegister =
    "The VISA-COM session does not support register-based operations.";
inline constexpr std::string_view kRefuseRegister64 =
    "The VISA-COM session does not support 64-bit register-based operations.";
inline constexpr std::string_view kRefuseMoveAsync =
    "The VISA-COM session does not support the MoveAsync operation.";
inline constexpr std::string_view kRefuseSharedMemory =
    "The VISA-COM session does not support shared memory register-based operations.";
inline constexpr std::string_view kRefuseOffset =
    "Address space offset is greater than the 32-bit maximum value supported by VISA-COM.";

// Reports a result of these operations: a refusal as the not-supported error (E_NOTIMPL) with
// the refusal text as the description of the thread's error record; anything else as the
// driver's I/O error through `reporter`.
HRESULT ReportVisaExtrasResult(const CErrorReporter& reporter, const IoResult& result);

}  // namespace veqdx::io
