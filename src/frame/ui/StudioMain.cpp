#include "frame/ui/StudioMain.h"

#include "frame/ui/MainFrame.h"

#include <QApplication>

namespace bx::ui {

int StudioMain(int argc, char** argv) {
    // Qt reads its own options from argv; the studio itself looks at nothing there: a file
    // named on the command line opens nothing.
    QApplication app(argc, argv);
    QApplication::setApplicationName("Tessarine Studio");
    MainFrame frame;
    if (!frame.Initialise())
        return 1;
    frame.show();
    return app.exec();
}

} // namespace bx::ui
