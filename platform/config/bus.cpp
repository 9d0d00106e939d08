#include "config/bus.h"

#include "bus/nats/subjects.h"

namespace frame {

namespace {

// The largest message in pieces, of which each counts, has room with some others.
constexpr std::uint64_t leastPendingMessages = 200;

}  // namespace

NatsOptions natsFrom(const Section& section) {
    section.needOne({"user", "nkey", "credentials_file"});
    section.needBoth("user", "password_file");
    section.needBoth("nkey", "nkey_file");
    section.needBoth("certificate_file", "key_file");
    const std::string subject = "letters, digits, _ and -, in parts separated by dots";
    NatsOptions options;
    options.servers = section.textsThat(&nats::isServer, "servers",
                                        "an array of one or more nats://HOST:PORT or tls://HOST:PORT", options.servers);
    options.system = section.textThat(&nats::isSubject, "system", subject, options.system);
    options.user = section.textThat(&nats::isSubject, "user", subject, options.user);
    options.passwordFile = section.fileName("password_file");
    options.nkey = section.text("nkey");
    options.nkeyFile = section.fileName("nkey_file");
    options.credentialsFile = section.fileName("credentials_file");
    options.caFile = section.fileName("ca_file");
    options.certificateFile = section.fileName("certificate_file");
    options.keyFile = section.fileName("key_file");
    options.inbox = section.textThat(
        [&](const std::string& text) { return nats::isSubject(text) && nats::mayBeInbox(text, options.system); },
        "inbox", subject + ", neither \"" + options.system + "\" nor \"from\" nor below them", options.inbox);
    options.pendingMessages =
        section.number("pending_messages", leastPendingMessages, 1'000'000'000, options.pendingMessages);
    options.pendingOctets =
        section.number("pending_octets", mostRequestOctets, std::uint64_t{1} << 31U, options.pendingOctets);
    return options;
}

}  // namespace frame
