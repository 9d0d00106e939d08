// A temporary file is locked for as long as it is written. Whoever removes or renames one holds its lock and has seen
// that its name still means it: so one without a lock is of a process that was killed.
#include "pnp_temporary.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace peers {
namespace {

// Each writer has one name of its own in a folder.
constexpr int mostWriters = 100;

[[noreturn]] void fail(int error, const char* what) {
    throw std::system_error(error, std::generic_category(), what);
}

}  // namespace

PnpTemporaryFile::PnpTemporaryFile(int folder) : folder_(folder) {
    for (int number = 0; number < mostWriters; ++number) {
        name_ = std::string(prefix) + std::to_string(number);
        if (make()) return;
    }
    fail(EEXIST, "no temporary file can be made");
}

PnpTemporaryFile::~PnpTemporaryFile() {
    if (!moved_) unlinkat(folder_, name_.c_str(), 0);
}

// False when another has the name, or takes the new file for one that was left.
bool PnpTemporaryFile::make() {
    removeLeftOver();
    file_ =
        Descriptor(openat(folder_, name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, DEFFILEMODE));
    if (!file_ && errno != EEXIST) fail(errno, "no temporary file can be made");
    return file_ && isOwn(file_);
}

void PnpTemporaryFile::removeLeftOver() const {
    const Descriptor file(openat(folder_, name_.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
    if (file && isOwn(file)) unlinkat(folder_, name_.c_str(), 0);
}

// Whether the name means this file, and no other has it locked. Where there are no locks, others are not known of.
bool PnpTemporaryFile::isOwn(const Descriptor& file) const {
    if (flock(file.number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) return false;
    struct stat opened {};
    struct stat named {};
    return fstat(file.number(), &opened) == 0 && fstatat(folder_, name_.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISREG(named.st_mode) && opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

void PnpTemporaryFile::write(std::string_view contents) {
    while (!contents.empty()) {
        const ssize_t written = ::write(file_.number(), contents.data(), contents.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) fail(errno, "cannot be written");
        contents.remove_prefix(static_cast<std::size_t>(written));
    }
    if (fsync(file_.number()) != 0) fail(errno, "cannot be written");
}

void PnpTemporaryFile::moveTo(const std::string& name) {
    if (renameat(folder_, name_.c_str(), folder_, name.c_str()) != 0) fail(errno, "cannot take its place");
    moved_ = true;
}

}  // namespace peers
