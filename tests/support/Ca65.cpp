#include "support/Ca65.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
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
    const auto dir = folder.Native();
    {
        std::ofstream out(dir / "prog.s", std::ios::binary);
        out << source;
    }
    const std::string obj = (dir / "prog.o").string();
    const std::string bin = (dir / "prog.bin").string();
    const std::string labels = (dir / "prog.lbl").string();
    std::string log;
    if (RunCommand("ca65 --cpu 65C02 -g -I " + ShellQuoted(includeFolder) + " -o " +
                       ShellQuoted(obj) + " " + ShellQuoted((dir / "prog.s").string()),
                   log) != 0) {
        result.Log = "ca65: " + log;
        return result;
    }
    if (RunCommand("ld65 -C " + ShellQuoted(configPath) + " -Ln " + ShellQuoted(labels) + " -o " +
                       ShellQuoted(bin) + " " + ShellQuoted(obj),
                   log) != 0) {
        result.Log = "ld65: " + log;
        return result;
    }
    std::ifstream in(bin, std::ios::binary);
    result.Image.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    result.Ok = !result.Image.empty();
    // Lines of the form "al 00C012 .name".
    std::ifstream lbl(labels);
    std::string al, value, name;
    while (lbl >> al >> value >> name) {
        if (al == "al" && name.size() > 1)
            result.Labels[name.substr(1)] = static_cast<uint32_t>(std::stoul(value, nullptr, 16));
    }
    if (!result.Ok)
        result.Log = "ld65 wrote no output";
    return result;
}

} // namespace bx::test
