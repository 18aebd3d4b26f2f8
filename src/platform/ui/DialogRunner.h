#pragma once
// The one seam through which the studio runs its modal dialogs and the system's file and folder
// pickers. The studio runs them for real; a widget test installs its own runner that fills a
// dialog's controls and accepts or cancels it, so that no modal loop ever blocks a test.
// UI thread only.

#include <QString>

class QDialog;
class QFont;
class QWidget;

namespace bx::ui {

class DialogRunner {
public:
    virtual ~DialogRunner() = default;
    // Runs the dialog modally; the result is QDialog::Accepted or QDialog::Rejected.
    virtual int Exec(QDialog& dialog);
    // The system's open dialog; an empty text when cancelled. filter in Qt's form
    // ("Text (*.apl);;All Files (*)").
    virtual QString OpenFileName(QWidget* parent, const QString& title, const QString& filter);
    virtual QString SaveFileName(QWidget* parent, const QString& title, const QString& filter,
                                 const QString& proposed);
    // The system's folder picker; an empty text when cancelled.
    virtual QString ExistingFolder(QWidget* parent, const QString& prompt);
    // The font picker, filled from font; false when cancelled, else font holds the choice.
    virtual bool ChooseFont(QWidget* parent, QFont& font);
};

// The runner in use: the real one unless a test installed another.
DialogRunner& Dialogs();
// Installs a runner (a test's); nullptr goes back to the real one. The caller keeps ownership.
void SetDialogRunner(DialogRunner* runner);

// The system's filter text "Text|pattern|Text|pattern" (a pattern may list several globs
// separated by ";") in Qt's form. Empty pieces are passed over and a pattern in brackets
// ("(*)") loses them.
QString QtFileFilter(const std::string& filter);

} // namespace bx::ui
