#pragma once
// "tessarine-cli settings ...": look at and rewrite a global settings file (BX.gss).
//
//   settings show FILE.gss [--yes]     the whole loaded model as one JSON document
//   settings resave FILE.gss [--yes]   load, then write the file back where it was read

#include <iosfwd>
#include <string>
#include <vector>

namespace bx {
class GlobalSettings;
}

namespace bx::cli {

// args are the words after "settings". Returns the exit status: 0 done, 1 the file couldn't be
// loaded or written, 2 a usage error.
int RunSettings(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

// The model as one JSON document (what "settings show" prints), loadResult as its last member.
std::string SettingsToJson(const GlobalSettings& settings, bool loadResult);

} // namespace bx::cli
