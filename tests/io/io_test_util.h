// Helpers shared by the I/O tests.
#pragma once
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "base/error_reporter.h"
#include "io/io_session.h"
#include "support/scripted_transport.h"

namespace veqdx::io::test {

// Description of the driver's I/O error carrying `text` as its insert and no extra text, so
// ending with the message's CR LF.
inline std::string IoErrorText(const std::string& text) {
  return "VelmoraQdx: I/O error: " + text + ".\r\n";
}

// Description of a failed open of `resource`, with the link's reason.
inline std::string OpenFailureText(const std::string& resource, const std::string& cause) {
  return "VelmoraQdx: I/O error: Failed to open VISA resource..\r\nResource descriptor = " +
         resource + ". Cause: " + cause;
}

inline const std::string& LastDescription() { return ThreadErrorRecord().description; }

// The rest of the current response, character by character, up to its end.
inline std::string ReadAll(CInstrBuffer& b) {
  std::string out;
  for (int c = 0;;) {
    const HRESULT hr = b.ReadChar(c);
    EXPECT_EQ(hr, S_OK);
    if (hr != S_OK || c == CInstrBuffer::kEndOfResponse) return out;
    out.push_back(static_cast<char>(c));
  }
}

// Sends `command` and reads one reply through the session's low-level calls: the reply, or
// "<description>" of the error that stopped it.
inline std::string Ask(CIoSession& session, const std::string& command) {
  std::string text;
  std::int32_t status = 0;
  if (session.LowLevelWriteStringNoPoll(command) != S_OK ||
      session.LowLevelReadStringNoPoll(100, text, status) != S_OK)
    return "<" + LastDescription() + ">";
  return text;
}

// A session opened on a scripted device.
struct ScriptedSession {
  CVelmoraQdxErrorReporter reporter;
  std::shared_ptr<ScriptedDevice> device;
  CIoSession session{reporter};

  explicit ScriptedSession(std::shared_ptr<ScriptedDevice> dev = std::make_shared<ScriptedDevice>())
      : device(std::move(dev)) {
    ClearThreadErrorRecord();
    openResult = session.OpenWithTransport("TCPIP::scripted::INSTR", device->Connect());
  }
  CInstrBuffer& buffer() { return *session.Buffer(); }
  HRESULT openResult;
};

}  // namespace veqdx::io::test
