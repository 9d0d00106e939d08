#include "pnp_files.h"

#include <algorithm>
#include <filesystem>

#include "failure.h"

namespace necctl {
namespace {

namespace fs = std::filesystem;

using Paths = std::vector<std::string>;

void require(const std::error_code& error, const std::string& path) {
    if (error) throw Failure(unusable, path + ": " + error.message());
}

// Adds what is in `directory` itself.
void addIn(const std::string& directory, const Options& options, Paths& files, Paths& directories) {
    std::error_code error;
    fs::directory_iterator it(directory, error);
    for (; !error && it != fs::directory_iterator(); it.increment(error)) {
        const std::string& path = it->path().native();
        std::error_code unseen;
        const fs::file_type type = it->symlink_status(unseen).type();
        require(unseen, path);
        if (type == fs::file_type::regular)
            files.push_back(path);
        else if (type == fs::file_type::directory)
            directories.push_back(path);
        else
            options.say(escaped(path) +
                        " is left out: " + (type == fs::file_type::symlink ? "it is a link" : "it is no regular file"));
    }
    require(error, directory);
}

// Adds the regular files below `directory`. One directory is open at a time, however deep they are.
void addBelow(const std::string& directory, const Options& options, Paths& files) {
    const auto begin = static_cast<std::ptrdiff_t>(files.size());
    Paths directories{directory};
    while (!directories.empty()) {
        const std::string next = std::move(directories.back());
        directories.pop_back();
        addIn(next, options, files, directories);
    }
    std::sort(files.begin() + begin, files.end());
}

}  // namespace

std::vector<std::string> pnpFiles(const std::vector<std::string>& given, const Options& options) {
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
}

std::optional<std::uint64_t> sizeOfFile(const std::string& path) {
    std::error_code error;
    if (!fs::is_regular_file(path, error)) return std::nullopt;
    const std::uint64_t size = fs::file_size(path, error);
    return error ? std::nullopt : std::optional(size);
}

}  // namespace necctl
