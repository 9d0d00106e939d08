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

// What stands before and behind the elements of the array in a body.
struct Frame {
    std::string_view head;
    std::string_view tail;
};
constexpr Frame registrationFrame{"[", "\n]"};
constexpr Frame deletionFrame{"{\n\t\"neIP\" : \n\t[", "\n\t]\n}"};

// Joins bodies with one array in `frame`, each element of which is written on lines of its own, to one.
class JoinedBody {
public:
    JoinedBody(Json::StreamWriter& writer, const Frame& frame) : writer_(writer), frame_(frame) {}

    // `body`: with `run` as its array, which is empty afterwards.
    void append(const Json::Value& body, Json::Value& run) {
        const std::string text = written(writer_, body);
        std::string_view elements(text);
        elements.remove_prefix(frame_.head.size());
        elements.remove_suffix(frame_.tail.size());
        text_.append(text_.empty() ? frame_.head : ",").append(elements);
        run.clear();
    }

    std::string finish() {
        text_.append(frame_.tail);
        text_.shrink_to_fit();
        return std::move(text_);
    }

private:
    Json::StreamWriter& writer_;
    const Frame& frame_;
    std::string text_;
};

// The body with an array of what `elementOf` makes of each in `list`: `body`, where the array is `run`. No array, but
// null, for an empty list.
template <class List, class ElementOf>
std::optional<std::string> bodyOf(const List& list, const Json::StreamWriter::Factory& factory, const Frame& frame,
                                  const Json::Value& body, Json::Value& run, ElementOf elementOf) {
    const std::unique_ptr<Json::StreamWriter> writer(factory.newStreamWriter());
    if (!writer) return std::nullopt;
    if (list.empty()) return written(*writer, Json::Value());
    JoinedBody joined(*writer, frame);
    for (const auto& each : list) {
        run.append(elementOf(each));
        if (run.size() == runLength) joined.append(body, run);
    }
    if (!run.empty()) joined.append(body, run);
    return joined.finish();
}

Json::Value valueOf(const light_basic_string& text) {
    return {text.data(), text.data() + text.size()};
}

}  // namespace

std::optional<std::string> registrationBody(const std::list<_NEIP2SERVERID>& assignments,
                                            const Json::StreamWriter::Factory& factory) {
    Json::Value body;
    Json::Value element;
    return bodyOf(assignments, factory, registrationFrame, body, body, [&element](const _NEIP2SERVERID& assignment) {
        element["neIP"] = valueOf(assignment.neIP);
        element["trapServerID"] = static_cast<Json::Int>(assignment.trapServerID);
        return element;
    });
}

std::optional<std::string> deletionBody(const std::list<light_basic_string>& neIPs,
                                        const Json::StreamWriter::Factory& factory) {
    Json::Value body;
    return bodyOf(neIPs, factory, deletionFrame, body, body["neIP"], valueOf);
}

}  // namespace NEC
