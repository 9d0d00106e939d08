// Every folder on the way is opened by itself, seen from the one before it, and links are not followed: no name is ever
// resolved as a whole.
#include "pnp_folder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <string_view>
#include <system_error>

#include "log/escape.h"
#include "nec/records.h"
#include "pnp_temporary.h"

namespace peers {
namespace {

void require(bool holds, const std::string& otherwise) {
    if (!holds) throw std::runtime_error(otherwise);
}

void checkPart(std::string_view part) {
    require(!part.empty(), "its name has an empty part");
    require(part != "." && part != "..", "its name has the part " + frame::quoted(part));
    require(part.size() <= NAME_MAX, "its name has a part of " + std::to_string(part.size()) +
                                         " octets; expected at most " + std::to_string(NAME_MAX));
    require(
        part.substr(0, PnpTemporaryFile::prefix.size()) != PnpTemporaryFile::prefix,
        "its name has a part that begins with " + frame::quoted(PnpTemporaryFile::prefix) + ", as temporary files do");
}

void checkName(std::string_view name) {
    require(!name.empty(), "its name is empty");
    require(name.size() <= PnpFolder::mostNameOctets, "its name has " + std::to_string(name.size()) +
                                                          " octets; expected at most " +
                                                          std::to_string(PnpFolder::mostNameOctets));
    require(name.front() != '/', "its name begins with a slash; expected one below the folder");
    require(!frame::hasControls(name), "its name has a control character");
    for (auto slash = name.find('/'); slash != std::string_view::npos; slash = name.find('/')) {
        checkPart(name.substr(0, slash));
        name.remove_prefix(slash + 1);
    }
    checkPart(name);
}

void checkContents(const AsnPnpFile& file, std::string_view name) {
    require(file.fileContent != nullptr, "it has no contents");
    if (file.fileLen == 0 && name.ends_with(".error")) return;
    const std::size_t octets = file.fileContent->size();
    require(std::cmp_equal(octets, std::int32_t{file.fileLen}),
            "it has " + std::to_string(octets) + " octets, and " + std::to_string(file.fileLen) + " are stated");
}

Descriptor opened(int parent, const std::string& name) {
    return Descriptor(openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

// The folder `name` in `parent`, made when it is missing.
Descriptor folderIn(int parent, const std::string& name) {
    Descriptor folder = opened(parent, name);
    if (!folder && errno == ENOENT && (mkdirat(parent, name.c_str(), ACCESSPERMS) == 0 || errno == EEXIST))
        folder = opened(parent, name);
    if (folder) return folder;
    const int error = errno;
    require(error != ENOTDIR && error != ELOOP, frame::quoted(name) + " is in the way: it is no folder");
    throw std::system_error(error, std::generic_category(), "folder " + frame::quoted(name));
}

// A link would be replaced, not followed; but it was put there by somebody, and for something else.
void checkPlace(int folder, const std::string& name) {
    struct stat there {};
    if (fstatat(folder, name.c_str(), &there, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno == ENOENT) return;
        throw std::system_error(errno, std::generic_category(), "its place");
    }
    require(S_ISREG(there.st_mode), frame::quoted(name) + " is in the way: it is no regular file");
}

void writeTo(int folder, const std::string& name, std::string_view contents) {
    checkPlace(folder, name);
    PnpTemporaryFile file(folder);
    file.write(contents);
    file.moveTo(name);
}

// Writes the file below `root`; throws why it does not.
void writeBelow(const Descriptor& root, const AsnPnpFile& file) {
    std::string_view rest = file.fileName.view();
    checkName(rest);
    checkContents(file, rest);
    Descriptor folder(-1);
    int at = root.number();
    for (auto slash = rest.find('/'); slash != std::string_view::npos; slash = rest.find('/')) {
        folder = folderIn(at, std::string(rest.substr(0, slash)));
        at = folder.number();
        rest.remove_prefix(slash + 1);
    }
    writeTo(at, std::string(rest), file.fileContent->view());
}

Descriptor made(const std::string& path) {
    if (mkdir(path.c_str(), ACCESSPERMS) == 0 || errno == EEXIST) {
        Descriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (folder) return folder;
    }
    throw std::runtime_error(path + ": cannot be used as a folder: " + std::generic_category().message(errno));
}

}  // namespace

PnpFolder::PnpFolder(const std::string& path) : root_(made(path)) {}

std::optional<std::string> PnpFolder::write(const AsnPnpFile& file) {
    try {
        writeBelow(root_, file);
        return std::nullopt;
    } catch (const std::runtime_error& reason) {
        return reason.what();
    }
}

}  // namespace peers
