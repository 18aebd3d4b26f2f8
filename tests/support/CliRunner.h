#pragma once
// Runs a tessarine-cli command in-process and keeps what it printed.

#include "cli/CliMain.h"

#include <sstream>
#include <string>
#include <vector>

namespace bx::test {

struct CliResult {
    int status;
    std::string out, err;
};

inline CliResult RunCli(const std::vector<std::string>& args) {
    std::ostringstream out, err;
    int status = cli::Run(args, out, err);
    return {status, out.str(), err.str()};
}

} // namespace bx::test
