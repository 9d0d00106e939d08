// What reading passwords from SQLite leaves in the memory of this process, seen by looking through all of it. This is
// a program of its own: nobody else has used SQLite in it.
#include <gtest/gtest.h>

#include "canary.h"
#include "platform/db.h"
#include "platform/ftp.h"
#include "platform/secure.h"
#include "support/folder.h"
#include "support/memory_regions.h"
#include "support/run.h"

namespace ftp_test {

namespace {

struct Region {
    const char* begin;
    const char* end;
    std::string name;
};

// Of this process.
std::vector<Region> ownMemory() {
    std::vector<Region> regions;
    for (const support::MemoryRegion& region : support::writableMemory("self")) {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): addresses are what the system tells
        regions.push_back(
            {reinterpret_cast<const char*>(region.begin), reinterpret_cast<const char*>(region.end), region.name});
    }
    return regions;
}

// It reads what nobody gave it, and what others may write.
#define UNWATCHED __attribute__((no_sanitize("address", "thread", "undefined")))

struct Piece {
    std::size_t begin;
    std::size_t size;
};

UNWATCHED bool standsAt(const char* memory, const Canary& canary, const Piece& piece) {
    for (std::size_t i = 0; i < piece.size; ++i) {
        if (memory[i] != octetOf(canary, piece.begin + i)) return false;
    }
    return true;
}

UNWATCHED bool standsIn(const Region& region, const Canary& canary, const Piece& piece) {
    const char first = octetOf(canary, piece.begin);
    for (const char* memory = region.begin; memory + piece.size <= region.end; ++memory) {
        if (*memory == first && standsAt(memory, canary, piece)) return true;
    }
    return false;
}

// Memory that was given back lacks the beginning of what was in it, or more: so pieces are looked for, from all over
// the canary. They are longer than any register: copying leaves a little in those, and calling a function for the first
// time puts them on the stack.
std::vector<Piece> piecesOf(const Canary& canary) {
    constexpr std::size_t longest = 72;
    constexpr std::size_t steps = 3;
    if (canary.size <= longest) return {{0, canary.size}};
    std::vector<Piece> pieces;
    for (std::size_t step = 0; step <= steps; ++step)
        pieces.push_back({(canary.size - longest) * step / steps, longest});
    return pieces;
}

std::string placesOf(const Canary& canary) {
    std::string places;
    for (const Region& region : ownMemory()) {
        for (const Piece& piece : piecesOf(canary)) {
            if (standsIn(region, canary, piece))
                places += "octets from " + std::to_string(piece.begin) + " on: " + region.name + '\n';
        }
    }
    return places;
}

class FtpMemory : public testing::TestWithParam<Canary> {
protected:
    // With `canary` as the password of the parameters.
    void write(const Canary& canary) const {
        const support::Outcome written =
            support::run({FTP_WRITER, url_, std::to_string(canary.number), std::to_string(canary.size)});
        ASSERT_EQ(written.exitStatus, 0) << written.err;
    }

    support::Folder folder_;
    const std::string url_ = "sqlite:" + folder_.file("nec.db");
    const frame::Database database_{{url_}};
};

TEST_P(FtpMemory, HoldsThePasswordOfTheParametersNoLongerThanTheCallerDoes) {
    write(GetParam());
    TESUcommon::FTPPara para;
    ASSERT_EQ(TESUcommon::FTPConfigure::instance()->getFtpPara(para), 0);
    EXPECT_EQ(para.password.size(), GetParam().size);
    EXPECT_NE(placesOf(GetParam()), "");
    FrameUtil::ClearPasswd(para.password);
    EXPECT_EQ(placesOf(GetParam()), "");
}

INSTANTIATE_TEST_SUITE_P(Each, FtpMemory, testing::ValuesIn(parametersCanaries),
                         [](const auto& canary) { return "Of" + std::to_string(canary.param.size) + "Octets"; });

TEST_F(FtpMemory, HoldsThePasswordsOfAccountsNoLongerThanTheCallerDoes) {
    write(parametersCanaries[0]);
    std::list<FTPAccountInfo> accounts;
    ASSERT_EQ(FTPAccountIF::GetAllFTPAccountInfo(accounts, false), 0);
    ASSERT_EQ(accounts.size(), std::size(accountCanaries));
    for (const Canary& canary : accountCanaries) EXPECT_NE(placesOf(canary), "") << canary.size;
    for (FTPAccountInfo& account : accounts) FrameUtil::ClearPasswd(account.password);
    for (const Canary& canary : accountCanaries) EXPECT_EQ(placesOf(canary), "") << canary.size;
}

TEST_F(FtpMemory, HoldsNoPasswordsOfAccountsThatAreReadWithout) {
    write(parametersCanaries[0]);
    std::list<FTPAccountInfo> accounts;
    ASSERT_EQ(FTPAccountIF::GetAllFTPAccountInfo(accounts, true), 0);
    EXPECT_EQ(accounts.size(), std::size(accountCanaries));
    for (const Canary& canary : accountCanaries) EXPECT_EQ(placesOf(canary), "") << canary.size;
}

}  // namespace

}  // namespace ftp_test
