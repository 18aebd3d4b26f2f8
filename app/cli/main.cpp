// tessarine-cli: the studio's engine without a window.
#include "cli/CliMain.h"

int main(int argc, char** argv) {
    return bx::cli::Main(argc, argv);
}
