// The right of one process to work with a file.
#pragma once

#include <string>

namespace frame {

// Holds the lock of `file` while it lives: an flock on the companion `file`.lock, which carries the holder's process
// number. It is not on the file itself: SQLite's own locks there vanish when any descriptor of that file is closed.
class FileLock {
public:
    // Throws std::runtime_error when another holds it, or when the companion cannot be made (mode 0600).
    explicit FileLock(const std::string& file);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

private:
    void writeHolder() const;

    int descriptor_;
};

}  // namespace frame
