#pragma once
// The studio's frame in a widget test: dialogs and message boxes scripted, a program folder of
// the test's choosing, and a whole road from New through the wizard to a built appliance.
// Header-only: only the QtTest programs include it.

#include "foundation/Diagnoser.h"
#include "frame/ui/MainFrame.h"
#include "inspectors/SourceLineModel.h"
#include "platform/ProgramFolder.h"
#include "platform/ui/DialogRunner.h"
#include "support/Cc65.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <QComboBox>
#include <QDialog>
#include <QFont>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <functional>
#include <optional>
#include <string>

namespace bx::test {

// Runs no modal loop: records each dialog and lets the test fill and close it.
class ScriptedDialogs : public ui::DialogRunner {
public:
    ScriptedDialogs() { ui::SetDialogRunner(this); }
    ~ScriptedDialogs() override { ui::SetDialogRunner(nullptr); }
    int Exec(QDialog& dialog) override {
        shown << dialog.objectName();
        return onDialog ? onDialog(dialog) : int(QDialog::Rejected);
    }
    QString OpenFileName(QWidget*, const QString&, const QString&) override { return file; }
    QString SaveFileName(QWidget*, const QString&, const QString&, const QString&) override {
        return saveFile;
    }
    QString ExistingFolder(QWidget*, const QString&) override { return folder; }
    bool ChooseFont(QWidget*, QFont& chosen) override {
        if (font)
            chosen = *font;
        return font.has_value();
    }

    QStringList shown;
    std::function<int(QDialog&)> onDialog;
    QString file;
    QString saveFile;
    QString folder;
    std::optional<QFont> font; // the font picker's choice; none: cancelled
};

// The line (from 1) of a debugger's source view whose source text starts with text; 0 for none.
inline int32_t LineOf(const SourceLineModel& view, const std::string& text) {
    for (int32_t n = 1; n <= view.LineCount(); ++n)
        if (view.Line(n).compare(SourceLineModel::kPrefixWidth, text.size(), text) == 0)
            return n;
    return 0;
}

// The frame of a test in a program folder, with its boxes and dialogs scripted.
struct Studio {
    Studio(const std::string& programFolder, const std::string& logFolder)
        : scoped(programFolder), diagnoser(logFolder + "\\vkbx.log"), frame(&prompter, &diagnoser) {
    }
    platform::ScopedProgramFolder scoped;
    ScriptedDialogs dialogs;
    ScriptedPrompter prompter;
    Diagnoser diagnoser;
    ui::MainFrame frame;
};

// The studio in the program folder of this build, with HOME in a fresh folder so that new
// appliances go there.
struct BuiltStudio {
    BuiltStudio()
        : home(), homeSet(SetHome(home)),
          studio(platform::FromNativePath(BX_PROGRAM_DIR), home.Path()) {}
    static bool SetHome(const TempFolder& folder) {
        return qputenv("HOME", QByteArray::fromStdString(folder.Native().string()));
    }

    // New through the wizard (name and body typed as a person would, then Done); true when the
    // appliance was created without a box.
    bool CreateAppliance(const std::string& name, const std::string& body) {
        studio.dialogs.onDialog = [name, body](QDialog& dialog) {
            auto* nameBox = dialog.findChild<QLineEdit*>("txtAppliance");
            auto* bodies = dialog.findChild<QComboBox*>("cbMCUBody");
            if (!nameBox || !bodies)
                return int(QDialog::Rejected);
            nameBox->selectAll();
            QTest::keyClicks(nameBox, QString::fromStdString(name));
            bodies->setCurrentIndex(bodies->findText(QString::fromStdString(body)));
            QTest::mouseClick(dialog.findChild<QPushButton*>("cmdDone"), Qt::LeftButton);
            return dialog.result();
        };
        const std::size_t boxes = studio.prompter.Boxes().size();
        studio.frame.Perform("mnuApplNew");
        studio.dialogs.onDialog = nullptr;
        return studio.prompter.Boxes().size() == boxes && studio.frame.Frame().ApplianceOpen();
    }
    // The frame initialised and shown at a working size with a new appliance of that body made
    // through the wizard, and built unless told not to; true when each step worked.
    bool Open(const std::string& name, const std::string& body, bool build = true) {
        ui::MainFrame& frame = studio.frame;
        if (!frame.Initialise())
            return false;
        frame.resize(1400, 900);
        frame.show();
        if (!QTest::qWaitForWindowExposed(&frame) || !CreateAppliance(name, body))
            return false;
        if (build)
            frame.Perform("mnuBuildUpdated");
        return true;
    }
    // The folder New puts an appliance of that name in, with its final "\".
    std::string ApplianceFolder(const std::string& name) const {
        return home.Sub("SarnovaTessarineProject\\" + name) + "\\";
    }

    TempFolder home;
    bool homeSet;
    Studio studio;
};

} // namespace bx::test
