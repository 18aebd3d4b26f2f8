#pragma once
// The appliance editor's two small dialogs on the load map: the segment mapping (a segment's
// name, start and size; Define, and Configure Segment Settings) and wizLoadSettings (a load
// image's bank, address and offset). Done checks the fields with the core's rules and, when
// one is wrong, says why in a box and stays open; nothing reaches the appliance before the
// caller takes the accepted fields.

#include "appliance_editor/ApplianceEdits.h"

#include <QDialog>

class QLineEdit;

namespace bx {
class Prompter;
}

namespace bx::ui {

class SegmentDialog : public QDialog {
    Q_OBJECT
public:
    // editing: the segment being changed ("" for a new one), whose fields are shown.
    SegmentDialog(Appliance& appliance, Prompter& prompter, const std::string& editing,
                  QWidget* parent = nullptr);
    SegmentFields Fields() const;
    void Done();

private:
    Appliance& appliance_;
    Prompter& prompter_;
    std::string editing_;
    QLineEdit* txtSegment_;
    QLineEdit* txtStart_;
    QLineEdit* txtSize_;
};

class LoadSettingsDialog : public QDialog {
    Q_OBJECT
public:
    LoadSettingsDialog(Appliance& appliance, Prompter& prompter, const LoadRowPlace& place,
                       QWidget* parent = nullptr);
    LoadFields Fields() const;
    void Done();

private:
    Appliance& appliance_;
    Prompter& prompter_;
    LoadRowPlace place_;
    QLineEdit* txtBank_;
    QLineEdit* txtAddress_;
    QLineEdit* txtOffset_;
};

} // namespace bx::ui
