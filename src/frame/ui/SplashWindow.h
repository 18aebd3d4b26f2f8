#pragma once
// frmSplash: the window that greets a person at start-up, shown modally before the frame. It
// closes on a click, on any key, or when its timer runs out. A double click on its picture
// packs the logs into the diagnostic archive; the maker's label opens the product's guide.

#include <QDialog>
#include <QTimer>

class QLabel;

namespace bx::ui {

class SplashWindow : public QDialog {
    Q_OBJECT
public:
    static constexpr int kTimer1Ms = 2500;

    // specification: the diagnostic specification text that names the logs and the archive.
    SplashWindow(const std::string& specification, QWidget* parent = nullptr);

    QTimer& Timer1() { return timer1_; }
    // The picture the double click reacts to.
    QWidget* Image1() const;

protected:
    void showEvent(QShowEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void WriteArchive();

    std::string specification_;
    QTimer timer1_;
    QLabel* image1_;
    QLabel* lblVolkera_;
    QLabel* note_;
};

} // namespace bx::ui
