// A transport through an installed VISA C library (visa_library.h): any resource the library
// knows, GPIB included.
//
// Open: the default resource manager, then the resource without a lock and with the open
// timeout (2000 ms unless the options say otherwise). Then the interface type, the resource
// class and the resource name are read ("OTHER" and "UNKNOWN" when the library cannot say;
// a TCPIP resource whose name holds "::SOCKET" is of class "SOCKET"). Serial lines and raw
// sockets have no END signal, so on them the termination character is set to line feed and
// enabled, and for serial lines VI_ATTR_ASRL_END_IN is set to end reads at it; a write with
// END on such a link gets the line feed appended unless the message already ends with it, as
// the built-in transports do, so that the wire traffic is the same either way.
//
// Every VISA failure becomes IoCode::Timeout (VI_ERROR_TMO) or IoCode::Error with VISA's own
// description of the status; the open failure names the descriptor. Close closes the session
// and then the resource manager.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "io/transport.h"
#include "io/visa_api.h"
#include "io/visa_library.h"
#include "io/visa_mapping.h"
#include "io/visa_session_extras.h"

namespace veqdx::io {

class CVisaTransport final : public CTransportBase, public CVisaSessionExtras {
 public:
  // Opens `descriptor` through `library`. On failure returns nullptr with `result` saying what
  // failed ("viOpen <resource>: <VISA status>"); IoCode::Timeout when VISA timed out.
  // `openStatus`, when given, receives viOpen's status (VI_SUCCESS when it was not reached).
  static std::unique_ptr<CVisaTransport> Open(std::shared_ptr<const CVisaLibrary> library,
                                             const std::string& descriptor,
                                             const TransportOptions& options, IoResult& result,
                                             VqViStatus* openStatus = nullptr);
  ~CVisaTransport() override;
  CVisaTransport(const CVisaTransport&) = delete;
  CVisaTransport& operator=(const CVisaTransport&) = delete;

  IoResult Write(const char* data, std::size_t size, bool end, std::size_t& written) override;
  IoResult Read(char* buffer, std::size_t max, std::size_t& got, ReadEnd& why) override;

  void SetTimeout(int milliseconds) override;
  void SetTermChar(char c, bool enabled) override;

  IoResult Clear() override;                            // viClear
  IoResult ReadStatusByte(std::uint8_t& stb) override;  // viReadSTB
  IoResult Lock(int timeoutMs) override;                // viLock, exclusive
  IoResult Unlock() override;                           // viUnlock
  void Close() override;

  // viClear empties the output of instrument resources; sockets and serial lines have no
  // device clear of their own, so their replies are counted like the built-in stream links'.
  bool ClearEmptiesOutput() const override { return HasEndSignal(); }
  bool HasEndSignal() const override {
    return interface_ != InterfaceType::Serial && resourceClass_ != "SOCKET";
  }
  InterfaceType Interface() const override { return interface_; }
  std::string ResourceClass() const override { return resourceClass_; }
  const std::string& ResourceName() const { return resourceName_; }
  // The VISA number of the interface type (VI_ATTR_INTF_TYPE), before mapping.
  std::uint16_t VisaInterfaceType() const { return visaInterfaceType_; }
  const CVisaLibrary& Library() const { return *library_; }

  // Typed attribute reads (the session's GetAttribute...): the output is set only on success;
  // a value that does not convert gives the "GetAttribute could not convert attribute with ID
  // %d to a ... value." text; a VISA failure its description.
  IoResult GetAttributeUInt8(std::uint32_t attr, std::uint8_t& out) const;
  IoResult GetAttributeUInt16(std::uint32_t attr, std::uint16_t& out) const;
  IoResult GetAttributeUInt32(std::uint32_t attr, std::uint32_t& out) const;
  IoResult GetAttributeUInt64(std::uint32_t attr, std::uint64_t& out) const;
  IoResult GetAttributeBool(std::uint32_t attr, bool& out) const;
  IoResult GetAttributeString(std::uint32_t attr, std::string& out) const;
  // VI_ATTR_IO_PROT and VI_ATTR_MANF_ID.
  IoResult GetProtocol(std::uint16_t& protocol) const;
  IoResult SetProtocol(std::uint32_t protocol);  // "Unsupported VISA I/O protocol." if unknown
  IoResult GetManufacturerId(std::uint16_t& id) const;

 private:
  CVisaTransport(std::shared_ptr<const CVisaLibrary> library, VqViSession rm, VqViSession vi,
                int timeoutMs);
  // The raw value of an attribute: strings for ids with the string flag, numbers otherwise.
  IoResult ReadAttribute(std::uint32_t attr, VisaAttributeValue& value) const;
  template <class T>
  IoResult GetTyped(std::uint32_t attr, T& out) const;
  IoResult Failure(const char* operation, VqViStatus status) const;
  IoResult SetAttribute(std::uint32_t attr, std::uint64_t value, const char* what);
  IoResult NotOpen() const;

  std::shared_ptr<const CVisaLibrary> library_;
  VqViSession rm_;
  VqViSession vi_;
  std::optional<bool> sendEnd_;  // VI_ATTR_SEND_END_EN as last set; unknown at first
  InterfaceType interface_ = InterfaceType::Gpib;
  std::uint16_t visaInterfaceType_ = 0;
  std::string resourceClass_ = "OTHER";
  std::string resourceName_ = "UNKNOWN";
};

}  // namespace veqdx::io
