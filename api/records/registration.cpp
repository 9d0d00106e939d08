// What the reflection service is told of each record: its attributes in encode order, with their tag numbers.
#include "nec/records.h"

namespace {

using refl::Access;
using refl::CClassInfor;
using refl::CGnlTypeInfor;

constexpr int listOfOneType = 41;

template <class T>
AsnType* make() {
    return new T;
}

void dispose(AsnType* object) {
    delete object;
}

// The description of record class T, under its registered name.
template <class T>
const CClassInfor& classInfor();

template <class T>
const CClassInfor& classInforNamed(const char* name, refl::Initialiser initialiser) {
    return CClassInfor::GetClassInforImpl<T>(name, make<T>, dispose, initialiser);
}

// AsnInt, AsnOcts, or a nullable pointer to one.
template <class T, class Member>
void addBasic(CClassInfor& cls, Access access, Member T::*member, const char* name, int tag) {
    CGnlTypeInfor::CaptureTypeInfor<Member>(CClassInfor::AddAttribInfor(cls, access, member, name, tag));
}

template <class T, class List>
void addList(CClassInfor& cls, Access access, List T::*member, const char* name, const char* listName) {
    CGnlTypeInfor::ChangeTypeTo_CustomType<List>(
        CClassInfor::AddAttribInfor(cls, access, member, name, refl::noContextTag), listName, sizeof(List),
        +[] { return new List; }, dispose, listOfOneType);
}

// A pointer to a record of another class; the caller marks how it is held.
template <class T, class Record>
CGnlTypeInfor& addPointer(CClassInfor& cls, Access access, Record* T::*member, const char* name, int tag) {
    CGnlTypeInfor& type = CClassInfor::AddAttribInfor(cls, access, member, name, tag);
    refl::helper::ChangeTypeTo_ClassType(type, classInfor<Record>(), nullptr);
    return type;
}

using namespace asn_frame;  // NOLINT(google-build-using-namespace): this file registers all of its records

template <>
const CClassInfor& classInfor<AsnFrameProcID>() {
    return classInforNamed<AsnFrameProcID>("AsnFrameProcID", [](CClassInfor& cls, Access access) {
        addBasic(cls, access, &AsnFrameProcID::procType, "procType", refl::noContextTag);
        addBasic(cls, access, &AsnFrameProcID::procHandle, "procHandle", refl::noContextTag);
    });
}

template <>
const CClassInfor& classInfor<AsnDevIDListOfNEMgr>() {
    using Record = AsnDevIDListOfNEMgr;
    return classInforNamed<Record>("AsnDevIDListOfNEMgr", [](CClassInfor& cls, Access access) {
        addPointer(cls, access, &Record::srcProcID, "srcProcID", refl::noContextTag).MarkOwnedPointer();
        addList(cls, access, &Record::devIDList, "devIDList", "asn_frame::AsnDevIDList");
        addBasic(cls, access, &Record::ownerType, "ownerType", refl::noContextTag);
        addBasic(cls, access, &Record::procState, "procState", 0);
        addPointer(cls, access, &Record::snkProcID, "snkProcID", 1).MarkNullablePointer();
        addBasic(cls, access, &Record::server, "server", 2);
    });
}

template <>
const CClassInfor& classInfor<AsnFrameNodeIP>() {
    return classInforNamed<AsnFrameNodeIP>("AsnFrameNodeIP", [](CClassInfor& cls, Access access) {
        addBasic(cls, access, &AsnFrameNodeIP::nmsIP, "nmsIP", refl::noContextTag);
        addBasic(cls, access, &AsnFrameNodeIP::natIP, "natIP", 0);
    });
}

template <>
const CClassInfor& classInfor<AsnFrameGetNodeIPResponse>() {
    using Record = AsnFrameGetNodeIPResponse;
    return classInforNamed<Record>("AsnFrameGetNodeIPResponse", [](CClassInfor& cls, Access access) {
        addBasic(cls, access, &Record::result, "result", refl::noContextTag);
        addList(cls, access, &Record::nodeIPList, "nodeIPList", "asn_frame::AsnFrameNodeIPList");
    });
}

template <>
const CClassInfor& classInfor<AsnPnpFile>() {
    return classInforNamed<AsnPnpFile>("AsnPnpFile", [](CClassInfor& cls, Access access) {
        addBasic(cls, access, &AsnPnpFile::fileName, "fileName", refl::noContextTag);
        addBasic(cls, access, &AsnPnpFile::fileLen, "fileLen", refl::noContextTag);
        addBasic(cls, access, &AsnPnpFile::fileContent, "fileContent", 0);
    });
}

template <>
const CClassInfor& classInfor<AsnClientGetPnpRsp>() {
    using Record = AsnClientGetPnpRsp;
    return classInforNamed<Record>("AsnClientGetPnpRsp", [](CClassInfor& cls, Access access) {
        addBasic(cls, access, &Record::iResult, "iResult", refl::noContextTag);
        addBasic(cls, access, &Record::packageSum, "packageSum", refl::noContextTag);
        addList(cls, access, &Record::pnpFileList, "pnpFileList", "AsnPnpFileList");
    });
}

template <class T>
void describe(const T& record, CGnlTypeInfor& type) {
    refl::helper::ChangeTypeTo_ClassType(type, classInfor<T>(), &record);
}

}  // namespace

namespace asn_frame {

void AsnFrameProcID::GetTypeInfor(CGnlTypeInfor& type) const {
    describe(*this, type);
}
void AsnDevIDListOfNEMgr::GetTypeInfor(CGnlTypeInfor& type) const {
    describe(*this, type);
}
void AsnFrameNodeIP::GetTypeInfor(CGnlTypeInfor& type) const {
    describe(*this, type);
}
void AsnFrameGetNodeIPResponse::GetTypeInfor(CGnlTypeInfor& type) const {
    describe(*this, type);
}

}  // namespace asn_frame

void AsnPnpFile::GetTypeInfor(CGnlTypeInfor& type) const {
    describe(*this, type);
}
void AsnClientGetPnpRsp::GetTypeInfor(CGnlTypeInfor& type) const {
    describe(*this, type);
}
