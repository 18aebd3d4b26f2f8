#pragma once
// Twips, the unit the painted views are laid out in (1440 to the inch), and the widget's
// pixels. The conversion takes the logical dots per inch of the widget's screen, so 15 twips
// are one pixel at 96 dpi; Qt scales logical pixels to the device's own (the device pixel
// ratio) when it paints, so text and rules stay crisp on dense screens.

class QWidget;

namespace bx::ui {

class Twips {
public:
    explicit Twips(const QWidget* widget);
    // For a given resolution (tests).
    Twips(double dpiX, double dpiY) : dpiX_(dpiX), dpiY_(dpiY) {}

    double ToPixelsX(double twips) const { return twips * dpiX_ / 1440.0; }
    double ToPixelsY(double twips) const { return twips * dpiY_ / 1440.0; }
    double FromPixelsX(double pixels) const { return pixels * 1440.0 / dpiX_; }
    double FromPixelsY(double pixels) const { return pixels * 1440.0 / dpiY_; }

private:
    double dpiX_;
    double dpiY_;
};

} // namespace bx::ui
