#pragma once
// Appliance: the model of one simulated product — the MCU body and its clock and options, the
// memory layout, the peripherals and their wiring, the design views, the saved window layouts,
// the build rules, the load map, and the watches and breakpoints. One instance is live at a
// time; opening or creating always makes a new one. UI thread only.

#include "appliance/LoadMap.h"
#include "appliance/Peripherals.h"
#include "build/BuildRules.h"
#include "debug/Breakpoints.h"
#include "foundation/Signal.h"
#include "inspectors/Watch.h"

#include <cstdint>
#include <memory>
#include <string>

namespace bx::platform {
class XmlDocument;
class XmlNode;
} // namespace bx::platform

namespace bx {

class GlobalSettings;
class Prompter;

// What the file writer asks of the main frame: its outer size and the live child windows of
// the current desktop. Hosts without a frame (the command line, tests) leave it unset, and the
// writer then keeps the stored sizes.
class FrameGeometry {
public:
    virtual ~FrameGeometry() = default;
    struct Rect {
        float Left = 0, Top = 0, Width = 0, Height = 0;
    };
    // The frame's outer width and height in pixels.
    virtual Rect FrameSize() const = 0;
    // The name of the desktop the frame shows now.
    virtual std::string CurrentDesktop() const = 0;
    // The position and size in pixels of the live child window of that name, if there is one.
    virtual bool ChildWindow(const std::string& name, Rect& rect) const = 0;
};

class Appliance {
public:
    // The version every file is written with, whatever version it was read from.
    static constexpr const char* kFileVersion = "v 00.01.009";
    static constexpr int32_t kDefaultBankStart = 16384;
    static constexpr int32_t kDefaultBankSize = 16384;
    static constexpr int32_t kDefaultBankCount = 14;

    // The tools folder is the program's folder at the moment of creation.
    Appliance();
    ~Appliance();
    Appliance(const Appliance&) = delete;
    Appliance& operator=(const Appliance&) = delete;

    std::string Title;
    std::string Version;
    std::string Model;
    std::string Family;
    std::string OPClock;
    int16_t IceEmuNumber = 0;
    std::string TemplateDir;
    std::string ClockParam;
    std::string ModelParam;
    bool WizardYesFlag = false;
    bool WDT = false;
    bool Oscillator = false;
    bool Option1 = false, Option2 = false, Option3 = false, Option4 = false;
    bool Option5 = false, Option6 = false, Option7 = false, Option8 = false;
    int32_t ProgramStart = 0;
    int16_t OptionsDef = 0;
    int32_t BankStart = kDefaultBankStart;
    int32_t BankSize = kDefaultBankSize;
    int32_t BankCount = kDefaultBankCount;
    int32_t BootVect = 0;
    bool ExtEditorInUse = false;
    std::string ExtEditor;
    bool ExtBuilderInUse = false;
    std::string ExtBuilder;
    bool ExtDebuggerInUse = false;
    std::string ExtDebugger;
    std::string Folder; // the appliance's directory, with its final "\"
    int32_t NextBank = 0;
    int32_t NextAddress = 0;
    int32_t RateMultiplier = 0;
    int32_t RateDivider = 0;
    int32_t Reserved = 0;

    // Option i (1 to 8) by position; outside that range reads give false and writes do nothing.
    bool OptionAt(int index) const;
    void SetOptionAt(int index, bool value);

    // The collections, each created empty at its first use.
    bx::Peripherals& Peripherals();
    bx::Views& Views();
    bx::Desktops& Desktops();
    bx::LoadImages& LoadImages();
    bx::BuildTargets& BuildTargets();
    std::shared_ptr<BuildTarget> RunTarget();
    bx::ObjMaps& ObjMaps();
    bx::BuildAssociations& BuildAssociations();
    bx::Watches& Watches();
    bx::Breakpoints& Breakpoints();

    // Events, raised synchronously on the UI thread.
    Signal<const std::string&> BuildMessage; // a line of build output
    Signal<int> StateChange;                 // a progress code of a load

    bool IsDirty() const { return dirty_; }
    void Touch() { dirty_ = true; }

    // Writes Folder + Title + ".apl" when Force is set or the model is dirty, then clears the
    // dirty mark. The file is saved under its relative name after a change of directory to
    // Folder; the previous current directory is restored afterwards. Throws BxError when the
    // title can't be a name (ApplianceNameProblem), the folder does not exist or the file
    // cannot be written (the mark then stays set).
    void Save(bool Force);

    // The command of the association of the text behind the first "." of the whole name;
    // empty for an unknown extension.
    std::string DefaultBuildCommand(const std::string& FileName);
    // Where a source's product goes: the file's own name with the association's product
    // extension, or the run target's output when the product is what the final step makes.
    std::string DefaultOutputPath(const std::string& FileName);

    // The program folder with a final "\": replaces "%tools%\" in build commands.
    const std::string& ToolsPath() const { return toolsPath_; }

    // ---- The file (ApplianceFile.cpp) ----------------------------------------------------

    // The global settings whose body table names the option attributes of the file. The
    // owner (frame, command line) sets it; the appliance does not own it.
    const GlobalSettings* Settings = nullptr;
    // The frame whose geometry the writer records; null without a frame.
    const FrameGeometry* Frame = nullptr;

    // Reads the file; false when it can't be read or parsed (the model is then unchanged).
    bool Load(const std::string& Path);
    // Reads a document from text and marks the model dirty; false when the version is refused.
    bool LoadXml(const std::string& Xml);
    // The document Save would write, as text. Throws BxError for a body the settings don't know.
    std::string ToXml();

    // ---- Build rules (build/ApplianceBuildRules.cpp) --------------------------------------

    // Adds output (made by command) with source as one of its inputs to the build graph.
    // Throws BxError 0x80040001 when output exists with another, non-empty command.
    std::shared_ptr<BuildTarget> AddBuildStep(const std::string& Output, const std::string& Command,
                                              const std::string& Source);
    // Removes a step, and upward every product that loses its last source.
    void RemoveBuildStep(const std::string& Output);
    // The target's command with its placeholders replaced.
    std::string ExpandMake(const BuildTarget& target, bool useForwardSlashes);
    // A quoted, blank-terminated name for every target without sources.
    std::string QuoteLeafFiles();

    // ---- Load map (appliance/LoadMap.cpp) -------------------------------------------------

    // Places an image and moves the placement cursor on by its size.
    void LabelLoadAddr(const std::string& Name, int32_t Offset, int32_t Bank, int32_t Start,
                       int32_t Size);
    void RemoveLoadItem(const std::string& Name, int32_t Start, int32_t Bank);

private:
    // Drops the links between build targets, so that a graph with a cycle in it (a file may
    // name a step as its own source) is freed with the appliance.
    void ReleaseBuildGraph();
    // Fills a fresh document with the appliance's elements.
    void WriteDocument(platform::XmlDocument& document);
    // Writes one watch and, behind it, its children, each once per save.
    void WriteWatch(platform::XmlNode& debugging, Watch& watch, const Watch* parent);
    // Reads a parsed document into the model; false when the version is refused.
    bool ReadDocument(const platform::XmlDocument& document);

    std::unique_ptr<bx::Peripherals> peripherals_;
    std::unique_ptr<bx::Views> views_;
    std::unique_ptr<bx::Desktops> desktops_;
    std::unique_ptr<bx::LoadImages> loadImages_;
    std::unique_ptr<bx::BuildTargets> buildTargets_;
    std::shared_ptr<BuildTarget> runTarget_;
    std::unique_ptr<bx::ObjMaps> objMaps_;
    std::unique_ptr<bx::BuildAssociations> buildAssociations_;
    std::unique_ptr<bx::Watches> watches_;
    std::unique_ptr<bx::Breakpoints> breakpoints_;

    std::string toolsPath_;
    bool dirty_ = false;
};

} // namespace bx
