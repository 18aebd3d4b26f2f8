#include "sim/WavWriter.h"

#include "platform/FileSystem.h"

namespace bx::sim {

namespace {

void Put32(std::string& out, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
}
void Put16(std::string& out, uint16_t v) {
    out.push_back(static_cast<char>(v & 0xFF));
    out.push_back(static_cast<char>(v >> 8));
}

} // namespace

std::string EncodeWav(const std::vector<int16_t>& samples, int sampleRate) {
    const uint32_t dataBytes = static_cast<uint32_t>(samples.size() * 2);
    std::string out;
    out.reserve(44 + dataBytes);
    out += "RIFF";
    Put32(out, 36 + dataBytes);
    out += "WAVE";
    out += "fmt ";
    Put32(out, 16);                                    // size of the format chunk
    Put16(out, 1);                                     // PCM
    Put16(out, 1);                                     // mono
    Put32(out, static_cast<uint32_t>(sampleRate));     // samples per second
    Put32(out, static_cast<uint32_t>(sampleRate) * 2); // bytes per second
    Put16(out, 2);                                     // bytes per frame
    Put16(out, 16);                                    // bits per sample
    out += "data";
    Put32(out, dataBytes);
    for (int16_t s : samples)
        Put16(out, static_cast<uint16_t>(s));
    return out;
}

bool WriteWavFile(const std::string& path, const std::vector<int16_t>& samples, int sampleRate) {
    return platform::WriteFileAtomic(path, EncodeWav(samples, sampleRate));
}

} // namespace bx::sim
