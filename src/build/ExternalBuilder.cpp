#include "build/ExternalBuilder.h"

#include "build/ProcessRunner.h"
#include "foundation/Common.h"
#include "foundation/Diagnoser.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"

#include <algorithm>
#include <cctype>
#include <ostream>

namespace bx::builder {
namespace {

// The folder with exactly one "/" at its end: the driver's line ends its folders in two.
std::string FolderWithSlash(std::string folder) {
    while (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    if (folder != "/")
        folder += '/';
    return folder;
}

std::string Quoted(const std::string& text) {
    return "\"" + text + "\"";
}

// The object is named as the templates' association "asm -> obj" names it: the file name up
// to its first dot, then ".obj" ("a.b.asm" gives "a.obj"), so both modes make the same files.
std::string StemAtFirstDot(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
    const std::size_t dot = path.find('.', start);
    return dot == std::string::npos ? path : path.substr(0, dot);
}

std::string ExtensionAtFirstDot(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
    const std::size_t dot = path.find('.', start);
    return dot == std::string::npos ? std::string() : LowerCase(path.substr(dot + 1));
}

bool IsHexByte(const std::string& text, int& value) {
    if (text.empty() || text.size() > 2)
        return false;
    value = 0;
    for (char c : text) {
        const int digit = std::isdigit(static_cast<unsigned char>(c)) ? c - '0'
                          : (c >= 'A' && c <= 'F')                    ? c - 'A' + 10
                          : (c >= 'a' && c <= 'f')                    ? c - 'a' + 10
                                                                      : -1;
        if (digit < 0)
            return false;
        value = value * 16 + digit;
    }
    return true;
}

} // namespace

std::string ParseBuilderArgs(const std::vector<std::string>& args, BuilderOptions& options) {
    options = BuilderOptions{};
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& word = args[i];
        auto value = [&](std::string& into) -> std::string {
            if (i + 1 >= args.size())
                return word + " needs a value";
            into = args[++i];
            return "";
        };
        std::string problem;
        if (word == "-D")
            problem = value(options.folder);
        else if (word == "-N")
            problem = value(options.title);
        else if (word == "-O")
            problem = value(options.output);
        else if (word == "-T")
            problem = value(options.tools);
        else if (word == "-MB")
            problem = value(options.model);
        else if (word == "-MP") {
            std::string text;
            problem = value(text);
            if (problem.empty() && !IsHexByte(text, options.optionByte))
                problem = "-MP needs the option byte in hexadecimal, not '" + text + "'";
        } else if (word == "-MS")
            options.mainClock = true;
        else if (word == "-MR")
            options.rcOscillator = true;
        else if (word == "-MW")
            options.watchdog = true;
        else if (word.rfind("-M", 0) == 0)
            options.clock = word.substr(2); // "-M" alone: a clock without a parameter
        else if (!word.empty() && word[0] == '-')
            problem = "unknown option " + word;
        else if (!word.empty())
            options.files.push_back(word);
        if (!problem.empty())
            return problem;
    }
    if (options.folder.empty())
        return "-D (the working folder) is missing";
    if (options.title.empty())
        return "-N (the appliance's title) is missing";
    if (options.output.empty())
        return "-O (the ROM image) is missing";
    if (options.tools.empty())
        return "-T (the program's folder) is missing";
    if (options.model.empty())
        return "-MB (the MCU body) is missing";
    if (options.files.empty())
        return "no files to build";
    return "";
}

std::string PlanBuild(const BuilderOptions& options, BuildPlan& plan) {
    plan = BuildPlan{};
    std::vector<ToolStep>& steps = plan.steps;
    const std::string config = FolderWithSlash(options.tools) + "Templates/Sarnova/include/" +
                               LowerCase(options.model) + ".cfg";
    if (!platform::FileExists(platform::FromNativePath(config)))
        return "no linker configuration for the body " + options.model + ": " + config +
               " does not exist";
    std::vector<std::string> objects;
    for (const std::string& file : options.files) {
        const std::string extension = ExtensionAtFirstDot(file);
        if (extension == "asm") {
            // The same command line as the templates' "asm -> obj" association.
            const std::string object = StemAtFirstDot(file) + ".obj";
            steps.push_back(
                {"ca65 --cpu 65C02 -g -o " + Quoted(object) + " " + Quoted(file), object});
            objects.push_back(object);
        } else {
            plan.passedOver.push_back(file);
        }
    }
    if (objects.empty())
        return "no source to assemble among the files: the builder makes the ROM from .asm files";
    std::string link = "ld65 -C " + Quoted(config) + " --dbgfile " +
                       Quoted(options.title + ".sym") + " -o " + Quoted(options.output);
    for (const std::string& object : objects)
        link += " " + Quoted(object);
    steps.push_back({link, options.output});
    return "";
}

int RunBuilder(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    BuilderOptions options;
    if (std::string problem = ParseBuilderArgs(args, options); !problem.empty()) {
        err << "tessarine-build: " << problem << "\n"
            << "usage: tessarine-build -D FOLDER -N TITLE -O ROM -T TOOLS -MB MODEL -MP HEX "
               "[-MS] [-MR] [-MW] -MPARAM FILE...\n";
        return 2;
    }
    BuildPlan plan;
    if (std::string problem = PlanBuild(options, plan); !problem.empty()) {
        err << "tessarine-build: " << problem << "\n";
        return 2;
    }
    const char* digits = "0123456789ABCDEF";
    std::string optionText = "none";
    if (options.optionByte >= 0)
        optionText = {'$', digits[options.optionByte >> 4], digits[options.optionByte & 15]};
    out << "tessarine-build: " << options.model << ", option byte " << optionText
        << ", clock parameter " << (options.clock.empty() ? "none" : options.clock)
        << (options.mainClock ? "" : ", 32.768 kHz clock") << (options.rcOscillator ? ", RC" : "")
        << (options.watchdog ? ", watchdog" : "") << "\n";
    for (const std::string& file : plan.passedOver)
        out << "tessarine-build: " << file << " is no source; it is not built into the ROM\n";

    // The builder keeps its own trace log: the studio's vkbx.log is the studio's.
    Diagnoser diagnoser(platform::TempFolder() + "\\tessarine-build.log");
    const std::string folder = platform::FromNativePath(FolderWithSlash(options.folder));
    for (ToolStep& step : plan.steps) {
        out << step.command << "\n";
        std::string output;
        int32_t status = 0;
        try {
            status = ShellExecute(step.command, folder, output, false, diagnoser);
        } catch (const BxError& error) {
            err << "tessarine-build: can't run '" << step.command << "': " << error.Description
                << "\n";
            return 1;
        }
        // The runner ends every line in CR LF; print them as this system's lines.
        std::string lines;
        for (char c : output)
            if (c != '\r')
                lines += c;
        out << lines;
        if (status != 0) {
            out << "tessarine-build: " << step.product << " not made (exit status " << status
                << ")\n";
            return 1;
        }
    }
    out << "tessarine-build: made " << options.output << " and " << options.title << ".sym\n";
    return 0;
}

} // namespace bx::builder
