#pragma once
// The source editor's document set without its widgets: the tabs of the tab strip with what
// each one records (caption, path, key, file stamp), the `sources` collection that maps a tab
// number to the number of the text editor showing it, the active tab, and the rules on paths
// and file stamps the editor applies when it opens, saves and checks its documents.
//
// Tab numbers run from 1 to Count() in the strip's order. `sources` is keyed by the tab number
// followed by "K" ("1K", "2K", ...), so closing a tab moves every later record down one key.
// Editor numbers only grow while any document is open (EditorCount()); they start again at 1
// once the set is emptied, so after closes the numbers in use can be sparse.
//
// Paths are in the system's backslash form; a document under the appliance's folder is held by
// its path relative to that folder. UI thread only.

#include "foundation/KeyedCollection.h"

#include <cstdint>
#include <string>
#include <vector>

namespace bx {

// One open document's record in `sources`.
struct SourceInfo {
    int16_t EditorNumber = 0;
};

// What one tab of the strip holds.
struct DocumentTab {
    std::string Caption;
    // The document's path as stored: the only record of it; empty for a new untitled one.
    std::string Path;
    // The path for a document with one; empty (no key) for an untitled one.
    std::string Key;
    // The file's stamp (FileTimeText) at the last load, save or check.
    std::string Tag;
};

// The stamp text of a file that doesn't exist or can't be read.
inline constexpr const char* kNoFileStamp = "0000000000000000";

class SourceDocuments {
public:
    // "n" followed by "K": the key of tab n's record in `sources`.
    static std::string SourceKey(int tab);

    // Appends a tab with its record and a new editor number. The key is the path (none for
    // an untitled document). Returns the new tab's number.
    int Add(const std::string& path, const std::string& caption, const std::string& tag);
    // Takes back the tab Add just appended, when its file couldn't be loaded: the tab, its
    // record and its editor number go.
    void DiscardLast();
    // Removes tab n and its record; the records of the later tabs move down one key. The
    // current index is left for the caller to set.
    void Remove(int tab);
    // No tabs, no records, editor numbers from 1 again, current index 0.
    void Clear();

    // The tab whose key is key; 0 when there is none (or key is empty).
    int FindByKey(const std::string& key) const;
    // The editor number tab n is shown by; 0 for a tab without a record.
    int EditorOf(int tab) const;
    // The tab shown by editor number editor; 0 for none.
    int TabOfEditor(int editor) const;
    // The editor numbers of the open tabs, ascending.
    std::vector<int> EditorNumbers() const;

    int Count() const { return static_cast<int>(tabs_.size()); }
    // Tab n (1 to Count()); a number outside throws std::out_of_range.
    DocumentTab& Tab(int tab) { return tabs_.at(static_cast<std::size_t>(tab - 1)); }
    const DocumentTab& Tab(int tab) const { return tabs_.at(static_cast<std::size_t>(tab - 1)); }
    // Gives the tab a new path (after Save As): the path is its record and its key.
    void SetPath(int tab, const std::string& path, const std::string& caption);

    // The active tab, 1-based; 0 with none.
    int Current() const { return current_; }
    void SetCurrent(int tab) { current_ = tab; }
    // Editors created since the set was last emptied.
    int EditorCount() const { return editorCount_; }
    const KeyedCollection<SourceInfo>& Sources() const { return sources_; }

private:
    std::vector<DocumentTab> tabs_;
    KeyedCollection<SourceInfo> sources_;
    int current_ = 0;
    int editorCount_ = 0;
};

// Where a document's file is: a relative path below folder (folder ends in "\"), an absolute
// one (a leading "\" or a drive "X:") as it stands.
std::string ResolveInFolder(const std::string& path, const std::string& folder);

// Whether a document whose tab records tag must be offered for reloading, given the file's
// stamp now: the file exists, a stamp was recorded, and the file is newer. A file touched back
// to an older time, a deleted file and a document never stamped aren't reported.
bool IsStale(const std::string& stamp, const std::string& tag);

// The external editor's command line for a file: every "%i" of command becomes the path in
// double quotes.
std::string ExternalEditorCommand(const std::string& command, const std::string& path);

} // namespace bx
