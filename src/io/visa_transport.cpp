#include "io/visa_transport.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <utility>

#include "io/resource.h"

namespace veqdx::io {
namespace {

// Numeric attributes come back in as many bytes as their type has (1 to 8), written at the
// start of the caller's buffer; reading them as one little-endian 64-bit number from a
// zeroed buffer gives the value whatever the width.
static_assert(std::endian::native == std::endian::little,
              "numeric VISA attributes are widened assuming little-endian storage");

// Room for any attribute value: a vendor attribute whose id lacks the string flag may still
// be a string, and must not run past the buffer.
constexpr std::size_t kAttributeBuffer = 2 * VQ_VI_FIND_BUFLEN;

constexpr std::uint32_t kMaxTransfer = std::numeric_limits<std::uint32_t>::max();

// The interface of a descriptor whose VISA session could not say.
InterfaceType GuessInterface(const std::string& descriptor) {
  Resource r;
  std::string ignored;
  return ParseResource(descriptor, r, ignored) ? r.Interface() : InterfaceType::Gpib;
}

}  // namespace

std::unique_ptr<CVisaTransport> CVisaTransport::Open(std::shared_ptr<const CVisaLibrary> library,
                                                   const std::string& descriptor,
                                                   const TransportOptions& options,
                                                   IoResult& result, VqViStatus* openStatus) {
  if (openStatus) *openStatus = VQ_VI_SUCCESS;
  const VisaFunctions& fn = library->Fn();
  VqViSession rm = 0;
  VqViStatus status = fn.viOpenDefaultRM(&rm);
  if (status < VQ_VI_SUCCESS) {
    result = IoResult::Error("Could not open the VISA resource manager of " + library->Name() +
                             ": " + library->Describe(0, status));
    return nullptr;
  }
  VqViSession vi = 0;
  status = fn.viOpen(rm, descriptor.c_str(), VQ_VI_NO_LOCK,
                     static_cast<VqViUInt32>(std::max(0, options.openTimeoutMs)), &vi);
  if (status < VQ_VI_SUCCESS) {
    std::string text = "viOpen " + descriptor + ": " +
                       library->Describe(rm, status);
    fn.viClose(rm);
    result = status == VQ_VI_ERROR_TMO ? IoResult::Timeout(std::move(text))
                                       : IoResult::Error(std::move(text));
    if (openStatus) *openStatus = status;
    return nullptr;
  }

  std::unique_ptr<CVisaTransport> t(
      new CVisaTransport(std::move(library), rm, vi, std::max(0, options.timeoutMs)));
  t->SetTimeout(t->link_.timeoutMs);

  std::uint16_t type = 0;
  if (t->GetAttributeUInt16(VQ_VI_ATTR_INTF_TYPE, type).ok()) {
    t->visaInterfaceType_ = type;
    t->interface_ = InterfaceFromVisa(type);
  } else {
    t->interface_ = GuessInterface(descriptor);
  }
  std::uint16_t number = 0;
  if (t->GetAttributeUInt16(VQ_VI_ATTR_INTF_NUM, number).ok()) t->interfaceNumber_ = number;
  std::optional<std::string> rsrcClass;
  std::optional<std::string> rsrcName;
  std::string text;
  if (t->GetAttributeString(VQ_VI_ATTR_RSRC_CLASS, text).ok()) rsrcClass = text;
  if (t->GetAttributeString(VQ_VI_ATTR_RSRC_NAME, text).ok()) rsrcName = text;
  t->resourceName_ = EffectiveResourceName(rsrcName);
  t->resourceClass_ = EffectiveResourceClass(t->interface_, rsrcClass, t->resourceName_);

  if (NeedsLineFeedTermination(t->interface_, t->resourceClass_)) {
    IoResult r = t->SetAttribute(VQ_VI_ATTR_TERMCHAR, '\n', "the termination character");
    if (r.ok()) r = t->SetAttribute(VQ_VI_ATTR_TERMCHAR_EN, VQ_VI_TRUE, "the termination character");
    if (r.ok() && t->interface_ == InterfaceType::Serial)
      r = t->SetAttribute(VQ_VI_ATTR_ASRL_END_IN, VQ_VI_ASRL_END_TERMCHAR, "the serial read end");
    if (!r.ok()) {
      result = IoResult::Error("viOpen " + descriptor + ": " + r.message);
      return nullptr;  // the destructor closes the session and the resource manager
    }
    t->CTransportBase::SetTermChar('\n', true);  // the attributes are set already
  }
  result = IoResult::Ok();
  return t;
}

CVisaTransport::CVisaTransport(std::shared_ptr<const CVisaLibrary> library, VqViSession rm,
                             VqViSession vi, int timeoutMs)
    : CTransportBase(timeoutMs, false), library_(std::move(library)), rm_(rm), vi_(vi) {}

CVisaTransport::~CVisaTransport() { Close(); }

void CVisaTransport::Close() {
  const VisaFunctions& fn = library_->Fn();
  if (vi_ != 0) fn.viClose(vi_);
  if (rm_ != 0) fn.viClose(rm_);
  vi_ = rm_ = 0;
}

IoResult CVisaTransport::NotOpen() const {
  return IoResult::Error("the VISA session to " + resourceName_ + " is closed");
}

IoResult CVisaTransport::Failure(const char* operation, VqViStatus status) const {
  std::string text = std::string("VISA ") + operation + " on " + resourceName_ + " failed: " +
                     library_->Describe(vi_, status);
  return status == VQ_VI_ERROR_TMO ? IoResult::Timeout(std::move(text))
                                   : IoResult::Error(std::move(text));
}

IoResult CVisaTransport::SetAttribute(std::uint32_t attr, std::uint64_t value, const char* what) {
  if (vi_ == 0) return NotOpen();
  VqViStatus status = library_->Fn().viSetAttribute(vi_, attr, value);
  if (status < VQ_VI_SUCCESS)
    return Failure((std::string("setting ") + what).c_str(), status);
  return IoResult::Ok();
}

void CVisaTransport::SetTimeout(int milliseconds) {
  CTransportBase::SetTimeout(milliseconds);
  // A library that refuses keeps its own timeout; reads then report what VISA did.
  SetAttribute(VQ_VI_ATTR_TMO_VALUE, static_cast<std::uint32_t>(link_.timeoutMs), "the timeout");
}

void CVisaTransport::SetTermChar(char c, bool enabled) {
  CTransportBase::SetTermChar(c, enabled);
  SetAttribute(VQ_VI_ATTR_TERMCHAR, static_cast<unsigned char>(c), "the termination character");
  SetAttribute(VQ_VI_ATTR_TERMCHAR_EN, enabled ? VQ_VI_TRUE : VQ_VI_FALSE,
               "the termination character");
  if (interface_ == InterfaceType::Serial) {
    SetAttribute(VQ_VI_ATTR_ASRL_END_IN, enabled ? VQ_VI_ASRL_END_TERMCHAR : VQ_VI_ASRL_END_NONE,
                 "the serial read end");
  }
}

IoResult CVisaTransport::Write(const char* data, std::size_t size, bool end, std::size_t& written) {
  written = 0;
  if (vi_ == 0) return NotOpen();
  if (!sendEnd_ || *sendEnd_ != end) {
    if (IoResult r = SetAttribute(VQ_VI_ATTR_SEND_END_EN, end ? VQ_VI_TRUE : VQ_VI_FALSE, "END");
        !r.ok())
      return r;
    sendEnd_ = end;
  }
  // A line-feed link ends a message with the line feed itself, sent in the same call.
  std::string withTerm;
  const char* bytes = data;
  std::size_t total = size;
  if (link_.AppendsTerm(data, size, end)) {
    withTerm.reserve(size + 1);
    withTerm.append(data, size);
    withTerm.push_back(link_.termChar);
    bytes = withTerm.data();
    total = withTerm.size();
  }
  std::size_t sent = 0;
  do {
    VqViUInt32 chunk = static_cast<VqViUInt32>(std::min<std::size_t>(total - sent, kMaxTransfer));
    VqViUInt32 accepted = 0;
    VqViStatus status = library_->Fn().viWrite(
        vi_, reinterpret_cast<const unsigned char*>(bytes + sent), chunk, &accepted);
    sent += std::min(accepted, chunk);
    if (status < VQ_VI_SUCCESS) {
      written = std::min(sent, size);
      return Failure("write", status);
    }
    if (accepted == 0 && chunk > 0) {
      written = std::min(sent, size);
      return IoResult::Error("VISA write on " + resourceName_ + " accepted no bytes");
    }
  } while (sent < total);
  written = size;
  return IoResult::Ok();
}

IoResult CVisaTransport::Read(char* buffer, std::size_t max, std::size_t& got, ReadEnd& why) {
  got = 0;
  why = ReadEnd::Count;
  if (vi_ == 0) return NotOpen();
  if (max == 0) return IoResult::Ok();
  VqViUInt32 count = static_cast<VqViUInt32>(std::min<std::size_t>(max, kMaxTransfer));
  VqViUInt32 received = 0;
  VqViStatus status =
      library_->Fn().viRead(vi_, reinterpret_cast<unsigned char*>(buffer), count, &received);
  got = std::min(received, count);  // never trust a count beyond what was asked for
  if (status < VQ_VI_SUCCESS) return Failure("read", status);
  why = status == VQ_VI_SUCCESS_TERM_CHAR ? ReadEnd::TermChar
        : status == VQ_VI_SUCCESS_MAX_CNT ? ReadEnd::Count
                                          : ReadEnd::End;
  return IoResult::Ok();
}

IoResult CVisaTransport::Clear() {
  if (vi_ == 0) return NotOpen();
  VqViStatus status = library_->Fn().viClear(vi_);
  return status < VQ_VI_SUCCESS ? Failure("device clear", status) : IoResult::Ok();
}

IoResult CVisaTransport::ReadStatusByte(std::uint8_t& stb) {
  if (vi_ == 0) return NotOpen();
  VqViUInt16 value = 0;
  VqViStatus status = library_->Fn().viReadSTB(vi_, &value);
  if (status < VQ_VI_SUCCESS) return Failure("status byte read", status);
  stb = static_cast<std::uint8_t>(value & 0xFF);
  return IoResult::Ok();
}

IoResult CVisaTransport::Lock(int timeoutMs) {
  if (vi_ == 0) return NotOpen();
  VqViStatus status = library_->Fn().viLock(vi_, VQ_VI_EXCLUSIVE_LOCK,
                                            static_cast<VqViUInt32>(std::max(0, timeoutMs)),
                                            nullptr, nullptr);
  return status < VQ_VI_SUCCESS ? Failure("lock", status) : IoResult::Ok();
}

IoResult CVisaTransport::Unlock() {
  if (vi_ == 0) return NotOpen();
  VqViStatus status = library_->Fn().viUnlock(vi_);
  return status < VQ_VI_SUCCESS ? Failure("unlock", status) : IoResult::Ok();
}

IoResult CVisaTransport::ReadAttribute(std::uint32_t attr, VisaAttributeValue& value) const {
  if (vi_ == 0) return NotOpen();
  alignas(8) unsigned char raw[kAttributeBuffer] = {};
  VqViStatus status = library_->Fn().viGetAttribute(vi_, attr, raw);
  if (status < VQ_VI_SUCCESS) return Failure("attribute read", status);
  value = VisaAttributeValue{};
  if (attr & VQ_VI_ATTR_STRING_FLAG) {
    value.isString = true;
    const void* nul = std::memchr(raw, 0, VQ_VI_FIND_BUFLEN);
    value.unterminated = nul == nullptr;
    if (!value.unterminated) value.text = reinterpret_cast<const char*>(raw);
  } else {
    std::memcpy(&value.number, raw, sizeof value.number);
  }
  return IoResult::Ok();
}

template <class T>
IoResult CVisaTransport::GetTyped(std::uint32_t attr, T& out) const {
  VisaAttributeValue value;
  if (IoResult r = ReadAttribute(attr, value); !r.ok()) return r;
  T converted{};
  std::string error;
  if (!ConvertAttribute(attr, value, converted, error)) return IoResult::Error(std::move(error));
  out = std::move(converted);
  return IoResult::Ok();
}

IoResult CVisaTransport::GetAttributeUInt8(std::uint32_t attr, std::uint8_t& out) const {
  return GetTyped(attr, out);
}
IoResult CVisaTransport::GetAttributeUInt16(std::uint32_t attr, std::uint16_t& out) const {
  return GetTyped(attr, out);
}
IoResult CVisaTransport::GetAttributeUInt32(std::uint32_t attr, std::uint32_t& out) const {
  return GetTyped(attr, out);
}
IoResult CVisaTransport::GetAttributeUInt64(std::uint32_t attr, std::uint64_t& out) const {
  return GetTyped(attr, out);
}
IoResult CVisaTransport::GetAttributeBool(std::uint32_t attr, bool& out) const {
  return GetTyped(attr, out);
}
IoResult CVisaTransport::GetAttributeString(std::uint32_t attr, std::string& out) const {
  return GetTyped(attr, out);
}

IoResult CVisaTransport::GetProtocol(std::uint16_t& protocol) const {
  return GetAttributeUInt16(VQ_VI_ATTR_IO_PROT, protocol);
}

IoResult CVisaTransport::SetProtocol(std::uint32_t protocol) {
  if (std::string bad = CheckIoProtocol(protocol); !bad.empty())
    return {IoCode::NotSupported, std::move(bad)};
  return SetAttribute(VQ_VI_ATTR_IO_PROT, protocol, "the I/O protocol");
}

IoResult CVisaTransport::GetManufacturerId(std::uint16_t& id) const {
  return GetAttributeUInt16(VQ_VI_ATTR_MANF_ID, id);
}

}  // namespace veqdx::io
