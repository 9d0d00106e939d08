#include "trap_service.h"

#include <functional>
#include <limits>
#include <stdexcept>

#include "json_answer.h"
#include "platform/text.h"
#include "text/ipv4.h"

namespace peers {
namespace {

// A body that is not what was expected.
class BadBody : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

void require(bool holds, const std::string& where, const std::string& expected) {
    if (!holds) throw BadBody(where + ": expected " + expected);
}

std::string addressOf(const Json::Value& value, const std::string& where) {
    const std::string expected = "an IPv4 address in dotted-quad form";
    require(value.isString(), where, expected);
    std::string text = value.asString();
    require(frame::isDottedQuad(text), where, expected);
    return text;
}

int serverOf(const Json::Value& value, const std::string& where) {
    using Limits = std::numeric_limits<short>;
    require(value.isInt() && value.asInt() >= Limits::min() && value.asInt() <= Limits::max(), where,
            "a number from -32768 to 32767");
    return value.asInt();
}

std::pair<std::string, int> assignmentOf(const Json::Value& value, const std::string& where) {
    require(value.isObject() && value.size() == 2 && value.isMember("neIP") && value.isMember("trapServerID"), where,
            "an object with just the members neIP and trapServerID");
    return {addressOf(value["neIP"], where + ".neIP"), serverOf(value["trapServerID"], where + ".trapServerID")};
}

AssignmentStore::Assignments assignmentsOf(const Json::Value& body) {
    require(body.isArray(), "body", "an array");
    AssignmentStore::Assignments assignments;
    for (const Json::Value& value : body)
        assignments.push_back(assignmentOf(value, "[" + std::to_string(assignments.size()) + "]"));
    return assignments;
}

std::vector<std::string> addressesOf(const Json::Value& body) {
    require(body.isObject() && body.size() == 1 && body.isMember("neIP"), "body",
            "an object with just the member neIP");
    require(body["neIP"].isArray(), "neIP", "an array");
    std::vector<std::string> addresses;
    for (const Json::Value& value : body["neIP"])
        addresses.push_back(addressOf(value, "neIP[" + std::to_string(addresses.size()) + "]"));
    return addresses;
}

// What `action` does with the body; or what is wrong with it.
HttpAnswer answerTo(const std::string& body, const std::function<void(const Json::Value&)>& action) {
    Json::Value root;
    if (JsonUtils::ParseToJson(root, body) != 0) return errorAnswer(400, "body: expected JSON");
    try {
        action(root);
        return jsonAnswer(200, Json::Value(Json::objectValue));
    } catch (const BadBody& wrong) {
        return errorAnswer(400, wrong.what());
    }
}

}  // namespace

void TrapService::serve(HttpServer& server) {
    server.post(registPath, [this](const std::string& body) { return regist(body); });
    server.post(deletePath, [this](const std::string& body) { return erase(body); });
    server.get(listPath, [this] { return list(); });
}

HttpAnswer TrapService::regist(const std::string& body) {
    return answerTo(body, [this](const Json::Value& root) { store_.assign(assignmentsOf(root)); });
}

HttpAnswer TrapService::erase(const std::string& body) {
    return answerTo(body, [this](const Json::Value& root) { store_.remove(addressesOf(root)); });
}

HttpAnswer TrapService::list() {
    Json::Value body(Json::arrayValue);
    for (const auto& [ne, server] : store_.all()) {
        Json::Value assignment;
        assignment["neIP"] = ne;
        assignment["trapServerID"] = server;
        body.append(std::move(assignment));
    }
    return jsonAnswer(200, body);
}

}  // namespace peers
