#include "cli/BuildCommands.h"

#include "appliance/Appliance.h"
#include "appliance_editor/ApplianceWizard.h"
#include "build/BuildDriver.h"
#include "cli/CommandLine.h"
#include "cli/StreamPrompter.h"
#include "foundation/Common.h"
#include "foundation/Diagnoser.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/Process.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"

#include <charconv>
#include <chrono>
#include <map>
#include <memory>
#include <ostream>

namespace bx::cli {

namespace {

void PrintNewUsage(std::ostream& out) {
    out << "usage: tessarine-cli new --body MODEL --name NAME --dir FOLDER [--rom IMAGE]\n"
           "                         [--settings FILE.gss] [--yes]\n";
}

void PrintBuildUsage(std::ostream& out) {
    out << "usage: tessarine-cli build FILE.apl [--rebuild | --clean] [--external]\n"
           "                           [--timeout SECONDS] [--settings FILE.gss] [--yes]\n";
}

// The message pane on a terminal: each post as it comes, its CR LF line ends as the
// terminal's. A terminal can't take back what it printed, so clearing prints nothing.
class StreamMessageSink : public MessageSink {
public:
    explicit StreamMessageSink(std::ostream& out) : out_(out) {}
    void PostMessage(const std::string& text) override {
        std::size_t start = 0;
        for (std::size_t crlf; (crlf = text.find("\r\n", start)) != std::string::npos;
             start = crlf + 1)
            out_.write(text.data() + start, static_cast<std::streamsize>(crlf - start));
        out_.write(text.data() + start, static_cast<std::streamsize>(text.size() - start));
        out_ << "\n";
        out_.flush();
        // Only the end of a build is asked for: the last post, kept short.
        last_ = text.size() <= 64 ? text : std::string();
    }
    void ClearMessages() override {}
    const std::string& Last() const { return last_; }

private:
    std::ostream& out_;
    std::string last_;
};

// No documents are open on the command line: there is nothing to save.
class NoSourceHost : public SourceHost {
public:
    bool SaveAll(bool) override { return true; }
};

class NoApplianceWindow : public ApplianceWindow {
public:
    void Update(bool) override {}
};

} // namespace

int RunNew(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    const std::string prefix = "tessarine-cli new: ";
    Parsed parsed = Parse(args, {"--body", "--name", "--dir", "--rom", "--settings"}, {"--yes"});
    if (parsed.error.empty() && !parsed.words.empty())
        parsed.error = "unexpected argument " + parsed.words[0];
    for (const char* needed : {"--body", "--name", "--dir"})
        if (parsed.error.empty() && !parsed.values.count(needed))
            parsed.error = std::string(needed) + " is missing";
    if (!parsed.error.empty()) {
        err << prefix << parsed.error << "\n";
        PrintNewUsage(err);
        return 2;
    }

    StreamPrompter prompter(err, parsed.flags["--yes"]);
    GlobalSettings settings(prompter);
    std::string settingsPath;
    if (!LoadSettings(settings, parsed, settingsPath, prefix, err))
        return 1;
    if (!settings.Bodies) {
        // The "Caution" box above said why; the wizard would only say the file is missing.
        err << prefix << "the global settings " << Shown(settingsPath)
            << " are of a version this program doesn't read, so they list no MCU body to "
               "create an appliance from\n";
        return 1;
    }

    WizardInputs inputs;
    inputs.Name = parsed.values["--name"];
    inputs.WorkingFolder = platform::AbsolutePath(platform::FromNativePath(parsed.values["--dir"]));
    inputs.Body = parsed.values["--body"];
    // The templates beside the settings file: the program's own by default.
    inputs.TemplateRoot = DirectoryOf(settingsPath) + "Templates\\Sarnova\\";
    if (parsed.values.count("--rom"))
        inputs.RomImagePath =
            platform::AbsolutePath(platform::FromNativePath(parsed.values["--rom"]));

    std::string created;
    try {
        std::unique_ptr<Appliance> appliance =
            CreateAppliance(settings, prompter, inputs, &created);
        if (!appliance) {
            err << prefix << "no appliance was created\n";
            return 1;
        }
        // Only an appliance that is on disk was created; a failed save takes the new folder
        // away again, so that the same command can simply be run once more.
        SaveNewAppliance(*appliance, created);
        StreamMessageSink pane(out);
        pane.PostMessage("Appliance created.");
        out << "wrote " << Shown(appliance->Folder + appliance->Title + ".apl") << "\n";
    } catch (const BxError& error) {
        err << prefix << error.Description << "\n";
        if (!created.empty() && !platform::FolderExists(created))
            err << prefix << "nothing was kept: " << Shown(created) << " was removed again\n";
        return 1;
    }
    return 0;
}

int RunBuild(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    const std::string prefix = "tessarine-cli build: ";
    Parsed parsed =
        Parse(args, {"--settings", "--timeout"}, {"--rebuild", "--clean", "--external", "--yes"});
    if (parsed.error.empty() && parsed.words.size() != 1)
        parsed.error =
            parsed.words.empty() ? "expected one FILE.apl" : "expected only one FILE.apl";
    if (parsed.error.empty() && parsed.flags["--rebuild"] && parsed.flags["--clean"])
        parsed.error = "--rebuild and --clean exclude each other";
    std::chrono::seconds timeLimit{0};
    if (parsed.error.empty() && parsed.values.count("--timeout")) {
        const std::string& text = parsed.values["--timeout"];
        int64_t seconds = 0;
        auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), seconds);
        if (ec != std::errc() || end != text.data() + text.size() || seconds < 1 ||
            seconds > 1'000'000)
            parsed.error =
                "--timeout takes a whole number of seconds from 1 on, not \"" + text + "\"";
        timeLimit = std::chrono::seconds(seconds);
    }
    if (!parsed.error.empty()) {
        err << prefix << parsed.error << "\n";
        PrintBuildUsage(err);
        return 2;
    }

    StreamPrompter prompter(err, parsed.flags["--yes"]);
    GlobalSettings settings(prompter);
    std::string settingsPath;
    if (!LoadSettings(settings, parsed, settingsPath, prefix, err))
        return 1;

    Appliance appliance;
    if (!OpenAppliance(appliance, settings, parsed.words[0], prefix, err))
        return 1;
    appliance.ExtBuilderInUse = appliance.ExtBuilderInUse || parsed.flags["--external"];
    try {
        std::unique_ptr<Diagnoser> diagnoser = OpenTraceLog();
        StreamMessageSink pane(out);
        // The pane hears the build through the appliance's event, as the studio's pane does.
        appliance.BuildMessage.Connect(
            [&pane](const std::string& text) { pane.PostMessage(text); });
        if (parsed.flags["--clean"]) {
            CleanUpCommand(appliance, prompter, pane);
            return 0;
        }
        NoSourceHost sources;
        NoApplianceWindow window;
        BuildHosts hosts{prompter, pane, sources, window, *diagnoser};
        // Ctrl+C or a TERM from outside stops the tool as the time limit does: its whole
        // process group ends, its temporary files go, and the build finishes its last steps.
        platform::InterruptWatch interrupts;
        hosts.control.stopRequested = [] { return platform::InterruptWatch::Signal() != 0; };
        hosts.control.timeLimit = timeLimit;
        const bool rebuild = parsed.flags["--rebuild"];
        DoBuild(appliance, true, rebuild, rebuild, hosts);
        if (const int signal = platform::InterruptWatch::Signal())
            return 128 + signal; // as a shell reports a command a signal ended
        return pane.Last() == "Build completed." ? 0 : 1;
    } catch (const BxError& error) {
        err << prefix << error.Description << "\n";
        return 1;
    }
}

} // namespace bx::cli
