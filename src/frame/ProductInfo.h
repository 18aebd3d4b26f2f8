#pragma once
// What the product says about itself: the main frame's caption and the command line's
// version and self-description.

#include <string>

namespace bx {

// "Sarnova Tessarine(TM) Real-Time Simulation Studio (Build #<n>)".
std::string FrameCaption();
// "tessarine-cli <version> (build <n>)".
std::string VersionLine();
// A few lines telling a person on a terminal what this program is and can do.
std::string SelfDescription();

} // namespace bx
