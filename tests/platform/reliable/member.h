// One of the processes to which the chaos test does harm: it is started, killed, stopped and started again.
#pragma once

#include <cstdint>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "effects.h"
#include "support/folder.h"
#include "support/run.h"

namespace reliable_test {

class Member {
public:
    // `arguments`: of the program. What it says goes to the end of the file `log`.
    Member(std::vector<std::string> arguments, std::string log)
        : arguments_(std::move(arguments)), log_(std::move(log)) {}
    virtual ~Member() = default;
    Member(const Member&) = delete;
    Member& operator=(const Member&) = delete;

    virtual void start() { run(arguments_); }
    // Throws std::runtime_error, with its log, when it had ended by itself.
    void kill() {
        child_->signal(SIGKILL);
        const support::Outcome ended = child_->wait();
        child_.reset();
        if (ended.signal != SIGKILL) throw std::runtime_error("a process ended by itself: " + support::contentOf(log_));
    }
    void freeze() { child_->signal(SIGSTOP); }
    void thaw() { child_->signal(SIGCONT); }

protected:
    const std::vector<std::string>& arguments() const { return arguments_; }
    // Whatever happens, it ends with the thread that starts it.
    void run(const std::vector<std::string>& arguments) {
        std::vector<std::string> command{"setpriv", "--pdeathsig=KILL",           "--", "sh",
                                         "-c",      R"(exec 2>>"$0"; exec "$@")", log_, RELIABLE_MEMBER};
        command.insert(command.end(), arguments.begin(), arguments.end());
        child_.emplace(command);
    }

private:
    const std::vector<std::string> arguments_;
    const std::string log_;
    std::optional<support::Child> child_;
};

// Its numbers say whose they are, in which of its lives they were sent, and which of that life's.
class SendingMember final : public Member {
public:
    SendingMember(const std::string& urls, std::int64_t handle, const support::Folder& folder)
        : SendingMember(urls, handle, folder, "sender-" + std::to_string(handle)) {}

    void start() override { startWith({std::to_string(nextLife())}); }
    // Sends one more message, and stays to hand over what waits. Returns its number.
    std::int64_t startLast() {
        const std::int64_t number = nextLife();
        startWith({std::to_string(number), "1"});
        return number;
    }
    std::vector<std::int64_t> accepted() const {
        std::ifstream stream(acceptedFile_);
        std::vector<std::int64_t> numbers;
        for (std::int64_t number = 0; stream >> number;) numbers.push_back(number);
        return numbers;
    }
    static std::int64_t senderOf(std::int64_t number) { return number / numbersASender; }

private:
    static constexpr std::int64_t numbersASender = 1'000'000'000'000;
    static constexpr std::int64_t numbersALife = 1'000'000;

    SendingMember(const std::string& urls, std::int64_t handle, const support::Folder& folder, const std::string& name)
        : Member({"send", urls, std::to_string(handle), folder.file(name + ".outbox"), folder.file(name + ".accepted")},
                 folder.file(name + ".log")),
          acceptedFile_(folder.file(name + ".accepted")),
          number_(handle * numbersASender) {}

    std::int64_t nextLife() { return number_ += numbersALife; }
    void startWith(const std::vector<std::string>& more) {
        auto all = arguments();
        all.insert(all.end(), more.begin(), more.end());
        run(all);
    }

    const std::string acceptedFile_;
    std::int64_t number_;
};

class ReceivingMember final : public Member {
public:
    // The effects are shared by those with the same `effects`.
    ReceivingMember(const std::string& urls, CProcID address, const support::Folder& folder, const std::string& effects)
        : ReceivingMember(urls, address, folder, effects,
                          "receiver-" + std::to_string(address.procType) + '-' + std::to_string(address.procHandle)) {}

    const std::string& effectsFile() const { return effectsFile_; }

private:
    ReceivingMember(const std::string& urls, CProcID address, const support::Folder& folder, const std::string& effects,
                    const std::string& name)
        : Member({"receive", urls, std::to_string(address.procType), std::to_string(address.procHandle),
                  folder.file(name + ".outbox"), folder.file(effects)},
                 folder.file(name + ".log")),
          effectsFile_(folder.file(effects)) {}

    const std::string effectsFile_;
};

}  // namespace reliable_test
