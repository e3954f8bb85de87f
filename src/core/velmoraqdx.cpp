#include "core/velmoraqdx.h"

#include <utility>

#include "attributes/enum_converters.h"
#include "io/formatted_io.h"

namespace veqdx {

DriverConstants CVelmoraQdx::MakeConstants() {
  DriverConstants c;
  c.prefix = "veqdx";
  c.componentIdentifier = "VelmoraQdx";
  c.vendor = "Velmora";
  c.description = "IVI Driver for Velmora QDX DC Power Supply";
  c.revision = "1.0.4.0";
  c.groupCapabilities =
      "IviDCPwrBase,IviDCPwrTrigger,IviDCPwrSoftwareTrigger,IviDCPwrMeasurement";
  c.supportedModels = "QDX750L,QDX750ML,QDX750MH,QDX750H,QDX1500H,QDX1500L,QDX1500MH,QDX1500ML";
  c.defaultModel = "QDX750ML";
  c.specificationMajorVersion = 2;
  c.specificationMinorVersion = 0;
  c.supportsInterchangeCheck = false;
  c.supportsIdQuery = true;
  c.supportsReset = true;
  c.supportsSelfTest = true;
  c.supportsErrorQuery = true;
  c.selfTestTimeoutMs = 2000;
  c.resetTimeoutMs = 2000;
  c.resetWithDefaultsTimeoutMs = 2000;
  c.ioTimeoutMs = 1000;
  return c;
}

CVelmoraQdx::CVelmoraQdx(OutputFactory makeOutput)
    : CDriver(MakeConstants()), makeOutput_(std::move(makeOutput)) {
  Io().Formatted().SetEnumFormatter(this);
}

CVelmoraQdx::~CVelmoraQdx() {
  // The outputs point at this object; cut them off before its members go.
  DetachChildren();
  Io().Formatted().SetEnumFormatter(nullptr);
}

std::uint32_t CVelmoraQdx::OutputCount() const {
  auto io = LockIo();
  return static_cast<std::uint32_t>(outputNames_.size());
}

std::vector<std::string> CVelmoraQdx::OutputNames() const {
  auto io = LockIo();
  return outputNames_;
}

bool CVelmoraQdx::OnlyOutputName(std::string& name) const {
  auto io = LockIo();
  if (outputNames_.size() != 1) return false;
  name = outputNames_.front();
  return true;
}

std::optional<OutputRecord> CVelmoraQdx::Rating(std::int32_t channel) const {
  if (channel < 0 || channel > kMaxChannelNumber) return std::nullopt;
  auto io = LockIo();
  return records_[static_cast<std::size_t>(channel)];
}

std::int32_t CVelmoraQdx::SelectedChannel() const {
  auto io = LockIo();
  return selectedChannel_;
}

HRESULT CVelmoraQdx::SelectChannel(std::int32_t channel) {
  auto io = LockIo();
  if (Cache() && selectedChannel_ == channel) return S_OK;
  HRESULT hr = S_OK;
  if (!Simulate()) {
    hr = Io().Formatted().Printf(":INST:NSEL %d", channel);
    if (Failed(hr)) return hr;
  }
  selectedChannel_ = channel;
  return hr;
}

void CVelmoraQdx::OnInstrumentReset() {
  // The remembered channel selection is kept across a reset: the selection is only forgotten
  // at discovery, so the wire after a reset is exactly what the cache rule predicts. With Cache
  // off every per-output command selects its channel anyway.
}

namespace {

// The converter for an enumeration name in the calling thread's context. An operation names
// the same enumeration in the same context on every call, so the last answer is remembered
// per thread; the converter tables never change.
const attr::IEnumCommandConverterErased* ConverterFor(std::string_view name) {
  struct Memo {
    std::string name, interfaceName, memberName;
    const attr::IEnumCommandConverterErased* converter = nullptr;
  };
  thread_local Memo memo;
  const CallContext& context = CurrentCallContext();
  if (memo.converter != nullptr && memo.name == name &&
      memo.interfaceName == context.interfaceName && memo.memberName == context.memberName)
    return memo.converter;
  const attr::IEnumCommandConverterErased* converter =
      attr::FindConverter(name, CContextKeyText(context).view());
  if (converter != nullptr) {
    memo.name.assign(name);
    memo.interfaceName.assign(context.interfaceName);
    memo.memberName.assign(context.memberName);
    memo.converter = converter;
  }
  return converter;
}

}  // namespace

HRESULT CVelmoraQdx::FormatEnum(std::string_view name, std::int32_t value, std::string& keyword) {
  const attr::IEnumCommandConverterErased* converter = ConverterFor(name);
  if (converter == nullptr)
    return Io().ReportError("Unrecognized enum name '" + std::string(name) + "'.");
  if (!converter->ToString(Model(), value, keyword))
    return Reporter().ReportInvalidValue(CurrentMemberName(), "nVal", value);
  return S_OK;
}

HRESULT CVelmoraQdx::ParseEnum(std::string_view name, std::string_view reply,
                               std::int32_t& value) {
  const attr::IEnumCommandConverterErased* converter = ConverterFor(name);
  if (converter == nullptr)
    return Io().ReportError("Unrecognized enum name '" + std::string(name) + "'.");
  if (!converter->FromString(Model(), reply, value)) {
    return Io().ReportError("Unexpected value '" + std::string(reply) + "' for enum '" +
                            std::string(name) + "'.");
  }
  return S_OK;
}

}  // namespace veqdx
