#pragma once
// DebugView: one source file while the machine is powered, painted from its SourceLineModel:
// the strip with the breakpoint circles on the left, the bar on the line of the program
// counter, each line behind the 15-column prefix of its code's address and bytes, in the
// system's fixed-pitch font. The model holds the lines, the marks and the scroll position in
// twips; this widget converts, paints, and hands it the mouse, the keys and its size.

#include <QWidget>

class QMenu;
class QScrollBar;

namespace bx {
class SourceLineModel;
}

namespace bx::ui {

class DebugView : public QWidget {
    Q_OBJECT
public:
    explicit DebugView(SourceLineModel* model, QWidget* parent = nullptr);
    ~DebugView() override;

    // The model it paints; null once the model went (the view then paints nothing).
    SourceLineModel* Model() const { return model_; }
    void Detach();

    QScrollBar* LineBar() const { return fsbLine_; }
    // The pixel height of one row, as the model measures it.
    int RowPixels() const;

signals:
    // The pop-up menu's "Breakpoint Editor".
    void BreakpointEditorRequested();
    // A mark was set or cleared by a click in the strip.
    void BreakpointsChanged();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void MirrorScrollBar();
    void TakeMetrics();

    SourceLineModel* model_;
    QScrollBar* fsbLine_;
    QMenu* mnuPopup_;
    QFont font_;
    bool mirroring_ = false;
};

} // namespace bx::ui
