// PostgreSQL, through libpq.
#include <soci/postgresql/soci-postgresql.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

#include "db/backend.h"
#include "platform/log.h"

namespace frame {

namespace {

using Parameters = std::unique_ptr<PQconninfoOption, decltype(&PQconninfoFree)>;

Parameters parsed(const std::string& text) {
    // libpq says what is wrong by quoting it, which may be the password.
    Parameters parameters(PQconninfoParse(text.c_str(), nullptr), &PQconninfoFree);
    if (!parameters) throw std::invalid_argument("database: libpq cannot read what follows \"postgresql:\"");
    return parameters;
}

template <class Use>
void forEach(const Parameters& parameters, Use use) {
    for (const PQconninfoOption* option = parameters.get(); option->keyword != nullptr; ++option) {
        if (option->val != nullptr) use(std::string_view(option->keyword), std::string_view(option->val));
    }
}

void appendEncoded(std::string& uri, std::string_view value) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    for (const char character : value) {
        const auto octet = static_cast<unsigned char>(character);
        uri += {'%', digits[octet >> 4U], digits[octet & 0xFU]};
    }
}

void appendParameter(std::string& uri, std::string_view keyword, std::string_view value) {
    uri.append("&").append(keyword).append("=");
    appendEncoded(uri, value);
}

// The parameters as a URI: SOCI takes keywords and values apart at blanks, also those inside of values.
std::string uriOf(const Parameters& parameters) {
    // A server that does not answer is given up after 10 seconds, a lock after 5, and a statement after 30, unless what
    // follows says otherwise: the last one holds.
    std::string uri = "postgresql:///?connect_timeout=10&tcp_user_timeout=10000";
    std::string options = "-c lock_timeout=5000 -c statement_timeout=30000";
    forEach(parameters, [&](std::string_view keyword, std::string_view value) {
        if (keyword == "options")
            options.append(" ").append(value);
        else
            appendParameter(uri, keyword, value);
    });
    appendParameter(uri, "options", options);
    return uri;
}

// Where the database is, and nothing that could be secret.
std::string nameOf(const Parameters& parameters) {
    constexpr std::array<std::string_view, 6> places{"service", "host", "hostaddr", "port", "dbname", "user"};
    std::string name = "postgresql:";
    forEach(parameters, [&](std::string_view keyword, std::string_view value) {
        if (std::find(places.begin(), places.end(), keyword) == places.end()) return;
        if (name.back() != ':') name += ' ';
        name.append(keyword).append("=").append(value);
    });
    return name;
}

// What the server has to say beside results goes to the log; by default it would go to standard error.
void traceNotice(void*, const char* text) {
    FrameUtil::Trace("[database] %s", text);
}

class Postgres : public Backend {
public:
    explicit Postgres(const Parameters& parameters) : name_(nameOf(parameters)), uri_(uriOf(parameters)) {}

    std::string name() const override { return name_; }

    std::unique_ptr<soci::session> connect() const override {
        auto session = std::make_unique<soci::session>(soci::postgresql, uri_);
        PQsetNoticeProcessor(handle(*session), traceNotice, nullptr);
        return session;
    }

    // The server may have gone, or restarted, since.
    bool works(soci::session& session) const noexcept override {
        try {
            int one = 0;
            session << "SELECT 1", soci::into(one);
            return one == 1;
        } catch (const std::exception&) {
            return false;
        }
    }

    bool inTransaction(soci::session& session) const override {
        return PQtransactionStatus(handle(session)) != PQTRANS_IDLE;
    }

private:
    static PGconn* handle(soci::session& session) {
        return static_cast<soci::postgresql_session_backend*>(session.get_backend())->conn_;
    }

    const std::string name_;
    const std::string uri_;
};

}  // namespace

std::unique_ptr<Backend> makePostgres(const std::string& parameters) {
    return std::make_unique<Postgres>(parsed(parameters));
}

}  // namespace frame
