// necctl ne and necctl mgr: announcing what happened to NEs, and that an NE manager has started.
#include <CLI/CLI.hpp>
#include <chrono>
#include <functional>
#include <future>
#include <thread>

#include "answers.h"
#include "commands.h"
#include "failure.h"
#include "nec/nenotify.h"
#include "numbers.h"
#include "platform/nats.h"
#include "platform/reliable.h"
#include "platform/task.h"
#include "process.h"

namespace necctl {
namespace {

using std::chrono::steady_clock;

// How long a reliable message may take to reach the bus, and a task to run.
constexpr std::chrono::seconds patience{10};
constexpr std::chrono::milliseconds glance{20};

// A task manager is there only where a task is: command messages to any process of the type are for one that stays.
constexpr Services announcing{true, false, false};
constexpr Services handingOver{true, true, false};
constexpr Services starting{true, false, true};

struct Given {
    std::vector<std::string> ids;
    std::string proc;
    std::string from;
    std::string to;
};

std::vector<unsigned long> idsIn(const Given& given) {
    std::vector<unsigned long> ids;
    for (const std::string& text : given.ids) ids.push_back(numberIn(text, "ID"));
    return ids;
}

std::string textOf(const frame::NatsStatus& status) {
    return std::string("the bus is ") + frame::toText(status.state) +
           (status.lastError.empty() ? "" : ": " + status.lastError);
}

// Calls `notify`. The library does not tell what became of an event, so the connection is looked at before and after.
void announceOver(frame::NatsEngine& bus, const std::function<void()>& notify) {
    const frame::NatsStatus before = bus.status();
    if (before.state != frame::NatsStatus::State::connected)
        throw Failure(unusable, "nothing is announced: " + textOf(before));
    notify();
    const bool flushed = bus.flush();
    const frame::NatsStatus after = bus.status();
    if (!flushed || after.reconnects != before.reconnects || after.lastError != before.lastError)
        throw Failure(unusable, "not all of it may have been announced: " + textOf(after));
}

void announce(const OwnProcess& process, const Options& options, const std::function<void()>& notify) {
    const frame::LogCapture log;
    if (auto* bus = dynamic_cast<frame::NatsEngine*>(&process.bus()); bus != nullptr)
        announceOver(*bus, notify);
    else
        notify();
    if (const std::string errors = errorsIn(log.records(), 0); !errors.empty())
        throw Failure(unusable, "not all of it was sent" + errors);
    if (process.alone()) options.say("the embedded bus stays inside this program: nobody hears it");
}

// What the bus has taken leaves the outbox; what it has not stays there.
void awaitHandedOver(const OwnProcess& process, const Options& options) try {
    const std::string& file = process.config().reliable.file;
    const auto end = steady_clock::now() + patience;
    std::uint64_t waiting = frame::readOutbox(file, 0).depth;
    while (waiting != 0 && !process.alone() && steady_clock::now() < end) {
        std::this_thread::sleep_for(glance);
        waiting = frame::readOutbox(file, 0).depth;
    }
    if (waiting != 0)
        options.say(std::to_string(waiting) + " reliable messages wait in " + escaped(file) +
                    ": they go on when a process runs with this configuration and the bus takes them");
} catch (const std::runtime_error& error) {
    throw Failure(unusable, error.what());
}

void created(const Given& given, const Options& options) {
    const auto ids = idsIn(given);
    const auto proc = given.proc.empty() ? std::nullopt : std::optional(addressIn(given.proc, "--proc"));
    const OwnProcess process(options, {}, announcing);
    announce(process, options, [&] {
        for (const unsigned long id : ids) proc ? NEC::NotifyNECreated(id, *proc) : NEC::NotifyNECreated(id);
    });
}

void deleted(const Given& given, const Options& options) {
    const auto ids = idsIn(given);
    const OwnProcess process(options, {}, announcing);
    announce(process, options, [&] {
        for (const unsigned long id : ids) NEC::NotifyNEDelete(id);
    });
}

void transferred(const Given& given, const Options& options) {
    const auto ids = idsIn(given);
    const CProcID to = addressIn(given.to, "--to");
    if (!given.from.empty()) {
        const CProcID from = addressIn(given.from, "--from");
        const OwnProcess process(options, {}, announcing);
        return announce(process, options, [&] { NEC::NotifyNETransfer(ids, from, to); });
    }
    const OwnProcess process(options, {}, handingOver);
    announce(process, options, [&] { NEC::NotifyNETransfer(ids, to); });
    awaitHandedOver(process, options);
}

// Announces it inside a task, where that is done when the call returns.
class Starting : public TesuGnlTask {
public:
    Starting(TesuTaskMgr* manager, std::promise<void>& done) : TesuGnlTask(manager, "necctl"), done_(done) {}
    void InitTaskCmdReqProcess(CmdMSG*) override {
        NEC::NotifyNEMgrSvrStartup();
        done_.set_value();
        TesuSetTaskState(taskRetired);
    }

private:
    std::promise<void>& done_;
};

void started(const Options& options) {
    std::promise<void> done;  // outlives the process's tasks
    const OwnProcess process(options, {}, starting);
    announce(process, options, [&] {
        TesuTaskMgr* manager = TesuAppMgr::Instance()->FindTaskMgrByID(0);
        manager->TMInitInsertTask(new Starting(manager, done));
        if (done.get_future().wait_for(patience) != std::future_status::ready)
            throw Failure(unusable, "the task manager does not run what it was given");
    });
}

CLI::App* addNotice(CLI::App& group, const char* name, const char* help, const std::shared_ptr<Given>& given) {
    CLI::App* command = group.add_subcommand(name, help);
    command->add_option("ID", given->ids, "Numbers of NEs, decimal or hexadecimal as in 0x1F")->required();
    return command;
}

void addNotices(CLI::App& app, const Options& options) {
    CLI::App* group = app.add_subcommand("ne", "Announce what happened to NEs, as this process")->require_subcommand(1);
    const auto given = std::make_shared<Given>();
    CLI::App* creating = addNotice(*group, "created", "Announce new NEs: event 0x217006 for each", given);
    creating->add_option("--proc", given->proc, "The process that has them; without it, this one")->type_name("T:H");
    creating->callback([given, &options] { created(*given, options); });

    addNotice(*group, "deleted", "Announce that NEs are gone: event 0x217008 for each", given)
        ->callback([given, &options] { deleted(*given, options); });

    CLI::App* handing = addNotice(*group, "transferred",
                                  "Announce that another process has NEs: event 0x217007 and reliable message "
                                  "0xB0762A; with --from event 0x217006 alone",
                                  given);
    handing->add_option("--to", given->to, "The process that has them now")->type_name("T:H")->required();
    handing->add_option("--from", given->from, "The process that had them; without it, this one")->type_name("T:H");
    handing->callback([given, &options] { transferred(*given, options); });
}

}  // namespace

void addNeCommands(CLI::App& app, const Options& options) {
    addNotices(app, options);
    CLI::App* group = app.add_subcommand("mgr", "NE manager servers")->require_subcommand(1);
    group->add_subcommand("started", "Announce that this process, an NE manager, has started: event 0x217005")
        ->callback([&options] { started(options); });
}

}  // namespace necctl
