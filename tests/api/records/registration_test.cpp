// What the reflection service knows of the records, and where their virtual operations stand.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "nec/records.h"

using namespace asn_frame;

namespace {

using Holding = refl::CGnlTypeInfor::Holding;
using Kind = refl::CGnlTypeInfor::Kind;

template <class T>
refl::CGnlTypeInfor typeOf(const T& record) {
    refl::CGnlTypeInfor type;
    record.GetTypeInfor(type);
    return type;
}

const char* holdingName(Holding holding) {
    static constexpr const char* names[] = {"", "owned ", "nullable "};
    return names[static_cast<int>(holding)];
}

// "name holding type tag" of every attribute.
template <class T>
std::string attributesOf() {
    std::ostringstream text;
    for (const refl::CAttribInfor& attribute : typeOf(T()).cls->attributes()) {
        const refl::CGnlTypeInfor& type = attribute.type;
        text << attribute.name << ": " << holdingName(type.holding);
        if (type.kind == Kind::basic) text << type.basic->name;
        if (type.kind == Kind::custom) text << type.custom->name;
        if (type.kind == Kind::classType) text << type.cls->name();
        text << ' ' << attribute.tag << '\n';
        EXPECT_EQ(attribute.access, refl::Access::publicMember);
    }
    return text.str();
}

template <class T>
void expectClass(const char* name) {
    const T record;
    const refl::CGnlTypeInfor type = typeOf(record);
    EXPECT_EQ(type.kind, Kind::classType);
    EXPECT_EQ(type.object, &record);
    EXPECT_EQ(type.cls->name(), name);
    EXPECT_EQ(type.cls->size(), sizeof(T));
    EXPECT_EQ(type.cls, typeOf(T()).cls) << "described once";
    EXPECT_STREQ(record.typeName(), name);
    const std::unique_ptr<AsnType, refl::Disposer> made(type.cls->factory()(), type.cls->disposer());
    EXPECT_NE(dynamic_cast<T*>(made.get()), nullptr);
}

template <class Record, class List>
void expectList(const char* attributeName, const char* listName) {
    for (const refl::CAttribInfor& attribute : typeOf(Record()).cls->attributes()) {
        if (attribute.name != attributeName) continue;
        const refl::CustomTypeInfor& list = *attribute.type.custom;
        EXPECT_EQ(list.name, listName);
        EXPECT_EQ(list.size, sizeof(List));
        EXPECT_EQ(list.kind, 41);
        const std::unique_ptr<AsnType, refl::Disposer> made(list.make(list), list.disposer);
        EXPECT_NE(dynamic_cast<List*>(made.get()), nullptr);
        return;
    }
    ADD_FAILURE() << "no attribute " << attributeName;
}

// The slot that a pointer to a virtual member function names: the C++ ABI of this platform keeps the offset in the
// table, plus one, in the pointer's first word.
template <class Operation>
std::size_t slotOf(Operation operation) {
    std::uintptr_t word = 0;
    std::memcpy(&word, &operation, sizeof word);
    return (word - 1) / sizeof(void*);
}

template <class T>
void expectRecordSlots() {
    EXPECT_EQ(slotOf(&T::Clone), 2U);
    EXPECT_EQ(slotOf(&T::BDec), 3U);
    EXPECT_EQ(slotOf(&T::BEnc), 4U);
    EXPECT_EQ(slotOf(&T::Print), 5U);
    EXPECT_EQ(slotOf(&T::typeName), 6U);
    EXPECT_EQ(slotOf(&T::GetTypeInfor), 7U);
    EXPECT_EQ(slotOf(&T::BEncContent), 8U);
    EXPECT_EQ(slotOf(&T::BDecContent), 9U);
}

template <class List, class T>
void expectListSlots() {
    EXPECT_EQ(slotOf(&List::Clone), 2U);
    EXPECT_EQ(slotOf(&List::BDec), 3U);
    EXPECT_EQ(slotOf(&List::BEnc), 4U);
    EXPECT_EQ(slotOf(&List::Print), 5U);
    EXPECT_EQ(slotOf(&List::typeName), 6U);
    using Assignment = AsnList<T>& (List::*)(const AsnList<T>&);
    EXPECT_EQ(slotOf(static_cast<Assignment>(&List::operator=)), 7U);
    EXPECT_EQ(slotOf(&List::BEncContent), 8U);
    EXPECT_EQ(slotOf(&List::BDecContent), 9U);
}

// Calls the first two slots as the ABI does: the one destroys the object, the other frees its memory as well.
template <class T>
void expectDestructorSlots() {
    using Destructor = void (*)(void*);
    const auto slot = [](T* object, std::size_t index) {
        Destructor* table;
        std::memcpy(&table, static_cast<void*>(object), sizeof table);
        return table[index];
    };
    auto* heap = new T;
    slot(heap, 1)(heap);  // a leak or a bad free is the sanitizers' to find
    alignas(T) unsigned char memory[sizeof(T)];
    auto* placed = ::new (memory) T;
    slot(placed, 0)(placed);
}

}  // namespace

TEST(RegistrationTest, AttributesStandInEncodeOrderWithTheirTypesAndTags) {
    EXPECT_EQ(attributesOf<AsnFrameProcID>(), "procType: AsnInt -1\nprocHandle: AsnInt -1\n");
    EXPECT_EQ(attributesOf<AsnDevIDListOfNEMgr>(),
              "srcProcID: owned AsnFrameProcID -1\ndevIDList: asn_frame::AsnDevIDList -1\nownerType: AsnInt -1\n"
              "procState: nullable AsnInt 0\nsnkProcID: nullable AsnFrameProcID 1\nserver: nullable AsnOcts 2\n");
    EXPECT_EQ(attributesOf<AsnFrameNodeIP>(), "nmsIP: AsnOcts -1\nnatIP: nullable AsnOcts 0\n");
    EXPECT_EQ(attributesOf<AsnFrameGetNodeIPResponse>(),
              "result: AsnInt -1\nnodeIPList: asn_frame::AsnFrameNodeIPList -1\n");
    EXPECT_EQ(attributesOf<AsnPnpFile>(),
              "fileName: AsnOcts -1\nfileLen: AsnInt -1\nfileContent: nullable AsnOcts 0\n");
    EXPECT_EQ(attributesOf<AsnClientGetPnpRsp>(),
              "iResult: AsnInt -1\npackageSum: AsnInt -1\npnpFileList: AsnPnpFileList -1\n");
}

TEST(RegistrationTest, ClassesHaveTheirNamesSizesFactoriesAndDisposers) {
    expectClass<AsnFrameProcID>("AsnFrameProcID");
    expectClass<AsnDevIDListOfNEMgr>("AsnDevIDListOfNEMgr");
    expectClass<AsnFrameNodeIP>("AsnFrameNodeIP");
    expectClass<AsnFrameGetNodeIPResponse>("AsnFrameGetNodeIPResponse");
    expectClass<AsnPnpFile>("AsnPnpFile");
    expectClass<AsnClientGetPnpRsp>("AsnClientGetPnpRsp");
}

TEST(RegistrationTest, ListsHaveTheirNamesSizesFactoriesAndKind) {
    expectList<AsnDevIDListOfNEMgr, AsnDevIDList>("devIDList", "asn_frame::AsnDevIDList");
    expectList<AsnFrameGetNodeIPResponse, AsnFrameNodeIPList>("nodeIPList", "asn_frame::AsnFrameNodeIPList");
    expectList<AsnClientGetPnpRsp, AsnPnpFileList>("pnpFileList", "AsnPnpFileList");
}

TEST(RegistrationTest, NumbersAndTextsAreMadeEmptyAndDisposedOf) {
    const auto& attributes = typeOf(AsnDevIDListOfNEMgr()).cls->attributes();
    const refl::CCustomBasicTypeInfor& number = *attributes[2].type.basic;
    const std::unique_ptr<AsnType, refl::Disposer> zero(number.factory(), number.disposer);
    EXPECT_EQ(dynamic_cast<AsnInt&>(*zero), 0);
    EXPECT_EQ(attributes[3].type.basic, &number);  // the nullable pointer shares it
    const refl::CCustomBasicTypeInfor& text = *attributes[5].type.basic;
    const std::unique_ptr<AsnType, refl::Disposer> empty(text.factory(), text.disposer);
    EXPECT_EQ(dynamic_cast<AsnOcts&>(*empty).size(), 0U);
}

TEST(RegistrationTest, BothAddressesOfAnEventShareOneDescription) {
    const auto& attributes = typeOf(AsnDevIDListOfNEMgr()).cls->attributes();
    EXPECT_EQ(attributes[0].type.cls, typeOf(AsnFrameProcID()).cls);
    EXPECT_EQ(attributes[4].type.cls, typeOf(AsnFrameProcID()).cls);
}

TEST(VirtualSlotTest, RecordsKeepTheirOrder) {
    expectRecordSlots<AsnFrameProcID>();
    expectRecordSlots<AsnDevIDListOfNEMgr>();
    expectRecordSlots<AsnFrameNodeIP>();
    expectRecordSlots<AsnFrameGetNodeIPResponse>();
    expectRecordSlots<AsnPnpFile>();
    expectRecordSlots<AsnClientGetPnpRsp>();
}

TEST(VirtualSlotTest, ListsKeepTheirOrder) {
    expectListSlots<AsnList<AsnInt>, AsnInt>();
    expectListSlots<AsnSeqOf<AsnInt>, AsnInt>();
    expectListSlots<AsnSeqOf<AsnOcts>, AsnOcts>();
    expectListSlots<AsnSeqOf<AsnFrameNodeIP>, AsnFrameNodeIP>();
    expectListSlots<AsnSeqOf<AsnPnpFile>, AsnPnpFile>();
}

TEST(VirtualSlotTest, TheFirstTwoSlotsAreTheDestructors) {
    expectDestructorSlots<AsnDevIDListOfNEMgr>();
    expectDestructorSlots<AsnSeqOf<AsnInt>>();
}

TEST(ListLayoutTest, FieldsAndNodesStandInTheirOrder) {
    const AsnSeqOf<AsnInt> list;
    const auto offset = [&](const void* field) {
        return static_cast<const char*>(field) - reinterpret_cast<const char*>(&list);
    };
    EXPECT_EQ(offset(&list.count), 8);
    EXPECT_EQ(offset(&list.first), 16);
    EXPECT_EQ(offset(&list.last), 24);
    EXPECT_EQ(offset(&list.curr), 32);
    using Node = AsnSeqOf<AsnInt>::Node;
    EXPECT_EQ(offsetof(Node, element), 0U);
    EXPECT_EQ(offsetof(Node, next), 8U);
    EXPECT_EQ(offsetof(Node, prev), 16U);
}
