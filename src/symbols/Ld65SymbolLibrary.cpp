#include "symbols/Ld65SymbolLibrary.h"

#include "platform/FileSystem.h"
#include "platform/Paths.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>
#include <queue>
#include <string_view>
#include <utility>

namespace bx::symbols {

namespace {

constexpr int64_t kSlice = 0x4000;         // one bank, and the unit of the ROM image layout
constexpr int64_t kUnbankedBytes = 0x8000; // the unbanked area at the head of the image
// FindSource's buckets: 1 KB of address space each, over the 24-bit addresses the linker can
// place code at (16,384 buckets).
constexpr int kBucketShift = 10;
constexpr int64_t kBucketedAddresses = int64_t{1} << 24;

// A parse failure: where and what. Carried by value, never thrown.
struct Failure {
    std::size_t Line = 0;
    std::string What;
};

// ---- The record scanner -------------------------------------------------------------------

// One key=value of a record. A quoted value is given without its quotes.
struct Field {
    std::string_view Key;
    std::string_view Value;
    bool Quoted = false;
};

// Splits "type<TAB>k=v,k="s",k=1+2" into the type and the fields. False for text that isn't a
// record (a key without "=", an unterminated string, nothing after a comma).
bool SplitRecord(std::string_view text, std::string_view& type, std::vector<Field>& fields) {
    fields.clear();
    std::size_t i = 0;
    const std::size_t n = text.size();
    while (i < n && text[i] != '\t' && text[i] != ' ')
        ++i;
    type = text.substr(0, i);
    while (i < n && (text[i] == '\t' || text[i] == ' '))
        ++i;
    if (type.empty())
        return false;
    while (i < n) {
        std::size_t keyStart = i;
        while (i < n && text[i] != '=' && text[i] != ',')
            ++i;
        if (i >= n || text[i] != '=' || i == keyStart)
            return false;
        Field field;
        field.Key = text.substr(keyStart, i - keyStart);
        ++i; // '='
        if (i < n && text[i] == '"') {
            const char* close =
                static_cast<const char*>(std::memchr(text.data() + i + 1, '"', n - i - 1));
            if (close == nullptr)
                return false;
            std::size_t end = static_cast<std::size_t>(close - text.data());
            field.Value = text.substr(i + 1, end - i - 1);
            field.Quoted = true;
            i = end + 1;
        } else {
            std::size_t valueStart = i;
            while (i < n && text[i] != ',')
                ++i;
            field.Value = text.substr(valueStart, i - valueStart);
            if (field.Value.empty())
                return false;
        }
        fields.push_back(field);
        if (i < n) {
            if (text[i] != ',')
                return false;
            ++i;
            if (i >= n)
                return false; // a trailing comma: the record was cut off
        }
    }
    return true;
}

// "123" or "0x7B"; nothing for anything else or a value past 32 bits unsigned.
std::optional<int64_t> ParseNumber(std::string_view text) {
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        text.remove_prefix(2);
        base = 16;
    }
    if (text.empty() || text.size() > 10)
        return std::nullopt;
    int64_t value = 0;
    for (char c : text) {
        int digit;
        if (c >= '0' && c <= '9')
            digit = c - '0';
        else if (base == 16 && c >= 'a' && c <= 'f')
            digit = c - 'a' + 10;
        else if (base == 16 && c >= 'A' && c <= 'F')
            digit = c - 'A' + 10;
        else
            return std::nullopt;
        value = value * base + digit;
    }
    if (value > 0xFFFFFFFFll)
        return std::nullopt;
    return value;
}

// ---- Records as read ------------------------------------------------------------------------

struct LineRecord {
    int32_t File = -1;
    int32_t Line = 0;
    int32_t Type = 0; // 0 assembler source, 1 external (C) source, 2 macro body
    // Offsets into the shared list of span ids.
    uint32_t FirstSpan = 0;
    uint32_t SpanCount = 0;
};

struct SegRecord {
    int64_t Start = 0;
    int64_t Size = 0;
    int64_t OutputOffset = -1; // -1: in no output file
    bool Writable = false;
};

struct SpanRecord {
    int32_t Seg = -1;
    int64_t Start = 0;
    int64_t Size = 0;
};

struct ScopeRecord {
    std::string Name;
    int32_t Parent = -1;
};

struct SymRecord {
    std::string Name;
    int64_t Value = 0;
    bool HasValue = false;
    int32_t Seg = -1;
    int32_t Scope = -1;
    bool CheapLocal = false;
    enum class Type { Label, Equate, Import } Kind = Type::Label;
};

// The record types whose counts the "info" line gives, in one table.
enum RecordKind { kFile, kLine, kMod, kSeg, kSpan, kScope, kSym, kType, kCsym, kLib, kKinds };
constexpr const char* kKindNames[kKinds] = {"file",  "line", "mod",  "seg",  "span",
                                            "scope", "sym",  "type", "csym", "lib"};

int KindOf(std::string_view type) {
    for (int k = 0; k < kKinds; ++k)
        if (type == kKindNames[k])
            return k;
    return -1;
}

class Reader {
public:
    std::optional<Failure> Read(std::string_view text);

    std::vector<std::string> FileNames;
    std::vector<LineRecord> Lines;
    std::vector<int32_t> LineSpans;
    std::vector<SegRecord> Segs;
    std::vector<SpanRecord> Spans;
    std::vector<ScopeRecord> Scopes;
    std::vector<SymRecord> Syms;

private:
    std::optional<Failure> Fail(std::string what) const { return Failure{lineNumber_, what}; }
    // The field named key, or nullptr.
    const Field* Find(std::string_view key) const {
        for (const Field& f : fields_)
            if (f.Key == key)
                return &f;
        return nullptr;
    }
    bool Number(std::string_view key, int64_t& value, std::string& error) const;
    bool OptionalNumber(std::string_view key, int64_t& value, std::string& error) const;
    // The id of the record, checked against the count of its kind and against repetition.
    bool TakeId(int kind, int64_t& id, std::string& error);

    std::optional<Failure> ReadInfo();
    std::optional<Failure> ReadRecord(int kind);

    std::vector<Field> fields_;
    std::size_t lineNumber_ = 0;
    std::size_t textSize_ = 0;
    int64_t counts_[kKinds] = {};
    int64_t seen_[kKinds] = {};
    std::vector<bool> taken_[kKinds];
};

bool Reader::Number(std::string_view key, int64_t& value, std::string& error) const {
    const Field* field = Find(key);
    if (field == nullptr) {
        error = "no \"" + std::string(key) + "\"";
        return false;
    }
    auto number = field->Quoted ? std::nullopt : ParseNumber(field->Value);
    if (!number) {
        error = "\"" + std::string(key) + "\" is no number";
        return false;
    }
    value = *number;
    return true;
}

bool Reader::OptionalNumber(std::string_view key, int64_t& value, std::string& error) const {
    if (Find(key) == nullptr)
        return true;
    return Number(key, value, error);
}

bool Reader::TakeId(int kind, int64_t& id, std::string& error) {
    if (!Number("id", id, error))
        return false;
    if (id >= counts_[kind]) {
        error = std::string(kKindNames[kind]) + " id " + std::to_string(id) +
                " is beyond the count of " + std::to_string(counts_[kind]) + " the info line gives";
        return false;
    }
    if (taken_[kind][static_cast<std::size_t>(id)]) {
        error = std::string(kKindNames[kind]) + " id " + std::to_string(id) + " appears twice";
        return false;
    }
    taken_[kind][static_cast<std::size_t>(id)] = true;
    ++seen_[kind];
    return true;
}

std::optional<Failure> Reader::ReadInfo() {
    std::string error;
    for (int k = 0; k < kKinds; ++k) {
        int64_t count = 0;
        if (!OptionalNumber(kKindNames[k], count, error))
            return Fail("info: " + error);
        // A count beyond what the file could hold is a corrupt line, not a reason to reserve
        // gigabytes: every record takes well over 8 bytes.
        if (count > static_cast<int64_t>(textSize_ / 8))
            return Fail(std::string("info: the ") + kKindNames[k] + " count " +
                        std::to_string(count) +
                        " is out of range: the file can't hold that many records");
        counts_[k] = count;
        taken_[k].assign(static_cast<std::size_t>(count), false);
    }
    FileNames.resize(static_cast<std::size_t>(counts_[kFile]));
    Lines.resize(static_cast<std::size_t>(counts_[kLine]));
    Segs.resize(static_cast<std::size_t>(counts_[kSeg]));
    Spans.resize(static_cast<std::size_t>(counts_[kSpan]));
    Scopes.resize(static_cast<std::size_t>(counts_[kScope]));
    Syms.resize(static_cast<std::size_t>(counts_[kSym]));
    LineSpans.reserve(static_cast<std::size_t>(counts_[kLine]));
    return std::nullopt;
}

std::optional<Failure> Reader::ReadRecord(int kind) {
    std::string error;
    int64_t id = 0;
    if (!TakeId(kind, id, error))
        return Fail(error);
    const auto at = static_cast<std::size_t>(id);
    const std::string where = std::string(kKindNames[kind]) + " " + std::to_string(id) + ": ";
    switch (kind) {
    case kFile: {
        const Field* name = Find("name");
        if (name == nullptr || !name->Quoted)
            return Fail(where + "no quoted \"name\"");
        FileNames[at] = std::string(name->Value);
        break;
    }
    case kLine: {
        LineRecord& line = Lines[at];
        int64_t file = 0, number = 0, type = 0;
        if (!Number("file", file, error) || !Number("line", number, error) ||
            !OptionalNumber("type", type, error))
            return Fail(where + error);
        if (number > std::numeric_limits<int32_t>::max())
            return Fail(where + "the line number is out of range");
        if (file >= counts_[kFile])
            return Fail(where + "it names file " + std::to_string(file) + ", which isn't there");
        line.File = static_cast<int32_t>(file);
        line.Line = static_cast<int32_t>(number);
        line.Type = static_cast<int32_t>(std::min<int64_t>(type, 0xFFFF));
        line.FirstSpan = static_cast<uint32_t>(LineSpans.size());
        if (const Field* spans = Find("span")) {
            std::string_view list = spans->Value;
            while (true) {
                std::size_t plus = list.find('+');
                auto span = spans->Quoted ? std::nullopt : ParseNumber(list.substr(0, plus));
                if (!span)
                    return Fail(where + "\"span\" is no list of numbers");
                if (*span >= counts_[kSpan])
                    return Fail(where + "it names span " + std::to_string(*span) +
                                ", which isn't there");
                LineSpans.push_back(static_cast<int32_t>(*span));
                if (plus == std::string_view::npos)
                    break;
                list.remove_prefix(plus + 1);
            }
        }
        line.SpanCount = static_cast<uint32_t>(LineSpans.size()) - line.FirstSpan;
        break;
    }
    case kSeg: {
        SegRecord& seg = Segs[at];
        if (!Number("start", seg.Start, error) || !Number("size", seg.Size, error))
            return Fail(where + error);
        if (seg.Start + seg.Size > 0x1000000)
            return Fail(where + "the segment runs past 24-bit addresses");
        if (const Field* type = Find("type"))
            seg.Writable = type->Value == "rw";
        if (Find("oname") != nullptr) {
            if (!Number("ooffs", seg.OutputOffset, error))
                return Fail(where + error);
        }
        break;
    }
    case kSpan: {
        SpanRecord& span = Spans[at];
        int64_t seg = 0;
        if (!Number("seg", seg, error) || !Number("start", span.Start, error) ||
            !Number("size", span.Size, error))
            return Fail(where + error);
        if (seg >= counts_[kSeg])
            return Fail(where + "it names segment " + std::to_string(seg) + ", which isn't there");
        span.Seg = static_cast<int32_t>(seg);
        break;
    }
    case kScope: {
        ScopeRecord& scope = Scopes[at];
        const Field* name = Find("name");
        if (name == nullptr || !name->Quoted)
            return Fail(where + "no quoted \"name\"");
        scope.Name = std::string(name->Value);
        int64_t parent = -1;
        if (!OptionalNumber("parent", parent, error))
            return Fail(where + error);
        if (parent >= counts_[kScope])
            return Fail(where + "its parent scope isn't there");
        scope.Parent = static_cast<int32_t>(parent);
        break;
    }
    case kSym: {
        SymRecord& sym = Syms[at];
        const Field* name = Find("name");
        if (name == nullptr || !name->Quoted)
            return Fail(where + "no quoted \"name\"");
        sym.Name = std::string(name->Value);
        const Field* type = Find("type");
        if (type == nullptr)
            return Fail(where + "no \"type\"");
        if (type->Value == "equ")
            sym.Kind = SymRecord::Type::Equate;
        else if (type->Value == "imp")
            sym.Kind = SymRecord::Type::Import;
        else
            sym.Kind = SymRecord::Type::Label;
        if (Find("val") != nullptr) {
            if (!Number("val", sym.Value, error))
                return Fail(where + error);
            sym.HasValue = true;
        }
        int64_t seg = -1, scope = -1;
        if (!OptionalNumber("seg", seg, error) || !OptionalNumber("scope", scope, error))
            return Fail(where + error);
        if (seg >= counts_[kSeg])
            return Fail(where + "it names segment " + std::to_string(seg) + ", which isn't there");
        if (scope >= counts_[kScope])
            return Fail(where + "it names scope " + std::to_string(scope) + ", which isn't there");
        sym.Seg = static_cast<int32_t>(seg);
        sym.Scope = static_cast<int32_t>(scope);
        sym.CheapLocal = Find("parent") != nullptr;
        break;
    }
    default:
        // mod, type, csym, lib: counted and their ids checked, nothing else is needed.
        break;
    }
    return std::nullopt;
}

std::optional<Failure> Reader::Read(std::string_view text) {
    textSize_ = text.size();
    bool haveVersion = false;
    bool haveInfo = false;
    std::size_t pos = 0;
    while (pos < text.size()) {
        std::size_t end = text.find('\n', pos);
        std::string_view record =
            text.substr(pos, end == std::string_view::npos ? text.size() - pos : end - pos);
        pos = end == std::string_view::npos ? text.size() : end + 1;
        ++lineNumber_;
        if (!record.empty() && record.back() == '\r')
            record.remove_suffix(1);
        if (record.empty())
            continue;
        std::string_view type;
        if (!SplitRecord(record, type, fields_)) {
            if (!haveVersion)
                return Fail("the file doesn't start with a version record: not an ld65 debug file");
            return Fail("a record that can't be read: \"" + std::string(record.substr(0, 60)) +
                        "\"");
        }
        if (!haveVersion) {
            if (type != "version")
                return Fail("the file doesn't start with a version record: not an ld65 debug file");
            std::string error;
            int64_t major = 0, minor = 0;
            if (!Number("major", major, error) || !Number("minor", minor, error))
                return Fail("version: " + error);
            if (major != 2)
                return Fail("version " + std::to_string(major) + "." + std::to_string(minor) +
                            " of the debug file format isn't supported (only major version 2)");
            haveVersion = true;
            continue;
        }
        if (type == "info") {
            if (haveInfo)
                return Fail("a second info record");
            if (auto failure = ReadInfo())
                return failure;
            haveInfo = true;
            continue;
        }
        int kind = KindOf(type);
        if (kind < 0)
            continue; // a record type of a later minor version
        if (!haveInfo)
            return Fail(std::string(kKindNames[kind]) + " record ahead of the info record");
        if (auto failure = ReadRecord(kind))
            return failure;
    }
    if (!haveVersion)
        return Failure{lineNumber_, "the file is empty: not an ld65 debug file"};
    // ld65 ends every record with a line end; a last record without one was cut off, maybe in
    // the middle of a number that still reads as one.
    if (text.back() != '\n')
        return Failure{lineNumber_, "the last record has no line end: the file is cut off"};
    if (!haveInfo)
        return Failure{lineNumber_, "no info record"};
    for (int k = 0; k < kKinds; ++k)
        if (seen_[k] != counts_[k])
            return Failure{lineNumber_, "the file ends after " + std::to_string(seen_[k]) + " of " +
                                            std::to_string(counts_[k]) + " " + kKindNames[k] +
                                            " records: it is cut off"};
    return std::nullopt;
}

// One covering candidate for FindSource.
struct Cover {
    int64_t Start;
    int64_t End;
    int32_t File;
    int32_t Line;
    // Lower is preferred: macro body last, then the smaller span, then the earlier record.
    bool Macro;
    int64_t Size;
    int32_t Record;
};

bool Preferred(const Cover& a, const Cover& b) {
    if (a.Macro != b.Macro)
        return !a.Macro;
    if (a.Size != b.Size)
        return a.Size < b.Size;
    return a.Record < b.Record;
}

bool ContainsNoCase(const std::string& text, const std::string& part) {
    auto it = std::search(text.begin(), text.end(), part.begin(), part.end(), [](char a, char b) {
        auto lower = [](char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c + 32) : c; };
        return lower(a) == lower(b);
    });
    return it != text.end();
}

} // namespace

// ---- The library ----------------------------------------------------------------------------

int64_t Ld65SymbolLibrary::AddressOf(int64_t segStart, int64_t offset, int64_t outputOffset) {
    int64_t address = segStart + offset;
    if (segStart > 0xFFFF)
        return address; // the segment's own bank, in the high bits
    if (outputOffset < 0)
        return address;
    int64_t fileOffset = outputOffset + offset;
    bool inWindow = (address & 0xC000) == 0x4000 || (address & 0xC000) == 0xC000;
    if (!inWindow || fileOffset < kUnbankedBytes || address > 0xFFFF)
        return address;
    int64_t bank = fileOffset / kSlice - 2;
    return bank * 65536 + address;
}

void Ld65SymbolLibrary::SplitSourcePath(const std::string& recorded, std::string& folder,
                                        std::string& name) {
    std::string path = recorded;
    std::replace(path.begin(), path.end(), '/', '\\');
    std::size_t last = path.rfind('\\');
    if (last == std::string::npos) {
        folder.clear();
        name = path;
    } else if (last == 0) {
        folder = "\\";
        name = path.substr(1);
    } else {
        folder = path.substr(0, last);
        name = path.substr(last + 1);
    }
}

void Ld65SymbolLibrary::Clear() {
    files_.clear();
    lineAddresses_.clear();
    fileLines_.clear();
    denseAddresses_.clear();
    rangeBuckets_.clear();
    rangeStarts_.clear();
    rangeSources_.clear();
    symbols_.clear();
}

bool Ld65SymbolLibrary::LoadFile(const std::string& path) {
    Clear();
    std::optional<std::string> text = platform::ReadFile(path);
    if (!text) {
        loadError_ = "Can't read the symbol file " + platform::ToNativePath(path);
        return false;
    }
    return LoadText(*text, path);
}

bool Ld65SymbolLibrary::LoadText(const std::string& text, const std::string& path) {
    Clear();
    loadError_.clear();
    Reader reader;
    if (auto failure = reader.Read(text)) {
        loadError_ = "The symbol file " + platform::ToNativePath(path) + " can't be read";
        if (failure->Line > 0)
            loadError_ += " (line " + std::to_string(failure->Line) + ")";
        loadError_ += ": " + failure->What;
        return false;
    }

    // Files.
    files_.resize(reader.FileNames.size());
    for (std::size_t i = 0; i < files_.size(); ++i)
        SplitSourcePath(reader.FileNames[i], files_[i].Folder, files_[i].Name);

    // Lines with code: their addresses, and the candidates for FindSource.
    std::vector<Cover> covers;
    covers.reserve(reader.LineSpans.size());
    lineAddresses_.reserve(reader.Lines.size());
    for (std::size_t i = 0; i < reader.Lines.size(); ++i) {
        const LineRecord& line = reader.Lines[i];
        int64_t lowest = -1;
        for (uint32_t s = 0; s < line.SpanCount; ++s) {
            const SpanRecord& span =
                reader.Spans[static_cast<std::size_t>(reader.LineSpans[line.FirstSpan + s])];
            const SegRecord& seg = reader.Segs[static_cast<std::size_t>(span.Seg)];
            if (span.Size <= 0 || seg.OutputOffset < 0)
                continue; // no bytes, or bytes that only exist in RAM
            int64_t start = AddressOf(seg.Start, span.Start, seg.OutputOffset);
            int64_t end = start + span.Size;
            if (start < 1 || end > std::numeric_limits<int32_t>::max())
                continue;
            covers.push_back(Cover{start, end, line.File, line.Line, line.Type == 2, span.Size,
                                   static_cast<int32_t>(i)});
            if (lowest < 0 || start < lowest)
                lowest = start;
        }
        if (lowest > 0)
            lineAddresses_.push_back(
                LineAddress{(static_cast<uint64_t>(static_cast<uint32_t>(line.File)) << 32) |
                                static_cast<uint32_t>(line.Line),
                            static_cast<int32_t>(lowest)});
    }
    // One entry per file and line: the lowest address any of its records produced.
    std::sort(lineAddresses_.begin(), lineAddresses_.end(),
              [](const LineAddress& a, const LineAddress& b) {
                  return a.Key != b.Key ? a.Key < b.Key : a.Address < b.Address;
              });
    lineAddresses_.erase(
        std::unique(lineAddresses_.begin(), lineAddresses_.end(),
                    [](const LineAddress& a, const LineAddress& b) { return a.Key == b.Key; }),
        lineAddresses_.end());

    // FindSource's map: sweep the span boundaries in address order, keeping the covering
    // candidates in a heap ordered by preference. A candidate that has ended is dropped only
    // when it reaches the top; those below it can't answer before it does.
    std::sort(covers.begin(), covers.end(),
              [](const Cover& a, const Cover& b) { return a.Start < b.Start; });
    std::vector<int64_t> bounds;
    bounds.reserve(covers.size() * 2);
    for (const Cover& c : covers) {
        bounds.push_back(c.Start);
        bounds.push_back(c.End);
    }
    std::sort(bounds.begin(), bounds.end());
    bounds.erase(std::unique(bounds.begin(), bounds.end()), bounds.end());
    auto worse = [&covers](std::size_t a, std::size_t b) {
        return Preferred(covers[b], covers[a]);
    };
    std::priority_queue<std::size_t, std::vector<std::size_t>, decltype(worse)> active(worse);
    std::size_t next = 0;
    rangeStarts_.reserve(bounds.size());
    rangeSources_.reserve(bounds.size());
    for (int64_t at : bounds) {
        while (next < covers.size() && covers[next].Start == at)
            active.push(next++);
        while (!active.empty() && covers[active.top()].End <= at)
            active.pop();
        int32_t file = -1, line = 0;
        if (!active.empty()) {
            file = covers[active.top()].File;
            line = covers[active.top()].Line;
        }
        if (!rangeSources_.empty() && rangeSources_.back().File == file &&
            rangeSources_.back().Line == line)
            continue; // the same answer goes on
        rangeStarts_.push_back(at);
        rangeSources_.push_back(RangeSource{file, line});
    }

    BuildLineTables();
    BuildRangeBuckets();

    // Scope prefixes for symbols inside named scopes ("outer::inner").
    std::vector<std::string> prefixes(reader.Scopes.size());
    std::vector<char> resolved(reader.Scopes.size(), 0);
    for (std::size_t s = 0; s < reader.Scopes.size(); ++s) {
        // Walk up to a resolved scope or the top, guarding against a cycle in a corrupt file.
        std::vector<std::size_t> chain;
        std::size_t at = s;
        while (!resolved[at] && chain.size() <= reader.Scopes.size()) {
            chain.push_back(at);
            int32_t parent = reader.Scopes[at].Parent;
            if (parent < 0)
                break;
            at = static_cast<std::size_t>(parent);
        }
        if (chain.size() > reader.Scopes.size()) {
            loadError_ = "The symbol file " + platform::ToNativePath(path) +
                         " can't be read: its scopes contain each other";
            Clear();
            return false;
        }
        for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
            const ScopeRecord& scope = reader.Scopes[*it];
            std::string prefix =
                scope.Parent >= 0 && resolved[static_cast<std::size_t>(scope.Parent)]
                    ? prefixes[static_cast<std::size_t>(scope.Parent)]
                    : std::string();
            if (!scope.Name.empty())
                prefix += scope.Name + "::";
            prefixes[*it] = std::move(prefix);
            resolved[*it] = 1;
        }
    }

    // Symbols, in the file's order. Imports repeat an export defined elsewhere; cheap local
    // labels ("@loop") only mean something next to the label they belong to.
    symbols_.reserve(reader.Syms.size());
    for (SymRecord& sym : reader.Syms) {
        if (sym.Kind == SymRecord::Type::Import || sym.CheapLocal || !sym.HasValue)
            continue;
        SymbolDefinition definition;
        definition.Name =
            (sym.Scope >= 0 ? prefixes[static_cast<std::size_t>(sym.Scope)] : std::string()) +
            std::move(sym.Name);
        int64_t address = sym.Value;
        if (sym.Kind == SymRecord::Type::Label && sym.Seg >= 0) {
            const SegRecord& seg = reader.Segs[static_cast<std::size_t>(sym.Seg)];
            definition.Kind = seg.Writable ? "Data" : "Code";
            if (sym.Value >= seg.Start && sym.Value <= seg.Start + seg.Size)
                address = AddressOf(seg.Start, sym.Value - seg.Start, seg.OutputOffset);
        } else {
            definition.Kind = "Equate";
        }
        definition.Address = static_cast<int32_t>(static_cast<uint32_t>(address));
        symbols_.push_back(std::move(definition));
    }
    return true;
}

bool Ld65SymbolLibrary::GetSourceFile(int32_t index, std::string& folder, std::string& name) {
    folder.clear();
    name.clear();
    if (index < 0 || index >= static_cast<int32_t>(files_.size()))
        return false;
    folder = files_[static_cast<std::size_t>(index)].Folder;
    name = files_[static_cast<std::size_t>(index)].Name;
    return true;
}

int32_t Ld65SymbolLibrary::GetAddress(int32_t fileIndex, int32_t line) {
    if (fileIndex < 0 || fileIndex >= static_cast<int32_t>(fileLines_.size()))
        return -1;
    const FileLines& table = fileLines_[static_cast<std::size_t>(fileIndex)];
    if (line < table.FirstLine || line > table.LastLine)
        return -1;
    if (table.Dense)
        return denseAddresses_[table.Begin + static_cast<std::size_t>(line - table.FirstLine)];
    uint64_t key = (static_cast<uint64_t>(static_cast<uint32_t>(fileIndex)) << 32) |
                   static_cast<uint32_t>(line);
    auto end = lineAddresses_.begin() + static_cast<std::ptrdiff_t>(table.End);
    auto it =
        std::lower_bound(lineAddresses_.begin() + static_cast<std::ptrdiff_t>(table.Begin), end,
                         key, [](const LineAddress& entry, uint64_t k) { return entry.Key < k; });
    if (it == end || it->Key != key)
        return -1;
    return it->Address;
}

bool Ld65SymbolLibrary::FindSource(int32_t address, int32_t& fileIndex, int32_t& line) {
    if (address < 0 || rangeStarts_.empty())
        return false;
    auto first = rangeStarts_.begin();
    auto last = rangeStarts_.end();
    auto bucket = static_cast<std::size_t>(address >> kBucketShift);
    if (bucket + 1 < rangeBuckets_.size()) {
        // The answer is the last range starting at or below address: inside this bucket, or
        // the one just ahead of it.
        first += rangeBuckets_[bucket];
        last = rangeStarts_.begin() + rangeBuckets_[bucket + 1];
    }
    auto it = std::upper_bound(first, last, static_cast<int64_t>(address));
    if (it == rangeStarts_.begin())
        return false;
    std::size_t at = static_cast<std::size_t>(it - rangeStarts_.begin()) - 1;
    const RangeSource& source = rangeSources_[at];
    if (source.File < 0)
        return false;
    fileIndex = source.File;
    line = source.Line;
    return true;
}

void Ld65SymbolLibrary::BuildLineTables() {
    fileLines_.assign(files_.size(), FileLines{});
    std::size_t i = 0;
    while (i < lineAddresses_.size()) {
        auto file = static_cast<std::size_t>(lineAddresses_[i].Key >> 32);
        std::size_t j = i;
        while (j < lineAddresses_.size() && (lineAddresses_[j].Key >> 32) == file)
            ++j;
        FileLines& table = fileLines_[file];
        table.FirstLine = static_cast<int32_t>(lineAddresses_[i].Key & 0xFFFFFFFFu);
        table.LastLine = static_cast<int32_t>(lineAddresses_[j - 1].Key & 0xFFFFFFFFu);
        int64_t width = int64_t{table.LastLine} - table.FirstLine + 1;
        // Dense when it costs at most a few slots per line with code: an assembler file has
        // code on most of its lines; a hand-made file with line 1 and line 2,000,000,000 has not.
        table.Dense = width <= static_cast<int64_t>(j - i) * 4 + 64;
        if (table.Dense) {
            table.Begin = denseAddresses_.size();
            denseAddresses_.resize(denseAddresses_.size() + static_cast<std::size_t>(width), -1);
            for (std::size_t k = i; k < j; ++k)
                denseAddresses_[table.Begin +
                                static_cast<std::size_t>(
                                    static_cast<int32_t>(lineAddresses_[k].Key & 0xFFFFFFFFu) -
                                    table.FirstLine)] = lineAddresses_[k].Address;
            table.End = denseAddresses_.size();
        } else {
            table.Begin = i;
            table.End = j;
        }
        i = j;
    }
}

void Ld65SymbolLibrary::BuildRangeBuckets() {
    const std::size_t buckets = static_cast<std::size_t>(kBucketedAddresses >> kBucketShift);
    rangeBuckets_.assign(buckets + 1, 0);
    std::size_t at = 0;
    for (std::size_t k = 0; k <= buckets; ++k) {
        int64_t bucketStart = static_cast<int64_t>(k) << kBucketShift;
        while (at < rangeStarts_.size() && rangeStarts_[at] < bucketStart)
            ++at;
        rangeBuckets_[k] = static_cast<uint32_t>(at);
    }
}

int32_t
Ld65SymbolLibrary::EnumerateSymbols(const std::string& kindFilter,
                                    const std::function<void(const SymbolDefinition&)>& onSymbol) {
    int32_t count = 0;
    for (const SymbolDefinition& symbol : symbols_) {
        if (!kindFilter.empty() && !ContainsNoCase(symbol.Kind, kindFilter))
            continue;
        ++count;
        if (onSymbol)
            onSymbol(symbol);
    }
    return count;
}

} // namespace bx::symbols
