#include "prototyper/PanelLayout.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace bx::prototyper {

namespace {

constexpr int kMargin = 16;
constexpr int kSeats = 8; // LEDs and buttons of a SimpleUI

std::optional<int> ReadInt(const std::string& text) {
    std::size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos)
        return std::nullopt;
    std::size_t last = text.find_last_not_of(' ') + 1;
    int value = 0;
    auto [end, error] = std::from_chars(text.data() + first, text.data() + last, value);
    if (error != std::errc() || end != text.data() + last)
        return std::nullopt;
    return value;
}

// "left,top,width,height" with a positive width and height.
std::optional<Rect> ReadRect(const std::string& text) {
    int values[4];
    std::size_t start = 0;
    for (int i = 0; i < 4; ++i) {
        const std::size_t comma = i < 3 ? text.find(',', start) : text.size();
        if (comma == std::string::npos)
            return std::nullopt;
        const std::optional<int> value = ReadInt(text.substr(start, comma - start));
        if (!value)
            return std::nullopt;
        values[i] = *value;
        start = comma + 1;
    }
    if (values[2] <= 0 || values[3] <= 0)
        return std::nullopt;
    return Rect{values[0], values[1], values[2], values[3]};
}

const std::string* Find(const NamedValues& parameters, const std::string& name) {
    for (const auto& [key, value] : parameters)
        if (key == name)
            return &value;
    return nullptr;
}

std::string TextOf(const NamedValues& parameters, const std::string& name) {
    const std::string* text = Find(parameters, name);
    return text ? *text : std::string();
}

std::optional<Rect> ReadPart(const NamedValues& parameters, const std::string& name) {
    return ReadRect(TextOf(parameters, name));
}

void Extend(int& width, int& height, const std::optional<Rect>& part) {
    if (part) {
        width = std::max(width, part->Left + part->Width + kMargin);
        height = std::max(height, part->Top + part->Height + kMargin);
    }
}

} // namespace

PanelLayout LayOutPanel(const NamedValues& parameters, const std::string& deviceType) {
    PanelLayout layout;
    layout.Caption = TextOf(parameters, "Caption");
    if (const std::string color = TextOf(parameters, "LedColor"); !color.empty())
        layout.LedColor = color;
    layout.Leds = ReadPart(parameters, "LEDs");
    layout.Buttons = ReadPart(parameters, "Buttons");
    layout.Keypad = ReadPart(parameters, "Keypad");
    layout.Speaker = ReadPart(parameters, "Speaker");
    const int width = std::max(0, ReadInt(TextOf(parameters, "Width")).value_or(0));
    const int height = std::max(0, ReadInt(TextOf(parameters, "Height")).value_or(0));

    const bool placed = layout.Leds || layout.Buttons || layout.Keypad || layout.Speaker;
    if (!placed && width > 0 && height > 0) {
        // An older record: its own device fills the front below the caption.
        const int top = layout.Caption.empty() ? kMargin / 2 : kMargin * 2;
        const Rect whole{kMargin / 2, top, width - kMargin, height - top - kMargin / 2};
        if (whole.Width > 0 && whole.Height > 0) {
            if (deviceType == "SimpleUI") {
                const int half = whole.Height / 2;
                layout.Leds = Rect{whole.Left, whole.Top, whole.Width, half};
                layout.Buttons =
                    Rect{whole.Left, whole.Top + half, whole.Width, whole.Height - half};
            } else if (deviceType == "Keypad") {
                layout.Keypad = whole;
            } else if (deviceType == "Speaker") {
                layout.Speaker = whole;
            }
        }
    }
    int extentWidth = 0, extentHeight = 0;
    for (const auto* part : {&layout.Leds, &layout.Buttons, &layout.Keypad, &layout.Speaker})
        Extend(extentWidth, extentHeight, *part);
    layout.Width = width > 0 ? width : extentWidth;
    layout.Height = height > 0 ? height : extentHeight;
    return layout;
}

Rect CellOf(const Rect& part, int index, int count) {
    const int left = part.Left + part.Width * index / count;
    const int right = part.Left + part.Width * (index + 1) / count;
    const int gap = std::max(1, (right - left) / 10);
    return {left + gap, part.Top + gap, right - left - 2 * gap, part.Height - 2 * gap};
}

Rect KeyOf(const Rect& part, int rows, int columns, int row, int column) {
    const int top = part.Top + part.Height * row / rows;
    const int bottom = part.Top + part.Height * (row + 1) / rows;
    const Rect band{part.Left, top, part.Width, bottom - top};
    return CellOf(band, column, columns);
}

namespace {

struct SpeakerPieces {
    Rect Grille, Meter, Mute;
};

// A tall part stacks grille, meter and switch; a wide one puts the grille on the left.
SpeakerPieces PiecesOf(const Rect& speaker) {
    constexpr int kGap = 6;
    const int left = speaker.Left, top = speaker.Top;
    const int width = speaker.Width, height = speaker.Height;
    SpeakerPieces pieces;
    if (height * 5 > width * 4) {
        const int row = std::max(12, height / 7);
        const int meter = std::max(8, row * 2 / 3);
        const int side = std::max(1, std::min(width, height - meter - row - 2 * kGap));
        pieces.Grille = {left + (width - side) / 2, top, side, side};
        pieces.Meter = {left, top + side + kGap, width, meter};
        const int muteTop = pieces.Meter.Top + meter + kGap;
        pieces.Mute = {left + width / 6, muteTop, width - width / 3,
                       std::max(1, top + height - muteTop)};
    } else {
        const int side = std::max(1, std::min(height, width / 2));
        pieces.Grille = {left, top + (height - side) / 2, side, side};
        const int right = left + side + kGap;
        const int rest = std::max(1, left + width - right);
        pieces.Meter = {right, top + height / 6, rest, std::max(1, height / 4)};
        const int muteTop = pieces.Meter.Top + pieces.Meter.Height + kGap;
        pieces.Mute = {right, muteTop, rest, std::max(1, top + height * 5 / 6 - muteTop)};
    }
    return pieces;
}

} // namespace

Rect GrilleOf(const Rect& speaker) {
    return PiecesOf(speaker).Grille;
}

Rect MeterOf(const Rect& speaker) {
    return PiecesOf(speaker).Meter;
}

Rect MuteOf(const Rect& speaker) {
    return PiecesOf(speaker).Mute;
}

PanelHit HitTest(const PanelLayout& layout, int keypadRows, int keypadColumns, int x, int y) {
    PanelHit hit;
    if (layout.Buttons && layout.Buttons->Contains(x, y)) {
        for (int i = 0; i < kSeats; ++i)
            if (CellOf(*layout.Buttons, i, kSeats).Contains(x, y))
                return {PanelHit::Kind::Button, i};
    }
    if (layout.Keypad && layout.Keypad->Contains(x, y) && keypadRows > 0 && keypadColumns > 0) {
        for (int row = 0; row < keypadRows; ++row)
            for (int column = 0; column < keypadColumns; ++column)
                if (KeyOf(*layout.Keypad, keypadRows, keypadColumns, row, column).Contains(x, y))
                    return {PanelHit::Kind::Key, 0, row, column};
    }
    if (layout.Speaker && MuteOf(*layout.Speaker).Contains(x, y))
        hit.What = PanelHit::Kind::Mute;
    return hit;
}

double SampleLevel(const std::vector<int16_t>& samples) {
    if (samples.empty())
        return 0;
    double sum = 0;
    for (int16_t sample : samples)
        sum += static_cast<double>(sample) * sample;
    return std::min(1.0, std::sqrt(sum / static_cast<double>(samples.size())) / 32768.0);
}

} // namespace bx::prototyper
