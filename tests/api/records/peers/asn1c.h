// The codec that asn1c makes from records.asn1, beside our record types.
#pragma once

// All that the generated headers include of the system stands here first, so that below only their own declarations
// fall into the namespace, which keeps their AsnPnpFile apart from ours.
#include <netinet/in.h>
#include <sys/types.h>
#include <unistd.h>

#include <cctype>
#include <cinttypes>
#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "nec/records.h"

namespace asn1c {

extern "C" {
#include <AsnClientGetPnpRsp.h>
#include <AsnDevIDList.h>
#include <AsnDevIDListOfNEMgr.h>
#include <AsnFrameGetNodeIPResponse.h>
#include <AsnFrameNodeIP.h>
#include <AsnFrameNodeIPList.h>
#include <AsnFrameProcID.h>
#include <AsnOctsList.h>
#include <AsnPnpFile.h>
#include <AsnPnpFileList.h>
}

// asn1c's structure for one of our record types, and its description.
template <class Ours>
struct Peer;

#define NEC_ASN1C_PEER(scope, name)                                      \
    template <>                                                          \
    struct Peer<scope::name> {                                           \
        using Type = name##_t;                                           \
        static asn_TYPE_descriptor_t* type() { return &asn_DEF_##name; } \
    }
NEC_ASN1C_PEER(asn_frame, AsnFrameProcID);
NEC_ASN1C_PEER(asn_frame, AsnDevIDList);
NEC_ASN1C_PEER(asn_frame, AsnOctsList);
NEC_ASN1C_PEER(asn_frame, AsnDevIDListOfNEMgr);
NEC_ASN1C_PEER(asn_frame, AsnFrameNodeIP);
NEC_ASN1C_PEER(asn_frame, AsnFrameNodeIPList);
NEC_ASN1C_PEER(asn_frame, AsnFrameGetNodeIPResponse);
NEC_ASN1C_PEER(, AsnPnpFile);
NEC_ASN1C_PEER(, AsnPnpFileList);
NEC_ASN1C_PEER(, AsnClientGetPnpRsp);
#undef NEC_ASN1C_PEER

template <class Ours>
struct Free {
    void operator()(typename Peer<Ours>::Type* record) const {
        asn_TYPE_descriptor_t* type = Peer<Ours>::type();
        type->free_struct(type, record, 0);
    }
};

template <class Ours>
using Record = std::unique_ptr<typename Peer<Ours>::Type, Free<Ours>>;

// Null when asn1c refuses the octets. `used`, when not null, is how many octets it took.
template <class Ours>
Record<Ours> decode(std::string_view octets, std::size_t* used = nullptr) {
    void* record = nullptr;
    const asn_dec_rval_t result = ber_decode(nullptr, Peer<Ours>::type(), &record, octets.data(), octets.size());
    Record<Ours> owner(static_cast<typename Peer<Ours>::Type*>(record));
    if (used != nullptr) *used = result.consumed;
    return result.code == RC_OK ? std::move(owner) : nullptr;
}

inline int append(const void* octets, std::size_t size, void* to) {
    static_cast<std::string*>(to)->append(static_cast<const char*>(octets), size);
    return 0;
}

// Empty when asn1c cannot encode the record.
template <class Ours>
std::string encode(const Record<Ours>& record) {
    std::string octets;
    const asn_enc_rval_t result = der_encode(Peer<Ours>::type(), record.get(), append, &octets);
    return result.encoded < 0 ? std::string() : octets;
}

// Whether all fields, present and absent, are the same.
bool same(const asn_frame::AsnFrameProcID& ours, const AsnFrameProcID_t& theirs);
bool same(const asn_frame::AsnDevIDList& ours, const AsnDevIDList_t& theirs);
bool same(const asn_frame::AsnOctsList& ours, const AsnOctsList_t& theirs);
bool same(const asn_frame::AsnDevIDListOfNEMgr& ours, const AsnDevIDListOfNEMgr_t& theirs);
bool same(const asn_frame::AsnFrameNodeIP& ours, const AsnFrameNodeIP_t& theirs);
bool same(const asn_frame::AsnFrameNodeIPList& ours, const AsnFrameNodeIPList_t& theirs);
bool same(const asn_frame::AsnFrameGetNodeIPResponse& ours, const AsnFrameGetNodeIPResponse_t& theirs);
bool same(const ::AsnPnpFile& ours, const AsnPnpFile_t& theirs);
bool same(const ::AsnPnpFileList& ours, const AsnPnpFileList_t& theirs);
bool same(const ::AsnClientGetPnpRsp& ours, const AsnClientGetPnpRsp_t& theirs);

}  // namespace asn1c
