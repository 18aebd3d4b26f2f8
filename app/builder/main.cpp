// tessarine-build: the external builder shipped with the studio (src/build/ExternalBuilder).
#include "build/ExternalBuilder.h"

#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    return bx::builder::RunBuilder(args, std::cout, std::cerr);
}
