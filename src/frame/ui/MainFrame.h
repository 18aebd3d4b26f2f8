#pragma once
// mdiFrame: the studio's main frame, holding the child windows in an MDI area.

#include <QMainWindow>

class QMdiArea;

namespace bx::ui {

class MainFrame : public QMainWindow {
    Q_OBJECT
public:
    explicit MainFrame(QWidget* parent = nullptr);

    QMdiArea* MdiArea() const { return mdiArea_; }

private:
    QMdiArea* mdiArea_;
};

} // namespace bx::ui
