// A first program with the VelmoraQdx C++ interface: open a session, program an output,
// switch it on, measure, read the instrument's error queue, close.
//
//   veqdx-example-cpp                               simulated supply (no instrument needed)
//   veqdx-example-cpp <resource> [<option string>]  e.g. TCPIP::10.0.0.5::5025::SOCKET
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "veqdx/veqdx.hpp"

namespace {

// Prints the failure with the driver's description; true when `hr` is a success.
bool Check(veqdx::HRESULT hr, const char* what) {
  if (veqdx::IsSuccess(hr)) return true;
  std::string description = veqdx::GetErrorInfo().description;
  // A driver message ends with a line break of its own (CR LF); print it as one line.
  while (!description.empty() && (description.back() == '\n' || description.back() == '\r'))
    description.pop_back();
  std::fprintf(stderr, "%s failed (0x%08X): %s\n", what, static_cast<unsigned>(hr),
               description.c_str());
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string resource = argc > 1 ? argv[1] : "TCPIP::localhost::INSTR";
  const std::string options = argc > 2 ? argv[2] : (argc > 1 ? "" : "Simulate=true");

  std::shared_ptr<veqdx::IVelmoraQdx> driver = veqdx::CreateVelmoraQdx();
  if (!driver) return 1;
  if (!Check(driver->Initialize(resource.c_str(), veqdx::kVariantTrue, veqdx::kVariantFalse,
                                options.c_str()),
             "Initialize"))
    return 1;

  // The outputs; the first one is programmed ("Output0" on a single unit).
  veqdx::IVelmoraQdxOutputs* outputs = nullptr;
  std::int32_t count = 0;
  std::string name;
  veqdx::IVelmoraQdxOutput* output = nullptr;
  bool ok = Check(driver->get_Outputs(&outputs), "Outputs") &&
            Check(outputs->get_Count(&count), "Outputs.Count") &&
            Check(outputs->get_Name(1, &name), "Outputs.Name") &&
            Check(outputs->get_Item(name.c_str(), &output), "Outputs.Item");
  if (ok) std::printf("%d output(s); programming %s\n", count, name.c_str());

  // 12.5 V with a 1.5 A current limit, then on.
  ok = ok && Check(output->put_VoltageLevel(12.5), "VoltageLevel") &&
       Check(output->ConfigureCurrentLimit(veqdx::VelmoraQdxCurrentLimitRegulate, 1.5),
             "ConfigureCurrentLimit") &&
       Check(output->put_Enabled(veqdx::kVariantTrue), "Enabled");

  double volts = 0;
  double amps = 0;
  ok = ok && Check(output->Measure(veqdx::VelmoraQdxMeasurementVoltage, &volts), "Measure") &&
       Check(output->Measure(veqdx::VelmoraQdxMeasurementCurrent, &amps), "Measure");
  if (ok) std::printf("Measured %.3f V, %.3f A\n", volts, amps);

  // The instrument's error queue, until it reports no error (bounded, in case it never does).
  veqdx::IIviDriverUtility* utility = nullptr;
  ok = ok && Check(driver->get_Utility(&utility), "Utility");
  for (int i = 0; ok && i < 32; ++i) {
    std::int32_t code = 0;
    std::string message;
    ok = Check(utility->ErrorQuery(&code, &message), "ErrorQuery");
    if (ok) std::printf("Instrument error %d: %s\n", code, message.c_str());
    if (code == 0) break;
  }

  if (output != nullptr) Check(output->put_Enabled(veqdx::kVariantFalse), "Enabled");
  const bool closed = Check(driver->Close(), "Close");
  return ok && closed ? 0 : 1;
}
