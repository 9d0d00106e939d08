#include "process.h"

#include "failure.h"

namespace necctl {
namespace {

const frame::LogOptions noLog{{}, frame::LogLevel::off, false};

frame::Config configOf(const Options& options) {
    frame::Config config = frame::readConfig(options.config);
    config.log = noLog;
    config.reliable.file.clear();
    config.events = {false, false};
    config.taskManagers = {0};
    return config;
}

}  // namespace

OwnProcess::OwnProcess(const Options& options, peers::PnpClient::Done pnpDone) try {
    frame::Config config = configOf(options);
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

void silenceLog() {
    frame::openLog(noLog, 0, 0);
}

}  // namespace necctl
