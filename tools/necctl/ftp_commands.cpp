// necctl ftp: the FTP configuration in the process's database.
#include <json/json.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <list>

#include "commands.h"
#include "config/ftp_store.h"
#include "database.h"
#include "failure.h"
#include "fields.h"
#include "secret.h"

namespace necctl {
namespace {

constexpr std::int32_t defaultFtpPort = 21;   // RFC 959
constexpr std::int32_t defaultSftpPort = 22;  // RFC 4253

using Parameters = WithPassword<TESUcommon::FTPPara>;
using Account = WithPassword<FTPAccountInfo>;

CLI::Option* addText(CLI::App& command, const char* name, std::string& value, const char* help, const char* type) {
    return command.add_option(name, value, help)->type_name(type);
}
CLI::Option* addPort(CLI::App& command, const char* name, std::int32_t& value, const char* help) {
    return command.add_option(name, value, help)->type_name("N")->check(CLI::Range(1, 65535));
}

// What params set was given.
struct ParametersGiven {
    TESUcommon::FTPPara values;  // without the password
    std::string passwordFile;
    CLI::Option* user = nullptr;
    CLI::Option* root = nullptr;
    CLI::Option* ftpPort = nullptr;
    CLI::Option* sftpPort = nullptr;
    CLI::Option* password = nullptr;
};

// Those that are stored; when there are none, `given` must have all that has no default.
void readStored(Parameters& para, const ParametersGiven& given) {
    try {
        frame::readFtpParameters(para);
    } catch (const frame::FtpError& error) {
        if (error.code() != TESUcommon::ftpNotSet) throw;
        std::string missing;
        for (const CLI::Option* option : {given.user, given.root, given.password})
            if (option->count() == 0) missing += " " + option->get_name();
        if (!missing.empty()) throw Failure(wrongUsage, "no FTP parameters have been set before; missing:" + missing);
        para.ftpPort = defaultFtpPort;
        para.sftpPort = defaultSftpPort;
    }
}

void setParameters(const ParametersGiven& given) {
    Parameters para;
    readStored(para, given);
    if (given.user->count() != 0) para.userName = given.values.userName;
    if (given.root->count() != 0) para.rootDirectory = given.values.rootDirectory;
    if (given.ftpPort->count() != 0) para.ftpPort = given.values.ftpPort;
    if (given.sftpPort->count() != 0) para.sftpPort = given.values.sftpPort;
    if (given.password->count() != 0) readPassword(given.passwordFile, para.password);
    frame::setFtpParameters(para);
}

void showParameters(const Options& options) {
    Parameters para;
    frame::readFtpParameters(para);
    if (!options.json) {
        std::cout << linesOf({{"user", para.userName},
                              {"password", para.password.empty() ? "empty" : "set"},
                              {"root", para.rootDirectory},
                              {"ftp-port", std::to_string(para.ftpPort)},
                              {"sftp-port", std::to_string(para.sftpPort)}});
        return;
    }
    Json::Value json;
    json["user"] = para.userName;
    json["password"] = para.password.empty() ? "empty" : "set";
    json["root"] = para.rootDirectory;
    json["ftpPort"] = para.ftpPort;
    json["sftpPort"] = para.sftpPort;
    std::cout << json << '\n';
}

std::list<FTPAccountInfo> accounts() {
    std::list<FTPAccountInfo> all;
    frame::readFtpAccounts(all, true);
    return all;
}

void writeJson(const std::list<FTPAccountInfo>& all) {
    Json::Value list(Json::arrayValue);
    for (const FTPAccountInfo& account : all) {
        Json::Value json;
        json["name"] = account.accountName;
        json["user"] = account.userName;
        json["port"] = account.port;
        json["home"] = account.homeDirectory;
        json["relative"] = account.relativeDirectory;
        list.append(json);
    }
    std::cout << list << '\n';
}

void writeText(const std::list<FTPAccountInfo>& all) {
    const char* gap = "";
    for (const FTPAccountInfo& account : all) {
        std::cout << gap
                  << linesOf({{"name", account.accountName},
                              {"user", account.userName},
                              {"port", std::to_string(account.port)},
                              {"home", account.homeDirectory},
                              {"relative", account.relativeDirectory}});
        gap = "\n";
    }
}

void listAccounts(const Options& options) {
    options.json ? writeJson(accounts()) : writeText(accounts());
}

// Several accounts may have one name; that nobody adds a second one by mistake is this command's business.
void addAccount(const FTPAccountInfo& given, const std::string& passwordFile) {
    const auto all = accounts();
    if (std::any_of(all.begin(), all.end(), [&](const auto& one) { return one.accountName == given.accountName; }))
        throw Failure(wrongData, "there is an account named \"" + given.accountName + "\" already");
    Account account;
    static_cast<FTPAccountInfo&>(account) = given;
    readPassword(passwordFile, account.password);
    frame::addFtpAccount(account);
}

void removeAccounts(const std::string& name, const Options& options) {
    const std::size_t removed = frame::removeFtpAccounts(name);
    if (removed == 0) throw Failure(wrongData, "there is no account named \"" + name + "\"");
    if (!options.json) {
        std::cout << "accounts removed: " << removed << '\n';
        return;
    }
    Json::Value json;
    json["removed"] = Json::UInt64{removed};
    std::cout << json << '\n';
}

void addParameterCommands(CLI::App& ftp, const Options& options) {
    CLI::App* group = ftp.add_subcommand("params", "The parameters of the whole system")->require_subcommand(1);
    group->add_subcommand("show", "Show them, without the password")->callback([&options] {
        withDatabase(options, [&options] { showParameters(options); });
    });
    CLI::App* setting = group->add_subcommand(
        "set", "Set them; what is left out stays as it is. At first all but the ports are needed");
    setting->require_option();
    const auto given = std::make_shared<ParametersGiven>();
    given->user = addText(*setting, "--user", given->values.userName, "Name to log in with", "NAME");
    given->root = addText(*setting, "--root", given->values.rootDirectory, "Root directory", "DIRECTORY");
    given->ftpPort = addPort(*setting, "--ftp-port", given->values.ftpPort, "TCP port of FTP, at first 21");
    given->sftpPort = addPort(*setting, "--sftp-port", given->values.sftpPort, "TCP port of SFTP, at first 22");
    given->password = addText(*setting, "--password-file", given->passwordFile, passwordFileHelp, "FILE");
    setting->callback([given, &options] { withDatabase(options, [&] { setParameters(*given); }); });
}

void addAdding(CLI::App& group, const Options& options) {
    CLI::App* adding = group.add_subcommand("add", "Add an account; its name must be new");
    const auto account = std::make_shared<FTPAccountInfo>();
    const auto passwordFile = std::make_shared<std::string>();
    adding->add_option("NAME", account->accountName, "Name of the account")->required();
    addText(*adding, "--user", account->userName, "Name to log in with", "NAME")->required();
    addPort(*adding, "--port", account->port, "TCP port")->required();
    addText(*adding, "--home", account->homeDirectory, "Home directory", "DIRECTORY")->required();
    addText(*adding, "--relative", account->relativeDirectory, "Directory below the home directory", "DIRECTORY")
        ->required();
    addText(*adding, "--password-file", *passwordFile, passwordFileHelp, "FILE")->required();
    adding->callback([=, &options] { withDatabase(options, [&] { addAccount(*account, *passwordFile); }); });
}

void addAccountCommands(CLI::App& ftp, const Options& options) {
    CLI::App* group = ftp.add_subcommand("account", "Accounts that users maintain")->require_subcommand(1);
    group->add_subcommand("list", "Show all, without passwords")->callback([&options] {
        withDatabase(options, [&options] { listAccounts(options); });
    });
    addAdding(*group, options);
    CLI::App* removing = group->add_subcommand("remove", "Remove all accounts of one name");
    const auto name = std::make_shared<std::string>();
    removing->add_option("NAME", *name, "Name of the accounts")->required();
    removing->callback([name, &options] { withDatabase(options, [&] { removeAccounts(*name, options); }); });
}

}  // namespace

void addFtpCommands(CLI::App& app, const Options& options) {
    CLI::App* group = app.add_subcommand("ftp", "Which file transfer service NEs are given")->require_subcommand(1);
    addParameterCommands(*group, options);
    addAccountCommands(*group, options);
    addFtpServiceCommand(*group, options);
}

}  // namespace necctl
