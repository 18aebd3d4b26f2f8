#pragma once
// The application-wide settings: the table of MCU bodies a new appliance can be built on, the
// external editor, builder and debugger driver, the recent appliance list and the stamps of the
// template and plug-in archives. They live in "BX.gss" in the program's folder, which the
// messages call "the global template file". The frame loads it once at start-up and saves it
// at shutdown when something changed.
//
// The file is both shipped data (the body table; no dialog edits it) and the user's
// preferences of an installation (everything else), and installations keep it for years. So
// the reader and the writer keep the file's long-standing behaviour exactly, quirks included:
//
//  - One MCUBodies object holds the bodies of every family, and BodiesByFamily maps every
//    family name to that same object. With two MCU elements the writer therefore writes every
//    body under every family. Code that wants one family's bodies filters on MCUBody::Family.
//  - A file of another version shows the "Caution" box and is otherwise ignored: the reader
//    still succeeds, and Bodies stays null.
//  - The reader goes on statement by statement: every field gets its default first, and a read
//    that can't be made (an attribute or element that isn't there, a value that doesn't fit
//    its field) leaves the field as it was. It never fails. A number attribute that is there
//    but holds no number reads as 0, the number reader's answer, not as the default.
//  - SourceFile and KeywordFile are read but never written, so a rewritten file loses them.
//
// Single-threaded: the object belongs to the UI thread.

#include "foundation/HostInterfaces.h"
#include "foundation/KeyedCollection.h"
#include "settings/DateStamp.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace bx {

namespace platform {
class XmlDocument;
}

// One selectable operating clock of a body. In the file: OPClock Rate, RateParam, Dual.
struct ClockInfo {
    std::string Clockrate, Rateparam;
    bool Dual = false;
};

// One option bit of a body. In the file: Options Name, DisableName, EnableName, Map.
struct OptionsInfo {
    std::string Name, DisableName, EnableName;
    int32_t Map = 0;
};

// A plain record of one MCU body. The reader gives BootVect, ProgramStart and BankCount their
// file defaults ($FFFC, $4000, 14); a body made in code starts at zero, which the writer turns
// into those defaults for BootVect, ProgramStart and OptionsDef.
struct MCUBody {
    std::string Model;        // key in MCUBodies
    std::string TemplateDir;  // below "\Templates\Sarnova\"; ends in "\" once read
    std::string TemplateFile; // the body's appliance template inside TemplateDir
    std::string Family;       // the Family of the MCU element the body stood in
    std::string SourceFile;   // read, never written
    std::string KeywordFile;  // read, never written
    int16_t IceEmuNo = 0;
    std::string HasWDT;                    // the attribute's text as it stands
    KeyedCollection<ClockInfo> Clockrates; // key Clockrate
    KeyedCollection<OptionsInfo> Options;  // key Name
    int32_t BootVect = 0;
    int32_t ProgramStart = 0;
    int16_t OptionsDef = 0;
    int16_t BankMode = 0; // 1: bank window at $C000-$FFFF; 0: at $4000-$7FFF
    int32_t BankCount = 0;
};

// The bodies keyed by Model, in file order.
class MCUBodies : public KeyedCollection<MCUBody> {
public:
    // Inserts body under its Model and returns it; nullptr, with the collection unchanged, for
    // a null body or a Model that is already there.
    std::shared_ptr<MCUBody> AddItem(std::shared_ptr<MCUBody> body);
    // The body at a one-based position, nullptr outside 1..Count().
    std::shared_ptr<MCUBody> ItemIndex(int oneBased) const;
};

class GlobalSettings {
public:
    // The only version the reader accepts.
    static constexpr const char* kSupportedVersion = "v 00.00.001";
    // The file's name in the program's folder.
    static constexpr const char* kFileName = "BX.gss";

    explicit GlobalSettings(Prompter& prompter);

    std::string Version;
    // Every body of every family in file order; null until a file of the supported version has
    // been read.
    std::shared_ptr<MCUBodies> Bodies;
    // Family name -> the one Bodies object (see the header comment).
    KeyedCollection<MCUBodies> BodiesByFamily;
    // One entry per MCU element, in file order; duplicates kept.
    std::vector<std::string> Families;
    std::string ExtEditorCommand;
    bool ExtEditorInUse = false;
    std::string ExtBuilderCommand;
    bool ExtBuilderInUse = false;
    std::string ExtDebuggerDriver;
    bool ExtDebuggerInUse = false;
    // Stamps of "templates.cab" and "PlugIns.cab"; zero until set (see DateStamp).
    DateStamp TemplatesModifiedDate;
    DateStamp PlugInsModifiedDate;
    // Recent appliance paths, newest first; not keyed, duplicates allowed.
    std::vector<std::string> RecentAppliances;

    // Reads the file at path (backslash form). A file that can't be read or parsed gives false
    // with no message and leaves the object as it was. Otherwise the reader runs (it always
    // succeeds, a refused version included) and the dirty flag is cleared. An error escaping
    // the reader shows the "Error" box and gives false.
    bool Load(const std::string& path);
    // Runs the same reader on a document given as text and then marks the object dirty,
    // whatever the reader found. Text that doesn't parse gives false without running the reader
    // (still marking the object dirty). Errors travel to the caller.
    bool LoadXml(const std::string& text);
    // Writes "BX.gss" in the program's folder when force is set or the object is dirty, and
    // clears the dirty flag. The current directory is the program's folder during the write and
    // is restored afterwards, also when the write fails. Throws BxError when the folder doesn't
    // exist or the file can't be written; the dirty flag then stays as it was.
    void Save(bool force);
    // Writes the same document to an explicit path (backslash form) and clears the dirty flag;
    // for the command line, which rewrites a file where it found it. Throws like Save.
    void SaveTo(const std::string& path);
    // The document Save writes, as text: no declaration, no white space between elements.
    std::string ToXml() const;

    bool IsDirty() const { return dirty_; }
    void Touch() { dirty_ = true; }

    // "True" when Version equals "00.00.001", else "False". The accepted version carries a
    // leading "v ", so this is "False" for every file the reader accepts; nothing depends on it.
    std::string NewestVersion() const;

    // The body of model in family: BodiesByFamily item family, then item model. nullptr when
    // either is unknown (or before a file has been read).
    const MCUBody* FindBody(const std::string& family, const std::string& model) const;

    // Why the last Load or LoadXml couldn't parse its document; empty after a parse succeeded.
    const std::string& LoadErrorText() const { return loadError_; }

private:
    // The reader, statement by statement; always true.
    bool Read(const platform::XmlDocument& doc);
    void BuildDocument(platform::XmlDocument& doc) const;

    Prompter& prompter_;
    bool dirty_ = false;
    std::string loadError_;
};

} // namespace bx
