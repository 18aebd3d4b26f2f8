#include "editor/ui/SourceEditor.h"

#include "appliance/Appliance.h"
#include "build/ApplianceBuildRules.h"
#include "editor/ui/FindWindow.h"
#include "editor/ui/ReplaceWindows.h"
#include "editor/ui/SmartwordPopup.h"
#include "editor/ui/SourceEdit.h"
#include "foundation/Common.h"
#include "foundation/HostInterfaces.h"
#include "frame/ui/StudioIcons.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "platform/ui/DialogRunner.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QScreen>
#include <QStatusBar>
#include <QStringDecoder>
#include <QTabBar>
#include <QTextBlock>
#include <QTimer>
#include <algorithm>

namespace bx::ui {

namespace {

constexpr const char* kEditorTitle = "Source Editor";
constexpr const char* kSaveAsTitle = "Save File As";
constexpr const char* kOpenFilter =
    "Assembly source (*.asm)|*.asm|Header files (*.h)|*.h|All files|*";
constexpr const char* kSaveFilter = "Assembly (*.asm)|*.asm||All Files|*";
constexpr const char* kKeywordFile = "kw_asm.dat";
// The caption of a new document when the caller gives none.
constexpr const char* kUntitled = "Untitled";

// A path as a person reads it: in the operating system's form.
std::string Shown(const std::string& path) {
    return platform::ToNativePath(path);
}

QString Quoted(const QString& text) {
    return QString("\u201C%1\u201D").arg(text);
}

} // namespace

// pctMarkers: the strip left of the editors, in the strip colour, with the line numbers of
// the active document; the caret's line number stands out.
class MarkerStrip : public QWidget {
public:
    explicit MarkerStrip(QWidget* parent) : QWidget(parent) { setObjectName("pctMarkers"); }

    void SetEditor(SourceEdit* edit) {
        edit_ = edit;
        update();
    }

    // Room for the numbers of the document's last line, at least three digits.
    int WantedWidth() const {
        const QFont font = edit_ ? edit_->font() : this->font();
        const int lines = edit_ ? edit_->blockCount() : 1;
        const int digits = std::max(3, static_cast<int>(std::to_string(lines).size()));
        return QFontMetrics(font).horizontalAdvance(QLatin1Char('9')) * digits + 18;
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.fillRect(rect(), QColor(235, 235, 206));
        if (!edit_)
            return;
        QWidget* viewport = edit_->viewport();
        const int top = viewport->mapTo(parentWidget(), QPoint(0, 0)).y() - y();
        painter.setClipRect(0, top, width(), viewport->height());
        QFont plain = edit_->font();
        QFont bold = plain;
        bold.setBold(true);
        const int current = edit_->textCursor().blockNumber();
        for (QTextBlock block = edit_->FirstVisibleBlock(); block.isValid(); block = block.next()) {
            const QRectF place = edit_->BlockRect(block);
            if (place.top() > viewport->height())
                break;
            const bool caretLine = block.blockNumber() == current;
            painter.setFont(caretLine ? bold : plain);
            painter.setPen(caretLine ? QColor(0x30, 0x30, 0x20) : QColor(0x86, 0x86, 0x6C));
            const QRectF line(0, top + place.top(), width() - 8, QFontMetricsF(plain).height());
            painter.drawText(line, Qt::AlignRight | Qt::AlignVCenter,
                             QString::number(block.blockNumber() + 1));
        }
    }

private:
    QPointer<SourceEdit> edit_;
};

// The open documents as the search passes see them: by editor number.
class SourceEditor::OpenDocuments : public SearchDocuments {
public:
    explicit OpenDocuments(SourceEditor& editor) : editor_(editor) {}

    int ActiveEditor() const override {
        return editor_.documents_.EditorOf(editor_.documents_.Current());
    }
    std::vector<int> EditorNumbers() const override { return editor_.documents_.EditorNumbers(); }
    std::u16string Text(int number) const override {
        const SourceEdit* edit = editor_.EditorNumbered(number);
        // The raw text keeps one character per block end, so its positions are the editor's.
        return edit ? edit->document()->toRawText().toStdU16String() : std::u16string();
    }
    int32_t SelectionStart(int number) const override {
        const SourceEdit* edit = editor_.EditorNumbered(number);
        return edit ? edit->textCursor().selectionStart() : 0;
    }
    int32_t SelectionLength(int number) const override {
        const SourceEdit* edit = editor_.EditorNumbered(number);
        if (!edit)
            return 0;
        const QTextCursor cursor = edit->textCursor();
        return cursor.selectionEnd() - cursor.selectionStart();
    }
    void Select(int number, int32_t start, int32_t length) override {
        SourceEdit* edit = editor_.EditorNumbered(number);
        if (!edit)
            return;
        QTextCursor cursor(edit->document());
        cursor.setPosition(start);
        cursor.setPosition(start + length, QTextCursor::KeepAnchor);
        edit->setTextCursor(cursor);
        // A match out of sight comes to the middle, with lines around it to read it by.
        if (!edit->viewport()
                 ->rect()
                 .adjusted(0, 0, 0, -edit->fontMetrics().height() * 3)
                 .contains(edit->cursorRect()))
            edit->centerCursor();
        const QRect place = edit->cursorRect();
        editor_.wizReplaceNext_->Describe(
            cursor.selectedText(), QString::fromStdU16String(editor_.search_->ReplaceText()),
            QRect(edit->viewport()->mapToGlobal(place.topLeft()), place.size()));
    }
    void Replace(int number, const std::vector<int32_t>& starts, int32_t length,
                 const std::u16string& text) override {
        SourceEdit* edit = editor_.EditorNumbered(number);
        if (!edit || starts.empty())
            return;
        const QString replacement = QString::fromStdU16String(text);
        QTextCursor cursor(edit->document());
        cursor.beginEditBlock();
        // From the back, so that the places still to come keep their positions.
        for (auto start = starts.rbegin(); start != starts.rend(); ++start) {
            cursor.setPosition(*start);
            cursor.setPosition(*start + length, QTextCursor::KeepAnchor);
            cursor.insertText(replacement);
        }
        cursor.endEditBlock();
        const auto grown = static_cast<int32_t>(replacement.size()) - length;
        cursor.setPosition(starts.back() + grown * static_cast<int32_t>(starts.size() - 1) +
                           static_cast<int32_t>(replacement.size()));
        edit->setTextCursor(cursor);
    }
    void Activate(int number) override {
        const int tab = editor_.documents_.TabOfEditor(number);
        if (tab > 0)
            editor_.ShowDocument(tab);
    }

private:
    SourceEditor& editor_;
};

SourceEditor::SourceEditor(Prompter& prompter, FindWindow& finder, QWidget* parent)
    : QWidget(parent), prompter_(prompter), wizFind_(finder), template_(new QLabel(this)),
      pctMarkers_(new MarkerStrip(this)), tbsFileList_(new QTabBar(this)),
      sbrStatus_(new QStatusBar(this)), statusPosition_(new QLabel), statusNote_(new QLabel),
      popSmartword_(new SmartwordPopup(this)), mnuPopup_(new QMenu(this)),
      wizReplace_(new ReplaceWindow(this)), wizReplaceNext_(new ReplaceNextWindow(this)) {
    setObjectName("edtSource");
    setAutoFillBackground(true);

    template_->setObjectName("edtTemplate");
    template_->setAlignment(Qt::AlignCenter);
    template_->setWordWrap(true);
    template_->setForegroundRole(QPalette::PlaceholderText);
    template_->setText("No source is open.\n\nNew Source (Ctrl+N) in the Source menu starts one; a "
                       "right click here opens a file.");
    template_->installEventFilter(this);

    tbsFileList_->setObjectName("tbsFileList");
    tbsFileList_->setShape(QTabBar::RoundedSouth);
    tbsFileList_->setDocumentMode(true);
    tbsFileList_->setTabsClosable(true);
    tbsFileList_->setExpanding(false);
    tbsFileList_->setUsesScrollButtons(true);
    tbsFileList_->setFocusPolicy(Qt::NoFocus);
    connect(tbsFileList_, &QTabBar::currentChanged, this, [this](int index) {
        if (!syncingTabs_ && index >= 0 && index + 1 != documents_.Current())
            ShowDocument(index + 1);
    });
    connect(tbsFileList_, &QTabBar::tabCloseRequested, this, [this](int index) {
        ShowDocument(index + 1);
        CloseTopMost();
    });

    sbrStatus_->setObjectName("sbrStatus");
    sbrStatus_->setSizeGripEnabled(false);
    statusPosition_->setObjectName("sbrStatusPosition");
    statusPosition_->setMinimumWidth(
        statusPosition_->fontMetrics().horizontalAdvance("Line: 99999 Pos: 9999") + 12);
    statusNote_->setObjectName("sbrStatusNote");
    sbrStatus_->addWidget(statusPosition_);
    sbrStatus_->addWidget(statusNote_, 1);

    auto add = [this](const QString& text, const char* name, auto handler) {
        QAction* action = mnuPopup_->addAction(text);
        action->setObjectName(name);
        connect(action, &QAction::triggered, this, handler);
        return action;
    };
    mnuPopup_->setObjectName("mnuPopup");
    add("&Undo\tAlt+Backspace", "mnuUndo", [this] { Undo(); });
    add("&Redo\tCtrl+Y", "mnuRedo", [this] { Redo(); });
    mnuPopup_->addSeparator();
    add("Cu&t", "mnuCut", [this] { Cut(); });
    add("&Copy", "mnuCopy", [this] { Copy(); });
    add("&Paste", "mnuPaste", [this] { Paste(); });
    mnuPopup_->addSeparator();
    add("&Find...\tCtrl+F", "mnuFind", [this] { FindNew(); });
    add("Find &Next\tF3", "mnuFindNext", [this] { FindNext(); });
    add("R&eplace...\tCtrl+R", "mnuReplace", [this] { EditReplace(); });
    mnuPopup_->addSeparator();
    add("&Open...", "mnuOpen", [this] { OpenFromMenu(); });
    add("&Save", "mnuSave", [this] { ForceSave(false); });
    add("Save &As...", "mnuSaveAs", [this] { ForceSave(true); });
    add("C&lose", "mnuClose", [this] { CloseTopMost(); });
    add("Close A&ll", "mnuCloseAll", [this] { CloseAllMost(); });
    mnuPopup_->addSeparator();
    add("F&ont...", "mnuSetFont", [this] { SetFont(); });

    open_ = std::make_unique<OpenDocuments>(*this);
    search_ = std::make_unique<SearchSession>(*open_, prompter_);
    search_->Finder = &wizFind_;
    search_->Replacer = wizReplace_;
    search_->Stepper = wizReplaceNext_;
    search_->NotFound = [this](const std::u16string& text) {
        statusNote_->setText(Quoted(QString::fromStdU16String(text)) + " was not found.");
    };
    connect(QApplication::clipboard(), &QClipboard::dataChanged, this,
            &SourceEditor::EditStateChanged);

    ResetStrips();
}

SourceEditor::~SourceEditor() {
    // The editors go first, while everything their signals reach is still there.
    for (const auto& [number, edit] : editors_) {
        Unhook(edit);
        delete edit;
    }
}

void SourceEditor::Unhook(SourceEdit* edit) {
    edit->hide();
    edit->disconnect(this);
    edit->document()->disconnect(this);
    edit->removeEventFilter(this);
    edit->viewport()->removeEventFilter(this);
}

// ---- Helpers --------------------------------------------------------------------------------

std::string SourceEditor::Folder() const {
    return appliance_ ? appliance_->Folder : std::string();
}

std::string SourceEditor::Resolved(const std::string& path) const {
    return ResolveInFolder(path, Folder());
}

std::string SourceEditor::StampOf(const std::string& path) const {
    return FileTimeText(GetFileWriteTime(Resolved(path)));
}

SourceEdit* SourceEditor::EditorNumbered(int number) const {
    const auto found = editors_.find(number);
    return found == editors_.end() ? nullptr : found->second;
}

SourceEdit* SourceEditor::EditorOfTab(int tab) const {
    return EditorNumbered(documents_.EditorOf(tab));
}

QPlainTextEdit* SourceEditor::GetEditor(int tab) const {
    return EditorOfTab(tab);
}

QPlainTextEdit* SourceEditor::ActiveEditor() const {
    return EditorOfTab(documents_.Current());
}

QWidget* SourceEditor::Markers() const {
    return pctMarkers_;
}

QString SourceEditor::StatusText() const {
    return statusPosition_->text();
}

void SourceEditor::EditStateChanged() {
    if (host_)
        host_->EditStateChanged();
}

// ---- The appliance and the keyword list -----------------------------------------------------

void SourceEditor::SetAppliance(Appliance* appliance) {
    // Unloading the window (closing the appliance) lets its documents go; the frame has
    // offered to save them before.
    if (!appliance)
        RemoveAll();
    appliance_ = appliance;
}

void SourceEditor::LoadKeyWord() {
    popSmartword_->Clear();
    const std::string specific = appliance_ && !appliance_->TemplateDir.empty()
                                     ? appliance_->TemplateDir + kKeywordFile
                                     : std::string();
    std::optional<std::string> content;
    if (!specific.empty() && platform::FileExists(specific)) {
        content = platform::ReadFile(specific);
    } else {
        prompter_.ask("",
                      "The specific keyword file for this selected model is not provided; the "
                      "default keyword \r\nfile is used instead",
                      Buttons::Ok, Icon::None);
        content = platform::ReadFile(platform::ProgramFolder() + "\\" + kKeywordFile);
    }
    if (!content) {
        prompter_.ask("Smartword", "No keyword file found. Smartword feature is disabled.",
                      Buttons::Ok, Icon::Information);
        return;
    }
    popSmartword_->Load(*content);
}

// ---- Adding, showing and removing documents -------------------------------------------------

SourceEdit* SourceEditor::MakeEditor(int number) {
    auto* edit = new SourceEdit(number, this);
    edit->hide();
    edit->installEventFilter(this);
    edit->viewport()->installEventFilter(this);
    connect(edit, &QPlainTextEdit::selectionChanged, this,
            [this, edit] { SelectionChanged(edit); });
    connect(edit, &QPlainTextEdit::cursorPositionChanged, this,
            [this, edit] { SelectionChanged(edit); });
    connect(edit, &QPlainTextEdit::updateRequest, pctMarkers_, [this] { pctMarkers_->update(); });
    connect(edit, &QPlainTextEdit::blockCountChanged, this, [this, edit] {
        if (edit == ActiveEditor() && pctMarkers_->width() != pctMarkers_->WantedWidth())
            LayoutStrips();
    });
    connect(edit->document(), &QTextDocument::undoAvailable, this, &SourceEditor::EditStateChanged);
    connect(edit->document(), &QTextDocument::redoAvailable, this, &SourceEditor::EditStateChanged);
    connect(edit->document(), &QTextDocument::modificationChanged, this,
            [this, edit] { SyncTab(documents_.TabOfEditor(edit->EditorNumber())); });
    editors_[number] = edit;
    return edit;
}

int SourceEditor::AddDocument(const std::string& path, const std::string& caption) {
    const int tab = documents_.Add(path, caption, path.empty() ? std::string() : StampOf(path));
    SourceEdit* edit = MakeEditor(documents_.EditorOf(tab));
    {
        QSignalBlocker quiet(tbsFileList_);
        // The tab's image: a plain source document.
        tbsFileList_->addTab(StudioIcon("Code"), QString());
    }
    SyncTab(tab);
    FormatDocument(edit, 0, 0);
    return tab;
}

void SourceEditor::FormatDocument(SourceEdit* edit, int start, int length) {
    // The tab stops belong to the editor (every 840 twips, whatever its font); what a reload
    // changes is the text, so the selection is put back where it still fits.
    const int size = edit->document()->characterCount() - 1;
    QTextCursor after(edit->document());
    if (start <= size) {
        after.setPosition(start);
        if (start + length <= size)
            after.setPosition(start + length, QTextCursor::KeepAnchor);
    }
    edit->setTextCursor(after);
}

void SourceEditor::SyncTab(int tab) {
    if (tab < 1 || tab > documents_.Count())
        return;
    const DocumentTab& record = documents_.Tab(tab);
    const SourceEdit* edit = EditorOfTab(tab);
    const bool modified = edit && edit->document()->isModified();
    tbsFileList_->setTabText(tab - 1,
                             QString::fromStdString(record.Caption) + (modified ? "*" : ""));
    tbsFileList_->setTabToolTip(tab - 1, QString::fromStdString(Shown(record.Path)));
}

void SourceEditor::SelectTab(int tab) {
    syncingTabs_ = true;
    tbsFileList_->setCurrentIndex(tab - 1);
    syncingTabs_ = false;
}

void SourceEditor::ShowStrips(bool shown) {
    tbsFileList_->setVisible(shown);
    pctMarkers_->setVisible(shown);
    template_->setVisible(!shown);
}

void SourceEditor::ShowDocument(int tab) {
    SourceEdit* edit = EditorOfTab(tab);
    if (!edit)
        return;
    documents_.SetCurrent(tab);
    for (const auto& [number, other] : editors_)
        if (other != edit)
            other->hide();
    edit->show();
    edit->raise();
    pctMarkers_->SetEditor(edit);
    SelectTab(tab);
    LayoutStrips();
    edit->setFocus();
    SelectionChanged(edit);
    EditStateChanged();
}

void SourceEditor::PostLoad(SourceEdit* edit) {
    edit->EnableColouring();
}

bool SourceEditor::SelectByKey(const std::string& key) {
    const int tab = documents_.FindByKey(key);
    if (tab == 0)
        return false;
    ShowDocument(tab);
    if (host_)
        host_->SourceOpened();
    return true;
}

bool SourceEditor::ReadInto(SourceEdit* edit, const std::string& path) {
    const std::optional<std::string> content = platform::ReadFile(Resolved(path));
    if (!content)
        return false;
    const QByteArrayView bytes(content->data(), static_cast<qsizetype>(content->size()));
    QStringDecoder utf8(QStringDecoder::Utf8);
    QString text = utf8(bytes);
    // A file that isn't UTF-8 is taken as Latin-1, and saved back the same way.
    edit->Latin1 = utf8.hasError();
    if (edit->Latin1)
        text = QString::fromLatin1(bytes);
    edit->CrLf = content->find("\r\n") != std::string::npos;
    edit->SetText(text);
    edit->document()->setModified(false);
    return true;
}

bool SourceEditor::WriteFrom(SourceEdit* edit, const std::string& path, std::string& whyNot) {
    QString text = edit->toPlainText();
    if (edit->CrLf)
        text.replace('\n', "\r\n");
    const bool latin1 = edit->Latin1 && std::all_of(text.cbegin(), text.cend(),
                                                    [](QChar c) { return c.unicode() <= 0xFF; });
    const QByteArray bytes = latin1 ? text.toLatin1() : text.toUtf8();
    return platform::WriteFileAtomic(Resolved(path), bytes.toStdString(), &whyNot);
}

void SourceEditor::NewSource(const std::string& caption) {
    const int tab = AddDocument(std::string(), caption.empty() ? kUntitled : caption);
    PostLoad(EditorOfTab(tab));
    ShowStrips(true);
    ShowDocument(tab);
    if (host_)
        host_->SourceOpened();
}

void SourceEditor::LoadSource(const std::string& path, const std::string& caption) {
    const std::string held = RelativeToFolder(path, Folder());
    if (SelectByKey(held))
        return;
    const int tab = AddDocument(held, caption.empty() ? FileNameOf(held) : caption);
    SourceEdit* edit = EditorOfTab(tab);
    bool keep = ReadInto(edit, held);
    if (!keep)
        keep = prompter_.ask("Open Source",
                             "The file '" + Shown(held) +
                                 "' does not exist or cannot be opened. Do you wish to create a "
                                 "new file?",
                             Buttons::YesNo, Icon::Information) == AnswerYes;
    if (!keep) {
        {
            QSignalBlocker quiet(tbsFileList_);
            tbsFileList_->removeTab(tab - 1);
        }
        editors_.erase(edit->EditorNumber());
        delete edit;
        documents_.DiscardLast();
        return;
    }
    PostLoad(edit);
    ShowStrips(true);
    ShowDocument(tab);
    if (host_)
        host_->SourceOpened();
}

void SourceEditor::RemoveActive() {
    const int tab = documents_.Current();
    if (tab < 1)
        return;
    SourceEdit* edit = EditorOfTab(tab);
    {
        QSignalBlocker quiet(tbsFileList_);
        tbsFileList_->removeTab(tab - 1);
    }
    documents_.Remove(tab);
    if (edit) {
        editors_.erase(edit->EditorNumber());
        Unhook(edit);
        edit->deleteLater();
    }
    if (documents_.Count() == 0) {
        ResetStrips();
        if (host_)
            host_->SourceAllClosed();
        EditStateChanged();
        return;
    }
    ShowDocument(std::min(tab, documents_.Count()));
}

void SourceEditor::RemoveAll() {
    if (documents_.Current() < 1)
        return;
    {
        QSignalBlocker quiet(tbsFileList_);
        while (tbsFileList_->count() > 0)
            tbsFileList_->removeTab(tbsFileList_->count() - 1);
    }
    ResetStrips();
    if (host_)
        host_->SourceAllClosed();
    EditStateChanged();
}

void SourceEditor::ResetStrips() {
    for (const auto& [number, edit] : editors_) {
        Unhook(edit);
        edit->deleteLater();
    }
    editors_.clear();
    documents_.Clear();
    popSmartword_->hide();
    pctMarkers_->SetEditor(nullptr);
    statusPosition_->clear();
    statusNote_->clear();
    ShowStrips(false);
    LayoutStrips();
}

void SourceEditor::CloseTopMost() {
    if (documents_.Current() < 1 || SaveDirty(true, false) == AnswerCancel)
        return;
    RemoveActive();
}

void SourceEditor::CloseAllMost() {
    if (documents_.Current() < 1 || !SaveAll(true, false))
        return;
    RemoveAll();
}

// ---- Saving and the outside-change check ----------------------------------------------------

bool SourceEditor::IsDirty() const {
    const QPlainTextEdit* edit = ActiveEditor();
    return edit && edit->document()->isModified();
}

void SourceEditor::ClearIsDirtyFlag() {
    if (QPlainTextEdit* edit = ActiveEditor())
        edit->document()->setModified(false);
}

int SourceEditor::SaveDirty(bool prompt, bool saveAs) {
    if (!IsDirty())
        return 0;
    int answer = AnswerYes;
    if (prompt) {
        const DocumentTab& record = documents_.Tab(documents_.Current());
        // An untitled document is named by its caption.
        const std::string name = record.Path.empty() ? record.Caption : Shown(record.Path);
        answer = prompter_.ask(kEditorTitle,
                               "File '" + name + "' has been modified. \r\nDo you want to save?",
                               Buttons::YesNoCancel, Icon::Question);
    }
    // A save that didn't happen stops whoever asked, as a Cancel would.
    if (answer == AnswerYes && !ForceSave(saveAs))
        answer = AnswerCancel;
    return answer;
}

bool SourceEditor::ForceSave(bool saveAs) {
    const int tab = documents_.Current();
    SourceEdit* edit = EditorOfTab(tab);
    if (!edit)
        return false;
    CheckOutsideChange();
    std::string path = documents_.Tab(tab).Path;
    const std::string previous = path;
    if (saveAs || path.empty()) {
        const std::string proposed = Resolved(documents_.Tab(tab).Caption);
        const QString chosen =
            Dialogs().SaveFileName(this, "Save Source As", QtFileFilter(kSaveFilter),
                                   QString::fromStdString(Shown(proposed)));
        if (chosen.isEmpty())
            return false;
        path = RelativeToFolder(platform::FromNativePath(chosen.toStdString()), Folder());
        documents_.SetPath(tab, path, FileNameOf(path));
        SyncTab(tab);
    }
    std::string whyNot;
    if (!WriteFrom(edit, path, whyNot)) {
        prompter_.ask(kEditorTitle,
                      "The file '" + Shown(path) + "' could not be written" +
                          (whyNot.empty() ? std::string() : ": " + whyNot) +
                          ". It stays modified in the editor.",
                      Buttons::Ok, Icon::Exclamation);
        return false;
    }
    ClearIsDirtyFlag();
    documents_.Tab(tab).Tag = StampOf(path);
    if (path == previous || !appliance_)
        return true;
    bool changed = false;
    if (!previous.empty() && appliance_->BuildTargets().Item(previous) &&
        prompter_.ask(kSaveAsTitle,
                      "Do you wish to remove the previous file '" + Shown(previous) +
                          "' from the appliance?",
                      Buttons::YesNo, Icon::None) == AnswerYes) {
        appliance_->RemoveBuildStep(previous);
        changed = true;
    }
    if (prompter_.ask(kSaveAsTitle,
                      "The file has been saved as '" + Shown(path) +
                          "'. Do you wish to add it to the appliance?",
                      Buttons::YesNo, Icon::None) == AnswerYes &&
        AddSourceToAppliance(*appliance_, path, prompter_,
                             [this](Appliance& appliance) { SetAppliance(&appliance); }))
        changed = true;
    if (changed && host_)
        host_->ApplianceSourcesChanged();
    return true;
}

bool SourceEditor::SaveAll(bool prompt, bool force) {
    const int saved = documents_.Current();
    bool completed = true;
    for (int tab = 1; tab <= documents_.Count() && completed; ++tab) {
        documents_.SetCurrent(tab);
        if (force) {
            completed = ForceSave(false);
            continue;
        }
        // The person sees the document a question is about.
        if (prompt && IsDirty())
            ShowDocument(tab);
        completed = SaveDirty(prompt, false) != AnswerCancel;
    }
    if (saved > 0 && saved <= documents_.Count()) {
        documents_.SetCurrent(saved);
        if (ActiveEditor() && !ActiveEditor()->isVisible())
            ShowDocument(saved);
    }
    return completed;
}

void SourceEditor::CheckOutsideChange() {
    const int tab = documents_.Current();
    SourceEdit* edit = EditorOfTab(tab);
    // The question takes the focus away and gives it back: that return isn't another check.
    if (!edit || checking_ || documents_.Tab(tab).Path.empty())
        return;
    const std::string path = documents_.Tab(tab).Path;
    const std::string stamp = StampOf(path);
    if (IsStale(stamp, documents_.Tab(tab).Tag)) {
        checking_ = true;
        const int answer =
            prompter_.ask(kEditorTitle,
                          "Source '" + Shown(path) +
                              "' has been modified outside of this editor. Do you want to update?",
                          Buttons::YesNo, Icon::Information);
        checking_ = false;
        if (answer == AnswerYes) {
            const QTextCursor before = edit->textCursor();
            const int start = before.selectionStart();
            const int length = before.selectionEnd() - start;
            ReadInto(edit, path);
            FormatDocument(edit, start, length);
        }
    }
    // Whatever the answer: the same change isn't offered twice.
    if (tab <= documents_.Count())
        documents_.Tab(tab).Tag = stamp;
}

// ---- Commands on the active document --------------------------------------------------------

void SourceEditor::GotoLine(int line) {
    QPlainTextEdit* edit = ActiveEditor();
    if (!edit)
        return;
    const QTextBlock block = edit->document()->findBlockByNumber(line - 1);
    if (line >= 1 && block.isValid()) {
        QTextCursor cursor(block);
        edit->setTextCursor(cursor);
        edit->centerCursor();
    }
    edit->setFocus();
}

void SourceEditor::Undo() {
    if (QPlainTextEdit* edit = ActiveEditor())
        edit->undo();
}

void SourceEditor::Redo() {
    if (QPlainTextEdit* edit = ActiveEditor())
        edit->redo();
}

bool SourceEditor::CanUndo() {
    const QPlainTextEdit* edit = ActiveEditor();
    return edit && edit->document()->isUndoAvailable();
}

bool SourceEditor::CanRedo() {
    const QPlainTextEdit* edit = ActiveEditor();
    return edit && edit->document()->isRedoAvailable();
}

bool SourceEditor::CanPaste() {
    const QPlainTextEdit* edit = ActiveEditor();
    return edit && edit->canPaste();
}

void SourceEditor::Cut() {
    if (QPlainTextEdit* edit = ActiveEditor())
        edit->cut();
}

void SourceEditor::Copy() {
    if (QPlainTextEdit* edit = ActiveEditor())
        edit->copy();
}

void SourceEditor::Paste() {
    if (QPlainTextEdit* edit = ActiveEditor())
        edit->paste();
}

void SourceEditor::ProposeSelection() {
    const QPlainTextEdit* edit = ActiveEditor();
    if (!edit)
        return;
    const QString selected = edit->textCursor().selectedText();
    // A word or a piece of one line; a selection over lines isn't a find text.
    if (!selected.isEmpty() && !selected.contains(QChar::ParagraphSeparator)) {
        wizFind_.Propose(selected);
        wizReplace_->Propose(selected);
    }
}

void SourceEditor::FindNew() {
    popSmartword_->hide();
    statusNote_->clear();
    ProposeSelection();
    search_->FindNew();
}

void SourceEditor::FindNext() {
    popSmartword_->hide();
    statusNote_->clear();
    search_->FindNext();
}

void SourceEditor::EditReplace() {
    popSmartword_->hide();
    statusNote_->clear();
    ProposeSelection();
    search_->EditReplace();
}

void SourceEditor::OpenFromMenu() {
    const QString chosen = Dialogs().OpenFileName(this, "Open Source", QtFileFilter(kOpenFilter));
    if (!chosen.isEmpty())
        LoadSource(platform::FromNativePath(chosen.toStdString()), std::string());
}

void SourceEditor::SetFont() {
    SourceEdit* edit = EditorOfTab(documents_.Current());
    if (!edit)
        return;
    QFont font = edit->font();
    if (!Dialogs().ChooseFont(this, font))
        return;
    // This document's font only; the tab stops stay where they are.
    edit->setFont(font);
    LayoutStrips();
    pctMarkers_->update();
}

void SourceEditor::ShowPopup(const QPoint& globalPosition) {
    popSmartword_->hide();
    const bool open = documents_.Current() > 0;
    for (QAction* action : mnuPopup_->actions())
        if (!action->isSeparator() && action->objectName() != "mnuOpen")
            action->setEnabled(open);
    if (open) {
        const QPlainTextEdit* edit = ActiveEditor();
        const bool selection = edit->textCursor().hasSelection();
        mnuPopup_->findChild<QAction*>("mnuUndo")->setEnabled(CanUndo());
        mnuPopup_->findChild<QAction*>("mnuRedo")->setEnabled(CanRedo());
        mnuPopup_->findChild<QAction*>("mnuCut")->setEnabled(selection);
        mnuPopup_->findChild<QAction*>("mnuCopy")->setEnabled(selection);
        mnuPopup_->findChild<QAction*>("mnuPaste")->setEnabled(CanPaste());
    }
    mnuPopup_->popup(globalPosition);
}

// ---- Layout ---------------------------------------------------------------------------------

void SourceEditor::SizeActiveEditor() {
    QPlainTextEdit* edit = ActiveEditor();
    if (documents_.Current() < 1 || !edit)
        return;
    const int height =
        this->height() - tbsFileList_->sizeHint().height() - sbrStatus_->sizeHint().height();
    const int width = this->width() - pctMarkers_->WantedWidth();
    edit->setGeometry(pctMarkers_->WantedWidth(), 0, width > 0 ? width : edit->width(),
                      height >= 0 ? height : edit->height());
}

void SourceEditor::LayoutStrips() {
    const int statusHeight = sbrStatus_->sizeHint().height();
    sbrStatus_->setGeometry(0, height() - statusHeight, width(), statusHeight);
    template_->setGeometry(0, 0, width(), std::max(0, height() - statusHeight));
    SizeActiveEditor();
    const QPlainTextEdit* edit = ActiveEditor();
    if (documents_.Current() < 1 || !edit)
        return;
    const int markers = pctMarkers_->WantedWidth();
    const int tabs = tbsFileList_->sizeHint().height();
    tbsFileList_->setGeometry(markers, edit->height(), std::max(0, width() - markers), tabs);
    pctMarkers_->setGeometry(0, 0, markers, edit->height() + tabs);
}

void SourceEditor::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    LayoutStrips();
}

// ---- Status, keys and the keyword hints -----------------------------------------------------

void SourceEditor::SelectionChanged(SourceEdit* edit) {
    if (edit != ActiveEditor())
        return;
    const QTextCursor cursor = edit->textCursor();
    if (host_) {
        if (cursor.hasSelection())
            host_->SelectionMade();
        else
            host_->SelectionCleared();
    }
    if (!edit->isEnabled())
        return;
    // The status tells where the selection ends, whichever way it was made.
    const int end = cursor.selectionEnd();
    const QTextBlock line = edit->document()->findBlock(end);
    statusPosition_->setText(
        QString("Line: %1 Pos: %2").arg(line.blockNumber() + 1).arg(end - line.position() + 1));
}

bool SourceEditor::KeyDown(SourceEdit* edit, QKeyEvent* event) {
    const int key = event->key();
    const Qt::KeyboardModifiers modifiers = event->modifiers();
    const bool control = modifiers.testFlag(Qt::ControlModifier);
    if ((key == Qt::Key_F && control) || key == Qt::Key_F3 || (key == Qt::Key_R && control)) {
        popSmartword_->hide();
        if (key == Qt::Key_F)
            FindNew();
        else if (key == Qt::Key_F3)
            FindNext();
        else
            EditReplace();
        return true;
    }
    if (key == Qt::Key_Tab && modifiers == Qt::NoModifier) {
        popSmartword_->hide();
        edit->insertPlainText("\t");
        return true;
    }
    if (popSmartword_->isVisible()) {
        switch (key) {
        case Qt::Key_Up:
        case Qt::Key_Down:
        case Qt::Key_PageUp:
        case Qt::Key_PageDown:
            popSmartword_->MoveSelection(key);
            return true;
        default:
            break;
        }
    }
    const QString text = event->text();
    if (text.size() == 1)
        CharacterTyped(edit, text[0].unicode());
    else if (key != Qt::Key_Shift && key != Qt::Key_Control && key != Qt::Key_Alt &&
             key != Qt::Key_Meta)
        // A key that moves the caret leaves the word the list was following.
        popSmartword_->hide();
    return false;
}

void SourceEditor::CharacterTyped(SourceEdit* edit, char16_t c) {
    if (popSmartword_->isVisible()) {
        popSmartword_->Follow(c);
        return;
    }
    if (!IsHintWordChar(c) || !promptEnabled_)
        return;
    const QTextCursor cursor = edit->textCursor();
    const QTextBlock block = cursor.block();
    const QString text = block.text();
    const std::u16string_view line(reinterpret_cast<const char16_t*>(text.utf16()),
                                   static_cast<std::size_t>(text.size()));
    const int caret = cursor.position() - block.position();
    if (!HintAllowedAt(line, caret))
        return;
    const int start = HintWordStart(line, caret);
    QTextCursor wordStart(block);
    wordStart.setPosition(block.position() + start);
    const QRect place = edit->cursorRect(wordStart);
    const QPoint onScreen = edit->viewport()->mapToGlobal(place.topLeft());
    const QScreen* screen = edit->screen();
    const int bottom = screen ? screen->availableGeometry().bottom() : 100000;
    const HintPlace at =
        PlaceHint(onScreen.x(), onScreen.y(), place.height(), popSmartword_->height(), bottom);
    popSmartword_->move(at.Left, at.Top);
    popSmartword_->SetEditor(edit);
    const QString word = text.mid(start, caret - start) + QChar(c);
    popSmartword_->StartWord(word.toStdString());
}

bool SourceEditor::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::ContextMenu) {
        ShowPopup(static_cast<QContextMenuEvent*>(event)->globalPos());
        return true;
    }
    auto* edit = qobject_cast<SourceEdit*>(watched);
    const bool viewport = !edit && watched->parent() &&
                          (edit = qobject_cast<SourceEdit*>(watched->parent())) != nullptr;
    if (!edit)
        return QWidget::eventFilter(watched, event);
    switch (event->type()) {
    case QEvent::KeyPress:
        if (!viewport)
            return KeyDown(edit, static_cast<QKeyEvent*>(event));
        break;
    case QEvent::FocusIn:
        if (!viewport) {
            // After the focus has settled: the question may take it away again.
            QTimer::singleShot(0, this, [this] { CheckOutsideChange(); });
            SelectionChanged(edit);
        }
        break;
    case QEvent::FocusOut:
        // A menu opening over the editor doesn't take its selection away.
        if (!viewport && static_cast<QFocusEvent*>(event)->reason() != Qt::PopupFocusReason) {
            popSmartword_->hide();
            if (host_ && edit == ActiveEditor())
                host_->SelectionCleared();
        }
        break;
    case QEvent::MouseButtonPress:
        if (viewport) {
            popSmartword_->hide();
            QTimer::singleShot(0, this, [this] { CheckOutsideChange(); });
        }
        break;
    default:
        break;
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace bx::ui
