// Passwords of services stand in the database and nowhere else: not in logs, outputs or journals, nor in the memory of
// the process that handed them on, which is what a core image would hold.
#include <fcntl.h>
#include <unistd.h>

#include "engines.h"
#include "necctl_fixture.h"
#include "support/memory_regions.h"

namespace {

using support::Child;
using testing::UnorderedElementsAre;

// One fills a block of its own, the other stands inside the object.
const std::string longPassword = "canary-of-the-whole-system-" + std::string(200, 'w') + "-its-end";
const std::string shortPassword = "canary-local";

// Whether `text` stands in the memory of the process.
bool standsInMemory(pid_t pid, const std::string& text) {
    const std::string process = std::to_string(pid);
    const int memory = open(("/proc/" + process + "/mem").c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_NE(memory, -1);
    bool found = false;
    for (const support::MemoryRegion& region : support::writableMemory(process)) {
        std::string content(region.end - region.begin, '\0');
        const ssize_t got = pread(memory, content.data(), content.size(), static_cast<off_t>(region.begin));
        found = found || (got > 0 && content.find(text) != std::string::npos);
    }
    close(memory);
    return found;
}

class Passwords : public Necctl, public testing::WithParamInterface<const char*> {
protected:
    Passwords() {
        folder.write(
            "nec.toml",
            "[process]\ntype = 3005\nhandle = 7\n[log]\nfile = \"server.log\"\nlevel = \"debug\"\ntrace = true\n"
            "[database]\nurl = \"sqlite:nec.db\"\n[addresses]\nsouth = \"10.1.1.1;10.1.1.2\"\n" +
                e2e::busOn(GetParam()));
        run({"db", "init"});
        run({"ftp", "params", "set", "--user", "nec", "--root", "/ftp", "--password-file",
             folder.write("long", longPassword)});
        run({"ftp", "account", "add", "Local SFTP Account", "--user", "local", "--port", "22", "--home", "/home",
             "--relative", "pnp", "--password-file", folder.write("short", shortPassword)});
        for (const char* file : {"long", "short"}) std::filesystem::remove(folder.file(file));
    }

    // Runs necctl, and keeps what it wrote.
    void run(std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"--config", folder.file("nec.toml")});
        const support::Outcome outcome = necctl(arguments);
        EXPECT_EQ(outcome.exitStatus, 0) << outcome.err;
        written_ += outcome.out + outcome.err;
    }
    // The names of the files that hold either password.
    std::vector<std::string> filesThatHoldThem() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.file("."))) {
            const std::string content = support::contentOf(entry.path().string());
            if (content.find("canary-") != std::string::npos) names.push_back(entry.path().filename().string());
        }
        return names;
    }

    std::string written_;
};

INSTANTIATE_TEST_SUITE_P(On, Passwords, e2e::engines, e2e::nameOfEngine);

TEST_P(Passwords, StandInTheDatabaseAndNowhereElse) {
    Child server({FTP_ASKER, folder.file("nec.toml")});
    ASSERT_TRUE(server.waitForOutput("asked\n"));
    for (const std::string& password : {longPassword.substr(20), longPassword.substr(150), shortPassword})
        EXPECT_FALSE(standsInMemory(server.pid(), password)) << password.size();
    EXPECT_TRUE(standsInMemory(server.pid(), "/ftp"));  // what is no secret is found
    // While the server has the database open, others write it and ask.
    run({"ftp", "params", "set", "--root", "/other"});
    run({"ftp", "account", "add", "another", "--user", "local", "--port", "22", "--home", "/home", "--relative", "pnp",
         "--password-file", folder.write("short", shortPassword)});
    std::filesystem::remove(folder.file("short"));
    run({"ftp", "params", "show"});
    run({"ftp", "params", "show", "--json"});
    run({"ftp", "account", "list"});
    for (const char* kind : {"ftp", "sftp", "custom-sftp"})
        run({"ftp", "service", "10.2.3.4", "--kind", kind, "--explain", "--json"});
    EXPECT_THAT(filesThatHoldThem(), UnorderedElementsAre("nec.db"));
    server.signal(SIGTERM);
    const support::Outcome ended = server.wait();
    EXPECT_EQ((written_ + ended.out + ended.err).find("canary-"), std::string::npos);
    EXPECT_NE(support::contentOf(folder.file("server.log")).find("GetFtpInfoFromFtpWatcher"), std::string::npos);
    EXPECT_THAT(filesThatHoldThem(), UnorderedElementsAre("nec.db"));
}

}  // namespace
