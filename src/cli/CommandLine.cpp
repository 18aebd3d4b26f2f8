#include "cli/CommandLine.h"

#include "appliance/Appliance.h"
#include "foundation/Diagnoser.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/Process.h"
#include "platform/ProgramFolder.h"
#include "settings/Configuration.h"
#include "settings/GlobalSettings.h"

#include <algorithm>
#include <ostream>

namespace bx::cli {

Parsed Parse(const std::vector<std::string>& args, const std::vector<std::string>& valueOptions,
             const std::vector<std::string>& flagOptions) {
    Parsed parsed;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        bool known = false;
        for (const auto& option : valueOptions) {
            if (arg != option)
                continue;
            known = true;
            if (i + 1 == args.size()) {
                parsed.error = option + " needs a value";
                return parsed;
            }
            parsed.values[option] = args[++i];
            parsed.lists[option].push_back(args[i]);
        }
        for (const auto& flag : flagOptions)
            if (arg == flag) {
                known = true;
                parsed.flags[flag] = true;
            }
        if (known)
            continue;
        if (arg.size() > 1 && arg[0] == '-') {
            parsed.error = "unknown option " + arg;
            return parsed;
        }
        parsed.words.push_back(arg);
    }
    return parsed;
}

bool ExpectCommandAndFile(const Parsed& parsed, const std::string& group,
                          const std::vector<std::string>& commands, const std::string& fileKind,
                          std::ostream& err) {
    const std::string prefix = "tessarine-cli " + group;
    const auto& words = parsed.words;
    const bool known =
        !words.empty() && std::find(commands.begin(), commands.end(), words[0]) != commands.end();
    if (!parsed.error.empty())
        err << prefix << ": " << parsed.error << "\n";
    else if (words.empty())
        err << prefix << ": missing command\n";
    else if (!known)
        err << prefix << ": unknown command \"" << words[0] << "\"\n";
    else if (words.size() != 2)
        err << prefix << " " << words[0] << ": expected one " << fileKind << "\n";
    else
        return true;
    return false;
}

// The settings file given, or BX.gss in the program's folder; loaded with its messages.
bool LoadSettings(GlobalSettings& settings, const Parsed& parsed, std::string& path,
                  const std::string& prefix, std::ostream& err) {
    auto given = parsed.values.find("--settings");
    path = given != parsed.values.end()
               ? platform::AbsolutePath(platform::FromNativePath(given->second))
               : platform::ProgramFolder() + "\\" + GlobalSettings::kFileName;
    if (!platform::FileExists(path)) {
        err << prefix << "no global settings file at " << platform::ToNativePath(path) << "\n";
        return false;
    }
    if (!settings.Load(path)) {
        err << prefix << "can't load the global settings " << platform::ToNativePath(path);
        if (!settings.LoadErrorText().empty())
            err << ": " << settings.LoadErrorText();
        err << "\n";
        return false;
    }
    return true;
}

bool OpenAppliance(Appliance& appliance, GlobalSettings& settings, const std::string& givenPath,
                   const std::string& prefix, std::ostream& err) {
    const std::string path = platform::AbsolutePath(platform::FromNativePath(givenPath));
    appliance.Settings = &settings;
    try {
        if (!platform::FileExists(path)) {
            err << prefix << "no such file: " << Shown(path) << "\n";
            return false;
        }
        if (!appliance.Load(path)) {
            err << prefix << "can't read " << Shown(path) << " (not well-formed XML)\n";
            return false;
        }
    } catch (const BxError& error) {
        err << prefix << error.Description << "\n";
        return false;
    }
    CopyExternalTools(settings, appliance);
    return true;
}

std::string Shown(const std::string& path) {
    return platform::ToNativePath(path);
}

// Each command is a run of its own and starts the log anew, as a start of the studio does.
std::unique_ptr<Diagnoser> OpenTraceLog() {
    std::string folder = platform::ProgramFolder();
    if (!platform::IsFolderWritable(folder))
        folder = platform::TempFolder();
    return std::make_unique<Diagnoser>(folder + "\\vkbx.log");
}

} // namespace bx::cli
