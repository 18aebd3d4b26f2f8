#include "prototyper/ui/FacadeWidget.h"

#include "appliance/Appliance.h"
#include "platform/ui/Twips.h"
#include "prototyper/ui/SpeakerSound.h"

#include <QFontDatabase>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <cmath>
#include <sstream>

namespace bx::ui {

namespace {

using prototyper::CellOf;
using prototyper::PanelHit;
using prototyper::Rect;

constexpr int kSeats = 8;
constexpr int kMeterSteps = 50;
constexpr int kTwipsPerUnit = 15; // the layout's units are pixels at 96 dpi
constexpr int kFallbackRefreshHz = 60;

QColor LedColorOf(const std::string& name) {
    static const std::map<std::string, QColor> named = {{"Red", QColor(230, 40, 40)},
                                                        {"Green", QColor(40, 200, 70)},
                                                        {"Yellow", QColor(240, 200, 30)},
                                                        {"Blue", QColor(50, 120, 240)},
                                                        {"White", QColor(245, 245, 245)}};
    if (auto found = named.find(name); found != named.end())
        return found->second;
    const QColor color(QString::fromStdString(name));
    return color.isValid() ? color : named.at("Red");
}

QRectF F(const Rect& rect) {
    return QRectF(rect.Left, rect.Top, rect.Width, rect.Height);
}

// A push button or a keypad key with its label, raised or held.
void PaintKey(QPainter& painter, const QPalette& palette, const Rect& rect, const QString& label,
              bool held) {
    const QRectF key = F(rect);
    painter.setPen(QPen(palette.color(QPalette::Dark), 1));
    painter.setBrush(palette.color(held ? QPalette::Highlight : QPalette::Button));
    painter.drawRoundedRect(key, 4, 4);
    painter.setPen(palette.color(held ? QPalette::HighlightedText : QPalette::ButtonText));
    painter.drawText(key, Qt::AlignCenter, label);
}

} // namespace

FacadeWidget::FacadeWidget(QWidget* parent) : QWidget(parent) {
    setObjectName("facPrototyper");
    setFocusPolicy(Qt::StrongFocus);
    setToolTip("Click a key or button and hold it. Keyboard: the keypad's labels; Alt+0 to "
               "Alt+7 for the push buttons.");
    connect(&timer_, &QTimer::timeout, this, [this] { Poll(); });
    Relayout();
}

FacadeWidget::~FacadeWidget() = default;

// ---- Facade ------------------------------------------------------------------------------------

int32_t FacadeWidget::ConnectSimpleUI(int32_t hubHandle, int32_t deviceId) {
    const int32_t shown = panel_.ConnectSimpleUI(hubHandle, deviceId);
    if (shown)
        StartFrames();
    return shown;
}

int32_t FacadeWidget::ConnectKeypad(int32_t hubHandle, int32_t deviceId) {
    const int32_t shown = panel_.ConnectKeypad(hubHandle, deviceId);
    if (shown) {
        liveKeys_ = panel_.Keys();
        faceDirty_ = true;
        StartFrames();
    }
    return shown;
}

void FacadeWidget::SetParameter(const std::string& name, const std::string& value) {
    panel_.SetParameter(name, value);
    Relayout();
}

void FacadeWidget::ShowDisplay(const std::string& deviceType,
                               const prototyper::NamedValues& parameters) {
    panel_.ClearParameters();
    for (const auto& [name, value] : parameters)
        panel_.SetParameter(name, value);
    deviceType_ = deviceType;
    Relayout();
}

void FacadeWidget::SetAppliance(Appliance* appliance) {
    appliance_ = appliance;
    faceDirty_ = true;
    update();
}

// ---- Layout ------------------------------------------------------------------------------------

double FacadeWidget::Scale() const {
    return Twips(this).ToPixelsX(kTwipsPerUnit);
}

QRect FacadeWidget::Pixels(const Rect& rect) const {
    const double scale = Scale();
    return QRectF(rect.Left * scale, rect.Top * scale, rect.Width * scale, rect.Height * scale)
        .toAlignedRect();
}

void FacadeWidget::Relayout() {
    layout_ = prototyper::LayOutPanel(panel_.Parameters(), deviceType_);
    // A view that shows no device still gets room for the word that says so.
    const int width = layout_.Width > 0 ? layout_.Width : 240;
    const int height = layout_.Height > 0 ? layout_.Height : 64;
    const double scale = Scale();
    setFixedSize(static_cast<int>(std::ceil(width * scale)),
                 static_cast<int>(std::ceil(height * scale)));
    faceDirty_ = true;
    update();
    emit SizeChanged();
}

sim::KeypadKeys FacadeWidget::Keys() const {
    if (liveKeys_)
        return *liveKeys_;
    sim::KeypadKeys keys;
    if (appliance_)
        for (const auto& [name, peripheral] : appliance_->Peripherals())
            if (peripheral->Type == "Keypad") {
                for (const auto& [key, parameter] : peripheral->Parameters)
                    keys.Set(parameter->Name, parameter->Value);
                break;
            }
    return keys;
}

std::string FacadeWidget::ButtonLabel(int index) const {
    if (appliance_)
        for (const auto& [name, peripheral] : appliance_->Peripherals())
            if (peripheral->Type == "SimpleUI")
                if (auto labels = peripheral->Parameters.Item("Labels")) {
                    std::istringstream words(labels->Value);
                    std::string word;
                    for (int i = 0; words >> word; ++i)
                        if (i == index)
                            return word;
                }
    return std::to_string(index);
}

// ---- Reading the devices
// -------------------------------------------------------------------------

void FacadeWidget::StartFrames() {
    faceDirty_ = true;
    update();
    if (!isVisible()) {
        paused_ = true;
        return;
    }
    const double rate =
        screen() && screen()->refreshRate() > 1 ? screen()->refreshRate() : kFallbackRefreshHz;
    timer_.start(std::max(1, static_cast<int>(std::lround(1000.0 / rate))));
    Poll();
}

bool FacadeWidget::Poll() {
    Shown now;
    now.Leds = panel_.LitLeds();
    now.Buttons = panel_.HeldButtons();
    now.Keys = panel_.HeldKeys();
    samples_.clear();
    if (panel_.TakeSpeakerSamples(samples_) > 0) {
        if (!sound_) {
            sound_ = new SpeakerSound(this);
            sound_->SetMuted(muted_);
            static bool told = false;
            if (!sound_->HasDevice() && !told) {
                told = true;
                emit SoundUnavailable();
            }
        }
        sound_->Play(samples_);
    }
    now.Level = static_cast<int>(std::lround(prototyper::SampleLevel(samples_) * kMeterSteps));
    if (!now.Leds && !panel_.HasKeypad()) {
        // Powered off: the devices left the hub.
        timer_.stop();
        paused_ = false;
        liveKeys_.reset();
        faceDirty_ = true;
        update();
    }
    const bool changed = !(now == shown_);
    shown_ = now;
    if (changed)
        update();
    return changed;
}

// ---- Input -------------------------------------------------------------------------------------

bool FacadeWidget::Press(const PanelHit& hit, bool down) {
    bool taken = false;
    switch (hit.What) {
    case PanelHit::Kind::Button:
        taken = down ? panel_.PressButton(hit.Index) : panel_.ReleaseButton(hit.Index);
        break;
    case PanelHit::Kind::Key:
        taken =
            down ? panel_.PressKey(hit.Row, hit.Column) : panel_.ReleaseKey(hit.Row, hit.Column);
        break;
    case PanelHit::Kind::Mute:
        if (down)
            SetMuted(!muted_);
        return true;
    case PanelHit::Kind::None:
        break;
    }
    if (taken)
        Poll();
    return taken;
}

void FacadeWidget::SetMuted(bool muted) {
    muted_ = muted;
    if (sound_)
        sound_->SetMuted(muted);
    update();
}

void FacadeWidget::mousePressEvent(QMouseEvent* event) {
    setFocus(Qt::MouseFocusReason);
    if (event->button() != Qt::LeftButton || mouseHeld_)
        return;
    const QPointF at = event->position() / Scale();
    const sim::KeypadKeys keys = Keys();
    const PanelHit hit = prototyper::HitTest(layout_, keys.Rows, keys.Columns,
                                             static_cast<int>(at.x()), static_cast<int>(at.y()));
    if (Press(hit, true) && hit.What != PanelHit::Kind::Mute)
        mouseHeld_ = hit;
}

void FacadeWidget::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !mouseHeld_)
        return;
    Press(*mouseHeld_, false);
    mouseHeld_.reset();
}

void FacadeWidget::keyPressEvent(QKeyEvent* event) {
    if (event->isAutoRepeat() && keysHeld_.count(event->key())) {
        event->accept();
        return;
    }
    std::optional<PanelHit> hit;
    if ((event->modifiers() & Qt::AltModifier) && event->key() >= Qt::Key_0 &&
        event->key() < Qt::Key_0 + kSeats) {
        hit = PanelHit{PanelHit::Kind::Button, event->key() - Qt::Key_0};
    } else if (const QString text = event->text().toUpper(); text.size() == 1) {
        const sim::KeypadKeys keys = Keys();
        for (int row = 0; row < keys.Rows && !hit; ++row)
            for (int column = 0; column < keys.Columns && !hit; ++column)
                if (QString::fromStdString(keys.Label(row, column)).toUpper() == text)
                    hit = PanelHit{PanelHit::Kind::Key, 0, row, column};
    }
    if (hit && Press(*hit, true)) {
        keysHeld_[event->key()] = *hit;
        event->accept();
        return;
    }
    QWidget::keyPressEvent(event);
}

void FacadeWidget::keyReleaseEvent(QKeyEvent* event) {
    const auto held = keysHeld_.find(event->key());
    if (held == keysHeld_.end() || event->isAutoRepeat()) {
        QWidget::keyReleaseEvent(event);
        return;
    }
    Press(held->second, false);
    keysHeld_.erase(held);
    event->accept();
}

void FacadeWidget::focusOutEvent(QFocusEvent* event) {
    // A key whose release goes to another window would stay held for ever.
    for (const auto& [key, hit] : keysHeld_)
        Press(hit, false);
    keysHeld_.clear();
    QWidget::focusOutEvent(event);
}

// ---- Painting ----------------------------------------------------------------------------------

void FacadeWidget::hideEvent(QHideEvent* event) {
    // Nobody sees the frames of a hidden panel (the desktop "Source" hides it).
    if (timer_.isActive()) {
        timer_.stop();
        paused_ = true;
    }
    QWidget::hideEvent(event);
}

void FacadeWidget::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (paused_) {
        paused_ = false;
        StartFrames();
    }
}

void FacadeWidget::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange ||
        event->type() == QEvent::FontChange)
        faceDirty_ = true;
    QWidget::changeEvent(event);
}

void FacadeWidget::paintEvent(QPaintEvent*) {
    // What doesn't change while the target runs is painted once into the face; each frame
    // draws the face and the state over it.
    const qreal ratio = devicePixelRatioF();
    if (faceDirty_ || face_.size() != size() * ratio) {
        face_ = QPixmap(size() * ratio);
        face_.setDevicePixelRatio(ratio);
        face_.fill(Qt::transparent);
        QPainter painter(&face_);
        PaintFace(painter);
        faceDirty_ = false;
    }
    QPainter painter(this);
    painter.drawPixmap(0, 0, face_);
    PaintState(painter);
}

void FacadeWidget::PaintFace(QPainter& painter) {
    painter.setRenderHint(QPainter::Antialiasing);
    const double scale = Scale();
    painter.scale(scale, scale);
    const QPalette& colours = palette();
    const double width = this->width() / scale;
    const double height = this->height() / scale;

    painter.setPen(QPen(colours.color(QPalette::Mid), 1));
    painter.setBrush(colours.color(QPalette::AlternateBase));
    painter.drawRoundedRect(QRectF(0.5, 0.5, width - 1, height - 1), 8, 8);

    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPixelSize(12);
    font.setBold(true);
    painter.setFont(font);
    const QRectF captionLine(10, 4, width - 20, 20);
    painter.setPen(colours.color(QPalette::WindowText));
    painter.drawText(captionLine, Qt::AlignLeft | Qt::AlignVCenter,
                     QString::fromStdString(layout_.Caption));
    font.setBold(false);
    font.setPixelSize(11);
    painter.setFont(font);
    if (!Live()) {
        painter.setPen(colours.color(QPalette::PlaceholderText));
        painter.drawText(captionLine, Qt::AlignRight | Qt::AlignVCenter, "powered off");
    }
    if (!layout_.Leds && !layout_.Buttons && !layout_.Keypad && !layout_.Speaker) {
        painter.setPen(colours.color(QPalette::PlaceholderText));
        painter.drawText(QRectF(0, 0, width, height), Qt::AlignCenter,
                         "This design view shows no device.");
        return;
    }
    if (layout_.Leds) {
        painter.setPen(colours.color(QPalette::WindowText));
        for (int i = 0; i < kSeats; ++i) {
            const Rect cell = CellOf(*layout_.Leds, i, kSeats);
            painter.drawText(
                QRectF(cell.Left, cell.Top + cell.Height * 0.7, cell.Width, cell.Height * 0.3),
                Qt::AlignCenter, QString::number(i));
        }
    }
    if (layout_.Buttons)
        for (int i = 0; i < kSeats; ++i)
            PaintKey(painter, colours, CellOf(*layout_.Buttons, i, kSeats),
                     QString::fromStdString(ButtonLabel(i)), false);
    if (layout_.Keypad) {
        const sim::KeypadKeys keys = Keys();
        painter.setPen(QPen(colours.color(QPalette::Mid), 1));
        painter.setBrush(colours.color(QPalette::Window));
        painter.drawRoundedRect(F(*layout_.Keypad), 6, 6);
        for (int row = 0; row < keys.Rows; ++row)
            for (int column = 0; column < keys.Columns; ++column)
                PaintKey(painter, colours,
                         prototyper::KeyOf(*layout_.Keypad, keys.Rows, keys.Columns, row, column),
                         QString::fromStdString(keys.Label(row, column)), false);
    }
    if (layout_.Speaker) {
        const QRectF grille = F(prototyper::GrilleOf(*layout_.Speaker));
        painter.setPen(QPen(colours.color(QPalette::Mid), 1));
        painter.setBrush(colours.color(QPalette::Dark));
        painter.drawEllipse(grille);
        painter.setBrush(Qt::NoBrush);
        for (double ring = 0.25; ring < 0.95; ring += 0.2)
            painter.drawEllipse(grille.center(), grille.width() * ring / 2,
                                grille.height() * ring / 2);
        painter.setPen(QPen(colours.color(QPalette::Dark), 1));
        painter.setBrush(colours.color(QPalette::Base));
        painter.drawRect(F(prototyper::MeterOf(*layout_.Speaker)));
    }
}

void FacadeWidget::PaintState(QPainter& painter) {
    painter.setRenderHint(QPainter::Antialiasing);
    const double scale = Scale();
    painter.scale(scale, scale);
    const QPalette& colours = palette();
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPixelSize(11);
    painter.setFont(font);
    if (layout_.Leds) {
        const QColor lit = LedColorOf(layout_.LedColor);
        for (int i = 0; i < kSeats; ++i) {
            const Rect cell = CellOf(*layout_.Leds, i, kSeats);
            const double side = std::min<double>(cell.Width, cell.Height * 0.62) * 0.8;
            const QPointF centre(cell.Left + cell.Width / 2.0, cell.Top + cell.Height * 0.36);
            const bool on = shown_.Leds && (*shown_.Leds & (1u << i));
            painter.setPen(QPen(colours.color(QPalette::Dark), 1));
            painter.setBrush(on ? lit : lit.darker(320));
            painter.drawEllipse(centre, side / 2, side / 2);
        }
    }
    // Held buttons and keys over their raised faces.
    if (layout_.Buttons)
        for (int i = 0; i < kSeats; ++i)
            if (shown_.Buttons & (1u << i))
                PaintKey(painter, colours, CellOf(*layout_.Buttons, i, kSeats),
                         QString::fromStdString(ButtonLabel(i)), true);
    if (layout_.Keypad && shown_.Keys != 0) {
        const sim::KeypadKeys keys = Keys();
        for (int row = 0; row < keys.Rows; ++row)
            for (int column = 0; column < keys.Columns; ++column)
                if (shown_.Keys & (uint64_t{1} << (row * 8 + column)))
                    PaintKey(
                        painter, colours,
                        prototyper::KeyOf(*layout_.Keypad, keys.Rows, keys.Columns, row, column),
                        QString::fromStdString(keys.Label(row, column)), true);
    }
    if (layout_.Speaker) {
        const QRectF meter = F(prototyper::MeterOf(*layout_.Speaker));
        painter.setPen(Qt::NoPen);
        painter.setBrush(colours.color(QPalette::Highlight));
        painter.drawRect(QRectF(meter.left() + 1, meter.top() + 1,
                                (meter.width() - 2) * shown_.Level / kMeterSteps,
                                meter.height() - 2));
        const QString state =
            muted_ ? "Muted" : (sound_ && !sound_->HasDevice() ? "No audio" : "Sound on");
        PaintKey(painter, colours, prototyper::MuteOf(*layout_.Speaker), state, muted_);
    }
}

} // namespace bx::ui
