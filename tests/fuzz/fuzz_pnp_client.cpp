// What a client does with a broadcast of plug-and-play files: any octets as the package, or else as the name of a file.
// Files are written below the folder by names that a plain reading finds harmless, or not at all.
#include <sys/stat.h>

#include <cstdint>
#include <map>

#include "peers/pnp_sandbox.h"
#include "pnp_folder.h"
#include "require.h"
#include "support/record_codec.h"

namespace {

bool isHarmless(const std::string& name) {
    const std::string parts = "/" + name + "/";
    return name.size() <= 4096 && parts.find("//") == std::string::npos && parts.find("/../") == std::string::npos &&
           parts.find("/./") == std::string::npos && parts.find('\0') == std::string::npos;
}

// The folder with what names could be led astray by.
class Target {
public:
    Target() { prepare(); }

    void write(const AsnPnpFileList& files) {
        std::map<std::string, std::string> written;
        for (const auto* node = files.first; node != nullptr; node = node->next) {
            if (folder_.write(*node->element)) continue;
            require(node->element->fileContent != nullptr, "a file without contents was written");
            written[node->element->fileName.str()] = node->element->fileContent->str();
        }
        require(sandbox_.isIntact(), "something outside the folder has changed");
        checkLinks();
        for (const auto& [name, contents] : written) check(name, contents);
        if (files.first != nullptr) prepare();
    }

private:
    void prepare() {
        for (const auto& entry : std::filesystem::directory_iterator(sandbox_.inside()))
            std::filesystem::remove_all(entry.path());
        std::filesystem::create_symlink("../outside", sandbox_.inside("link"));
        std::filesystem::create_symlink("../outside/file", sandbox_.inside("filelink"));
        std::filesystem::create_hard_link(sandbox_.outside("file"), sandbox_.inside("hardlink"));
        require(mkfifo(sandbox_.inside("fifo").c_str(), 0600) == 0, "no FIFO can be made");
    }

    void checkLinks() const {
        require(std::filesystem::read_symlink(sandbox_.inside("link")) == "../outside", "the link has changed");
        require(std::filesystem::read_symlink(sandbox_.inside("filelink")) == "../outside/file",
                "the link has changed");
        require(std::filesystem::is_fifo(sandbox_.inside("fifo")), "the FIFO has changed");
    }

    void check(const std::string& name, const std::string& contents) const {
        require(isHarmless(name), "a file with a harmful name was written");
        const auto path = sandbox_.inside(name);
        constexpr std::size_t longestPath = 4000;  // that can be opened at once
        if (path.native().size() > longestPath) return;
        require(support::contentOf(path) == contents, "the contents differ");
        require(!std::filesystem::exists(path.parent_path() / ".pnp-0"), "a temporary file was left");
    }

    const pnp::PnpSandbox sandbox_{pnp::memoryFolder()};
    peers::PnpFolder folder_{sandbox_.inside()};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Target target;
    const std::string_view octets(reinterpret_cast<const char*>(data), size);
    AsnClientGetPnpRsp package;
    if (!support::decode(octets, package).ok) {
        package.pnpFileList.Clear();
        package.pnpFileList.Append(pnp::pnpFile(octets, "contents"));
    }
    target.write(package.pnpFileList);
    return 0;
}
