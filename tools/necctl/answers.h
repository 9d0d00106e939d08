// Commands that tell what the library decides for each of several NEs, and how it came to that.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "failure.h"
#include "options.h"
#include "platform/log.h"

namespace necctl {

using LogRecords = std::vector<frame::LogRecord>;

// What such a command was given.
struct Question {
    std::vector<std::string> addresses;
    bool explain = false;
};

// What was decided for one NE.
struct Answer {
    std::string text;                // for people, whole lines; empty: there is no answer
    Json::Value json;                // the same for programs, an object; without address and error
    std::string error;               // why there is none
    ExitCode code = unusable;        // which goes with the error
    std::vector<std::string> trace;  // what the decision logged, line by line
};

// The address is an IPv4 address in dotted-quad form.
using Decide = std::function<Answer(const std::string& address, const frame::LogCapture& log)>;

// Adds the addresses and --explain to `command`.
std::shared_ptr<Question> addQuestion(CLI::App& command);

// Calls `decide` for each address, as the process of --config, and writes what it returns. Throws Failure when an
// address is none, or has no answer.
void answerEach(const Question& question, const Options& options, const Decide& decide);

// What `error`, which a decision threw, means. Numbers and JSON that are none stand in the load balancer's description
// alone: what else is read says so itself.
std::string reasonOf(const std::exception& error);

// The last record that begins so; empty when there is none.
std::string lastRecord(const LogRecords& records, std::string_view beginning);
// The texts of the errors with this code, ": " before each. Code 0 is no error's: it stands for all of them.
std::string errorsIn(const LogRecords& records, std::uint32_t code = 0);

}  // namespace necctl
