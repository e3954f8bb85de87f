#include "api/object_model/outputs.h"

#include <mutex>
#include <vector>

#include "api/object_model/root.h"
#include "base/text.h"
#include "dcpwr/output.h"
#include "dcpwr/output_ivi.h"

namespace veqdx::api {
namespace {

// Steps shared by the collection members: the session's root lock (discovery runs under it,
// so a member never sees a half-built output list), then the call context.
class CCollectionCall {
 public:
  CCollectionCall(const std::shared_ptr<Session>& session, const char* interfaceName,
                  const char* member)
      : lock_(session->driver.Mutex()), context_(interfaceName, member) {}

 private:
  std::lock_guard<std::recursive_mutex> lock_;
  CCallContextGuard context_;
};

}  // namespace

HRESULT COutputCollection::Count(const char* interfaceName, std::int32_t* val) {
  const std::shared_ptr<Session> session = root_.CurrentSession();
  CVelmoraQdx& driver = session->driver;
  CCollectionCall call(session, interfaceName, "get_Count");
  if (!driver.Initialized()) return driver.Reporter().ReportNotInitialized();
  if (val == nullptr) return driver.Reporter().ReportNullPointer("get_Count", "val");
  *val = static_cast<std::int32_t>(driver.OutputCount());
  return S_OK;
}

HRESULT COutputCollection::Name(const char* interfaceName, std::int32_t index, std::string* val) {
  const std::shared_ptr<Session> session = root_.CurrentSession();
  CVelmoraQdx& driver = session->driver;
  CCollectionCall call(session, interfaceName, "get_Name");
  if (!driver.Initialized()) return driver.Reporter().ReportNotInitialized();
  if (val == nullptr) return driver.Reporter().ReportNullPointer("get_Name", "val");
  const std::vector<std::string> names = driver.OutputNames();
  if (index < 1 || static_cast<std::size_t>(index) > names.size())
    return driver.Reporter().ReportInvalidValue("get_Name", "Index", index);
  *val = names[static_cast<std::size_t>(index) - 1];
  return S_OK;
}

HRESULT COutputCollection::Find(const char* interfaceName, const char* member, const char* name,
                                const void* out, bool plainPointer, Found& found) {
  found = Found{};
  const std::shared_ptr<Session> session = root_.CurrentSession();
  CVelmoraQdx& driver = session->driver;
  CCollectionCall call(session, interfaceName, member);
  if (!driver.Initialized()) return driver.Reporter().ReportNotInitialized();
  if (out == nullptr) return driver.Reporter().ReportNullPointer(member, "val");

  // A null name is the empty name, as an empty automation string is.
  const std::string_view asked = TrimBlanks(name == nullptr ? std::string_view() : name);
  std::string resolved;
  if (asked.empty()) {
    const std::vector<std::string> names = driver.OutputNames();
    if (names.size() != 1) return driver.Reporter().ReportChannelNameRequired();
    resolved = names.front();
  } else if (!IsWellFormedOutputName(asked)) {
    return driver.Reporter().ReportBadlyFormedSelector(asked);
  } else {
    resolved = asked;
  }
  auto* output = dynamic_cast<dcpwr::CVelmoraQdxOutput*>(driver.FindChild(resolved));
  if (output == nullptr) return driver.Reporter().ReportUnknownChannelName(resolved);
  if (plainPointer) {
    const HRESULT kept = root_.KeepForPlainPointers(session);
    if (Failed(kept)) return kept;
  }
  found.output = output;
  found.session = session;
  return S_OK;
}

// ---------------------------------------------------------------------------------------------

HRESULT CVelmoraQdxOutputs::get_Count(std::int32_t* val) { return rules_.Count(kInterface, val); }
HRESULT CVelmoraQdxOutputs::get_Name(std::int32_t Index, std::string* val) {
  return rules_.Name(kInterface, Index, val);
}
HRESULT CVelmoraQdxOutputs::get_Item(const char* Name, IVelmoraQdxOutput** val) {
  COutputCollection::Found found;
  const HRESULT hr = rules_.Find(kInterface, "get_Item", Name, val, true, found);
  if (Failed(hr)) {
    if (val != nullptr) *val = nullptr;
    return hr;
  }
  *val = found.output;
  return hr;
}

HRESULT CIviDCPwrOutputs::get_Count(std::int32_t* val) { return rules_.Count(kInterface, val); }
HRESULT CIviDCPwrOutputs::get_Name(std::int32_t Index, std::string* val) {
  return rules_.Name(kInterface, Index, val);
}
HRESULT CIviDCPwrOutputs::get_Item(const char* Name, IIviDCPwrOutput** val) {
  COutputCollection::Found found;
  const HRESULT hr = rules_.Find(kInterface, "get_Item", Name, val, true, found);
  if (Failed(hr)) {
    if (val != nullptr) *val = nullptr;
    return hr;
  }
  *val = &found.output->IviDCPwr();
  return hr;
}

}  // namespace veqdx::api
