// The appliance's build-rule operations: the dependency graph of build steps (BuildTargets),
// the load entries that follow it, and the expansion of the "%" placeholders of a command.
//
// The graph keeps every file known to the build, source or product, as one BuildTarget; a
// target that is someone's source is the same object in the graph and in that someone's
// Sources. Only final products are loadable: a file that becomes a source loses its unplaced
// load entry, a file that stops being one gets it back.

#include "build/ApplianceBuildRules.h"

#include "appliance/Appliance.h"
#include "foundation/Common.h"
#include "foundation/Error.h"
#include "foundation/HostInterfaces.h"

#include <algorithm>
#include <vector>

namespace bx {

namespace {

constexpr const char* kErrorSource = "Appliance Object";
constexpr int32_t kUnplaced = -1; // bank and address of a load entry that has no place yet

} // namespace

std::string QuoteSources(const BuildTargets* sources) {
    std::string quoted;
    if (!sources)
        return quoted;
    for (const auto& entry : *sources)
        quoted += "\"" + entry.item->OutputPath + "\" ";
    return quoted;
}

std::shared_ptr<BuildTarget> Appliance::AddBuildStep(const std::string& Output,
                                                     const std::string& Command,
                                                     const std::string& Source) {
    Touch();
    const std::string output = RelativeToFolder(Output, Folder);
    const std::string source = RelativeToFolder(Source, Folder);
    bx::BuildTargets& steps = BuildTargets();
    bx::LoadImages& images = LoadImages();

    std::shared_ptr<BuildTarget> target = steps.Item(output);
    if (!target) {
        target = steps.Add(std::make_shared<bx::BuildTargets>(), Command, output);
        // A new file is a final product until something is built from it.
        auto entry = images.Item(output, kUnplaced, kUnplaced);
        if (!entry)
            images.Add(target, kUnplaced, kUnplaced);
        else if (entry->Content != target)
            entry->Content = target;
    } else if (target->Make != Command) {
        // Refused before anything changes: an existing command is never written over.
        if (!target->Make.empty())
            throw BxError(errors::kBuildStep, kErrorSource,
                          "Existing build target has a different build command.");
        target->Make = Command;
    }

    if (!source.empty()) {
        // A target that so far was a plain file (placed by the load map before any step named
        // it) has no source list yet.
        if (!target->Sources)
            target->Sources = std::make_shared<bx::BuildTargets>();
        std::shared_ptr<BuildTarget> input = steps.Item(source);
        if (!input) {
            input = steps.Add(std::make_shared<bx::BuildTargets>(), "", source);
            target->Sources->AddItem(input);
        } else if (!target->Sources->Contains(source)) {
            target->Sources->AddItem(input);
            // A file that is built into something isn't loaded by itself.
            images.Remove(source, kUnplaced, kUnplaced);
        }
    } else if (images.Item(output, kUnplaced, kUnplaced)) {
        // A ready-made file (an object or binary that no step of ours makes) gets its place in
        // memory at once. Relative names are relative to the appliance's folder, whatever the
        // process's current directory happens to be.
        const std::string file = IsAbsolutePath(output) ? output : Folder + output;
        const int32_t length = GetFileLength(file);
        if (length > 0)
            LabelLoadAddr(output, 0, NextBank, NextAddress, length);
    }
    return target;
}

void Appliance::RemoveBuildStep(const std::string& Output) {
    Touch();
    bx::BuildTargets& steps = BuildTargets();

    // A product that loses its last source goes with it, and so on up the graph. The walk goes
    // over the targets as they stood when it began, since the cascade removes some of them
    // while it runs; one that a deeper removal already took out is passed over.
    std::vector<std::shared_ptr<BuildTarget>> targets;
    targets.reserve(steps.Count());
    for (const auto& entry : steps)
        targets.push_back(entry.item);
    for (const auto& target : targets) {
        if (!target->Sources || steps.Item(target->OutputPath) != target)
            continue;
        const std::size_t before = target->Sources->Count();
        target->Sources->Remove(Output);
        if (before == 1 && target->Sources->Count() == 0)
            RemoveBuildStep(target->OutputPath);
    }

    std::shared_ptr<BuildTarget> removed = steps.Item(Output);
    if (!removed)
        return;
    if (removed->Sources) {
        // Its sources aren't built into anything now: they become loadable files again. One
        // that already waits for a place keeps its single entry.
        bx::LoadImages& images = LoadImages();
        for (const auto& entry : *removed->Sources)
            if (!images.Item(entry.item->OutputPath, kUnplaced, kUnplaced))
                images.Add(entry.item, kUnplaced, kUnplaced);
    }
    steps.Remove(Output);
}

std::string Appliance::ExpandMake(const BuildTarget& target, bool useForwardSlashes) {
    // The order matters: the tools folder goes in first, so "%i", "%n" and "%o" inside it are
    // replaced too; whether "%i" and "%n" are replaced at all is decided by the stored command.
    std::string command = ReplaceAll(target.Make, "%tools%\\", ToolsPath());
    if (target.Make.find("%i") != std::string::npos)
        command = ReplaceAll(command, "%i", QuoteSources(target.Sources.get()));
    if (target.Make.find("%n") != std::string::npos)
        command = ReplaceAll(command, "%n", StripExtension(target.OutputPath));
    command = ReplaceAll(command, "%o", target.OutputPath);
    if (useForwardSlashes)
        std::replace(command.begin(), command.end(), '\\', '/');
    return command;
}

std::string Appliance::QuoteLeafFiles() {
    std::string quoted;
    for (const auto& entry : BuildTargets())
        if (!entry.item->Sources || entry.item->Sources->Empty())
            quoted += "\"" + entry.item->OutputPath + "\" ";
    return quoted;
}

bool AddSourceToAppliance(Appliance& appliance, const std::string& path, Prompter& prompter,
                          const std::function<void(Appliance&)>& handToSourceHost) {
    auto tellAlreadyThere = [&prompter] {
        prompter.ask("Add Source File", "The file you are to add already exists in the appliance.",
                     Buttons::Ok, Icon::Exclamation);
    };

    if (GetExtension(path) != "asm") {
        // Anything but assembler source is taken as it is: a plain file, loadable by itself.
        try {
            appliance.AddBuildStep(path, "", "");
        } catch (const BxError&) {
            tellAlreadyThere();
            return false;
        }
        return true;
    }

    const std::string finalOutput = appliance.RunTarget()->OutputPath;
    const std::string object = appliance.DefaultOutputPath(path);
    const std::string assembleCommand = appliance.DefaultBuildCommand(path);
    const std::string linkCommand = appliance.DefaultBuildCommand(object);
    // Without an association for either step the file is only handed on; no step is added.
    if (!object.empty() && !assembleCommand.empty() && !linkCommand.empty()) {
        try {
            appliance.AddBuildStep(object, assembleCommand, path);
        } catch (const BxError&) {
            tellAlreadyThere();
            return false;
        }
        try {
            appliance.AddBuildStep(finalOutput, linkCommand, object);
        } catch (const BxError&) {
            tellAlreadyThere();
            // Half a pair is worse than none: the object step just added goes again.
            appliance.RemoveBuildStep(object);
            return false;
        }
    }
    if (handToSourceHost)
        handToSourceHost(appliance);
    return true;
}

} // namespace bx
