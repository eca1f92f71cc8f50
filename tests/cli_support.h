// Runs the tsntxtr command as a user would, in a fresh application-data
// folder, and collects its exit code and messages.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "tests/test_support.h"

namespace tsn::test {

struct Outcome {
    int code;
    std::string out, err;
};

class CliTest : public ::testing::Test {
  protected:
    TempFolder folder;

    // `shell` runs first in the same shell, e.g. to set a limit.
    Outcome Tsntxtr(const std::string& args, const std::string& shell = "") {
        const std::string out = folder.File("stdout.txt"), err = folder.File("stderr.txt");
        const std::string cmd =
            shell + "'" + TSNTXTR_EXE + "' " + args + " >'" + out + "' 2>'" + err + "'";
        const int status = std::system(cmd.c_str());
        auto text = [](const std::string& p) {
            auto b = ReadAll(p);
            return std::string(b.begin(), b.end());
        };
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text(out), text(err)};
    }
};

}  // namespace tsn::test
