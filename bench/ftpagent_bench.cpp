// Choosing an SFTP service, and reading the FTP configuration, beside the bare calls that the same needs.
#include <ifaddrs.h>
#include <json/json.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "bench.h"
#include "config/ftp_store.h"
#include "db/schema.h"
#include "nec/ftpagent.h"
#include "nec/records.h"
#include "platform/process.h"
#include "support/folder.h"

namespace {

constexpr unsigned long nodeIpRequest = 0xB0000F;
constexpr CProcID centreAddress{3001, 1};
constexpr const char* ne = "10.2.3.4";

const std::string description = R"({"processes": {"nms_1": {"LVS_south": {"vips": [{"vip": "172.16.0.9",
    "proxy": [{"targetnetwork": "10.2.0.0", "networkmask": "255.255.0.0"}]}]}}}})";

void require(bool holds, const char* what) {
    if (!holds) throw std::runtime_error(what);
}

std::string southOf(int candidates) {
    std::string south;
    for (int i = 0; i < candidates; ++i)
        south += "10.77." + std::to_string(i / 250) + "." + std::to_string(i % 250 + 1) + ";";
    return south;
}

// A process with an FTP configuration, a management centre that knows nothing, and a load balancer's description.
class Site {
public:
    explicit Site(int candidates) {
        std::filesystem::create_directory(folder_.file("bin"));
        folder_.write("bin/cd", "#!/bin/sh\n");
        require(chmod(folder_.file("bin/cd").c_str(), 0700) == 0, "cannot make a program cd");
        setenv("PATH", folder_.file("bin").c_str(), 1);
        setenv("PROCESS_NAME", "nms", 1);
        setenv("APP_CONF_FILE", folder_.write("app_version.json", description).c_str(), 1);
        frame::Config config;
        config.process = {3005, 7, 0};
        config.log.level = frame::LogLevel::off;
        config.log.trace = false;
        config.database.url = "sqlite:" + database();
        config.sysConfig.south = southOf(candidates);
        process_ = std::make_unique<frame::Process>(config);
        dao::CSqlSession session;
        frame::schema().migrate(session.connection());
        frame::setFtpParameters({"nec", "secret", "/ftp", 21, 22});
        centre_ = process_->localBus()->connect(centreAddress);
        serving_ =
            centre_->serveRequests(nodeIpRequest, [answer = frame::encode(asn_frame::AsnFrameGetNodeIPResponse())](
                                                      const frame::RequestMessage&) { return answer; });
    }

    std::string database() const { return folder_.file("nec.db"); }
    frame::BusEngine& bus() { return process_->bus(); }

private:
    support::Folder folder_;
    std::unique_ptr<frame::Process> process_;
    std::unique_ptr<frame::BusEngine> centre_;
    frame::Subscription serving_;
};

void choose() {
    NEC::FTPSvcInfo svc;
    if (NEC::FTPAgent::GetSFTPSvcByNEIP(svc, ne, false) != 0 || svc.strIP != "172.16.0.9")
        throw std::runtime_error("the service was not found");
}

// Parameters in a database, without the platform.
void makeDatabase(const std::string& file) {
    sqlite3* database = nullptr;
    require(sqlite3_open(file.c_str(), &database) == SQLITE_OK, "cannot make a database");
    constexpr const char* sql =
        "PRAGMA journal_mode = WAL;"
        "CREATE TABLE ftp_parameters (id INTEGER PRIMARY KEY, user_name TEXT, password TEXT, root_directory TEXT,"
        " ftp_port INTEGER, sftp_port INTEGER);"
        "INSERT INTO ftp_parameters VALUES (1, 'nec', 'secret', '/ftp', 21, 22)";
    require(sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK, "cannot fill a database");
    sqlite3_close(database);
}

// The same query on an open connection, from its text each time.
class BareQuery {
public:
    explicit BareQuery(const std::string& file) {
        require(sqlite3_open(file.c_str(), &database_) == SQLITE_OK, "cannot open the database");
    }
    ~BareQuery() { sqlite3_close(database_); }
    BareQuery(const BareQuery&) = delete;
    BareQuery& operator=(const BareQuery&) = delete;

    void read() {
        sqlite3_stmt* statement = nullptr;
        sqlite3_prepare_v2(database_,
                           "SELECT user_name, password, root_directory, ftp_port, sftp_port FROM ftp_parameters"
                           " WHERE id = 1",
                           -1, &statement, nullptr);
        const bool found = sqlite3_step(statement) == SQLITE_ROW;
        if (found) {
            for (int column = 0; column < 3; ++column)
                texts_[static_cast<std::size_t>(column)] =
                    reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
            bench::keep(sqlite3_column_int(statement, 3) + sqlite3_column_int(statement, 4));
        }
        sqlite3_finalize(statement);
        require(found, "no parameters in the database");
    }

private:
    sqlite3* database_ = nullptr;
    std::array<std::string, 3> texts_;
};

// What one choice cannot do without.
class BareParts {
public:
    explicit BareParts(Site& site) : query_(site.database()), bus_(site.bus()) {
        asn_frame::AsnOctsList list;
        *list.Append() = ne;
        request_.id = nodeIpRequest;
        request_.sender = bus_.address();
        request_.record = frame::encode(list);
    }

    void doAll() {
        query_.read();
        frame::Payload answer;
        require(bus_.request(centreAddress, request_, 60, answer) == frame::RequestCode::ok, "no answer");
        ifaddrs* interfaces = nullptr;
        require(getifaddrs(&interfaces) == 0, "no addresses");
        freeifaddrs(interfaces);
        std::ifstream file(std::getenv("APP_CONF_FILE"));
        Json::Value root;
        require(Json::parseFromStream(reader_, file, &root, nullptr), "no description");
    }

private:
    BareQuery query_;
    frame::BusEngine& bus_;
    frame::RequestMessage request_;
    Json::CharReaderBuilder reader_;
};

bench::Figures choosing(const bench::Run& run) {
    Site site(8);
    choose();  // from now on the directory is known
    BareParts bare(site);
    return bench::alternate(run, bench::Clock::wall, 1, choose, [&] { bare.doAll(); });
}

// A candidate among many beside one among few: 1 when the time grows with their number and no faster.
bench::Figures growing(const bench::Run& run) {
    constexpr int many = 10'000;
    constexpr int few = 1'000;
    bench::Figures figures;
    for (const int candidates : {many, few}) {
        Site site(candidates);
        choose();
        (candidates == many ? figures.ours : figures.peer) = bench::time(run, bench::Clock::wall, candidates, choose);
    }
    return figures;
}

// The time that a bare query takes in a process of its own: in this one the platform sets SQLite up its own way.
double bareQueryTime(const bench::Run& run, const std::string& database) {
    std::array<int, 2> ends{};
    require(pipe(ends.data()) == 0, "no pipe");
    const pid_t child = fork();
    require(child != -1, "no process");
    if (child == 0) try {
            makeDatabase(database);
            BareQuery bare(database);
            const double found = bench::time(run, bench::Clock::wall, 1, [&] { bare.read(); });
            _exit(write(ends[1], &found, sizeof found) == sizeof found ? 0 : 1);
        } catch (const std::exception&) {
            _exit(1);
        }
    close(ends[1]);
    double found = 0;
    const bool read = ::read(ends[0], &found, sizeof found) == sizeof found;
    close(ends[0]);
    int status = 0;
    require(waitpid(child, &status, 0) == child && status == 0 && read, "the bare query failed");
    return found;
}

bench::Figures reading(const bench::Run& run) {
    const support::Folder folder;
    bench::Figures figures;
    figures.peer = bareQueryTime(run, folder.file("bare.db"));
    const Site site(1);
    figures.ours = bench::time(run, bench::Clock::wall, 1, [] {
        TESUcommon::FTPPara para;
        require(TESUcommon::FTPConfigure::instance()->getFtpPara(para) == 0, "no parameters");
    });
    return figures;
}

const bool registered =
    bench::add({"SFTP service, 8 candidates, all local, ns; peer: its bare parts", bench::atMost(1.5), choosing}) &&
    bench::add(
        {"SFTP service, 10,000 candidates: a candidate, ns; peer: a candidate of 1,000", bench::atMost(2), growing}) &&
    bench::add({"FTP parameters read, ns; peer: bare SQLite query, from its text", bench::atMost(1.5), reading});

}  // namespace
