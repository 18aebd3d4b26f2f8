#include "foundation/Common.h"

#include "foundation/Error.h"
#include "platform/FileSystem.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

namespace bx {

namespace {

constexpr char kHexDigits[] = "0123456789ABCDEF";

// Upper-case hexadecimal of an unsigned 32-bit value, left-filled with "0" to minDigits.
std::string HexOf(uint32_t value, std::size_t minDigits) {
    std::string digits;
    do {
        digits.insert(digits.begin(), kHexDigits[value & 0xFu]);
        value >>= 4;
    } while (value != 0);
    if (digits.size() < minDigits)
        digits.insert(0, minDigits - digits.size(), '0');
    return digits;
}

// The value of a hexadecimal digit, or -1 for any other character.
int HexDigitValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}
bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

// Reads hexadecimal digits from text[pos] on, in 32 bits, stopping at the first non-digit.
// Digits beyond the eighth shift the high ones out, so only the low 32 bits of a long run of
// digits survive; *significant counts the digits after leading zeros, so that a caller that
// must refuse a value wider than 32 bits can tell.
uint32_t ReadHexRun(const std::string& text, std::size_t& pos, int* significant = nullptr) {
    uint32_t result = 0;
    int counted = 0;
    for (; pos < text.size(); ++pos) {
        int digit = HexDigitValue(text[pos]);
        if (digit < 0)
            break;
        if (counted > 0 || digit != 0)
            ++counted;
        result = (result << 4) | static_cast<uint32_t>(digit);
    }
    if (significant)
        *significant = counted;
    return result;
}

// The "&H" (or "&h") prefix of the hexadecimal literal form at text[pos].
bool HasHexPrefix(const std::string& text, std::size_t pos) {
    return pos + 1 < text.size() && text[pos] == '&' &&
           (text[pos + 1] == 'H' || text[pos + 1] == 'h');
}

// Scans a decimal number at text[pos]: optional sign, digits with an optional decimal point
// (at least one digit in all), and an exponent that counts only when at least one digit follows
// its letter and sign. Returns the end of the number, or pos when there is no number there.
std::size_t ScanDecimal(const std::string& text, std::size_t pos) {
    std::size_t i = pos;
    if (i < text.size() && (text[i] == '+' || text[i] == '-'))
        ++i;
    std::size_t mantissaDigits = 0;
    while (i < text.size() && IsDigit(text[i])) {
        ++i;
        ++mantissaDigits;
    }
    if (i < text.size() && text[i] == '.') {
        ++i;
        while (i < text.size() && IsDigit(text[i])) {
            ++i;
            ++mantissaDigits;
        }
    }
    if (mantissaDigits == 0)
        return pos;
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        std::size_t e = i + 1;
        if (e < text.size() && (text[e] == '+' || text[e] == '-'))
            ++e;
        if (e < text.size() && IsDigit(text[e])) {
            while (e < text.size() && IsDigit(text[e]))
                ++e;
            i = e;
        }
    }
    return i;
}

// The decimal order of magnitude of a number scanned by ScanDecimal (unsigned part
// text[begin, end)): the number of digits ahead of the point, after leading zeros, less the
// zeros right behind the point, plus the exponent. For a number beyond the range of a double
// only its sign matters: large and positive on an overflow, large and negative on an underflow.
// The exponent saturates, so an absurd exponent text still gives the right sign.
long DecimalMagnitude(const std::string& text, std::size_t begin, std::size_t end) {
    long magnitude = 0;
    bool seenNonZero = false;
    std::size_t i = begin;
    for (; i < end && IsDigit(text[i]); ++i) {
        seenNonZero = seenNonZero || text[i] != '0';
        if (seenNonZero)
            ++magnitude;
    }
    if (i < end && text[i] == '.')
        for (++i; i < end && IsDigit(text[i]); ++i) {
            if (!seenNonZero && text[i] == '0')
                --magnitude;
            seenNonZero = seenNonZero || text[i] != '0';
        }
    if (i < end) { // the exponent: "e", optional sign, digits
        ++i;
        bool negative = text[i] == '-';
        if (text[i] == '+' || text[i] == '-')
            ++i;
        long exponent = 0;
        for (; i < end; ++i)
            exponent = std::min(exponent * 10 + (text[i] - '0'), 1'000'000'000L);
        magnitude += negative ? -exponent : exponent;
    }
    return magnitude;
}

// The value of a decimal number that ScanDecimal accepted as text[begin, end). Conversion is
// independent of the process locale (the GUI toolkit may set one with a decimal comma).
// nullopt when the magnitude is beyond what a double holds.
std::optional<double> DecimalValue(const std::string& text, std::size_t begin, std::size_t end) {
    bool negative = false;
    if (text[begin] == '+' || text[begin] == '-') {
        negative = text[begin] == '-';
        ++begin;
    }
    double value = 0.0;
    auto [ptr, ec] =
        std::from_chars(text.data() + begin, text.data() + end, value, std::chars_format::general);
    if (ec == std::errc::result_out_of_range) {
        // Beyond a double either way: too small (zero for every purpose here) or too large.
        if (DecimalMagnitude(text, begin, end) < 0)
            return negative ? -0.0 : 0.0;
        return std::nullopt;
    }
    if (ec != std::errc() || ptr != text.data() + end)
        return std::nullopt;
    return negative ? -value : value;
}

// Rounds to the nearest integer, a tie going to the even neighbour. Done by hand so that the
// result does not depend on the floating-point environment's rounding mode.
double RoundHalfEven(double value) {
    double below = std::floor(value);
    double fraction = value - below; // exact for every double
    if (fraction > 0.5)
        return below + 1.0;
    if (fraction < 0.5)
        return below;
    return std::fmod(below, 2.0) == 0.0 ? below : below + 1.0;
}

// The numeric test and conversion of ParseNumber's decimal branch. Accepted, with optional
// blanks (spaces, tabs) ahead and behind:
//  - a decimal number: optional sign, digits, optional decimal point, optional exponent;
//  - "&H" and one or more hexadecimal digits, read in 32 bits like HexToLong, so "&HFFFF" is
//    65535 (an address, as everywhere else in the studio) and "&HFFFFFFFF" is -1; more than
//    eight significant digits do not fit and fail.
// Thousands separators, currency signs, parentheses and a sign after the digits are refused:
// the forms are the same on every machine, whatever its regional settings.
// A value that, once rounded, lies outside the 32-bit range fails: the reader never hands back
// a number other than the one written.
std::optional<int32_t> NumericValue(const std::string& text) {
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end && IsBlank(text[begin]))
        ++begin;
    while (end > begin && IsBlank(text[end - 1]))
        --end;
    if (begin == end)
        return std::nullopt;

    if (HasHexPrefix(text, begin)) {
        std::size_t pos = begin + 2;
        int significant = 0;
        uint32_t value = ReadHexRun(text, pos, &significant);
        if (pos == begin + 2 || pos != end || significant > 8)
            return std::nullopt;
        return static_cast<int32_t>(value);
    }

    if (ScanDecimal(text, begin) != end)
        return std::nullopt;
    std::optional<double> value = DecimalValue(text, begin, end);
    if (!value)
        return std::nullopt;
    double rounded = RoundHalfEven(*value);
    if (rounded < static_cast<double>(std::numeric_limits<int32_t>::min()) ||
        rounded > static_cast<double>(std::numeric_limits<int32_t>::max()))
        return std::nullopt;
    return static_cast<int32_t>(rounded);
}

} // namespace

// ---- Number and address text forms -------------------------------------------------------

std::string Hex2(int32_t value) {
    // The value is a 16-bit quantity: wider values keep their low 16 bits, and a negative one
    // shows its 16-bit two's complement, which has four digits.
    return HexOf(static_cast<uint16_t>(value), 2);
}

std::string Hex4(int32_t value) {
    return HexOf(static_cast<uint32_t>(value), 4);
}

std::string Hex(int32_t value) {
    return HexOf(static_cast<uint32_t>(value), 1);
}

std::string Hex8(int32_t value) {
    return HexOf(static_cast<uint32_t>(value), 8);
}

int32_t HexToLong(const std::string& text) {
    std::size_t pos = 0;
    return static_cast<int32_t>(ReadHexRun(text, pos));
}

int32_t BinToLong(const std::string& text) {
    // Arithmetic in 32 unsigned bits: a run of more than 32 digits keeps its low 32 bits.
    uint32_t result = 0;
    for (char c : text) {
        if (c != '0' && c != '1')
            return -1;
        result = (result << 1) | static_cast<uint32_t>(c - '0');
    }
    return static_cast<int32_t>(result);
}

bool IsHexText(const std::string& text, bool allowColon) {
    if (text.empty())
        return false;
    for (char c : text)
        if (HexDigitValue(c) < 0 && !(allowColon && c == ':'))
            return false;
    return true;
}

int32_t ParseNumber(const std::string& text, int32_t& bank, bool& failed) {
    failed = false;
    if (!text.empty() && text[0] == '$') {
        std::size_t colon = text.find(':');
        // A colon at index 2 or later leaves at least one character of bank between "$" and it.
        if (colon != std::string::npos && colon >= 2) {
            bank = HexToLong(text.substr(1, colon - 1));
            return HexToLong(text.substr(colon + 1));
        }
        return HexToLong(text.substr(1));
    }
    if (!text.empty() && text[0] == '%')
        return BinToLong(text.substr(1));
    if (std::optional<int32_t> value = NumericValue(text))
        return *value;
    failed = true;
    return 0;
}

std::optional<bool> TextToBool(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string::npos)
        return std::nullopt;
    const std::string trimmed = text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
    std::string upper = trimmed;
    for (char& c : upper)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    if (upper == "TRUE")
        return true;
    if (upper == "FALSE")
        return false;
    // Only a decimal number counts: "$1" or "%1" are no booleans.
    if (trimmed.front() == '$' || trimmed.front() == '%')
        return std::nullopt;
    int32_t bank = 0;
    bool failed = false;
    ParseNumber(trimmed, bank, failed);
    if (failed)
        return std::nullopt;
    return LeadingNumber(trimmed) != 0.0;
}

std::string ReplaceAll(std::string text, const std::string& what, const std::string& with) {
    if (what.empty())
        return text;
    std::size_t position = 0;
    while ((position = text.find(what, position)) != std::string::npos) {
        text.replace(position, what.size(), with);
        position += with.size();
    }
    return text;
}

std::size_t Utf8SequenceLength(std::string_view text, std::size_t pos) {
    auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned char lead = byte(pos);
    if (lead < 0x80)
        return 1;
    std::size_t length;
    unsigned char low = 0x80, high = 0xBF; // allowed range of the second byte
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0)
            low = 0xA0; // no overlong three-byte forms
        if (lead == 0xED)
            high = 0x9F; // no surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0)
            low = 0x90; // no overlong four-byte forms
        if (lead == 0xF4)
            high = 0x8F; // nothing above U+10FFFF
    } else {
        return 0;
    }
    if (pos + length > text.size())
        return 0;
    if (byte(pos + 1) < low || byte(pos + 1) > high)
        return 0;
    for (std::size_t i = 2; i < length; ++i)
        if (byte(pos + i) < 0x80 || byte(pos + i) > 0xBF)
            return 0;
    return length;
}

std::u16string Utf8ToUtf16(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t length = Utf8SequenceLength(text, pos);
        if (length == 0) {
            out.push_back(u'\uFFFD');
            ++pos;
            continue;
        }
        // The lead byte's payload, then six bits from each continuation byte.
        static constexpr unsigned char kLeadMask[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
        char32_t code = static_cast<unsigned char>(text[pos]) & kLeadMask[length];
        for (std::size_t i = 1; i < length; ++i)
            code = (code << 6) | (static_cast<unsigned char>(text[pos + i]) & 0x3F);
        pos += length;
        if (code >= 0x10000) {
            code -= 0x10000;
            out.push_back(static_cast<char16_t>(0xD800 + (code >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
        } else {
            out.push_back(static_cast<char16_t>(code));
        }
    }
    return out;
}

std::vector<std::string> SplitText(const std::string& text, char separator) {
    std::vector<std::string> parts(1);
    for (char c : text) {
        if (c == separator)
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

std::string LowerCase(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string UpperCase(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

std::string Spaces(int32_t count) {
    return count < 1 ? std::string() : std::string(static_cast<std::size_t>(count), ' ');
}

std::string ArrayBaseName(const std::string& text) {
    std::size_t open = text.find('[');
    if (open == std::string::npos || open == 0)
        return text;
    return text.substr(0, open);
}

int32_t ArrayIndexOf(const std::string& text) {
    std::size_t open = text.find('[');
    if (text.empty() || open == std::string::npos || open == 0 || text.size() - open < 3)
        return -1;
    // Without a "]" the index runs to the end of the text.
    std::size_t close = text.find(']', open + 1);
    std::size_t length = close == std::string::npos ? std::string::npos : close - open - 1;
    std::string index = text.substr(open + 1, length);
    if (index.empty())
        return -1;
    int32_t bank = 0;
    bool failed = false;
    int32_t value = ParseNumber(index, bank, failed);
    return failed ? -1 : value;
}

double LeadingNumber(const std::string& text) {
    // Leading blanks are passed over, so " 2" reads as 2; a blank after the first character of
    // the number ends it.
    std::size_t begin = 0;
    while (begin < text.size() && IsBlank(text[begin]))
        ++begin;
    if (HasHexPrefix(text, begin)) {
        std::size_t pos = begin + 2;
        return static_cast<int32_t>(ReadHexRun(text, pos));
    }
    std::size_t end = ScanDecimal(text, begin);
    if (end == begin)
        return 0.0;
    // Overflow gives infinity with the number's sign, as a double would hold it.
    if (std::optional<double> value = DecimalValue(text, begin, end))
        return *value;
    return text[begin] == '-' ? -std::numeric_limits<double>::infinity()
                              : std::numeric_limits<double>::infinity();
}

float ParseFractionText(const std::string& text, int32_t extent) {
    std::size_t slash = text.find('/');
    if (slash == std::string::npos)
        return static_cast<float>(LeadingNumber(text));
    double numerator = LeadingNumber(text.substr(0, slash));
    double denominator = LeadingNumber(text.substr(slash + 1));
    // A zero denominator is a damaged layout: the share of nothing is 0, which keeps infinity
    // and NaN away from the window arithmetic.
    if (denominator == 0.0)
        return 0.0f;
    return static_cast<float>(static_cast<double>(extent) * numerator / denominator);
}

// ---- Path texts (backslash form) ---------------------------------------------------------

namespace {
// Index of the first "." of the file name (behind the last backslash), or npos.
std::size_t ExtensionDot(const std::string& path) {
    std::size_t slash = path.rfind('\\');
    std::size_t nameStart = slash == std::string::npos ? 0 : slash + 1;
    return path.find('.', nameStart);
}
} // namespace

std::string StripExtension(const std::string& path) {
    std::size_t dot = ExtensionDot(path);
    return dot == std::string::npos ? path : path.substr(0, dot);
}

std::string GetExtension(const std::string& path) {
    std::size_t dot = ExtensionDot(path);
    if (dot == std::string::npos)
        return std::string();
    // Extensions of the files the studio handles are ASCII; bytes of other UTF-8 characters
    // pass unchanged.
    std::string extension = path.substr(dot + 1);
    for (char& c : extension)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return extension;
}

std::string FileNameOf(const std::string& path) {
    std::size_t slash = path.rfind('\\');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string DirectoryOf(const std::string& path) {
    std::size_t slash = path.rfind('\\');
    if (slash == std::string::npos || slash == 0)
        return std::string();
    return path.substr(0, slash + 1);
}

std::string RelativeToFolder(const std::string& path, const std::string& folder) {
    if (!folder.empty() && path.size() > folder.size() &&
        path.compare(0, folder.size(), folder) == 0)
        return path.substr(folder.size());
    return path;
}

bool IsAbsolutePath(const std::string& path) {
    return (!path.empty() && path[0] == '\\') || (path.size() >= 2 && path[1] == ':');
}

// ---- Files and the process ---------------------------------------------------------------

std::string ApplianceNameProblem(const std::string& name) {
    auto allowed = [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
               c == '_' || c == '-' || c == '.';
    };
    const bool fits = !name.empty() && name[0] != '.' && name[0] != '-' &&
                      std::all_of(name.begin(), name.end(), allowed);
    if (fits)
        return {};
    return "The name \"" + name +
           "\" can't be used for an appliance. A name may hold only the letters A-Z and a-z, "
           "the digits 0-9, \"_\", \"-\" and \".\", and may not begin with \"-\" or \".\".";
}

void ChangeDirAndDrive(const std::string& path) {
    if (!platform::SetCurrentDirectory(path))
        throw BxError(errors::kPathNotFound, "Common", "Path not found: '" + path + "'");
    // "C:\..." would now change the current drive to C. Linux has one file tree and no drives:
    // the directory step above has already made the folder current, drive and all, so there is
    // nothing left to change, and a folder that doesn't exist has already raised.
}

uint64_t GetFileWriteTime(const std::string& path) {
    return platform::LastWriteTime(path).value_or(0);
}

std::string FileTimeText(uint64_t stamp) {
    return Hex8(static_cast<int32_t>(static_cast<uint32_t>(stamp >> 32))) +
           Hex8(static_cast<int32_t>(static_cast<uint32_t>(stamp)));
}

int32_t GetFileLength(const std::string& path) {
    std::optional<uint64_t> size = platform::FileSize(path);
    if (!size)
        return -1;
    return static_cast<int32_t>(static_cast<uint32_t>(*size));
}

bool MakeDirectories(const std::string& path) {
    if (path.empty())
        return false;
    std::string folder = path;
    if (folder.back() == '\\')
        folder.pop_back();
    std::string parent = DirectoryOf(folder);
    if (!parent.empty() && parent.back() == '\\')
        parent.pop_back();
    // "No attributes" means nothing of that name exists, neither file nor folder. A file in the
    // way is left alone, and the creation below then fails.
    if (!parent.empty() && !platform::FolderExists(parent) && !platform::FileExists(parent))
        MakeDirectories(parent);
    return platform::CreateFolder(folder);
}

void RaiseProcessPriority() {
    // Raising the priority needs a privilege that an ordinary user often lacks on Linux; the
    // studio then simply runs at normal priority.
    (void)platform::SetHighPriority();
}

// ---- Window placement arithmetic ---------------------------------------------------------

namespace {
// Pixels times twips per pixel, rounded down to a whole number and held within 32 bits (a NaN
// from a damaged layout gives 0).
int32_t ToTwips(float pixels, double twipsPerPixel) {
    double twips = std::floor(static_cast<double>(pixels) * twipsPerPixel);
    if (std::isnan(twips))
        return 0;
    if (twips <= static_cast<double>(std::numeric_limits<int32_t>::min()))
        return std::numeric_limits<int32_t>::min();
    if (twips >= static_cast<double>(std::numeric_limits<int32_t>::max()))
        return std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(twips);
}
} // namespace

WindowRect PlaceWindowByDesktop(const WindowLayoutText& record, int32_t clientWidth,
                                int32_t clientHeight, double twipsPerPixelX,
                                double twipsPerPixelY) {
    WindowRect rect;
    rect.Left = ToTwips(ParseFractionText(record.Left, clientWidth), twipsPerPixelX);
    rect.Top = ToTwips(ParseFractionText(record.Top, clientHeight), twipsPerPixelY);
    rect.Width = ToTwips(ParseFractionText(record.Width, clientWidth), twipsPerPixelX);
    rect.Height = ToTwips(ParseFractionText(record.Height, clientHeight), twipsPerPixelY);
    return rect;
}

} // namespace bx
