// libFuzzer target: arbitrary bytes through the BX.gss reader.
//
// Besides "never crash, never read out of bounds", it checks the writer's promise that a file
// it wrote reads back into the same model: once the reader has normalised a file (zero
// addresses become the defaults, values that don't fit are dropped), writing, reading and
// writing again must give the same bytes.

#include "foundation/HostInterfaces.h"
#include "settings/GlobalSettings.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// Every box is answered OK, as a person clicking through would.
class OkPrompter : public bx::Prompter {
public:
    int ask(const std::string&, const std::string&, bx::Buttons, bx::Icon) override {
        return bx::AnswerOk;
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    OkPrompter prompter;
    bx::GlobalSettings settings(prompter);
    const std::string input(reinterpret_cast<const char*>(data), size);
    if (!settings.LoadXml(input))
        return 0;

    const std::string first = settings.ToXml();
    bx::GlobalSettings second(prompter);
    if (!second.LoadXml(first)) {
        std::fprintf(stderr, "the writer's own document doesn't parse:\n%s\n", first.c_str());
        std::abort();
    }
    const std::string written = second.ToXml();
    bx::GlobalSettings third(prompter);
    third.LoadXml(written);
    if (third.ToXml() != written) {
        std::fprintf(stderr, "write-read-write differs:\n%s\n%s\n", written.c_str(),
                     third.ToXml().c_str());
        std::abort();
    }
    return 0;
}
