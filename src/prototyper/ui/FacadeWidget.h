#pragma once
// facPrototyper: the device panel's surface, the working front of the appliance. It is the
// Facade that power-on connects the SimpleUI and the keypad to and hands the design view's
// parameters (debug/Facade.h); behind it the simulator's sim::DevicePanel does the connecting
// and the thread-safe reading and pressing, so this widget only lays out, paints and turns
// mouse and keys into presses.
//
// While a device is connected a timer at the screen's refresh rate reads the LEDs, the held
// keys and the speaker's new samples (each read holds the hub's lock for a moment, never
// waits for the simulation to stop), repaints when something changed and plays the samples.
//
// Input: a press on a push button or a key holds it while the mouse button is down; a key of
// the keyboard whose text is a keypad key's label holds that key while it is down; Alt+0 to
// Alt+7 hold the push buttons; a click on the speaker's switch mutes it. UI thread only.

#include "debug/Facade.h"
#include "prototyper/PanelLayout.h"
#include "sim/DevicePanel.h"

#include <QPixmap>
#include <QTimer>
#include <QWidget>
#include <map>
#include <optional>

class QPainter;

namespace bx {
class Appliance;
}

namespace bx::ui {

class SpeakerSound;

class FacadeWidget : public QWidget, public Facade {
    Q_OBJECT
public:
    explicit FacadeWidget(QWidget* parent = nullptr);
    ~FacadeWidget() override;

    // ---- Facade (power-on) -------------------------------------------------------------------
    int32_t ConnectSimpleUI(int32_t hubHandle, int32_t deviceId) override;
    int32_t ConnectKeypad(int32_t hubHandle, int32_t deviceId) override;
    void SetParameter(const std::string& name, const std::string& value) override;

    // Shows a design view's display record: the Type of the peripheral it shows and its
    // parameters, in place of those shown before.
    void ShowDisplay(const std::string& deviceType, const prototyper::NamedValues& parameters);
    // The appliance whose peripherals give the keypad's keys and the buttons' labels while
    // nothing is connected; null for none.
    void SetAppliance(Appliance* appliance);

    sim::DevicePanel& Panel() { return panel_; }
    const prototyper::PanelLayout& Layout() const { return layout_; }
    // A rectangle of the layout in this widget's pixels.
    QRect Pixels(const prototyper::Rect& rect) const;
    // Reads the devices now, as the timer does at each frame; whether anything shown changed.
    bool Poll();
    // A device is connected (the frames run, or wait for the panel to be shown).
    bool Live() const { return timer_.isActive() || paused_; }
    int FrameIntervalMs() const { return timer_.interval(); }
    // The speaker's samples the last frame took (and played).
    const std::vector<int16_t>& LastSamples() const { return samples_; }
    bool Muted() const { return muted_; }
    void SetMuted(bool muted);
    SpeakerSound* Sound() const { return sound_; }

signals:
    // The size changed: the holder centres the surface again.
    void SizeChanged();
    // The first speaker found no audio output to play on (said once per program run).
    void SoundUnavailable();

protected:
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    struct Shown {
        std::optional<uint8_t> Leds;
        uint8_t Buttons = 0;
        uint64_t Keys = 0;
        int Level = 0; // the meter in fiftieths
        bool operator==(const Shown&) const = default;
    };
    void Relayout();
    void StartFrames();
    // The keypad's keys: the device's while one is connected, else the appliance's peripheral.
    sim::KeypadKeys Keys() const;
    std::string ButtonLabel(int index) const;
    bool Press(const prototyper::PanelHit& hit, bool down);
    // The front's unchanging parts (face, captions, raised keys, grille) and, over them, what
    // the devices show now (LEDs, held keys, the meter, the mute switch).
    void PaintFace(QPainter& painter);
    void PaintState(QPainter& painter);
    double Scale() const;

    sim::DevicePanel panel_;
    std::string deviceType_;
    prototyper::PanelLayout layout_;
    Appliance* appliance_ = nullptr;
    std::optional<sim::KeypadKeys> liveKeys_;
    QTimer timer_;
    Shown shown_;
    QPixmap face_;
    bool faceDirty_ = true;
    bool paused_ = false; // live, but hidden: no frames
    std::vector<int16_t> samples_;
    SpeakerSound* sound_ = nullptr;
    bool muted_ = false;
    std::optional<prototyper::PanelHit> mouseHeld_;
    std::map<int, prototyper::PanelHit> keysHeld_; // by the keyboard's key
};

} // namespace bx::ui
