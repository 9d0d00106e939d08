#include "process.h"

#include "failure.h"

namespace necctl {
namespace {

const frame::LogOptions noLog{{}, frame::LogLevel::off, false};

frame::Config configOf(const Options& options, const Services& services) {
    frame::Config config = frame::readConfig(options.config);
    config.log = noLog;
    config.reliable.hold = {};
    if (services.reliable)
        requireOutbox(config, options.config);
    else
        config.reliable.file.clear();
    config.events = {services.events, services.events};
    config.taskManagers = services.tasks ? std::vector<unsigned char>{0} : std::vector<unsigned char>{};
    return config;
}

}  // namespace

OwnProcess::OwnProcess(const Options& options, peers::PnpClient::Done pnpDone, Services services) try {
    frame::Config config = configOf(options, services);
    if (!options.withPeers.empty()) {
        silenceLog();
        peers_ = std::make_unique<peers::Host>(options.withPeers, peers::HttpServerOptions{});
        config.http.services = config.sysConfig.managementCentre = peers_->http().url();
    }
    process_ = std::make_unique<frame::Process>(config);
    if (peers_) peers_->join(*process_, std::move(pnpDone));
} catch (const std::runtime_error& error) {
    throw Failure(unusable, error.what());
} catch (const std::invalid_argument& error) {
    throw Failure(unusable, error.what());
}

std::string requireOutbox(const frame::Config& config, const std::string& file) {
    if (!config.reliable.file.empty()) return config.reliable.file;
    throw Failure(unusable, file + ": reliable.file: missing: this process has no reliable channel");
}

void silenceLog() {
    frame::openLog(noLog, 0, 0);
}

}  // namespace necctl
