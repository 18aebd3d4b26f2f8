#pragma once
// "tessarine-cli demo": the road of a first session, without a window. It creates an appliance
// from the KTR311 template in a fresh folder under the system's temporary folder, builds it with
// the template's tools (ca65, ld65, make), powers it on in the simulator, runs it to the
// breakpoint at the top of its main loop, steps a few lines and over a call, and then lets it
// run for one second of simulated time with key "5" of the keypad held, recording the speaker's
// tone to demo.wav beside the appliance. Every step prints what the equivalent command prints.

#include <iosfwd>
#include <string>
#include <vector>

namespace bx::cli {

// 0 when every step worked; otherwise the exit code of the step that failed.
int RunDemo(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

} // namespace bx::cli
