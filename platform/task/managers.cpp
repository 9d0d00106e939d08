// A process's task managers: their doors, and what opens them.
#include <array>
#include <atomic>
#include <bitset>
#include <map>
#include <new>
#include <stdexcept>
#include <utility>

#include "platform/log.h"
#include "task/call.h"
#include "task/manager.h"

namespace frame {

namespace {

using ManagerDoor = Door<TaskManager>;

constexpr std::size_t mostManagers = 256;

// The doors of the process's managers.
constinit std::array<ManagerDoor, mostManagers> processDoors;

// Holds the one place for task managers of the process.
class OnlyOne {
public:
    explicit OnlyOne(TaskManagers::Reach reach) : holds_(reach == TaskManagers::Reach::ofTheProcess) {
        if (holds_ && taken.exchange(true))
            throw std::logic_error("this program has a process with task managers already");
    }
    ~OnlyOne() {
        if (holds_) taken.store(false);
    }
    OnlyOne(const OnlyOne&) = delete;
    OnlyOne& operator=(const OnlyOne&) = delete;

private:
    static inline std::atomic<bool> taken{false};
    const bool holds_;
};

}  // namespace

class TaskManagers::Impl {
public:
    Impl(BusEngine& bus, std::uint16_t desk, const std::vector<unsigned char>& numbers, Reach reach)
        : onlyOne_(reach), recipient_{desk, {}} {
        for (const unsigned char number : numbers) {
            recipient_.managers.set(number);
            places_.try_emplace(number, number, bus, desk, reach);
        }
        // Without managers none are taken: one to any process of the type goes to another, and senders hear of nobody.
        if (!numbers.empty()) subscription_ = bus.receiveCommands([this](const Payload& message) { receive(message); });
    }
    ~Impl() {
        subscription_ = {};
        for (auto& [number, place] : places_) place.stop();  // all, before one waits for its thread
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    static TesuTaskMgr* findOfTheProcess(unsigned char number) {
        return processDoors[number].isOpen() ? &processManagers[number] : nullptr;
    }

    TesuTaskMgr* find(unsigned char number) {
        const auto place = places_.find(number);
        return place == places_.end() ? nullptr : &place->second.outside();
    }

    void breakOff() {
        for (auto& [number, place] : places_) place.inside().breakOff();
    }

private:
    template <std::size_t... number>
    static constexpr std::array<TesuTaskMgr, mostManagers> managersOf(std::index_sequence<number...>) {
        return {TesuTaskMgr(static_cast<unsigned char>(number), processDoors[number])...};
    }

    static std::array<TesuTaskMgr, mostManagers> processManagers;

    // One manager, what callers see of it, and the door between.
    class Place {
    public:
        Place(unsigned char number, BusEngine& bus, std::uint16_t desk, Reach reach)
            : own_(number, ownDoor_),
              outside_(reach == Reach::ofTheProcess ? processManagers[number] : own_),
              manager_(std::make_shared<TaskManager>(number, bus, desk)) {
            outside_.door_->open(*manager_);
        }
        ~Place() {
            stop();
            manager_->join();
        }
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;

        TesuTaskMgr& outside() { return outside_; }
        TaskManager& inside() { return *manager_; }
        void stop() {
            outside_.door_->close();
            manager_->stop();
        }

    private:
        ManagerDoor ownDoor_;
        TesuTaskMgr own_;
        TesuTaskMgr& outside_;
        std::shared_ptr<TaskManager> manager_;
    };

    void receive(const Payload& octets) {
        try {
            const auto [header, fault] = checkMessage(octets.view(), recipient_);
            if (fault.empty())
                places_.at(header.dstManager).inside().take(header, octets);
            else
                logDropped(header, fault);
        } catch (const std::bad_alloc&) {
            logOutOfMemory("a command message was dropped");
        }
    }

    const OnlyOne onlyOne_;
    Recipient recipient_;
    std::map<unsigned char, Place> places_;
    Subscription subscription_;
};

constinit std::array<TesuTaskMgr, mostManagers> TaskManagers::Impl::processManagers =
    managersOf(std::make_index_sequence<mostManagers>());

TaskManagers::TaskManagers(BusEngine& bus, std::uint16_t desk, const std::vector<unsigned char>& numbers, Reach reach)
    : impl_(std::make_unique<Impl>(bus, desk, numbers, reach)) {}

TaskManagers::~TaskManagers() = default;

TesuTaskMgr* TaskManagers::find(unsigned char number) {
    return impl_->find(number);
}

void TaskManagers::breakOff() {
    impl_->breakOff();
}

}  // namespace frame

unsigned long TesuTaskMgr::AllocReqID(TesuTask* task) {
    const auto manager = door_->pin();
    return manager && manager->isOf(task) ? manager->allocateIdentifier(*task) : 0;
}

bool TesuTaskMgr::TMInitInsertTask(TesuTask* task) {
    {
        const auto manager = door_->pin();
        if (manager && manager->isOf(task) && manager->insert(*task)) return true;
    }
    delete task;  // its destructor may do anything, and the manager may be going
    return false;
}

void TesuTaskMgr::TMSetCmdTask(TesuTask* task) {
    if (const auto manager = door_->pin()) manager->setCommandTask(task);
}

TesuAppMgr* TesuAppMgr::Instance() {
    static constinit TesuAppMgr instance;
    return &instance;
}

TesuTaskMgr* TesuAppMgr::FindTaskMgrByID(unsigned char number) {
    return frame::TaskManagers::Impl::findOfTheProcess(number);
}
