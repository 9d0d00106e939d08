#include "api/records/peers/asn1c.h"

namespace asn1c {

namespace {

bool same(const AsnInt& ours, long theirs) {
    return ours == theirs;
}

bool same(const AsnOcts& ours, const OCTET_STRING_t& theirs) {
    return ours.str() ==
           std::string_view(reinterpret_cast<const char*>(theirs.buf), static_cast<std::size_t>(theirs.size));
}

template <class Ours, class Theirs>
bool sameOptional(const Ours* ours, const Theirs* theirs) {
    if (ours == nullptr || theirs == nullptr) return ours == nullptr && theirs == nullptr;
    return same(*ours, *theirs);
}

template <class T, class Theirs>
bool sameElements(const AsnList<T>& ours, const Theirs& theirs) {
    if (ours.count != static_cast<std::uint64_t>(theirs.list.count)) return false;
    auto* const* element = theirs.list.array;
    for (const auto* node = ours.first; node != nullptr; node = node->next, ++element) {
        if (!same(*node->element, **element)) return false;
    }
    return true;
}

}  // namespace

bool same(const asn_frame::AsnFrameProcID& ours, const AsnFrameProcID_t& theirs) {
    return same(ours.procType, theirs.procType) && same(ours.procHandle, theirs.procHandle);
}

bool same(const asn_frame::AsnDevIDList& ours, const AsnDevIDList_t& theirs) {
    return sameElements(ours, theirs);
}

bool same(const asn_frame::AsnOctsList& ours, const AsnOctsList_t& theirs) {
    return sameElements(ours, theirs);
}

bool same(const asn_frame::AsnDevIDListOfNEMgr& ours, const AsnDevIDListOfNEMgr_t& theirs) {
    return same(*ours.srcProcID, theirs.srcProcID) && same(ours.devIDList, theirs.devIDList) &&
           same(ours.ownerType, theirs.ownerType) && sameOptional<AsnInt>(ours.procState, theirs.procState) &&
           sameOptional(ours.snkProcID, theirs.snkProcID) && sameOptional<AsnOcts>(ours.server, theirs.server);
}

bool same(const asn_frame::AsnFrameNodeIP& ours, const AsnFrameNodeIP_t& theirs) {
    return same(ours.nmsIP, theirs.nmsIP) && sameOptional<AsnOcts>(ours.natIP, theirs.natIP);
}

bool same(const asn_frame::AsnFrameNodeIPList& ours, const AsnFrameNodeIPList_t& theirs) {
    return sameElements(ours, theirs);
}

bool same(const asn_frame::AsnFrameGetNodeIPResponse& ours, const AsnFrameGetNodeIPResponse_t& theirs) {
    return same(ours.result, theirs.result) && same(ours.nodeIPList, theirs.nodeIPList);
}

bool same(const ::AsnPnpFile& ours, const AsnPnpFile_t& theirs) {
    return same(ours.fileName, theirs.fileName) && same(ours.fileLen, theirs.fileLen) &&
           sameOptional<AsnOcts>(ours.fileContent, theirs.fileContent);
}

bool same(const ::AsnPnpFileList& ours, const AsnPnpFileList_t& theirs) {
    return sameElements(ours, theirs);
}

bool same(const ::AsnClientGetPnpRsp& ours, const AsnClientGetPnpRsp_t& theirs) {
    return same(ours.iResult, theirs.iResult) && same(ours.packageSum, theirs.packageSum) &&
           same(ours.pnpFileList, theirs.pnpFileList);
}

}  // namespace asn1c
