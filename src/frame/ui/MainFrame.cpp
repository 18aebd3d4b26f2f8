#include "frame/ui/MainFrame.h"

#include "frame/ProductInfo.h"

#include <QMdiArea>

namespace bx::ui {

MainFrame::MainFrame(QWidget* parent) : QMainWindow(parent), mdiArea_(new QMdiArea(this)) {
    setObjectName("mdiFrame");
    mdiArea_->setObjectName("mdiArea");
    setCentralWidget(mdiArea_);
    setWindowTitle(QString::fromStdString(FrameCaption()));
    resize(1024, 720);
}

} // namespace bx::ui
