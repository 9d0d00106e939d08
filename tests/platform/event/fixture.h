// A process on an embedded bus, with event managers.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "platform/asn1.h"
#include "platform/event.h"
#include "support/gate.h"
#include "support/mailbox.h"

inline constexpr unsigned long neCreated = 0x217006;
// Raised by the tests behind what they look at: whatever was raised before it has been handled when it is.
inline constexpr unsigned long marker = 1;
inline constexpr CProcID self{3001, 7};
inline constexpr CProcID other{3001, 8};

// Its two managers differ only in the parameter of their raise operation.
inline TEEventMgr& classicManager() {
    return *TEEventMgr::Instance();
}
inline TEEventMgrEx& extendedManager() {
    return *TEEventMgrEx::Instance();
}

inline int raise(unsigned long id, std::string_view text) {
    return extendedManager().RaiseEvent(id, 0, new TEAsnEventParam(AsnOcts(text)));
}

// The text that `raise` was given, or what is wrong.
inline std::string textOf(const frame::Event& event) {
    AsnOcts text;
    return event.decode(text) ? text.str() : "not decodable";
}

using Texts = support::Mailbox<std::string>;

inline frame::EventHandler into(Texts& texts) {
    return [&texts](const frame::Event& event) { texts.put(textOf(event)); };
}

inline std::string next(Texts& texts) {
    return texts.take().value_or("nothing in time");
}

class EventTest : public testing::Test {
protected:
    frame::LocalBus bus_;
    std::unique_ptr<frame::BusEngine> engine_ = bus_.connect(self);
    std::unique_ptr<frame::BusEngine> otherEngine_ = bus_.connect(other);
    std::unique_ptr<frame::EventManagers> managers_ =
        std::make_unique<frame::EventManagers>(*engine_, frame::EventManagers::Options{});
};
