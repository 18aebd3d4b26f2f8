#pragma once
// wizConfig, "Configuration": the external editor, builder and ICE driver with their in-use
// boxes, and the simulation rate on a five-position slider. Done writes the tools to the
// global settings and to the open appliance, and the rate to the appliance; Cancel changes
// nothing. The logic is the core's Configuration.

#include "settings/Configuration.h"

#include <QDialog>

class QCheckBox;
class QGridLayout;
class QLabel;
class QLineEdit;
class QSlider;

namespace bx {
class Appliance;
class GlobalSettings;
} // namespace bx

namespace bx::ui {

class ConfigDialog : public QDialog {
    Q_OBJECT
public:
    // appliance may be null (no appliance open): the rate is then shown and not stored.
    ConfigDialog(GlobalSettings& settings, Appliance* appliance, QWidget* parent = nullptr);

    // Which of the three tools the command that opened the dialog is about: its text box gets
    // the focus.
    enum class Focus { Editor, Builder, Ice };
    void FocusOn(Focus focus);

    void Done();

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    QLineEdit* AddTool(QGridLayout* grid, int row, const QString& label, const QString& name,
                       QCheckBox*& inUse, const QString& boxName);

    GlobalSettings& settings_;
    Appliance* appliance_;
    QLineEdit* txtExtEditor_;
    QLineEdit* txtExtBuilder_;
    QLineEdit* txtExtIce_;
    QCheckBox* chkExtEditor_;
    QCheckBox* chkExtBuilder_;
    QCheckBox* chkExtIce_;
    QSlider* sldRate_;
    QLabel* lblSimRates_;
};

} // namespace bx::ui
