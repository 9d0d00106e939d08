#include "process.h"

#include "failure.h"

namespace necctl {
namespace {

const frame::LogOptions noLog{{}, frame::LogLevel::off, false};

}  // namespace

std::unique_ptr<frame::Process> makeProcess(const Options& options) {
    try {
        frame::Config config = frame::readConfig(options.config);
        config.log = noLog;
        config.reliable.file.clear();
        config.events = {false, false};
        return std::make_unique<frame::Process>(config);
    } catch (const std::runtime_error& error) {
        throw Failure(unusable, error.what());
    }
}

void silenceLog() {
    frame::openLog(noLog, 0, 0);
}

}  // namespace necctl
