#include "support/Ca65.h"

#include <array>
#include <cstdio>
#include <sstream>
#include <sys/wait.h>

namespace bx::test {

std::string ShellQuoted(const std::string& text) {
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

int RunCommand(const std::string& command, std::string& output) {
    output.clear();
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr)
        return -1;
    std::array<char, 4096> buffer;
    std::size_t n;
    while ((n = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
        output.append(buffer.data(), n);
    const int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool Ca65Available() {
    static const bool available = [] {
        std::string out;
        return RunCommand("command -v ca65 && command -v ld65", out) == 0;
    }();
    return available;
}

Assembled Assemble(const TempFolder& folder, const std::string& source,
                   const std::string& configPath, const std::string& includeFolder) {
    Assembled result;
    folder.WriteFile("prog.s", source);
    if (RunCommand("cd " + ShellQuoted(folder.Native().string()) + " && ca65 --cpu 65C02 -g -I " +
                       ShellQuoted(includeFolder) + " -o prog.o prog.s && ld65 -C " +
                       ShellQuoted(configPath) + " -Ln prog.lbl -o prog.bin prog.o",
                   result.Log) != 0)
        return result;
    const std::string image = folder.ReadFile("prog.bin");
    result.Image.assign(image.begin(), image.end());
    result.Ok = !result.Image.empty();
    result.Log = result.Ok ? "" : "ld65 wrote no output";
    // Lines of the form "al 00C012 .name".
    std::istringstream labels(folder.ReadFile("prog.lbl"));
    std::string al, value, name;
    while (labels >> al >> value >> name)
        if (al == "al" && name.size() > 1)
            result.Labels[name.substr(1)] = static_cast<uint32_t>(std::stoul(value, nullptr, 16));
    return result;
}

} // namespace bx::test
