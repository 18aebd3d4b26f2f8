#pragma once
// The device panel's front without its window: where the parts of the active design view
// stand and what a point on it hits. A design view's display record says, in its parameters,
// how the front is laid out; the same parameters reach the panel's Facade at power-on. Units
// are pixels at 96 dots per inch (15 twips); the window scales them to its screen.
//
// Parameters of a display record (names as written, values as text):
//   Width, Height         the front's size (the parts' extent when absent)
//   Caption               the front's title, written at its top left
//   LEDs, Buttons         the SimpleUI's eight LEDs and eight push buttons, each a row of
//                         eight equal cells: "left,top,width,height"
//   Keypad                the keypad's keys, its rows and columns in equal cells
//   Speaker               the speaker with its level meter and mute switch
//   LedColor              Red (default), Green, Yellow, Blue, White or #RRGGBB
// A record that places no part (an older view: Left, Top, Width, Height) shows the part of
// its own device over the whole front: the SimpleUI's LEDs over its buttons, the keypad or
// the speaker. Text that doesn't read leaves its part out.

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace bx::prototyper {

struct Rect {
    int Left = 0, Top = 0, Width = 0, Height = 0;
    bool Contains(int x, int y) const {
        return x >= Left && y >= Top && x < Left + Width && y < Top + Height;
    }
    bool operator==(const Rect&) const = default;
};

struct PanelLayout {
    int Width = 0, Height = 0;
    std::string Caption;
    std::string LedColor = "Red";
    std::optional<Rect> Leds, Buttons, Keypad, Speaker;
};

using NamedValues = std::vector<std::pair<std::string, std::string>>;

// The front of a display record; deviceType is the Type of the peripheral the record shows.
PanelLayout LayOutPanel(const NamedValues& parameters, const std::string& deviceType);

// Cell index of count equal cells across part, with a margin of a tenth of a cell around it.
Rect CellOf(const Rect& part, int index, int count);
// The key of a keypad part with rows and columns.
Rect KeyOf(const Rect& part, int rows, int columns, int row, int column);
// The speaker part's pieces: its grille, the level meter and the mute switch (stacked in a
// tall part, the grille on the left of the other two in a wide one).
Rect GrilleOf(const Rect& speaker);
Rect MeterOf(const Rect& speaker);
Rect MuteOf(const Rect& speaker);

// What a press at (x, y) of the front holds.
struct PanelHit {
    enum class Kind { None, Button, Key, Mute } What = Kind::None;
    int Index = 0;           // a button
    int Row = 0, Column = 0; // a key
};
PanelHit HitTest(const PanelLayout& layout, int keypadRows, int keypadColumns, int x, int y);

// The loudness of samples for the meter: their root mean square against full scale, 0 to 1.
double SampleLevel(const std::vector<int16_t>& samples);

} // namespace bx::prototyper
