// The appliance editor on the offscreen platform, on the shipped KTR310 template: the wiring
// pane's check boxes and port box with the power off, and the box that refuses both with the
// power on; a property changed in place; a segment dialog refusing a bad value; the save
// question's three answers.
#include "appliance/Appliance.h"
#include "appliance_editor/Wiring.h"
#include "appliance_editor/ui/ApplianceEditor.h"
#include "frame/CommandState.h"
#include "settings/GlobalSettings.h"
#include "support/StudioRig.h"

#include <QComboBox>
#include <QHeaderView>
#include <QLineEdit>
#include <QTreeWidget>
#include <QtTest>

using namespace bx;
using namespace bx::test;

namespace {

// The middle of a row's cell, in the pane's viewport.
QPoint CellCentre(QTreeWidget* list, int row, int column) {
    const QRect rect = list->visualItemRect(list->topLevelItem(row));
    return {list->header()->sectionViewportPosition(column) +
                list->header()->sectionSize(column) / 2,
            rect.center().y()};
}

} // namespace

class TestApplianceEditor : public QObject {
    Q_OBJECT

    ScriptedPrompter prompts_;
    std::unique_ptr<GlobalSettings> settings_;
    std::unique_ptr<TempFolder> folder_;
    std::unique_ptr<Appliance> appliance_;
    std::unique_ptr<CommandState> commands_;
    std::unique_ptr<ui::ApplianceEditor> editor_;
    bool powered_ = false;

    std::shared_ptr<Wire> LedWire() {
        return appliance_->Peripherals()
            .Item("SimpleUI")
            ->Wires.Item(Wires::KeyOf("SimpleUI", "LED", 0xFF));
    }
    QTreeWidget* Wiring() { return editor_->PaneList(Pane::Wiring); }

private slots:
    void init() {
        settings_ = std::make_unique<GlobalSettings>(prompts_);
        QVERIFY(settings_->Load(ShippedFile("BX.gss")));
        folder_ = std::make_unique<TempFolder>();
        appliance_ = std::make_unique<Appliance>();
        appliance_->Settings = settings_.get();
        QVERIFY(appliance_->Load(ShippedFile("Templates/Sarnova/KTR310/KTR310.tpl")));
        appliance_->Title = "demo";
        appliance_->Folder = folder_->Path() + "\\";
        // The build steps of a new appliance's starter program, and nothing modified yet.
        appliance_->AddBuildStep("main.obj", "ca65 -o %o %i", "main.asm");
        appliance_->AddBuildStep("demo.rom", "ld65 -o %o %i", "main.obj");
        appliance_->Save(true);
        QVERIFY(platform::DeleteFile(folder_->Sub("demo.apl")));
        commands_ = std::make_unique<CommandState>();
        powered_ = false;
        editor_ = std::make_unique<ui::ApplianceEditor>(prompts_, *commands_,
                                                        [this] { return powered_; });
        editor_->SetSettings(settings_.get());
        editor_->SetAppliance(appliance_.get());
        editor_->resize(900, 500);
        editor_->show();
        QVERIFY(QTest::qWaitForWindowExposed(editor_.get()));
    }

    void cleanup() {
        editor_.reset();
        QCOMPARE(prompts_.UnscriptedBoxes(), 0);
        prompts_ = ScriptedPrompter();
    }

    void wiringChangesWithThePowerOffAndTheBoxWithItOn() {
        QVERIFY(editor_->SelectNode("DV SimpleUI"));
        QCOMPARE(editor_->VisiblePane(), Pane::Wiring);
        QCOMPARE(Wiring()->topLevelItemCount(), 2);
        QTreeWidgetItem* led = Wiring()->topLevelItem(0);
        QCOMPARE(led->text(0), QString("LED"));
        QCOMPARE(led->text(2), QString("Out"));
        QCOMPARE(led->text(3), QString("P0"));

        // Unticked: the wire is disconnected, and the row's key carries the new flag.
        const QString keyBefore = led->data(0, Qt::UserRole).toString();
        led->setCheckState(0, Qt::Unchecked);
        QVERIFY(!LedWire()->IsConnected);
        QCOMPARE(led->data(0, Qt::UserRole).toString().toStdString(), LedWire()->AsString());
        QVERIFY(led->data(0, Qt::UserRole).toString() != keyBefore);
        QVERIFY(appliance_->IsDirty());

        // A press on the Port cell opens the box with the three ports; P1 is taken.
        QTest::mouseClick(Wiring()->viewport(), Qt::LeftButton, {}, CellCentre(Wiring(), 0, 3));
        QComboBox* box = editor_->InPlaceBox();
        QVERIFY(box->isVisible());
        QCOMPARE(box->count(), 3);
        QCOMPARE(box->itemText(2), QString("P2"));
        QCOMPARE(box->currentText(), QString("P0"));
        emit box->activated(1);
        QVERIFY(!box->isVisible());
        QCOMPARE(LedWire()->Port, std::string("P1"));
        QCOMPARE(Wiring()->topLevelItem(0)->text(3), QString("P1"));

        // Outside the Port column, or on an analog wire, no box opens.
        QTest::mouseClick(Wiring()->viewport(), Qt::LeftButton, {}, CellCentre(Wiring(), 0, 1));
        QVERIFY(!box->isVisible());
        QVERIFY(editor_->SelectNode("DV Speaker"));
        QCOMPARE(Wiring()->topLevelItem(0)->text(1), QString());
        QTest::mouseClick(Wiring()->viewport(), Qt::LeftButton, {}, CellCentre(Wiring(), 0, 3));
        QVERIFY(!box->isVisible());

        // Powered on: the box says so, the check mark goes back, and nothing changes.
        powered_ = true;
        QVERIFY(editor_->SelectNode("DV SimpleUI"));
        prompts_.Answer(AnswerOk).Answer(AnswerOk);
        QTreeWidgetItem* button = Wiring()->topLevelItem(1);
        button->setCheckState(0, Qt::Unchecked);
        QCOMPARE(button->checkState(0), Qt::Checked);
        QTest::mouseClick(Wiring()->viewport(), Qt::LeftButton, {}, CellCentre(Wiring(), 0, 3));
        QVERIFY(!box->isVisible());
        QCOMPARE(prompts_.Boxes().size(), std::size_t(2));
        for (const RecordedBox& shown : prompts_.Boxes()) {
            QCOMPARE(shown.title, std::string("Appliance Editor"));
            QCOMPARE(shown.text,
                     std::string("Please power off the appliance before changing settings."));
            QCOMPARE(shown.icon, Icon::Information);
        }
        QVERIFY(appliance_->Peripherals()
                    .Item("SimpleUI")
                    ->Wires.Item(Wires::KeyOf("SimpleUI", "Button", 0xFF))
                    ->IsConnected);
        QCOMPARE(LedWire()->Port, std::string("P1"));
    }

    void clockChangesInPlaceAndTheSelectionDrivesTheCommands() {
        QVERIFY(editor_->SelectNode("Appl"));
        QCOMPARE(editor_->VisiblePane(), Pane::System);
        QVERIFY(!editor_->EditCell(Pane::System, "Family"));
        QVERIFY(editor_->EditCell(Pane::System, "O.P. Clock"));
        QComboBox* box = editor_->InPlaceBox();
        QCOMPARE(box->currentText(), QString("4 MHz"));
        emit box->activated(box->findText("8 MHz"));
        QCOMPARE(appliance_->OPClock, std::string("8 MHz"));
        QCOMPARE(appliance_->ClockParam, std::string("8"));
        QTreeWidget* system = editor_->PaneList(Pane::System);
        QCOMPARE(system->topLevelItem(2)->text(1), QString("8 MHz"));

        QVERIFY(editor_->EditCell(Pane::System, "WDT"));
        emit box->activated(box->findText("Enabled"));
        QVERIFY(appliance_->OptionAt(1));

        // A source node allows its removal, a segment row its segment commands.
        QVERIFY(editor_->SelectNode("BL main.obj"));
        QVERIFY(commands_->Menu("mnuSrcRemove").Enabled);
        QVERIFY(!commands_->Menu("mnuSegRem").Enabled);
        appliance_->ObjMaps().Add("CODE", 0x8000, 0x4000);
        editor_->Update(true);
        QVERIFY(editor_->SelectNode("Load"));
        QVERIFY(!commands_->Menu("mnuSrcRemove").Enabled);
        editor_->PaneList(Pane::Load)
            ->setCurrentItem(editor_->PaneList(Pane::Load)->topLevelItem(0));
        QVERIFY(commands_->Menu("mnuSegRem").Enabled);
        QVERIFY(commands_->Menu("mnuSegConf").Enabled);
    }

    void onlyTheRootTakesANewNameAndOnlyAFileName() {
        QTreeWidget* tree = editor_->Tree();
        QVERIFY(tree->topLevelItem(0)->flags() & Qt::ItemIsEditable);
        QVERIFY(!(tree->topLevelItem(0)->child(0)->flags() & Qt::ItemIsEditable));
        prompts_.Answer(AnswerOk);
        tree->topLevelItem(0)->setText(0, "door/bell");
        QCoreApplication::processEvents();
        QCOMPARE(prompts_.Boxes().size(), std::size_t(1));
        QCOMPARE(appliance_->Title, std::string("demo"));
        QCOMPARE(tree->topLevelItem(0)->text(0), QString("demo"));
        tree->topLevelItem(0)->setText(0, "doorbell");
        QCoreApplication::processEvents();
        QCOMPARE(appliance_->Title, std::string("doorbell"));
        QCOMPARE(tree->topLevelItem(0)->font(0).bold(), true);
        QVERIFY(appliance_->IsDirty());
    }

    void aSegmentWithABadValueIsRefusedAndAGoodOneAdded() {
        ScriptedDialogs dialogs;
        std::string start = "$1C000";
        dialogs.onDialog = [&start](QDialog& dialog) {
            dialog.findChild<QLineEdit*>("txtSegment")->setText("DATA");
            dialog.findChild<QLineEdit*>("txtStart")->setText(QString::fromStdString(start));
            dialog.findChild<QLineEdit*>("txtSize")->setText("256");
            QTest::mouseClick(dialog.findChild<QPushButton*>("cmdDone"), Qt::LeftButton);
            return dialog.result();
        };
        prompts_.Answer(AnswerOk);
        editor_->AddSegmentMapping();
        QCOMPARE(dialogs.shown, QStringList{"wizSegment"});
        QCOMPARE(prompts_.Boxes().size(), std::size_t(1));
        QCOMPARE(prompts_.Boxes()[0].title, std::string("Segment Mapping"));
        QCOMPARE(appliance_->ObjMaps().Count(), std::size_t(0));
        start = "$C000";
        editor_->AddSegmentMapping();
        QCOMPARE(appliance_->ObjMaps().Count(), std::size_t(1));
        QCOMPARE(editor_->VisiblePane(), Pane::Load);
        QCOMPARE(editor_->PaneList(Pane::Load)->topLevelItem(0)->text(2), QString("$00:C0FF"));
        QCOMPARE(editor_->PaneList(Pane::Load)->headerItem()->text(2), QString("End"));
    }

    void theSaveQuestionHasThreeAnswers() {
        const struct {
            int answer;
            bool mayGo, saved;
        } rows[] = {{AnswerCancel, false, false}, {AnswerNo, true, false}, {AnswerYes, true, true}};
        appliance_->Touch();
        for (const auto& row : rows) {
            prompts_.Answer(row.answer);
            QCOMPARE(editor_->QueryUnload(), row.mayGo);
            QCOMPARE(platform::FileExists(folder_->Sub("demo.apl")), row.saved);
            const RecordedBox& box = prompts_.Boxes().back();
            QCOMPARE(box.title, std::string("Appliance Editor"));
            QCOMPARE(box.text, std::string("The appliance settings have been modified.\r\nSave "
                                           "changes to 'demo' before exiting?"));
            QCOMPARE(box.buttons, Buttons::YesNoCancel);
            QCOMPARE(box.icon, Icon::Question);
        }
        QVERIFY(editor_->QueryUnload()); // saved: no question
        editor_->SetAppliance(nullptr);
        QVERIFY(editor_->QueryUnload());
        QCOMPARE(prompts_.Boxes().size(), std::size_t(3));
    }
};

QTEST_MAIN(TestApplianceEditor)
#include "tst_appliance_editor.moc"
