#include "bus/nats/options.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <random>
#include <stdexcept>
#include <vector>

#include "bus/nats/subjects.h"
#include "platform/secure.h"

namespace frame::nats {

namespace {

constexpr std::int64_t connectMilliseconds = 2000;
constexpr std::int64_t pingMilliseconds = 5000;
constexpr int pingsOut = 2;
constexpr std::int64_t writeMilliseconds = 2000;
constexpr int mostReconnects = 6;
constexpr std::size_t mostOctetsOfAPassword = 4096;

void require(bool holds, const std::string& what) {
    if (!holds) throw std::invalid_argument("bus: " + what);
}

void use(natsStatus status, const std::string& what) {
    if (status == NATS_OK) return;
    const char* text = nats_GetLastError(nullptr);
    throw std::runtime_error("bus: " + what + ": " + natsStatus_GetText(status) +
                             (text != nullptr && *text != '\0' ? std::string(", ") + text : std::string()));
}

// A password, which is wiped when it goes out of use.
struct Password {
    Password() = default;
    ~Password() { FrameUtil::ClearPasswd(text); }
    Password(const Password&) = delete;
    Password& operator=(const Password&) = delete;

    std::string text;
};

// The first line of the file.
void readPassword(const std::string& file, Password& password) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(file.c_str(), "re"), &std::fclose);
    std::string& text = password.text;
    text.resize(mostOctetsOfAPassword + 1);  // at once: what grows leaves its old memory behind, as a buffer would
    if (stream) std::setvbuf(stream.get(), nullptr, _IONBF, 0);
    text.resize(stream ? std::fread(text.data(), 1, text.size(), stream.get()) : 0);
    if (!stream || std::ferror(stream.get()) != 0)
        throw std::runtime_error("bus: " + file + ": cannot be read: " + std::strerror(errno));
    if (text.size() > mostOctetsOfAPassword) throw std::runtime_error("bus: " + file + ": too long for a password");
    text.resize(std::min(text.find_first_of("\r\n"), text.size()));
}

void setIdentity(natsOptions* made, const NatsOptions& options) {
    if (!options.user.empty()) {
        Password password;
        readPassword(options.passwordFile, password);
        use(natsOptions_SetUserInfo(made, options.user.c_str(), password.text.c_str()), "user");
    }
    if (!options.nkey.empty())
        use(natsOptions_SetNKeyFromSeed(made, options.nkey.c_str(), options.nkeyFile.c_str()), options.nkeyFile);
    if (!options.credentialsFile.empty())
        use(natsOptions_SetUserCredentialsFromFiles(made, options.credentialsFile.c_str(), nullptr),
            options.credentialsFile);
}

void setTls(natsOptions* made, const NatsOptions& options) {
    if (!usesTls(options)) return;
    use(natsOptions_SetSecure(made, true), "TLS");
    if (!options.caFile.empty())
        use(natsOptions_LoadCATrustedCertificates(made, options.caFile.c_str()), options.caFile);
    if (!options.certificateFile.empty())
        use(natsOptions_LoadCertificatesChain(made, options.certificateFile.c_str(), options.keyFile.c_str()),
            options.certificateFile);
}

void setPersistence(natsOptions* made) {
    use(natsOptions_SetTimeout(made, connectMilliseconds), "time-out");
    use(natsOptions_SetAllowReconnect(made, true), "reconnecting");
    // It does not say why it fails. So after a while a new connection is built in its place, for ever.
    use(natsOptions_SetMaxReconnect(made, mostReconnects), "reconnecting");
    use(natsOptions_SetCustomReconnectDelay(
            made, [](natsConnection*, int attempt, void*) { return delayBefore(attempt).count(); }, nullptr),
        "reconnecting");
    // What is published meanwhile fails, instead of waiting unseen and being lost with the process.
    use(natsOptions_SetReconnectBufSize(made, 1), "reconnecting");
    // So does what the client itself asks the server.
    use(natsOptions_SetFailRequestsOnDisconnect(made, true), "reconnecting");
    use(natsOptions_SetPingInterval(made, pingMilliseconds), "pings");
    use(natsOptions_SetMaxPingsOut(made, pingsOut), "pings");
    use(natsOptions_SetWriteDeadline(made, writeMilliseconds), "write deadline");
}

}  // namespace

std::chrono::milliseconds delayBefore(int attempt) {
    constexpr std::int64_t longest = 5000;
    static thread_local std::minstd_rand random{std::random_device()()};
    const std::int64_t delay = std::min(longest, std::int64_t{100} << std::min(attempt, 10));
    return std::chrono::milliseconds(delay - std::uniform_int_distribution<std::int64_t>(0, delay / 2)(random));
}

void check(const NatsOptions& options) {
    require(!options.servers.empty(), "no servers; expected one or more");
    const std::string count = std::to_string(options.servers.size());
    for (std::size_t i = 0; i < options.servers.size(); ++i)
        require(isServer(options.servers[i]),
                "server " + std::to_string(i + 1) + " of " + count +
                    "; expected \"nats://HOST:PORT\" or \"tls://HOST:PORT\", without user");
    const std::string subject = "\"; expected letters, digits, _ and -, in parts separated by dots";
    require(isSubject(options.system), "system \"" + options.system + subject);
    require(options.inbox.empty() || isSubject(options.inbox), "inbox \"" + options.inbox + subject);
    require(options.inbox.empty() || mayBeInbox(options.inbox, options.system),
            "inbox \"" + options.inbox + "\" is a place for other messages; expected one like \"_INBOX.NAME\"");
    require(options.user.empty() == options.passwordFile.empty(), "a user needs a password file");
    require(options.nkey.empty() == options.nkeyFile.empty(), "an nkey needs the file of its seed");
    require(options.certificateFile.empty() == options.keyFile.empty(), "a certificate needs the file of its key");
    const int identities =
        int{!options.user.empty()} + int{!options.nkey.empty()} + int{!options.credentialsFile.empty()};
    require(identities <= 1, "more than one of user, nkey and credentials file");
    require(!options.inbox.empty() || options.user.empty() || isSubject(options.user),
            "user \"" + options.user + "\" cannot stand in a subject; expected an inbox too");
}

bool usesTls(const NatsOptions& options) {
    bool uses = !options.caFile.empty() || !options.certificateFile.empty();
    for (const std::string& server : options.servers) uses = uses || server.starts_with("tls://");
    return uses;
}

std::string inboxOf(const CProcID& address, const NatsOptions& options) {
    if (!options.inbox.empty()) return options.inbox;
    if (!options.user.empty()) return "_INBOX." + options.user;
    return "_INBOX." + std::to_string(address.procType) + '_' + std::to_string(address.procHandle);
}

Options clientOptions(const CProcID& address, const NatsOptions& options) {
    natsOptions* raw = nullptr;
    use(natsOptions_Create(&raw), "options");
    Options made(raw);
    std::vector<const char*> servers;
    for (const std::string& server : options.servers) servers.push_back(server.c_str());
    use(natsOptions_SetServers(raw, servers.data(), static_cast<int>(servers.size())), "servers");
    use(natsOptions_SetCustomInboxPrefix(raw, inboxOf(address, options).c_str()), "inbox");
    use(natsOptions_SetName(raw, (options.system + ' ' + toText(address)).c_str()), "name");
    setPersistence(raw);
    setIdentity(raw, options);
    setTls(raw, options);
    // One thread of the client hands on what arrives, so it stays in order across subscriptions.
    use(natsOptions_UseGlobalMessageDelivery(raw, true), "delivery");
    return made;
}

}  // namespace frame::nats
