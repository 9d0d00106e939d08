// The folder that plug-and-play files are written to.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "descriptor.h"

class AsnPnpFile;

namespace peers {

// Names come from outside: whatever they say, nothing outside the folder is made, changed or followed into. The folder
// is held open, so that it stays the one it was when another takes its place. Several may write to one folder at once,
// in one process or in several, where its file system has flock: without, only one may. One object is used by one
// thread at a time.
class PnpFolder {
public:
    static constexpr std::size_t mostNameOctets = 4096;

    // Makes the folder when it is missing; the one above it must be there. Throws std::runtime_error, which names it,
    // when it cannot be used.
    explicit PnpFolder(const std::string& path);

    // Writes one file, and the folders above it that are missing: the file has its old contents or its new ones at any
    // time, and keeps the old ones when this fails. Returns why it is not written; nothing when it is. Names are
    // octets, as Linux has them: those that are not UTF-8 are written as they are. The length that a file states must
    // be that of its contents, but for a name that ends in ".error" with a length of 0: the contents then stand for a
    // file that the sender could not read. Throws std::bad_alloc.
    //
    // It is written under a temporary name first, which no file's name may be. What a killed process leaves under such
    // a name is never in the way, and is removed when the next file in its folder is written.
    std::optional<std::string> write(const AsnPnpFile& file);

private:
    Descriptor root_;
};

}  // namespace peers
