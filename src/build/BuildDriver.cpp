#include "build/BuildDriver.h"

#include "appliance/Appliance.h"
#include "build/ProcessRunner.h"
#include "foundation/Common.h"
#include "foundation/Diagnoser.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"

namespace bx {

namespace {

constexpr const char* kErrorSource = "Appliance Object";
constexpr const char* kCrLf = "\r\n";
// VB's "object variable not set": what a lookup in a missing body or clock always raised.
using errors::kObjectNotSet;

constexpr int32_t kTraceExternalStartFailed = 2001;
constexpr int32_t kTraceInternalStartFailed = 2002;

const MCUBody& BodyOf(const Appliance& appliance) {
    const MCUBody* body = appliance.Settings
                              ? appliance.Settings->FindBody(appliance.Family, appliance.Model)
                              : nullptr;
    if (!body)
        throw BxError(kObjectNotSet, kErrorSource,
                      "The body '" + appliance.Model + "' of the family '" + appliance.Family +
                          "' is not in the global settings.");
    return *body;
}

std::string DurationText(std::chrono::milliseconds limit) {
    const auto ms = limit.count();
    if (ms % 1000 != 0)
        return std::to_string(ms) + " ms";
    return std::to_string(ms / 1000) + (ms == 1000 ? " second" : " seconds");
}

// Runs the tool, its output reaching the pane line by line as it comes, and gives whether it
// ended by itself with status 0. What the driver has to say after the output goes to note: a
// tool that can't be started isn't an error of the build command, the note is the fatal-error
// text, the trace log gets the error's number, and the build goes on to its last steps as a
// failed one; a tool that was stopped or ran out of time gets a line that says so.
bool RunTool(Appliance& appliance, std::string command, const std::string& workingFolder,
             std::string& note, int32_t tracePoint, const Diagnoser& diagnoser,
             const BuildControl& control) {
    RunControl run;
    run.onOutput = [&appliance](const std::string& lines) {
        // The pane puts its own CR LF behind every post.
        appliance.BuildMessage(lines.substr(0, lines.size() - 2));
    };
    run.whileWaiting = control.whileWaiting;
    run.stopRequested = control.stopRequested;
    run.timeLimit = control.timeLimit;
    try {
        const RunResult result = ShellExecute(command, workingFolder, run, diagnoser);
        if (result.End == RunEnd::Stopped)
            note = std::string("The build was stopped before the tool ended.") + kCrLf;
        else if (result.End == RunEnd::TimedOut)
            note = "The build was stopped: the tool ran longer than " +
                   DurationText(control.timeLimit) + "." + kCrLf;
        return result.End == RunEnd::Exited && result.ExitCode == 0;
    } catch (const BxError& error) {
        note = "Fatal error: execution of '" + command + "' failed. Error: 0x" +
               Hex8(error.Number) + " " + error.Description;
        diagnoser.Trace(kBuildTraceModule, tracePoint, "Build error #" + Hex8(error.Number));
        return false;
    }
}

} // namespace

uint8_t OptionByte(const Appliance& appliance, const MCUBody& body) {
    uint8_t options = static_cast<uint8_t>(body.OptionsDef & 0xFF);
    int position = 0;
    for (const auto& entry : body.Options) {
        ++position;
        if (position > 8)
            break; // the appliance has eight option flags; later entries have none to follow
        const auto map = static_cast<uint8_t>(entry.item->Map & 0xFF);
        if (appliance.OptionAt(position))
            options |= map;
        else
            options &= static_cast<uint8_t>(~map);
    }
    return options;
}

std::string ExternalCommandLine(Appliance& appliance, Prompter& prompter) {
    std::string line;
    line += "\"" + ReplaceAll(appliance.ExtBuilder, "%AppPath%", platform::ProgramFolder()) +
            "\" -D \"";
    // Both folders end in "\", so their ends read as two backslashes and a quote.
    line += appliance.Folder + "\\\" -N \"";
    line += appliance.Title + "\" -O \"";
    line += appliance.Title + ".rom\" -T \"";
    line += appliance.ToolsPath() + "\\\" ";
    if (appliance.ModelParam.empty())
        prompter.ask("Error",
                     std::string("Error Occurs while using the external builder, the mcubody "
                                 "parameter is not found ") +
                         kCrLf + "at the appliance file. There is something wrong at the settings.",
                     Buttons::Ok, Icon::Exclamation);
    else
        line += " -MB " + appliance.ModelParam + " ";
    line += "-MP " + Hex(OptionByte(appliance, BodyOf(appliance))) + " ";
    if (appliance.OPClock.find("32.768 kHz") == std::string::npos)
        line += "-MS ";
    if (appliance.Oscillator)
        line += "-MR ";
    if (appliance.WDT)
        line += "-MW ";
    line += "-M" + appliance.ClockParam + " ";
    line += appliance.QuoteLeafFiles() + " ";
    return line;
}

namespace {

// The rules of the Makefile, with each file name and each command passed through the given
// forms: as they stand (the system's text) or as make reads them from disk.
template <typename NameForm, typename CommandForm>
std::string MakefileRules(Appliance& appliance, NameForm name, CommandForm command) {
    std::string text;
    for (const auto& entry : appliance.BuildTargets()) {
        const BuildTarget& target = *entry.item;
        if (target.Make.empty())
            continue; // a plain source has no rule, though it may stand as a dependency
        // Every product depends on the appliance file: changing the appliance rebuilds all.
        text += name(target.OutputPath) + ": " + name(appliance.Title + ".apl") + " ";
        if (target.Sources)
            for (const auto& source : *target.Sources)
                text += name(source.item->OutputPath) + " ";
        text += kCrLf;
        text += "\t" + command(appliance.ExpandMake(target, false)) + kCrLf;
        text += kCrLf;
    }
    return text;
}

// A file name (the operating system's form) as a make rule reads it: a blank, "#" and ":"
// behind a backslash, "$" doubled. Characters make takes as syntax in a rule line whatever
// stands before them (";", "=", "|", wildcards, "%" of a pattern) can't be carried.
std::string QuotedForMake(const std::string& name) {
    std::string quoted;
    for (char c : name) {
        if (c == ';' || c == '=' || c == '|' || c == '%' || c == '*' || c == '?' || c == '[' ||
            c == ']' || static_cast<unsigned char>(c) < 0x20)
            throw BxError(errors::kBadFileName, kErrorSource,
                          "The file name \"" + name +
                              "\" can't stand in the Makefile: make reads the character \"" +
                              std::string(1, c) + "\" in it as part of its own syntax. " +
                              "Rename the file.");
        if (c == ' ' || c == '#' || c == ':')
            quoted += '\\';
        if (c == '$')
            quoted += '$';
        quoted += c;
    }
    return quoted;
}

// Where the build was told to put its product, as a path: the run target's output in the
// internal mode, the "-O" file in the external one; relative names lie in the working folder.
std::string ProductPath(Appliance& appliance) {
    const std::string product =
        appliance.ExtBuilderInUse ? appliance.Title + ".rom" : appliance.RunTarget()->OutputPath;
    if (product.empty() || product[0] == '\\' || (product.size() >= 2 && product[1] == ':'))
        return product;
    return appliance.Folder + product;
}

} // namespace

std::string MakefileText(Appliance& appliance) {
    auto asItStands = [](const std::string& text) { return text; };
    return MakefileRules(appliance, asItStands, asItStands);
}

std::string MakefileForMake(Appliance& appliance) {
    return MakefileRules(
        appliance,
        [](const std::string& name) { return QuotedForMake(platform::ToNativePath(name)); },
        [](const std::string& command) { return platform::ToNativePath(command); });
}

bool Build(Appliance& appliance, Prompter& prompter, const Diagnoser& diagnoser,
           const BuildControl& control) {
    std::string note;
    bool result = false;
    if (appliance.ExtBuilderInUse) {
        const std::string command =
            platform::ToNativePath(ExternalCommandLine(appliance, prompter));
        result = RunTool(appliance, command, appliance.Folder, note, kTraceExternalStartFailed,
                         diagnoser, control);
    } else {
        platform::ScopedCurrentDirectory restore;
        ChangeDirAndDrive(appliance.Folder);
        // make reads CR LF line ends as well as LF ones; the paths change form and the names
        // are quoted for make.
        std::string whyNot;
        if (!platform::WriteFileAtomic("Makefile", MakefileForMake(appliance), &whyNot))
            throw BxError(errors::kFileAccess, kErrorSource,
                          "Cannot write the file \"" +
                              platform::ToNativePath(appliance.Folder + "Makefile") +
                              "\": " + whyNot);
        const std::string command =
            platform::ToNativePath(appliance.ExpandMake(*appliance.RunTarget(), false));
        result = RunTool(appliance, command, appliance.Folder, note, kTraceInternalStartFailed,
                         diagnoser, control);
    }

    // A tool that ends well without making what it was asked for (a command line that a
    // name broke apart, a make goal that names another file) didn't build the appliance.
    const std::string product = ProductPath(appliance);
    if (result && !product.empty() && !platform::FileExists(product)) {
        result = false;
        note +=
            "The build ended without making \"" + platform::ToNativePath(product) + "\"." + kCrLf;
    }
    appliance.BuildMessage(note + kCrLf);
    appliance.BuildMessage(result ? "Build completed." : "Build failed.");

    // A build always drops every breakpoint and always writes the appliance file: the
    // addresses the breakpoints stood at may mean other code now.
    {
        platform::ScopedCurrentDirectory restore;
        ChangeDirAndDrive(appliance.Folder);
        appliance.Breakpoints().Clear();
        appliance.Save(true);
    }
    return result;
}

bool BuildClean(Appliance& appliance, bool ask, Prompter& prompter) {
    if (ask) {
        const int answer = prompter.ask(
            "Cleaning Up Existing Build",
            "We are about to delete files in '" + platform::ToNativePath(appliance.Folder) +
                "' ending in .obj, .bin, .sym, .cfg and .rom. " + kCrLf + kCrLf + "Are you sure?",
            Buttons::YesNo, Icon::Exclamation);
        if (answer != AnswerYes)
            return false;
    }
    // Each pattern on its own: one that matches nothing, or a file that can't go, doesn't stop
    // the others. Read-only files stay.
    for (const char* pattern : {"*.obj", "*.bin", "*.sym", "*.cfg", "*.rom"})
        platform::DeleteFiles(appliance.Folder + pattern);
    return false;
}

void SetRateparam(Appliance& appliance) {
    const MCUBody& body = BodyOf(appliance);
    auto clock = body.Clockrates.Item(appliance.OPClock);
    if (!clock)
        throw BxError(kObjectNotSet, kErrorSource,
                      "The clock '" + appliance.OPClock + "' is not one of the body '" +
                          appliance.Model + "'.");
    appliance.ClockParam = clock->Rateparam;
}

void DoBuild(Appliance& appliance, bool clearMessages, bool clean, bool forceSave,
             BuildHosts& hosts) {
    if (appliance.BuildTargets().Empty()) {
        hosts.prompter.ask("Warning", "Nothing to build or no rules to build.", Buttons::Ok,
                           Icon::Exclamation);
        return;
    }
    if (clearMessages)
        hosts.messages.ClearMessages();
    hosts.messages.PostMessage(std::string("Saving all open files.") + kCrLf);
    hosts.sources.SaveAll(forceSave);
    appliance.Save(forceSave);
    SetRateparam(appliance);
    if (clean) {
        hosts.messages.PostMessage(std::string("Deleting intermediate files.") + kCrLf);
        // Answering No skips only the deletion; the build goes on.
        BuildClean(appliance, true, hosts.prompter);
    }
    hosts.messages.PostMessage(std::string("Building files that are out-of-date.") + kCrLf);
    Build(appliance, hosts.prompter, hosts.diagnoser, hosts.control);
    hosts.applianceWindow.Update(true);
}

void CleanUpCommand(Appliance& appliance, Prompter& prompter, MessageSink& messages) {
    BuildClean(appliance, true, prompter);
    messages.PostMessage("Cleaned up intermediate files.");
}

} // namespace bx
