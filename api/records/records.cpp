// Construction, copy, clone and destruction of the records of nec/records.h.
#include "nec/records.h"

namespace asn_frame {

AsnFrameProcID::AsnFrameProcID(const AsnFrameProcID& other) : AsnSequence(other) {
    CopyConstructor(other);
}

AsnFrameProcID& AsnFrameProcID::operator=(const AsnFrameProcID& other) {
    Assign(other);
    return *this;
}

AsnFrameProcID::~AsnFrameProcID() {
    Destructor();
}

AsnFrameProcID* AsnFrameProcID::Clone() const {
    return new AsnFrameProcID(*this);
}

AsnDevIDListOfNEMgr::AsnDevIDListOfNEMgr() : srcProcID(new AsnFrameProcID) {}

AsnDevIDListOfNEMgr::AsnDevIDListOfNEMgr(const AsnDevIDListOfNEMgr& other) : AsnSequence(other) {
    CopyConstructor(other);
}

AsnDevIDListOfNEMgr& AsnDevIDListOfNEMgr::operator=(const AsnDevIDListOfNEMgr& other) {
    Assign(other);
    return *this;
}

AsnDevIDListOfNEMgr::~AsnDevIDListOfNEMgr() {
    delete server.get();
    delete snkProcID;
    delete procState.get();
    delete srcProcID;
    Destructor();
}

AsnDevIDListOfNEMgr* AsnDevIDListOfNEMgr::Clone() const {
    return new AsnDevIDListOfNEMgr(*this);
}

AsnFrameProcID& AsnDevIDListOfNEMgr::SnkProcID() {
    if (snkProcID == nullptr) snkProcID = new AsnFrameProcID;
    return *snkProcID;
}

AsnFrameNodeIP::AsnFrameNodeIP(const AsnFrameNodeIP& other) : AsnSequence(other) {
    CopyConstructor(other);
}

AsnFrameNodeIP& AsnFrameNodeIP::operator=(const AsnFrameNodeIP& other) {
    Assign(other);
    return *this;
}

AsnFrameNodeIP::~AsnFrameNodeIP() {
    delete natIP.get();
    Destructor();
}

AsnFrameNodeIP* AsnFrameNodeIP::Clone() const {
    return new AsnFrameNodeIP(*this);
}

AsnFrameGetNodeIPResponse::AsnFrameGetNodeIPResponse(const AsnFrameGetNodeIPResponse& other) : AsnSequence(other) {
    CopyConstructor(other);
}

AsnFrameGetNodeIPResponse& AsnFrameGetNodeIPResponse::operator=(const AsnFrameGetNodeIPResponse& other) {
    Assign(other);
    return *this;
}

AsnFrameGetNodeIPResponse::~AsnFrameGetNodeIPResponse() {
    Destructor();
}

AsnFrameGetNodeIPResponse* AsnFrameGetNodeIPResponse::Clone() const {
    return new AsnFrameGetNodeIPResponse(*this);
}

}  // namespace asn_frame

AsnPnpFile::AsnPnpFile(const AsnPnpFile& other) : AsnSequence(other) {
    CopyConstructor(other);
}

AsnPnpFile& AsnPnpFile::operator=(const AsnPnpFile& other) {
    Assign(other);
    return *this;
}

AsnPnpFile::~AsnPnpFile() {
    delete fileContent.get();
    Destructor();
}

AsnPnpFile* AsnPnpFile::Clone() const {
    return new AsnPnpFile(*this);
}

AsnClientGetPnpRsp::AsnClientGetPnpRsp(const AsnClientGetPnpRsp& other) : AsnSequence(other) {
    CopyConstructor(other);
}

AsnClientGetPnpRsp& AsnClientGetPnpRsp::operator=(const AsnClientGetPnpRsp& other) {
    Assign(other);
    return *this;
}

AsnClientGetPnpRsp::~AsnClientGetPnpRsp() {
    Destructor();
}

AsnClientGetPnpRsp* AsnClientGetPnpRsp::Clone() const {
    return new AsnClientGetPnpRsp(*this);
}
