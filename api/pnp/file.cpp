#include "pnp/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <string>
#include <string_view>

#include "support/location.h"

namespace NEC {

namespace {

constexpr std::int32_t largestFile = 0x100000;
static_assert(PnpFileBuffer::size > largestFile);

constexpr std::uint32_t openFailed = 0x42000004;
constexpr std::uint32_t bufferIsNull = 0x42000030;
constexpr std::uint32_t sizeInvalid = 0x42000042;
constexpr std::uint32_t fileTooLarge = 0x4200004B;

constexpr std::string_view openFailedContent =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<CppOpenFailed></CppOpenFailed>\n";

constexpr const char* routine = "GetPNPFileContent";

class OpenFile {
public:
    // Without waiting for the other end of a FIFO. A path with a NUL would name another file.
    explicit OpenFile(const std::string& path)
        : descriptor_(path.find('\0') == std::string::npos
                          ? ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)
                          : -1) {}
    ~OpenFile() {
        if (*this) ::close(descriptor_);
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    explicit operator bool() const { return descriptor_ != -1; }

    // In octets; -1 for what has no size of its own.
    std::int32_t size() const {
        struct stat status {};
        if (::fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) return -1;
        return static_cast<std::int32_t>(status.st_size);
    }

    // Reads up to the end, or until `size` octets are there. Gives how many; -1 when they cannot be read.
    ssize_t read(char* memory, std::size_t size) const {
        std::size_t count = 0;
        while (count < size) {
            const ssize_t more = ::read(descriptor_, memory + count, size - count);
            if (more == 0) break;
            if (more > 0)
                count += static_cast<std::size_t>(more);
            else if (errno != EINTR)
                return -1;
        }
        return static_cast<ssize_t>(count);
    }

private:
    int descriptor_;
};

// From the tree of PnP files on, wherever that stands on this host.
std::string_view broadcastName(std::string_view path) {
    const std::size_t tree = path.find("pnp");
    return tree == std::string_view::npos ? path : path.substr(tree);
}

void setContent(AsnPnpFile& file, std::string_view content) {
    delete file.fileContent.get();
    file.fileContent = nullptr;
    file.fileContent = new AsnOcts(content);
}

void becomePlaceholder(AsnPnpFile& file, const std::string& path) {
    file.fileLen = 0;
    setContent(file, openFailedContent);
    LogProcess::Error(openFailed, std::string(openFailedText) + path, here(routine));
    file.fileName = file.fileName.str() + ".error";
}

std::uint32_t refuseSize() {
    LogProcess::Error(sizeInvalid, "[GetPNPFileContent]ifilesize is invalid", here(routine));
    return sizeInvalid;
}

std::uint32_t refuseTooLarge(const std::string& path) {
    LogProcess::Error(fileTooLarge, "Exceed the max file size: 1M! " + path, here(routine));
    return fileTooLarge;
}

std::uint32_t readContent(const OpenFile& opened, const std::string& path, AsnPnpFile& file, PnpFileBuffer& buffer) {
    const std::int32_t size = opened.size();
    if (size > largestFile) return refuseTooLarge(path);
    if (size < 1) return refuseSize();
    char* memory = buffer.memory();
    if (memory == nullptr) {
        LogProcess::Error(bufferIsNull, "The infile point is null!", here(routine));
        return bufferIsNull;
    }
    const ssize_t count = opened.read(memory, PnpFileBuffer::size);
    if (count < 0) return refuseSize();
    if (count > largestFile) return refuseTooLarge(path);  // it has grown
    setContent(file, {memory, static_cast<std::size_t>(count)});
    file.fileLen = static_cast<std::int32_t>(count);
    return 0;
}

}  // namespace

char* PnpFileBuffer::memory() {
    if (!memory_) memory_.reset(new (std::nothrow) char[size]);
    return memory_.get();
}

std::uint32_t GetPNPFileContent(AsnPnpFile& file, PnpFileBuffer& buffer) {
    const std::string path = file.fileName.str();
    LogProcess::Debug(std::string(readingFileText) + path, here(routine));
    file.fileName = broadcastName(path);
    const OpenFile opened(path);
    if (opened) return readContent(opened, path, file, buffer);
    becomePlaceholder(file, path);
    return 0;
}

}  // namespace NEC
