#include "cli/SymbolCommands.h"

#include "foundation/Common.h"
#include "foundation/Json.h"
#include "platform/Paths.h"
#include "symbols/Ld65SymbolLibrary.h"

#include <algorithm>
#include <optional>
#include <ostream>

namespace bx::cli {

namespace {

// One query, in the order the options were given.
struct Query {
    enum class What { Files, Address, Line, Symbols } Kind;
    int32_t First = 0;  // the address, or the file index
    int32_t Second = 0; // the line
};

// "BB:AAAA": hexadecimal bank (up to 7FFF) and 16-bit address.
std::optional<int32_t> ParseBankAddress(const std::string& text) {
    std::size_t colon = text.find(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 >= text.size())
        return std::nullopt;
    std::string bank = text.substr(0, colon), address = text.substr(colon + 1);
    if (!IsHexText(bank, false) || !IsHexText(address, false) || bank.size() > 4 ||
        address.size() > 4)
        return std::nullopt;
    int32_t b = HexToLong(bank);
    if (b > 0x7FFF)
        return std::nullopt;
    return b * 65536 + HexToLong(address);
}

// A decimal number from 0 up to 2^31 - 1.
std::optional<int32_t> ParseDecimal(const std::string& text) {
    if (text.empty() || text.size() > 10)
        return std::nullopt;
    int64_t value = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return std::nullopt;
        value = value * 10 + (c - '0');
    }
    if (value > 0x7FFFFFFF)
        return std::nullopt;
    return static_cast<int32_t>(value);
}

// "01:4006": the address form as the watches and the breakpoint list write it. The value is
// split as an unsigned number, so that an equate of -1 reads "FFFF:FFFF".
std::string AddressText(int32_t address) {
    auto value = static_cast<uint32_t>(address);
    return Hex2(static_cast<int32_t>(value >> 16)) + ":" +
           Hex4(static_cast<int32_t>(value & 0xFFFF));
}

int Usage(std::ostream& err, const std::string& what) {
    err << "symbols: " << what << "\n";
    PrintSymbolsUsage(err);
    return 2;
}

} // namespace

void PrintSymbolsUsage(std::ostream& out) {
    out << "  symbols FILE.sym [--files] [--address BB:AAAA]... [--line FILE:LINE]...\n"
           "          [--symbols [--code]]\n"
           "              answer from an ld65 debug file, one JSON object per line\n";
}

int RunSymbols(const std::vector<std::string>& args, std::ostream& out, std::ostream& err) {
    std::string path;
    std::vector<Query> queries;
    bool codeOnly = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--files") {
            queries.push_back({Query::What::Files});
        } else if (arg == "--symbols") {
            queries.push_back({Query::What::Symbols});
        } else if (arg == "--code") {
            codeOnly = true;
        } else if (arg == "--address" || arg == "--line") {
            if (i + 1 >= args.size())
                return Usage(err, arg + " needs a value");
            const std::string& value = args[++i];
            if (arg == "--address") {
                auto address = ParseBankAddress(value);
                if (!address)
                    return Usage(err, "--address \"" + value +
                                          "\" is not a hexadecimal bank:address (01:4006)");
                queries.push_back({Query::What::Address, *address});
            } else {
                std::size_t colon = value.find(':');
                auto file = ParseDecimal(value.substr(0, colon));
                auto line = colon == std::string::npos ? std::nullopt
                                                       : ParseDecimal(value.substr(colon + 1));
                if (!file || !line)
                    return Usage(err, "--line \"" + value +
                                          "\" is not a decimal file index:line (2:10)");
                queries.push_back({Query::What::Line, *file, *line});
            }
        } else if (!arg.empty() && arg[0] == '-') {
            return Usage(err, "unknown option \"" + arg + "\"");
        } else if (path.empty()) {
            path = arg;
        } else {
            return Usage(err, "one debug file at a time (\"" + arg + "\" is a second one)");
        }
    }
    if (path.empty())
        return Usage(err, "no debug file given");
    if (queries.empty())
        return Usage(err, "nothing to do: give --files, --address, --line or --symbols");
    if (codeOnly && std::none_of(queries.begin(), queries.end(),
                                 [](const Query& q) { return q.Kind == Query::What::Symbols; }))
        return Usage(err, "--code goes with --symbols");

    symbols::Ld65SymbolLibrary library;
    if (!library.LoadFile(platform::FromNativePath(path))) {
        err << "symbols: " << library.LoadError() << "\n";
        return 1;
    }

    for (const Query& query : queries) {
        switch (query.Kind) {
        case Query::What::Files:
            for (int32_t index = 0; index < library.FileCount(); ++index) {
                std::string folder, name;
                if (!library.GetSourceFile(index, folder, name))
                    continue;
                out << "{\"index\": " << index << ", \"folder\": " << JsonQuote(folder)
                    << ", \"name\": " << JsonQuote(name) << "}\n";
            }
            break;
        case Query::What::Address: {
            int32_t file = 0, line = 0;
            bool found = library.FindSource(query.First, file, line);
            out << "{\"address\": " << JsonQuote(AddressText(query.First))
                << ", \"found\": " << (found ? "true" : "false");
            if (found)
                out << ", \"file\": " << file << ", \"line\": " << line;
            out << "}\n";
            break;
        }
        case Query::What::Line: {
            int32_t address = library.GetAddress(query.First, query.Second);
            out << "{\"file\": " << query.First << ", \"line\": " << query.Second
                << ", \"address\": " << (address < 1 ? "null" : JsonQuote(AddressText(address)))
                << "}\n";
            break;
        }
        case Query::What::Symbols:
            library.EnumerateSymbols(codeOnly ? "Code" : "", [&out](const SymbolDefinition& s) {
                out << "{\"name\": " << JsonQuote(s.Name)
                    << ", \"address\": " << JsonQuote(AddressText(s.Address))
                    << ", \"kind\": " << JsonQuote(s.Kind) << "}\n";
            });
            break;
        }
    }
    return 0;
}

} // namespace bx::cli
