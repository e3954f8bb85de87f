// The output collection of the root object, under both of its interfaces: IVelmoraQdxOutputs
// hands out the instrument view of an output, IIviDCPwrOutputs the class-compliant view of the
// same output object.
//
// Count is the number of outputs discovery found; Name takes a one-based index (discovery
// order); Item takes an output name:
//   - empty (or null): the only output of a single-output unit; on a unit with several,
//     "A channel name is required." (0x80047044);
//   - blanks and tabs around the name are ignored; what remains must be one name of letters,
//     digits, '_' and '!', else "The repeated capability selector is badly-formed."
//     (0x80047066) with the name as extra text;
//   - a well-formed name of no output: "Unknown channel name." (0x80047020), name as extra.
// Every member fails with the not-initialized error while no session is open.
#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/hresult.h"
#include "veqdx/interfaces.hpp"

namespace veqdx::dcpwr {
class CVelmoraQdxOutput;
}

namespace veqdx::api {

class VelmoraQdx;
struct Session;

// The rules shared by both interfaces; `interfaceName` goes into the call context, and so
// into the error record.
class COutputCollection {
 public:
  explicit COutputCollection(VelmoraQdx& root) noexcept : root_(root) {}

  // What Find resolved: the output and the session that owns it.
  struct Found {
    dcpwr::CVelmoraQdxOutput* output = nullptr;
    std::shared_ptr<Session> session;
  };

  HRESULT Count(const char* interfaceName, std::int32_t* val);
  HRESULT Name(const char* interfaceName, std::int32_t index, std::string* val);
  // Resolves `name` in the current session. `out` is the caller's out argument, only looked
  // at for null (reported as the null-pointer error naming `member`); `found` is left empty
  // on failure. A resolved output is marked as handed out plainly when `plainPointer`.
  HRESULT Find(const char* interfaceName, const char* member, const char* name, const void* out,
               bool plainPointer, Found& found);

 private:
  VelmoraQdx& root_;
};

class CVelmoraQdxOutputs final : public IVelmoraQdxOutputs {
 public:
  static constexpr const char* kInterface = "IVelmoraQdxOutputs";
  explicit CVelmoraQdxOutputs(COutputCollection& rules) noexcept : rules_(rules) {}
  HRESULT get_Count(std::int32_t* val) override;
  HRESULT get_Item(const char* Name, IVelmoraQdxOutput** val) override;
  HRESULT get_Name(std::int32_t Index, std::string* val) override;

 private:
  COutputCollection& rules_;
};

class CIviDCPwrOutputs final : public IIviDCPwrOutputs {
 public:
  static constexpr const char* kInterface = "IIviDCPwrOutputs";
  explicit CIviDCPwrOutputs(COutputCollection& rules) noexcept : rules_(rules) {}
  HRESULT get_Count(std::int32_t* val) override;
  HRESULT get_Item(const char* Name, IIviDCPwrOutput** val) override;
  HRESULT get_Name(std::int32_t Index, std::string* val) override;

 private:
  COutputCollection& rules_;
};

}  // namespace veqdx::api
