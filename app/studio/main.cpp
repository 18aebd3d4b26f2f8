// tessarine: the studio. The command line is deliberately ignored.
#include "frame/ui/StudioMain.h"

int main(int argc, char** argv) {
    return bx::ui::StudioMain(argc, argv);
}
