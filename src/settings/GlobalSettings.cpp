#include "settings/GlobalSettings.h"

#include "foundation/Common.h"
#include "foundation/Error.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "platform/Xml.h"

#include <limits>
#include <new>
#include <optional>

namespace bx {

using platform::XmlDocument;
using platform::XmlNode;

namespace {

constexpr const char* kSource = "GlobalSettings";
constexpr const char* kBankModeHigh = "$C000-$FFFF";
constexpr const char* kBankModeLow = "$4000-$7FFF";

// ---- Reading, statement by statement -----------------------------------------------------
//
// Each helper performs one read and changes its target only when the read can be made. A
// missing attribute, or a value that doesn't fit the field, leaves the target as it was, so the
// default a field received first is what remains.

void ReadText(const XmlNode& node, const char* name, std::string& target) {
    if (std::optional<std::string> value = node.Attribute(name))
        target = *value;
}

// "The number text": whatever ParseNumber gives. A text that is no number at all gives
// ParseNumber's 0 (the number reader doesn't fail, it answers 0); only a missing attribute
// keeps the default.
void ReadNumber(const XmlNode& node, const char* name, int32_t& target) {
    std::optional<std::string> value = node.Attribute(name);
    if (!value)
        return;
    int32_t bank = 0;
    bool failed = false;
    target = ParseNumber(*value, bank, failed);
}

// The same into a 16-bit field: a value outside the 16-bit range doesn't fit and is skipped.
void ReadNumber16(const XmlNode& node, const char* name, int16_t& target) {
    int32_t wide = target;
    ReadNumber(node, name, wide);
    if (wide >= std::numeric_limits<int16_t>::min() && wide <= std::numeric_limits<int16_t>::max())
        target = static_cast<int16_t>(wide);
}

// A plain decimal number (sign, digits, decimal point, exponent, rounded half to even), as the
// file writes IceEmuNo. The "$" and "%" forms are not decimal; they, any other non-number and a
// value outside 16 bits are skipped.
void ReadDecimal16(const XmlNode& node, const char* name, int16_t& target) {
    std::optional<std::string> value = node.Attribute(name);
    if (!value || value->empty() || value->front() == '$' || value->front() == '%')
        return;
    int32_t bank = 0;
    bool failed = false;
    int32_t number = ParseNumber(*value, bank, failed);
    if (failed || number < std::numeric_limits<int16_t>::min() ||
        number > std::numeric_limits<int16_t>::max())
        return;
    target = static_cast<int16_t>(number);
}

// Text to boolean: "True" and "False" in any case, or a number (non-zero is true). Any other
// text can't be converted and is skipped.
void ReadBool(const XmlNode& node, const char* name, bool& target) {
    if (std::optional<std::string> value = node.Attribute(name))
        if (std::optional<bool> flag = TextToBool(*value))
            target = *flag;
}

// An empty attribute, or one that isn't a date in the file's form, leaves the stamp as it was.
void ReadDate(const XmlNode& node, const char* name, DateStamp& target) {
    std::optional<std::string> value = node.Attribute(name);
    if (!value || value->empty())
        return;
    if (std::optional<DateStamp> stamp = DateStamp::FromIsoText(*value))
        target = *stamp;
}

const char* BoolText(bool value) {
    return value ? "True" : "False";
}

// ---- Writing -------------------------------------------------------------------------------

void WriteBody(XmlNode& mcu, const MCUBody& body) {
    XmlNode element = mcu.AppendElement("Body");
    element.SetAttribute("Model", body.Model);
    element.SetAttribute("TemplateDir", body.TemplateDir);
    element.SetAttribute("TemplateFile", body.TemplateFile);
    element.SetAttribute("IceEmuNo", std::to_string(body.IceEmuNo));
    element.SetAttribute("HasWDT", body.HasWDT);
    // Zero means "not given": the writer puts the file's defaults in its place.
    element.SetAttribute("BootVect", body.BootVect == 0 ? "$FFFC" : "$" + Hex4(body.BootVect));
    element.SetAttribute("ProgramStart",
                         body.ProgramStart == 0 ? "$4000" : "$" + Hex4(body.ProgramStart));
    element.SetAttribute("OptionsDef", body.OptionsDef == 0 ? "$00" : "$" + Hex2(body.OptionsDef));
    element.SetAttribute("BankMode", body.BankMode == 1 ? kBankModeHigh : kBankModeLow);
    element.SetAttribute("BankCount", std::to_string(body.BankCount));
    for (const auto& entry : body.Clockrates) {
        XmlNode clock = element.AppendElement("OPClock");
        clock.SetAttribute("Rate", entry.item->Clockrate);
        clock.SetAttribute("RateParam", entry.item->Rateparam);
        clock.SetAttribute("Dual", BoolText(entry.item->Dual));
    }
    for (const auto& entry : body.Options) {
        XmlNode option = element.AppendElement("Options");
        option.SetAttribute("Name", entry.item->Name);
        option.SetAttribute("DisableName", entry.item->DisableName);
        option.SetAttribute("EnableName", entry.item->EnableName);
        option.SetAttribute("Map", std::to_string(entry.item->Map));
    }
}

void WriteDocument(const XmlDocument& doc, const std::string& path) {
    std::string whyNot;
    if (!doc.SaveFile(path, &whyNot))
        throw BxError(errors::kFileAccess, kSource,
                      "Can't write the global template file '" + platform::ToNativePath(path) +
                          "': " + whyNot);
}

} // namespace

// ---- MCUBodies -----------------------------------------------------------------------------

std::shared_ptr<MCUBody> MCUBodies::AddItem(std::shared_ptr<MCUBody> body) {
    if (!body)
        return nullptr;
    const std::string key = body->Model;
    return TryAdd(key, body) ? body : nullptr;
}

std::shared_ptr<MCUBody> MCUBodies::ItemIndex(int oneBased) const {
    if (oneBased < 1 || static_cast<std::size_t>(oneBased) > Count())
        return nullptr;
    return At(static_cast<std::size_t>(oneBased - 1)).item;
}

// ---- GlobalSettings ------------------------------------------------------------------------

GlobalSettings::GlobalSettings(Prompter& prompter) : prompter_(prompter) {}

bool GlobalSettings::Load(const std::string& path) {
    try {
        XmlDocument doc;
        if (!doc.LoadFile(path)) {
            loadError_ = doc.ErrorText();
            return false;
        }
        loadError_.clear();
        if (Read(doc)) {
            dirty_ = false;
            return true;
        }
        return false;
    } catch (const BxError& error) {
        prompter_.ask("Error",
                      "Failed to load the global template file. " + std::to_string(error.Number) +
                          "/" + error.Description,
                      Buttons::Ok, Icon::Exclamation);
    } catch (const std::bad_alloc&) {
        prompter_.ask("Error", "Failed to load the global template file. 7/Out of memory",
                      Buttons::Ok, Icon::Exclamation);
    } catch (const std::exception& error) {
        // Anything else that escapes is reported as the general "invalid call" error.
        prompter_.ask("Error",
                      std::string("Failed to load the global template file. 5/") + error.what(),
                      Buttons::Ok, Icon::Exclamation);
    }
    return false;
}

bool GlobalSettings::LoadXml(const std::string& text) {
    XmlDocument doc;
    bool parsed = doc.LoadText(text);
    loadError_ = parsed ? std::string() : doc.ErrorText();
    bool result = parsed && Read(doc);
    dirty_ = true;
    return result;
}

bool GlobalSettings::Read(const XmlDocument& doc) {
    XmlNode root = doc.SelectSingleNode("GlobalSettings");
    ReadText(root, "Version", Version);
    if (Version != kSupportedVersion) {
        prompter_.ask("Caution", "The version of the global setting file is not supported",
                      Buttons::Ok, Icon::None);
        return true;
    }

    Bodies = std::make_shared<MCUBodies>();
    BodiesByFamily.Clear();
    Families.clear();

    for (const XmlNode& mcu : doc.SelectNodes("GlobalSettings/MCU")) {
        for (const XmlNode& element : mcu.Children()) {
            if (element.Name() != "Body")
                continue;
            auto body = std::make_shared<MCUBody>();
            ReadText(mcu, "Family", body->Family);
            ReadText(element, "Model", body->Model);
            ReadText(element, "TemplateDir", body->TemplateDir);
            if (body->TemplateDir.empty() || body->TemplateDir.back() != '\\')
                body->TemplateDir += '\\';
            ReadText(element, "TemplateFile", body->TemplateFile);
            ReadText(element, "SourceFile", body->SourceFile);
            ReadText(element, "KeywordFile", body->KeywordFile);
            ReadDecimal16(element, "IceEmuNo", body->IceEmuNo);
            ReadText(element, "HasWDT", body->HasWDT);

            body->BootVect = 0xFFFC;
            ReadNumber(element, "BootVect", body->BootVect);
            body->ProgramStart = 0x4000;
            ReadNumber(element, "ProgramStart", body->ProgramStart);
            body->OptionsDef = 0;
            ReadNumber16(element, "OptionsDef", body->OptionsDef);

            std::string bankMode = kBankModeLow;
            ReadText(element, "BankMode", bankMode);
            body->BankMode = bankMode == kBankModeHigh ? 1 : 0;
            body->BankCount = 14;
            ReadNumber(element, "BankCount", body->BankCount);

            body->Clockrates.Clear();
            for (const XmlNode& child : element.Children()) {
                if (child.Name() != "OPClock")
                    continue;
                auto clock = std::make_shared<ClockInfo>();
                ReadText(child, "Rate", clock->Clockrate);
                ReadText(child, "RateParam", clock->Rateparam);
                ReadBool(child, "Dual", clock->Dual);
                const std::string key = clock->Clockrate;
                body->Clockrates.TryAdd(key, clock); // a second clock of the same rate is skipped
            }

            body->Options.Clear();
            for (const XmlNode& child : element.Children()) {
                if (child.Name() != "Options")
                    continue;
                auto option = std::make_shared<OptionsInfo>();
                ReadText(child, "Name", option->Name);
                ReadText(child, "DisableName", option->DisableName);
                ReadText(child, "EnableName", option->EnableName);
                ReadNumber(child, "Map", option->Map);
                const std::string key = option->Name;
                body->Options.TryAdd(key, option); // a second option of the same name is skipped
            }

            Bodies->AddItem(body); // a second body of the same Model is skipped
        }

        // An MCU element without a Family can't name its list: both statements are skipped.
        if (std::optional<std::string> family = mcu.Attribute("Family")) {
            Families.push_back(*family);
            BodiesByFamily.TryAdd(*family, Bodies); // a repeated family keeps its one entry
        }
    }

    XmlNode editor = doc.SelectSingleNode("GlobalSettings/External/ExtEditor");
    ReadText(editor, "Command", ExtEditorCommand);
    ReadBool(editor, "InUse", ExtEditorInUse);
    XmlNode builder = doc.SelectSingleNode("GlobalSettings/External/ExtBuilder");
    ReadText(builder, "Command", ExtBuilderCommand);
    ReadBool(builder, "InUse", ExtBuilderInUse);
    XmlNode debugger = doc.SelectSingleNode("GlobalSettings/External/ExtDebugger");
    ReadText(debugger, "Driver", ExtDebuggerDriver);
    ReadBool(debugger, "InUse", ExtDebuggerInUse);

    RecentAppliances.clear();
    for (const XmlNode& ra : doc.SelectNodes("GlobalSettings/RecentAppliance/RA")) {
        std::optional<std::string> path = ra.Attribute("ApplPath");
        if (path && !path->empty())
            RecentAppliances.push_back(*path);
    }

    XmlNode cabfile = doc.SelectSingleNode("GlobalSettings/Cabfile");
    ReadDate(cabfile, "Templates_ModifiedDate", TemplatesModifiedDate);
    ReadDate(cabfile, "PlugIns_ModifiedDate", PlugInsModifiedDate);
    return true;
}

void GlobalSettings::BuildDocument(XmlDocument& doc) const {
    XmlNode root = doc.AppendElement("GlobalSettings");
    root.SetAttribute("Version", Version);
    for (const std::string& family : Families) {
        XmlNode mcu = root.AppendElement("MCU");
        mcu.SetAttribute("Family", family);
        // Every family name maps to the one shared list, so each MCU element gets every body.
        // A name that has no list (only possible when the fields were changed by hand) gives
        // an MCU element without bodies rather than losing the rest of the file.
        if (std::shared_ptr<MCUBodies> bodies = BodiesByFamily.Item(family))
            for (const auto& entry : *bodies)
                WriteBody(mcu, *entry.item);
    }

    XmlNode external = root.AppendElement("External");
    XmlNode editor = external.AppendElement("ExtEditor");
    editor.SetAttribute("Command", ExtEditorCommand);
    editor.SetAttribute("InUse", BoolText(ExtEditorInUse));
    XmlNode builder = external.AppendElement("ExtBuilder");
    builder.SetAttribute("Command", ExtBuilderCommand);
    builder.SetAttribute("InUse", BoolText(ExtBuilderInUse));
    XmlNode debugger = external.AppendElement("ExtDebugger");
    debugger.SetAttribute("Driver", ExtDebuggerDriver);
    debugger.SetAttribute("InUse", BoolText(ExtDebuggerInUse));

    XmlNode recent = root.AppendElement("RecentAppliance");
    for (const std::string& path : RecentAppliances)
        recent.AppendElement("RA").SetAttribute("ApplPath", path);

    XmlNode cabfile = root.AppendElement("Cabfile");
    cabfile.SetAttribute("Templates_ModifiedDate", TemplatesModifiedDate.ToIsoText());
    cabfile.SetAttribute("PlugIns_ModifiedDate", PlugInsModifiedDate.ToIsoText());
}

std::string GlobalSettings::ToXml() const {
    XmlDocument doc;
    BuildDocument(doc);
    return doc.ToText();
}

void GlobalSettings::Save(bool force) {
    if (force || dirty_) {
        XmlDocument doc;
        BuildDocument(doc);
        platform::ScopedCurrentDirectory restore;
        ChangeDirAndDrive(platform::ProgramFolder());
        WriteDocument(doc, kFileName);
    }
    dirty_ = false;
}

void GlobalSettings::SaveTo(const std::string& path) {
    XmlDocument doc;
    BuildDocument(doc);
    WriteDocument(doc, path);
    dirty_ = false;
}

std::string GlobalSettings::NewestVersion() const {
    return Version == "00.00.001" ? "True" : "False";
}

const MCUBody* GlobalSettings::FindBody(const std::string& family, const std::string& model) const {
    std::shared_ptr<MCUBodies> bodies = BodiesByFamily.Item(family);
    if (!bodies)
        return nullptr;
    return bodies->Item(model).get();
}

} // namespace bx
