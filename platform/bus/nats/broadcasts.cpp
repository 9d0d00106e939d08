#include "bus/nats/broadcasts.h"

#include <limits>
#include <utility>

#include "bus/received.h"

namespace frame::nats {

namespace {

// Who fetches more than this is quick.
constexpr double liveOctetsASecond = 32 << 20U;

bool isCommand(const std::optional<unsigned long>& id) {
    return id && *id <= std::numeric_limits<std::uint32_t>::max();
}

}  // namespace

// One subscription: what was announced waits for a thread that fetches it, and what was fetched for the sink's thread.
class Broadcasts::Receiving {
public:
    Receiving(Broadcasts& owner, std::uint16_t target, BroadcastSink sink)
        : owner_(owner),
          target_(target),
          exchange_(owner.station_, owner.off_),
          receiver_(owner.receivers_.add(target, std::move(sink))) {}

    // Once, before anything comes.
    void start(const std::shared_ptr<Receiving>& self) {
        self_ = self;
        key_ = owner_.station_.listen(owner_.station_.subjects().announcements(target_), "",
                                      [self](Incoming message) { self->take(std::move(message)); });
    }

    // On a thread of the client, perhaps also after the end.
    void take(Incoming message) {
        Station& station = owner_.station_;
        auto announced = readAnnouncement(message.broadcast());
        if (!isCommand(message.id()) || (!announced && !message.broadcast().empty()))
            return station.complain(message.subject, "no announcement of a broadcast, from " + toText(message.sender));
        auto place = station.admit(room_, message.subject, message.record.size());
        if (place) fetcher_.push({*this, std::move(*place), std::move(message), std::move(announced)});
    }

    void end() {
        owner_.station_.ignore(key_);
        exchange_.stop();
        fetcher_.stop();
        listenLive(false);
        receiver_->stop();
    }

private:
    // What waits to be fetched, or only to be handed over.
    struct Told {
        Receiving& receiving;
        Room::Place place;
        Incoming message;
        std::optional<Announcement> announced;

        void operator()() const { receiving.handOver(message, announced); }
    };

    void handOver(const Incoming& message, const std::optional<Announcement>& announced) {
        BroadcastMessage broadcast{static_cast<std::uint32_t>(*message.id()), target_, message.sender, message.record};
        if (announced) {
            auto record = fetch(message, *announced);
            if (!record) return;
            broadcast.record = std::move(*record);
        }
        receiver_->push(broadcast);
    }

    std::optional<Payload> fetch(const Incoming& message, const Announcement& announced) {
        const auto begin = Exchange::Clock::now();
        auto fetched = owner_.store_.fetch(exchange_, live_, target_, announced);
        if (!fetched.error.empty())
            owner_.station_.complain(message.subject, "a broadcast of " + std::to_string(announced.octets) +
                                                          " octets from " + toText(message.sender) + ": " +
                                                          fetched.error);
        const std::chrono::duration<double> took = Exchange::Clock::now() - begin;
        if (fetched.asked != 0)
            listenLive(fetched.record && static_cast<double>(fetched.asked) > liveOctetsASecond * took.count());
        return std::move(fetched.record);
    }

    // A process that fetches quickly lets the server send it pieces as they are published: that takes the server half
    // the work. One that is slow, or far away, does not: the server would cut it off for not reading.
    void listenLive(bool wanted) {
        Station& station = owner_.station_;
        if (wanted && !liveKey_)
            liveKey_ = station.listenRaw(station.subjects().pieces(target_), [live = self_](Message piece) {
                if (const auto self = live.lock()) self->live_.put(std::move(piece));
            });
        if (wanted || !liveKey_) return;
        station.ignore(*std::exchange(liveKey_, std::nullopt));
        live_.clear();
    }

    Broadcasts& owner_;
    const std::uint16_t target_;
    Exchange exchange_;
    const std::shared_ptr<Room> room_ = owner_.station_.room();
    const std::shared_ptr<BroadcastReceiver> receiver_;
    LivePieces live_{owner_.station_.limits()};
    std::weak_ptr<Receiving> self_;
    Interests::Key key_ = 0;
    std::optional<Interests::Key> liveKey_;
    Executor<Told> fetcher_;
};

RequestCode Broadcasts::send(const BroadcastMessage& message) {
    if (message.record.size() > mostBroadcastOctets) return RequestCode::tooLarge;
    if (!station_.connected()) return RequestCode::down;
    Outgoing announcement;
    announcement.subject = station_.subjects().announcements(message.target);
    announcement.id = idText(message.command);
    if (!enclose(message, announcement)) return RequestCode::down;
    // When it returns the server has it: who subscribes from then on does not hear it.
    return station_.send(announcement) && station_.flush() ? RequestCode::ok : RequestCode::down;
}

bool Broadcasts::enclose(const BroadcastMessage& message, Outgoing& announcement) {
    if (!station_.needsPieces(message.record)) {
        announcement.record = message.record.view();
        return true;
    }
    Exchange exchange(station_, off_);
    const auto stored = store_.put(exchange, message.target, message.record.view());
    if (!stored.announcement) {
        refusals_.write("broadcast " + idText(message.command) + " to " + std::to_string(message.target) + ", of " +
                        std::to_string(message.record.size()) + " octets, is not sent: " + stored.error);
        return false;
    }
    announcement.broadcast = writeAnnouncement(*stored.announcement);
    return true;
}

std::shared_ptr<Broadcasts::Receiving> Broadcasts::receive(std::uint16_t target, BroadcastSink sink) {
    auto receiving = std::make_shared<Receiving>(*this, target, std::move(sink));
    receiving->start(receiving);
    return receiving;
}

void Broadcasts::end(Receiving& receiving) {
    receiving.end();
}

void Broadcasts::stop() {
    off_ = true;
    receivers_.stopAll();
}

}  // namespace frame::nats
