// The configuration file: every key, and what is said of every mistake.
#include "platform/config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/folder.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const std::string process = "[process]\ntype = 3001\nhandle = 7\n";

class ConfigFile : public testing::Test {
protected:
    frame::Config read(const std::string& text) const { return frame::readConfig(folder.write("nec.toml", text)); }
    // What is said of `text`, without the file's name.
    std::string errorOf(const std::string& text) const {
        try {
            read(text);
        } catch (const frame::ConfigError& error) {
            const std::string file = folder.file("nec.toml");
            EXPECT_THAT(error.what(), StartsWith(file + ":"));
            return std::string(error.what()).substr(file.size() + 1);
        }
        ADD_FAILURE() << "accepted: " << text;
        return {};
    }

    support::Folder folder;
};

TEST_F(ConfigFile, DefaultsFillWhatIsLeftOut) {
    const frame::Config config = read(process);
    EXPECT_EQ(config.process.type, 3001);
    EXPECT_EQ(config.process.handle, 7);
    EXPECT_EQ(config.process.desk, 0);
    EXPECT_EQ(config.busEngine, "local");
    EXPECT_EQ(config.nats.servers, std::vector<std::string>{"nats://127.0.0.1:4222"});
    EXPECT_EQ(config.nats.system, "nec");
    EXPECT_EQ(config.nats.user, "");
    EXPECT_TRUE(config.events.classic);
    EXPECT_TRUE(config.events.extended);
    EXPECT_EQ(config.log.file, "");
    EXPECT_EQ(config.log.level, frame::LogLevel::info);
    EXPECT_TRUE(config.log.trace);
    EXPECT_EQ(config.reliable.file, "");
    EXPECT_EQ(config.reliable.limit, 1'000'000U);
    EXPECT_EQ(config.reliable.hold, std::chrono::minutes(2));
    EXPECT_EQ(config.sysConfig.south, "");
    EXPECT_EQ(config.sysConfig.managementCentre, "");
    EXPECT_TRUE(config.sysConfig.hosts.empty());
    EXPECT_EQ(config.http.services, "");
    EXPECT_EQ(config.http.caFile, "");
    EXPECT_EQ(config.taskManagers, std::vector<unsigned char>{0});
    EXPECT_EQ(config.database.url, "");
    EXPECT_EQ(config.database.connections, 4U);
}

TEST_F(ConfigFile, EveryKeyIsTaken) {
    const frame::Config config = read(
        "[process]\ntype = 1\nhandle = 65535\ndesk = 9\n[bus]\nengine = \"local\"\n"
        "[events]\nclassic = false\nextended = false\n[log]\nfile = \"/var/log/nec.log\"\nlevel = \"error\"\n"
        "trace = false\n[reliable]\nfile = \"/var/lib/outbox.db\"\nlimit = 1000000000\nhold = 86400\n"
        "[addresses]\nsouth = \"10.0.0.1;;10.0.0.2\"\nhost = [\"10.0.0.5\", \"0.0.0.0\"]\n[http]\nmanagement_centre = "
        "\"https://mc:31943\"\n"
        "services = \"http://[::1]:80\"\nca_file = \"/etc/ca.pem\"\n"
        "[tasks]\nmanagers = [7, 0, 255]\n[database]\nurl = \"sqlite:/var/lib/nec.db\"\nconnections = 1\n");
    EXPECT_EQ(config.process.type, 1);
    EXPECT_EQ(config.process.handle, 65535);
    EXPECT_EQ(config.process.desk, 9);
    EXPECT_FALSE(config.events.classic);
    EXPECT_FALSE(config.events.extended);
    EXPECT_EQ(config.log.file, "/var/log/nec.log");
    EXPECT_EQ(config.log.level, frame::LogLevel::error);
    EXPECT_FALSE(config.log.trace);
    EXPECT_EQ(config.reliable.file, "/var/lib/outbox.db");
    EXPECT_EQ(config.reliable.limit, 1'000'000'000U);
    EXPECT_EQ(config.reliable.hold, std::chrono::hours(24));
    EXPECT_EQ(config.sysConfig.south, "10.0.0.1;;10.0.0.2");
    EXPECT_EQ(config.sysConfig.managementCentre, "https://mc:31943");
    EXPECT_EQ(config.sysConfig.hosts, (std::vector<std::string>{"10.0.0.5", "0.0.0.0"}));
    EXPECT_EQ(config.http.services, "http://[::1]:80");
    EXPECT_EQ(config.http.caFile, "/etc/ca.pem");
    EXPECT_EQ(config.taskManagers, (std::vector<unsigned char>{7, 0, 255}));
    EXPECT_EQ(config.database.url, "sqlite:/var/lib/nec.db");
    EXPECT_EQ(config.database.connections, 1U);
}

TEST_F(ConfigFile, ProcessMayDoWithoutTaskManagers) {
    EXPECT_TRUE(read(process + "[tasks]\nmanagers = []\n").taskManagers.empty());
}

TEST_F(ConfigFile, TaskManagersAreDifferentNumbersOfOneOctet) {
    for (const char* managers : {"1", "[256]", "[-1]", "[1, 1]", "[\"1\"]", "[[1]]"}) {
        EXPECT_THAT(errorOf(process + "[tasks]\nmanagers = " + managers),
                    EndsWith("; expected an array of different numbers from 0 to 255"));
    }
}

TEST_F(ConfigFile, HostsOwnAddressesAreAnArrayOfDottedQuads) {
    EXPECT_TRUE(read(process + "[addresses]\nhost = []\n").sysConfig.hosts.empty());
    const std::string expected = "; expected an array of IPv4 addresses in dotted-quad form";
    for (const auto& [host, found] :
         {std::pair{"\"10.0.0.5\"", "\"10.0.0.5\""}, std::pair{"[10]", "10"}, std::pair{"[[]]", "an array"},
          std::pair{"[\"\"]", "\"\""}, std::pair{"[\"10.0.0\"]", "\"10.0.0\""},
          std::pair{"[\"10.0.0.256\"]", "\"10.0.0.256\""}, std::pair{"[\" 10.0.0.5\"]", "\" 10.0.0.5\""},
          std::pair{"[\"10.0.0.5\\u0000\"]", "\"10.0.0.5\\x00\""}, std::pair{"[\"::1\"]", "\"::1\""},
          std::pair{"[\"10.0.0.5;10.0.0.6\"]", "\"10.0.0.5;10.0.0.6\""}}) {
        EXPECT_EQ(errorOf(process + "[addresses]\nhost = " + host),
                  "5: addresses.host: " + std::string(found) + expected);
    }
    EXPECT_EQ(errorOf(process + "[addresses]\nhost = [\n  \"10.0.0.5\",\n  \"host\"]"),
              "7: addresses.host: \"host\"" + expected);
    EXPECT_EQ(errorOf(process + "[addresses]\nhosts = []"),
              "5: addresses.hosts: unknown key; expected one of: south, host");
}

TEST_F(ConfigFile, DatabaseFileIsTakenFromTheFolderOfTheFile) {
    EXPECT_EQ(read(process + "[database]\nurl = \"sqlite:nec.db\"\n").database.url, "sqlite:" + folder.file("nec.db"));
    const std::string parameters = "postgresql:host=db password=secret";
    EXPECT_EQ(read(process + "[database]\nurl = \"" + parameters + "\"\n").database.url, parameters);
}

TEST_F(ConfigFile, DatabaseOfAnotherKindIsRefusedAndNotShown) {
    EXPECT_EQ(errorOf(process + "[database]\nurl = \"mysql:password=secret\""),
              "5: database.url: another text; expected sqlite:FILE or postgresql:PARAMETERS");
}

TEST_F(ConfigFile, ServicesStandAtTheManagementCentreUnlessTheyAreElsewhere) {
    const frame::Config config = read(process + "[http]\nmanagement_centre = \"http://mc\"\n");
    EXPECT_EQ(config.http.services, "http://mc");
}

TEST_F(ConfigFile, UrlThatIsNoBaseAddressIsRefusedAndNotShown) {
    const std::string text = std::string(301, 'h');
    for (const std::string& url : {std::string("mc:80"), std::string("ftp://mc"), std::string("http://mc/"),
                                   std::string("http://user:secret@mc"), std::string("http://mc:123456"),
                                   std::string("http://mc:65536"), std::string("http://"), "http://" + text}) {
        EXPECT_EQ(errorOf(process + "[http]\nservices = \"" + url + "\""),
                  "5: http.services: another text; expected http://HOST:PORT or https://HOST:PORT");
    }
}

TEST_F(ConfigFile, EveryLogLevelHasItsName) {
    for (const auto& [name, level] :
         {std::pair{"debug", frame::LogLevel::debug}, std::pair{"info", frame::LogLevel::info},
          std::pair{"error", frame::LogLevel::error}, std::pair{"off", frame::LogLevel::off}}) {
        EXPECT_EQ(read(process + "[log]\nlevel = \"" + name + "\"\n").log.level, level);
    }
}

TEST_F(ConfigFile, FileNamesAreTakenFromTheFolderOfTheFile) {
    const frame::Config config = read(process + "[log]\nfile = \"nec.log\"\n[reliable]\nfile = \"../outbox.db\"\n");
    EXPECT_EQ(config.log.file, folder.file("nec.log"));
    EXPECT_EQ(config.reliable.file, folder.file("../outbox.db"));
}

TEST_F(ConfigFile, EveryKeyOfTheDistributedBusIsTaken) {
    const frame::Config config =
        read(process +
             "[bus]\nengine = \"nats\"\nservers = [\"nats://a:1\", \"tls://[::1]:4222\"]\nsystem = \"site.one\"\n"
             "user = \"server\"\npassword_file = \"/etc/password\"\nca_file = \"ca.pem\"\n"
             "certificate_file = \"/etc/own.pem\"\nkey_file = \"/etc/own.key\"\ninbox = \"_INBOX.mine\"\n"
             "pending_messages = 200\npending_octets = 2147483648\n");
    EXPECT_EQ(config.busEngine, "nats");
    EXPECT_EQ(config.nats.servers, (std::vector<std::string>{"nats://a:1", "tls://[::1]:4222"}));
    EXPECT_EQ(config.nats.system, "site.one");
    EXPECT_EQ(config.nats.user, "server");
    EXPECT_EQ(config.nats.passwordFile, "/etc/password");
    EXPECT_EQ(config.nats.caFile, folder.file("ca.pem"));
    EXPECT_EQ(config.nats.certificateFile, "/etc/own.pem");
    EXPECT_EQ(config.nats.keyFile, "/etc/own.key");
    EXPECT_EQ(config.nats.inbox, "_INBOX.mine");
    EXPECT_EQ(config.nats.pendingMessages, 200U);
    EXPECT_EQ(config.nats.pendingOctets, std::size_t{1} << 31U);
    const frame::Config withKey = read(process + "[bus]\nnkey = \"UA\"\nnkey_file = \"/etc/seed\"\n");
    EXPECT_EQ(withKey.nats.nkey, "UA");
    EXPECT_EQ(withKey.nats.nkeyFile, "/etc/seed");
    EXPECT_EQ(read(process + "[bus]\ncredentials_file = \"/etc/creds\"\n").nats.credentialsFile, "/etc/creds");
}

struct Mistake {
    std::string text;   // after the three lines of [process], unless it has them itself
    std::string error;  // after the file's name and a colon
};

TEST_F(ConfigFile, WrongTypeIsToldWithLineKeyAndWhatWasExpected) {
    const Mistake mistakes[] = {
        {"[process]\ntype = \"x\"\nhandle = 7", "2: process.type: \"x\"; expected a number from 1 to 65535"},
        {"[process]\ntype = 1\nhandle = true", "3: process.handle: true; expected a number from 1 to 65535"},
        {process + "desk = 1.5", "4: process.desk: a floating-point number; expected a number from 0 to 65535"},
        {process + "[bus]\nengine = 1", "5: bus.engine: 1; expected one of: local, nats"},
        {process + "[events]\nclassic = 1", "5: events.classic: 1; expected true or false"},
        {process + "[events]\nextended = []", "5: events.extended: an array; expected true or false"},
        {process + "[log]\nfile = 1979-05-27", "5: log.file: a date or time; expected a file name"},
        {process + "[log]\nlevel = {}", "5: log.level: a table; expected one of: debug, info, error, off"},
        {process + "[log]\ntrace = \"yes\"", "5: log.trace: \"yes\"; expected true or false"},
        {process + "[addresses]\nsouth = [\"10.0.0.1\"]", "5: addresses.south: an array; expected a text"},
        {process + "[http]\nca_file = 1", "5: http.ca_file: 1; expected a file name"},
        {process + "[http]\nmanagement_centre = 1",
         "5: http.management_centre: 1; expected http://HOST:PORT or https://HOST:PORT"},
        {process + "[reliable]\nfile = false", "5: reliable.file: false; expected a file name"},
        {process + "[reliable]\nlimit = \"1\"", "5: reliable.limit: \"1\"; expected a number from 1 to 1000000000"},
        {"process = 1", "1: process: 1; expected a table"},
        {"log = \"x\"\n" + process, "1: log: \"x\"; expected a table"},
        {"[[process]]\ntype = 1", "1: process: an array; expected a table"},
    };
    for (const Mistake& mistake : mistakes) EXPECT_EQ(errorOf(mistake.text), mistake.error);
}

TEST_F(ConfigFile, ValueOutOfRangeIsTold) {
    const Mistake mistakes[] = {
        {"[process]\ntype = 0\nhandle = 7", "2: process.type: 0; expected a number from 1 to 65535"},
        {"[process]\ntype = 65536\nhandle = 7", "2: process.type: 65536; expected a number from 1 to 65535"},
        {"[process]\ntype = 1\nhandle = 0", "3: process.handle: 0; expected a number from 1 to 65535"},
        {"[process]\ntype = 1\nhandle = -1", "3: process.handle: -1; expected a number from 1 to 65535"},
        {process + "desk = 65536", "4: process.desk: 65536; expected a number from 0 to 65535"},
        {process + "[bus]\nengine = \"NATS\"", "5: bus.engine: \"NATS\"; expected one of: local, nats"},
        {process + "[bus]\npending_messages = 199",
         "5: bus.pending_messages: 199; expected a number from 200 to 1000000000"},
        {process + "[bus]\npending_octets = 67108863",
         "5: bus.pending_octets: 67108863; expected a number from 67108864 to 2147483648"},
        {process + "[log]\nlevel = \"INFO\"", "5: log.level: \"INFO\"; expected one of: debug, info, error, off"},
        {process + "[log]\nfile = \"a\\u0000b\"", "5: log.file: \"a\\x00b\"; expected a file name without NUL"},
        {process + "[reliable]\nhold = 0", "5: reliable.hold: 0; expected a number from 1 to 86400"},
        {process + "[reliable]\nlimit = 0", "5: reliable.limit: 0; expected a number from 1 to 1000000000"},
        {process + "[reliable]\nlimit = 1000000001",
         "5: reliable.limit: 1000000001; expected a number from 1 to 1000000000"},
    };
    for (const Mistake& mistake : mistakes) EXPECT_EQ(errorOf(mistake.text), mistake.error);
    EXPECT_THAT(errorOf("[process]\ntype = 99999999999999999999\nhandle = 7"), StartsWith("2: process.type: "));
}

TEST_F(ConfigFile, WrongServerOrIdentityOnTheDistributedBusIsTold) {
    const std::string bus = process + "[bus]\n";
    const std::string servers = "; expected an array of one or more nats://HOST:PORT or tls://HOST:PORT";
    const std::string subject = "; expected letters, digits, _ and -, in parts separated by dots";
    const std::string inbox = subject + ", neither \"nec\" nor \"from\" nor below them";
    const Mistake mistakes[] = {
        {bus + "servers = \"nats://a:1\"", "5: bus.servers: \"nats://a:1\"" + servers},
        {bus + "servers = []", "5: bus.servers: an array" + servers},
        {bus + "servers = [\"nats://a:1\", 1]", "5: bus.servers: 1" + servers},
        {bus + "servers = [\"nats://user:secret@a:1\"]", "5: bus.servers: another text" + servers},
        {bus + "servers = [\"nats://a\"]", "5: bus.servers: another text" + servers},
        {bus + "servers = [\"nats://a:65536\"]", "5: bus.servers: another text" + servers},
        {bus + "system = \"a.>\"", "5: bus.system: another text" + subject},
        {bus + "system = \"\"", "5: bus.system: another text" + subject},
        {bus + "inbox = 1", "5: bus.inbox: 1" + inbox},
        {bus + "inbox = \"nec\"", "5: bus.inbox: another text" + inbox},
        {bus + "inbox = \"nec.answers\"", "5: bus.inbox: another text" + inbox},
        {bus + "inbox = \"from.x\"", "5: bus.inbox: another text" + inbox},
        {bus + "user = \"a\"", "5: bus.user: alone; expected bus.password_file too"},
        {bus + "password_file = \"a\"", "5: bus.password_file: alone; expected bus.user too"},
        {bus + "nkey_file = \"a\"", "5: bus.nkey_file: alone; expected bus.nkey too"},
        {bus + "key_file = \"a\"", "5: bus.key_file: alone; expected bus.certificate_file too"},
        {bus + "nkey = \"U\"\ncredentials_file = \"a\"",
         "6: bus.credentials_file: beside bus.nkey; expected one of: user, nkey, credentials_file"},
    };
    for (const Mistake& mistake : mistakes) EXPECT_EQ(errorOf(mistake.text), mistake.error);
}

TEST_F(ConfigFile, UnknownKeyIsToldWithTheKnownOnes) {
    const Mistake mistakes[] = {
        {process + "typ = 1", "4: process.typ: unknown key; expected one of: type, handle, desk"},
        {process + "[bus]\nport = 1",
         "5: bus.port: unknown key; expected one of: engine, servers, system, user, password_file, nkey, nkey_file, "
         "credentials_file, ca_file, certificate_file, key_file, inbox, pending_messages, pending_octets"},
        {process + "[events]\nfoo = 1", "5: events.foo: unknown key; expected one of: classic, extended"},
        {process + "[log]\nlevle = 1", "5: log.levle: unknown key; expected one of: file, level, trace"},
        {process + "[reliable]\nfiel = 1", "5: reliable.fiel: unknown key; expected one of: file, limit, hold"},
        {process + "[process.more]\nx = 1", "4: process.more: unknown key; expected one of: type, handle, desk"},
        {process + "[databases]",
         "4: databases: unknown table; expected one of: process, bus, events, log, reliable, "
         "addresses, http, tasks, database"},
        {"type = 1",
         "1: type: unknown table; expected one of: process, bus, events, log, reliable, "
         "addresses, http, tasks, database"},
        {process + "\"a\\nb\" = 1", "4: process.a\\nb: unknown key; expected one of: type, handle, desk"},
    };
    for (const Mistake& mistake : mistakes) EXPECT_EQ(errorOf(mistake.text), mistake.error);
}

TEST_F(ConfigFile, FirstOfSeveralUnknownKeysIsTold) {
    EXPECT_THAT(errorOf(process + "z = 1\ny = 1\nx = 1"), StartsWith("4: process.z: "));
    EXPECT_THAT(errorOf("process = {b = 1, a = 1}"), StartsWith("1: process.a: "));
}

TEST_F(ConfigFile, MissingValueIsToldWithoutALine) {
    EXPECT_EQ(errorOf(""), " process.type: missing; expected a number from 1 to 65535");
    EXPECT_EQ(errorOf("[process]\nhandle = 7"), " process.type: missing; expected a number from 1 to 65535");
    EXPECT_EQ(errorOf("[process]\ntype = 7"), " process.handle: missing; expected a number from 1 to 65535");
}

TEST_F(ConfigFile, WhatIsNoTomlIsToldWithItsLine) {
    EXPECT_EQ(errorOf(process + "x"), "4: missing key-value separator `=`; expected TOML");
    for (const char* wrong :
         {"desk = ", "desk = 1 2", "type = 1", "[process]", "[", "= 1", "desk = \"a", "desk = 'a\n'"}) {
        EXPECT_THAT(errorOf(process + wrong), EndsWith("; expected TOML")) << wrong;
    }
    EXPECT_THAT(errorOf(std::string("\0\0\0\0", 4)), EndsWith("; expected TOML"));
    EXPECT_THAT(errorOf("\xFF\xFE[process]"), EndsWith("; expected TOML"));
}

TEST_F(ConfigFile, LongTextIsShortenedInAnError) {
    EXPECT_EQ(errorOf(process + "[log]\nlevel = \"" + std::string(100000, 'x') + "\""),
              "5: log.level: \"" + std::string(60, 'x') + "...\"; expected one of: debug, info, error, off");
}

TEST_F(ConfigFile, DeepNestingIsRefused) {
    std::string dotted = "a";
    for (int i = 0; i < 100'000; ++i) dotted += ".a";
    const std::string brackets(100'000, '[');
    for (const std::string& line : {"a = " + brackets, brackets, dotted + " = 1", "[" + dotted + "]"}) {
        EXPECT_EQ(errorOf(process + line), "4: nested too deep; expected at most 16 levels");
    }
}

TEST_F(ConfigFile, FileOfMoreThanOneMebioctetIsRefused) {
    std::string text = process + "#";
    text.resize(1U << 20U, 'x');
    EXPECT_EQ(read(text).process.type, 3001);
    EXPECT_EQ(errorOf(text + "x"), " larger than 1 MiB; expected at most 1 MiB");
    EXPECT_THROW(frame::readConfig("/dev/zero"), frame::ConfigError);
}

TEST_F(ConfigFile, EveryPrefixOfAFileIsReadOrRefused) {
    const std::string text = process + "[log]\nfile = \"a\\u00e9\"\nlevel = 'info'\n[reliable]\nlimit = 5_0 # limit\n";
    for (std::size_t size = 0; size < text.size(); ++size) {
        try {
            read(text.substr(0, size));
        } catch (const frame::ConfigError&) {
            continue;
        }
    }
}

TEST_F(ConfigFile, FileThatCannotBeReadIsNamedWithTheReason) {
    for (const auto& [file, reason] :
         {std::pair{folder.file("none.toml"), "No such file"}, std::pair{folder.file(""), "directory"}}) {
        try {
            frame::readConfig(file);
            ADD_FAILURE() << file;
        } catch (const frame::ConfigError& error) {
            EXPECT_THAT(error.what(), StartsWith(file + ": cannot be read: "));
            EXPECT_THAT(error.what(), HasSubstr(reason));
        }
    }
}

}  // namespace
