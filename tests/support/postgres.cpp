#include "support/postgres.h"

#include <pwd.h>
#include <unistd.h>

#include <stdexcept>

namespace support {

namespace {

constexpr const char* user = "postgres";
const std::string programs = "/usr/lib/postgresql/15/bin/";

void giveToServer(const std::string& folder) {
    if (geteuid() != 0) return;
    const passwd* entry = getpwnam(user);
    if (entry == nullptr || chown(folder.c_str(), entry->pw_uid, entry->pw_gid) != 0)
        throw std::runtime_error("cannot give " + folder + " to user " + user);
}

}  // namespace

Postgres::Postgres() : path_(std::filesystem::path(folder_.file("data")).parent_path().string()) {
    giveToServer(path_);
    const std::string passwordFile = folder_.write("password", std::string(password) + '\n');
    const Outcome made =
        run(asServer({programs + "initdb", "--pgdata=data", "--username=nec", "--pwfile=" + passwordFile,
                      "--auth=scram-sha-256", "--encoding=UTF8", "--locale=C", "--no-sync"}));
    if (made.exitStatus != 0) throw std::runtime_error("initdb failed: " + made.out);
    start();
}

Postgres::~Postgres() {
    if (!server_) return;
    server_->signal(SIGQUIT);  // without a last checkpoint
    server_->wait();
}

std::vector<std::string> Postgres::asServer(const std::vector<std::string>& argv) const {
    std::vector<std::string> whole{"sh", "-c", "cd \"$0\" && exec \"$@\" 2>&1", path_, "setpriv"};
    if (geteuid() == 0)
        whole.insert(whole.end(), {std::string("--reuid=") + user, std::string("--regid=") + user, "--clear-groups"});
    whole.insert(whole.end(), {"--pdeathsig=INT", "--"});
    whole.insert(whole.end(), argv.begin(), argv.end());
    return whole;
}

std::string Postgres::urlWith(const std::string& quotedPassword) const {
    return "postgresql:host=" + path_ + " user=nec dbname=postgres password=" + quotedPassword;
}

std::string Postgres::uri() const {
    return "postgresql://nec:it%27s%20a%20s3cret%5C@/postgres?host=" + path_;
}

void Postgres::start() {
    server_.emplace(
        asServer({programs + "postgres", "-D", "data", "-k", path_, "-c", "listen_addresses=", "-c", "fsync=off"}));
    if (!server_->waitForOutput("ready to accept connections"))
        throw std::runtime_error("PostgreSQL does not start: " + server_->out());
}

void Postgres::stop() {
    server_->signal(SIGINT);
    const Outcome ended = server_->wait();
    server_.reset();
    if (ended.exitStatus != 0) throw std::runtime_error("PostgreSQL does not stop: " + ended.out);
}

}  // namespace support
