#include "dcpwr/direct_io.h"

#include <algorithm>

#include "core/velmoraqdx.h"
#include "dcpwr/accessor.h"

namespace veqdx::dcpwr {
namespace {

// Bytes asked for by the first low-level read of a response: one buffer's worth, so a short
// reply allocates little. A response that goes on is read in doubling pieces up to the
// largest, so a long one needs few reads.
constexpr std::size_t kFirstReadChunk =
    static_cast<std::size_t>(io::CInstrBuffer::kDefaultCapacity);
constexpr std::size_t kLargestReadChunk = 1024 * 1024;

AccessTarget RootOf(CVelmoraQdx& driver) { return AccessTarget{driver, driver, kNoChannel}; }

}  // namespace

HRESULT ReportDirectIoWhileSimulating(const CVelmoraQdx& driver) {
  return driver.Reporter().ReportIoError(kDirectIoSimulatingText);
}

HRESULT CDirectIo::WriteString(const char* data) {
  const std::shared_ptr<CVelmoraQdx> driver = driver_.Lease();
  return RunMember(RootOf(*driver), kInterface, "WriteString", [&]() -> HRESULT {
    if (data != nullptr) TraceIn("data", std::string_view(data));
    if (data == nullptr) return driver->Reporter().ReportNullPointer("WriteString", "data");
    return WriteBody(*driver, data);
  });
}

HRESULT CDirectIo::ReadString(std::string* val) {
  const std::shared_ptr<CVelmoraQdx> driver = driver_.Lease();
  return RunMember(RootOf(*driver), kInterface, "ReadString", [&]() -> HRESULT {
    TraceOut("val", val);
    if (val == nullptr) return driver->Reporter().ReportNullPointer("ReadString", "val");
    return ReadBody(*driver, kMaxResponse, *val);
  });
}

HRESULT CDirectIo::Write(std::string_view text) {
  const std::shared_ptr<CVelmoraQdx> driver = driver_.Lease();
  return RunMember(RootOf(*driver), kInterface, "WriteString", [&]() -> HRESULT {
    TraceIn("data", text);
    return WriteBody(*driver, text);
  });
}

HRESULT CDirectIo::Read(std::size_t max, std::string& out) {
  const std::shared_ptr<CVelmoraQdx> driver = driver_.Lease();
  return RunMember(RootOf(*driver), kInterface, "ReadString", [&]() -> HRESULT {
    TraceOut("val", &out);
    return ReadBody(*driver, max, out);
  });
}

HRESULT CDirectIo::WriteBody(CVelmoraQdx& driver, std::string_view text) {
  // Checked on every call, not only when the object was handed out: simulation may have been
  // switched on since, and then no byte may reach the device.
  if (driver.Simulate()) return ReportDirectIoWhileSimulating(driver);
  auto io = driver.LockIo();
  return driver.Io().LowLevelWriteStringNoPoll(text);
}

HRESULT CDirectIo::ReadBody(CVelmoraQdx& driver, std::size_t max, std::string& out) {
  out.clear();
  if (driver.Simulate()) return ReportDirectIoWhileSimulating(driver);
  auto io = driver.LockIo();
  io::CIoSession& session = driver.Io();
  std::string chunk;
  std::size_t transferred = 0;
  for (std::size_t size = kFirstReadChunk;; size = std::min(2 * size, kLargestReadChunk)) {
    if (transferred >= kMaxTransfer) {
      out.clear();
      return session.ReportError("Direct I/O read stopped after " +
                                 std::to_string(transferred) +
                                 " bytes of one response; the rest is still pending");
    }
    std::int32_t status = 0;
    const HRESULT hr =
        session.LowLevelReadStringNoPoll(std::min(size, kMaxTransfer - transferred), chunk, status);
    if (Failed(hr)) {
      out.clear();
      return hr;
    }
    transferred += chunk.size();
    if (out.size() < max) out.append(chunk, 0, std::min(chunk.size(), max - out.size()));
    // Any status but "stopped at the count" means the response ended with this read.
    if (status != io::kReadStatusMaxCount) return S_OK;
  }
}

}  // namespace veqdx::dcpwr
