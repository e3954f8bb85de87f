// The output collection through both of its interfaces: Count, Name and Item.
#include <climits>
#include <ostream>

#include "om_fixture.h"

namespace veqdx::om_test {
namespace {

const std::string kNotInitialized =
    "VelmoraQdx: A connection to the instrument has not been established.\r\n";
const std::string kUnknown = "VelmoraQdx: Unknown channel name.\r\n";
const std::string kBadlyFormed = "VelmoraQdx: The repeated capability selector is badly-formed.\r\n";
const std::string kNameRequired = "VelmoraQdx: A channel name is required.\r\n";

// One interface of the collection; `item` gives the output as that interface's element
// type, `view` turns an IVelmoraQdxOutput into the same type for comparison.
struct Flavour {
  const char* interfaceName;
  HRESULT (*count)(IVelmoraQdx*, std::int32_t*);
  HRESULT (*name)(IVelmoraQdx*, std::int32_t, std::string*);
  HRESULT (*item)(IVelmoraQdx*, const char*, void**);
  void* (*view)(IVelmoraQdxOutput*);
};

void PrintTo(const Flavour& flavour, std::ostream* os) { *os << flavour.interfaceName; }

template <class Outputs, class Output>
Flavour MakeFlavour(const char* interfaceName, void* (*view)(IVelmoraQdxOutput*)) {
  return {interfaceName,
          [](IVelmoraQdx* d, std::int32_t* v) { return As<Outputs>(d)->get_Count(v); },
          [](IVelmoraQdx* d, std::int32_t i, std::string* v) {
            return As<Outputs>(d)->get_Name(i, v);
          },
          [](IVelmoraQdx* d, const char* n, void** v) {
            Output* out = reinterpret_cast<Output*>(0x10);  // must be cleared
            const HRESULT hr = As<Outputs>(d)->get_Item(n, v ? &out : nullptr);
            if (v) *v = out;
            return hr;
          },
          view};
}

const Flavour kFlavours[] = {
    MakeFlavour<IVelmoraQdxOutputs, IVelmoraQdxOutput>(
        "IVelmoraQdxOutputs", [](IVelmoraQdxOutput* o) -> void* { return o; }),
    MakeFlavour<IIviDCPwrOutputs, IIviDCPwrOutput>(
        "IIviDCPwrOutputs", [](IVelmoraQdxOutput* o) -> void* { return As<IIviDCPwrOutput>(o); }),
};

class Collection : public ObjectModel, public ::testing::WithParamInterface<Flavour> {
 protected:
  const Flavour& f() const { return GetParam(); }
  void ExpectFailure(HRESULT hr, HRESULT expected, const std::string& description,
                     const std::string& what) {
    EXPECT_EQ(hr, expected) << what;
    const ErrorInfo info = GetErrorInfo();
    EXPECT_EQ(info.description, description) << what;
    EXPECT_EQ(info.interfaceName, f().interfaceName) << what;
  }
};

TEST_P(Collection, SingleUnitNamesItsOnlyOutputAndRefusesOtherNames) {
  OpenSimulated();
  std::int32_t count = 0;
  ASSERT_EQ(f().count(driver.get(), &count), S_OK);
  EXPECT_EQ(count, 1);
  std::string name;
  ASSERT_EQ(f().name(driver.get(), 1, &name), S_OK);
  EXPECT_EQ(name, "Output0");

  void* const only = f().view(Item("Output0"));
  struct Case {
    const char* name;
    HRESULT hr;
    std::string description;
  };
  const Case cases[] = {
      {"Output0", S_OK, ""},
      {"", S_OK, ""},        // the only output of a single unit
      {nullptr, S_OK, ""},   // a null name is the empty name
      {" \tOutput0\t ", S_OK, ""},
      {"Output1", E_IVI_UNKNOWN_CHANNEL_NAME, kUnknown + "Output1"},
      {"output0", E_IVI_UNKNOWN_CHANNEL_NAME, kUnknown + "output0"},
      {"Output0-Output1", E_IVI_BADLY_FORMED_SELECTOR, kBadlyFormed + "Output0-Output1"},
      {"Output0:Sub", E_IVI_BADLY_FORMED_SELECTOR, kBadlyFormed + "Output0:Sub"},
  };
  for (const Case& c : cases) {
    const std::string what = c.name ? std::string("'") + c.name + "'" : "null";
    void* found = nullptr;
    const HRESULT hr = f().item(driver.get(), c.name, &found);
    if (c.hr == S_OK) {
      EXPECT_EQ(hr, S_OK) << what << ": " << LastError();
      EXPECT_EQ(found, only) << what;
    } else {
      ExpectFailure(hr, c.hr, c.description, what);
      EXPECT_EQ(found, nullptr) << what;
    }
  }
}

TEST_P(Collection, TwoOutputsByOneBasedIndexAndByName) {
  OpenTwoChannels();
  std::int32_t count = 0;
  ASSERT_EQ(f().count(driver.get(), &count), S_OK);
  ASSERT_EQ(count, 2);
  std::string name;
  for (std::int32_t index : {1, 2}) {
    ASSERT_EQ(f().name(driver.get(), index, &name), S_OK);
    EXPECT_EQ(name, "Output" + std::to_string(index));
    void* found = nullptr;
    ASSERT_EQ(f().item(driver.get(), name.c_str(), &found), S_OK);
    EXPECT_EQ(found, f().view(Item(name.c_str())));
  }
  EXPECT_NE(Item("Output1"), Item("Output2"));
  for (std::int32_t index : {0, 3, INT_MIN}) {
    ExpectFailure(f().name(driver.get(), index, &name), E_IVI_INVALID_VALUE,
                  "VelmoraQdx: Invalid value (" + std::to_string(index) +
                      ") for method get_Name, parameter Index.\r\n",
                  std::to_string(index));
  }
  void* found = nullptr;
  ExpectFailure(f().item(driver.get(), "", &found), E_IVI_CHANNEL_NAME_REQUIRED, kNameRequired,
                "empty");
  ExpectFailure(f().item(driver.get(), nullptr, &found), E_IVI_CHANNEL_NAME_REQUIRED,
                kNameRequired, "null");
  ExpectFailure(f().item(driver.get(), "Output0", &found), E_IVI_UNKNOWN_CHANNEL_NAME,
                kUnknown + "Output0", "Output0");
}

// Before Initialize, after Close, and without an out argument.
TEST_P(Collection, EveryMemberNeedsAnOpenSessionAndAnOutArgument) {
  for (const char* when : {"before Initialize", "after Close"}) {
    if (std::string(when) == "after Close") {
      OpenSimulated();
      ASSERT_EQ(driver->Close(), S_OK);
    }
    std::int32_t count = 0;
    std::string name;
    void* found = nullptr;
    ExpectFailure(f().count(driver.get(), &count), E_IVI_NOT_INITIALIZED, kNotInitialized, when);
    ExpectFailure(f().name(driver.get(), 1, &name), E_IVI_NOT_INITIALIZED, kNotInitialized, when);
    ExpectFailure(f().item(driver.get(), "Output0", &found), E_IVI_NOT_INITIALIZED,
                  kNotInitialized, when);
  }
  OpenSimulated();
  const std::string null = "VelmoraQdx: Null pointer passed for method ";
  ExpectFailure(f().count(driver.get(), nullptr), E_IVI_NULL_POINTER,
                null + "get_Count, parameter val.\r\n", "Count");
  ExpectFailure(f().name(driver.get(), 1, nullptr), E_IVI_NULL_POINTER,
                null + "get_Name, parameter val.\r\n", "Name");
  ExpectFailure(f().item(driver.get(), "Output0", nullptr), E_IVI_NULL_POINTER,
                null + "get_Item, parameter val.\r\n", "Item");
}

INSTANTIATE_TEST_SUITE_P(BothInterfaces, Collection, ::testing::ValuesIn(kFlavours),
                         [](const auto& info) { return std::string(info.param.interfaceName); });

TEST_F(ObjectModel, SharedOutputsFollowTheCollectionsRules) {
  OpenTwoChannels();
  std::shared_ptr<IVelmoraQdxOutput> output;
  EXPECT_EQ(GetOutput(driver.get(), "", &output), E_IVI_CHANNEL_NAME_REQUIRED);
  EXPECT_EQ(output, nullptr);
  EXPECT_EQ(GetOutput(driver.get(), "Output9", &output), E_IVI_UNKNOWN_CHANNEL_NAME);
  EXPECT_EQ(LastError(), kUnknown + "Output9");
  EXPECT_EQ(GetOutput(driver.get(), "Output2", nullptr), E_IVI_NULL_POINTER);
  EXPECT_EQ(GetOutput(nullptr, "Output2", &output), E_IVI_NULL_POINTER);
  ASSERT_EQ(GetOutput(driver.get(), "Output2", &output), S_OK);
  EXPECT_EQ(output.get(), Item("Output2"));
}

}  // namespace
}  // namespace veqdx::om_test
