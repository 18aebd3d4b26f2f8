#pragma once
// Where the child windows stand on each desktop. An appliance keeps one layout record per
// desktop ("Source", "Debug", "Ice", with "Ext" behind while the frame runs an external tool);
// each window's place and size are pixels ("120") or shares of the frame's client area
// ("1/2"). A desktop the appliance has no record of gets the studio's own default, which is
// then kept in the appliance, so that what a person arranges is saved with it.

#include "foundation/Common.h"

#include <memory>
#include <string>
#include <vector>

namespace bx {

struct Desktop;
class Desktops;

struct PlacedWindow {
    std::string Name;
    WindowRect Rect; // pixels of the client area
};

// The default layout of a desktop (by its name without "Ext"): shares of the client area.
std::shared_ptr<Desktop> DefaultDesktop(const std::string& name);
// The desktop record of name in desktops, added from the default when missing.
std::shared_ptr<Desktop> DesktopRecord(Desktops& desktops, const std::string& name);
// The windows of a desktop in pixels of a client area of the given size, in record order.
// Windows the record doesn't name are not shown on it.
std::vector<PlacedWindow> PlaceDesktop(const Desktop& desktop, int32_t clientWidth,
                                       int32_t clientHeight);
// The place placed gives the window of that name, or null where it names none.
const WindowRect* PlaceOf(const std::vector<PlacedWindow>& placed, const std::string& name);
// Keeps what a person arranged: the windows shown now, in pixels, replace the record's
// windows (a window that was closed leaves the record; one newly shown joins it).
void RecordDesktop(Desktop& desktop, const std::vector<PlacedWindow>& shown);

} // namespace bx
