// The document set's bookkeeping and its path and stamp rules.
#include "editor/SourceDocuments.h"

#include <gtest/gtest.h>

using namespace bx;

namespace {

// The editor number under each key "1K", "2K", ... in order.
std::vector<int> EditorsByKey(const SourceDocuments& documents) {
    std::vector<int> editors;
    for (int tab = 1; tab <= documents.Count(); ++tab)
        editors.push_back(documents.Sources().Item(SourceDocuments::SourceKey(tab))->EditorNumber);
    return editors;
}

} // namespace

TEST(SourceDocuments, ClosingATabMovesTheLaterRecordsDownAndNumbersStayUntilEmptied) {
    SourceDocuments documents;
    documents.Add("a.asm", "a.asm", "1");
    documents.Add("b.asm", "b.asm", "1");
    documents.Add("", "Untitled", "");
    documents.Remove(2);
    EXPECT_EQ(EditorsByKey(documents), (std::vector<int>{1, 3}));
    EXPECT_EQ(documents.Sources().Count(), 2u);
    EXPECT_EQ(documents.Tab(2).Caption, "Untitled");

    // A new document takes the next number, not a freed one.
    EXPECT_EQ(documents.EditorOf(documents.Add("c.asm", "c.asm", "1")), 4);
    EXPECT_EQ(documents.EditorNumbers(), (std::vector<int>{1, 3, 4}));
    EXPECT_EQ(documents.TabOfEditor(4), 3);

    // A file that can't be loaded gives its number back.
    documents.Add("missing.asm", "missing.asm", "0");
    documents.DiscardLast();
    EXPECT_EQ(documents.Count(), 3);
    EXPECT_EQ(documents.EditorCount(), 4);
    EXPECT_FALSE(documents.Sources().Contains("4K"));

    // Keys find paths; an untitled document has none until it is given one.
    EXPECT_EQ(documents.FindByKey("c.asm"), 3);
    EXPECT_EQ(documents.FindByKey(""), 0);
    EXPECT_EQ(documents.Tab(2).Tag, "");
    documents.SetPath(2, "new.asm", "new.asm");
    EXPECT_EQ(documents.FindByKey("new.asm"), 2);

    documents.Clear();
    EXPECT_EQ(documents.EditorOf(documents.Add("d.asm", "d.asm", "1")), 1);
}

TEST(SourceDocumentRules, RelativePathsResolveInTheFolder) {
    EXPECT_EQ(ResolveInFolder("src\\io.asm", "\\p\\b\\"), "\\p\\b\\src\\io.asm");
    EXPECT_EQ(ResolveInFolder("io.asm", "\\p\\b"), "\\p\\b\\io.asm");
    EXPECT_EQ(ResolveInFolder("\\q\\io.asm", "\\p\\b\\"), "\\q\\io.asm");
    EXPECT_EQ(ResolveInFolder("C:\\q\\io.asm", "\\p\\b\\"), "C:\\q\\io.asm");
    EXPECT_EQ(ResolveInFolder("io.asm", ""), "io.asm");
}

TEST(SourceDocumentRules, OnlyANewerExistingFileOfAStampedDocumentIsStale) {
    const struct {
        const char *stamp, *tag;
        bool stale;
    } cases[] = {
        {"01D9A0000000B000", "01D9A0000000A000", true},
        {"01D9A0000000A000", "01D9A0000000B000", false}, // touched back to an older time
        {"01D9A0000000A000", "01D9A0000000A000", false},
        {kNoFileStamp, "01D9A0000000A000", false}, // deleted
        {"01D9A0000000A000", kNoFileStamp, false}, // came back after a deletion
        {"01D9A0000000A000", "", false},           // never stamped
    };
    for (const auto& c : cases)
        EXPECT_EQ(IsStale(c.stamp, c.tag), c.stale) << c.stamp << " " << c.tag;
}

TEST(SourceDocumentRules, TheExternalEditorGetsThePathInQuotesForEveryPercentI) {
    EXPECT_EQ(ExternalEditorCommand("gvim %i", "src\\a b.asm"), "gvim \"src\\a b.asm\"");
    EXPECT_EQ(ExternalEditorCommand("ed %i -o %i.bak", "a.asm"), "ed \"a.asm\" -o \"a.asm\".bak");
    EXPECT_EQ(ExternalEditorCommand("ed %I", "a.asm"), "ed %I");
    EXPECT_EQ(ExternalEditorCommand("ed", "a.asm"), "ed");
}
