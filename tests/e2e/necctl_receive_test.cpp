// necctl pnp receive, run in the test's own program: the embedded bus ends there, so only there it hears broadcasts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <filesystem>
#include <future>
#include <iostream>
#include <sstream>

#include "commands.h"
#include "nec/pnp.h"
#include "process.h"
#include "signals.h"
#include "support/folder.h"
#include "support/gate.h"

namespace {

using testing::StartsWith;

// What is written to std::cout while it lives. Whoever writes first is held until it is released.
class Written : private std::stringbuf {
public:
    Written() : std::stringbuf(std::ios::out), before_(std::cout.rdbuf(this)) {}
    ~Written() override { std::cout.rdbuf(before_); }
    Written(const Written&) = delete;
    Written& operator=(const Written&) = delete;

    bool begun() const { return begun_; }
    void release() { released_.open(); }
    std::string text() const { return str(); }

private:
    std::streamsize xsputn(const char* octets, std::streamsize count) override {
        begun_ = true;
        EXPECT_TRUE(released_.pass(std::chrono::seconds(60)));
        return std::stringbuf::xsputn(octets, count);
    }

    std::atomic<bool> begun_{false};
    support::Gate released_;
    std::streambuf* before_;
};

class NecctlReceive : public testing::Test {
protected:
    NecctlReceive() {
        necctl::silenceLog();
        folder_.write("nec.toml", "[process]\ntype = 3005\nhandle = 7\n");
        outside_ = folder_.write("b.xml", "<b/>\n");
    }

    // What the command writes until it ends by itself, when more packages wait for it than it is to take.
    std::string received(const std::string& options) {
        Written written;
        auto command = std::async(std::launch::async, [&] {
            necctl::Options shared;
            CLI::App app;
            necctl::addSharedOptions(app, shared);
            necctl::addPnpCommands(app, shared);
            app.parse("--quiet --config " + folder_.file("nec.toml") + " pnp receive " + folder_.file("taken") + " " +
                      options);
        });
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!written.begun() && std::chrono::steady_clock::now() < end &&
               command.wait_for(std::chrono::milliseconds(10)) != std::future_status::ready)
            publish();  // goes nowhere until the command is on the bus
        EXPECT_TRUE(written.begun());
        for (int i = 0; i < 20; ++i) publish();
        written.release();
        if (command.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
            ADD_FAILURE() << "it goes on";
            peers::EndSignals::raise();
        }
        command.get();
        return written.text();
    }
    // The names of the files that were written.
    std::vector<std::string> taken() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder_.file("taken")))
            names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::string outside_;

private:
    // A package with a file that no other has, and with one that is refused.
    void publish() {
        AsnPnpFileList files;
        files.Append()->fileName = folder_.write("pnp" + std::to_string(number_++) + ".xml", "<a/>\n");
        files.Append()->fileName = outside_;
        EXPECT_EQ(NEC::BoardcastPnpData({}, files), 0U);
    }

    const peers::EndSignals blocked_;  // before there is any thread that could be ended by one
    const support::Folder folder_;
    int number_ = 10000;  // of as many digits as those that follow
};

}  // namespace

TEST_F(NecctlReceive, EndsAfterTheCountOfPackagesAndTellsOfEach) {
    const std::string text = received("--count 2");
    const auto names = taken();
    EXPECT_EQ(names.size(), 2U);
    std::string expected;
    for (const std::string& name : names)
        expected += "package from 3005:7, 1 written, 1 refused\n  written  " + name + "\n  refused  " + outside_ +
                    ": its name begins with a slash; expected one below the folder\n";
    EXPECT_EQ(text, expected);
}

TEST_F(NecctlReceive, PackagesAreWrittenAsJsonOneALine) {
    std::istringstream lines(received("--json --count 2"));
    const auto names = taken();
    EXPECT_EQ(names.size(), 2U);
    std::string line;
    for (const std::string& name : names) {
        ASSERT_TRUE(std::getline(lines, line));
        Json::Value json;
        std::istringstream(line) >> json;
        EXPECT_EQ(json["sender"], "3005:7");
        EXPECT_EQ(json["written"][0], name);
        EXPECT_EQ(json["refused"][0]["name"], outside_);
        EXPECT_THAT(json["refused"][0]["reason"].asString(), StartsWith("its name begins with a slash"));
    }
    EXPECT_FALSE(std::getline(lines, line)) << line;
}
