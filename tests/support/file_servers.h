// OpenSSH's SFTP server and vsftpd on the loopback interface, with users of their own: nothing of the machine is
// changed.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "support/folder.h"
#include "support/raw_server.h"

namespace support {

// Whoever may log in to both.
struct FileUser {
    std::string name;
    std::string password;
};

// Servers that are up from the end of the constructor on. Each takes one connection at a time. Where the test runs as
// root, the SFTP server runs as user nobody; vsftpd, which wants to be root, is that in a namespace of its own
// elsewhere.
class FileServers {
public:
    explicit FileServers(const std::vector<FileUser>& users);

    int sftpPort() const { return sftp_->port(); }
    int ftpPort() const { return ftp_->port(); }
    // A folder that they can write to; there is a blank in its name.
    const std::string& root() const { return root_; }
    // Makes a folder in that one, and returns its whole name.
    std::string makeFolder(const std::string& name) const;
    // What they logged.
    std::string log() const;

private:
    void makeFolders() const;
    void makeKey() const;
    void writeUsers(const std::vector<FileUser>& users) const;
    std::vector<std::string> wrapped(std::vector<std::string> prefix, const std::string& libraries) const;
    std::vector<std::string> sftpCommand() const;
    std::vector<std::string> ftpCommand() const;

    Folder folder_;
    const std::string root_ = folder_.file("root directory");
    std::optional<RawServer> sftp_;
    std::optional<RawServer> ftp_;
};

}  // namespace support
