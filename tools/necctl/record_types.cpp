#include "record_types.h"

#include <algorithm>
#include <cstring>

namespace necctl {
namespace {

template <class T>
RecordType typeOf(const char* name) {
    return {name, []() -> std::unique_ptr<AsnType> { return std::make_unique<T>(); }};
}

// A list of its own whose elements are no SEQUENCE, which is what a list that decodes itself expects.
template <class List, AsnTag elementTag>
class ScalarList : public List {
public:
    void BDec(AsnBuf& buf, AsnLen& taken, int format) override {
        constexpr unsigned char listTag = 0x30;
        if (buf.PeekByte() != listTag) return List::BDec(buf, taken, format);  // which says what is wrong
        buf.GetByte();
        const unsigned char lengthOctet = buf.GetByte();
        taken += 2;
        const AsnLen length = lengthOctet < 0x80 ? lengthOctet : BDecLen_Impl(buf, lengthOctet, taken);
        List::BDecContent(buf, elementTag, length, taken, format);
    }
};

const char* memberOf(const AsnSequence& record, const refl::CAttribInfor& attribute) {
    return reinterpret_cast<const char*>(&record) + attribute.offset;
}

bool isPointer(const refl::CAttribInfor& attribute) {
    return attribute.type.holding != refl::CGnlTypeInfor::Holding::value;
}

}  // namespace

const std::vector<RecordType>& recordTypes() {
    using namespace asn_frame;  // NOLINT(google-build-using-namespace): for one list
    static const std::vector<RecordType> types{
        typeOf<AsnFrameProcID>("AsnFrameProcID"),
        typeOf<AsnDevIDListOfNEMgr>("AsnDevIDListOfNEMgr"),
        typeOf<AsnFrameNodeIP>("AsnFrameNodeIP"),
        typeOf<AsnFrameGetNodeIPResponse>("AsnFrameGetNodeIPResponse"),
        typeOf<AsnPnpFile>("AsnPnpFile"),
        typeOf<AsnClientGetPnpRsp>("AsnClientGetPnpRsp"),
        typeOf<ScalarList<AsnDevIDList, 0x02>>("AsnDevIDList"),
        typeOf<ScalarList<AsnOctsList, 0x04>>("AsnOctsList"),
        typeOf<AsnFrameNodeIPList>("AsnFrameNodeIPList"),
        typeOf<AsnPnpFileList>("AsnPnpFileList"),
    };
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
