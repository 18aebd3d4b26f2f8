#pragma once
// "tessarine-cli new" and "tessarine-cli build": create an appliance from a body's template and
// build it, without a window.
//
//   new --body MODEL --name NAME --dir FOLDER [--rom IMAGE] [--settings FILE.gss] [--yes]
//   build FILE.apl [--rebuild | --clean] [--external] [--timeout SECONDS] [--settings FILE.gss]
//         [--yes]

#include <iosfwd>
#include <string>
#include <vector>

namespace bx::cli {

// args are the words after "new". 0 the appliance was created and saved; 1 the wizard ended
// without one or something couldn't be read or written; 2 a usage error.
int RunNew(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

// args are the words after "build". Prints what the message pane shows, the tool's lines as
// they come. 0 only when the build ends in "Build completed." (or, with --clean, when the
// clean-up ran); 1 otherwise (a tool stopped by --timeout among them); 2 a usage error;
// 128 + the signal's number when SIGINT or SIGTERM stopped the build.
int RunBuild(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

} // namespace bx::cli
