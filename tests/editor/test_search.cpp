// The editor's find on a text, and the find and replace commands over a set of documents.
#include "editor/SearchSession.h"
#include "inspectors/SourceLineModel.h"
#include "support/TestDoubles.h"

#include <deque>
#include <gtest/gtest.h>
#include <map>

using namespace bx;

TEST(TextSearch, FindHonoursCaseWholeWordsAndTheRange) {
    const std::u16string text = u"LOOP1: lda loop\n  bne LOOP ; Loop";
    struct Case {
        const char16_t* what;
        int32_t start;
        int32_t end;
        int options;
        int32_t found;
    };
    const Case cases[] = {
        {u"loop", 0, -1, 0, 0},
        {u"loop", 0, -1, kFindMatchCase, 11},
        {u"LOOP", 0, -1, kFindWholeWord, 11}, // skips "LOOP1", goes on
        {u"LOOP", 0, -1, kFindWholeWord | kFindMatchCase, 22},
        {u"loop", 1, -1, 0, 11},
        {u"loop", 12, 26, 0, 22},
        {u"loop", 12, 26, kFindMatchCase, -1},
        {u"Loop", 23, 32, 0, -1}, // the match would end behind the range
        {u"", 0, -1, 0, -1},
        {u"loop", 99, -1, 0, -1},
    };
    for (const Case& c : cases)
        EXPECT_EQ(FindInText(text, c.what, c.start, c.end, c.options), c.found)
            << std::string(c.what, c.what + std::char_traits<char16_t>::length(c.what)) << " "
            << c.start;
    EXPECT_EQ(FindAllInText(u"aaaaa", u"aa", 0, -1, 0), (std::vector<int32_t>{0, 2}));
}

namespace {

struct Document {
    std::u16string text;
    int32_t start = 0;
    int32_t length = 0;
};

// Documents in memory, by editor number; the active one is editor `active`.
class MemoryDocuments : public SearchDocuments {
public:
    int ActiveEditor() const override { return active; }
    std::vector<int> EditorNumbers() const override {
        std::vector<int> numbers;
        for (const auto& [number, document] : documents)
            numbers.push_back(number);
        return numbers;
    }
    std::u16string Text(int editor) const override { return documents.at(editor).text; }
    int32_t SelectionStart(int editor) const override { return documents.at(editor).start; }
    int32_t SelectionLength(int editor) const override { return documents.at(editor).length; }
    void Select(int editor, int32_t start, int32_t length) override {
        documents[editor].start = start;
        documents[editor].length = length;
    }
    void Replace(int editor, const std::vector<int32_t>& starts, int32_t length,
                 const std::u16string& text) override {
        Document& document = documents[editor];
        for (auto at = starts.rbegin(); at != starts.rend(); ++at)
            document.text.replace(static_cast<std::size_t>(*at), static_cast<std::size_t>(length),
                                  text);
        document.start =
            starts.back() +
            static_cast<int32_t>((text.size() - length) * (starts.size() - 1) + text.size());
        document.length = 0;
        ++undoSteps;
    }
    void Activate(int editor) override {
        active = editor;
        activated.push_back(editor);
    }

    std::map<int, Document> documents;
    int active = 0;
    std::vector<int> activated;
    int undoSteps = 0;
};

struct ScriptedFind : FindDialog {
    bool ShowModal() override {
        ++shown;
        return !cancel;
    }
    std::string FindTarget() const override { return text; }
    bool MatchCase() const override { return false; }
    bool WholeWord() const override { return false; }
    std::string text;
    bool cancel = false;
    int shown = 0;
};

struct ScriptedReplace : ReplaceDialog {
    void ShowModal() override {}
    std::string FindWhat() const override { return find; }
    std::string ReplaceWith() const override { return with; }
    bool MatchCase() const override { return false; }
    bool WholeWord() const override { return false; }
    int Scope() const override { return scope; }
    int Action() const override { return action; }
    std::string find, with;
    int scope = kCurrentFile;
    int action = kStart;
};

struct ScriptedSteps : ReplaceNextDialog {
    int ShowModal() override {
        if (answers.empty())
            return 0;
        const int answer = answers.front();
        answers.pop_front();
        return answer;
    }
    std::deque<int> answers;
};

struct Rig {
    Rig() : session(documents, prompter) {
        session.Finder = &find;
        session.Replacer = &replace;
        session.Stepper = &steps;
        session.NotFound = [this](const std::u16string&) { ++notFound; };
    }
    int CompletedBoxes() const {
        int count = 0;
        for (const auto& box : prompter.Boxes())
            count += box.title == "Replace" && box.text == "The Search is Completed";
        return count;
    }
    MemoryDocuments documents;
    test::ScriptedPrompter prompter;
    ScriptedFind find;
    ScriptedReplace replace;
    ScriptedSteps steps;
    SearchSession session;
    int notFound = 0;
};

constexpr int R = ReplaceNextDialog::kReplace;
constexpr int N = ReplaceNextDialog::kFindNext;
constexpr int A = ReplaceNextDialog::kReplaceAll;
constexpr int kCancel = 0;

} // namespace

TEST(SearchSession, FindStartsAtTheTopAndFindNextOnePastTheSelection) {
    Rig rig;
    rig.documents.documents[1] = {u"ab ab ab", 5, 0};
    rig.documents.active = 1;
    rig.session.FindNext(); // no text yet: the dialog
    EXPECT_EQ(rig.find.shown, 1);
    rig.find.text = "ab";
    rig.session.FindNew();
    EXPECT_EQ(rig.documents.documents[1].start, 0);
    EXPECT_EQ(rig.documents.documents[1].length, 2);
    rig.session.FindNext();
    EXPECT_EQ(rig.documents.documents[1].start, 3);

    rig.find.text = "zz"; // no match: the selection stays, no box
    rig.session.FindNew();
    EXPECT_EQ(rig.documents.documents[1].start, 3);
    EXPECT_EQ(rig.notFound, 1);
    rig.find.cancel = true;
    rig.session.FindNew();
    EXPECT_EQ(rig.session.FindText(), u"zz");
    EXPECT_TRUE(rig.prompter.Boxes().empty());
}

TEST(SearchSession, EachScopeOfTheStepByStepPass) {
    struct Case {
        const char* name;
        int scope;
        std::map<int, Document> documents;
        std::deque<int> answers;
        std::map<int, std::u16string> texts;
        int completedBoxes;
    };
    const std::vector<Case> cases = {
        {"current file from the top",
         ReplaceDialog::kCurrentFile,
         {{1, {u"a.a.a", 4, 1}}},
         {R, N, R},
         {{1, u"X.a.X"}},
         1},
        {"cancel keeps what was replaced",
         ReplaceDialog::kCurrentFile,
         {{1, {u"a.a.a", 0, 0}}},
         {R, kCancel},
         {{1, u"X.a.a"}},
         0},
        {"selection: begins there and passes its end",
         ReplaceDialog::kSelected,
         {{1, {u"a.a.a.a", 2, 1}}},
         {R, R, R},
         {{1, u"a.X.X.X"}},
         1},
        {"all open files, one after the other",
         ReplaceDialog::kAllOpenFiles,
         {{1, {u"a-", 0, 0}}, {3, {u"-a-a", 0, 0}}},
         {R, N, R},
         {{1, u"X-"}, {3, u"-a-X"}},
         1},
        {"replace all from the step: the rest, not what was passed",
         ReplaceDialog::kAllOpenFiles,
         {{1, {u"a.a.a", 0, 0}}, {2, {u"a", 0, 0}}},
         {N, A},
         {{1, u"a.X.X"}, {2, u"X"}},
         0},
    };
    for (const Case& c : cases) {
        Rig rig;
        rig.documents.documents = c.documents;
        rig.documents.active = c.documents.begin()->first;
        rig.steps.answers = c.answers;
        rig.replace.find = "a";
        rig.replace.with = "X";
        rig.replace.scope = c.scope;
        rig.session.EditReplace();
        for (const auto& [editor, text] : c.texts)
            EXPECT_EQ(rig.documents.documents[editor].text, text) << c.name;
        EXPECT_EQ(rig.CompletedBoxes(), c.completedBoxes) << c.name;
        if (c.scope == ReplaceDialog::kAllOpenFiles) {
            EXPECT_EQ(rig.documents.activated.front(), 1) << c.name;
        }
    }
}

TEST(SearchSession, ReplaceAllForEachScopeInOneStepPerFile) {
    struct Case {
        const char* name;
        int scope;
        std::map<int, std::u16string> texts;
        int undoSteps;
    };
    const std::vector<Case> cases = {
        {"current file", ReplaceDialog::kCurrentFile, {{1, u"aa-aa-aa"}, {2, u"a"}}, 1},
        {"inside the selection only", ReplaceDialog::kSelected, {{1, u"a-aa-a"}, {2, u"a"}}, 1},
        {"all open files", ReplaceDialog::kAllOpenFiles, {{1, u"aa-aa-aa"}, {2, u"aa"}}, 2},
    };
    for (const Case& c : cases) {
        Rig rig;
        rig.documents.documents = {{1, {u"a-a-a", 2, 2}}, {2, {u"a", 0, 0}}};
        rig.documents.active = 1;
        rig.replace.find = "a";
        rig.replace.with = "aa"; // holds the find text: found again would never end
        rig.replace.scope = c.scope;
        rig.replace.action = ReplaceDialog::kReplaceAll;
        rig.session.EditReplace();
        for (const auto& [editor, text] : c.texts)
            EXPECT_EQ(rig.documents.documents[editor].text, text) << c.name;
        EXPECT_EQ(rig.documents.undoSteps, c.undoSteps) << c.name;
        EXPECT_TRUE(rig.prompter.Boxes().empty()) << c.name;
    }
}
