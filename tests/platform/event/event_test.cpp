// What both event managers promise: who is called for what, in which order, with which record.
#include "platform/event.h"

#include <thread>
#include <vector>

#include "fixture.h"
#include "platform/log.h"
#include "support/folder.h"

using frame::Event;
using frame::EventMessage;
using frame::Payload;
using support::Gate;
using support::Mailbox;

namespace {

// A parameter that tells when it is deleted.
class Counted : public TEEventParam {
public:
    explicit Counted(int& deleted) : deleted_(deleted) {}
    ~Counted() override { ++deleted_; }

private:
    int& deleted_;
};

}  // namespace

TEST_F(EventTest, ClassicEventReachesItsHandlerWithoutARecord) {
    Mailbox<Event> received;
    const auto subscription = classicManager().Subscribe(neCreated, [&](const Event& event) { received.put(event); });
    EXPECT_EQ(classicManager().RaiseEvent(neCreated, 0, new TEEventParam), teEventRaised);
    const auto event = received.take();
    ASSERT_TRUE(event);
    EXPECT_EQ(event->id, neCreated);
    EXPECT_EQ(event->sender, self);
    EXPECT_EQ(event->record.size(), 0U);
}

TEST_F(EventTest, ClassicEventStaysInsideTheProcess) {
    Mailbox<unsigned long> elsewhere;
    Texts here;
    const auto sink = [&](const EventMessage& event) { elsewhere.put(event.id); };
    const auto a = otherEngine_->subscribeEvent(neCreated, sink);
    const auto b = otherEngine_->subscribeEvent(marker, sink);
    const auto c = extendedManager().Subscribe(neCreated, into(here));
    EXPECT_EQ(classicManager().RaiseEvent(neCreated, 0, new TEEventParam), teEventRaised);
    EXPECT_EQ(raise(marker, ""), teEventRaised);
    EXPECT_EQ(elsewhere.take(), marker);
    EXPECT_TRUE(here.empty());
}

TEST_F(EventTest, ExtendedEventReachesItsHandlerWithItsRecord) {
    Mailbox<Event> received;
    const auto subscription = extendedManager().Subscribe(neCreated, [&](const Event& event) { received.put(event); });
    EXPECT_EQ(raise(neCreated, "NE 5"), teEventRaised);
    const auto event = received.take();
    ASSERT_TRUE(event);
    EXPECT_EQ(event->id, neCreated);
    EXPECT_EQ(event->sender, self);
    EXPECT_EQ(textOf(*event), "NE 5");
}

// Up to some length records are copied to where they wait, beyond it they are shared.
TEST_F(EventTest, RecordsOfAllLengthsArriveWhole) {
    Texts texts;
    const auto subscription = extendedManager().Subscribe(neCreated, into(texts));
    for (const std::size_t length : {0U, 1U, 37U, 38U, 39U, 40U, 41U, 1000U, 1U << 20}) {
        const std::string text(length, 'x');
        ASSERT_EQ(raise(neCreated, text), teEventRaised);
        EXPECT_TRUE(next(texts) == text) << length;
    }
}

TEST_F(EventTest, RecordMayBeDestroyedOnceItsParameterIsMade) {
    Texts texts;
    const auto subscription = extendedManager().Subscribe(neCreated, into(texts));
    auto record = std::make_unique<AsnOcts>("gone");
    auto* param = new TEAsnEventParam(*record);
    record.reset();
    EXPECT_EQ(extendedManager().RaiseEvent(neCreated, 0, param), teEventRaised);
    EXPECT_EQ(next(texts), "gone");
}

TEST_F(EventTest, ExtendedEventReachesOtherProcesses) {
    Mailbox<EventMessage> elsewhere;
    const auto sink = otherEngine_->subscribeEvent(neCreated, [&](const EventMessage& event) { elsewhere.put(event); });
    EXPECT_EQ(raise(neCreated, "NE 5"), teEventRaised);
    const auto event = elsewhere.take();
    ASSERT_TRUE(event);
    EXPECT_EQ(event->sender, self);
    EXPECT_EQ(event->record.view(), frame::encode(AsnOcts("NE 5")).view());
}

TEST_F(EventTest, EventOfAnotherProcessReachesItsHandler) {
    Mailbox<Event> received;
    const auto subscription = extendedManager().Subscribe(neCreated, [&](const Event& event) { received.put(event); });
    otherEngine_->publishEvent({neCreated, other, frame::encode(AsnOcts("theirs"))});
    const auto event = received.take();
    ASSERT_TRUE(event);
    EXPECT_EQ(event->sender, other);
    EXPECT_EQ(textOf(*event), "theirs");
}

TEST_F(EventTest, NullParameterCountsAsEmpty) {
    Mailbox<std::size_t> octets;
    const auto handler = [&](const Event& event) { octets.put(event.record.size()); };
    const auto classic = classicManager().Subscribe(neCreated, handler);
    const auto extended = extendedManager().Subscribe(neCreated, handler);
    EXPECT_EQ(classicManager().RaiseEvent(neCreated, 0, nullptr), teEventRaised);
    EXPECT_EQ(octets.take(), 0U);
    EXPECT_EQ(extendedManager().RaiseEvent(neCreated, 0, nullptr), teEventRaised);
    EXPECT_EQ(octets.take(), 0U);
}

TEST_F(EventTest, ParameterIsDeletedInEveryCase) {
    int deleted = 0;
    TEEventMgr& manager = classicManager();
    EXPECT_EQ(manager.RaiseEvent(neCreated, 0, new Counted(deleted)), teEventRaised);
    EXPECT_EQ(deleted, 1);
    managers_.reset();
    EXPECT_EQ(manager.RaiseEvent(neCreated, 0, new Counted(deleted)), teEventClosed);
    EXPECT_EQ(deleted, 2);
}

TEST_F(EventTest, OnlyHandlersOfTheIdentifierAreCalled) {
    Texts texts;
    const auto subscription = extendedManager().Subscribe(neCreated, into(texts));
    EXPECT_EQ(raise(marker, "other"), teEventRaised);
    EXPECT_EQ(raise(neCreated, "own"), teEventRaised);
    EXPECT_EQ(next(texts), "own");
}

TEST_F(EventTest, EventsAreHandledOneAtATimeInTheirOrder) {
    std::atomic<int> inside{0};
    Texts texts;
    const auto handler = [&](const Event& event) {
        EXPECT_EQ(++inside, 1);
        texts.put(textOf(event));
        --inside;
    };
    const auto even = extendedManager().Subscribe(2, handler);
    const auto odd = extendedManager().Subscribe(3, handler);
    for (unsigned long i = 0; i < 5000; ++i) ASSERT_EQ(raise(2 + i % 2, std::to_string(i)), teEventRaised);
    for (int i = 0; i < 5000; ++i) ASSERT_EQ(next(texts), std::to_string(i));
}

TEST_F(EventTest, HandlersRunOnOneThreadOfTheManager) {
    Mailbox<std::thread::id> threads;
    const auto subscription =
        extendedManager().Subscribe(neCreated, [&](const Event&) { threads.put(std::this_thread::get_id()); });
    raise(neCreated, "");
    raise(neCreated, "");
    const auto first = threads.take();
    EXPECT_TRUE(first);
    EXPECT_NE(first, std::this_thread::get_id());
    EXPECT_EQ(threads.take(), first);
}

TEST_F(EventTest, EventsOfManyThreadsAllArrive) {
    std::atomic<int> handled{0};
    Gate all;
    const auto subscription = extendedManager().Subscribe(neCreated, [&](const Event&) {
        if (++handled == 4000) all.open();
    });
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int n = 0; n < 1000; ++n) EXPECT_EQ(raise(neCreated, "x"), teEventRaised);
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(all.pass());
}

TEST_F(EventTest, ExceptionOutOfAHandlerIsLoggedAndEndsOnlyThatCall) {
    const support::Folder folder;
    frame::openLog({folder.file("log"), frame::LogLevel::info, true}, self.procType, self.procHandle);
    Texts texts;
    const auto bad = extendedManager().Subscribe(neCreated, [](const Event& event) {
        const std::string text = textOf(event);
        if (text == "standard") throw std::runtime_error("broken handler");
        if (text == "platform") throw new CSM_Exception(-1, 1, "f", "f.cpp", "broken record");
        throw 5;
    });
    const auto good = extendedManager().Subscribe(neCreated, into(texts));
    for (const char* text : {"standard", "platform", "number"}) {
        raise(neCreated, text);
        EXPECT_EQ(next(texts), text);
    }
    raise(marker, "");
    managers_.reset();
    frame::closeLog();
    const std::string log = support::contentOf(folder.file("log"));
    EXPECT_NE(log.find("0x217006 from 3001:7 threw broken handler"), std::string::npos) << log;
    EXPECT_NE(log.find("0x217006 from 3001:7 threw broken record"), std::string::npos) << log;
    EXPECT_NE(log.find("0x217006 from 3001:7 threw something that is no std::exception"), std::string::npos) << log;
}

TEST(EventDecodeTest, RecordThatCannotBeDecodedIsLoggedWithItsSender) {
    const Event event{neCreated, other,
                      Payload("\x04\x05"
                              "abc")};
    const frame::LogCapture log;
    AsnOcts text;
    EXPECT_FALSE(event.decode(text));
    ASSERT_EQ(log.records().size(), 1U);
    EXPECT_EQ(log.records()[0].kind, frame::LogRecord::Kind::error);
    EXPECT_NE(log.records()[0].code, 0U);
    EXPECT_NE(log.records()[0].text.find("event 0x217006 from 3001:8: record is not a "), std::string::npos)
        << log.records()[0].text;
    EXPECT_NE(log.records()[0].text.find("wrong at octet "), std::string::npos) << log.records()[0].text;
}

TEST(EventDecodeTest, RecordOfTheRightTypeIsDecodedAndNothingIsLogged) {
    const Event event{neCreated, other, frame::encode(AsnOcts("abc"))};
    const frame::LogCapture log;
    AsnOcts text;
    EXPECT_TRUE(event.decode(text));
    EXPECT_EQ(text.str(), "abc");
    EXPECT_TRUE(log.records().empty());
}
