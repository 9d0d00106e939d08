// A fresh folder for the files of a test or a benchmark, removed with all that is in it.
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace support {

class Folder {
public:
    // Made in `parent`.
    explicit Folder(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
        std::string pattern = (parent / "nec-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make " + pattern);
        path_ = pattern;
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    // The name of the file `name` in it.
    std::string file(const std::string& name) const { return (path_ / name).string(); }
    // Writes `content` to the file `name` and returns its whole name.
    std::string write(const std::string& name, const std::string& content) const {
        std::ofstream stream(path_ / name, std::ios::binary);
        stream << content;
        if (!stream.flush()) throw std::runtime_error("cannot write " + file(name));
        return file(name);
    }

private:
    std::filesystem::path path_;
};

inline std::string contentOf(const std::string& file) {
    std::ostringstream content;
    const std::ifstream stream(file, std::ios::binary);
    if (!stream) throw std::runtime_error("cannot read " + file);
    content << stream.rdbuf();
    return content.str();
}

}  // namespace support
