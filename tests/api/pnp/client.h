// A client of broadcasts, beside the process that sends them.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "nec/pnp.h"
#include "nec/records.h"
#include "platform/bus.h"
#include "platform/log.h"
#include "support/folder.h"
#include "support/mailbox.h"

// A file as a client gets it.
struct GotFile {
    std::string name;
    int length = 0;
    std::string content;

    friend bool operator==(const GotFile& a, const GotFile& b) {
        return a.name == b.name && a.length == b.length && a.content == b.content;
    }
    friend std::ostream& operator<<(std::ostream& os, const GotFile& file) {
        return os << file.name.substr(0, 200) << " " << file.length << " \"" << file.content.substr(0, 100) << '"';
    }
};

using GotFiles = std::vector<GotFile>;

class WithClient : public testing::Test {
protected:
    static constexpr std::uint32_t command = 4193191;
    static constexpr std::uint16_t target = 3003;

    WithClient() {
        frame::LogOptions none;
        none.level = frame::LogLevel::off;
        none.trace = false;
        frame::openLog(none, own_->address().procType, own_->address().procHandle);
    }
    ~WithClient() override { frame::closeLog(); }

    static AsnPnpFileList listOf(const std::vector<std::string>& paths) {
        AsnPnpFileList files;
        for (const std::string& path : paths) files.Append()->fileName = path;
        return files;
    }
    static std::uint32_t publish(const std::vector<std::string>& paths) {
        AsnPnpFileList files = listOf(paths);
        return NEC::BoardcastPnpData({}, files);
    }

    // The next package that the client gets.
    std::optional<GotFiles> got() {
        const auto message = messages_.take();
        AsnClientGetPnpRsp package;
        if (!message || !message->decode(package)) return std::nullopt;
        EXPECT_EQ(message->command, command);
        EXPECT_EQ(message->sender, own_->address());
        EXPECT_EQ(package.iResult, 0);
        EXPECT_EQ(package.packageSum, 1);
        GotFiles files;
        for (const auto* node = package.pnpFileList.first; node != nullptr; node = node->next) {
            const AsnPnpFile& file = *node->element;
            files.push_back(
                {file.fileName.str(), file.fileLen, file.fileContent ? file.fileContent->str() : "no content"});
        }
        return files;
    }
    // Whether nothing came before what is sent now.
    bool nothingCame() {
        EXPECT_EQ(publish({}), 0U);
        return got() == GotFiles();
    }

    const support::Folder folder_;

private:
    frame::LocalBus bus_;
    std::unique_ptr<frame::BusEngine> own_ = bus_.connect({3005, 7});
    std::unique_ptr<frame::BusEngine> client_ = bus_.connect({3003, 1});
    frame::Messages sending_{*own_};
    support::Mailbox<frame::BroadcastMessage> messages_;
    frame::Subscription receiving_ =
        client_->subscribeBroadcast(target, [this](const frame::BroadcastMessage& message) { messages_.put(message); });
};
