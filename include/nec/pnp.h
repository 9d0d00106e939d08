// Publishing plug-and-play (PnP) files to every client.
#pragma once

#include <cstdint>
#include <string>

#include "nec/export.h"
#include "nec/records.h"

namespace NEC {

// Identifies a resource. What its parts mean is between those who make it and those who read it.
struct ResourceID {
    std::string strPart1;
    std::string strPart2;
    std::int32_t iPart3 = 0;
    std::string strPart4;
    std::string strPart5;

    // Whether all five parts are equal, texts by their octets.
    NEC_API bool operator==(const ResourceID& other) const;
};

// Reads the files that `files` names and broadcasts them all, in one AsnClientGetPnpRsp (iResult 0, packageSum 1), as
// command 4193191 to target 3003. On entry each `fileName` is the path of a file of this host; its other fields are
// replaced, in the copy that is sent. Clients see the path from its first "pnp" on, or whole when there is none:
// /opt/pnp/x/a.xml as pnp/x/a.xml.
//
// A file that cannot be opened does not stop the broadcast: clients get its name with ".error" behind it, fileLen 0,
// and a content that says so: an XML document with the element CppOpenFailed. Paths with a NUL, and sockets, are such
// files.
//
// Returns 0 when all files were read; whether the broadcast was sent then, and to whom, is not told: what keeps the bus
// from taking it is logged. Else nothing was sent, files behind the one that is wrong were not read, and the last
// "Read file:" that was logged, at debug level, says which one it is:
//   0x4200004B  a file has more than 1,048,576 octets, or gets more while it is read;
//   0x42000042  a file is empty, cannot be read, or is no regular file (nothing waits for the other end of a FIFO). Its
//               size is looked at as a signed 32-bit number: one of 2 GiB counts as negative, too;
//   0x42000030  there is no memory to read a file into.
//
// What is sent is what was read until the end of the file, also of a file that grows or shrinks meanwhile. `files` is
// copied first, up to a node without element; only its cursor changes: to where the copy ended, null behind the last
// node. `resource` is not looked at. An empty list is broadcast as an empty package. Nothing bounds the number of
// files: memory for twice their contents is needed, and more than 512 MiB in all are not sent.
//
// Blocks while it reads. May be called from any thread, with different lists by any number at a time. Throws
// std::bad_alloc.
NEC_API std::uint32_t BoardcastPnpData(const ResourceID& resource, AsnPnpFileList& files);

}  // namespace NEC
