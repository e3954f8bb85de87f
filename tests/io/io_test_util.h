// Helpers shared by the I/O tests.
#pragma once
#include <memory>
#include <string>

#include "core/error_reporter.h"
#include "io/io_session.h"
#include "io/scripted_transport.h"

namespace veqdx::io::test {

// Description of the driver's I/O error carrying `text` as its insert.
inline std::string IoErrorText(const std::string& text) {
  return "VelmoraQdx: I/O error: " + text + ".";
}

inline const std::string& LastDescription() { return ThreadErrorRecord().description; }

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
