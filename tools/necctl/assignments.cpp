#include "assignments.h"

#include <charconv>
#include <functional>
#include <sstream>

#include "failure.h"
#include "input.h"
#include "text/ipv4.h"

namespace necctl {
namespace {

// What is wrong on the command line is wrong usage; what is wrong in a file is wrong data.
[[noreturn]] void refuse(const std::string& where, const std::string& text, const std::string& expected) {
    throw Failure(where.empty() ? wrongUsage : wrongData, where + text + ": no " + expected);
}

short numberOf(const std::string& text, const std::string& where) {
    short number = 0;
    const char* end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stopped != end || text.empty())
        refuse(where, text, "trap server number from -32768 to 32767");
    return number;
}

Assignment assignmentOf(const std::string& text, char separator, const std::string& where) {
    const std::size_t at = text.find(separator);
    if (at == std::string::npos) refuse(where, text, std::string("address and number with ") + separator + " between");
    requireAddress(text.substr(0, at), where);
    return {text.substr(0, at), numberOf(text.substr(at + 1), where)};
}

void eachLine(const std::string& file, const std::function<void(const std::string&, const std::string&)>& take) {
    std::istringstream lines(readInput(file));
    const std::string name = file == "-" ? "standard input" : file;
    std::string line;
    for (std::size_t number = 1; std::getline(lines, line); ++number) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty()) take(line, name + ":" + std::to_string(number) + ": ");
    }
}

}  // namespace

void requireAddress(const std::string& text, const std::string& where) {
    if (!frame::isDottedQuad(text)) refuse(where, text, "IPv4 address in dotted-quad form");
}

std::vector<Assignment> assignmentsIn(const std::vector<std::string>& texts) {
    std::vector<Assignment> assignments;
    assignments.reserve(texts.size());
    for (const std::string& text : texts) assignments.push_back(assignmentOf(text, '=', {}));
    return assignments;
}

std::vector<Assignment> assignmentsInFile(const std::string& file) {
    std::vector<Assignment> assignments;
    eachLine(file, [&](const std::string& line, const std::string& where) {
        assignments.push_back(assignmentOf(line, ',', where));
    });
    return assignments;
}

std::vector<std::string> addressesIn(const std::vector<std::string>& texts) {
    for (const std::string& text : texts) requireAddress(text);
    return texts;
}

std::vector<std::string> addressesInFile(const std::string& file) {
    std::vector<std::string> addresses;
    eachLine(file, [&](const std::string& line, const std::string& where) {
        addresses.push_back(line.substr(0, line.find(',')));
        requireAddress(addresses.back(), where);
    });
    return addresses;
}

}  // namespace necctl
