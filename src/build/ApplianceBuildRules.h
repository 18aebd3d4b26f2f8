#pragma once
// The build rules as the appliance applies them: the free helpers that go with the appliance's
// own build-rule operations (AddBuildStep, RemoveBuildStep, ExpandMake, QuoteLeafFiles, which
// live in ApplianceBuildRules.cpp next to these). UI thread only, like the appliance itself.

#include "build/BuildRules.h"

#include <functional>
#include <string>

namespace bx {

class Appliance;
class Prompter;

// For "%i": a double quote, the source's OutputPath, a double quote and a blank, for every
// source in order. Null sources give the empty text.
std::string QuoteSources(const BuildTargets* sources);

// Adds a file with its build steps. A file other than ".asm" becomes a plain source. An
// ".asm" file gets its assemble step (to DefaultOutputPath) and that product becomes a source
// of the run target's output, provided the associations name both commands. When a step is
// refused because the file already stands in the appliance with another command, the user is
// told so through prompter, a half-added pair is taken back, and the result is false. After an
// ".asm" file, handToSourceHost (may be empty) gets the appliance so that open editors see it.
bool AddSourceToAppliance(Appliance& appliance, const std::string& path, Prompter& prompter,
                          const std::function<void(Appliance&)>& handToSourceHost);

} // namespace bx
