// The lists of nec/records.h.
#include <memory>
#include <ostream>
#include <utility>

#include "nec/records.h"

namespace {

constexpr AsnTag sequenceTag = 0x30;
constexpr AsnTag highTagNumber = 0x1F;  // these five bits: the tag number follows in further octets

// Nodes come in chunks, so that neighbours in a list are neighbours in memory. Node `index` begins a chunk exactly when
// index is 0, a power of two below 1024, or a multiple of 1024; a chunk is as long as the list before it, at most 1024.
// That follows from the index alone, so no list has to keep account of its chunks.
constexpr std::uint64_t largestChunk = 1024;

bool beginsChunk(std::uint64_t index) {
    return index < largestChunk ? (index & (index - 1)) == 0 : index % largestChunk == 0;
}

std::uint64_t chunkLength(std::uint64_t index) {
    if (index == 0) return 1;
    return index < largestChunk ? index : largestChunk;
}

// An identifier that the runtime refuses, because it breaks off or is longer than any there is, counts as 0, as does
// one that is not there: it is not the one expected, which is all that matters here.
AsnTag readHighTag(AsnBuf& buf, unsigned char first, AsnLen& count) {
    try {
        return BDecTag_Impl(buf, first, count);
    } catch (const CSM_Exception* refusal) {
        delete refusal;
        return 0;
    }
}

AsnTag readTag(AsnBuf& buf, AsnLen& count) {
    if (buf.exhausted()) {
        buf.setReadError();
        return 0;
    }
    const unsigned char first = buf.GetByte();
    ++count;
    return (first & highTagNumber) == highTagNumber ? readHighTag(buf, first, count) : first;
}

AsnLen readLength(AsnBuf& buf, AsnLen& count) {
    if (buf.exhausted()) {
        buf.setReadError();
        return 0;
    }
    const unsigned char first = buf.GetByte();
    ++count;
    return first < 0x80 ? first : BDecLen_Impl(buf, first, count);
}

// Looks at the identifier and length of the element that comes next, which then decodes itself whole.
void expectElement(AsnBuf& buf, AsnTag tag) {
    // What nearly every element has: one identifier octet and one length octet.
    if (buf.size() >= 2 && buf.PeekByte() == tag && (tag & highTagNumber) != highTagNumber && buf.PeekByte(1) < 0x80)
        return;
    const unsigned char* start = buf.position();
    AsnLen ahead = 0;
    if (readTag(buf, ahead) != tag) {
        buf.setPosition(start);
        throw new CSM_Exception(-1, 183, "", "api", "Unexpected Tag");
    }
    readLength(buf, ahead);
    buf.setPosition(start);
}

// Nodes without element are passed over here, and wherever else a list is read: whoever holds one may have taken its
// element away. Assignment alone ends there.
template <class T>
void appendAll(AsnList<T>& to, const AsnList<T>& from) {
    for (const auto* node = from.first; node != nullptr; node = node->next) {
        if (node->element != nullptr) to.Append(*node->element);
    }
}

}  // namespace

template <class T>
AsnList<T>::AsnList(const AsnList& other) : AsnType(other) {
    try {
        appendAll(*this, other);
    } catch (...) {
        Clear();
        throw;
    }
}

template <class T>
AsnList<T>::~AsnList() {
    Clear();
}

template <class T>
AsnType* AsnList<T>::Clone() const {
    auto copy = std::make_unique<AsnSeqOf<T>>();
    appendAll(*copy, *this);
    return copy.release();
}

template <class T>
void AsnList<T>::BDec(AsnBuf& buf, AsnLen& taken, int) {
    const unsigned char* start = buf.position();
    AsnLen tagOctets = 0;
    if (readTag(buf, tagOctets) != sequenceTag) {
        buf.setPosition(start);  // nothing was taken
        throw new CSM_Exception(-54, 250, "", "api", "AsnList::BDec: ERROR tag on SEQUENCE OF is wrong.");
    }
    taken += tagOctets;
    const AsnLen length = readLength(buf, taken);
    BDecContent(buf, sequenceTag, length, taken, 1);
}

template <class T>
AsnLen AsnList<T>::BEnc(AsnBuf& buf, int format) const {
    const AsnLen contents = BEncContent(buf, format);
    AsnLen lengthOctets = 1;
    if (contents <= 127) {
        buf.PutByteRvs(static_cast<unsigned char>(contents));
    } else {
        lengthOctets = BEncDefLenImpl(buf, contents);
    }
    buf.PutByteRvs(sequenceTag);
    return contents + 1 + lengthOctets;
}

template <class T>
void AsnList<T>::Print(std::ostream& os, unsigned indent, bool newline) const {
    for (const Node* node = first; node != nullptr; node = node->next) {
        if (node->element == nullptr) continue;
        if (newline) {
            os << '\n';
            if (const char* blanks = AsnIndent(indent)) {
                os << blanks;
            } else {
                os.setstate(std::ios_base::badbit);
            }
        }
        os << "- ";
        node->element->Print(os, indent + 1, false);
    }
}

template <class T>
const char* AsnList<T>::typeName() const {
    return "AsnList<T>";
}

template <class T>
AsnList<T>& AsnList<T>::operator=(const AsnList& other) {
    if (this == &other) return *this;
    Clear();
    for (other.curr = other.first; other.curr != nullptr; other.curr = other.curr->next) {
        if (other.curr->element == nullptr) break;
        Append(*other.curr->element);
    }
    return *this;
}

template <class T>
AsnLen AsnList<T>::BEncContent(AsnBuf& buf, int) const {
    AsnLen octets = 0;
    for (const Node* node = last; node != nullptr; node = node->prev) {
        if (node->element != nullptr) octets += node->element->BEnc(buf, 1);
    }
    return octets;
}

template <class T>
void AsnList<T>::BDecContent(AsnBuf& buf, AsnTag tag, AsnLen length, AsnLen& total, int) {
    Clear();
    if (length == 0) return;
    const AsnBuf::Window window(buf, length);
    AsnLen taken = 0;
    while (taken < length) {  // an indefinite length is never reached
        if (length == asnIndefiniteLength) {
            if (buf.exhausted()) buf.setReadError();
            if (buf.PeekByte() == 0) {
                BDecEoc(buf, taken);
                break;
            }
        }
        expectElement(buf, tag);
        Append()->T::BDec(buf, taken, 1);  // T itself, not a class derived from it: no need to ask
    }
    total += taken;
}

template <class T>
T* AsnList<T>::Append() {
    auto element = std::make_unique<T>();
    link(element.get());
    return element.release();
}

template <class T>
T* AsnList<T>::Append(const T& value) {
    auto element = std::make_unique<T>(value);
    link(element.get());
    return element.release();
}

template <class T>
void AsnList<T>::Clear() {
    Node* chunk = first;
    std::uint64_t index = 0;
    for (curr = first; curr != nullptr; ++index) {
        if (beginsChunk(index) && curr != chunk) ::operator delete(std::exchange(chunk, curr));
        delete curr->element;
        curr = curr->next;
    }
    ::operator delete(chunk);
    count = 0;
    first = last = nullptr;
}

// Room for the next node.
template <class T>
typename AsnList<T>::Node* AsnList<T>::newNode() {
    if (!beginsChunk(count)) return last + 1;
    return static_cast<Node*>(::operator new(chunkLength(count) * sizeof(Node)));
}

template <class T>
void AsnList<T>::link(T* element) {
    Node* node = new (newNode()) Node{element, nullptr, last};
    (last == nullptr ? first : last->next) = node;
    last = curr = node;
    ++count;
}

template <class T>
const char* AsnSeqOf<T>::typeName() const {
    return "AsnSeqOf<T>";
}

template class AsnList<AsnInt>;
template class AsnList<AsnOcts>;
template class AsnList<asn_frame::AsnFrameNodeIP>;
template class AsnList<AsnPnpFile>;
template class AsnSeqOf<AsnInt>;
template class AsnSeqOf<AsnOcts>;
template class AsnSeqOf<asn_frame::AsnFrameNodeIP>;
template class AsnSeqOf<AsnPnpFile>;
