#include "trapserver/request_body.h"

#include <json/value.h>

#include <memory>
#include <sstream>
#include <string_view>

namespace NEC {

namespace {

// A tree of values takes many times the memory of its text: long lists are written by runs of this many elements.
constexpr Json::ArrayIndex runLength = 1000;

std::string written(Json::StreamWriter& writer, const Json::Value& value) {
    std::ostringstream stream;
    writer.write(value, &stream);
    return std::move(stream).str();
}

// Joins arrays of objects, which are written with one element in a group of lines each, to one.
class JoinedArray {
public:
    explicit JoinedArray(Json::StreamWriter& writer) : writer_(writer) {}

    void append(const Json::Value& element) {
        run_.append(element);
        if (run_.size() == runLength) writeRun();
    }

    std::string finish() {
        writeRun();
        return std::move(text_) + "\n]";
    }

private:
    void writeRun() {
        if (run_.empty()) return;
        const std::string array = written(writer_, run_);
        std::string_view elements(array);
        elements.remove_prefix(1);  // "["
        elements.remove_suffix(2);  // "\n]"
        text_.append(text_.empty() ? "[" : ",").append(elements);
        run_.clear();
    }

    Json::StreamWriter& writer_;
    Json::Value run_{Json::arrayValue};
    std::string text_;
};

}  // namespace

std::optional<std::string> registrationBody(const std::list<_NEIP2SERVERID>& assignments,
                                            const Json::StreamWriter::Factory& factory) {
    const std::unique_ptr<Json::StreamWriter> writer(factory.newStreamWriter());
    if (!writer) return std::nullopt;
    JoinedArray body(*writer);
    Json::Value element;
    for (const _NEIP2SERVERID& assignment : assignments) {
        element["neIP"] = Json::Value(assignment.neIP.data(), assignment.neIP.data() + assignment.neIP.size());
        element["trapServerID"] = static_cast<Json::Int>(assignment.trapServerID);
        body.append(element);
    }
    return body.finish();
}

std::optional<std::string> deletionBody(const std::list<light_basic_string>& neIPs,
                                        const Json::StreamWriter::Factory& factory) {
    const std::unique_ptr<Json::StreamWriter> writer(factory.newStreamWriter());
    if (!writer) return std::nullopt;
    Json::Value body;
    for (const light_basic_string& neIP : neIPs)
        body["neIP"].append(Json::Value(neIP.data(), neIP.data() + neIP.size()));
    return written(*writer, body);
}

}  // namespace NEC
