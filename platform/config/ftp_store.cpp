#include "config/ftp_store.h"

#include "db/connections.h"
#include "db/schema.h"
#include "log/escape.h"
#include "platform/db.h"
#include "platform/log.h"
#include "platform/secure.h"

namespace frame {

namespace {

// Wipes a password when the work with it ends, however it ends.
class Wiped {
public:
    explicit Wiped(std::string& password) : password_(password) {}
    ~Wiped() { FrameUtil::ClearPasswd(password_); }
    Wiped(const Wiped&) = delete;
    Wiped& operator=(const Wiped&) = delete;

private:
    std::string& password_;
};

// Their passwords are wiped where they do not reach the caller.
struct Accounts {
    Accounts() = default;
    ~Accounts() {
        for (FTPAccountInfo& account : all) FrameUtil::ClearPasswd(account.password);
    }
    Accounts(const Accounts&) = delete;
    Accounts& operator=(const Accounts&) = delete;

    std::list<FTPAccountInfo> all;
};

// PostgreSQL keeps neither NUL nor what is no UTF-8: SQLite shall not differ.
void requireText(const std::string& name, const std::string& value) {
    if (value.size() > longestFtpText)
        throw std::invalid_argument(name + ": too long; expected at most " + std::to_string(longestFtpText) +
                                    " octets");
    if (value.find('\0') != std::string::npos || !isUtf8(value))
        throw std::invalid_argument(name + ": expected UTF-8 text without NUL");
}

void requirePort(const std::string& name, int port) {
    if (port < 1 || port > 65535)
        throw std::invalid_argument(name + ": " + std::to_string(port) + "; expected 1 to 65535");
}

void require(const TESUcommon::FTPPara& para) {
    requireText("user name", para.userName);
    requireText("password", para.password);
    requireText("root directory", para.rootDirectory);
    requirePort("FTP port", para.ftpPort);
    requirePort("SFTP port", para.sftpPort);
}

void require(const FTPAccountInfo& account) {
    requireText("account name", account.accountName);
    requireText("user name", account.userName);
    requireText("password", account.password);
    requirePort("port", account.port);
    requireText("home directory", account.homeDirectory);
    requireText("relative directory", account.relativeDirectory);
}

[[noreturn]] void failForSchema(int version) {
    const std::string expected = "; expected version " + std::to_string(schema().version());
    if (version == 0) throw FtpError(TESUcommon::ftpOtherSchema, "the database has no schema" + expected);
    throw FtpError(TESUcommon::ftpOtherSchema,
                   "the schema of the database has version " + std::to_string(version) + expected);
}

// What failed may have done so because of the schema.
[[noreturn]] void fail(dao::CSqlSession& session, const std::string& reason) {
    int version = 0;
    try {
        version = Schema::versionOf(session.connection());
    } catch (const std::exception&) {
        throw FtpError(TESUcommon::ftpNoDatabase, reason);
    }
    if (version != schema().version()) failForSchema(version);
    throw FtpError(TESUcommon::ftpNoDatabase, reason);
}

// Calls `use` with a connection, and makes an FtpError of what goes wrong.
template <class Use>
void withConnection(Use use) {
    dao::CSqlSession session;
    try {
        use(ConnectionAccess::of(session));
    } catch (const DatabaseError& error) {
        throw FtpError(TESUcommon::ftpNoDatabase, error.what());
    } catch (const soci::soci_error& error) {
        ConnectionAccess::of(session).kept.reset();
        fail(session, ConnectionAccess::textOf(session, error));
    } catch (...) {
        ConnectionAccess::of(session).kept.reset();  // a query that was not read to its end
        throw;
    }
}
template <class Use>
void withDatabase(Use use) {
    withConnection([&](Connection& connection) { use(*connection.session); });
}

void requireSchema(int version) {
    if (version != schema().version()) failForSchema(version);
}

// What was written stands in SQLite's log as well until the log is written back, which fails while others read: the
// next change does it then, or the last one who closes the database.
void clearJournal(soci::session& connection) {
    if (connection.get_backend_name() != "sqlite3") return;
    int busy = 1;
    try {
        connection << "PRAGMA wal_checkpoint(TRUNCATE)", soci::into(busy);
    } catch (const soci::soci_error&) {
        // As when it is busy: what was to be written is written.
    }
    if (busy != 0)
        LogProcess::Error(static_cast<std::uint32_t>(busy),
                          "SQLite's log could not be emptied: what was written, a password perhaps, stands there too",
                          {__FILE__, "clearJournal", __LINE__});
}

// The same for what changes something.
template <class Change>
void changeDatabase(Change change) {
    withDatabase([&](soci::session& connection) {
        requireSchema(Schema::versionOf(connection));
        change(connection);
        clearJournal(connection);
    });
}

// The query of the parameters, prepared once for a connection: servers ask it for every NE.
class ParametersQuery {
public:
    explicit ParametersQuery(soci::session& session)
        : statement_((session.prepare << "SELECT version, user_name, password, root_directory, ftp_port, sftp_port"
                                         " FROM nec_schema LEFT JOIN ftp_parameters ON ftp_parameters.id = 1",
                      soci::into(version_), soci::into(found_.userName, set_), soci::into(password_, set_),
                      soci::into(found_.rootDirectory, set_), soci::into(found_.ftpPort, set_),
                      soci::into(found_.sftpPort, set_))) {
        password_.reserve(longestFtpText);  // no value outgrows it and stays behind in memory
    }

    void run(TESUcommon::FTPPara& para) {
        const Wiped wiped(password_);
        version_ = 0;
        set_ = soci::i_null;
        statement_.execute();
        while (statement_.fetch()) {  // to its end: the database lets go of the row then
        }
        requireSchema(version_);
        if (set_ != soci::i_ok) throw FtpError(TESUcommon::ftpNotSet, "no FTP parameters have been set");
        TESUcommon::FTPPara copy = found_;
        const Wiped copyWiped(copy.password);
        copy.password = password_;
        FrameUtil::ClearPasswd(para.password);
        std::swap(para, copy);
    }

private:
    int version_ = 0;
    TESUcommon::FTPPara found_;
    std::string password_;
    soci::indicator set_ = soci::i_null;  // all columns of the parameters are null, or none
    soci::statement statement_;
};

}  // namespace

void readFtpParameters(TESUcommon::FTPPara& para) {
    withConnection([&](Connection& connection) {
        using Kept = std::shared_ptr<ParametersQuery>;
        if (std::any_cast<Kept>(&connection.kept) == nullptr)
            connection.kept = std::make_shared<ParametersQuery>(*connection.session);
        std::any_cast<Kept&>(connection.kept)->run(para);
    });
}

void setFtpParameters(const TESUcommon::FTPPara& para) {
    require(para);
    changeDatabase([&](soci::session& connection) {
        connection << "INSERT INTO ftp_parameters (id, user_name, password, root_directory, ftp_port, sftp_port)"
                      " VALUES (1, :user_name, :password, :root_directory, :ftp_port, :sftp_port)"
                      " ON CONFLICT (id) DO UPDATE SET user_name = excluded.user_name, password = excluded.password,"
                      " root_directory = excluded.root_directory, ftp_port = excluded.ftp_port,"
                      " sftp_port = excluded.sftp_port",
            soci::use(para.userName), soci::use(para.password), soci::use(para.rootDirectory), soci::use(para.ftpPort),
            soci::use(para.sftpPort);
    });
}

void readFtpAccounts(std::list<FTPAccountInfo>& accounts, bool withoutPasswords) {
    Accounts found;
    std::string password;
    const Wiped wiped(password);
    password.reserve(longestFtpText);
    withDatabase([&](soci::session& connection) {
        requireSchema(Schema::versionOf(connection));
        FTPAccountInfo account;
        soci::statement rows =
            (connection.prepare << "SELECT account_name, user_name, password, port, home_directory, relative_directory"
                                   " FROM ftp_accounts ORDER BY number",
             soci::into(account.accountName), soci::into(account.userName), soci::into(password),
             soci::into(account.port), soci::into(account.homeDirectory), soci::into(account.relativeDirectory));
        rows.execute();
        while (rows.fetch()) {
            found.all.push_back(account);
            if (!withoutPasswords) found.all.back().password = password;
        }
    });
    accounts.splice(accounts.end(), found.all);
}

void addFtpAccount(const FTPAccountInfo& account) {
    require(account);
    changeDatabase([&](soci::session& connection) {
        soci::transaction transaction(connection);
        // From here on nobody else adds one: two would find the same number.
        connection << "UPDATE nec_schema SET version = version";
        connection << "INSERT INTO ftp_accounts"
                      " (number, account_name, user_name, password, port, home_directory, relative_directory)"
                      " SELECT coalesce(max(number), 0) + 1, :account_name, :user_name, :password, :port,"
                      " :home_directory, :relative_directory FROM ftp_accounts",
            soci::use(account.accountName), soci::use(account.userName), soci::use(account.password),
            soci::use(account.port), soci::use(account.homeDirectory), soci::use(account.relativeDirectory);
        transaction.commit();
    });
}

std::size_t removeFtpAccounts(const std::string& accountName) {
    requireText("account name", accountName);
    long long removed = 0;
    changeDatabase([&](soci::session& connection) {
        soci::statement statement =
            (connection.prepare << "DELETE FROM ftp_accounts WHERE account_name = :account_name",
             soci::use(accountName));
        statement.execute(true);
        removed = statement.get_affected_rows();
    });
    return static_cast<std::size_t>(removed);
}

}  // namespace frame
