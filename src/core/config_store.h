// The configuration store as an XML file (IviConfigurationStore.xml): a resource name may name
// a driver session there, or a logical name that points to one, instead of an I/O address.
//
// The file is found afresh at every look-up (an edited file takes effect at the next
// Initialize): $IVI_CONFIG_STORE (empty: no store), then
// $XDG_CONFIG_HOME/ivi/IviConfigurationStore.xml (~/.config when unset), then
// /etc/ivi/IviConfigurationStore.xml. No file at all means every resource name is an address.
#pragma once
#include <string>
#include <string_view>

#include "core/options.h"

namespace veqdx {

// The store file that applies now; empty when there is none.
std::string LocateConfigStoreFile();

class CFileConfigStore : public IConfigStore {
 public:
  // `path` fixes the file (tests, embedders); empty: located at every look-up.
  explicit CFileConfigStore(std::string path = {}) : path_(std::move(path)) {}

  HRESULT FindDriverSession(std::string_view resourceName, const CErrorReporter& reporter,
                            ConfigStoreSession& session, bool& found) override;

 private:
  std::string path_;
};

}  // namespace veqdx
