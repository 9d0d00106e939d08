// necctl pnp receive, run in the test's own program: the embedded bus ends there, so only there it hears broadcasts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <future>
#include <iostream>
#include <sstream>

#include "commands.h"
#include "nec/pnp.h"
#include "process.h"
#include "signals.h"
#include "support/folder.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

// What is written to std::cout while it lives.
class Written {
public:
    Written() : before_(std::cout.rdbuf(text_.rdbuf())) {}
    ~Written() { std::cout.rdbuf(before_); }
    Written(const Written&) = delete;
    Written& operator=(const Written&) = delete;
    std::string text() const { return text_.str(); }

private:
    std::ostringstream text_;
    std::streambuf* before_;
};

class NecctlReceive : public testing::Test {
protected:
    NecctlReceive() {
        necctl::silenceLog();
        folder_.write("nec.toml", "[process]\ntype = 3005\nhandle = 7\n");
        good_ = folder_.write("pnp.xml", "<a/>\n");
        outside_ = folder_.write("b.xml", "<b/>\n");
    }

    // What the command writes, until it ends by itself, while files are published.
    std::string received(const std::string& options) const {
        const Written written;
        const auto command = std::async(std::launch::async, [&] {
            necctl::Options shared;
            CLI::App app;
            necctl::addSharedOptions(app, shared);
            necctl::addPnpCommands(app, shared);
            app.parse("--quiet --config " + folder_.file("nec.toml") + " pnp receive " + folder_.file("taken") + " " +
                      options);
        });
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (command.wait_for(std::chrono::milliseconds(10)) != std::future_status::ready) {
            if (std::chrono::steady_clock::now() > end) {
                ADD_FAILURE() << "it goes on";
                peers::EndSignals::raise();
                break;
            }
            publish();  // goes nowhere until the command is on the bus
        }
        command.wait();
        return written.text();
    }
    std::string taken(const std::string& name) const { return support::contentOf(folder_.file("taken/" + name)); }

    std::string outside_;

private:
    void publish() const {
        AsnPnpFileList files;
        files.Append()->fileName = good_;
        files.Append()->fileName = outside_;
        EXPECT_EQ(NEC::BoardcastPnpData({}, files), 0U);
    }

    const peers::EndSignals blocked_;  // before there is any thread that could be ended by one
    const support::Folder folder_;
    std::string good_;
};

}  // namespace

TEST_F(NecctlReceive, EndsAfterTheCountOfPackagesAndTellsOfEach) {
    const std::string text = received("--count 2");
    const std::string package = "package from 3005:7, 1 written, 1 refused\n  written  pnp.xml\n  refused  " +
                                outside_ + ": its name begins with a slash";
    EXPECT_THAT(text, StartsWith(package));
    EXPECT_THAT(text.substr(package.size()), HasSubstr(package));
    EXPECT_EQ(taken("pnp.xml"), "<a/>\n");
}

TEST_F(NecctlReceive, PackagesAreWrittenAsJsonOneALine) {
    std::istringstream lines(received("--json --count 2"));
    for (int i = 0; i < 2; ++i) {
        std::string line;
        ASSERT_TRUE(std::getline(lines, line));
        Json::Value json;
        std::istringstream(line) >> json;
        EXPECT_EQ(json["sender"], "3005:7");
        EXPECT_EQ(json["written"][0], "pnp.xml");
        EXPECT_EQ(json["refused"][0]["name"], outside_);
        EXPECT_THAT(json["refused"][0]["reason"].asString(), StartsWith("its name begins with a slash"));
    }
}
