// A NATS server as a site runs it: with the configuration that is shipped, and the two files that a site writes.
#pragma once

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "nats_client.h"
#include "platform/nats.h"
#include "support/certificates.h"
#include "support/folder.h"
#include "support/nats_server.h"

namespace nats_client {

enum Role : unsigned {
    nobody = 0,
    managementCentre = 1,
    neManager = 2,
    trapDispatcher = 4,
    pnpClient = 8,
    eventListener = 16,
    commandLine = 32,
    administrator = 64,
};

struct User {
    Role role;
    std::string name;
};
inline void PrintTo(const User& user, std::ostream* stream) {
    *stream << user.name;
}
inline const std::vector<User> users = {
    {managementCentre, "management_centre"}, {neManager, "ne_manager"},
    {trapDispatcher, "trap_dispatcher"},     {pnpClient, "pnp_client"},
    {eventListener, "event_listener"},       {commandLine, "operator"},
    {administrator, "administrator"},
};

inline std::string passwordOf(const std::string& user) {
    return "it's the pass#word of " + user;
}

// Lines of site.conf of a node that joins at `port`, or of the first one, which finds nobody there.
inline std::string routeTo(int port, const std::string& password = "route%20password") {
    return "cluster_listen: \"127.0.0.1:-1\"\ncluster_password: \"route password\"\nroutes: [ \"tls://route:" +
           password + "@127.0.0.1:" + std::to_string(port) + "\" ]\n";
}

inline constexpr int nobodyThere = 1;

class Site {
public:
    // `shipped`: which of the configurations. `more`: further lines of site.conf.
    explicit Site(const std::string& shipped = "nats-server.conf", const std::string& name = "nec-1",
                  const std::string& more = {})
        : Site(std::make_shared<const support::Certificates>(), shipped, name, more) {}
    // Another node, with a certificate of the same authority.
    Site(const Site& other, const std::string& shipped, const std::string& name, const std::string& more)
        : Site(other.certificates_, shipped, name, more) {}

    const std::string& name() const { return name_; }
    // Other lines of site.conf, from its next start on.
    void configure(const std::string& more) const { writeSite(name_, more); }
    const support::Certificates& certificates() const { return *certificates_; }
    support::NatsServer& server() { return *server_; }
    const support::NatsServer& server() const { return *server_; }
    std::string log() const { return server_->log(); }
    // Of a client that shows no name, no certificate, and does not know TLS.
    Options plainOptions() const {
        natsOptions* made = nullptr;
        check(natsOptions_Create(&made), "options");
        Options options(made);
        check(natsOptions_SetURL(made, server_->url().c_str()), "URL");
        check(natsOptions_SetAllowReconnect(made, false), "no reconnect");
        check(natsOptions_SetTimeout(made, patienceMs), "time-out");
        return options;
    }
    // Of a client that has shown no name yet, but trusts the server and shows a certificate.
    Options options() const {
        Options options = plainOptions();
        check(natsOptions_SetSecure(options.get(), true), "TLS");
        check(natsOptions_LoadCATrustedCertificates(options.get(), certificates().authorityFile().c_str()),
              "authority");
        showCertificate(options, certificate_);
        return options;
    }
    static void showCertificate(const Options& options, const support::Certificate& certificate) {
        check(natsOptions_LoadCertificatesChain(options.get(), certificate.file.c_str(), certificate.keyFile.c_str()),
              "certificate");
    }
    Options optionsOf(const std::string& user, const std::string& password) const {
        Options with = options();
        check(natsOptions_SetUserInfo(with.get(), user.c_str(), password.c_str()), "user");
        const std::string inbox = user.empty() ? "_INBOX" : "_INBOX." + user;
        check(natsOptions_SetCustomInboxPrefix(with.get(), inbox.c_str()), "inbox");
        return with;
    }
    // As this user, with the right password. Throws when it is turned away.
    Client client(const std::string& user) const {
        Client client(optionsOf(user, passwordOf(user)));
        check(client.status(), user);
        return client;
    }
    // Of a process with the engine, as this user.
    frame::NatsOptions processOptions(const std::string& user, const std::vector<std::string>& servers) const {
        frame::NatsOptions options;
        options.servers = servers;
        options.user = user;
        options.passwordFile = folder_.write(user, passwordOf(user) + "\n");
        options.caFile = certificates().authorityFile();
        options.certificateFile = certificate_.file;
        options.keyFile = certificate_.keyFile;
        options.patience = std::chrono::milliseconds(patienceMs);
        return options;
    }
    // Throws when none of `servers` takes it.
    std::unique_ptr<frame::NatsEngine> join(const std::string& user, CProcID address,
                                            const std::vector<std::string>& servers) const {
        auto engine = frame::connectNats(address, processOptions(user, servers));
        if (engine->status().state != frame::NatsStatus::State::connected)
            throw std::runtime_error(user + ": " + engine->status().lastError);
        return engine;
    }

private:
    Site(std::shared_ptr<const support::Certificates> certificates, std::string shipped, const std::string& name,
         const std::string& more)
        : name_(name), certificates_(std::move(certificates)), shipped_(std::move(shipped)) {
        for (const char* each :
             {"nats-server.conf", "nats-cluster.conf", "nats-hub.conf", "nats-leaf.conf", "roles.conf"})
            folder_.write(each, support::contentOf(std::string(NATS_PACKAGE) + "/" + each));
        folder_.write("roles-leaf.conf", support::contentOf(NATS_LEAF_ROLES));
        writePasswords();
        writeSite(name, more);
        // Names in "include" stand below the folder of the file with it.
        server_.emplace("include \"../../../../../../../.." + folder_.file(shipped_) + "\"\n");
    }
    void writePasswords() const {
        std::string passwords;
        for (const User& user : users) passwords += user.name + "_password: \"" + passwordOf(user.name) + "\"\n";
        folder_.write("passwords.conf", passwords);
    }
    void writeSite(const std::string& name, const std::string& more) const {
        std::string text = more;
        const auto add = [&text](const std::string& key, const std::string& value) {
            text.append(key).append(": \"").append(value).append("\"\n");
        };
        add("server_name", name);
        add("listen", "127.0.0.1:-1");
        add("monitor", "127.0.0.1:-1");
        // A leaf has none, and takes no value that it does not know.
        if (shipped_ != "nats-leaf.conf") {
            add("store", folder_.file("store"));
            text += "store_limit: 2GB\n";
        }
        add("cert", certificate_.file);
        add("key", certificate_.keyFile);
        add("ca", certificates_->authorityFile());
        folder_.write("site.conf", text);
    }

    support::Folder folder_;
    const std::string name_;
    const std::shared_ptr<const support::Certificates> certificates_;
    const support::Certificate certificate_ = certificates_->good();
    const std::string shipped_;
    std::optional<support::NatsServer> server_;
};

}  // namespace nats_client
