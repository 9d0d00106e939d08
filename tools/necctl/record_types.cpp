#include "record_types.h"

#include <algorithm>
#include <cstring>

namespace necctl {
namespace {

template <class T>
RecordType typeOf() {
    return {T().typeName(), []() -> std::unique_ptr<AsnSequence> { return std::make_unique<T>(); }};
}

const char* memberOf(const AsnSequence& record, const refl::CAttribInfor& attribute) {
    return reinterpret_cast<const char*>(&record) + attribute.offset;
}

bool isPointer(const refl::CAttribInfor& attribute) {
    return attribute.type.holding != refl::CGnlTypeInfor::Holding::value;
}

}  // namespace

const std::vector<RecordType>& recordTypes() {
    using namespace asn_frame;  // NOLINT(google-build-using-namespace): for one list
    static const std::vector<RecordType> types{typeOf<AsnFrameProcID>(), typeOf<AsnDevIDListOfNEMgr>(),
                                               typeOf<AsnFrameNodeIP>(), typeOf<AsnFrameGetNodeIPResponse>(),
                                               typeOf<AsnPnpFile>(),     typeOf<AsnClientGetPnpRsp>()};
    return types;
}

std::vector<std::string> recordTypeNames() {
    std::vector<std::string> names;
    for (const RecordType& type : recordTypes()) names.push_back(type.name);
    return names;
}

const RecordType& recordType(const std::string& name) {
    return *std::find_if(recordTypes().begin(), recordTypes().end(),
                         [&](const RecordType& type) { return type.name == name; });
}

const std::vector<refl::CAttribInfor>& attributesOf(const AsnSequence& record) {
    refl::CGnlTypeInfor type;
    record.GetTypeInfor(type);
    return type.cls->attributes();
}

const AsnType* fieldOf(const AsnSequence& record, const refl::CAttribInfor& attribute) {
    const char* member = memberOf(record, attribute);
    if (!isPointer(attribute)) return reinterpret_cast<const AsnType*>(member);
    const AsnType* object = nullptr;
    std::memcpy(&object, member, sizeof object);  // the member points to a class derived from AsnType
    return object;
}

AsnType& obtainField(AsnSequence& record, const refl::CAttribInfor& attribute) {
    if (const AsnType* present = fieldOf(record, attribute)) return const_cast<AsnType&>(*present);
    const refl::CGnlTypeInfor& type = attribute.type;
    AsnType* made = type.basic != nullptr ? type.basic->factory() : type.cls->factory()();
    std::memcpy(const_cast<char*>(memberOf(record, attribute)), &made, sizeof made);
    return *made;
}

}  // namespace necctl
