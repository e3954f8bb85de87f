// Typed attribute access: veqdx_GetAttribute... / veqdx_SetAttribute... over the attribute
// table. Order of the checks: the value pointer, the identifier, the type, the direction,
// then the selector (per-output attributes only), then the property itself.
#include <string>

#include "api/attribute_table.h"
#include "api/flat_common.h"
#include "dcpwr/output.h"
#include "veqdx.h"

using namespace veqdx;
using namespace veqdx::api;
using dcpwr::CVelmoraQdxOutput;

namespace {

std::string AttributeText(const AttributeRecord& record) {
  return "Attribute " + std::to_string(record.id) + " (" + record.name + ")";
}

// The record of `id` when it exists, has `type` and can be accessed in that direction;
// otherwise the failure is recorded and null returned with `*status` set.
const AttributeRecord* Lookup(CSessionCall& call, ViAttr id, AttrType type, bool writing,
                              ViStatus* status) {
  const AttributeRecord* record = FindAttribute(id);
  if (record == nullptr) {
    *status = call.Finish(
        call.driver().Reporter().ReportPropertyNotSupported(std::to_string(id)));
    return nullptr;
  }
  if (record->type != type) {
    *status = call.Fail(VEQDX_ERROR_TYPES_DO_NOT_MATCH,
                        AttributeText(*record) + " is of type " + AttrTypeName(record->type) +
                            ", not " + AttrTypeName(type) + ".");
    return nullptr;
  }
  if (writing && record->set == nullptr) {
    *status = call.Fail(VEQDX_ERROR_ATTR_NOT_WRITABLE, AttributeText(*record) + " is read-only.");
    return nullptr;
  }
  if (!writing && record->get == nullptr) {
    *status = call.Fail(VEQDX_ERROR_ATTR_NOT_READABLE, AttributeText(*record) + " is write-only.");
    return nullptr;
  }
  return record;
}

// Runs `access(AttrTarget&)` on the session, or on every output the selector names.
template <class Access>
ViStatus Apply(CSessionCall& call, const AttributeRecord& record, ViConstString selector,
               Access&& access) {
  if (!record.perOutput) {
    AttrTarget target{call.driver(), nullptr};
    return call.Finish(access(target));
  }
  return ForEachOutput(call, selector, [&](CVelmoraQdxOutput& output) {
    AttrTarget target{call.driver(), &output};
    return access(target);
  });
}

// `deliver(call, value, status)` hands a successfully read value to the caller.
template <class Deliver>
ViStatus GetAttribute(ViSession vi, ViConstString selector, ViAttr id, AttrType type,
                      bool valueIsNull, Deliver&& deliver) {
  CSessionCall call(vi);
  if (!call.ok()) return call.status();
  if (valueIsNull) return call.FailNull("AttributeValue");
  ViStatus status = VI_SUCCESS;
  const AttributeRecord* record = Lookup(call, id, type, false, &status);
  if (record == nullptr) return status;
  AttrValue value;
  status = Apply(call, *record, selector, [&](AttrTarget& t) { return record->get(t, value); });
  if (status < VI_SUCCESS) return status;
  return deliver(call, value, status);
}

ViStatus SetAttribute(ViSession vi, ViConstString selector, ViAttr id, AttrType type,
                      const AttrValue& value) {
  CSessionCall call(vi);
  if (!call.ok()) return call.status();
  ViStatus status = VI_SUCCESS;
  const AttributeRecord* record = Lookup(call, id, type, true, &status);
  if (record == nullptr) return status;
  return Apply(call, *record, selector, [&](AttrTarget& t) { return record->set(t, value); });
}

}  // namespace

extern "C" VEQDX_EXPORT ViStatus veqdx_GetAttributeViInt32(ViSession Vi,
                                                           ViConstString RepCapIdentifier,
                                                           ViAttr AttributeID,
                                                           ViInt32* AttributeValue) {
  // Only this function reads the inherent channel count, and it answers the output count.
  if (AttributeID == kChannelCountAttribute) AttributeID = kOutputCountAttribute;
  return GetAttribute(Vi, RepCapIdentifier, AttributeID, AttrType::Int32,
                      AttributeValue == nullptr,
                      [&](CSessionCall&, const AttrValue& v, ViStatus status) {
                        *AttributeValue = v.int32;
                        return status;
                      });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_GetAttributeViReal64(ViSession Vi,
                                                            ViConstString RepCapIdentifier,
                                                            ViAttr AttributeID,
                                                            ViReal64* AttributeValue) {
  return GetAttribute(Vi, RepCapIdentifier, AttributeID, AttrType::Real64,
                      AttributeValue == nullptr,
                      [&](CSessionCall&, const AttrValue& v, ViStatus status) {
                        *AttributeValue = v.real64;
                        return status;
                      });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_GetAttributeViBoolean(ViSession Vi,
                                                             ViConstString RepCapIdentifier,
                                                             ViAttr AttributeID,
                                                             ViBoolean* AttributeValue) {
  return GetAttribute(Vi, RepCapIdentifier, AttributeID, AttrType::Boolean,
                      AttributeValue == nullptr,
                      [&](CSessionCall&, const AttrValue& v, ViStatus status) {
                        *AttributeValue = v.boolean ? VI_TRUE : VI_FALSE;
                        return status;
                      });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_GetAttributeViSession(ViSession Vi,
                                                             ViConstString RepCapIdentifier,
                                                             ViAttr AttributeID,
                                                             ViSession* AttributeValue) {
  return GetAttribute(Vi, RepCapIdentifier, AttributeID, AttrType::Session,
                      AttributeValue == nullptr,
                      [&](CSessionCall&, const AttrValue& v, ViStatus status) {
                        *AttributeValue = static_cast<ViSession>(v.int32);
                        return status;
                      });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_GetAttributeViString(ViSession Vi,
                                                            ViConstString RepCapIdentifier,
                                                            ViAttr AttributeID,
                                                            ViInt32 AttributeValueBufferSize,
                                                            ViChar AttributeValue[]) {
  if (AttributeValueBufferSize < 0) {
    CSessionCall call(Vi);
    if (!call.ok()) return call.status();
    return CopyOut(call, {}, AttributeValueBufferSize, AttributeValue, "GetAttributeViString",
                   "AttributeValueBufferSize", "AttributeValue");
  }
  // With a size of 0 the buffer may be null: the caller asks for the size needed.
  return GetAttribute(Vi, RepCapIdentifier, AttributeID, AttrType::String,
                      AttributeValueBufferSize > 0 && AttributeValue == nullptr,
                      [&](CSessionCall& call, const AttrValue& v, ViStatus status) {
                        return CopyOut(call, v.string, AttributeValueBufferSize, AttributeValue,
                                       "GetAttributeViString", "AttributeValueBufferSize",
                                       "AttributeValue", status);
                      });
}

extern "C" VEQDX_EXPORT ViStatus veqdx_SetAttributeViInt32(ViSession Vi,
                                                           ViConstString RepCapIdentifier,
                                                           ViAttr AttributeID,
                                                           ViInt32 AttributeValue) {
  AttrValue value;
  value.int32 = AttributeValue;
  return SetAttribute(Vi, RepCapIdentifier, AttributeID, AttrType::Int32, value);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_SetAttributeViReal64(ViSession Vi,
                                                            ViConstString RepCapIdentifier,
                                                            ViAttr AttributeID,
                                                            ViReal64 AttributeValue) {
  AttrValue value;
  value.real64 = AttributeValue;
  return SetAttribute(Vi, RepCapIdentifier, AttributeID, AttrType::Real64, value);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_SetAttributeViBoolean(ViSession Vi,
                                                             ViConstString RepCapIdentifier,
                                                             ViAttr AttributeID,
                                                             ViBoolean AttributeValue) {
  AttrValue value;
  value.boolean = AttributeValue != VI_FALSE;
  return SetAttribute(Vi, RepCapIdentifier, AttributeID, AttrType::Boolean, value);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_SetAttributeViSession(ViSession Vi,
                                                             ViConstString RepCapIdentifier,
                                                             ViAttr AttributeID,
                                                             ViSession AttributeValue) {
  AttrValue value;
  value.int32 = static_cast<std::int32_t>(AttributeValue);
  return SetAttribute(Vi, RepCapIdentifier, AttributeID, AttrType::Session, value);
}

extern "C" VEQDX_EXPORT ViStatus veqdx_SetAttributeViString(ViSession Vi,
                                                            ViConstString RepCapIdentifier,
                                                            ViAttr AttributeID,
                                                            ViConstString AttributeValue) {
  if (AttributeValue == nullptr) {
    CSessionCall call(Vi);
    if (!call.ok()) return call.status();
    return call.FailNull("AttributeValue");
  }
  AttrValue value;
  value.string = AttributeValue;
  return SetAttribute(Vi, RepCapIdentifier, AttributeID, AttrType::String, value);
}
