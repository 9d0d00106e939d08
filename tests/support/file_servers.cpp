#include "support/file_servers.h"

#include <crypt.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

#include "support/run.h"

namespace support {

namespace {

// User and group nobody. The servers look names up in a list of their own.
constexpr unsigned nobody = 65534;

bool isRoot() {
    return geteuid() == 0;
}

void giveToServers(const std::string& file) {
    if (isRoot() && chown(file.c_str(), nobody, nobody) != 0) throw std::runtime_error("cannot give away " + file);
}

std::string hashed(const std::string& password) {
    crypt_data work{};
    const char* hash = crypt_r(password.c_str(), "$6$rounds=1000$libnec$", &work);
    if (hash == nullptr || *hash == '*') throw std::runtime_error("cannot hash a password");
    return hash;
}

// Starts a server for each connection. It ends when its client has closed that.
RawServer::Script serving(std::vector<std::string> command, std::string errors) {
    return [command = std::move(command), errors = std::move(errors)](RawConnection& connection) {
        const Outcome outcome = Child(command, connection.socket()).wait(2 * patience);
        std::ofstream(errors) << outcome.err;
    };
}

}  // namespace

FileServers::FileServers(const std::vector<FileUser>& users) {
    makeFolders();
    makeKey();
    writeUsers(users);
    sftp_.emplace(serving(sftpCommand(), folder_.file("sshd.err")));
    ftp_.emplace(serving(ftpCommand(), folder_.file("vsftpd.err")));
}

std::string FileServers::log() const {
    std::string text;
    for (const char* name : {"sshd.err", "sshd.log", "vsftpd.err", "vsftpd.log"}) {
        const std::string file = folder_.file(name);
        if (std::filesystem::exists(file)) text += std::string(name) + ":\n" + contentOf(file);
    }
    return text;
}

std::string FileServers::makeFolder(const std::string& name) const {
    std::string folder = root_ + '/' + name;
    std::filesystem::create_directory(folder);
    giveToServers(folder);
    return folder;
}

void FileServers::makeFolders() const {
    giveToServers(folder_.file("."));
    std::filesystem::create_directory(root_);
    giveToServers(root_);
}

void FileServers::makeKey() const {
    const std::string key = folder_.file("key");
    const Outcome made = run({"ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", key});
    if (made.exitStatus != 0) throw std::runtime_error("ssh-keygen: " + made.err);
    giveToServers(key);
}

void FileServers::writeUsers(const std::vector<FileUser>& users) const {
    const std::string ids = isRoot() ? std::to_string(nobody) + ':' + std::to_string(nobody)
                                     : std::to_string(geteuid()) + ':' + std::to_string(getegid());
    std::string list = "nobody:x:" + std::to_string(nobody) + ':' + std::to_string(nobody) + "::/:/bin/sh\n";
    for (const FileUser& user : users) list += user.name + ':' + hashed(user.password) + ':' + ids + "::/:/bin/sh\n";
    giveToServers(folder_.write("passwd", list));
    giveToServers(folder_.write("group", "nogroup:x:" + std::to_string(nobody) + ":\n"));
}

// What comes before a server's command line, for its user list and in an environment that is otherwise empty.
std::vector<std::string> FileServers::wrapped(std::vector<std::string> prefix, const std::string& libraries) const {
    const std::vector<std::string> environment{"env", "-i", "LD_PRELOAD=" + libraries,
                                               "NSS_WRAPPER_PASSWD=" + folder_.file("passwd"),
                                               "NSS_WRAPPER_GROUP=" + folder_.file("group")};
    prefix.insert(prefix.end(), environment.begin(), environment.end());
    return prefix;
}

std::vector<std::string> FileServers::sftpCommand() const {
    const std::string configuration = folder_.write("sshd_config", "HostKey " + folder_.file("key") +
                                                                       "\n"
                                                                       "UsePAM no\n"
                                                                       "PasswordAuthentication yes\n"
                                                                       "Subsystem sftp internal-sftp\n");
    giveToServers(configuration);
    // Root's would need a directory of the machine's.
    std::vector<std::string> prefix;
    if (isRoot()) {
        const std::string id = std::to_string(nobody);
        prefix = {"setpriv", "--reuid=" + id, "--regid=" + id, "--clear-groups", "--"};
    }
    std::vector<std::string> command = wrapped(std::move(prefix), "libnss_wrapper.so");
    command.insert(command.end(), {"/usr/sbin/sshd", "-i", "-f", configuration, "-E", folder_.file("sshd.log")});
    return command;
}

std::vector<std::string> FileServers::ftpCommand() const {
    const std::string configuration =
        folder_.write("vsftpd.conf",
                      "listen=NO\n"
                      "anonymous_enable=NO\n"
                      "local_enable=YES\n"
                      "write_enable=YES\n"
                      "session_support=NO\n"
                      // Namespaces and filters that containers may refuse.
                      "isolate=NO\n"
                      "isolate_network=NO\n"
                      "seccomp_sandbox=NO\n"
                      "pam_service_name=vsftpd\n"
                      "nopriv_user=nobody\n"
                      // Shut up there, it wants nobody who may be its user to be able to write.
                      "secure_chroot_dir=/\n"
                      "log_ftp_protocol=YES\n"
                      "vsftpd_log_file=" +
                          folder_.file("vsftpd.log") + '\n');
    // In a namespace in which the test's user is root there are no other users to change to: that is only pretended.
    std::vector<std::string> command =
        isRoot() ? wrapped({}, "libnss_wrapper.so")
                 : wrapped({"unshare", "--map-root-user"}, "libuid_wrapper.so:libnss_wrapper.so");
    if (!isRoot()) command.insert(command.end(), {"UID_WRAPPER=1", "UID_WRAPPER_ROOT=1"});
    command.insert(command.end(), {"/usr/sbin/vsftpd", configuration});
    return command;
}

}  // namespace support
