// The memory of small objects: cells may be freed by any thread, in any order, also while threads end.
#include "asn1/slab.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

namespace {

struct Cell {
    unsigned char* memory;
    std::size_t size;
    unsigned char mark;
};

Cell take(std::size_t size, unsigned char mark) {
    auto* memory = static_cast<unsigned char*>(frame::slab::allocate(size));
    std::memset(memory, mark, size);
    return {memory, size, mark};
}

// Gives the cell back; false when somebody else has written to it.
bool give(const Cell& cell) {
    const bool intact =
        std::all_of(cell.memory, cell.memory + cell.size, [&](auto octet) { return octet == cell.mark; });
    frame::slab::release(cell.memory, cell.size);
    return intact;
}

std::vector<Cell> takeMany(std::mt19937& random, int count) {
    std::vector<Cell> cells;
    for (int i = 0; i < count; ++i) cells.push_back(take(1 + random() % 200, static_cast<unsigned char>(random())));
    return cells;
}

}  // namespace

TEST(SlabTest, CellsAreAlignedForTheirSize) {
    for (std::size_t size = 1; size <= 200; ++size) {
        const Cell cell = take(size, 1);
        const std::size_t alignment = size % 16 == 0 ? 16 : 8;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(cell.memory) % alignment, 0U) << size;
        EXPECT_TRUE(give(cell));
    }
}

TEST(SlabTest, NoTwoCellsOverlapInWhateverOrderTheyAreFreed) {
    std::mt19937 random(1);
    std::vector<Cell> cells;
    for (int round = 0; round < 20; ++round) {
        for (const Cell& cell : takeMany(random, 3000)) cells.push_back(cell);
        std::shuffle(cells.begin(), cells.end(), random);
        while (cells.size() > 2000) {
            ASSERT_TRUE(give(cells.back()));
            cells.pop_back();
        }
    }
    for (const Cell& cell : cells) EXPECT_TRUE(give(cell));
}

TEST(SlabTest, CellsOfThreadsThatHaveEndedAreFreedByOthers) {
    std::vector<Cell> cells;
    for (unsigned seed = 0; seed < 10; ++seed) {
        std::thread([&] {
            std::mt19937 random(seed);
            for (const Cell& cell : takeMany(random, 500)) cells.push_back(cell);
        }).join();
    }
    for (const Cell& cell : cells) EXPECT_TRUE(give(cell));
}

TEST(SlabTest, ThreadsHandCellsToEachOther) {
    std::mutex mutex;
    std::vector<Cell> pool;
    bool intact = true;
    const auto work = [&](unsigned seed) {
        std::mt19937 random(seed);
        for (int round = 0; round < 200; ++round) {
            std::vector<Cell> mine = takeMany(random, 50);
            {
                const std::lock_guard lock(mutex);
                mine.swap(pool);
            }
            for (const Cell& cell : mine) {
                if (!give(cell)) {
                    const std::lock_guard lock(mutex);
                    intact = false;
                }
            }
        }
    };
    std::vector<std::thread> threads;
    for (unsigned seed = 0; seed < 4; ++seed) threads.emplace_back(work, seed);
    for (std::thread& thread : threads) thread.join();
    for (const Cell& cell : pool) EXPECT_TRUE(give(cell));
    EXPECT_TRUE(intact);
}

namespace {

// Takes and gives cells when its thread ends, which may be after the slabs were let go of.
struct LateUser {
    ~LateUser() {
        for (const Cell& cell : cells) give(cell);
        give(take(24, 9));
    }
    std::vector<Cell> cells;
};

}  // namespace

TEST(SlabTest, CellsMayBeTakenAndFreedWhileAThreadEnds) {
    std::thread([] {
        thread_local LateUser user;
        user.cells.push_back(take(16, 7));
        user.cells.push_back(take(40, 8));
    }).join();
}
