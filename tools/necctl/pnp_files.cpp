#include "pnp_files.h"

#include <algorithm>
#include <filesystem>

#include "failure.h"

namespace necctl {
namespace {

namespace fs = std::filesystem;

// Adds the regular files below `directory`.
void addBelow(const std::string& directory, const Options& options, std::vector<std::string>& files) {
    const auto begin = static_cast<std::ptrdiff_t>(files.size());
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(directory)) {
        const std::string& path = entry.path().native();
        const fs::file_type type = entry.symlink_status().type();
        if (type == fs::file_type::regular)
            files.push_back(path);
        else if (type != fs::file_type::directory)
            options.say(escaped(path) +
                        " is left out: " + (type == fs::file_type::symlink ? "it is a link" : "it is no regular file"));
    }
    std::sort(files.begin() + begin, files.end());
}

}  // namespace

std::vector<std::string> pnpFiles(const std::vector<std::string>& given, const Options& options) try {
    std::vector<std::string> files;
    for (const std::string& path : given) {
        std::error_code none;  // what is not there is the broadcast's business
        if (!fs::is_directory(path, none)) {
            files.push_back(path);
            continue;
        }
        const std::size_t before = files.size();
        addBelow(path, options, files);
        if (files.size() == before) throw Failure(wrongData, path + ": no file is in this directory");
    }
    return files;
} catch (const fs::filesystem_error& error) {
    throw Failure(unusable, error.path1().native() + ": " + error.code().message());
}

std::optional<std::uint64_t> sizeOfFile(const std::string& path) {
    std::error_code error;
    if (!fs::is_regular_file(path, error)) return std::nullopt;
    const std::uint64_t size = fs::file_size(path, error);
    return error ? std::nullopt : std::optional(size);
}

}  // namespace necctl
