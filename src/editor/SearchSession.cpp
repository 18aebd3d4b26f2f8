#include "editor/SearchSession.h"

#include "foundation/Common.h"
#include "foundation/HostInterfaces.h"
#include "inspectors/SourceLineModel.h"

#include <algorithm>

namespace bx {

SearchSession::SearchSession(SearchDocuments& documents, Prompter& prompter)
    : documents_(documents), prompter_(prompter) {}

int SearchSession::Resolve(int editor) const {
    return editor != 0 ? editor : documents_.ActiveEditor();
}

void SearchSession::ReportNotFound() {
    if (NotFound && !findText_.empty())
        NotFound(findText_);
}

void SearchSession::FindNew(int editor) {
    editor = Resolve(editor);
    if (editor == 0 || Finder == nullptr || !Finder->ShowModal())
        return;
    findText_ = Utf8ToUtf16(Finder->FindTarget());
    options_ = FindOptions(Finder->MatchCase(), Finder->WholeWord());
    const int32_t at = FindInText(documents_.Text(editor), findText_, 0, -1, options_);
    if (at >= 0)
        documents_.Select(editor, at, static_cast<int32_t>(findText_.size()));
    else
        ReportNotFound();
}

void SearchSession::FindNext(int editor) {
    editor = Resolve(editor);
    if (editor == 0)
        return;
    if (findText_.empty()) {
        FindNew(editor);
        return;
    }
    const int32_t from = documents_.SelectionStart(editor) + 1;
    const int32_t at = FindInText(documents_.Text(editor), findText_, from, -1, options_);
    if (at >= 0)
        documents_.Select(editor, at, static_cast<int32_t>(findText_.size()));
    else
        ReportNotFound();
}

void SearchSession::EditReplace(int editor) {
    editor = Resolve(editor);
    if (editor == 0 || Replacer == nullptr)
        return;
    Replacer->ShowModal();
    findText_ = Utf8ToUtf16(Replacer->FindWhat());
    replaceText_ = Utf8ToUtf16(Replacer->ReplaceWith());
    options_ = FindOptions(Replacer->MatchCase(), Replacer->WholeWord());
    if (Replacer->Action() == ReplaceDialog::kStart)
        ReplaceStart(Replacer->Scope(), editor);
    else if (Replacer->Action() == ReplaceDialog::kReplaceAll)
        ReplaceAll(Replacer->Scope(), editor);
}

void SearchSession::ReplaceStart(int scope, int editor) {
    editor = Resolve(editor);
    if (editor == 0)
        return;
    switch (scope) {
    case ReplaceDialog::kSelected:
        RunPass(scope, editor, documents_.SelectionStart(editor));
        break;
    case ReplaceDialog::kAllOpenFiles: {
        const std::vector<int> editors = documents_.EditorNumbers();
        if (!editors.empty())
            RunPass(scope, editors.front(), 0);
        break;
    }
    default:
        RunPass(scope, editor, 0);
        break;
    }
}

void SearchSession::RunPass(int scope, int editor, int32_t from) {
    const auto length = static_cast<int32_t>(findText_.size());
    if (scope == ReplaceDialog::kAllOpenFiles)
        documents_.Activate(editor);
    for (;;) {
        const int32_t at = FindInText(documents_.Text(editor), findText_, from, -1, options_);
        if (at < 0) {
            const std::vector<int> editors = documents_.EditorNumbers();
            const auto next = std::upper_bound(editors.begin(), editors.end(), editor);
            if (scope == ReplaceDialog::kAllOpenFiles && next != editors.end()) {
                editor = *next;
                from = 0;
                documents_.Activate(editor);
                continue;
            }
            prompter_.ask("Replace", "The Search is Completed", Buttons::Ok, Icon::None);
            return;
        }
        documents_.Select(editor, at, length);
        const int action = Stepper ? Stepper->ShowModal() : 0;
        switch (action) {
        case ReplaceNextDialog::kFindNext:
            from = at + 1;
            break;
        case ReplaceNextDialog::kReplace:
            documents_.Replace(editor, {at}, length, replaceText_);
            from = at + static_cast<int32_t>(replaceText_.size());
            break;
        case ReplaceNextDialog::kReplaceAll:
            ReplaceFrom(scope, editor, at, -1);
            return;
        default:
            return;
        }
    }
}

void SearchSession::ReplaceAll(int scope, int editor) {
    editor = Resolve(editor);
    if (editor == 0)
        return;
    switch (scope) {
    case ReplaceDialog::kSelected: {
        const int32_t start = documents_.SelectionStart(editor);
        ReplaceInEditor(editor, start, start + documents_.SelectionLength(editor));
        break;
    }
    case ReplaceDialog::kAllOpenFiles: {
        const std::vector<int> editors = documents_.EditorNumbers();
        if (!editors.empty())
            ReplaceFrom(scope, editors.front(), 0, -1);
        break;
    }
    default:
        ReplaceInEditor(editor, 0, -1);
        break;
    }
}

void SearchSession::ReplaceFrom(int scope, int editor, int32_t from, int32_t end) {
    ReplaceInEditor(editor, from, end);
    if (scope != ReplaceDialog::kAllOpenFiles)
        return;
    for (int later : documents_.EditorNumbers())
        if (later > editor)
            ReplaceInEditor(later, 0, -1);
}

void SearchSession::ReplaceInEditor(int editor, int32_t from, int32_t end) {
    const std::vector<int32_t> starts =
        FindAllInText(documents_.Text(editor), findText_, from, end, options_);
    if (!starts.empty())
        documents_.Replace(editor, starts, static_cast<int32_t>(findText_.size()), replaceText_);
}

} // namespace bx
