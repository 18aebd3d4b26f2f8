#pragma once
// The build driver: turns an appliance's rules into one run of an external tool and reports
// what came of it. Two modes:
//   - external builder (Appliance::ExtBuilderInUse): one command line that describes the whole
//     appliance goes to the user's builder;
//   - internal: a "Makefile" is written into the working folder and the run target's command
//     (a make tool, named by the template) reads it.
// In both, the tool's output goes as one text to the appliance's BuildMessage event, the exit
// status alone decides between "Build completed." and "Build failed.", and the appliance is
// saved at the end with all its breakpoints dropped. Nothing here looks at file dates: what is
// out of date is the make tool's business. A build blocks the UI thread until the tool ends;
// there is no cancel.
//
// The command line and the Makefile are first built in the system's backslash form (the forms
// ExternalCommandLine and MakefileText give) and converted to the operating system's form at
// the last step, when they are handed to the process runner or written to disk.

#include "foundation/HostInterfaces.h"

#include <cstdint>
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

// Runs one build and returns whether it made the appliance: the tool's exit status was 0 and
// the product it was told to make (the run target's output, or the external builder's ROM)
// exists; otherwise the pane is told which file is missing. See the header comment.
// A tool that can't be started gives the "Fatal error: ..." text in place of its output, a
// trace line, and false. Throws BxError for an unknown body in external mode, a Makefile that
// can't be written, and an appliance file that can't be saved.
bool Build(Appliance& appliance, Prompter& prompter, const Diagnoser& diagnoser);

// Deletes the intermediate files (*.obj, *.bin, *.sym, *.cfg, *.rom) of the working folder,
// read-only ones excepted. With ask, the user is asked first and anything but Yes ends it.
// Always false; nothing depends on the result.
bool BuildClean(Appliance& appliance, bool ask, Prompter& prompter);

// The hosts one build command talks to.
struct BuildHosts {
    Prompter& prompter;
    MessageSink& messages;
    SourceHost& sources;
    ApplianceWindow& applianceWindow;
    const Diagnoser& diagnoser;
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
