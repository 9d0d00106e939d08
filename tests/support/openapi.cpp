#include "support/openapi.h"

#include <json/json.h>
#include <yaml-cpp/yaml.h>

#include <regex>
#include <sstream>
#include <stdexcept>

namespace support {
namespace {

// Where in the body something is wrong, and what was expected there.
struct Mismatch {
    std::string where;
    std::string expected;
};

class Description {
public:
    // The schema of the content at `place` below an operation.
    YAML::Node schema(const std::string& method, const std::string& path, const YAML::Node& place) const {
        const YAML::Node schema = place["content"]["application/json"]["schema"];
        if (!schema) throw std::runtime_error("the description says nothing of " + method + " " + path);
        return schema;
    }
    YAML::Node operation(const std::string& method, const std::string& path) const {
        const YAML::Node operation = root_["paths"][path][method];
        if (!operation) throw std::runtime_error("the description does not know " + method + " " + path);
        return operation;
    }

    void check(const YAML::Node& given, const Json::Value& value, const std::string& where) const {
        const YAML::Node schema = resolved(given);
        const auto type = schema["type"].as<std::string>();
        if (type == "object")
            checkObject(schema, value, where);
        else if (type == "array")
            checkArray(schema, value, where);
        else if (type == "string")
            checkString(schema, value, where);
        else if (type == "integer")
            require(value.isIntegral(), where, "an integer");
        else
            throw std::runtime_error("the description has a type that this checker does not know: " + type);
    }

private:
    static void require(bool holds, const std::string& where, const std::string& expected) {
        if (!holds) throw Mismatch{where, expected};
    }

    YAML::Node resolved(const YAML::Node& schema) const {
        if (!schema["$ref"]) return schema;
        const auto reference = schema["$ref"].as<std::string>();
        const std::string folder = "#/components/schemas/";
        const YAML::Node target = root_["components"]["schemas"][reference.substr(folder.size())];
        if (reference.rfind(folder, 0) != 0 || !target) throw std::runtime_error("nothing stands at " + reference);
        return target;
    }

    void checkObject(const YAML::Node& schema, const Json::Value& value, const std::string& where) const {
        require(value.isObject(), where, "an object");
        for (const auto& name : schema["required"])
            require(value.isMember(name.as<std::string>()), where, "a member " + name.as<std::string>());
        for (const std::string& name : value.getMemberNames()) {
            const YAML::Node property = schema["properties"][name];
            require(property.IsDefined(), where, "no member " + name);
            check(property, value[name], where + "/" + name);
        }
    }

    void checkArray(const YAML::Node& schema, const Json::Value& value, const std::string& where) const {
        require(value.isArray(), where, "an array");
        for (Json::ArrayIndex i = 0; i < value.size(); ++i)
            check(schema["items"], value[i], where + "/" + std::to_string(i));
    }

    static void checkString(const YAML::Node& schema, const Json::Value& value, const std::string& where) {
        require(value.isString(), where, "a string");
        if (!schema["pattern"]) return;
        const auto pattern = schema["pattern"].as<std::string>();
        require(std::regex_search(value.asString(), std::regex(pattern)), where, "a string like " + pattern);
    }

    const YAML::Node root_ = YAML::LoadFile(OPENAPI_FILE);
};

std::string errorOf(const Description& description, const YAML::Node& schema, const std::string& body) {
    Json::Value value;
    std::istringstream stream(body);
    std::string problem;
    if (!Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, &problem)) return "no JSON: " + problem;
    try {
        description.check(schema, value, "");
    } catch (const Mismatch& mismatch) {
        return "at '" + mismatch.where + "': expected " + mismatch.expected;
    }
    return {};
}

}  // namespace

std::string answerError(const std::string& method, const std::string& path, int status, const std::string& body) {
    const Description description;
    const YAML::Node answers = description.operation(method, path)["responses"];
    return errorOf(description, description.schema(method, path, answers[std::to_string(status)]), body);
}

std::string requestError(const std::string& method, const std::string& path, const std::string& body) {
    const Description description;
    const YAML::Node request = description.operation(method, path)["requestBody"];
    return errorOf(description, description.schema(method, path, request), body);
}

}  // namespace support
