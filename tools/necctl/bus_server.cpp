#include "bus_server.h"

#include <netdb.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <memory>
#include <mutex>
#include <stop_token>
#include <thread>

#include "bus/nats/options.h"
#include "platform/text.h"

namespace necctl {
namespace {

constexpr timeval patience{3, 0};
constexpr std::chrono::seconds longestConversation{10};
constexpr std::size_t mostInfoOctets = 65536;

template <auto destroy>
struct With {
    template <class T>
    void operator()(T* owned) const {
        destroy(owned);
    }
};
using Addresses = std::unique_ptr<addrinfo, With<freeaddrinfo>>;
using Context = std::unique_ptr<SSL_CTX, With<SSL_CTX_free>>;
using Session = std::unique_ptr<SSL, With<SSL_free>>;
using X509Certificate = std::unique_ptr<X509, With<X509_free>>;
using File = std::unique_ptr<BIO, With<BIO_free>>;

struct Place {
    std::string host;
    std::string port;
};

// "tls://HOST:PORT", with or without brackets around the host.
Place placeOf(const std::string& server) {
    std::string rest = server.substr(server.find("://") + 3);
    const std::size_t colon = rest.rfind(':');
    Place place{rest.substr(0, colon), rest.substr(colon + 1)};
    if (place.host.starts_with('[')) place.host = place.host.substr(1, place.host.size() - 2);
    return place;
}

class Socket {
public:
    ~Socket() {
        if (number_ >= 0) close(number_);
    }
    Socket() = default;
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    int number() const { return number_; }

    // Empty, or why there is no connection.
    std::string connect(const Place& place) {
        addrinfo hints{};
        hints.ai_socktype = SOCK_STREAM;
        addrinfo* found = nullptr;
        if (const int code = getaddrinfo(place.host.c_str(), place.port.c_str(), &hints, &found); code != 0)
            return gai_strerror(code);
        const Addresses addresses(found);
        std::string error = "no address";
        for (const addrinfo* each = found; each != nullptr; each = each->ai_next)
            if (error = tryOne(*each); error.empty()) break;
        return error;
    }

    // The first line; shorter when no more comes.
    std::string line() const {
        std::string text;
        char each = 0;
        while (text.size() < mostInfoOctets && recv(number_, &each, 1, 0) == 1) {
            text += each;
            if (each == '\n') break;
        }
        return text;
    }

private:
    std::string tryOne(const addrinfo& address) {
        if (number_ >= 0) close(number_);
        number_ = socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC, address.ai_protocol);
        setsockopt(number_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        setsockopt(number_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
        if (::connect(number_, address.ai_addr, address.ai_addrlen) == 0) return {};
        return errno == EINPROGRESS ? "no connection in time" : std::strerror(errno);
    }

    int number_ = -1;
};

// Ends the conversation with one who makes it last, an octet at a time.
class Limit {
public:
    explicit Limit(const Socket& socket)
        : thread_([this, &socket](const std::stop_token& stop) { watch(socket.number(), stop); }) {}

private:
    void watch(int socket, const std::stop_token& stop) {
        std::unique_lock lock(mutex_);
        never_.wait_for(lock, stop, longestConversation, [] { return false; });
        if (!stop.stop_requested()) shutdown(socket, SHUT_RDWR);
    }

    std::mutex mutex_;
    std::condition_variable_any never_;
    std::jthread thread_;
};

std::string sslError() {
    const unsigned long code = ERR_get_error();
    const char* reason = code != 0 ? ERR_reason_error_string(code) : nullptr;
    ERR_clear_error();
    return reason != nullptr ? reason : "the connection is closed";
}

Context contextOf(const frame::NatsOptions& options) {
    Context context(SSL_CTX_new(TLS_client_method()));
    if (options.caFile.empty())
        SSL_CTX_set_default_verify_paths(context.get());
    else
        SSL_CTX_load_verify_locations(context.get(), options.caFile.c_str(), nullptr);
    if (!options.certificateFile.empty()) {
        SSL_CTX_use_certificate_chain_file(context.get(), options.certificateFile.c_str());
        SSL_CTX_use_PrivateKey_file(context.get(), options.keyFile.c_str(), SSL_FILETYPE_PEM);
    }
    // What is wrong with the server's certificate is to be told, not to end this.
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_NONE, nullptr);
    ERR_clear_error();
    return context;
}

std::optional<std::int64_t> secondsToLive(const X509* certificate) {
    int days = 0;
    int seconds = 0;
    if (certificate == nullptr || ASN1_TIME_diff(&days, &seconds, nullptr, X509_get0_notAfter(certificate)) != 1)
        return std::nullopt;
    return std::int64_t{days} * 24 * 3600 + seconds;
}

// Whether it says anything at all to that, be it that it wants to know first who asks: a server that does not would
// hold up the client for ever.
const std::string ping = "PING\r\n";

bool isSilent(const Socket& socket) {
    char answer = 0;
    return send(socket.number(), ping.data(), ping.size(), MSG_NOSIGNAL) > 0 &&
           recv(socket.number(), &answer, 1, 0) < 0 && errno == EAGAIN;
}

bool isSilent(SSL* session) {
    char answer = 0;
    if (SSL_write(session, ping.data(), static_cast<int>(ping.size())) <= 0) return false;
    const int octets = SSL_read(session, &answer, 1);
    return octets <= 0 && SSL_get_error(session, octets) == SSL_ERROR_WANT_READ;
}

void shakeHands(const Socket& socket, const std::string& host, const frame::NatsOptions& options, Broker& broker) {
    const Context context = contextOf(options);
    const Session session(SSL_new(context.get()));
    if (X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(session.get()), host.c_str()) != 1) {
        SSL_set1_host(session.get(), host.c_str());
        SSL_set_tlsext_host_name(session.get(), host.c_str());
    }
    ERR_clear_error();
    SSL_set_fd(session.get(), socket.number());
    if (SSL_connect(session.get()) != 1) {
        broker.tlsError = sslError();
        return;
    }
    const X509Certificate shown(SSL_get1_peer_certificate(session.get()));
    const long verdict = SSL_get_verify_result(session.get());
    broker.certificate =
        Certificate{verdict == X509_V_OK ? "" : X509_verify_cert_error_string(verdict), secondsToLive(shown.get())};
    broker.silent = isSilent(session.get());
    ERR_clear_error();
}

}  // namespace

std::optional<std::int64_t> secondsToLive(const std::string& certificateFile) {
    const File file(BIO_new_file(certificateFile.c_str(), "r"));
    const X509Certificate certificate(file ? PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr) : nullptr);
    ERR_clear_error();
    return secondsToLive(certificate.get());
}

Broker lookAtBroker(const std::string& server, const frame::NatsOptions& options) {
    const Place place = placeOf(server);
    Broker broker;
    // OpenSSL writes to closed connections too. The NATS client ignores the signal as well.
    std::signal(SIGPIPE, SIG_IGN);
    Socket socket;
    if (broker.error = socket.connect(place); !broker.error.empty()) return broker;
    const Limit limit(socket);
    const std::string line = socket.line();
    if (!line.starts_with("INFO ") || JsonUtils::ParseToJson(broker.info, line.substr(5)) != 0 ||
        !broker.info.isObject()) {
        broker.error = line.empty() ? "it says nothing" : "it says what no NATS server says";
        return broker;
    }
    const Json::Value& tls = broker.info["tls_required"];
    const bool required = tls.isBool() && tls.asBool();
    if (required && frame::nats::usesTls(options)) shakeHands(socket, place.host, options, broker);
    if (!required) broker.silent = isSilent(socket);
    return broker;
}

}  // namespace necctl
