// What a check found, one after another.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "options.h"

namespace necctl {

enum class Verdict { ok, wrong, cannotTell };

struct Finding {
    Verdict verdict;
    std::string about;     // "nats://nec-1:4222 version"
    std::string found;     // "2.9.10"
    std::string expected;  // empty when the verdict is ok
};

class Findings {
public:
    void ok(const std::string& about, const std::string& found) { all_.push_back({Verdict::ok, about, found, {}}); }
    void wrong(const std::string& about, const std::string& found, const std::string& expected) {
        all_.push_back({Verdict::wrong, about, found, expected});
    }
    void cannotTell(const std::string& about, const std::string& why) {
        all_.push_back({Verdict::cannotTell, about, why, {}});
    }
    // ok when it holds.
    void judge(bool holds, const std::string& about, const std::string& found, const std::string& expected) {
        holds ? ok(about, found) : wrong(about, found, expected);
    }

    std::size_t wrongOnes() const;
    // A line each, or one JSON array.
    void write(bool json) const;

private:
    std::vector<Finding> all_;
};

}  // namespace necctl
