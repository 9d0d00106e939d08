// Running "necctl bus" as a process of a system, against a server.
#pragma once

#include <json/json.h>

#include <sstream>

#include "e2e/nats_site.h"
#include "e2e/necctl_fixture.h"

class NecctlBus : public Necctl {
protected:
    // The configuration of a process, whose [bus] has `lines`; returns the file.
    std::string configure(const std::string& process, const std::string& lines, const std::string& rest = {}) const {
        return folder.write("nec.toml", "[process]\n" + process + "[bus]\nengine = \"nats\"\n" + lines + rest);
    }
    static std::string servers(const std::string& url) { return "servers = [\"" + url + "\"]\n"; }
    // What a process says of itself to a server with the configuration that is shipped.
    std::string identity(const nats_client::Site& site, const std::string& user, const std::string& password) const {
        const support::Certificate shown = site.certificates().good();
        return "user = \"" + user + "\"\npassword_file = \"" + folder.write(user, password) + "\"\nca_file = \"" +
               site.certificates().authorityFile() + "\"\ncertificate_file = \"" + shown.file + "\"\nkey_file = \"" +
               shown.keyFile + "\"\n";
    }
    std::string as(const nats_client::Site& site, const std::string& user, const std::string& process) const {
        return configure(process, servers(site.server().url()) + identity(site, user, nats_client::passwordOf(user)));
    }

    static support::Outcome bus(const std::string& config, std::vector<std::string> words) {
        words.insert(words.begin(), {"--config", config, "bus"});
        return necctl(words);
    }
    static Json::Value jsonOf(const support::Outcome& outcome) {
        Json::Value json;
        std::istringstream(outcome.out) >> json;
        return json;
    }
    // Certificates of tests live for a day.
    static support::Outcome check(const std::string& config) {
        return bus(config, {"check", "--certificate-days", "0"});
    }
    // What a check must call wrong, a line of it.
    static void expectWrong(const std::string& config, const std::string& line) {
        const support::Outcome outcome = check(config);
        EXPECT_EQ(outcome.exitStatus, 1) << outcome.out << outcome.err;
        EXPECT_THAT(outcome.out, testing::ContainsRegex("wrong        [^\n]*" + line));
    }
};

inline const std::string operatorProcess = "type = 3006\nhandle = 9\n";
inline const std::string managerProcess = "type = 3002\nhandle = 7\n";
