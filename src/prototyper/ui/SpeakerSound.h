#pragma once
// The speaker's sound: the samples the simulated speaker produced (16-bit mono at 44,100 Hz)
// played through the system's default audio output with Qt Multimedia. The panel hands over
// what it took from the speaker at each of its frames. At most kQueueMs of sound wait in the
// output at any time: a push that would queue more drops the oldest of what it brings, so the
// sound stays close to the simulation whatever the two clocks do. An output that is starting
// or ran dry first gathers kPrimeMs, so that the frames' jitter doesn't starve it again at once.
// Without an audio output (a server, a virtual display, CI) nothing plays and nothing fails.
// UI thread only.

#include <QAudioDevice>
#include <QObject>
#include <cstdint>
#include <memory>
#include <vector>

class QAudioSink;
class QIODevice;

namespace bx::ui {

class SpeakerSound : public QObject {
    Q_OBJECT
public:
    static constexpr int kSampleRate = 44'100;
    static constexpr int kQueueMs = 60;
    static constexpr int kPrimeMs = 30;

    explicit SpeakerSound(QObject* parent = nullptr);
    ~SpeakerSound() override;

    // Whether the system has an audio output to play on.
    bool HasDevice() const { return !device_.isNull(); }
    void SetMuted(bool muted);
    bool Muted() const { return muted_; }
    // Queues samples for playing; nothing while muted or without an output. The samples that
    // reached the output (a push beyond the queue's room loses its oldest).
    std::size_t Play(const std::vector<int16_t>& samples);
    // The sound queued in the output now, in milliseconds.
    int QueuedMs() const;

private:
    bool Open();

    QAudioDevice device_;
    std::unique_ptr<QAudioSink> sink_;
    QIODevice* output_ = nullptr;
    std::vector<int16_t> priming_;
    bool muted_ = false;
};

} // namespace bx::ui
