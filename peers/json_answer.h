// HTTP answers of the stand-ins as JSON.
#pragma once

#include <json/json.h>

#include <string>

#include "http_server.h"

namespace peers {

inline HttpAnswer jsonAnswer(int status, const Json::Value& body) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return {status, Json::writeString(builder, body)};
}

// Says what is wrong.
inline HttpAnswer errorAnswer(int status, const std::string& text) {
    Json::Value body;
    body["error"] = text;
    return jsonAnswer(status, body);
}

}  // namespace peers
