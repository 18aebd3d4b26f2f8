#include "cli/SettingsCommands.h"

#include "cli/CommandLine.h"
#include "cli/JsonWriter.h"
#include "cli/StreamPrompter.h"
#include "foundation/Error.h"
#include "foundation/Json.h"
#include "platform/Paths.h"
#include "settings/GlobalSettings.h"

#include <ostream>
#include <sstream>

namespace bx::cli {

namespace {

void PrintSettingsUsage(std::ostream& out) {
    out << "usage: tessarine-cli settings show FILE.gss [--yes]\n"
           "       tessarine-cli settings resave FILE.gss [--yes]\n";
}

// A date: its ISO text, or null for the zero stamp.
void WriteDate(JsonWriter& json, const char* name, const DateStamp& stamp) {
    if (stamp.IsSet())
        json.String(name, stamp.ToIsoText());
    else
        json.Null(name);
}

void WriteBody(JsonWriter& json, const std::string& key, const MCUBody& body) {
    json.BeginObject();
    json.String("key", key);
    json.String("Model", body.Model);
    json.String("TemplateDir", body.TemplateDir);
    json.String("TemplateFile", body.TemplateFile);
    json.String("Family", body.Family);
    json.String("SourceFile", body.SourceFile);
    json.String("KeywordFile", body.KeywordFile);
    json.Number("IceEmuNo", body.IceEmuNo);
    json.String("HasWDT", body.HasWDT);
    json.BeginArray("Clockrates");
    for (const auto& entry : body.Clockrates) {
        json.BeginObject();
        json.String("key", entry.key);
        json.String("Clockrate", entry.item->Clockrate);
        json.String("Rateparam", entry.item->Rateparam);
        json.Bool("Dual", entry.item->Dual);
        json.EndObject();
    }
    json.EndArray();
    json.BeginArray("Options");
    for (const auto& entry : body.Options) {
        json.BeginObject();
        json.String("key", entry.key);
        json.String("Name", entry.item->Name);
        json.String("DisableName", entry.item->DisableName);
        json.String("EnableName", entry.item->EnableName);
        json.Number("Map", entry.item->Map);
        json.EndObject();
    }
    json.EndArray();
    json.Number("BootVect", body.BootVect);
    json.Number("ProgramStart", body.ProgramStart);
    json.Number("OptionsDef", body.OptionsDef);
    json.Number("BankMode", body.BankMode);
    json.Number("BankCount", body.BankCount);
    json.EndObject();
}

// Where the file is, for a person: the operating system's form.
} // namespace

std::string SettingsToJson(const GlobalSettings& settings, bool loadResult) {
    std::ostringstream text;
    JsonWriter json(text);
    json.BeginObject();
    json.String("Version", settings.Version);
    json.String("NewestVersion", settings.NewestVersion());
    if (settings.Bodies) {
        json.BeginArray("Bodies");
        for (const auto& entry : *settings.Bodies)
            WriteBody(json, entry.key, *entry.item);
        json.EndArray();
    } else {
        json.Null("Bodies");
    }
    // Each family with the keys of its list; the bodies themselves are shown once, above.
    json.BeginArray("BodiesByFamily");
    for (const auto& family : settings.BodiesByFamily) {
        json.BeginObject();
        json.String("key", family.key);
        json.BeginArray("Models");
        for (const auto& body : *family.item)
            json.String(nullptr, body.key);
        json.EndArray();
        json.EndObject();
    }
    json.EndArray();
    json.BeginArray("Families");
    for (const std::string& family : settings.Families)
        json.String(nullptr, family);
    json.EndArray();
    json.String("ExtEditorCommand", settings.ExtEditorCommand);
    json.Bool("ExtEditorInUse", settings.ExtEditorInUse);
    json.String("ExtBuilderCommand", settings.ExtBuilderCommand);
    json.Bool("ExtBuilderInUse", settings.ExtBuilderInUse);
    json.String("ExtDebuggerDriver", settings.ExtDebuggerDriver);
    json.Bool("ExtDebuggerInUse", settings.ExtDebuggerInUse);
    WriteDate(json, "TemplatesModifiedDate", settings.TemplatesModifiedDate);
    WriteDate(json, "PlugInsModifiedDate", settings.PlugInsModifiedDate);
    json.BeginArray("RecentAppliances");
    for (const std::string& path : settings.RecentAppliances)
        json.String(nullptr, path);
    json.EndArray();
    json.Bool("Dirty", settings.IsDirty());
    json.Bool("LoadResult", loadResult);
    json.EndObject();
    return text.str();
}

int RunSettings(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    Parsed parsed = Parse(args, {}, {"--yes"});
    if (!ExpectCommandAndFile(parsed, "settings", {"show", "resave"}, "FILE.gss", err)) {
        PrintSettingsUsage(err);
        return 2;
    }
    const std::vector<std::string>& words = parsed.words;
    const std::string& command = words[0];
    const std::string path = platform::FromNativePath(words[1]);

    StreamPrompter prompter(err, parsed.flags["--yes"]);
    GlobalSettings settings(prompter);
    bool loaded = settings.Load(path);
    if (!loaded) {
        err << "tessarine-cli settings " << command << ": can't load " << Shown(path);
        if (!settings.LoadErrorText().empty())
            err << ": " << settings.LoadErrorText();
        err << "\n";
        return 1;
    }

    if (command == "show") {
        out << SettingsToJson(settings, loaded);
        return 0;
    }

    // A refused version leaves no body table; writing now would replace the user's file with
    // an empty one, so the command line keeps the file as it is.
    if (!settings.Bodies) {
        err << "tessarine-cli settings resave: " << Shown(path)
            << " was not rewritten: its version is not supported\n";
        return 1;
    }
    try {
        settings.SaveTo(path);
    } catch (const BxError& error) {
        err << "tessarine-cli settings resave: " << error.Description << "\n";
        return 1;
    }
    out << "rewrote " << Shown(path) << "\n";
    return 0;
}

} // namespace bx::cli
