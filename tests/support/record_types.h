// All record types and named lists, for tests that walk over them: typed tests, and tables that need a name a type.
#pragma once

#include <gtest/gtest.h>

#include "nec/records.h"

namespace support {

using RecordTypes =
    testing::Types<asn_frame::AsnFrameProcID, asn_frame::AsnDevIDList, asn_frame::AsnOctsList,
                   asn_frame::AsnDevIDListOfNEMgr, asn_frame::AsnFrameNodeIP, asn_frame::AsnFrameNodeIPList,
                   asn_frame::AsnFrameGetNodeIPResponse, AsnPnpFile, AsnPnpFileList, AsnClientGetPnpRsp>;

// The type's name in records.asn1.
template <class T>
inline constexpr const char* recordName = nullptr;
template <>
inline constexpr const char* recordName<asn_frame::AsnFrameProcID> = "AsnFrameProcID";
template <>
inline constexpr const char* recordName<asn_frame::AsnDevIDList> = "AsnDevIDList";
template <>
inline constexpr const char* recordName<asn_frame::AsnOctsList> = "AsnOctsList";
template <>
inline constexpr const char* recordName<asn_frame::AsnDevIDListOfNEMgr> = "AsnDevIDListOfNEMgr";
template <>
inline constexpr const char* recordName<asn_frame::AsnFrameNodeIP> = "AsnFrameNodeIP";
template <>
inline constexpr const char* recordName<asn_frame::AsnFrameNodeIPList> = "AsnFrameNodeIPList";
template <>
inline constexpr const char* recordName<asn_frame::AsnFrameGetNodeIPResponse> = "AsnFrameGetNodeIPResponse";
template <>
inline constexpr const char* recordName<AsnPnpFile> = "AsnPnpFile";
template <>
inline constexpr const char* recordName<AsnPnpFileList> = "AsnPnpFileList";
template <>
inline constexpr const char* recordName<AsnClientGetPnpRsp> = "AsnClientGetPnpRsp";

// Names the instances of a typed test.
struct RecordNames {
    template <class T>
    static std::string GetName(int) {
        return recordName<T>;
    }
};

}  // namespace support
