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

// Runs the tool and gives its exit status as the build's result. A tool that can't be started
// isn't an error of the build command: the output becomes the fatal-error text, the trace log
// gets the error's number, and the build goes on to its last steps as a failed one.
bool RunTool(std::string command, const std::string& workingFolder, std::string& output,
             int32_t tracePoint, const Diagnoser& diagnoser) {
    try {
        return ShellExecute(command, workingFolder, output, false, diagnoser) == 0;
    } catch (const BxError& error) {
        output = "Fatal error: execution of '" + command + "' failed. Error: 0x" +
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

std::string MakefileText(Appliance& appliance) {
    std::string text;
    for (const auto& entry : appliance.BuildTargets()) {
        const BuildTarget& target = *entry.item;
        if (target.Make.empty())
            continue; // a plain source has no rule, though it may stand as a dependency
        // Every product depends on the appliance file: changing the appliance rebuilds all.
        text += target.OutputPath + ": " + appliance.Title + ".apl ";
        if (target.Sources)
            for (const auto& source : *target.Sources)
                text += source.item->OutputPath + " ";
        text += kCrLf;
        text += "\t" + appliance.ExpandMake(target, false) + kCrLf;
        text += kCrLf;
    }
    return text;
}

bool Build(Appliance& appliance, Prompter& prompter, const Diagnoser& diagnoser) {
    std::string output;
    bool result = false;
    if (appliance.ExtBuilderInUse) {
        const std::string command =
            platform::ToNativePath(ExternalCommandLine(appliance, prompter));
        result = RunTool(command, appliance.Folder, output, kTraceExternalStartFailed, diagnoser);
    } else {
        platform::ScopedCurrentDirectory restore;
        ChangeDirAndDrive(appliance.Folder);
        // make reads CR LF line ends as well as LF ones; only the paths change form.
        if (!platform::WriteFileAtomic("Makefile", platform::ToNativePath(MakefileText(appliance))))
            throw BxError(errors::kFileAccess, kErrorSource,
                          "Cannot write the file \"" +
                              platform::ToNativePath(appliance.Folder + "Makefile") + "\"");
        const std::string command =
            platform::ToNativePath(appliance.ExpandMake(*appliance.RunTarget(), false));
        result = RunTool(command, appliance.Folder, output, kTraceInternalStartFailed, diagnoser);
    }

    appliance.BuildMessage(output + kCrLf);
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
    Build(appliance, hosts.prompter, hosts.diagnoser);
    hosts.applianceWindow.Update(true);
}

void CleanUpCommand(Appliance& appliance, Prompter& prompter, MessageSink& messages) {
    BuildClean(appliance, true, prompter);
    messages.PostMessage("Cleaned up intermediate files.");
}

} // namespace bx
