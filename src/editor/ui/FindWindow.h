#pragma once
// wizFind, "Find": the one find dialog of the studio, shared by the source editor and the
// debugger's source views (one instance, held by frmSource: SourceWindow::SharedFind()), so
// that both remember the same text and check boxes.
//
// A view uses it through bx::FindDialog (inspectors/SourceLineModel.h), the interface its
// search logic already reads:
//     ShowModal()   shows the dialog modally; false when it was cancelled (cmdCancel, Esc or
//                   the window's close), true after cmdFind
//     FindTarget()  the text of txtFindTarget
//     MatchCase()   chkMatchCase
//     WholeWord()   chkWholeWord
// The dialog stays alive between showings, so a "find next" may read the check boxes again.
// A debug view hands it to its model once: model.Finder = &sourceWindow.SharedFind();
//
// The dialog runs through the DialogRunner, so a widget test fills and accepts it.

#include "inspectors/SourceLineModel.h"

#include <QDialog>

class QCheckBox;
class QLineEdit;
class QPushButton;

namespace bx::ui {

class FindWindow : public QDialog, public FindDialog {
    Q_OBJECT
public:
    explicit FindWindow(QWidget* parent = nullptr);

    bool ShowModal() override;
    std::string FindTarget() const override;
    bool MatchCase() const override;
    bool WholeWord() const override;

    // Puts a text into txtFindTarget for the next showing (the word a person has selected);
    // an empty text leaves the last one.
    void Propose(const QString& text);
    bool Cancelled() const { return cancelled_; }

private:
    QLineEdit* txtFindTarget_;
    QCheckBox* chkMatchCase_;
    QCheckBox* chkWholeWord_;
    QPushButton* cmdFind_;
    bool cancelled_ = true;
};

} // namespace bx::ui
