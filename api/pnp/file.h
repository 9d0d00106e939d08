// One file of a plug-and-play broadcast: what clients call it, and how its content is read.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "nec/records.h"

namespace NEC {

// What is logged of a file, with its path behind: before it is read, and when it cannot be opened.
inline constexpr std::string_view readingFileText = "Read file:";
inline constexpr std::string_view openFailedText = "Open file failed! ";

// Memory that files are read into, one after another: so that a broadcast of many takes it once.
class PnpFileBuffer {
public:
    // One octet more than a file may have: what fills it is too large.
    static constexpr std::size_t size = 0x100000 + 1;

    // Null when there is no memory.
    char* memory();

private:
    std::unique_ptr<char[]> memory_;
};

// Reads the file that `file.fileName` names into `file`, and names it as clients see it; or makes it the placeholder of
// a file that cannot be opened. Gives 0, or the code that ends the broadcast, which is logged; of `file`, only its name
// has changed then.
std::uint32_t GetPNPFileContent(AsnPnpFile& file, PnpFileBuffer& buffer);

}  // namespace NEC
