// necctl db: the schema of the process's database.
#include <json/json.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <list>

#include "commands.h"
#include "config/ftp_store.h"
#include "database.h"
#include "db/schema.h"
#include "failure.h"
#include "platform/db.h"
#include "secret.h"

namespace necctl {
namespace {

int versionFound() {
    dao::CSqlSession session;
    return frame::Schema::versionOf(session.connection());
}

// Brings a schema of `before` up to date, and says so.
void bringUpToDate(int before, const Options& options) {
    const int version = frame::schema().version();
    if (before != version) {
        dao::CSqlSession session;
        before = frame::schema().migrate(session.connection());
    }
    if (options.json) {
        Json::Value json;
        json["before"] = before;
        json["version"] = version;
        std::cout << json << '\n';
    } else if (before == version) {
        std::cout << "schema version " << version << ", as before\n";
    } else {
        std::cout << "schema version " << version << ", made from "
                  << (before == 0 ? "nothing" : "version " + std::to_string(before)) << '\n';
    }
}

void init(const Options& options) {
    const int version = versionFound();
    if (version != 0 && version != frame::schema().version()) throw Failure(wrongData, objectionTo(version));
    bringUpToDate(version, options);
}

void migrate(const Options& options) {
    const int version = versionFound();
    if (version <= 0 || version > frame::schema().version()) throw Failure(wrongData, objectionTo(version));
    bringUpToDate(version, options);
}

// SQLite looks for damage in its file.
void checkFile() {
    dao::CSqlSession session;
    soci::session& connection = session.connection();
    if (connection.get_backend_name() != "sqlite3") return;
    std::string damage;
    connection << "PRAGMA quick_check(1)", soci::into(damage);
    if (damage != "ok") throw Failure(unusable, "the database is damaged: " + damage);
}

bool parametersSet() {
    try {
        WithPassword<TESUcommon::FTPPara> para;
        frame::readFtpParameters(para);
        return true;
    } catch (const frame::FtpError& error) {
        if (error.code() != TESUcommon::ftpNotSet) throw;
        return false;
    }
}

std::size_t accountCount() {
    std::list<FTPAccountInfo> accounts;
    frame::readFtpAccounts(accounts, true);
    return accounts.size();
}

void check(const Options& options) {
    checkFile();
    Json::Value json;
    const int version = versionFound();
    json["version"] = version;
    json["expected"] = frame::schema().version();
    const std::string objection = objectionTo(version);
    json["ok"] = objection.empty();
    if (objection.empty()) {
        json["parameters"] = parametersSet();
        json["accounts"] = Json::UInt64{accountCount()};
        if (!options.json)
            std::cout << "schema version " << version << ", FTP parameters "
                      << (json["parameters"].asBool() ? "set" : "not set") << ", accounts: " << json["accounts"]
                      << '\n';
    } else {
        json["error"] = objection;
    }
    if (options.json) std::cout << json << '\n';
    if (!objection.empty()) throw Failure(wrongData, objection);
}

}  // namespace

void addDbCommands(CLI::App& app, const Options& options) {
    CLI::App* group = app.add_subcommand("db", "The process's database, database.url")->require_subcommand(1);
    const auto add = [&](const char* name, const char* help, void (*act)(const Options&)) {
        group->add_subcommand(name, help)->callback([act, &options] {
            withDatabase(options, [act, &options] { act(options); });
        });
    };
    add("init", "Make the schema in a database that has none; an SQLite file is made if need be", init);
    add("migrate", "Bring the schema of an older version up to date", migrate);
    add("check", "Say whether the program can use the database, or what is wrong", check);
}

}  // namespace necctl
