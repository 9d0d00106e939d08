// Three brokers and four processes, to all of which bad things happen at times that a seed decides. NEC_CHAOS_SECONDS
// says how long, NEC_CHAOS_SEED repeats the decisions of another run.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>

#include "member.h"
#include "support/nats_admin.h"
#include "support/nats_cluster.h"

namespace reliable_test {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds shortestCalm{50};
constexpr milliseconds longestCalm{1000};
constexpr milliseconds shortestHarm{50};
constexpr milliseconds longestHarm{6000};
constexpr std::chrono::seconds timeToDrain{150};

std::uint64_t fromEnvironment(const char* name, std::uint64_t otherwise) {
    const char* text = std::getenv(name);
    return text != nullptr ? std::stoull(text) : otherwise;
}

void letRun(milliseconds time) {
    poll(nullptr, 0, static_cast<int>(time.count()));
}

template <class Condition>
[[nodiscard]] bool eventually(const Condition& condition) {
    const auto deadline = Clock::now() + timeToDrain;
    while (!condition()) {
        if (Clock::now() > deadline) return false;
        letRun(milliseconds(20));
    }
    return true;
}

class Chaos : public testing::Test {
protected:
    enum class Harm { freeze, kill, wipe };
    static constexpr std::size_t brokers = support::NatsCluster::size;

    Chaos() {
        for (const auto& url : cluster_.urls()) urls_ += (urls_.empty() ? "" : ",") + url;
        for (const int handle : {1, 2}) senders_.push_back(std::make_unique<SendingMember>(urls_, handle, folder_));
        // Two of one type share what comes; of two types each gets all.
        const bool shared = seed_ % 2 == 0;
        for (const std::uint16_t number : {std::uint16_t{1}, std::uint16_t{2}}) {
            const auto type = static_cast<std::uint16_t>(shared ? 3010 : 3010 + number);
            receivers_.push_back(std::make_unique<ReceivingMember>(urls_, CProcID{type, number}, folder_,
                                                                   "effects-" + std::to_string(type)));
        }
        for (const auto& receiver : receivers_) members_.push_back(receiver.get());
        for (const auto& sender : senders_) members_.push_back(sender.get());
    }

    milliseconds between(milliseconds least, milliseconds most) {
        return milliseconds(std::uniform_int_distribution<milliseconds::rep>(least.count(), most.count())(random_));
    }
    std::size_t below(std::size_t count) { return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_); }

    // Until something has passed, and all brokers have it.
    void start() {
        for (Member* member : members_) member->start();
        for (const std::string& file : effectsFiles()) {
            Effects effects(file);
            ASSERT_TRUE(eventually([&] { return !effects.numbers().empty(); }));
        }
        ASSERT_TRUE(eventually([this] { return allKeepAll(); }));
    }

    // Harm and healing, until time is up and all is healed.
    void rage(std::chrono::seconds length) {
        begin_ = Clock::now();
        harm(below(brokers), Harm::wipe);
        auto next = begin_ + between(shortestCalm, longestCalm);
        while (Clock::now() < begin_ + length) {
            const auto due = harmed_.empty() ? next : std::min(next, earliestHealing()->second.until);
            letRun(std::max(milliseconds(0), std::chrono::ceil<milliseconds>(due - Clock::now())));
            healWhatIsDue(Clock::now());
            if (Clock::now() < next) continue;
            harmSomebody();
            next = Clock::now() + between(shortestCalm, longestCalm);
        }
        healWhatIsDue(Clock::time_point::max());
    }

    // All that was sent arrives: each sender's last message does.
    void drain() {
        std::set<std::int64_t> last;
        for (const auto& sender : senders_) {
            sender->kill();
            last.insert(sender->startLast());
        }
        for (const std::string& file : effectsFiles()) {
            Effects effects(file);
            EXPECT_TRUE(eventually([&] {
                const auto numbers = effects.numbers();
                const std::set<std::int64_t> there(numbers.begin(), numbers.end());
                return std::includes(there.begin(), there.end(), last.begin(), last.end());
            })) << "not all arrives at "
                << file;
        }
        for (Member* member : members_) member->kill();
    }

    std::set<std::string> effectsFiles() const {
        std::set<std::string> files;
        for (const auto& receiver : receivers_) files.insert(receiver->effectsFile());
        return files;
    }

    // Of the messages of one sender those that had an effect, in the order of their effects.
    static void check(const SendingMember& sender, std::int64_t handle, Effects& effects) {
        std::vector<std::int64_t> handled;
        for (const std::int64_t number : effects.numbers())
            if (SendingMember::senderOf(number) == handle) handled.push_back(number);
        std::vector<std::int64_t> wrong;
        for (std::size_t i = 1; i < handled.size(); ++i)
            if (handled[i] <= handled[i - 1]) wrong.push_back(handled[i]);
        EXPECT_THAT(wrong, testing::IsEmpty()) << "repeated, or behind newer ones";
        std::sort(handled.begin(), handled.end());
        const auto accepted = sender.accepted();
        std::vector<std::int64_t> lost;
        std::set_difference(accepted.begin(), accepted.end(), handled.begin(), handled.end(), std::back_inserter(lost));
        EXPECT_THAT(lost, testing::IsEmpty());
        EXPECT_FALSE(accepted.empty());
        std::cout << "sender " << handle << ": " << accepted.size() << " accepted, " << handled.size() << " handled\n";
    }
    void checkAll() {
        std::cout << harms_[Harm::freeze] << " times something was stopped, " << harms_[Harm::kill] << " times killed, "
                  << harms_[Harm::wipe] << " times a broker lost its store\n";
        for (const std::string& file : effectsFiles()) {
            SCOPED_TRACE(file);
            Effects effects(file);
            for (std::size_t i = 0; i < senders_.size(); ++i)
                check(*senders_[i], static_cast<std::int64_t>(i) + 1, effects);
            std::cout << effects.repeats() << " came again and were dropped\n";
        }
    }

    const std::uint64_t seed_ = fromEnvironment("NEC_CHAOS_SEED", std::random_device{}());
    std::ostringstream story_;

private:
    struct Harmed {
        Harm harm;
        Clock::time_point until;
    };
    using Targets = std::map<std::size_t, Harmed>;  // brokers first, then members

    Targets::iterator earliestHealing() {
        return std::min_element(harmed_.begin(), harmed_.end(),
                                [](const auto& a, const auto& b) { return a.second.until < b.second.until; });
    }

    void harmSomebody() {
        const std::size_t target = below(brokers + members_.size());
        const auto drawn = static_cast<Harm>(below(target < brokers ? 3 : 2));
        if (harmed_.count(target) != 0) return;
        harm(target, drawn != Harm::wipe || allKeepAll() ? drawn : Harm::kill);
    }

    void harm(std::size_t target, Harm harm) {
        ++harms_[harm];
        tell(harm == Harm::freeze ? "stops" : harm == Harm::kill ? "kills" : "wipes", target);
        doHarm(target, harm);
        harmed_[target] = {harm, Clock::now() + between(shortestHarm, longestHarm)};
    }

    void doHarm(std::size_t target, Harm harm) {
        if (target >= brokers) {
            Member& member = *members_[target - brokers];
            return harm == Harm::freeze ? member.freeze() : member.kill();
        }
        auto& node = cluster_.node(target);
        if (harm == Harm::freeze) return node.freeze();
        node.kill();
        if (harm == Harm::wipe) node.loseStore();
    }

    void healWhatIsDue(Clock::time_point now) {
        while (!harmed_.empty()) {
            const auto earliest = earliestHealing();
            if (earliest->second.until > now) return;
            tell("heals", earliest->first);
            heal(earliest->first, earliest->second.harm);
            harmed_.erase(earliest);
        }
    }

    void heal(std::size_t target, Harm harm) {
        const bool frozen = harm == Harm::freeze;
        if (target < brokers) return frozen ? cluster_.node(target).thaw() : cluster_.node(target).start();
        Member& member = *members_[target - brokers];
        return frozen ? member.thaw() : member.start();
    }

    // Whether each broker is there and has every message: then one of them may lose its own.
    bool allKeepAll() {
        for (std::size_t i = 0; i < brokers; ++i)
            if (harmed_.count(i) != 0) return false;
        try {
            return support::NatsAdmin(cluster_.node(0).url()).replicasAreCurrent();
        } catch (const std::runtime_error&) {  // it has hardly started
            return false;
        }
    }

    void tell(const std::string& what, std::size_t target) {
        const auto since = std::chrono::duration_cast<milliseconds>(Clock::now() - begin_);
        story_ << since.count() << " ms: " << what << ' '
               << (target < brokers ? support::NatsCluster::nameOf(target)
                                    : "process " + std::to_string(target - brokers + 1))
               << '\n';
    }

    support::Folder folder_;
    support::NatsCluster cluster_;
    std::string urls_;
    std::vector<std::unique_ptr<SendingMember>> senders_;
    std::vector<std::unique_ptr<ReceivingMember>> receivers_;
    std::vector<Member*> members_;
    std::minstd_rand random_{static_cast<std::minstd_rand::result_type>(seed_)};
    Clock::time_point begin_;
    Targets harmed_;
    std::map<Harm, int> harms_;
};

TEST_F(Chaos, LosesNothingThatWasAcceptedKeepsOrderAndDropsRepeats) {
    const std::chrono::seconds length(fromEnvironment("NEC_CHAOS_SECONDS", 15));
    std::cout << "NEC_CHAOS_SEED=" << seed_ << " NEC_CHAOS_SECONDS=" << length.count() << std::endl;
    ASSERT_NO_FATAL_FAILURE(start());
    rage(length);
    drain();
    checkAll();
    if (HasFailure()) std::cout << story_.str();
}

}  // namespace

}  // namespace reliable_test
