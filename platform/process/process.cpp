// The process: services in the order in which they stand on each other. Members are destroyed in reverse, also those
// that exist when a later one cannot be made, so nothing is left behind.
#include "platform/process.h"

#include <atomic>
#include <optional>
#include <stdexcept>

#include "platform/event.h"
#include "platform/log.h"
#include "platform/nats.h"
#include "platform/reliable.h"
#include "platform/task.h"

namespace frame {
namespace {

// Holds the one place for a process in this program.
class OnlyOne {
public:
    OnlyOne() {
        if (taken.exchange(true)) throw std::logic_error("frame::Process: another process lives in this program");
    }
    ~OnlyOne() { taken.store(false); }
    OnlyOne(const OnlyOne&) = delete;
    OnlyOne& operator=(const OnlyOne&) = delete;

private:
    static inline std::atomic<bool> taken{false};
};

class OpenLog {
public:
    explicit OpenLog(const Config& config) { openLog(config.log, config.process.type, config.process.handle); }
    ~OpenLog() { closeLog(); }
    OpenLog(const OpenLog&) = delete;
    OpenLog& operator=(const OpenLog&) = delete;
};

class OwnProcess {
public:
    explicit OwnProcess(const Config::OwnProcess& own) { setOwnProcess(own.type, own.handle, own.desk); }
    ~OwnProcess() { setOwnProcess(0, 0, 0); }
    OwnProcess(const OwnProcess&) = delete;
    OwnProcess& operator=(const OwnProcess&) = delete;
};

class OwnSysConfig {
public:
    explicit OwnSysConfig(const SysConfigOptions& options) { setSysConfig(options); }
    ~OwnSysConfig() { setSysConfig({}); }
    OwnSysConfig(const OwnSysConfig&) = delete;
    OwnSysConfig& operator=(const OwnSysConfig&) = delete;
};

const Config& validated(const Config& config) {
    const auto require = [](bool holds, const char* what) {
        if (!holds) throw std::invalid_argument(what);
    };
    require(config.process.type != 0, "frame::Process: process type 0; expected 1 to 65535");
    require(config.process.handle != 0, "frame::Process: process handle 0; expected 1 to 65535");
    require(config.busEngine == "local" || config.busEngine == "nats",
            "frame::Process: unknown bus engine; expected \"local\" or \"nats\"");
    require(config.reliable.limit != 0, "frame::Process: reliable limit 0; expected 1 or more");
    return config;
}

}  // namespace

class Process::Impl {
public:
    explicit Impl(const Config& options)
        : config(validated(options)),
          log(config),
          engine(connect()),
          own(config.process),
          sysConfig(config.sysConfig),
          messages(*engine),
          http(config.http),
          database(config.database),
          tasks(*engine, config.process.desk, config.taskManagers, TaskManagers::Reach::ofTheProcess),
          events(*engine, config.events) {
        if (config.reliable.file.empty()) return;
        reliable.emplace(*engine, config.reliable);
        if (auto* nats = dynamic_cast<NatsEngine*>(engine.get()))
            outboxStatus = nats->addStatus([this] {
                const OutboxStatus status = reliable->status();
                return std::vector<std::pair<std::string, std::uint64_t>>{{"outbox_depth", status.depth},
                                                                          {"outbox_held", status.held}};
            });
    }
    // Each service waits for the handlers and tasks that it runs, and those may wait in another one that would be
    // destroyed later.
    ~Impl() {
        http.breakOff();
        messages.breakOff();
        tasks.breakOff();
    }
    // This process's place on the bus that its configuration names.
    std::unique_ptr<BusEngine> connect() {
        const CProcID address{config.process.type, config.process.handle};
        if (config.busEngine == "nats") return connectNats(address, config.nats);
        return bus.emplace().connect(address);
    }

    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    const Config config;
    const OnlyOne onlyOne;
    const OpenLog log;
    std::optional<LocalBus> bus;  // with that engine
    const std::unique_ptr<BusEngine> engine;
    const OwnProcess own;
    const OwnSysConfig sysConfig;
    Messages messages;
    HttpService http;
    const Database database;
    TaskManagers tasks;
    const EventManagers events;
    std::optional<ReliableChannel> reliable;
    Subscription outboxStatus;  // ends before what it tells of
};

Process::Process(const Config& config) : impl_(std::make_unique<Impl>(config)) {}

Process::Process(const std::string& configFile) : Process(readConfig(configFile)) {}

Process::~Process() = default;

const Config& Process::config() const {
    return impl_->config;
}

BusEngine& Process::bus() {
    return *impl_->engine;
}

LocalBus* Process::localBus() {
    return impl_->bus ? &*impl_->bus : nullptr;
}

}  // namespace frame
