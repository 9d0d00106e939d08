// The process's configuration: one TOML file, conventionally nec.toml.
//
//     [process]           # required
//     type   = 3001       # required, 1 to 65535: the process type
//     handle = 7          # required, 1 to 65535: which process of that type
//     desk   = 0          # 0 to 65535, default 0
//     [bus]
//     engine = "local"    # "local", the default: inside this program; "nats": between processes on any machines
//     # The rest is for "nats"; see platform/nats.h.
//     servers = ["nats://127.0.0.1:4222"]  # any of them, "nats://HOST:PORT" or "tls://HOST:PORT"; the default is this
//     system  = "nec"     # what all subjects begin with, default "nec"
//     user = "server"     # with password_file; or nkey with nkey_file, or credentials_file; default: none of them
//     password_file = "password"
//     nkey = "U..."       # the public key; nkey_file has its seed
//     nkey_file = "server.nk"
//     credentials_file = "server.creds"
//     ca_file = "ca.pem"  # authorities to trust with TLS, default "": those of the system
//     certificate_file = "server.pem"  # what this process shows with TLS, with key_file; default "": nothing
//     key_file = "server.key"
//     inbox = "_INBOX.server"  # where answers come, default "_INBOX.USER", without a user "_INBOX.TYPE_HANDLE"
//     pending_messages = 262144     # how many may wait for one sink, 200 to 1000000000
//     pending_octets   = 134217728  # and how large together, 67108864 to 2147483648
//     [events]
//     classic  = true     # whether the process has a classic event manager, default true
//     extended = true     # whether it has an extended one, default true
//     [log]
//     file  = ""          # default "": standard error
//     level = "info"      # "debug", "info", "error" or "off"
//     trace = true        # whether trace lines are written
//     [reliable]
//     file  = "outbox.db" # default "": no reliable channel
//     limit = 1000000     # how many messages may wait, 1 to 1000000000
//     [addresses]
//     south = "192.168.1.5;192.168.2.5"  # at which NEs reach this host, several separated by ";", default ""
//     host  = ["10.0.0.5"]  # IPv4 addresses of this host, default []: those of its interfaces
//     [http]
//     management_centre = "https://mc:31943"  # its REST endpoint, default "": none
//     services = "https://proxy:31943"        # the services behind the HTTP proxy, default: the management centre's
//     ca_file  = "ca.pem" # authorities to trust for https, default "": those of the system
//     [tasks]
//     managers = [0]      # numbers of the task managers, 0 to 255 each, default one: 0
//     [database]
//     url = "sqlite:nec.db"  # or "postgresql:PARAMETERS", as libpq takes them; default "": no database
//     connections = 4     # at most so many at once, 1 to 1000
//
// File names that are not absolute are taken from the folder of the configuration file.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/db.h"
#include "platform/event.h"
#include "platform/export.h"
#include "platform/http.h"
#include "platform/log.h"
#include "platform/nats.h"
#include "platform/reliable.h"
#include "platform/sysconfig.h"

namespace frame {

struct Config {
    struct OwnProcess {
        std::uint16_t type = 0;
        std::uint16_t handle = 0;
        std::uint16_t desk = 0;
    };
    OwnProcess process;
    std::string busEngine = "local";  // or "nats"
    NatsOptions nats;
    EventManagers::Options events;
    LogOptions log;
    ReliableOptions reliable;
    SysConfigOptions sysConfig;
    HttpOptions http;
    std::vector<unsigned char> taskManagers = {0};
    DatabaseOptions database;
};

// What is wrong with a configuration file: `what()` is "FILE:LINE: KEY: what was found; what was expected" (without
// LINE where the file cannot be read or a value is missing).
class FRAME_API ConfigError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Reads `file`. Throws ConfigError for a file that cannot be read or is no TOML, an unknown key, a value of a wrong
// type or out of range, and a missing value.
FRAME_API Config readConfig(const std::string& file);

}  // namespace frame
