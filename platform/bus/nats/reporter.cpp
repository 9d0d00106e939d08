#include "bus/nats/reporter.h"

#include <unistd.h>

#include <array>
#include <chrono>

#include "bus/nats/process_status.h"

namespace frame::nats {

namespace {

std::int64_t nowUnixMilliseconds() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

std::string hostName() {
    std::array<char, 256> name{};
    gethostname(name.data(), name.size() - 1);
    return name.data();
}

}  // namespace

Reporter::Reporter(Station& station) : station_(station), startedUnixMilliseconds_(nowUnixMilliseconds()) {
    for (const std::string& subject :
         {station_.subjects().everybody(statusKind), station_.subjects().to(statusKind, station_.address())})
        station_.listen(subject, "", [this](const Incoming& question) { answer(question); });
}

// On the client's thread: also where a sink does not return.
void Reporter::answer(const Incoming& question) {
    if (question.reply.empty()) return station_.complain(question.subject, "a question without a place for its answer");
    const std::string text = status();
    Outgoing answer;
    answer.subject = std::string(question.reply);
    answer.record = text;
    answer.result = resultOk;
    station_.send(answer);
}

std::string Reporter::status() {
    ProcessStatus status;
    status.address = station_.address();
    status.host = hostName();
    status.pid = static_cast<std::uint64_t>(getpid());
    status.startedUnixMilliseconds = startedUnixMilliseconds_;
    status.bus = station_.status();
    fields_.each([&status](const StatusFields& fields, const auto&) {
        for (auto& field : fields()) status.more.push_back(std::move(field));
    });
    return writeStatus(status);
}

}  // namespace frame::nats
