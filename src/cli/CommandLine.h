#pragma once
// What the sub-commands of the command line share: reading their words and options, and
// loading the global settings they need.

#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace bx {
class Appliance;
class Diagnoser;
class GlobalSettings;
} // namespace bx

namespace bx::cli {

// The words of a command: options with a value, flags, and the rest in order. error names the
// first problem (an option without its value, an unknown option).
struct Parsed {
    std::map<std::string, std::string> values;
    std::map<std::string, bool> flags;
    // Every value of each value option in the order given, for options that may repeat.
    std::map<std::string, std::vector<std::string>> lists;
    std::vector<std::string> words;
    std::string error;
};

Parsed Parse(const std::vector<std::string>& args, const std::vector<std::string>& valueOptions,
             const std::vector<std::string>& flagOptions);

// Checks that the words are one of commands followed by one file, as in "settings show X.gss".
// Otherwise writes what is wrong to err (group names the command family, fileKind the file the
// usage asks for) and returns false.
bool ExpectCommandAndFile(const Parsed& parsed, const std::string& group,
                          const std::vector<std::string>& commands, const std::string& fileKind,
                          std::ostream& err);

// Loads the settings file given with --settings, or BX.gss in the program's folder, and says
// on err (each line starting with prefix) why when it can't. path receives the file used.
bool LoadSettings(GlobalSettings& settings, const Parsed& parsed, std::string& path,
                  const std::string& prefix, std::ostream& err);

// Loads the appliance file given on the command line and gives it the tools of the global
// settings, as the studio does when it opens one; says on err why when it can't.
bool OpenAppliance(Appliance& appliance, GlobalSettings& settings, const std::string& givenPath,
                   const std::string& prefix, std::ostream& err);

// A path as a person reads it: in the operating system's form.
std::string Shown(const std::string& path);

// The trace log of a command-line run: vkbx.log in the program's folder, or in the system's
// temporary folder when the program's folder is read-only.
std::unique_ptr<Diagnoser> OpenTraceLog();

} // namespace bx::cli
