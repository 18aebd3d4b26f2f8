#pragma once
// "tessarine-cli run": a debugging session without a window. It powers an appliance on with the
// studio's own power-on, sets breakpoints, runs, steps and stops the target in the built-in
// simulator, and prints every stop: why, where (bank, address, source file and line), the
// registers, the watches asked for and the memory asked for.
//
//   run FILE.apl [--break LABEL|BANK:ADDR|FILE:LINE]... [--until-break] [--steps N]
//       [--step-over N] [--run-for MS] [--timeout MS] [--press KEY@MS[:MS]]... [--wav OUT.wav]
//       [--unthrottled] [--watch NAME]... [--dump BANK:ADDR:LEN]... [--answer yes|no]
//       [--settings FILE.gss]
//
// The session, in this order: power-on (its message boxes printed as "<title>: <text>" and
// answered by --answer, No by default); the breakpoints; with --break or --until-break a run
// until every --break was reached (or, with --until-break alone, until the first stop), within
// --timeout milliseconds of simulated time (10,000 by default); --steps single instructions;
// --step-over steps over calls; --run-for a free run of that many milliseconds of simulated
// time, ended by a stop of its own. Times of --press count in milliseconds of simulated time
// from the power-on's reset: KEY is held from the first number on, for the second number of
// milliseconds or to the end. KEY is a label of the keypad ("5", "*") or "button:N" for key N
// (0-7) of the SimpleUI.

#include <iosfwd>
#include <string>
#include <vector>

namespace bx::cli {

// Exit codes of run.
namespace run_exit {
inline constexpr int kReached = 0;     // every requested stop was reached
inline constexpr int kFailed = 1;      // power-on failed, a file or option couldn't be used
inline constexpr int kUsage = 2;       // the command line is wrong
inline constexpr int kBudgetSpent = 3; // the time ran out before a requested stop
} // namespace run_exit

// args are the words after "run".
int RunSession(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);
void PrintRunUsage(std::ostream& out);

} // namespace bx::cli
