// Fills a database with canaries, in a process of its own: what that leaves in memory goes with it.
//
//     ftp_writer URL NUMBER SIZE
//
// The canary of this number and size becomes the password of the parameters; those of the accounts are added.
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "canary.h"
#include "config/ftp_store.h"
#include "db/schema.h"
#include "platform/db.h"

namespace {

void migrate() {
    dao::CSqlSession session;
    frame::schema().migrate(session.connection());
}

void fill(const ftp_test::Canary& canary) {
    TESUcommon::FTPPara para{"user", "", "/ftp", 21, 22};
    append(para.password, canary);
    frame::setFtpParameters(para);
    for (const ftp_test::Canary& other : ftp_test::accountCanaries) {
        FTPAccountInfo account{"account", "user", "", 22, "/home", "relative"};
        append(account.password, other);
        frame::addFtpAccount(account);
    }
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 4) return 2;
    const frame::Database database({argv[1]});
    migrate();
    fill({static_cast<std::uint32_t>(std::strtoul(argv[2], nullptr, 10)), std::strtoul(argv[3], nullptr, 10)});
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
