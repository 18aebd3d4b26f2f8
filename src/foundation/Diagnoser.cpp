#include "foundation/Diagnoser.h"

#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/LocalTime.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"

#include <cstdio>
#include <utility>

namespace bx {

namespace {

// Lines end in "\n": the log is read with the usual Linux tools and attached to reports as it
// stands, and nothing in the studio parses it back.
constexpr const char* kLineEnd = "\n";

// A write that fails is not swallowed: the error travels up to whichever command was tracing,
// which reports it like any other file error. A trace log that silently stops would hide
// exactly the run one wants to look at afterwards, and the program's folder has to be
// writable anyway for the settings and the templates.
[[noreturn]] void ThrowWriteError(const std::string& path, const std::string& whyNot = {}) {
    throw BxError(errors::kFileAccess, "Diagnoser",
                  "Can't write the trace log " + platform::ToNativePath(path) +
                      (whyNot.empty() ? "" : ": " + whyNot));
}

// "2026-11-21 10:37:51": fixed width, sorts as text, one form in every locale.
std::string DateTimeLine() {
    platform::LocalDateTime now = platform::LocalNow();
    char text[80]; // room for any int in every field
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", now.Year, now.Month, now.Day,
                  now.Hour, now.Minute, now.Second);
    return text;
}

} // namespace

Diagnoser::Diagnoser(std::string logPath) : logPath_(std::move(logPath)) {
    // The previous run's file is replaced whole: through a temporary file and a rename, so a
    // crash at this point leaves either the old log or the new one, never half of either.
    std::string whyNot;
    if (!platform::WriteFileAtomic(logPath_, DateTimeLine() + kLineEnd, &whyNot))
        ThrowWriteError(logPath_, whyNot);
}

Diagnoser& Diagnoser::Instance() {
    // Created at the first trace of the run and kept to the end; the program's folder is read
    // once, at that moment.
    static Diagnoser instance(platform::ProgramFolder() + "\\vkbx.log");
    return instance;
}

void Diagnoser::Trace(int32_t module, int32_t point, const std::string& text) const {
    // The file is opened, written and closed on each call: nothing waits in a buffer when the
    // program dies.
    std::string line =
        "M" + std::to_string(module) + " S" + std::to_string(point) + " " + text + kLineEnd;
    if (!platform::AppendToFile(logPath_, line))
        ThrowWriteError(logPath_);
}

} // namespace bx
