// The service that the agent chooses is real: a client that knows no more than the chosen record moves files both ways,
// on each engine.
#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

#include "engines.h"
#include "nec/ftpagent.h"
#include "platform/process.h"
#include "support/file_servers.h"
#include "support/folder.h"
#include "support/run.h"

namespace {

using support::FileUser;

// One connection of a client to a service, with what there is to know of it.
class Client {
public:
    Client(const char* scheme, const NEC::FTPSvcInfo& service)
        : place_(std::string(scheme) + "://" + service.strIP + ':' + std::to_string(service.iPort) + '/' +
                 escaped(service.strFtpRoot) + '/') {
        set(CURLOPT_USERNAME, service.strUserName.c_str());
        set(CURLOPT_PASSWORD, service.strPassword.c_str());
        set(CURLOPT_SSH_AUTH_TYPES, long{CURLSSH_AUTH_PASSWORD});
        set(CURLOPT_TIMEOUT, long{support::patience.count()});
        set(CURLOPT_NOSIGNAL, 1L);
    }

    CURLcode upload(const std::string& name, std::string octets) {
        set(CURLOPT_UPLOAD, 1L);
        set(CURLOPT_READFUNCTION, &take);
        set(CURLOPT_READDATA, &octets);
        return transfer(name);
    }
    CURLcode download(const std::string& name, std::string& octets) {
        set(CURLOPT_UPLOAD, 0L);
        set(CURLOPT_WRITEFUNCTION, &append);
        set(CURLOPT_WRITEDATA, &octets);
        return transfer(name);
    }

private:
    template <class Value>
    void set(CURLoption option, Value value) {
        EXPECT_EQ(curl_easy_setopt(handle_.get(), option, value), CURLE_OK) << option;
    }
    CURLcode transfer(const std::string& name) {
        set(CURLOPT_URL, (place_ + name).c_str());
        return curl_easy_perform(handle_.get());
    }
    std::string escaped(const std::string& path) const {
        const std::unique_ptr<char, decltype(&curl_free)> text(
            curl_easy_escape(handle_.get(), path.data(), static_cast<int>(path.size())), &curl_free);
        return text.get();
    }

    static std::size_t take(char* to, std::size_t one, std::size_t size, void* octets) {
        std::string& left = *static_cast<std::string*>(octets);
        const std::size_t taken = left.copy(to, std::min(one * size, left.size()));
        left.erase(0, taken);
        return taken;
    }
    static std::size_t append(const char* from, std::size_t one, std::size_t size, void* octets) {
        static_cast<std::string*>(octets)->append(from, one * size);
        return one * size;
    }

    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle_{curl_easy_init(), &curl_easy_cleanup};
    const std::string place_;
};

using Choice = int (*)(NEC::FTPSvcInfo&, const char*, bool);

class FileTransfer : public testing::TestWithParam<const char*> {
protected:
    static constexpr int wrongPort = 1;

    // What the operator does.
    void configure(std::vector<std::string> command, const std::string& password = {}) const {
        command.insert(command.begin(), NECCTL);
        command.insert(command.end(), {"--config", configuration_});
        const support::Outcome outcome = support::run(command, password);
        ASSERT_EQ(outcome.exitStatus, 0) << outcome.err;
    }
    void setParameters(const FileUser& user, const std::string& root, int ftpPort, int sftpPort) const {
        configure({"ftp", "params", "set", "--user", user.name, "--password-file", "-", "--root", root, "--ftp-port",
                   std::to_string(ftpPort), "--sftp-port", std::to_string(sftpPort)},
                  user.password + '\n');
    }

    // What a server process does for an NE.
    NEC::FTPSvcInfo chosen(Choice choose) const {
        const frame::Process process(configuration_);
        NEC::FTPSvcInfo service;
        EXPECT_EQ(choose(service, "127.0.0.1", false), 0);
        return service;
    }

    // What the NE does.
    void expectFilesBothWays(const char* scheme, const NEC::FTPSvcInfo& service, const std::string& root) const {
        Client client(scheme, service);
        const std::string octets = randomOctets();
        ASSERT_EQ(client.upload("file", octets), CURLE_OK) << servers.log();
        EXPECT_TRUE(support::contentOf(root + "/file") == octets);
        std::string returned;
        ASSERT_EQ(client.download("file", returned), CURLE_OK) << servers.log();
        EXPECT_TRUE(returned == octets);
    }

    const std::vector<FileUser> users{
        {"quoted", R"(it's "s3cret" \ `100%s` $(id);)"}, {"blank", " two  blanks "},      {"short", "x"},
        {"accents", "p\xc3\xa4ssw\xc3\xb6rd#?&@:/"},     {"long", std::string(128, 'p')},  // vsftpd takes no more
    };
    const support::FileServers servers{users};

private:
    static std::string randomOctets() {
        std::mt19937 random(1);
        std::string octets(1'000'003, '\0');
        for (char& octet : octets) octet = static_cast<char>(random());
        return octets;
    }

    const support::Folder folder_;
    const std::string configuration_ =
        folder_.write("nec.toml", "[process]\ntype = 3005\nhandle = 7\n[log]\nfile = \"" + folder_.file("log") +
                                      "\"\n[addresses]\nhost = [\"127.0.0.1\", \"127.0.0.2\"]\nsouth = "
                                      "\"127.0.0.1\"\n[database]\nurl = \"sqlite:" +
                                      folder_.file("nec.db") + "\"\n" + e2e::busOn(GetParam()));
};

INSTANTIATE_TEST_SUITE_P(On, FileTransfer, e2e::engines, e2e::nameOfEngine);

}  // namespace

TEST_P(FileTransfer, ServiceChosenForSftpTakesAndGivesFiles) {
    ASSERT_NO_FATAL_FAILURE(configure({"db", "init"}));
    for (const FileUser& user : users) {
        SCOPED_TRACE(user.name);
        setParameters(user, servers.root(), wrongPort, servers.sftpPort());
        expectFilesBothWays("sftp", chosen(&NEC::FTPAgent::GetSFTPSvcByNEIP), servers.root());
    }
}

TEST_P(FileTransfer, ServiceChosenForFtpTakesAndGivesFiles) {
    ASSERT_NO_FATAL_FAILURE(configure({"db", "init"}));
    for (const FileUser& user : users) {
        SCOPED_TRACE(user.name);
        setParameters(user, servers.root(), servers.ftpPort(), wrongPort);
        expectFilesBothWays("ftp", chosen(&NEC::FTPAgent::GetFTPSvcByNEIP), servers.root());
    }
}

TEST_P(FileTransfer, LocalSftpAccountTakesAndGivesFilesBelowItsHome) {
    ASSERT_NO_FATAL_FAILURE(configure({"db", "init"}));
    setParameters({"nobody", "x"}, "/", wrongPort, wrongPort);
    const std::string below = servers.makeFolder("for NEs");
    for (const FileUser& user : users) {
        SCOPED_TRACE(user.name);
        configure({"ftp", "account", "add", "Local SFTP Account", "--user", user.name, "--password-file", "-", "--port",
                   std::to_string(servers.sftpPort()), "--home", servers.root(), "--relative", "for NEs"},
                  user.password);
        expectFilesBothWays("sftp", chosen(&NEC::FTPAgent::GetCustomSFTPSvcByNEIP), below);
        configure({"ftp", "account", "remove", "Local SFTP Account"});
    }
}

TEST_P(FileTransfer, WrongPasswordIsRefused) {
    ASSERT_NO_FATAL_FAILURE(configure({"db", "init"}));
    setParameters({users[0].name, users[0].password + ' '}, servers.root(), servers.ftpPort(), servers.sftpPort());
    EXPECT_EQ(Client("sftp", chosen(&NEC::FTPAgent::GetSFTPSvcByNEIP)).upload("file", "x"), CURLE_LOGIN_DENIED);
    EXPECT_EQ(Client("ftp", chosen(&NEC::FTPAgent::GetFTPSvcByNEIP)).upload("file", "x"), CURLE_LOGIN_DENIED);
    EXPECT_FALSE(std::filesystem::exists(servers.root() + "/file"));
}
