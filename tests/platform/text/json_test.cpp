// JSON: what is read, what is refused, and that nothing from outside does harm.
#include <gtest/gtest.h>
#include <json/value.h>

#include <thread>
#include <vector>

#include "platform/text.h"

namespace {

// What a refused text leaves is null, whatever stood there.
void expectRefused(const std::string& text) {
    Json::Value root = "before";
    EXPECT_EQ(JsonUtils::ParseToJson(root, text), -1) << text.substr(0, 100);
    EXPECT_TRUE(root.isNull()) << text.substr(0, 100);
}

Json::Value read(const std::string& text) {
    Json::Value root = "before";
    EXPECT_EQ(JsonUtils::ParseToJson(root, text), 0) << text;
    return root;
}

std::string nested(std::size_t levels) {
    return std::string(levels, '[') + std::string(levels, ']');
}

TEST(Json, ObjectIsRead) {
    const Json::Value root = read(R"({"NatInfoList": [{"natip": "1.2.3.4"}, 7, null]})");
    EXPECT_EQ(root["NatInfoList"][0]["natip"].asString(), "1.2.3.4");
    EXPECT_EQ(root["NatInfoList"][1].asInt(), 7);
    EXPECT_TRUE(root["NatInfoList"][2].isNull());
}

TEST(Json, ScalarsAreRead) {
    EXPECT_TRUE(read("null").isNull());
    EXPECT_TRUE(read("true").asBool());
    EXPECT_EQ(read("-12").asInt(), -12);
    EXPECT_DOUBLE_EQ(read("2.5e3").asDouble(), 2500);
    EXPECT_EQ(read(R"("a\u00e4\n")").asString(), "a\xC3\xA4\n");
}

TEST(Json, BlanksAndCommentsAroundAValueArePassedOver) {
    EXPECT_TRUE(read(" \t\r\n[] \n").isArray());
    EXPECT_TRUE(read("// before\n/* and */ {} // after").isObject());
}

TEST(Json, TextWithoutAValueIsRefused) {
    for (const char* text : {"", " ", "\n", "// nothing", "/* never closed"}) expectRefused(text);
}

TEST(Json, BrokenTextIsRefused) {
    for (const char* text : {"{", "[1", "\"abc", "{\"a\":}", "{\"a\" 1}", "[1,,2]", "nul", "<html></html>", "1e999"})
        expectRefused(text);
}

TEST(Json, AnythingBehindTheValueIsRefused) {
    for (const char* text : {"{} {}", "{}}", "[] x", "1 2", "null,"}) expectRefused(text);
    expectRefused(std::string("{}\0", 3));
    expectRefused(std::string("{}\0 {", 5));
}

TEST(Json, DeepNestingIsReadUpToItsBound) {
    EXPECT_TRUE(read(nested(1000)).isArray());
    expectRefused(nested(1001));
}

TEST(Json, HundredThousandLevelsAreRefused) {
    expectRefused(nested(100'000));
    expectRefused(std::string(100'000, '['));
    std::string objects;
    for (int i = 0; i < 100'000; ++i) objects += "{\"a\":";
    expectRefused(objects);
}

TEST(Json, InvalidUtf8DoesNoHarm) {
    EXPECT_EQ(read("\"\xFF\xFE\xC0\"").asString(), "\xFF\xFE\xC0");
    for (const char* text : {"\xFF", "\xEF\xBB", "{\xC3}", R"("\ud800")", R"("\ud800\u0041")", R"("\u12")"}) {
        Json::Value root;
        JsonUtils::ParseToJson(root, text);
    }
}

TEST(Json, NulInATextIsKept) {
    const std::string expected("a\0b", 3);
    EXPECT_EQ(read(R"("a\u0000b")").asString(), expected);
}

TEST(Json, EveryBeginningOfATextIsReadOrRefused) {
    const std::string text = R"({"a": [1, -2.5e-3, "x\u00e4\\", true, null, {}], "b": {"c": "\ud83d\ude00"}} )";
    for (std::size_t length = 0; length + 1 < text.size(); ++length) expectRefused(text.substr(0, length));
    read(text);
}

TEST(Json, MoreElementsThanMemoryIsMeantForAreRefused) {
    const auto zeros = [](std::size_t commas) {
        std::string text = "[";
        for (std::size_t i = 0; i < commas; ++i) text += "0,";
        return text + "0]";
    };
    expectRefused(zeros(4'000'001));
    EXPECT_EQ(read(zeros(1'000'000)).size(), 1'000'001U);
}

TEST(Json, ThreadsReadAtOnce) {
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([i] {
            for (int n = 0; n < 200; ++n) EXPECT_EQ(read("[" + std::to_string(i) + "]")[0].asInt(), i);
            expectRefused(nested(1001));
        });
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
