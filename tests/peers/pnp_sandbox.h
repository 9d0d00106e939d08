// A folder for plug-and-play files, with things around it that must stay as they are.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <string>

#include "nec/records.h"
#include "support/folder.h"

namespace pnp {

// Where files cost no disk, if there is such a place.
inline std::filesystem::path memoryFolder() {
    const char* const folder = "/dev/shm";
    return access(folder, W_OK | X_OK) == 0 ? std::filesystem::path(folder) : std::filesystem::temp_directory_path();
}

// What the folder `top` holds, a line for each thing: its name, what it is, the contents of a file, where a link leads.
// Sorted by nothing but the file system. `except`: what is passed over.
inline std::string listed(const std::filesystem::path& top, const std::filesystem::path& except = {}) {
    std::string all;
    for (auto it = std::filesystem::recursive_directory_iterator(top); it != end(it); ++it) {
        if (it->path() == except) {
            it.disable_recursion_pending();
            continue;
        }
        all += it->path().lexically_relative(top).string();
        if (it->is_symlink())
            all += " -> " + std::filesystem::read_symlink(it->path()).string();
        else if (it->is_regular_file())
            all += ": " + support::contentOf(it->path());
        all += '\n';
    }
    return all;
}

class PnpSandbox {
public:
    explicit PnpSandbox(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) : top_(parent) {
        top_.write("beside", "sentinel");
        std::filesystem::create_directory(outside());
        top_.write("outside/file", "sentinel");
        before_ = around();
    }

    // The folder itself, which is not made here, and what is below it.
    std::filesystem::path inside(const std::string& name = {}) const { return below("inside", name); }
    // A folder beside it, with the file "file" that contains "sentinel".
    std::filesystem::path outside(const std::string& name = {}) const { return below("outside", name); }

    // Whether all around the folder is as it was.
    bool isIntact() const { return around() == before_; }

private:
    std::filesystem::path below(const char* folder, const std::string& name) const {
        const std::filesystem::path path = top_.file(folder);
        return name.empty() ? path : path / name;
    }
    std::string around() const { return listed(top_.file(""), inside()); }

    support::Folder top_;
    std::string before_;
};

inline AsnPnpFile pnpFile(std::string_view name, std::string_view contents) {
    AsnPnpFile file;
    file.fileName = name;
    file.fileLen = static_cast<std::int32_t>(contents.size());
    file.fileContent = new AsnOcts(contents);
    return file;
}

}  // namespace pnp
