#include "prototyper/ui/SpeakerSound.h"

#include <QAudioFormat>
#include <QAudioSink>
#include <QMediaDevices>
#include <algorithm>

namespace bx::ui {

namespace {

constexpr int kBytesPerSample = 2;

QAudioFormat SampleFormat() {
    QAudioFormat format;
    format.setSampleRate(SpeakerSound::kSampleRate);
    format.setChannelCount(1);
    format.setSampleFormat(QAudioFormat::Int16);
    return format;
}

} // namespace

SpeakerSound::SpeakerSound(QObject* parent)
    : QObject(parent), device_(QMediaDevices::defaultAudioOutput()) {
    if (!device_.isNull() && !device_.isFormatSupported(SampleFormat()))
        device_ = QAudioDevice();
}

SpeakerSound::~SpeakerSound() {
    if (sink_)
        sink_->stop();
}

bool SpeakerSound::Open() {
    if (sink_)
        return output_ != nullptr;
    if (device_.isNull())
        return false;
    sink_ = std::make_unique<QAudioSink>(device_, SampleFormat());
    sink_->setBufferSize(kSampleRate * kBytesPerSample * kQueueMs / 1000);
    output_ = sink_->start();
    return output_ != nullptr;
}

void SpeakerSound::SetMuted(bool muted) {
    muted_ = muted;
    priming_.clear();
    if (!sink_)
        return;
    if (muted)
        sink_->suspend();
    else
        sink_->resume();
}

std::size_t SpeakerSound::Play(const std::vector<int16_t>& samples) {
    if (muted_ || samples.empty() || !Open())
        return 0;
    const std::vector<int16_t>* batch = &samples;
    if (sink_->state() != QAudio::ActiveState) {
        priming_.insert(priming_.end(), samples.begin(), samples.end());
        if (priming_.size() < static_cast<std::size_t>(kSampleRate / 1000 * kPrimeMs))
            return 0;
        batch = &priming_;
    }
    const std::size_t room =
        static_cast<std::size_t>(std::max<qsizetype>(0, sink_->bytesFree())) / kBytesPerSample;
    const std::size_t count = std::min(room, batch->size());
    const int16_t* newest = batch->data() + (batch->size() - count);
    output_->write(reinterpret_cast<const char*>(newest),
                   static_cast<qint64>(count * kBytesPerSample));
    priming_.clear();
    return count;
}

int SpeakerSound::QueuedMs() const {
    if (!sink_)
        return 0;
    const qsizetype queued = sink_->bufferSize() - sink_->bytesFree();
    return static_cast<int>(queued * 1000 / (kSampleRate * kBytesPerSample));
}

} // namespace bx::ui
