#include "platform/ui/DialogRunner.h"

#include <QDialog>
#include <QFileDialog>
#include <QFontDialog>
#include <QStringList>

namespace bx::ui {

namespace {
DialogRunner realRunner;
DialogRunner* installed = nullptr;
} // namespace

int DialogRunner::Exec(QDialog& dialog) {
    return dialog.exec();
}

QString DialogRunner::OpenFileName(QWidget* parent, const QString& title, const QString& filter) {
    return QFileDialog::getOpenFileName(parent, title, QString(), filter);
}

QString DialogRunner::SaveFileName(QWidget* parent, const QString& title, const QString& filter,
                                   const QString& proposed) {
    return QFileDialog::getSaveFileName(parent, title, proposed, filter);
}

QString DialogRunner::ExistingFolder(QWidget* parent, const QString& prompt) {
    return QFileDialog::getExistingDirectory(parent, prompt);
}

bool DialogRunner::ChooseFont(QWidget* parent, QFont& font) {
    bool chosen = false;
    const QFont picked = QFontDialog::getFont(&chosen, font, parent, "Font");
    if (chosen)
        font = picked;
    return chosen;
}

DialogRunner& Dialogs() {
    return installed ? *installed : realRunner;
}

void SetDialogRunner(DialogRunner* runner) {
    installed = runner;
}

QString QtFileFilter(const std::string& filter) {
    QStringList pieces;
    for (const QString& piece : QString::fromStdString(filter).split('|'))
        if (!piece.isEmpty())
            pieces << piece;
    QStringList filters;
    for (qsizetype i = 0; i + 1 < pieces.size(); i += 2) {
        QString text = pieces[i];
        QString pattern = pieces[i + 1];
        if (pattern.startsWith('(') && pattern.endsWith(')'))
            pattern = pattern.mid(1, pattern.size() - 2);
        pattern.replace(';', ' ');
        // Qt takes the globs, separated by blanks, from the brackets of the text: a text that
        // names them already keeps its words, any other gets them behind.
        if (text.contains('('))
            text.replace(';', ' ');
        else
            text += " (" + pattern + ")";
        filters << text;
    }
    return filters.join(";;");
}

} // namespace bx::ui
