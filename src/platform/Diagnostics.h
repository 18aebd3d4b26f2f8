#pragma once
// The program log "bx.log" and the crash handler. The log is replaced at each start; the
// studio writes a line for each message box it shows and each command that failed, and on a
// fatal signal (a crash) the handler appends the signal and a backtrace before the process
// ends, so that a report after the fact has more than the trace log's last checkpoint.
//
// The diagnostic archive packs the logs named by the diagnostic specification text: libarchive
// cannot write cabinet files, so the archive is a zip file beside the cabinet's path, with the
// extension ".zip" in place of ".cab".

#include <string>
#include <vector>

namespace bx::platform {

// The specification text the frame composes at its start, all in one line:
// "dump=medium,tag,compress=best;" folder "\007.cab;" folder "\vkbx.log;" folder "\bx.log".
std::string DiagnosticSpecification(const std::string& programFolder);
// The log files the specification names (the entries ending in ".log"), in its order.
std::vector<std::string> DiagnosticLogFiles(const std::string& specification);
// Where the archive goes: the specification's ".cab" entry with ".zip" in place of ".cab";
// empty when it names none.
std::string DiagnosticArchivePath(const std::string& specification);

// Replaces the program log at path with a first line (the date and time) and keeps it open for
// the crash handler; false when it can't be written.
bool OpenProgramLog(const std::string& path);
// Appends a line to the program log; nothing when none is open.
void ProgramLogLine(const std::string& text);
// Closes the program log and takes the crash handler off.
void CloseProgramLog();

// Installs the handler of fatal signals (segmentation fault, bus error, illegal instruction,
// floating-point error, abort): it writes the signal's name and a backtrace to the program log,
// then lets the signal end the process as it would have. False when it couldn't be installed.
bool InstallCrashHandler();

// Packs the logs of the specification into its archive; false, with the reason in error, when
// the archive can't be written.
bool WriteDiagnosticArchive(const std::string& specification, std::string* error = nullptr);

} // namespace bx::platform
