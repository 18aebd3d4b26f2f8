#include "frame/DesktopLayout.h"

#include "appliance/Peripherals.h"
#include "frame/FrameCommands.h"

namespace bx {

namespace {

struct DefaultWindow {
    const char* Desktop;
    const char* Name;
    const char* Left;
    const char* Top;
    const char* Width;
    const char* Height;
};

// The tree beside the editor with the messages below for editing; for debugging the source
// view with the inspectors and the device panel around it.
constexpr DefaultWindow kDefaults[] = {
    {desktop::kSource, child::kAppliance, "0", "0", "1/4", "3/4"},
    {desktop::kSource, child::kSource, "1/4", "0", "3/4", "3/4"},
    {desktop::kSource, child::kMessage, "0", "3/4", "1/1", "1/4"},
    {desktop::kDebug, child::kSource, "0", "0", "9/16", "2/3"},
    {desktop::kDebug, child::kRegister, "9/16", "0", "3/16", "2/3"},
    {desktop::kDebug, child::kPrototyper, "3/4", "0", "1/4", "2/3"},
    {desktop::kDebug, child::kWatch, "0", "2/3", "3/8", "1/3"},
    {desktop::kDebug, child::kMemory, "3/8", "2/3", "5/8", "1/3"},
    {desktop::kIce, child::kSource, "0", "0", "2/3", "2/3"},
    {desktop::kIce, child::kRegister, "2/3", "0", "1/3", "2/3"},
    {desktop::kIce, child::kWatch, "0", "2/3", "3/8", "1/3"},
    {desktop::kIce, child::kMemory, "3/8", "2/3", "5/8", "1/3"},
};

std::string BaseName(const std::string& name) {
    const std::string suffix = desktop::kExternalSuffix;
    if (name.size() > suffix.size() &&
        name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
        return name.substr(0, name.size() - suffix.size());
    return name;
}

std::string PixelText(int32_t value) {
    return std::to_string(value);
}

} // namespace

std::shared_ptr<Desktop> DefaultDesktop(const std::string& name) {
    auto desktop = std::make_shared<Desktop>();
    desktop->Name = name;
    const std::string base = BaseName(name);
    for (const DefaultWindow& window : kDefaults)
        if (base == window.Desktop)
            desktop->Windows.Add(window.Name, window.Left, window.Top, window.Width, window.Height,
                                 "Visible");
    return desktop;
}

std::shared_ptr<Desktop> DesktopRecord(Desktops& desktops, const std::string& name) {
    if (auto found = desktops.Item(name))
        return found;
    std::shared_ptr<Desktop> made = DefaultDesktop(name);
    desktops.TryAdd(name, made);
    return made;
}

std::vector<PlacedWindow> PlaceDesktop(const Desktop& desktop, int32_t clientWidth,
                                       int32_t clientHeight) {
    std::vector<PlacedWindow> placed;
    for (const auto& [name, window] : desktop.Windows) {
        const WindowRect rect =
            PlaceWindowByDesktop({window->Left, window->Top, window->Width, window->Height},
                                 clientWidth, clientHeight, 1.0, 1.0);
        placed.push_back({window->Name, rect});
    }
    return placed;
}

const WindowRect* PlaceOf(const std::vector<PlacedWindow>& placed, const std::string& name) {
    for (const PlacedWindow& window : placed)
        if (window.Name == name)
            return &window.Rect;
    return nullptr;
}

void RecordDesktop(Desktop& desktop, const std::vector<PlacedWindow>& shown) {
    bx::Windows windows;
    for (const PlacedWindow& window : shown) {
        const auto old = desktop.Windows.Item(window.Name);
        windows.Add(window.Name, PixelText(window.Rect.Left), PixelText(window.Rect.Top),
                    PixelText(window.Rect.Width), PixelText(window.Rect.Height),
                    old ? old->Parameters : "Visible");
    }
    desktop.Windows = std::move(windows);
}

} // namespace bx
