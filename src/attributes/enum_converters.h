// Converters between enumeration values and the instrument's keywords ("SAFE", "BUS", "1", ...).
// Each converter owns one keyword table per instrument model (the empty model standing for
// every model). Tables are built lazily, once per process, on the first request for their
// context, and are read-only afterwards, so any thread may use them.
//
// The formatted I/O engine asks by enumeration name ("%{VelmoraQdxPONStateEnum}s") and the
// driver adds the call's context key ("IVelmoraQdxOutput.PONState"): FindConverter() answers
// with a type-erased converter or nullptr. Reporting failures is the caller's job.
#pragma once
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "veqdx/enums.hpp"
#include "attributes/key_hash.h"
#include "base/hresult.h"

namespace veqdx::attr {

// The class-compliant current limit behaviour; its converter deliberately has no rows.
enum IviDCPwrCurrentLimitBehaviorEnum : int {
  IviDCPwrCurrentRegulate = 0,
  IviDCPwrCurrentTrip = 1,
};

// One table row: the first keyword is written, every keyword is accepted when reading.
template <class T>
struct EnumCommand {
  T value;
  std::vector<std::string> keywords;
};

// The rows that hold for one model. Rows are applied in order and a later row overwrites an
// earlier one under the same key, so the row order decides what a shared keyword reads back as
// (the Boolean tables rely on it: "1" reads back as -1).
template <class T>
class CModelBasedMap {
 public:
  CModelBasedMap(std::string model, std::initializer_list<EnumCommand<T>> rows)
      : model_(std::move(model)) {
    for (const EnumCommand<T>& row : rows) {
      if (row.keywords.empty()) continue;
      valueMap_.insert_or_assign(row.value, row.keywords.front());
      for (const std::string& keyword : row.keywords) {
        keywordMap_.insert_or_assign(keyword, row.value);
      }
    }
  }
  const std::string& Model() const noexcept { return model_; }
  const std::string* KeywordOf(T value) const {
    auto it = valueMap_.find(value);
    return it == valueMap_.end() ? nullptr : &it->second;
  }
  bool ValueOf(std::string_view keyword, T& value) const {
    auto it = keywordMap_.find(keyword);  // case-sensitive
    if (it == keywordMap_.end()) return false;
    value = it->second;
    return true;
  }

 private:
  std::string model_;
  std::unordered_map<T, std::string> valueMap_;
  std::unordered_map<std::string, T, KeyTextHash, KeyTextEqual> keywordMap_;
};

// Picks the map of a model: the model's own, else the all-models map (model ""), else none.
template <class MapT>
class CModelBasedType {
 public:
  const MapT* FindModelMap(std::string_view model) const {
    if (auto it = maps_.find(model); it != maps_.end()) return &it->second;
    if (auto it = maps_.find(std::string_view()); it != maps_.end()) return &it->second;
    return nullptr;
  }

 protected:
  explicit CModelBasedType(std::initializer_list<MapT> maps) {
    for (const MapT& map : maps) maps_.insert_or_assign(map.Model(), map);
  }

 private:
  std::unordered_map<std::string, MapT, KeyTextHash, KeyTextEqual> maps_;
};

template <class T>
class IEnumCommandConverter {
 public:
  virtual ~IEnumCommandConverter() = default;
  // The keyword written for `value`; false when the model has no map or the value no row.
  virtual bool ToString(std::string_view model, T value, std::string& keyword) const = 0;
  // The value of a reply, trimmed of white space at both ends first; false when the model has
  // no map or the keyword is unknown (case matters).
  virtual bool FromString(std::string_view model, std::string_view reply, T& value) const = 0;
};

// The same two operations with every value widened to 32 bits (VARIANT_BOOL included), for the
// formatted I/O engine, which knows enumerations only by name.
class IEnumCommandConverterErased {
 public:
  virtual ~IEnumCommandConverterErased() = default;
  virtual bool ToString(std::string_view model, std::int32_t value,
                        std::string& keyword) const = 0;
  virtual bool FromString(std::string_view model, std::string_view reply,
                          std::int32_t& value) const = 0;
};

// Strips the characters the C locale counts as white space (" \t\n\v\f\r") from both ends.
std::string_view TrimSpace(std::string_view text) noexcept;

template <class T>
class CEnumCommandConverter final : public IEnumCommandConverter<T>,
                                    public CModelBasedType<CModelBasedMap<T>> {
 public:
  explicit CEnumCommandConverter(std::initializer_list<CModelBasedMap<T>> maps)
      : CModelBasedType<CModelBasedMap<T>>(maps), erased_(*this) {}
  CEnumCommandConverter(const CEnumCommandConverter&) = delete;
  CEnumCommandConverter& operator=(const CEnumCommandConverter&) = delete;

  bool ToString(std::string_view model, T value, std::string& keyword) const override {
    const CModelBasedMap<T>* map = this->FindModelMap(model);
    const std::string* found = map ? map->KeywordOf(value) : nullptr;
    if (!found) return false;
    keyword = *found;
    return true;
  }
  bool FromString(std::string_view model, std::string_view reply, T& value) const override {
    const CModelBasedMap<T>* map = this->FindModelMap(model);
    return map && map->ValueOf(TrimSpace(reply), value);
  }
  const IEnumCommandConverterErased& Erased() const noexcept { return erased_; }

 private:
  class ErasedView final : public IEnumCommandConverterErased {
   public:
    explicit ErasedView(const CEnumCommandConverter& typed) : typed_(typed) {}
    bool ToString(std::string_view model, std::int32_t value,
                  std::string& keyword) const override {
      // A value that does not fit the enumeration's type (a VARIANT_BOOL of 65537) must not
      // wrap onto a valid one.
      using Raw = typename std::conditional_t<std::is_enum_v<T>, std::underlying_type<T>,
                                              std::type_identity<T>>::type;
      if (value < std::numeric_limits<Raw>::min() || value > std::numeric_limits<Raw>::max())
        return false;
      return typed_.ToString(model, static_cast<T>(value), keyword);
    }
    bool FromString(std::string_view model, std::string_view reply,
                    std::int32_t& value) const override {
      T typed{};
      if (!typed_.FromString(model, reply, typed)) return false;
      value = static_cast<std::int32_t>(typed);
      return true;
    }

   private:
    const CEnumCommandConverter& typed_;
  };
  ErasedView erased_;
};

// --- typed look-ups: each converter accepts only its own context keys; an empty key selects
// its first table, any other key yields nullptr ---
template <class T>
const IEnumCommandConverter<T>* FindEnumConverter(std::string_view contextKey);
// VARIANT_BOOL (int16_t): never null; keys without a table of their own get the catch-all
// table ("1, ON" / "0, OFF").
template <>
const IEnumCommandConverter<VARIANT_BOOL>* FindEnumConverter<VARIANT_BOOL>(std::string_view);
template <>
const IEnumCommandConverter<VelmoraQdxCurrentLimitBehaviorEnum>*
FindEnumConverter<VelmoraQdxCurrentLimitBehaviorEnum>(std::string_view);
template <>
const IEnumCommandConverter<VelmoraQdxMeasurementTypeEnum>*
FindEnumConverter<VelmoraQdxMeasurementTypeEnum>(std::string_view);
template <>
const IEnumCommandConverter<VelmoraQdxTriggerSourceEnum>*
FindEnumConverter<VelmoraQdxTriggerSourceEnum>(std::string_view);
template <>
const IEnumCommandConverter<VelmoraQdxExternalRangeEnum>*
FindEnumConverter<VelmoraQdxExternalRangeEnum>(std::string_view);
template <>
const IEnumCommandConverter<VelmoraQdxPONStateEnum>*
FindEnumConverter<VelmoraQdxPONStateEnum>(std::string_view);
template <>
const IEnumCommandConverter<VelmoraQdxProtectionRecoveryEnum>*
FindEnumConverter<VelmoraQdxProtectionRecoveryEnum>(std::string_view);
template <>
const IEnumCommandConverter<VelmoraQdxOperationModeEnum>*
FindEnumConverter<VelmoraQdxOperationModeEnum>(std::string_view);
template <>
const IEnumCommandConverter<VelmoraQdxExternalLogicEnum>*
FindEnumConverter<VelmoraQdxExternalLogicEnum>(std::string_view);
template <>
const IEnumCommandConverter<IviDCPwrCurrentLimitBehaviorEnum>*
FindEnumConverter<IviDCPwrCurrentLimitBehaviorEnum>(std::string_view);

// What an enumeration name in a format item stands for.
enum class EnumFamily {
  Unknown,       // not a name the driver knows
  NoConverter,   // known, but has no keywords (output states, the I/O library's own enums)
  Boolean,
  CurrentLimitBehavior,
  MeasurementType,
  TriggerSource,
  ExternalRange,
  PONState,
  ProtectionRecovery,
  OperationMode,
  ExternalLogic,
};
// Exact, case-sensitive comparison against the accepted spellings ("PONState",
// "VelmoraQdxPONStateEnum", "VelmoraQdxPONState", "PONStateEnum", ...).
EnumFamily FamilyOfEnumName(std::string_view enumName);

// The formatted I/O engine's entry point: nullptr when the name or the context has no table.
const IEnumCommandConverterErased* FindConverter(std::string_view enumName,
                                                 std::string_view contextKey);

}  // namespace veqdx::attr
