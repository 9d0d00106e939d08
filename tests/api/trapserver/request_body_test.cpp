// The bodies of requests, beside what jsoncpp writes for the whole tree of values.
#include "trapserver/request_body.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include "many.h"

namespace {

std::string whole(const std::list<NEC::_NEIP2SERVERID>& assignments) {
    Json::Value root;
    Json::Value element;
    for (const NEC::_NEIP2SERVERID& assignment : assignments) {
        element["neIP"] = std::string(assignment.neIP.data(), assignment.neIP.size());
        element["trapServerID"] = assignment.trapServerID;
        root.append(element);
    }
    return Json::writeString(Json::StreamWriterBuilder(), root);
}

std::string whole(const std::list<light_basic_string>& neIPs) {
    Json::Value root;
    for (const light_basic_string& neIP : neIPs) root["neIP"].append(std::string(neIP.data(), neIP.size()));
    return Json::writeString(Json::StreamWriterBuilder(), root);
}

class NoWriter : public Json::StreamWriter::Factory {
public:
    Json::StreamWriter* newStreamWriter() const override { return nullptr; }
};

}  // namespace

TEST(RequestBodyTest, BodiesAreWhatJsoncppWritesForTheWholeList) {
    for (const int count : {0, 1, 2, 999, 1000, 1001, 2000, 2500}) {
        const auto list = many::listOf(count);
        EXPECT_TRUE(NEC::registrationBody(list, Json::StreamWriterBuilder()) == whole(list)) << count;
        const auto addresses = many::addressesOf(list);
        EXPECT_TRUE(NEC::deletionBody(addresses, Json::StreamWriterBuilder()) == whole(addresses)) << count;
    }
}

TEST(RequestBodyTest, OddTextsAreWrittenAsJsoncppWritesThem) {
    std::list<NEC::_NEIP2SERVERID> list;
    for (const std::string& text :
         {std::string("\"]}\n,["), std::string("a\0b", 3), std::string("\xff\xc3\xa4"), std::string()})
        list.push_back({text, -1});
    EXPECT_EQ(NEC::registrationBody(list, Json::StreamWriterBuilder()), whole(list));
    const auto addresses = many::addressesOf(list);
    EXPECT_EQ(NEC::deletionBody(addresses, Json::StreamWriterBuilder()), whole(addresses));
}

TEST(RequestBodyTest, NumbersKeepTheirSign) {
    const std::list<NEC::_NEIP2SERVERID> list{{"a", -32768}, {"b", 32767}};
    EXPECT_EQ(NEC::registrationBody(list, Json::StreamWriterBuilder()), whole(list));
}

TEST(RequestBodyTest, WithoutAWriterThereIsNone) {
    EXPECT_EQ(NEC::registrationBody(many::listOf(1), NoWriter()), std::nullopt);
    EXPECT_EQ(NEC::deletionBody({"a"}, NoWriter()), std::nullopt);
}
