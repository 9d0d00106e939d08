#include "reliable/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace frame {

namespace {

std::string holder(int descriptor) {
    std::array<char, 32> text{};
    const ssize_t size = pread(descriptor, text.data(), text.size(), 0);
    if (size <= 0) return "another process";
    return "process " + std::string(text.data(), static_cast<std::size_t>(size));
}

[[noreturn]] void refuse(int descriptor, const std::string& file) {
    const int error = errno;
    const std::string user = error == EWOULDBLOCK ? holder(descriptor) : std::string();
    close(descriptor);
    if (user.empty())
        throw std::runtime_error("outbox " + file + ": cannot lock: " + std::generic_category().message(error));
    throw std::runtime_error("outbox " + file + " is used by " + user +
                             ": give every process an outbox file of its own, or end that process first");
}

}  // namespace

FileLock::FileLock(const std::string& file)
    : descriptor_(open((file + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR)) {
    if (descriptor_ < 0)
        throw std::runtime_error("outbox " + file + ": cannot make " + file +
                                 ".lock: " + std::generic_category().message(errno));
    if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0) refuse(descriptor_, file);
    writeHolder();
}

FileLock::~FileLock() {
    close(descriptor_);
}

// For people only: with a full disk it is left empty, and the lock holds all the same.
void FileLock::writeHolder() const {
    const std::string text = std::to_string(getpid());
    [[maybe_unused]] const bool written =
        ftruncate(descriptor_, 0) == 0 && pwrite(descriptor_, text.data(), text.size(), 0) > 0;
}

}  // namespace frame
