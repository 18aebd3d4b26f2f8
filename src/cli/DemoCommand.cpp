#include "cli/DemoCommand.h"

#include "cli/CliMain.h"
#include "cli/CommandLine.h"
#include "frame/ProductInfo.h"
#include "platform/FileSystem.h"
#include "platform/LocalTime.h"

#include <chrono>
#include <ostream>

namespace bx::cli {

namespace {

// A folder of its own for each demo, so that a second demo doesn't meet the first one's files.
std::string FreshFolder() {
    const std::string base = platform::TempFolder() + "\\tessarine-demo-";
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    std::string folder =
        base + std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
    for (int n = 2; platform::FolderExists(folder); ++n)
        folder = base + std::to_string(n);
    return folder;
}

int Step(const std::string& title, const std::vector<std::string>& args, std::ostream& out,
         std::ostream& err) {
    out << "\n== " << title << "\n$ tessarine-cli";
    for (const std::string& arg : args)
        out << " " << arg;
    out << "\n";
    out.flush();
    return Run(args, out, err);
}

} // namespace

int RunDemo(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    if (!args.empty()) {
        err << "tessarine-cli demo: takes no arguments\n";
        return 2;
    }
    if (platform::TempFolder().empty()) {
        // Never the root instead: the demo makes its folder in the temporary one.
        err << "tessarine-cli demo: there is no temporary folder (TMPDIR names none, and /tmp "
               "doesn't exist)\n";
        return 1;
    }
    out << VersionLine() << "\n\n" << SelfDescription();

    const std::string folder = FreshFolder();
    const std::string appliance = Shown(folder + "\\demo.apl");
    const std::string wav = Shown(folder + "\\demo.wav");
    int code =
        Step("Create an appliance from the KTR311 template",
             {"new", "--body", "KTR311", "--name", "demo", "--dir", Shown(folder)}, out, err);
    if (code == 0)
        code = Step("Build it with ca65, ld65 and make", {"build", appliance}, out, err);
    if (code == 0)
        code = Step("Power it on, run to the main loop, step, step over a call, then run one "
                    "second with key 5 of the keypad held and record the speaker",
                    {"run", appliance, "--break", "main", "--steps", "2", "--step-over", "1",
                     "--watch", "Bank", "--dump", "00:0000:3", "--run-for", "1000", "--press",
                     "5@0", "--wav", wav},
                    out, err);
    if (code != 0) {
        err << "tessarine-cli demo: the demo stopped at the step above (exit code " << code
            << ")\n";
        return code;
    }
    out << "\nThe demo appliance is in " << Shown(folder)
        << "; open demo.apl in the studio, or play demo.wav to hear the key's tone.\n";
    return 0;
}

} // namespace bx::cli
