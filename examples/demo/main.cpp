// A tour of one driver session: open it, show the settings, the model, the outputs with their
// ratings and the driver's identity, run a self test and read the error queue, close.
//
//   veqdx-demo                                   simulated session
//   veqdx-demo <resource> [<option string>]      e.g. TCPIP::10.0.0.5::5025::SOCKET
#include <cstdio>
#include <string>

#include "base/error_reporter.h"
#include "core/velmoraqdx.h"
#include "dcpwr/output_factory.h"

namespace {

using veqdx::CDriver;
using veqdx::CVelmoraQdx;
using veqdx::HRESULT;
using veqdx::VARIANT_BOOL;

bool Check(HRESULT hr, const char* what) {
  if (veqdx::Succeeded(hr)) return true;
  std::fprintf(stderr, "%s failed (0x%08X): %s\n", what, static_cast<unsigned>(hr),
               veqdx::ThreadErrorRecord().description.c_str());
  return false;
}

void ShowFlag(CVelmoraQdx& driver, const char* name, HRESULT (CDriver::*getter)(VARIANT_BOOL*)) {
  VARIANT_BOOL value = 0;
  if (Check((driver.*getter)(&value), name))
    std::printf("  %-22s %s\n", name, value ? "true" : "false");
}

void ShowText(CVelmoraQdx& driver, const char* name, HRESULT (CDriver::*getter)(std::string*)) {
  std::string value;
  if (Check((driver.*getter)(&value), name)) std::printf("  %-27s %s\n", name, value.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  const char* resource = argc > 1 ? argv[1] : "TCPIP::localhost::INSTR";
  const std::string options = argc > 2 ? argv[2] : (argc > 1 ? "" : "Simulate=true");

  CVelmoraQdx driver{veqdx::dcpwr::CreateOutput};
  if (!Check(driver.Initialize(resource, veqdx::VARIANT_TRUE, veqdx::VARIANT_FALSE,
                               options.c_str()),
             "Initialize"))
    return 1;
  std::printf("Session on %s (%s)\n", resource, options.empty() ? "no options" : options.c_str());

  std::printf("Inherent settings:\n");
  ShowFlag(driver, "Cache", &CDriver::get_Cache);
  ShowFlag(driver, "InterchangeCheck", &CDriver::get_InterchangeCheck);
  ShowFlag(driver, "QueryInstrumentStatus", &CDriver::get_QueryInstrumentStatus);
  ShowFlag(driver, "RangeCheck", &CDriver::get_RangeCheck);
  ShowFlag(driver, "RecordCoercions", &CDriver::get_RecordCoercions);
  ShowFlag(driver, "Simulate", &CDriver::get_Simulate);

  std::printf("Model %s, %u output(s):\n", driver.Model().c_str(), driver.OutputCount());
  for (const std::string& name : driver.OutputNames()) {
    const int channel = std::stoi(name.substr(std::string("Output").size()));
    if (auto rating = driver.Rating(channel)) {
      std::printf("  %-8s %-9s %8.1f V %8.1f A %7.1f W\n", name.c_str(), rating->model.c_str(),
                  rating->maxVoltage, rating->maxCurrent, rating->maxPower);
    }
  }

  std::printf("Identity:\n");
  ShowText(driver, "Description", &CDriver::get_Description);
  ShowText(driver, "Vendor", &CDriver::get_Vendor);
  ShowText(driver, "Revision", &CDriver::get_Revision);
  ShowText(driver, "Identifier", &CDriver::get_Identifier);
  ShowText(driver, "SupportedInstrumentModels", &CDriver::get_SupportedInstrumentModels);
  ShowText(driver, "GroupCapabilities", &CDriver::get_GroupCapabilities);
  ShowText(driver, "InstrumentManufacturer", &CDriver::get_InstrumentManufacturer);
  ShowText(driver, "InstrumentModel", &CDriver::get_InstrumentModel);
  ShowText(driver, "InstrumentFirmwareRevision", &CDriver::get_InstrumentFirmwareRevision);
  std::int32_t major = 0;
  std::int32_t minor = 0;
  if (Check(driver.get_SpecificationMajorVersion(&major), "SpecificationMajorVersion") &&
      Check(driver.get_SpecificationMinorVersion(&minor), "SpecificationMinorVersion"))
    std::printf("  %-27s %d.%d\n", "SpecificationVersion", major, minor);

  std::int32_t result = 0;
  std::string message;
  if (Check(driver.SelfTest(&result, &message), "SelfTest"))
    std::printf("Self test: %d, %s\n", result, message.c_str());
  if (Check(driver.ErrorQuery(&result, &message), "ErrorQuery"))
    std::printf("Error query: %d, %s\n", result, message.c_str());

  return Check(driver.Close(), "Close") ? 0 : 1;
}
