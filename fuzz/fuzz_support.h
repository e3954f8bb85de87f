// Shared pieces of the formatted I/O fuzz targets: an in-memory device and an enum formatter.
#pragma once
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "io/enum_formatter.h"
#include "io/transport.h"

namespace veqdx::io::fuzz {

// Serves one reply in transfers of at most `chunk` bytes, END on the last; afterwards every
// read times out at once. Writes are accepted and dropped.
class MemoryTransport : public CTransportBase {
 public:
  MemoryTransport(std::string reply, std::size_t chunk)
      : CTransportBase(0, false),
        reply_(std::move(reply)),
        chunk_(chunk == 0 ? reply_.size() + 1 : chunk) {}
  IoResult Write(const char*, std::size_t size, bool, std::size_t& written) override {
    written = size;
    return IoResult::Ok();
  }
  IoResult Read(char* buffer, std::size_t max, std::size_t& got, ReadEnd& why) override {
    got = 0;
    if (pos_ >= reply_.size() && ended_) return IoResult::Timeout("no reply");
    got = std::min({max, chunk_, reply_.size() - pos_});
    std::memcpy(buffer, reply_.data() + pos_, got);
    pos_ += got;
    why = pos_ >= reply_.size() ? ReadEnd::End : ReadEnd::Count;
    ended_ = pos_ >= reply_.size();
    return IoResult::Ok();
  }
  InterfaceType Interface() const override { return InterfaceType::Tcpip; }
  std::string ResourceClass() const override { return "INSTR"; }

 private:
  std::string reply_;
  std::size_t chunk_;
  std::size_t pos_ = 0;
  bool ended_ = false;
};

// VARIANT_BOOL and one driver-like enumeration; anything else is an unknown name.
class FuzzEnums : public IEnumFormatter {
 public:
  HRESULT FormatEnum(std::string_view name, std::int32_t value, std::string& keyword) override {
    if (name == "VARIANT_BOOL") keyword = value ? "1" : "0";
    else if (name == "Source" && (value == 0 || value == 1)) keyword = value ? "BUS" : "IMM";
    else return E_FAIL;
    return S_OK;
  }
  HRESULT ParseEnum(std::string_view name, std::string_view reply,
                    std::int32_t& value) override {
    if (name == "VARIANT_BOOL" && (reply == "1" || reply == "0")) value = reply == "1" ? -1 : 0;
    else if (name == "Source" && (reply == "BUS" || reply == "IMM")) value = reply == "BUS";
    else return E_FAIL;
    return S_OK;
  }
};

}  // namespace veqdx::io::fuzz
