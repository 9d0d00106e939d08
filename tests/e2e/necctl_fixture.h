// Running necctl from tests.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/folder.h"
#include "support/run.h"

class Necctl : public testing::Test {
protected:
    static support::Outcome necctl(std::vector<std::string> arguments, std::string_view input = {},
                                   const std::vector<std::string>& environment = {}) {
        arguments.insert(arguments.begin(), NECCTL);
        return support::run(arguments, input, environment);
    }
    // Runs `command`, a line of the shell, on a terminal, by script(1), and returns what it shows.
    static std::string onTerminal(const std::string& command, const std::vector<std::string>& environment = {}) {
        return support::run({"script", "-qec", command, "/dev/null"}, {}, environment).out;
    }
    // Standard output of a command that must do without an error or a message.
    static std::string answer(const std::vector<std::string>& arguments, std::string_view input = {}) {
        const support::Outcome outcome = necctl(arguments, input);
        EXPECT_EQ(outcome.exitStatus, 0);
        EXPECT_EQ(outcome.err, "");
        return outcome.out;
    }
    // Standard error of a command that must fail with `status` and nothing on standard output.
    static std::string failure(int status, const std::vector<std::string>& arguments, std::string_view input = {}) {
        const support::Outcome outcome = necctl(arguments, input);
        EXPECT_EQ(outcome.exitStatus, status) << outcome.err;
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, testing::StartsWith("necctl: error: "));
        EXPECT_THAT(outcome.err, testing::EndsWith("\n"));
        return outcome.err;
    }

    support::Folder folder;
};
