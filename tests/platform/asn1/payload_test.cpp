// Payload: octets that are shared, and the encoding of whole records into one.
#include "platform/payload.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "nec/records.h"
#include "support/octets.h"

TEST(PayloadTest, CopiesShareTheOctetsAndOutliveTheOriginal) {
    frame::Payload copy;
    EXPECT_EQ(copy.view(), "");
    {
        const frame::Payload original("abc");
        copy = original;
        EXPECT_EQ(copy.view().data(), original.view().data());
    }
    EXPECT_EQ(copy.view(), "abc");
}

TEST(PayloadTest, CopiesAreGivenUpByManyThreads) {
    frame::Payload payload(std::string(1000, 'x'));
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([copy = payload] {
            for (int n = 0; n < 1000; ++n) {
                const frame::Payload another = copy;
                ASSERT_EQ(another.size(), 1000U);
            }
        });
    }
    payload = {};
    for (std::thread& thread : threads) thread.join();
}

// Sizes around the buffer's own memory, its growth, and the length from which it measures first.
TEST(PayloadTest, WrittenLittleByLittleHoldsAllOfIt) {
    frame::PayloadWriter writer(11);
    for (const char* part : {"hello", "", " ", "world"}) writer.append(part);
    EXPECT_EQ(writer.finish().view(), "hello world");
    EXPECT_EQ(frame::PayloadWriter(0).finish().size(), 0U);
}

TEST(PayloadTest, RecordsOfEverySizeAreEncodedAlikeAsByABufferThatGrows) {
    for (const std::size_t size : {0U, 1U, 15U, 16U, 17U, 127U, 128U, 400U, 512U, 513U, 4095U, 4096U, 5000U, 70000U}) {
        AsnClientGetPnpRsp response;
        for (int i = 0; i < 3; ++i) {
            AsnPnpFile* file = response.pnpFileList.Append();
            file->fileName = "name";
            file->fileContent = new AsnOcts(std::string(size, static_cast<char>('a' + i)));
        }
        AsnBuf buf;
        const AsnLen octets = response.BEnc(buf, 1);
        EXPECT_EQ(octets, buf.size());
        EXPECT_EQ(frame::encode(response).view(), buf.view()) << size;
    }
}
