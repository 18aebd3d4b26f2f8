#pragma once
// WAV files of the speaker's samples: RIFF, PCM, 16-bit signed little-endian, one channel.

#include <cstdint>
#include <string>
#include <vector>

namespace bx::sim {

// The whole file as bytes: the 44-byte header, then the samples.
std::string EncodeWav(const std::vector<int16_t>& samples, int sampleRate);

// Writes the file at path (the system's backslash form) without leaving half a file behind;
// false when it can't be written.
bool WriteWavFile(const std::string& path, const std::vector<int16_t>& samples, int sampleRate);

} // namespace bx::sim
