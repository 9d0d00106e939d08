// necctl as separate programs on a server with the roles that are shipped: one listens, others announce.
#pragma once

#include <json/json.h>

#include <sstream>

#include "e2e/nats_site.h"
#include "e2e/necctl_fixture.h"

class NecctlOnSite : public Necctl {
protected:
    NecctlOnSite() { answer({"--config", configOf("administrator", "type = 3006\nhandle = 99\n"), "bus", "setup"}); }

    // The configuration of a process with the role of `user`.
    std::string configOf(const std::string& user, const std::string& address, const std::string& more = {}) const {
        const frame::NatsOptions bus = site.processOptions(user, {site.server().url()});
        std::string text =
            "[process]\n" + address + "[bus]\nengine = \"nats\"\nservers = [\"" + bus.servers[0] + "\"]\n";
        const auto add = [&text](const char* key, const std::string& value) {
            text.append(key).append(" = \"").append(value).append("\"\n");
        };
        add("user", bus.user);
        add("password_file", bus.passwordFile);
        add("ca_file", bus.caFile);
        add("certificate_file", bus.certificateFile);
        add("key_file", bus.keyFile);
        return folder.write(user + ".toml", text + more);
    }
    std::string operatorConfig() const { return configOf("operator", "type = 3006\nhandle = 1\n"); }
    std::string managerConfig() const {
        return configOf("ne_manager", "type = 3002\nhandle = 7\n",
                        "[reliable]\nfile = \"" + folder.file("outbox") + "\"\n");
    }
    // As the NE manager.
    void announce(std::vector<std::string> words) const {
        words.insert(words.begin(), {"--config", managerConfig()});
        EXPECT_EQ(answer(words), "");
    }

    nats_client::Site site;
};

// One who listens: what it says and what it writes come as one text.
class Listening {
public:
    Listening(const std::string& config, const std::vector<std::string>& words) : child_(command(config, words)) {
        EXPECT_TRUE(child_.waitForOutput("necctl: listening\n")) << child_.out();
    }

    [[nodiscard]] bool hears(const std::string& text) { return child_.waitForOutput(text); }
    // What it wrote from the beginning of its listening on, when it ends by itself.
    std::string rest(int status = 0) {
        const support::Outcome outcome = child_.wait();
        EXPECT_EQ(outcome.exitStatus, status) << outcome.out;
        const std::string_view begin = "necctl: listening\n";
        return outcome.out.substr(outcome.out.find(begin) + begin.size());
    }
    std::vector<Json::Value> objects() {
        std::istringstream lines(rest());
        std::vector<Json::Value> all;
        for (std::string line; std::getline(lines, line);) std::istringstream(line) >> all.emplace_back();
        return all;
    }
    void signal(int number) { child_.signal(number); }

private:
    static std::vector<std::string> command(const std::string& config, const std::vector<std::string>& words) {
        std::vector<std::string> all{"sh", "-c", "exec \"$0\" \"$@\" 2>&1", NECCTL, "--config", config, "listen"};
        all.insert(all.end(), words.begin(), words.end());
        return all;
    }

    support::Child child_;
};
