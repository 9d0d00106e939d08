// A file that is written beside the one it will replace.
#pragma once

#include <string>
#include <string_view>

#include "descriptor.h"

namespace peers {

// Others, in this process or in others, may have temporary files in the same folder at the same time. One that a killed
// process has left is removed by the next one that is made in its folder. What the operations throw is
// std::system_error.
class PnpTemporaryFile {
public:
    // What the names of temporary files begin with.
    static constexpr std::string_view prefix = ".pnp-";

    // Makes it, empty, in the folder with the descriptor `folder`, which must outlive it.
    explicit PnpTemporaryFile(int folder);
    // Removes it, unless it was moved.
    ~PnpTemporaryFile();
    PnpTemporaryFile(const PnpTemporaryFile&) = delete;
    PnpTemporaryFile& operator=(const PnpTemporaryFile&) = delete;

    // Returns when they are on the disk.
    void write(std::string_view contents);
    // Gives it the name `name` in its folder, in place of the file that has it now.
    void moveTo(const std::string& name);

private:
    bool make();
    void removeLeftOver() const;
    bool isOwn(const Descriptor& file) const;

    const int folder_;
    std::string name_;
    Descriptor file_{-1};
    bool moved_ = false;
};

}  // namespace peers
