#include "cli/ApplianceCommands.h"

#include "appliance/Appliance.h"
#include "cli/CommandLine.h"
#include "cli/JsonWriter.h"
#include "cli/StreamPrompter.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "settings/GlobalSettings.h"

#include <ostream>
#include <sstream>

namespace bx::cli {

namespace {

void PrintApplianceUsage(std::ostream& out) {
    out << "usage: tessarine-cli appliance show FILE.apl [--settings FILE.gss] [--yes]\n"
           "       tessarine-cli appliance resave FILE.apl [--settings FILE.gss] [--yes]\n";
}

void WriteParameters(JsonWriter& json, const Parameters& parameters) {
    json.BeginArray("Parameters");
    for (const auto& [key, parameter] : parameters) {
        json.BeginObject();
        json.String("key", key);
        json.String("Name", parameter->Name);
        json.String("Value", parameter->Value);
        json.EndObject();
    }
    json.EndArray();
}

void WriteTargetNames(JsonWriter& json, const char* name, const BuildTargets* targets) {
    if (!targets) {
        json.Null(name);
        return;
    }
    json.BeginArray(name);
    for (const auto& entry : *targets)
        json.String(nullptr, entry.key);
    json.EndArray();
}

void WriteWatch(JsonWriter& json, const std::string& key, Watch& watch) {
    json.BeginObject();
    json.String("key", key);
    json.String("Title", watch.Title);
    json.String("Description", watch.Description);
    json.String("Location", watch.Location);
    json.Number("Mask", watch.Mask);
    json.String("Category", watch.Category);
    json.Bool("Expanded", watch.Expanded);
    json.Bool("LittleEndian", watch.LittleEndian);
    json.Bool("Disabled", watch.Disabled);
    json.Bool("Invalid", watch.Invalid);
    json.String("Access", watch.Access());
    json.String("Display", watch.Display());
    json.BeginArray("Children");
    if (watch.HasChildren())
        for (const auto& [childKey, child] : watch.Children())
            WriteWatch(json, childKey, *child);
    json.EndArray();
    json.EndObject();
}

} // namespace

std::string ApplianceToJson(Appliance& appliance, bool loadResult) {
    std::ostringstream text;
    JsonWriter json(text);
    json.BeginObject();
    json.String("Title", appliance.Title);
    json.String("Version", appliance.Version);
    json.String("Model", appliance.Model);
    json.String("Family", appliance.Family);
    json.String("OPClock", appliance.OPClock);
    json.Number("IceEmuNumber", appliance.IceEmuNumber);
    json.String("TemplateDir", appliance.TemplateDir);
    json.String("ClockParam", appliance.ClockParam);
    json.String("ModelParam", appliance.ModelParam);
    json.Bool("WizardYesFlag", appliance.WizardYesFlag);
    json.Bool("WDT", appliance.WDT);
    json.Bool("Oscillator", appliance.Oscillator);
    json.BeginArray("Options");
    for (int i = 1; i <= 8; ++i)
        json.Bool(nullptr, appliance.OptionAt(i));
    json.EndArray();
    json.Number("ProgramStart", appliance.ProgramStart);
    json.Number("OptionsDef", appliance.OptionsDef);
    json.Number("BankStart", appliance.BankStart);
    json.Number("BankSize", appliance.BankSize);
    json.Number("BankCount", appliance.BankCount);
    json.Number("BootVect", appliance.BootVect);

    json.BeginArray("Peripherals");
    for (const auto& [key, peripheral] : appliance.Peripherals()) {
        json.BeginObject();
        json.String("key", key);
        json.String("Name", peripheral->Name);
        json.String("Type", peripheral->Type);
        json.BeginArray("Wires");
        for (const auto& [wireKey, wire] : peripheral->Wires) {
            json.BeginObject();
            json.String("key", wireKey);
            auto owner = wire->Peripheral.lock();
            json.String("Peripheral", owner ? owner->Name : std::string());
            json.String("Pinset", wire->Pinset);
            json.Number("PinsetMask", wire->PinsetMask);
            json.String("Port", wire->Port);
            json.Number("PortMask", wire->PortMask);
            json.Bool("IsConnected", wire->IsConnected);
            json.Number("Type", wire->Type);
            json.Number("Direction", wire->Direction);
            json.EndObject();
        }
        json.EndArray();
        WriteParameters(json, peripheral->Parameters);
        json.EndObject();
    }
    json.EndArray();

    json.BeginArray("Views");
    for (const auto& [key, view] : appliance.Views()) {
        json.BeginObject();
        json.String("key", key);
        json.String("Name", view->Name);
        json.BeginArray("DisplaySpecs");
        for (const auto& [displayKey, display] : view->DisplaySpecs) {
            json.BeginObject();
            json.String("key", displayKey);
            json.String("Peripheral", display->Peripheral ? display->Peripheral->Name : "");
            WriteParameters(json, display->Parameters);
            json.EndObject();
        }
        json.EndArray();
        json.EndObject();
    }
    json.EndArray();

    json.BeginArray("Desktops");
    for (const auto& [key, desktop] : appliance.Desktops()) {
        json.BeginObject();
        json.String("key", key);
        json.String("Name", desktop->Name);
        json.Real("Width", desktop->Width);
        json.Real("Height", desktop->Height);
        json.BeginArray("Windows");
        for (const auto& [windowKey, window] : desktop->Windows) {
            json.BeginObject();
            json.String("key", windowKey);
            json.String("Name", window->Name);
            json.String("Left", window->Left);
            json.String("Top", window->Top);
            json.String("Width", window->Width);
            json.String("Height", window->Height);
            json.String("Parameters", window->Parameters);
            json.EndObject();
        }
        json.EndArray();
        json.EndObject();
    }
    json.EndArray();

    json.BeginArray("BuildAssociations");
    for (const auto& [key, association] : appliance.BuildAssociations()) {
        json.BeginObject();
        json.String("key", key);
        json.String("From", association->From);
        json.String("With", association->With);
        json.String("To", association->To);
        json.EndObject();
    }
    json.EndArray();
    json.BeginObject("RunTarget");
    json.String("Output", appliance.RunTarget()->OutputPath);
    json.String("Make", appliance.RunTarget()->Make);
    WriteTargetNames(json, "Sources", appliance.RunTarget()->Sources.get());
    json.EndObject();
    json.BeginArray("BuildTargets");
    for (const auto& [key, target] : appliance.BuildTargets()) {
        json.BeginObject();
        json.String("key", key);
        json.String("Output", target->OutputPath);
        json.String("Make", target->Make);
        WriteTargetNames(json, "Sources", target->Sources.get());
        json.EndObject();
    }
    json.EndArray();
    json.BeginArray("LoadImages");
    for (const auto& [key, image] : appliance.LoadImages()) {
        json.BeginObject();
        json.String("key", key);
        json.String("Content", image->Content ? image->Content->OutputPath : std::string());
        json.Number("Bank", image->Bank);
        json.Number("Start", image->Start);
        json.Number("Size", image->Size);
        json.Number("Offset", image->Offset);
        json.EndObject();
    }
    json.EndArray();
    json.Number("NextBank", appliance.NextBank);
    json.Number("NextAddress", appliance.NextAddress);
    json.BeginArray("ObjMaps");
    for (const auto& [key, map] : appliance.ObjMaps()) {
        json.BeginObject();
        json.String("key", key);
        json.String("Segment", map->Segment);
        json.Number("Start", map->Start);
        json.Number("Size", map->Size);
        json.EndObject();
    }
    json.EndArray();

    json.Bool("ExtEditorInUse", appliance.ExtEditorInUse);
    json.String("ExtEditor", appliance.ExtEditor);
    json.Bool("ExtBuilderInUse", appliance.ExtBuilderInUse);
    json.String("ExtBuilder", appliance.ExtBuilder);
    json.Bool("ExtDebuggerInUse", appliance.ExtDebuggerInUse);
    json.String("ExtDebugger", appliance.ExtDebugger);

    // Watches at top level, each with its children; a child is listed under its parent and,
    // since it is a member of the top level as well, there too.
    json.BeginArray("Watches");
    for (const auto& [key, watch] : appliance.Watches())
        WriteWatch(json, key, *watch);
    json.EndArray();
    json.BeginArray("Breakpoints");
    for (const auto& [key, breakpoint] : appliance.Breakpoints()) {
        json.BeginObject();
        json.Number("Bank", breakpoint->Bank);
        json.Number("Start", breakpoint->Start);
        json.Number("Length", breakpoint->Length);
        json.Number("Flags", breakpoint->Flags);
        json.EndObject();
    }
    json.EndArray();

    json.String("Folder", appliance.Folder);
    json.Number("RateMultiplier", appliance.RateMultiplier);
    json.Number("RateDivider", appliance.RateDivider);
    json.Number("Reserved", appliance.Reserved);
    json.String("ToolsPath", appliance.ToolsPath());
    json.Bool("Dirty", appliance.IsDirty());
    json.Bool("LoadResult", loadResult);
    json.EndObject();
    return text.str();
}

int RunAppliance(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    Parsed parsed = Parse(args, {"--settings"}, {"--yes"});
    if (!ExpectCommandAndFile(parsed, "appliance", {"show", "resave"}, "FILE.apl", err)) {
        PrintApplianceUsage(err);
        return 2;
    }
    const std::vector<std::string>& words = parsed.words;
    const std::string& command = words[0];
    const std::string prefix = "tessarine-cli appliance " + command + ": ";
    // The appliance's folder is where it is saved to: keep it absolute, whatever the current
    // directory is when the save changes into it.
    const std::string path = platform::AbsolutePath(platform::FromNativePath(words[1]));

    StreamPrompter prompter(err, parsed.flags["--yes"]);
    GlobalSettings settings(prompter);
    std::string settingsPath;
    if (!LoadSettings(settings, parsed, settingsPath, prefix, err))
        return 1;

    Appliance appliance;
    appliance.Settings = &settings;
    bool loaded = false;
    try {
        if (!platform::FileExists(path)) {
            err << prefix << "no such file: " << Shown(path) << "\n";
            return 1;
        }
        loaded = appliance.Load(path);
    } catch (const BxError& error) {
        err << prefix << Shown(path) << " is no appliance file: " << error.Description << "\n";
        return 1;
    }
    if (!loaded) {
        err << prefix << "can't read " << Shown(path) << " (not well-formed XML)\n";
        return 1;
    }

    if (command == "show") {
        out << ApplianceToJson(appliance, loaded);
        return 0;
    }
    try {
        appliance.Save(true);
    } catch (const BxError& error) {
        err << prefix << error.Description << "\n";
        return 1;
    }
    out << "wrote " << Shown(appliance.Folder + appliance.Title + ".apl") << "\n";
    return 0;
}

} // namespace bx::cli
