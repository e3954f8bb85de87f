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

IoResult CVisaSessionExtras::In8(std::uint16_t space, std::uint64_t offset, std::uint8_t&) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult CVisaSessionExtras::In16(std::uint16_t space, std::uint64_t offset, std::uint16_t&) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult CVisaSessionExtras::In32(std::uint16_t space, std::uint64_t offset, std::uint32_t&) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult CVisaSessionExtras::Out8(std::uint16_t space, std::uint64_t offset, std::uint8_t) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult CVisaSessionExtras::Out16(std::uint16_t space, std::uint64_t offset, std::uint16_t) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult CVisaSessionExtras::Out32(std::uint16_t space, std::uint64_t offset, std::uint32_t) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult CVisaSessionExtras::MoveIn8(std::uint16_t space, std::uint64_t offset, std::size_t,
                                    std::uint8_t*) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult CVisaSessionExtras::MoveIn16(std::uint16_t space, std::uint64_t offset, std::size_t,
                                     std::uint16_t*) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult CVisaSessionExtras::MoveIn32(std::uint16_t space, std::uint64_t offset, std::size_t,
                                     std::uint32_t*) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult CVisaSessionExtras::MoveOut8(std::uint16_t space, std::uint64_t offset, std::size_t,
                                     const std::uint8_t*) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult CVisaSessionExtras::MoveOut16(std::uint16_t space, std::uint64_t offset, std::size_t,
                                      const std::uint16_t*) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult CVisaSessionExtras::MoveOut32(std::uint16_t space, std::uint64_t offset, std::size_t,
                                      const std::uint32_t*) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult CVisaSessionExtras::Move(std::uint16_t srcSpace, std::uint64_t srcOffset,
                                 std::uint16_t srcWidth, std::uint16_t destSpace,
                                 std::uint64_t destOffset, std::uint16_t destWidth,
                                 std::size_t) const {
  return RefuseMove(srcSpace, srcOffset, srcWidth, destSpace, destOffset, destWidth,
                    kRefuseRegister);
}
IoResult CVisaSessionExtras::MapAddress(std::uint16_t space, std::uint64_t offset,
                                       std::size_t) const {
  return RefuseRegisterAccess(space, offset);
}
IoResult CVisaSessionExtras::UnmapAddress() const { return Refuse(kRefuseRegister); }
IoResult CVisaSessionExtras::GetSourceIncrement(std::int32_t&) const {
  return Refuse(kRefuseRegister);
}
IoResult CVisaSessionExtras::SetSourceIncrement(std::int32_t) const {
  return Refuse(kRefuseRegister);
}
IoResult CVisaSessionExtras::GetDestinationIncrement(std::int32_t&) const {
  return Refuse(kRefuseRegister);
}
IoResult CVisaSessionExtras::SetDestinationIncrement(std::int32_t) const {
  return Refuse(kRefuseRegister);
}
IoResult CVisaSessionExtras::GetSourceBigEndian(bool&) const { return Refuse(kRefuseRegister); }
IoResult CVisaSessionExtras::SetSourceBigEndian(bool) const { return Refuse(kRefuseRegister); }
IoResult CVisaSessionExtras::GetDestinationBigEndian(bool&) const {
  return Refuse(kRefuseRegister);
}
IoResult CVisaSessionExtras::SetDestinationBigEndian(bool) const {
  return Refuse(kRefuseRegister);
}

// 64-bit offsets are what these operations are for, so only the space is checked.
IoResult CVisaSessionExtras::In64(std::uint16_t space, std::uint64_t, std::uint64_t&) const {
  return RefuseRegisterAccess(space, 0, kRefuseRegister64);
}
IoResult CVisaSessionExtras::Out64(std::uint16_t space, std::uint64_t, std::uint64_t) const {
  return RefuseRegisterAccess(space, 0, kRefuseRegister64);
}
IoResult CVisaSessionExtras::MoveIn64(std::uint16_t space, std::uint64_t, std::size_t,
                                     std::uint64_t*) const {
  return RefuseRegisterAccess(space, 0, kRefuseRegister64);
}
IoResult CVisaSessionExtras::MoveOut64(std::uint16_t space, std::uint64_t, std::size_t,
                                      const std::uint64_t*) const {
  return RefuseRegisterAccess(space, 0, kRefuseRegister64);
}

IoResult CVisaSessionExtras::MoveAsync(std::uint16_t srcSpace, std::uint64_t srcOffset,
                                      std::uint16_t srcWidth, std::uint16_t destSpace,
                                      std::uint64_t destOffset, std::uint16_t destWidth,
                                      std::size_t, std::uint32_t&) const {
  return RefuseMove(srcSpace, srcOffset, srcWidth, destSpace, destOffset, destWidth,
                    kRefuseMoveAsync);
}

IoResult CVisaSessionExtras::ReadAsync(char*, std::size_t, std::uint32_t&) const {
  return Refuse(kRefuseAsync);
}
IoResult CVisaSessionExtras::WriteAsync(const char*, std::size_t, std::uint32_t&) const {
  return Refuse(kRefuseAsync);
}
IoResult CVisaSessionExtras::Terminate(std::uint32_t) const { return Refuse(kRefuseAsync); }

IoResult CVisaSessionExtras::AllocateMemory(std::size_t, std::uint64_t&) const {
  return Refuse(kRefuseSharedMemory);
}
IoResult CVisaSessionExtras::FreeMemory(std::uint64_t) const { return Refuse(kRefuseSharedMemory); }

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
