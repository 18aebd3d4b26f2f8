// SarnovaExtender: the extender plug-in that ships with the studio. Its class PortalExtender
// has one tool, "Export ROM image as Intel HEX": it reads the appliance's ROM image
// (<folder><title>.rom, the file the build makes and power-on loads) and writes the same bytes
// as an Intel HEX file beside it (<folder><title>.hex), the form ROM programmers and most
// flash tools take. Addresses are offsets into the image file, the layout docs/hardware.md
// gives it; images beyond 64 KB get extended linear address records.
//
// It is built as an ordinary plug-in against the public header only (prototyper/ExtenderApi.h),
// so it doubles as the example of docs/plugins.md.
#include "prototyper/ExtenderApi.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

constexpr int kBytesPerRecord = 16;

std::string plugInFolder;

// Copies text into the studio's buffer; non-zero when it doesn't fit.
int Answer(const std::string& text, char* buffer, int size) {
    if (buffer == nullptr || size <= 0 || text.size() + 1 > static_cast<std::size_t>(size))
        return 1;
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return 0;
}

// One record: ":", count, address, type, data, checksum (the two's complement of the sum of
// all the bytes before it), in upper-case hexadecimal.
std::string Record(int type, unsigned address, const unsigned char* data, int count) {
    char hex[3];
    std::string line = ":";
    unsigned sum = 0;
    auto put = [&](unsigned byte) {
        std::snprintf(hex, sizeof hex, "%02X", byte & 0xFFu);
        line += hex;
        sum += byte;
    };
    put(static_cast<unsigned>(count));
    put(address >> 8);
    put(address);
    put(static_cast<unsigned>(type));
    for (int i = 0; i < count; ++i)
        put(data[i]);
    put(0x100u - (sum & 0xFFu));
    return line + "\n";
}

std::string IntelHex(const std::vector<unsigned char>& image) {
    std::string text;
    text.reserve(image.size() * 3);
    unsigned upper = 0;
    for (std::size_t offset = 0; offset < image.size(); offset += kBytesPerRecord) {
        if ((offset >> 16) != upper) {
            upper = static_cast<unsigned>(offset >> 16);
            const unsigned char segment[2] = {static_cast<unsigned char>(upper >> 8),
                                              static_cast<unsigned char>(upper)};
            text += Record(4, 0, segment, 2);
        }
        const int count =
            static_cast<int>(std::min<std::size_t>(kBytesPerRecord, image.size() - offset));
        text += Record(0, static_cast<unsigned>(offset & 0xFFFFu), &image[offset], count);
    }
    return text + Record(1, 0, nullptr, 0);
}

int Count() {
    return 1;
}

int Bitmap(int index, char* buffer, int size) {
    if (index != 0)
        return 1;
    return Answer(plugInFolder + "SarnovaExtender/export-hex.svg", buffer, size);
}

int Title(int index, char* buffer, int size) {
    if (index != 0)
        return 1;
    return Answer("Export ROM image as Intel HEX", buffer, size);
}

// 0 written; 1 no ROM image; 2 the HEX file couldn't be written.
int Run(int index, const char* folder, const char* title) {
    if (index != 0 || folder == nullptr || title == nullptr)
        return 1;
    const std::string base = std::string(folder) + title;
    std::ifstream in(base + ".rom", std::ios::binary);
    if (!in)
        return 1;
    const std::vector<unsigned char> image((std::istreambuf_iterator<char>(in)),
                                           std::istreambuf_iterator<char>());
    // Written beside and renamed over, so a failed write leaves no half file.
    const std::string hex = base + ".hex";
    const std::string partial = hex + ".partial";
    {
        std::ofstream out(partial, std::ios::binary | std::ios::trunc);
        out << IntelHex(image);
        if (!out.flush()) {
            std::remove(partial.c_str());
            return 2;
        }
    }
    return std::rename(partial.c_str(), hex.c_str()) == 0 ? 0 : 2;
}

const TessarineExtender kPortalExtender = {TESSARINE_EXTENDER_VERSION, Count, Bitmap, Title, Run};

} // namespace

extern "C" __attribute__((visibility("default"))) const TessarineExtender*
tessarine_extender(const char* className, const char* folder) {
    if (className == nullptr || std::strcmp(className, "PortalExtender") != 0)
        return nullptr;
    plugInFolder = folder != nullptr ? folder : "";
    return &kPortalExtender;
}
