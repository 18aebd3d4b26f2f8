#include "editor/SourceDocuments.h"

#include "foundation/Common.h"

#include <algorithm>
#include <memory>

namespace bx {

std::string SourceDocuments::SourceKey(int tab) {
    return std::to_string(tab) + "K";
}

int SourceDocuments::Add(const std::string& path, const std::string& caption,
                         const std::string& tag) {
    tabs_.push_back({caption, path, path, path.empty() ? std::string() : tag});
    const int tab = Count();
    ++editorCount_;
    auto info = std::make_shared<SourceInfo>();
    info->EditorNumber = static_cast<int16_t>(editorCount_);
    sources_.TryAdd(SourceKey(tab), info);
    return tab;
}

void SourceDocuments::DiscardLast() {
    if (tabs_.empty())
        return;
    sources_.Remove(SourceKey(Count()));
    tabs_.pop_back();
    --editorCount_;
}

void SourceDocuments::Remove(int tab) {
    if (tab < 1 || tab > Count())
        return;
    tabs_.erase(tabs_.begin() + (tab - 1));
    sources_.Remove(SourceKey(tab));
    for (int n = tab; n <= Count(); ++n) {
        auto moved = sources_.Item(SourceKey(n + 1));
        sources_.Remove(SourceKey(n + 1));
        if (moved)
            sources_.TryAdd(SourceKey(n), moved);
    }
}

void SourceDocuments::Clear() {
    tabs_.clear();
    sources_.Clear();
    current_ = 0;
    editorCount_ = 0;
}

int SourceDocuments::FindByKey(const std::string& key) const {
    if (key.empty())
        return 0;
    for (int n = 1; n <= Count(); ++n)
        if (Tab(n).Key == key)
            return n;
    return 0;
}

int SourceDocuments::EditorOf(int tab) const {
    const auto info = sources_.Item(SourceKey(tab));
    return info ? info->EditorNumber : 0;
}

int SourceDocuments::TabOfEditor(int editor) const {
    for (int n = 1; n <= Count(); ++n)
        if (EditorOf(n) == editor)
            return n;
    return 0;
}

std::vector<int> SourceDocuments::EditorNumbers() const {
    std::vector<int> numbers;
    for (const auto& entry : sources_)
        numbers.push_back(entry.item->EditorNumber);
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

void SourceDocuments::SetPath(int tab, const std::string& path, const std::string& caption) {
    DocumentTab& record = Tab(tab);
    record.Path = path;
    record.Key = path;
    record.Caption = caption;
}

std::string ResolveInFolder(const std::string& path, const std::string& folder) {
    if (IsAbsolutePath(path) || folder.empty())
        return path;
    return folder.back() == '\\' ? folder + path : folder + "\\" + path;
}

bool IsStale(const std::string& stamp, const std::string& tag) {
    return stamp != kNoFileStamp && tag != kNoFileStamp && !tag.empty() && stamp > tag;
}

std::string ExternalEditorCommand(const std::string& command, const std::string& path) {
    return ReplaceAll(command, "%i", "\"" + path + "\"");
}

} // namespace bx
