#pragma once
// Common value helpers: the single definition of the system's number and address text forms,
// and the helpers on path texts and files that every subsystem calls. All functions are
// stateless. Path texts use the backslash as the only separator (a "/" is never one); the
// platform layer converts them to the operating system's form where a file is touched.
// All comparisons are case-sensitive.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace bx {

// ---- Number and address text forms -------------------------------------------------------

// Upper-case hexadecimal digits of value (taken as 16 bits signed), at least two of them.
// A negative value gives its four-digit 16-bit form (Hex2(-1) == "FFFF"); larger values keep
// all their digits (Hex2(300) == "12C").
std::string Hex2(int32_t value);
// Upper-case hexadecimal, at least four digits; a negative value gives eight digits.
std::string Hex4(int32_t value);
// Upper-case hexadecimal, left-filled to eight digits; negatives in two's complement.
std::string Hex8(int32_t value);
// Plain upper-case hexadecimal with no fill (Hex(5) == "5"); negatives in 32-bit two's
// complement (Hex(-1) == "FFFFFFFF").
std::string Hex(int32_t value);
// Reads hexadecimal digits up to the first non-digit, in 32 bits ("FFFFFFFF" is -1).
int32_t HexToLong(const std::string& text);
// Reads binary digits; the first character other than 0 or 1 makes the result -1.
int32_t BinToLong(const std::string& text);
// True when text is non-empty and every character is a hex digit (or ":" when allowed).
bool IsHexText(const std::string& text, bool allowColon);
// The general number reader: "$BB:AAAA", "$hex", "%bin", or a decimal/"&H" numeric text
// rounded half to even. bank is written only for the "$BB:AAAA" form.
int32_t ParseNumber(const std::string& text, int32_t& bank, bool& failed);
// Text to boolean as files and dialogs hold it: "True" or "False" in any case, or a decimal
// number (non-zero is true), blanks around it allowed. Nothing for any other text.
std::optional<bool> TextToBool(const std::string& text);
// Every occurrence of what in text replaced by with, left to right, without looking again into
// what was put in; an empty what changes nothing.
std::string ReplaceAll(std::string text, const std::string& what, const std::string& with);
// The length of the valid UTF-8 sequence that starts at pos of text, or 0 when none does:
// overlong forms, surrogates and values above U+10FFFF aren't valid.
std::size_t Utf8SequenceLength(std::string_view text, std::size_t pos);
// UTF-8 text in UTF-16 (the form of text widgets); a byte that starts no valid sequence
// becomes U+FFFD.
std::u16string Utf8ToUtf16(std::string_view text);
// The pieces of text between the separators: "a\0b" gives {"a", "b"}, "" gives {""}.
std::vector<std::string> SplitText(const std::string& text, char separator);
// count blanks; empty for count below 1.
std::string Spaces(int32_t count);
// text with its ASCII letters in lower (upper) case; comparisons "without regard to case".
std::string LowerCase(std::string text);
std::string UpperCase(std::string text);
// The part ahead of the first "["; the text itself when empty, without "[" or starting with it.
std::string ArrayBaseName(const std::string& text);
// The element number of "name[n]" in any ParseNumber form, or -1.
int32_t ArrayIndexOf(const std::string& text);
// "n/d" gives extent * n / d; a plain number gives its value.
float ParseFractionText(const std::string& text, int32_t extent);
// The leading number of text, parsing stops at the first character that cannot continue it;
// 0 when there is none. Understands sign, decimal point, exponent and "&H" hexadecimal.
double LeadingNumber(const std::string& text);

// ---- Path texts (backslash form) ---------------------------------------------------------

// Everything ahead of the first "." behind the last backslash; the path itself without one.
std::string StripExtension(const std::string& path);
// Everything behind that same first dot, in lower case; empty without a dot.
std::string GetExtension(const std::string& path);
// Everything behind the last backslash; the whole text without one.
std::string FileNameOf(const std::string& path);
// Everything up to and including the last backslash; empty when there is none or when the only
// backslash is the first character.
std::string DirectoryOf(const std::string& path);
// path without folder in front when it begins with folder exactly and is longer than it; a
// non-empty folder ends in "\". Otherwise path itself.
std::string RelativeToFolder(const std::string& path, const std::string& folder);
// Whether the path doesn't depend on the current directory: it begins at the root ("\...") or
// names a drive ("C:...").
bool IsAbsolutePath(const std::string& path);

// Why a text can't be an appliance's name, or the empty text when it can. The name is the
// base of the appliance's file, ROM image and debug file, and stands in the Makefile and in
// the tools' command lines, so it holds only what every one of them carries as it stands:
// letters A-Z and a-z, digits, "_", "-" and ".", not at the start for the last two (no
// hidden file, no option, no ".."). So a name never leads out of the appliance's folder.
// The text names the allowed characters.
std::string ApplianceNameProblem(const std::string& name);

// ---- Files and the process ---------------------------------------------------------------

// Sets the current directory to path (and the drive, where the system has drives).
// Throws BxError when the folder does not exist.
void ChangeDirAndDrive(const std::string& path);
// The file's last-write time as a 64-bit stamp that grows with time; 0 when it can't be read.
uint64_t GetFileWriteTime(const std::string& path);
// Hex8(high half) + Hex8(low half): sixteen digits, ordered by time under text comparison.
std::string FileTimeText(uint64_t stamp);
// The file's size in bytes (low 32 bits), or -1 when it can't be opened.
int32_t GetFileLength(const std::string& path);
// Creates the folder and any missing parents; returns whether the last creation succeeded
// (an existing folder gives false, which callers do not treat as fatal).
bool MakeDirectories(const std::string& path);
// Asks for a high scheduling priority; a refusal (no privilege) is silent.
void RaiseProcessPriority();

// ---- Window placement arithmetic ---------------------------------------------------------

// A stored window layout: each field pixels ("120") or a share of the client area ("1/2").
struct WindowLayoutText {
    std::string Left, Top, Width, Height;
};
struct WindowRect {
    int32_t Left = 0, Top = 0, Width = 0, Height = 0;
};
// The four values, in twips, that the frame moves a child window to.
WindowRect PlaceWindowByDesktop(const WindowLayoutText& record, int32_t clientWidth,
                                int32_t clientHeight, double twipsPerPixelX, double twipsPerPixelY);

} // namespace bx
