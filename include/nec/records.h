// The records that server processes exchange about network elements (NEs), and the lists in them.
//
// All fields are public. An OPTIONAL field is an owning pointer: null means absent; the record deletes it, and a
// caller that deletes one early sets it to null. Records and lists are copied deeply. One object may be used by one
// thread at a time; copying a list by assignment moves the source's cursor, so it counts as using the source too.
// Their wire form is described in docs/interfaces/records.asn1.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "nec/export.h"
#include "platform/asn1.h"

// SEQUENCE OF T: a doubly linked list that owns its elements.
template <class T>
class NEC_API AsnList : public AsnType {
public:
    struct Node {
        T* element;
        Node* next;
        Node* prev;
    };

    AsnList() = default;
    AsnList(const AsnList& other);
    ~AsnList() override;

    AsnType* Clone() const override;
    // Takes SEQUENCE OF identifier, length and contents. Every element must then be a constructed SEQUENCE: this
    // operation expects 0x30 of all of them, whatever T is. Throws (code -54) for another identifier, with nothing
    // taken and the old elements in place.
    void BDec(AsnBuf& buf, AsnLen& count, int format) override;
    AsnLen BEnc(AsnBuf& buf, int format) const override;
    void Print(std::ostream& os, unsigned indent, bool newline) const override;
    const char* typeName() const override;

    // Replaces the elements by deep copies of those of `other`, whose cursor walks along and is null afterwards; it
    // stops at a node without element. Every other operation passes over such a node. When memory runs out, this list
    // holds the copies made so far.
    virtual AsnList& operator=(const AsnList& other);
    virtual AsnLen BEncContent(AsnBuf& buf, int format) const;
    // Replaces the elements by those of the contents that come next; `tag` is the identifier that each must have.
    // Throws (code -1) "Unexpected Tag" for another; the elements decoded before the error stay. Throws (code -52) for
    // a length beyond what is left in the buffer; nothing in the contents may reach beyond them.
    virtual void BDecContent(AsnBuf& buf, AsnTag tag, AsnLen length, AsnLen& count, int format);

    // Adds a default element at the tail; the list owns it. The pointer is valid until the list is cleared.
    T* Append();
    // Adds a copy of `value` at the tail.
    T* Append(const T& value);
    // Deletes all elements.
    void Clear();

    // For reading; only the operations above may change them.
    std::uint64_t count = 0;
    Node* first = nullptr;
    Node* last = nullptr;
    mutable Node* curr = nullptr;  // cursor: the node last appended or visited

private:
    void link(T* element);
    Node* newNode();
};

// The list that record fields use.
template <class T>
class NEC_API AsnSeqOf : public AsnList<T> {
public:
    using AsnList<T>::operator=;
    const char* typeName() const override;
};

namespace asn_frame {

// The address of one process: process type, process handle.
class NEC_API AsnFrameProcID : public AsnSequence {
public:
    AsnFrameProcID() = default;
    AsnFrameProcID(const AsnFrameProcID& other);
    AsnFrameProcID& operator=(const AsnFrameProcID& other);
    ~AsnFrameProcID() override;
    AsnFrameProcID* Clone() const override;
    void GetTypeInfor(refl::CGnlTypeInfor& type) const override;

    AsnInt procType;
    AsnInt procHandle;
};

class NEC_API AsnFrameNodeIP;

}  // namespace asn_frame

class NEC_API AsnPnpFile;

extern template class AsnList<AsnInt>;
extern template class AsnList<AsnOcts>;
extern template class AsnList<asn_frame::AsnFrameNodeIP>;
extern template class AsnList<AsnPnpFile>;
extern template class AsnSeqOf<AsnInt>;
extern template class AsnSeqOf<AsnOcts>;
extern template class AsnSeqOf<asn_frame::AsnFrameNodeIP>;
extern template class AsnSeqOf<AsnPnpFile>;

namespace asn_frame {

// Numeric identifiers of NEs.
class NEC_API AsnDevIDList : public AsnSeqOf<AsnInt> {
public:
    using AsnSeqOf<AsnInt>::operator=;
};

// Texts, for example addresses of NEs.
class NEC_API AsnOctsList : public AsnSeqOf<AsnOcts> {
public:
    using AsnSeqOf<AsnOcts>::operator=;
};

// What happened to NEs: which ones, from which process, to which process.
class NEC_API AsnDevIDListOfNEMgr : public AsnSequence {
public:
    // Allocates `srcProcID`.
    AsnDevIDListOfNEMgr();
    AsnDevIDListOfNEMgr(const AsnDevIDListOfNEMgr& other);
    AsnDevIDListOfNEMgr& operator=(const AsnDevIDListOfNEMgr& other);
    ~AsnDevIDListOfNEMgr() override;
    AsnDevIDListOfNEMgr* Clone() const override;
    void GetTypeInfor(refl::CGnlTypeInfor& type) const override;

    // The object behind `snkProcID`, which is allocated, zero-valued, when there is none.
    AsnFrameProcID& SnkProcID();

    AsnFrameProcID* srcProcID = nullptr;
    AsnDevIDList devIDList;
    AsnInt ownerType;
    refl::MayNullPointer<AsnInt> procState;
    AsnFrameProcID* snkProcID = nullptr;
    refl::MayNullPointer<AsnOcts> server;
};

// One node's address in the management system, as dotted text, and the address it is seen under behind NAT.
class NEC_API AsnFrameNodeIP : public AsnSequence {
public:
    AsnFrameNodeIP() = default;
    AsnFrameNodeIP(const AsnFrameNodeIP& other);
    AsnFrameNodeIP& operator=(const AsnFrameNodeIP& other);
    ~AsnFrameNodeIP() override;
    AsnFrameNodeIP* Clone() const override;
    void GetTypeInfor(refl::CGnlTypeInfor& type) const override;

    AsnOcts nmsIP;
    refl::MayNullPointer<AsnOcts> natIP;
};

class NEC_API AsnFrameNodeIPList : public AsnSeqOf<AsnFrameNodeIP> {
public:
    using AsnSeqOf<AsnFrameNodeIP>::operator=;
};

// The answer to the question which addresses serve an NE.
class NEC_API AsnFrameGetNodeIPResponse : public AsnSequence {
public:
    AsnFrameGetNodeIPResponse() = default;
    AsnFrameGetNodeIPResponse(const AsnFrameGetNodeIPResponse& other);
    AsnFrameGetNodeIPResponse& operator=(const AsnFrameGetNodeIPResponse& other);
    ~AsnFrameGetNodeIPResponse() override;
    AsnFrameGetNodeIPResponse* Clone() const override;
    void GetTypeInfor(refl::CGnlTypeInfor& type) const override;

    AsnInt result;
    AsnFrameNodeIPList nodeIPList;
};

}  // namespace asn_frame

// One plug-and-play file. `fileLen` is the length in octets that the sender states for `fileContent`.
class NEC_API AsnPnpFile : public AsnSequence {
public:
    AsnPnpFile() = default;
    AsnPnpFile(const AsnPnpFile& other);
    AsnPnpFile& operator=(const AsnPnpFile& other);
    ~AsnPnpFile() override;
    AsnPnpFile* Clone() const override;
    void GetTypeInfor(refl::CGnlTypeInfor& type) const override;

    AsnOcts fileName;
    AsnInt fileLen;
    refl::MayNullPointer<AsnOcts> fileContent;
};

class NEC_API AsnPnpFileList : public AsnSeqOf<AsnPnpFile> {
public:
    using AsnSeqOf<AsnPnpFile>::operator=;
};

// Plug-and-play files for a client, with a result code and the number of packages.
class NEC_API AsnClientGetPnpRsp : public AsnSequence {
public:
    AsnClientGetPnpRsp() = default;
    AsnClientGetPnpRsp(const AsnClientGetPnpRsp& other);
    AsnClientGetPnpRsp& operator=(const AsnClientGetPnpRsp& other);
    ~AsnClientGetPnpRsp() override;
    AsnClientGetPnpRsp* Clone() const override;
    void GetTypeInfor(refl::CGnlTypeInfor& type) const override;

    AsnInt iResult;
    AsnInt packageSum;
    AsnPnpFileList pnpFileList;
};
