#include "answers.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <new>
#include <sstream>
#include <stdexcept>

#include "assignments.h"
#include "process.h"

namespace necctl {
namespace {

// Leveled records hold a line for each thing they tell of; a trace record is one, whatever stands in it.
std::vector<std::string> linesOf(const LogRecords& records) {
    std::vector<std::string> lines;
    for (const frame::LogRecord& record : records) {
        if (record.kind == frame::LogRecord::Kind::trace) {
            lines.push_back(record.text);
            continue;
        }
        std::istringstream text(record.text);
        for (std::string line; std::getline(text, line);) lines.push_back(line);
    }
    return lines;
}

Answer answerFor(const std::string& address, const Decide& decide) {
    const frame::LogCapture log;
    Answer answer;
    try {
        answer = decide(address, log);
    } catch (const Failure&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        answer.error = reasonOf(error);
        const std::string last = lastRecord(log.records(), "[QueryLvsInfo]");
        if (!last.empty()) answer.error += "; read last: " + last;
    }
    answer.trace = linesOf(log.records());
    return answer;
}

void writeText(const Answer& answer, bool explain) {
    std::cout << answer.text;
    if (!explain) return;
    for (const std::string& line : answer.trace) std::cout << "  " << escaped(line) << '\n';
}

Json::Value jsonOf(const std::string& address, const Answer& answer, bool explain) {
    Json::Value json = answer.json;
    json["remote"] = address;
    if (!answer.error.empty()) json["error"] = answer.error;
    if (!explain) return json;
    json["trace"] = Json::arrayValue;
    for (const std::string& line : answer.trace) json["trace"].append(line);
    return json;
}

}  // namespace

std::shared_ptr<Question> addQuestion(CLI::App& command) {
    auto question = std::make_shared<Question>();
    command.add_option("ADDRESS", question->addresses, "IPv4 addresses of NEs")->required();
    command.add_flag("--explain", question->explain, "Write how each decision was made as well");
    return question;
}

void answerEach(const Question& question, const Options& options, const Decide& decide) {
    addressesIn(question.addresses);
    const OwnProcess process(options);
    Json::Value all(Json::arrayValue);
    std::size_t failed = 0;
    ExitCode code = success;
    for (const std::string& address : question.addresses) {
        const Answer answer = answerFor(address, decide);
        if (options.json)
            all.append(jsonOf(address, answer, question.explain));
        else
            writeText(answer, question.explain);
        if (answer.error.empty()) continue;
        sayError(address + ": " + answer.error);
        code = std::max(code, answer.code);
        ++failed;
    }
    if (options.json) std::cout << all << '\n';
    if (failed != 0)
        throw Failure(code, std::to_string(failed) + " of " + std::to_string(question.addresses.size()) +
                                " addresses without an answer");
}

std::string reasonOf(const std::exception& error) {
    const bool description = dynamic_cast<const Json::Exception*>(&error) != nullptr ||
                             dynamic_cast<const std::invalid_argument*>(&error) != nullptr ||
                             dynamic_cast<const std::out_of_range*>(&error) != nullptr;
    return (description ? "the load balancer's description is wrong: " : "") + std::string(error.what());
}

std::string lastRecord(const LogRecords& records, std::string_view beginning) {
    std::string last;
    for (const frame::LogRecord& record : records)
        if (record.text.compare(0, beginning.size(), beginning) == 0) last = record.text;
    return last;
}

std::string errorsIn(const LogRecords& records, std::uint32_t code) {
    std::string text;
    for (const frame::LogRecord& record : records)
        if (record.kind == frame::LogRecord::Kind::error && record.code != 0 && (code == 0 || record.code == code))
            text += ": " + record.text;
    return text;
}

}  // namespace necctl
