// The identity properties: what the driver says about itself (constants of the driver class)
// and about the instrument it is connected to (the identification reply, or constants when
// simulating).
#include "core/driver.h"

namespace veqdx {
namespace {

constexpr const char* kComponentIdentity = "IIviComponentIdentity";
constexpr const char* kDriverIdentity = "IIviDriverIdentity";

// The build note tells a user which flavour of the library answered.
constexpr const char* kBuildNote =
    sizeof(void*) == 8 ? " [Compiled for 64-bit.]" : " [Compiled for 32-bit.]";

}  // namespace

#define VEQDX_IDENTITY_GETTER(Interface, Member, Type, Expression)  \
  HRESULT CDriver::Member(Type* val) {                              \
    return Call(Interface, #Member, [&] {                           \
      TraceOut("val", val);                                         \
      if (val == nullptr) return ReportNull(#Member, "val");        \
      *val = (Expression);                                          \
      return S_OK;                                                  \
    });                                                             \
  }

VEQDX_IDENTITY_GETTER(kComponentIdentity, get_Description, std::string,
                      constants_.description + kBuildNote)
VEQDX_IDENTITY_GETTER(kComponentIdentity, get_Revision, std::string, constants_.revision)
VEQDX_IDENTITY_GETTER(kComponentIdentity, get_Vendor, std::string, constants_.vendor)
VEQDX_IDENTITY_GETTER(kDriverIdentity, get_Identifier, std::string,
                      constants_.componentIdentifier)
VEQDX_IDENTITY_GETTER(kDriverIdentity, get_SpecificationMajorVersion, std::int32_t,
                      constants_.specificationMajorVersion)
VEQDX_IDENTITY_GETTER(kDriverIdentity, get_SpecificationMinorVersion, std::int32_t,
                      constants_.specificationMinorVersion)
VEQDX_IDENTITY_GETTER(kDriverIdentity, get_SupportedInstrumentModels, std::string,
                      constants_.supportedModels)
VEQDX_IDENTITY_GETTER(kDriverIdentity, get_GroupCapabilities, std::string,
                      constants_.groupCapabilities)
// A simulated session has no instrument to ask, so it names the driver's own vendor and
// revision.
VEQDX_IDENTITY_GETTER(kDriverIdentity, get_InstrumentManufacturer, std::string,
                      Initialized() && Simulate() ? constants_.vendor
                                                  : Identity().manufacturer)
VEQDX_IDENTITY_GETTER(kDriverIdentity, get_InstrumentModel, std::string, Model())
VEQDX_IDENTITY_GETTER(kDriverIdentity, get_InstrumentFirmwareRevision, std::string,
                      Initialized() && Simulate() ? "Sim" + constants_.revision
                                                  : Identity().firmwareRevision)

#undef VEQDX_IDENTITY_GETTER

}  // namespace veqdx
