#pragma once
// The build driver: turns an appliance's rules into one run of an external tool and reports
// what came of it. Two modes:
//   - external builder (Appliance::ExtBuilderInUse): one command line that describes the whole
//     appliance goes to the user's builder;
//   - internal: a "Makefile" is written into the working folder and the run target's command
//     (a make tool, named by the template) reads it.
// In both, the tool's output goes to the appliance's BuildMessage event as it comes, a few
// complete lines per event (the pane puts a CR LF behind each, so the pane's text is the
// output line by line, whole), never held whole in memory. The build ends in "Build
// completed." when the tool ended by itself with status 0 and made the product it was told
// to make, and in "Build failed." otherwise; the appliance is saved at the end with all its
// breakpoints dropped. Nothing here looks at file dates: what is out of date is the make
// tool's business.
//
// A build runs on the UI thread until the tool ends. The host stays alive meanwhile through
// BuildControl (in BuildHosts for DoBuild): whileWaiting is called about every 20 ms, where
// the studio lets its pending events run (the window repaints, the pane shows the lines so
// far, a Stop button is seen), and stopRequested is asked as often; true, or the time limit
// passing, ends the tool with everything it started (see ProcessRunner.h), the pane says so
// ("The build was stopped ..."), and the build ends in "Build failed." with its usual last
// steps. A stop while the Makefile is written or the appliance saved waits for that step.
//
// The command line and the Makefile are first built in the system's backslash form (the forms
// ExternalCommandLine and MakefileText give) and converted to the operating system's form at
// the last step, when they are handed to the process runner or written to disk.

#include "foundation/HostInterfaces.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace bx {

class Appliance;
class Diagnoser;
struct MCUBody;

// Module number of the driver's trace lines; checkpoints 2001 (external) and 2002 (internal)
// record a tool that couldn't be started.
inline constexpr int32_t kBuildTraceModule = 1;

// What DoBuild asks of the source window: save every open document (force: also unchanged
// ones). The answer isn't looked at.
class SourceHost {
public:
    virtual ~SourceHost() = default;
    virtual bool SaveAll(bool force) = 0;
};

// What DoBuild asks of the appliance window: show the tree anew, so that it shows what was
// built.
class ApplianceWindow {
public:
    virtual ~ApplianceWindow() = default;
    virtual void Update(bool refresh) = 0;
};

// The option byte of the external builder: the body's OptionsDef cut to 8 bits, then for each
// of the body's first eight Options by position, its Map ORed in when the appliance's option
// flag is set and cleared out otherwise. Options behind the eighth have no effect.
uint8_t OptionByte(const Appliance& appliance, const MCUBody& body);

// The external builder's command line, exactly as told to the builder (backslash form).
// Shows the "Error" box through prompter when ModelParam is empty, and goes on without -MB.
// Throws BxError when the appliance's body (Family, Model) isn't in its Settings.
std::string ExternalCommandLine(Appliance& appliance, Prompter& prompter);

// The Makefile of the internal mode, with CR LF line ends (backslash form): one rule for each
// step with a command, each product depending on the appliance file and its sources.
std::string MakefileText(Appliance& appliance);
// The same Makefile as it is written to disk: in the operating system's form, with every file
// name of the rule lines quoted for make (a blank, "#" and ":" behind a backslash, "$"
// doubled). Throws BxError for a name make can't carry at all (";", "=", "|", "%", "*", "?",
// "[", "]", control characters), before anything is written.
std::string MakefileForMake(Appliance& appliance);

// How the host watches and ends a running build. Every member may stay empty: the build then
// runs to its end, as it always did.
struct BuildControl {
    // Asked about every 20 ms while the tool runs; true stops the build (the studio's Stop, a
    // signal on the command line).
    std::function<bool()> stopRequested;
    // Called as often, on the UI thread: the host lets its pending events run here.
    std::function<void()> whileWaiting;
    // The longest the tool may run; zero for no limit (the command line's --timeout).
    std::chrono::milliseconds timeLimit{0};
};

// Runs one build and returns whether it made the appliance: the tool ended by itself with
// exit status 0 and the product it was told to make (the run target's output, or the external
// builder's ROM) exists; otherwise the pane is told which file is missing. See the header
// comment for control.
// A tool that can't be started gives the "Fatal error: ..." text in place of its output, a
// trace line, and false. Throws BxError for an unknown body in external mode, a Makefile that
// can't be written, and an appliance file that can't be saved.
bool Build(Appliance& appliance, Prompter& prompter, const Diagnoser& diagnoser,
           const BuildControl& control = {});

// Deletes the intermediate files (*.obj, *.bin, *.sym, *.cfg, *.rom) of the working folder,
// read-only ones excepted. With ask, the user is asked first and anything but Yes ends it.
// Always false; nothing depends on the result.
bool BuildClean(Appliance& appliance, bool ask, Prompter& prompter);

// The hosts one build command talks to, and how the host watches and stops the build (by
// default it runs to its end).
struct BuildHosts {
    Prompter& prompter;
    MessageSink& messages;
    SourceHost& sources;
    ApplianceWindow& applianceWindow;
    const Diagnoser& diagnoser;
    BuildControl control{};
};

// The whole build command: the check for steps, the save of every open file and of the
// appliance, the clock parameter, the optional clean-up, the build and the tree's update, with
// the pane's messages in between. The menu's "Build" passes (true, false, false), "Rebuild"
// (true, true, true), and a build left by a request at the switch to debugging
// (true, true, false). Throws BxError when the appliance's clock isn't in its body.
void DoBuild(Appliance& appliance, bool clearMessages, bool clean, bool forceSave,
             BuildHosts& hosts);

// The "Clean up" command: BuildClean with its question, then the pane's note, whatever the
// answer was.
void CleanUpCommand(Appliance& appliance, Prompter& prompter, MessageSink& messages);

// Sets the appliance's clock parameter (ClockParam, the builder's "-M" value) from the body's
// clock entry named by OPClock. Throws BxError when the body or the clock is unknown.
void SetRateparam(Appliance& appliance);

} // namespace bx
