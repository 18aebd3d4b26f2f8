#pragma once
// DisasmView (davDisasm): the instruction list the debugger shows when the program counter has
// no source line, painted from DisasmRows at each repaint: the PC's row under the bar,
// breakpoint circles, bank and address, bytes and mnemonic in the system's fixed-pitch font,
// and a rule under each change of control flow in its pen style. Nothing is painted while the
// target runs. The scroll bar fsbPC doesn't scroll: the list moves only with PC.

#include <QWidget>

class QScrollBar;

namespace bx {
class DisasmRows;
}

namespace bx::ui {

class DisasmView : public QWidget {
    Q_OBJECT
public:
    static constexpr int kHeldValue = 128;

    explicit DisasmView(DisasmRows& rows, QWidget* parent = nullptr);
    QScrollBar* PCBar() const { return fsbPC_; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    DisasmRows& rows_;
    QScrollBar* fsbPC_;
    QFont font_;
};

} // namespace bx::ui
