// Assignments of NEs to trap servers, as people write them.
#pragma once

#include <string>
#include <vector>

namespace necctl {

struct Assignment {
    std::string neIP;
    short server = 0;
};

// IPv4 addresses in dotted-quad form; numbers from -32768 to 32767.

// Of texts "ADDRESS=NUMBER". Throws Failure, wrong usage.
std::vector<Assignment> assignmentsIn(const std::vector<std::string>& texts);
// Of the lines "ADDRESS,NUMBER" of `file`, or of standard input for "-"; blank lines are skipped. Throws Failure, which
// names file and line.
std::vector<Assignment> assignmentsInFile(const std::string& file);

// The same for addresses alone; of a line with more fields than one the first counts.
std::vector<std::string> addressesIn(const std::vector<std::string>& texts);
std::vector<std::string> addressesInFile(const std::string& file);

// Throws Failure, with `where` in front, when `text` is no IPv4 address in dotted-quad form.
void requireAddress(const std::string& text, const std::string& where = {});

}  // namespace necctl
