// The source editor with a 50,000-line ca65 source (about 1.6 MB), colouring on, on the offscreen
// platform:
//  - BM_OpenLargeSourceColoured: LoadSource of the file until its first screen is painted in
//    colour (reading, decoding, the text widget's layout, the colours of the lines shown).
//  - BM_KeyAtTheEndRepaints: one key typed at the end of the file (a letter, then its
//    Backspace, in turn), with the editor and the line numbers painted again.
//  - BM_FindNextAcrossTheFile: Find Next from the top to the only match, on the last line, with
//    the editor painted there.
#include "StudioBenchMain.h"
#include "appliance/Appliance.h"
#include "editor/ui/FindWindow.h"
#include "editor/ui/SourceEditor.h"
#include "foundation/HostInterfaces.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ui/DialogRunner.h"

#include <QApplication>
#include <QDialog>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <benchmark/benchmark.h>
#include <filesystem>
#include <iostream>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr int kLines = 50000;
constexpr const char* kNeedle = "needle_on_the_last_line";

// Accepts the find dialog with the text it holds; closes every other dialog.
class AcceptingDialogs : public bx::ui::DialogRunner {
public:
    int Exec(QDialog& dialog) override {
        if (auto* find = dialog.findChild<QPushButton*>("cmdFind"))
            find->click();
        return dialog.result();
    }
};

class CountingPrompter : public bx::Prompter {
public:
    int ask(const std::string& title, const std::string& text, bx::Buttons, bx::Icon) override {
        std::cerr << "unexpected box: " << title << ": " << text << "\n";
        ++boxes;
        return bx::AnswerNo;
    }
    int boxes = 0;
};

// A source of kLines lines in the shape of real ones: labels, mnemonics with every operand
// form, directives, strings and comments.
std::string LargeSource() {
    std::string text;
    text.reserve(kLines * 34);
    for (int i = 0; i < kLines - 1; ++i) {
        switch (i % 8) {
        case 0:
            text += "loop" + std::to_string(i) + ":  lda #$12        ; count the rows\n";
            break;
        case 1:
            text += "        sta $0200,x\n";
            break;
        case 2:
            text += "        bbr3 $12, loop" + std::to_string(i - 2) + "\n";
            break;
        case 3:
            text += "        .byte $01, %1010, 255, \"text\"\n";
            break;
        case 4:
            text += "VALUE" + std::to_string(i) + " = $C0 + 4\n";
            break;
        case 5:
            text += "        jsr wait        ; and again\n";
            break;
        case 6:
            text += "        inx\n";
            break;
        default:
            text += "\n";
            break;
        }
    }
    text += std::string("        jmp ") + kNeedle + "\n";
    return text;
}

// An editor with an appliance whose folder holds the large source, shown at a usual size.
struct EditorBench {
    fs::path folder = fs::temp_directory_path() / ("bench-editor-" + std::to_string(getpid()));
    AcceptingDialogs dialogs;
    CountingPrompter prompter;
    bx::Appliance appliance;
    bx::ui::FindWindow finder;
    bx::ui::SourceEditor editor{prompter, finder};

    EditorBench() {
        fs::create_directories(folder);
        appliance.Folder = bx::platform::FromNativePath(folder.string()) + "\\";
        bx::platform::WriteFileAtomic(appliance.Folder + "large.asm", LargeSource());
        bx::ui::SetDialogRunner(&dialogs);
        editor.SetAppliance(&appliance);
        editor.resize(1200, 800);
        editor.show();
        if (!QTest::qWaitForWindowExposed(&editor))
            std::cerr << "the editor didn't show\n";
    }
    ~EditorBench() {
        bx::ui::SetDialogRunner(nullptr);
        fs::remove_all(folder);
    }
    void Paint() {
        editor.ActiveEditor()->viewport()->repaint();
        QApplication::processEvents();
    }
    void Close() {
        editor.CloseAllMost();
        QApplication::processEvents();
    }
};

void BM_OpenLargeSourceColoured(benchmark::State& state) {
    EditorBench bench;
    for (auto _ : state) {
        bench.editor.LoadSource("large.asm");
        bench.Paint();
        state.PauseTiming();
        if (bench.editor.ActiveEditor()->blockCount() < kLines)
            state.SkipWithError("the source wasn't loaded whole");
        bench.Close();
        state.ResumeTiming();
    }
    if (bench.prompter.boxes != 0)
        state.SkipWithError("a box was shown");
}
BENCHMARK(BM_OpenLargeSourceColoured)->Unit(benchmark::kMillisecond);

void BM_KeyAtTheEndRepaints(benchmark::State& state) {
    EditorBench bench;
    bench.editor.LoadSource("large.asm");
    QPlainTextEdit* text = bench.editor.ActiveEditor();
    text->moveCursor(QTextCursor::End);
    text->ensureCursorVisible();
    bench.Paint();
    bool typed = false;
    for (auto _ : state) {
        QTest::keyClick(text, typed ? Qt::Key_Backspace : Qt::Key_A);
        typed = !typed;
        text->viewport()->repaint();
        bench.editor.Markers()->repaint();
    }
    text->document()->setModified(false);
    bench.Close();
}
BENCHMARK(BM_KeyAtTheEndRepaints)->Unit(benchmark::kMillisecond);

void BM_FindNextAcrossTheFile(benchmark::State& state) {
    EditorBench bench;
    bench.editor.LoadSource("large.asm");
    QPlainTextEdit* text = bench.editor.ActiveEditor();
    bench.finder.Propose(kNeedle);
    bench.editor.FindNew(); // stores the text; finds the needle once
    for (auto _ : state) {
        state.PauseTiming();
        text->moveCursor(QTextCursor::Start);
        bench.Paint();
        state.ResumeTiming();
        bench.editor.FindNext();
        bench.Paint();
        if (text->textCursor().selectedText() != QString(kNeedle))
            state.SkipWithError("Find Next didn't land on the last line");
    }
    bench.Close();
}
BENCHMARK(BM_FindNextAcrossTheFile)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    return RunStudioBenchmarks(argc, argv);
}
