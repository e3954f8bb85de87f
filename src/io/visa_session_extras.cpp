#include "io/visa_session_extras.h"

#include "base/call_context.h"
#include "io/visa_mapping.h"

namespace veqdx::io {
namespace {

constexpr std::uint64_t kMaxOffset32 = 0xFFFFFFFFu;

IoResult Refuse(std::string_view text) { return {IoCode::NotSupported, std::string(text)}; }

// The checks an operation's arguments pass on their way to VISA, then the refusal itself.
IoResult RefuseRegisterAccess(std::uint16_t space, std::uint64_t offset,
                              std::string_view refusal = kRefuseRegister) {
  if (std::string bad = CheckAddressSpace(space); !bad.empty()) return Refuse(bad);
  if (offset > kMaxOffset32) return Refuse(kRefuseOffset);
  return Refuse(refusal);
}

IoResult RefuseMove(std::uint16_t srcSpace, std::uint64_t srcOffset, std::uint16_t srcWidth,
                    std::uint16_t destSpace, std::uint64_t destOffset, std::uint16_t destWidth,
                    std::string_view refusal) {
  for (std::uint16_t width : {srcWidth, destWidth}) {
    if (std::string bad = CheckDataWidth(width); !bad.empty()) return Refuse(bad);
  }
  for (std::uint16_t space : {srcSpace, destSpace}) {
    if (std::string bad = CheckAddressSpace(space); !bad.empty()) return Refuse(bad);
  }
  if (srcOffset > kMaxOffset32 || destOffset > kMaxOffset32) return Refuse(kRefuseOffset);
  return Refuse(refusal);
}

}  // namespace

IoResult VisaSessionExtras::In8(std::uint16_t space, std::uint64_t offset, std::uint8_t&) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult VisaSessionExtras::In16(std::uint16_t space, std::uint64_t offset, std::uint16_t&) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult VisaSessionExtras::In32(std::uint16_t space, std::uint64_t offset, std::uint32_t&) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult VisaSessionExtras::Out8(std::uint16_t space, std::uint64_t offset, std::uint8_t) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult VisaSessionExtras::Out16(std::uint16_t space, std::uint64_t offset, std::uint16_t) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult VisaSessionExtras::Out32(std::uint16_t space, std::uint64_t offset, std::uint32_t) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult VisaSessionExtras::MoveIn8(std::uint16_t space, std::uint64_t offset, std::size_t,
                                    std::uint8_t*) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult VisaSessionExtras::MoveIn16(std::uint16_t space, std::uint64_t offset, std::size_t,
                                     std::uint16_t*) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult VisaSessionExtras::MoveIn32(std::uint16_t space, std::uint64_t offset, std::size_t,
                                     std::uint32_t*) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult VisaSessionExtras::MoveOut8(std::uint16_t space, std::uint64_t offset, std::size_t,
                                     const std::uint8_t*) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult VisaSessionExtras::MoveOut16(std::uint16_t space, std::uint64_t offset, std::size_t,
                                      const std::uint16_t*) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult VisaSessionExtras::MoveOut32(std::uint16_t space, std::uint64_t offset, std::size_t,
                                      const std::uint32_t*) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult VisaSessionExtras::Move(std::uint16_t srcSpace, std::uint64_t srcOffset,
                                 std::uint16_t srcWidth, std::uint16_t destSpace,
                                 std::uint64_t destOffset, std::uint16_t destWidth,
                                 std::size_t) const {
  return RefuseMove(srcSpace, srcOffset, srcWidth, destSpace, destOffset, destWidth,
                    kRefuseRegister);
}
IoResult VisaSessionExtras::MapAddress(std::uint16_t space, std::uint64_t offset,
                                       std::size_t) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult VisaSessionExtras::UnmapAddress() const { return Refuse(kRefuseRegister); }
IoResult VisaSessionExtras::GetSourceIncrement(std::int32_t&) const {
  return Refuse(kRefuseRegister);
}
IoResult VisaSessionExtras::SetSourceIncrement(std::int32_t) const {
  return Refuse(kRefuseRegister);
}
IoResult VisaSessionExtras::GetDestinationIncrement(std::int32_t&) const {
  return Refuse(kRefuseRegister);
}
IoResult VisaSessionExtras::SetDestinationIncrement(std::int32_t) const {
  return Refuse(kRefuseRegister);
}
IoResult VisaSessionExtras::GetSourceBigEndian(bool&) const { return Refuse(kRefuseRegister); }
IoResult VisaSessionExtras::SetSourceBigEndian(bool) const { return Refuse(kRefuseRegister); }
IoResult VisaSessionExtras::GetDestinationBigEndian(bool&) const {
  return Refuse(kRefuseRegister);
}
IoResult VisaSessionExtras::SetDestinationBigEndian(bool) const {
  return Refuse(kRefuseRegister);
}

// 64-bit offsets are what these operations are for, so only the space is checked.
IoResult VisaSessionExtras::In64(std::uint16_t space, std::uint64_t, std::uint64_t&) const {
  return RefuseRegisterAccess(space, 0, kRefuseRegister64);
}
IoResult VisaSessionExtras::Out64(std::uint16_t space, std::uint64_t, std::uint64_t) const {
  return RefuseRegisterAccess(space, 0, kRefuseRegister64);
}
IoResult VisaSessionExtras::MoveIn64(std::uint16_t space, std::uint64_t, std::size_t,
                                     std::uint64_t*) const {
  return RefuseRegisterAccess(space, 0, kRefuseRegister64);
}
IoResult VisaSessionExtras::MoveOut64(std::uint16_t space, std::uint64_t, std::size_t,
                                      const std::uint64_t*) const {
  return RefuseRegisterAccess(space, 0, kRefuseRegister64);
}

IoResult VisaSessionExtras::MoveAsync(std::uint16_t srcSpace, std::uint64_t srcOffset,
                                      std::uint16_t srcWidth, std::uint16_t destSpace,
                                      std::uint64_t destOffset, std::uint16_t destWidth,
                                      std::size_t, std::uint32_t&) const {
  return RefuseMove(srcSpace, srcOffset, srcWidth, destSpace, destOffset, destWidth,
                    kRefuseMoveAsync);
}

IoResult VisaSessionExtras::ReadAsync(char*, std::size_t, std::uint32_t&) const {
  return Refuse(kRefuseAsync);
}
IoResult VisaSessionExtras::WriteAsync(const char*, std::size_t, std::uint32_t&) const {
  return Refuse(kRefuseAsync);
}
IoResult VisaSessionExtras::Terminate(std::uint32_t) const { return Refuse(kRefuseAsync); }

IoResult VisaSessionExtras::AllocateMemory(std::size_t, std::uint64_t&) const {
  return Refuse(kRefuseSharedMemory);
}
IoResult VisaSessionExtras::FreeMemory(std::uint64_t) const { return Refuse(kRefuseSharedMemory); }

HRESULT ReportVisaExtrasResult(const CErrorReporter& reporter, const IoResult& result) {
  switch (result.code) {
    case IoCode::Ok: return S_OK;
    case IoCode::Timeout: return reporter.ReportIoTimeout(result.message);
    case IoCode::Error: return reporter.ReportIoError(result.message);
    case IoCode::NotSupported: break;
  }
  ErrorRecord& rec = ThreadErrorRecord();
  rec = ErrorRecord{};
  rec.hr = E_NOTIMPL;
  rec.description = result.message;
  rec.interfaceName = CurrentInterfaceName();
  rec.source = "VelmoraQdx.VelmoraQdx";
  rec.helpFile = "VelmoraQdx.chm";
  return E_NOTIMPL;
}

}  // namespace veqdx::io
