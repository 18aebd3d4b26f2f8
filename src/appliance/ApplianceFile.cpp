// The appliance file: the writer that fills a fresh XML document from the model, and the
// reader that turns a document back into the model, migrating the one older form still
// accepted. Element and attribute order are fixed; every value is an attribute text.

#include "appliance/Appliance.h"
#include "foundation/Common.h"
#include "foundation/Error.h"
#include "platform/Xml.h"
#include "settings/GlobalSettings.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <optional>

namespace bx {

using platform::XmlDocument;
using platform::XmlNode;

namespace {

constexpr const char* kOldestAcceptedVersion = "v 00.01.008";

// ---- Value forms of the writer -----------------------------------------------------------

std::string DollarWord(int32_t value) {
    return "$" + Hex4(value);
}
std::string DollarByte(int32_t value) {
    return "$" + Hex2(value);
}
std::string BooleanText(bool value) {
    return value ? "True" : "False";
}

// The shortest decimal text that reads back as the same single-precision value.
std::string RealText(float value) {
    char buffer[32];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

// The only two ways the writer sets an attribute.
void SetAttribute(XmlNode& element, const std::string& name, const std::string& value) {
    element.SetAttribute(name, value);
}
void SetAttributeIfNotEmpty(XmlNode& element, const std::string& name, const std::string& value) {
    if (!value.empty())
        element.SetAttribute(name, value);
}

// The letters of a breakpoint's kinds, always in the order read, write, execute.
std::string BreakpointTypeText(int32_t flags) {
    std::string type;
    if (flags & break_kind::kRead)
        type += "R";
    if (flags & break_kind::kWrite)
        type += "W";
    if (flags & break_kind::kExecute)
        type += "X";
    return type;
}

// ---- Reading helpers ---------------------------------------------------------------------
// A missing element or attribute skips only the statement that needed it: the target keeps
// the value it had, which is how defaults and the loop variables that carry over between
// passes come about.

bool Read(const XmlNode& node, const char* name, std::string& target) {
    if (auto value = node.Attribute(name)) {
        target = *value;
        return true;
    }
    return false;
}

// A single-precision number from its whole text, or nothing.
std::optional<float> TextToSingle(const std::string& text) {
    if (text.empty())
        return std::nullopt;
    char* end = nullptr;
    float value = std::strtof(text.c_str(), &end);
    if (end != text.c_str() + text.size() || !std::isfinite(value))
        return std::nullopt;
    return value;
}

int32_t ParseNumberText(const std::string& text) {
    int32_t bank = 0;
    bool failed = false;
    return ParseNumber(text, bank, failed);
}

} // namespace

// ==== Writer ==============================================================================

void Appliance::WriteDocument(XmlDocument& document) {
    XmlNode root = document.AppendElement("Appliance");
    SetAttribute(root, "Title", Title);
    SetAttribute(root, "Version", kFileVersion);

    // Architecture, with the body's option attributes between OPClock and BankStart.
    XmlNode architecture = root.AppendElement("Architecture");
    SetAttribute(architecture, "Model", Model);
    SetAttribute(architecture, "ModelParam", ModelParam);
    SetAttribute(architecture, "Family", Family);
    SetAttribute(architecture, "OPClock", OPClock);
    const MCUBody* body = Settings ? Settings->FindBody(Family, Model) : nullptr;
    if (body == nullptr)
        throw BxError(91, "Appliance Object",
                      "The MCU body \"" + Model + "\" of the family \"" + Family +
                          "\" is not known to the global settings.");
    int optionIndex = 0;
    for (const auto& entry : body->Options) {
        if (++optionIndex > 8)
            break;
        const OptionsInfo& option = *entry.item;
        SetAttribute(architecture, option.Name,
                     OptionAt(optionIndex) ? option.EnableName : option.DisableName);
    }
    SetAttribute(architecture, "BankStart", DollarWord(BankStart));
    SetAttribute(architecture, "BankSize", DollarWord(BankSize));
    SetAttribute(architecture, "BankCount", std::to_string(BankCount));
    SetAttribute(architecture, "BootVect", DollarWord(BootVect));
    SetAttribute(architecture, "ProgramStart", DollarWord(ProgramStart));
    SetAttribute(architecture, "OptionsDef", DollarByte(OptionsDef));
    for (const auto& [name, peripheral] : Peripherals()) {
        XmlNode element = architecture.AppendElement("Peripheral");
        SetAttribute(element, "Name", peripheral->Name);
        SetAttribute(element, "Type", peripheral->Type);
        for (const auto& [key, wire] : peripheral->Wires) {
            XmlNode wiring = element.AppendElement("Wiring");
            const bool digital = wire->Type != 1;
            SetAttribute(wiring, "Type", digital ? "Digital" : "Analog");
            SetAttribute(wiring, "Direction", wire->Direction != 0 ? "Out" : "In");
            SetAttribute(wiring, "Port", wire->Port);
            SetAttribute(wiring, "Pinset", wire->Pinset);
            if (digital) {
                SetAttribute(wiring, "PortMask", Hex8(wire->PortMask));
                SetAttribute(wiring, "PinsetMask", Hex8(wire->PinsetMask));
            }
            SetAttribute(wiring, "IsConnected", BooleanText(wire->IsConnected));
        }
        for (const auto& [key, parameter] : peripheral->Parameters) {
            XmlNode parameterElement = element.AppendElement("Parameter");
            SetAttribute(parameterElement, "Name", parameter->Name);
            SetAttribute(parameterElement, "Value", parameter->Value);
        }
    }

    XmlNode design = root.AppendElement("Design");
    for (const auto& [name, view] : Views()) {
        XmlNode viewElement = design.AppendElement("View");
        SetAttribute(viewElement, "Name", view->Name);
        for (const auto& [key, display] : view->DisplaySpecs) {
            XmlNode displayElement = viewElement.AppendElement("Display");
            SetAttribute(displayElement, "Device",
                         display->Peripheral ? display->Peripheral->Name : std::string());
            for (const auto& [parameterKey, parameter] : display->Parameters) {
                XmlNode parameterElement = displayElement.AppendElement("Parameter");
                SetAttribute(parameterElement, "Name", parameter->Name);
                SetAttribute(parameterElement, "Value", parameter->Value);
            }
        }
    }

    // Every set records the frame's present size; the windows of the desktop shown now take
    // the live child windows' places, so a save keeps the layout the user sees.
    XmlNode desktopElement = root.AppendElement("Desktop");
    const std::string currentDesktop = Frame ? Frame->CurrentDesktop() : std::string();
    for (const auto& [name, desktop] : Desktops()) {
        XmlNode set = desktopElement.AppendElement("Set");
        SetAttribute(set, "Name", desktop->Name);
        float width = desktop->Width;
        float height = desktop->Height;
        if (Frame) {
            FrameGeometry::Rect frame = Frame->FrameSize();
            width = frame.Width;
            height = frame.Height;
        }
        SetAttribute(set, "Width", RealText(width));
        SetAttribute(set, "Height", RealText(height));
        for (const auto& [windowName, window] : desktop->Windows) {
            FrameGeometry::Rect live;
            if (Frame && desktop->Name == currentDesktop &&
                Frame->ChildWindow(window->Name, live)) {
                window->Left = RealText(live.Left);
                window->Top = RealText(live.Top);
                window->Width = RealText(live.Width);
                window->Height = RealText(live.Height);
            }
            XmlNode windowElement = set.AppendElement("Window");
            SetAttribute(windowElement, "Name", window->Name);
            SetAttribute(windowElement, "Left", window->Left);
            SetAttribute(windowElement, "Top", window->Top);
            SetAttribute(windowElement, "Width", window->Width);
            SetAttribute(windowElement, "Height", window->Height);
            SetAttribute(windowElement, "Parameters", window->Parameters);
        }
    }

    XmlNode code = root.AppendElement("Code");
    XmlNode common = code.AppendElement("Common");
    for (const auto& [from, association] : BuildAssociations()) {
        XmlNode assoc = common.AppendElement("Assoc");
        SetAttribute(assoc, "From", association->From);
        SetAttribute(assoc, "To", association->To);
        SetAttribute(assoc, "With", association->With);
    }
    XmlNode extEditor = common.AppendElement("ExtEditor");
    SetAttribute(extEditor, "Command", ExtEditor);
    SetAttribute(extEditor, "InUse", BooleanText(ExtEditorInUse));
    XmlNode extBuilder = common.AppendElement("ExtBuilder");
    SetAttribute(extBuilder, "Command", ExtBuilder);
    SetAttribute(extBuilder, "InUse", BooleanText(ExtBuilderInUse));

    XmlNode build = code.AppendElement("Build");
    XmlNode run = build.AppendElement("Run");
    SetAttribute(run, "Make", RunTarget()->Make);
    SetAttribute(run, "Output", RunTarget()->OutputPath);
    for (const auto& [output, target] : BuildTargets()) {
        if (target->Make.empty())
            continue; // plain inputs stand only as the sources of the steps that use them
        XmlNode step = build.AppendElement("Step");
        SetAttribute(step, "Make", target->Make);
        SetAttribute(step, "Output", target->OutputPath);
        if (target->Sources)
            for (const auto& [sourceKey, source] : *target->Sources)
                step.AppendElement("Source").SetText(source->OutputPath);
    }
    for (const auto& [key, image] : LoadImages()) {
        XmlNode load = build.AppendElement("Load");
        SetAttribute(load, "Image", image->Content ? image->Content->OutputPath : std::string());
        SetAttribute(load, "Offset", Hex(image->Offset));
        SetAttribute(load, "Bank", Hex(image->Bank));
        SetAttribute(load, "Start", Hex(image->Start));
        SetAttribute(load, "Size", Hex(image->Size));
    }
    for (const auto& [segment, map] : ObjMaps()) {
        XmlNode mapElement = build.AppendElement("Map");
        SetAttribute(mapElement, "Segment", map->Segment);
        SetAttribute(mapElement, "Start", Hex4(map->Start));
        SetAttribute(mapElement, "Size", Hex4(map->Size));
    }

    XmlNode debugging = root.AppendElement("Debugging");
    XmlNode extDebugger = debugging.AppendElement("ExtDebugger");
    SetAttribute(extDebugger, "Driver", ExtDebugger);
    SetAttribute(extDebugger, "InUse", BooleanText(ExtDebuggerInUse));

    // A watch stands once in the file although it is held at top level and in its parent's
    // children: the Saved mark, cleared on the top-level members only, stops the second write.
    for (const auto& [key, watch] : Watches())
        watch->Saved = false;
    for (const auto& [key, watch] : Watches())
        WriteWatch(debugging, *watch, nullptr);

    for (const auto& [key, breakpoint] : Breakpoints()) {
        XmlNode element = debugging.AppendElement("Breakpoint");
        SetAttribute(element, "Bank", DollarByte(breakpoint->Bank));
        SetAttribute(element, "Start", DollarWord(breakpoint->Start));
        SetAttribute(element, "Length", DollarWord(breakpoint->Length));
        SetAttribute(element, "Type", BreakpointTypeText(breakpoint->Flags));
    }
}

void Appliance::WriteWatch(XmlNode& debugging, Watch& watch, const Watch* parent) {
    if (watch.Saved)
        return;
    XmlNode element = debugging.AppendElement("Watch");
    SetAttribute(element, "Title", watch.Title);
    SetAttributeIfNotEmpty(element, "Description", watch.Description);
    SetAttributeIfNotEmpty(element, "Location", watch.Location);
    SetAttributeIfNotEmpty(element, "Access", watch.Access());
    SetAttributeIfNotEmpty(element, "Display", watch.Display());
    if (watch.Mask != -1)
        SetAttribute(element, "Mask", Hex(watch.Mask));
    if (watch.Expanded)
        SetAttribute(element, "Expanded", "True");
    SetAttributeIfNotEmpty(element, "Category", watch.Category);
    if (parent) {
        SetAttributeIfNotEmpty(element, "Parent", parent->Title);
        // A group whose title is empty (the register tree's "Registers", the watch list's
        // "UserWatches"), or a parent of another category, can't be found again by title
        // and the child's own category alone: its category goes along.
        if (parent->Title.empty() || parent->Category != watch.Category)
            SetAttributeIfNotEmpty(element, "ParentCategory", parent->Category);
    }
    if (watch.Disabled)
        SetAttribute(element, "Disabled", "True");
    watch.Saved = true;
    if (watch.HasChildren())
        for (const auto& [key, child] : watch.Children())
            WriteWatch(debugging, *child, &watch);
}

std::string Appliance::ToXml() {
    XmlDocument document;
    WriteDocument(document);
    return document.ToText();
}

// ==== Reader ==============================================================================

bool Appliance::Load(const std::string& Path) {
    XmlDocument document;
    if (!document.LoadFile(Path))
        return false;
    ReadDocument(document);
    Folder = DirectoryOf(Path);
    dirty_ = false;
    RateMultiplier = 1;
    RateDivider = 1;
    return true;
}

bool Appliance::LoadXml(const std::string& Xml) {
    XmlDocument document;
    document.LoadText(Xml); // a parse failure leaves an empty document, which the reader refuses
    bool accepted = ReadDocument(document);
    dirty_ = true;
    return accepted;
}

bool Appliance::ReadDocument(const XmlDocument& document) {
    StateChange(11001);
    XmlNode root = document.SelectSingleNode("Appliance");
    auto version = root.Attribute("Version");
    if (!version)
        throw BxError(91, "Appliance Object",
                      root ? "The appliance file has no Version."
                           : "The file is no appliance file.");
    Version = *version;
    // Versions compare as texts, code unit by code unit, as they always have.
    if (Version < kOldestAcceptedVersion)
        return false;
    const bool currentForm = !(Version < kFileVersion);
    StateChange(11002);

    ReleaseBuildGraph();
    peripherals_ = std::make_unique<bx::Peripherals>();
    views_ = std::make_unique<bx::Views>();
    desktops_ = std::make_unique<bx::Desktops>();
    loadImages_ = std::make_unique<bx::LoadImages>();
    buildTargets_ = std::make_unique<bx::BuildTargets>();
    runTarget_ = std::make_shared<BuildTarget>();
    objMaps_ = std::make_unique<bx::ObjMaps>();
    buildAssociations_ = std::make_unique<bx::BuildAssociations>();
    watches_ = std::make_unique<bx::Watches>();
    // Breakpoints stay: reading twice into one object appends to them.
    NextBank = 0;
    NextAddress = BankStart;

    // From here on a fault of the file skips only the statement that met it. The variables
    // below live for the whole reading, as the loops rely on: where a loop doesn't reset one,
    // a pass without the attribute reuses the previous pass's value.
    Read(root, "Title", Title);

    XmlNode architecture = document.SelectSingleNode("Appliance/Architecture");
    Read(architecture, "Model", Model);
    Read(architecture, "ModelParam", ModelParam);
    if (ModelParam.empty()) {
        // Older files named the tools' MCU token only inside the model text.
        std::size_t start = 0;
        while (start <= Model.size()) {
            std::size_t end = Model.find(' ', start);
            if (end == std::string::npos)
                end = Model.size();
            std::string token = Model.substr(start, end - start);
            if (token.find("KTR") != std::string::npos)
                ModelParam = token;
            start = end + 1;
        }
    }
    Read(architecture, "Family", Family);
    Read(architecture, "OPClock", OPClock);
    if (auto wdt = architecture.Attribute("WDT"))
        WDT = *wdt == "Enabled";
    if (auto oscillator = architecture.Attribute("Oscillator"))
        Oscillator = *oscillator == "RC";
    if (const MCUBody* body = Settings ? Settings->FindBody(Family, Model) : nullptr) {
        int index = 0;
        for (const auto& entry : body->Options) {
            if (++index > 8)
                break;
            if (auto text = architecture.Attribute(entry.item->Name))
                SetOptionAt(index, *text == entry.item->EnableName);
        }
    }
    auto numberOr = [&](const char* name, const char* fallback) {
        return ParseNumberText(architecture.AttributeOr(name, fallback));
    };
    BankStart = numberOr("BankStart", "$4000");
    BankSize = numberOr("BankSize", "$4000");
    BankCount = numberOr("BankCount", "14");
    BootVect = numberOr("BootVect", "$FFFC");
    ProgramStart = numberOr("ProgramStart", "$4000");
    // The option word is 16 bits: a wider value is refused and the field keeps its value.
    if (int32_t optionsDef = numberOr("OptionsDef", "$00");
        optionsDef >= INT16_MIN && optionsDef <= INT16_MAX)
        OptionsDef = static_cast<int16_t>(optionsDef);

    std::string name, text, pinset, pinsetMaskText;
    std::shared_ptr<Peripheral> peripheral;
    std::shared_ptr<Parameter> parameter;
    auto readParameters = [&](const XmlNode& owner, bx::Parameters& parameters) {
        for (const XmlNode& element : owner.SelectNodes("Parameter")) {
            Read(element, "Name", name);
            auto added = std::make_shared<Parameter>(Parameter{name, ""});
            if (parameters.TryAdd(name, added))
                parameter = added;
            if (parameter)
                Read(element, "Value", parameter->Value);
        }
    };
    for (const XmlNode& element : document.SelectNodes("Appliance/Architecture/Peripheral")) {
        Read(element, "Name", name);
        auto added = std::make_shared<Peripheral>();
        added->Name = name;
        if (peripherals_->TryAdd(name, added))
            peripheral = added;
        if (!peripheral)
            continue;
        Read(element, "Type", peripheral->Type);
        peripheral->Wires.Clear();
        for (const XmlNode& wiring : element.SelectNodes("Wiring")) {
            Read(wiring, "PinsetMask", pinsetMaskText);
            Read(wiring, "Pinset", pinset);
            auto wire = peripheral->Wires.Add(peripheral, pinset, HexToLong(pinsetMaskText));
            if (!wire)
                continue; // a repeated wire: the statements that would fill it all fail
            Read(wiring, "Port", wire->Port);
            if (auto mask = wiring.Attribute("PortMask"))
                wire->PortMask = HexToLong(*mask);
            wire->Type = wiring.AttributeOr("Type", "") == "Analog" ? 1 : 0;
            wire->Direction = wiring.AttributeOr("Direction", "").substr(0, 2) == "In" ? 0 : 1;
            wire->IsConnected = wiring.AttributeOr("IsConnected", "") != "False";
        }
        readParameters(element, peripheral->Parameters);
    }

    std::shared_ptr<View> view;
    std::shared_ptr<DisplaySpec> display;
    std::string device;
    for (const XmlNode& element : document.SelectNodes("Appliance/Design/View")) {
        Read(element, "Name", name);
        auto added = std::make_shared<View>();
        added->Name = name;
        if (views_->TryAdd(name, added))
            view = added;
        if (!view)
            continue;
        for (const XmlNode& displayElement : element.SelectNodes("Display")) {
            // Every Display starts the view's list afresh, so only the last one stays.
            view->DisplaySpecs.Clear();
            Read(displayElement, "Device", device);
            if (auto shown = peripherals_->Item(device)) {
                auto record = std::make_shared<DisplaySpec>();
                record->Peripheral = shown;
                if (view->DisplaySpecs.TryAdd(shown->Name, record))
                    display = record;
            }
            if (display) {
                display->Parameters.Clear();
                readParameters(displayElement, display->Parameters);
            }
        }
    }

    std::string left, top, width, height, windowParameters;
    std::shared_ptr<Desktop> desktop;
    for (const XmlNode& element : document.SelectNodes("Appliance/Desktop/Set")) {
        auto widthText = element.Attribute("Width");
        auto heightText = element.Attribute("Height");
        Read(element, "Name", name);
        auto added = std::make_shared<Desktop>();
        added->Name = name;
        if (desktops_->TryAdd(name, added))
            desktop = added;
        if (!desktop)
            continue;
        if (auto value = widthText ? TextToSingle(*widthText) : std::nullopt)
            desktop->Width = *value;
        if (auto value = heightText ? TextToSingle(*heightText) : std::nullopt)
            desktop->Height = *value;
        for (const XmlNode& window : element.SelectNodes("Window")) {
            Read(window, "Name", name);
            Read(window, "Left", left);
            Read(window, "Top", top);
            Read(window, "Width", width);
            Read(window, "Height", height);
            Read(window, "Parameters", windowParameters);
            desktop->Windows.TryAdd(name, std::make_shared<Window>(Window{
                                              name, left, top, width, height, windowParameters}));
        }
    }

    for (const XmlNode& element : document.SelectNodes("Appliance/Code/Common/Assoc")) {
        std::string from, with, to;
        Read(element, "From", from);
        Read(element, "With", with);
        Read(element, "To", to);
        buildAssociations_->TryAdd(
            from, std::make_shared<BuildAssociation>(BuildAssociation{from, with, to}));
    }
    auto readExternal = [](const XmlNode& element, const char* commandName, std::string& command,
                           bool& inUse) {
        if (!element) {
            inUse = false;
            return;
        }
        Read(element, commandName, command);
        inUse = element.AttributeOr("InUse", "") == "True";
    };
    readExternal(document.SelectSingleNode("Appliance/Code/Common/ExtEditor"), "Command", ExtEditor,
                 ExtEditorInUse);
    readExternal(document.SelectSingleNode("Appliance/Code/Common/ExtBuilder"), "Command",
                 ExtBuilder, ExtBuilderInUse);

    XmlNode run = document.SelectSingleNode("Appliance/Code/Build/Run");
    Read(run, "Make", runTarget_->Make);
    Read(run, "Output", runTarget_->OutputPath);

    std::string output, make, source;
    for (const XmlNode& step : document.SelectNodes("Appliance/Code/Build/Step")) {
        for (const XmlNode& sourceElement : step.SelectNodes("Source")) {
            Read(step, "Output", output);
            Read(step, "Make", make);
            source = sourceElement.Text();
            try {
                AddBuildStep(output, make, source);
            } catch (const BxError&) {
                // A step that contradicts an earlier one is left out, with its source.
            }
        }
    }

    std::string image;
    int32_t offset = 0, bank = 0, start = 0, size = 0;
    for (const XmlNode& element : document.SelectNodes("Appliance/Code/Build/Load")) {
        Read(element, "Image", image);
        if (auto value = element.Attribute("Offset"))
            offset = HexToLong(*value);
        if (auto value = element.Attribute("Bank"))
            bank = HexToLong(*value);
        if (auto value = element.Attribute("Start"))
            start = HexToLong(*value);
        if (auto value = element.Attribute("Size"))
            size = HexToLong(*value);
        try {
            LabelLoadAddr(image, offset, bank, start, size);
        } catch (const BxError&) {
            // A repeated image, or no bank size to place it by: the image is left out.
        }
    }

    for (const XmlNode& element : document.SelectNodes("Appliance/Code/Build/Map")) {
        std::string segment;
        Read(element, "Segment", segment);
        if (auto value = element.Attribute("Start"))
            start = HexToLong(*value);
        if (auto value = element.Attribute("Size"))
            size = HexToLong(*value);
        if (!segment.empty() && !objMaps_->Contains(segment))
            objMaps_->Add(segment, start, size);
    }

    StateChange(11050);
    readExternal(document.SelectSingleNode("Appliance/Debugging/ExtDebugger"), "Driver",
                 ExtDebugger, ExtDebuggerInUse);

    std::string title;
    for (const XmlNode& element : document.SelectNodes("Appliance/Debugging/Watch")) {
        Read(element, "Title", title); // not reset: a watch without a title repeats the last
        std::string category;
        Read(element, "Category", category);
        if (!currentForm) {
            // The older form kept one element per access kind; the second of a pair makes
            // the first a read-and-write watch.
            if (auto existing = watches_->Item(title, category)) {
                existing->SetAccess("ReadWrite");
                continue;
            }
        }
        auto watch = watches_->Add(title, category);
        if (!watch)
            continue;
        auto readIfNotEmpty = [&](const char* attribute) {
            std::string value;
            Read(element, attribute, value);
            return value;
        };
        if (auto value = readIfNotEmpty("Description"); !value.empty())
            watch->Description = value;
        if (auto value = readIfNotEmpty("Location"); !value.empty())
            watch->Location = value;
        if (auto value = readIfNotEmpty("Display"); !value.empty())
            watch->SetDisplay(value);
        if (auto value = readIfNotEmpty("Mask"); !value.empty())
            watch->Mask = HexToLong(value);
        if (auto value = readIfNotEmpty("Expanded"); !value.empty())
            if (auto flag = TextToBool(value))
                watch->Expanded = *flag;
        watch->Category = category;
        if (auto value = readIfNotEmpty("Disabled"); !value.empty())
            if (auto flag = TextToBool(value))
                watch->Disabled = *flag;
        if (currentForm) {
            if (auto value = readIfNotEmpty("Access"); !value.empty())
                watch->SetAccess(value);
        } else {
            const std::string flag = readIfNotEmpty("Flag");
            if (flag.find("RW") != std::string::npos)
                watch->SetAccess("ReadWrite");
            else if (flag.find('R') != std::string::npos)
                watch->SetAccess("Read");
            else if (flag.find('W') != std::string::npos)
                watch->SetAccess("Write");
        }
        const std::string parentTitle = readIfNotEmpty("Parent");
        std::shared_ptr<Watch> parent;
        if (auto parentCategory = element.Attribute("ParentCategory"))
            parent = watches_->Item(parentTitle, *parentCategory);
        if (!parent && !parentTitle.empty()) {
            parent = watches_->Item(parentTitle, category);
            if (!parent)
                parent = watches_->Item(parentTitle, "");
        }
        // A watch that would be its own parent (a repeated title naming itself) stays at top
        // level: a cycle would never be freed and never end a walk down the tree.
        if (parent && parent != watch)
            parent->Children().AddItem(watch);
    }

    // One scratch record serves every element, and its flags are never cleared: each
    // breakpoint carries its own kinds and those of all before it, as files have always read.
    Breakpoint scratch;
    std::string type;
    for (const XmlNode& element : document.SelectNodes("Appliance/Debugging/Breakpoint")) {
        if (auto value = element.Attribute("Bank"))
            scratch.Bank = ParseNumberText(*value);
        if (auto value = element.Attribute("Start"))
            scratch.Start = ParseNumberText(*value);
        if (auto value = element.Attribute("Length"))
            scratch.Length = ParseNumberText(*value);
        Read(element, "Type", type);
        if (type.find('R') != std::string::npos)
            scratch.Flags |= break_kind::kRead;
        if (type.find('W') != std::string::npos)
            scratch.Flags |= break_kind::kWrite;
        if (type.find('X') != std::string::npos)
            scratch.Flags |= break_kind::kExecute;
        Breakpoints().Add(scratch.Bank, scratch.Start, scratch.Length, scratch.Flags);
    }

    StateChange(11090);
    StateChange(0);
    return true;
}

} // namespace bx
