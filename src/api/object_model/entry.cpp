// The functions of veqdx/veqdx.hpp: creation, interfaces by identifier, shared outputs and
// the error record.
#include <new>

#include "api/object_model/iid.h"
#include "api/object_model/root.h"
#include "base/call_context.h"
#include "base/error_reporter.h"
#include "dcpwr/output.h"
#include "dcpwr/output_ivi.h"
#include "veqdx/veqdx.hpp"

namespace veqdx {
namespace {

using api::SameIid;
using api::VelmoraQdx;

void* QueryOutput(dcpwr::CVelmoraQdxOutput& o, std::string_view iid) noexcept {
  if (SameIid(iid, IVelmoraQdxOutput::kIid)) return static_cast<IVelmoraQdxOutput*>(&o);
  if (SameIid(iid, IIviDCPwrOutput::kIid)) return static_cast<IIviDCPwrOutput*>(&o.IviDCPwr());
  if (SameIid(iid, IVelmoraQdxOutputExternalControl::kIid))
    return static_cast<IVelmoraQdxOutputExternalControl*>(&o);
  if (SameIid(iid, IVelmoraQdxOutputStatus::kIid)) return static_cast<IVelmoraQdxOutputStatus*>(&o);
  if (SameIid(iid, IVelmoraQdxOutputStatusOperation::kIid)) return &o.StatusOperation();
  if (SameIid(iid, IVelmoraQdxOutputStatusQuestionable::kIid)) return &o.StatusQuestionable();
  return nullptr;
}

}  // namespace

std::shared_ptr<IVelmoraQdx> CreateVelmoraQdx() noexcept {
  try {
    return std::make_shared<VelmoraQdx>();
  } catch (...) {
    return nullptr;
  }
}

std::shared_ptr<IIviDriver> CreateDriver(std::string_view lookupName) noexcept {
  if (SameIid(lookupName, kVelmoraQdxClsid) || SameIid(lookupName, kVelmoraQdxProgId) ||
      SameIid(lookupName, kVelmoraQdxVersionedProgId))
    return CreateVelmoraQdx();
  return nullptr;
}

void* QueryInterface(IIviDriver* driver, std::string_view iid) noexcept {
  auto* root = dynamic_cast<VelmoraQdx*>(driver);
  return root == nullptr ? nullptr : root->Query(iid);
}

void* QueryInterface(IVelmoraQdxOutput* output, std::string_view iid) noexcept {
  auto* node = dynamic_cast<dcpwr::CVelmoraQdxOutput*>(output);
  return node == nullptr ? nullptr : QueryOutput(*node, iid);
}

HRESULT GetOutput(IIviDriver* driver, const char* name,
                  std::shared_ptr<IVelmoraQdxOutput>* output) noexcept {
  if (output != nullptr) output->reset();
  auto* root = dynamic_cast<VelmoraQdx*>(driver);
  if (root == nullptr) {
    CCallContextGuard context("IVelmoraQdxOutputs", "GetOutput");
    const CVelmoraQdxErrorReporter reporter([] { return CurrentInterfaceName(); });
    return driver == nullptr ? reporter.ReportNullPointer("GetOutput", "driver")
                             : reporter.ReportInvalidValueText("GetOutput", "driver",
                                                               "not a VelmoraQdx driver object");
  }
  try {
    api::COutputCollection::Found found;
    const HRESULT hr = root->OutputRules().Find("IVelmoraQdxOutputs", "GetOutput", name, output,
                                                false, found);
    if (Failed(hr)) return hr;
    // Shares ownership of the session: its driver object, and so the output, stay alive.
    *output = std::shared_ptr<IVelmoraQdxOutput>(found.session, found.output);
    return hr;
  } catch (...) {
    return root->CurrentSession()->driver.Reporter().ReportOutOfMemory();
  }
}

ErrorInfo GetErrorInfo() {
  const ErrorRecord& record = ThreadErrorRecord();
  ErrorInfo info;
  info.code = record.hr;
  info.description = record.description;
  info.interfaceName = record.interfaceName;
  info.source = record.source;
  info.helpFile = record.helpFile;
  info.helpContext = record.helpContext;
  return info;
}

void ClearErrorInfo() noexcept { ClearThreadErrorRecord(); }

}  // namespace veqdx
