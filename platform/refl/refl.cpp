// The reflection service's one-time construction of descriptions.
#include "platform/refl.h"

#include <memory>
#include <mutex>
#include <stdexcept>

namespace refl {

namespace {

// A class whose description is being made, or is made but not yet shown because a class around it is not finished.
struct Unfinished {
    CClassInfor::Slot* slot;
    CClassInfor* cls;
};

std::recursive_mutex& constructionMutex() {
    static auto* mutex = new std::recursive_mutex;  // never destroyed: threads may outlive static destructors
    return *mutex;
}

// Guarded by constructionMutex().
std::vector<Unfinished>& unfinished() {
    static auto* list = new std::vector<Unfinished>;
    return *list;
}

}  // namespace

void CCustomBasicTypeInfor::InitCustomAnyBasicTypeInfor(Slot& slot, const char* name, std::size_t size, Factory factory,
                                                        Disposer disposer, CGnlTypeInfor& type, int category) {
    const CCustomBasicTypeInfor* basic = slot.load(std::memory_order_acquire);
    if (basic == nullptr) {
        std::unique_ptr<const CCustomBasicTypeInfor> made(
            new CCustomBasicTypeInfor{name, size, factory, disposer, category});
        // Another thread may have been faster: then `basic` becomes its description.
        if (slot.compare_exchange_strong(basic, made.get(), std::memory_order_acq_rel)) basic = made.release();
    }
    type.kind = CGnlTypeInfor::Kind::basic;
    type.basic = basic;
}

void CGnlTypeInfor::adoptCustom(const CustomTypeInfor& description) {
    custom = new CustomTypeInfor(description);
    kind = Kind::custom;
}

CClassInfor::CClassInfor(const char* className, std::size_t classSize, Factory make, Disposer dispose)
    : name_(className), size_(classSize), factory_(make), disposer_(dispose) {}

CClassInfor::~CClassInfor() {
    for (const CAttribInfor& attribute : attributes_) delete attribute.type.custom;
}

const CClassInfor& CClassInfor::InitClassInfor(Slot& slot, const char* name, std::size_t size, Factory factory,
                                               Disposer disposer, Initialiser initialiser) {
    const std::lock_guard lock(constructionMutex());
    if (const CClassInfor* cls = slot.load(std::memory_order_acquire)) return *cls;
    auto& list = unfinished();
    // A class that refers to itself, or to one around it, gets the description that is being made.
    for (const Unfinished& one : list) {
        if (one.slot == &slot) return *one.cls;
    }
    const bool outermost = list.empty();
    std::unique_ptr<CClassInfor> made(new CClassInfor(name, size, factory, disposer));
    list.push_back({&slot, made.get()});
    CClassInfor& cls = *made.release();
    try {
        cls.describe(initialiser);
    } catch (...) {
        // What this class was needed for fails as well, so nothing unfinished is kept.
        if (outermost) {
            for (const Unfinished& one : list) delete one.cls;
            list.clear();
        }
        throw;
    }
    if (outermost) {
        for (const Unfinished& one : list) one.slot->store(one.cls, std::memory_order_release);
        list.clear();
    }
    return cls;
}

namespace {

constexpr int integerCategory = 2;
constexpr unsigned char sequenceIdentifier = 0x30;
constexpr unsigned char contextClass = 0x80;
constexpr unsigned char constructed = 0x20;

CAttribInfor::Form formOf(const CGnlTypeInfor& type) {
    if (type.kind == CGnlTypeInfor::Kind::custom) return CAttribInfor::Form::list;
    if (type.kind == CGnlTypeInfor::Kind::classType) return CAttribInfor::Form::record;
    return type.basic->category == integerCategory ? CAttribInfor::Form::integer : CAttribInfor::Form::octets;
}

// Context tags are implicit: they replace the universal one and keep whether contents are constructed. A basic type's
// category is the number of its universal tag.
unsigned char identifierOf(const CAttribInfor& attribute) {
    const bool basic = attribute.type.kind == CGnlTypeInfor::Kind::basic;
    if (attribute.tag == noContextTag) {
        return basic ? static_cast<unsigned char>(attribute.type.basic->category) : sequenceIdentifier;
    }
    return static_cast<unsigned char>(contextClass | (basic ? 0 : constructed) | attribute.tag);
}

}  // namespace

void CClassInfor::describe(Initialiser initialiser) {
    const std::unique_ptr<AsnType, Disposer> sample(factory_(), disposer_);
    sample_ = sample.get();
    initialiser(*this, Access::publicMember);
    sample_ = nullptr;
    for (CAttribInfor& attribute : attributes_) {
        attribute.holding = attribute.type.holding;
        attribute.form = formOf(attribute.type);
        attribute.identifier = identifierOf(attribute);
    }
}

CGnlTypeInfor& CClassInfor::append(Access access, const char* member, const char* name, int tag) {
    // Larger tag numbers would need identifiers of several octets, which no record has.
    if (tag < noContextTag || tag > 30) throw std::invalid_argument("tag number of attribute " + std::string(name));
    CAttribInfor& attribute = attributes_.emplace_back();
    attribute.offset = member - reinterpret_cast<const char*>(sample_);
    attribute.access = access;
    attribute.tag = tag;
    attribute.name = name;
    return attribute.type;
}

}  // namespace refl
