#pragma once
// "tessarine-cli appliance ...": look at and rewrite an appliance file (.apl).
//
//   appliance show FILE.apl [--settings FILE.gss] [--yes]    the loaded model as JSON
//   appliance resave FILE.apl [--settings FILE.gss] [--yes]  load, then save it again

#include <iosfwd>
#include <string>
#include <vector>

namespace bx {
class Appliance;
}

namespace bx::cli {

// args are the words after "appliance". Returns the exit status: 0 done, 1 a file couldn't be
// loaded or written, 2 a usage error.
int RunAppliance(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

// The model as one JSON document (what "appliance show" prints), loadResult as its last member.
std::string ApplianceToJson(Appliance& appliance, bool loadResult);

} // namespace bx::cli
