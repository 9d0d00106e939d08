// Answers of HTTP services held against docs/interfaces/http.openapi.yaml.
#pragma once

#include <string>

namespace support {

// What is wrong with `body` as the answer with `status` to `method` ("get", "post") at `path`: empty when it is as the
// description says, else the place in it and what was expected there. Knows what the description uses: types, required
// and additional properties, items, patterns and references.
std::string answerError(const std::string& method, const std::string& path, int status, const std::string& body);

// The same for the body of a request.
std::string requestError(const std::string& method, const std::string& path, const std::string& body);

}  // namespace support
