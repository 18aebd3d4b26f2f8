#include "frame/ui/StudioMain.h"

#include "frame/ui/MainFrame.h"

#include <QApplication>

namespace bx::ui {

int StudioMain(int argc, char** argv) {
    // Qt reads its own options from argv; the studio itself looks at nothing there.
    QApplication app(argc, argv);
    MainFrame frame;
    frame.show();
    return app.exec();
}

} // namespace bx::ui
