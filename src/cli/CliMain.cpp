#include "cli/CliMain.h"

#include "cli/ApplianceCommands.h"
#include "cli/BuildCommands.h"
#include "cli/CpuCommands.h"
#include "cli/DemoCommand.h"
#include "cli/RunCommand.h"
#include "cli/SettingsCommands.h"
#include "cli/SymbolCommands.h"
#include "frame/ProductInfo.h"

#include <iostream>

namespace bx::cli {

namespace {
void PrintUsage(std::ostream& out) {
    out << "usage: tessarine-cli [--version] [--help] <command> [arguments]\n"
           "\n"
           "commands:\n"
           "  demo        create, build and run a KTR311 appliance: the road of a first session\n"
           "  appliance   show or rewrite an appliance file (.apl)\n"
           "  settings    show or rewrite a global settings file (BX.gss)\n"
           "  new         create an appliance from an MCU body's template\n"
           "  build       build an appliance (.apl) and print the build messages\n"
           "  run         power an appliance on in the simulator, run, step and print each stop\n";
    PrintCpuCommandsUsage(out);
    PrintSymbolsUsage(out);
}
} // namespace

int Run(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    if (args.empty() || args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
        PrintUsage(out);
        return args.empty() ? 2 : 0;
    }
    if (args[0] == "--version") {
        out << VersionLine() << "\n";
        return 0;
    }
    if (args[0] == "demo")
        return RunDemo(std::vector<std::string>(args.begin() + 1, args.end()), out, err);
    if (IsCpuCommand(args[0]))
        return RunCpuCommand(args, out, err);
    if (args[0] == "appliance")
        return RunAppliance(std::vector<std::string>(args.begin() + 1, args.end()), out, err);
    if (args[0] == "new")
        return RunNew(std::vector<std::string>(args.begin() + 1, args.end()), out, err);
    if (args[0] == "build")
        return RunBuild(std::vector<std::string>(args.begin() + 1, args.end()), out, err);
    if (args[0] == "run")
        return RunSession(std::vector<std::string>(args.begin() + 1, args.end()), out, err);
    if (args[0] == "settings")
        return RunSettings(std::vector<std::string>(args.begin() + 1, args.end()), out, err);
    if (args[0] == "symbols")
        return RunSymbols(std::vector<std::string>(args.begin() + 1, args.end()), out, err);
    err << "tessarine-cli: unknown command \"" << args[0] << "\"\n";
    PrintUsage(err);
    return 2;
}

int Main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    return Run(args, std::cout, std::cerr);
}

} // namespace bx::cli
