#pragma once
// The two dialogs of the source editor's Replace:
//   - wizReplace, "Replace": what to find and what to put in its place (cbFindWhat,
//     cbReplaceWith, each remembering the texts used in this session), match case
//     (ckMatchCase) and whole word (ckMatchAll), the scope (opCurrentFile, the default;
//     opSelected, from the selection on; opAllOpenFile) and the action: cmdStart goes from
//     match to match, cmdReplaceAll replaces them all at once, cmdCancel does nothing.
//   - wizReplaceNext, "Replace": asked at each match of the step-by-step pass: cmdReplace,
//     cmdReplaceAll, cmdFindNext (leave this one, go to the next) or cmdCancel.
// Both run through the DialogRunner and are read through the interfaces of SearchSession.

#include "editor/SearchSession.h"

#include <QDialog>

class QCheckBox;
class QComboBox;
class QLabel;
class QRadioButton;

namespace bx::ui {

class ReplaceWindow : public QDialog, public ReplaceDialog {
    Q_OBJECT
public:
    explicit ReplaceWindow(QWidget* parent = nullptr);

    // Puts a text into cbFindWhat for the next showing; an empty text leaves the last one.
    void Propose(const QString& text);

    void ShowModal() override;
    std::string FindWhat() const override;
    std::string ReplaceWith() const override;
    bool MatchCase() const override;
    bool WholeWord() const override;
    int Scope() const override;
    int Action() const override { return action_; }

private:
    void Finish(int action);

    QComboBox* cbFindWhat_;
    QComboBox* cbReplaceWith_;
    QCheckBox* ckMatchCase_;
    QCheckBox* ckMatchAll_;
    QRadioButton* opCurrentFile_;
    QRadioButton* opSelected_;
    QRadioButton* opAllOpenFile_;
    int action_ = kCancel;
};

class ReplaceNextWindow : public QDialog, public ReplaceNextDialog {
    Q_OBJECT
public:
    explicit ReplaceNextWindow(QWidget* parent = nullptr);

    // What the next showing tells: the text found and the one to put in its place, and the
    // match's place on the screen, which the dialog keeps clear of.
    void Describe(const QString& found, const QString& replacement, const QRect& matchOnScreen);
    int ShowModal() override;

private:
    QLabel* lblQuestion_;
    QRect match_;
    int action_ = 0;
};

} // namespace bx::ui
