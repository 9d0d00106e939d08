// What every bus engine must do: test suites over an abstract bus. A test program that links contract_broadcasts.cpp,
// contract_commands.cpp, contract_events.cpp, contract_reliable.cpp and contract_requests.cpp instantiates the suites
// for its engine:
//
//     INSTANTIATE_TEST_SUITE_P(Local, BusBroadcastContract, testing::Values(kind), nameOfBus);
//     INSTANTIATE_TEST_SUITE_P(Local, BusCommandContract, testing::Values(kind), nameOfBus);
//     INSTANTIATE_TEST_SUITE_P(Local, BusEventContract, testing::Values(kind), nameOfBus);
//     INSTANTIATE_TEST_SUITE_P(Local, BusRequestContract, testing::Values(kind), nameOfBus);
//     INSTANTIATE_TEST_SUITE_P(Local, BusReliableContract, testing::Values(kind), nameOfBus);
//
// and, whether its engine hands reliable messages over or keeps them, one of
//
//     INSTANTIATE_TEST_SUITE_P(Local, BusHandingContract, testing::Values(kind), nameOfBus);
//     INSTANTIATE_TEST_SUITE_P(Local, BusKeepingContract, testing::Values(kind), nameOfBus);
//
// Engines may call sinks on any thread, so the tests wait for what arrives, each time with a time-out.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "platform/bus.h"

// A bus of its own, with nobody on it yet.
class BusUnderTest {
public:
    virtual ~BusUnderTest() = default;
    virtual std::unique_ptr<frame::BusEngine> connect(CProcID address) = 0;
};

struct BusKind {
    std::string name;
    std::function<std::unique_ptr<BusUnderTest>()> make;
    // Whether the engine keeps reliable messages itself until their receivers acknowledge them; it then says `kept` as
    // soon as it has them, whoever there is to receive them.
    bool keepsMessages = false;
};

inline std::string nameOfBus(const testing::TestParamInfo<BusKind>& info) {
    return info.param.name;
}

inline constexpr CProcID hereAddress{3001, 1};
inline constexpr CProcID thereAddress{3001, 2};
inline constexpr CProcID elsewhereAddress{3004, 1};

// A bus with two processes on it.
class BusContract : public testing::TestWithParam<BusKind> {
protected:
    std::unique_ptr<frame::BusEngine> connect(CProcID address) { return bus_->connect(address); }

private:
    std::unique_ptr<BusUnderTest> bus_ = GetParam().make();

protected:
    std::unique_ptr<frame::BusEngine> here_ = connect(hereAddress);
    std::unique_ptr<frame::BusEngine> there_ = connect(thereAddress);
};

class BusEventContract : public BusContract {};
class BusReliableContract : public BusContract {
protected:
    // What an engine says of a message: one that keeps it does not say more.
    static frame::Delivery orKept(frame::Delivery said) {
        return GetParam().keepsMessages ? frame::Delivery::kept : said;
    }
};
class BusHandingContract : public BusContract {};
class BusKeepingContract : public BusContract {};

class BusBroadcastContract : public BusContract {
protected:
    // What became of a broadcast that `here_` sends.
    frame::RequestCode send(std::string_view record, std::uint16_t to = 3003);
};

class BusRequestContract : public BusContract {
protected:
    // What came of a request that `here_` sends: the answer, or the code as a number.
    std::string ask(const CProcID& to, const frame::RequestMessage& request, int timeoutSeconds);
};

class BusCommandContract : public BusContract {
protected:
    frame::RequestCode send(const CProcID& to, std::string_view message);
};
