// libFuzzer target: arbitrary bytes through the appliance file reader, and whatever it accepts
// through the writer. The reader must never crash or read out of bounds, whatever the file
// holds; a document without a root or a version is the one error it reports by throwing.

#include "appliance/Appliance.h"
#include "foundation/Error.h"
#include "foundation/HostInterfaces.h"
#include "settings/GlobalSettings.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

class OkPrompter : public bx::Prompter {
public:
    int ask(const std::string&, const std::string&, bx::Buttons, bx::Icon) override {
        return bx::AnswerOk;
    }
};

// One body with options, so that option attributes are read and written too.
const bx::GlobalSettings& Settings() {
    static OkPrompter prompter;
    static bx::GlobalSettings settings = [] {
        bx::GlobalSettings loaded(prompter);
        loaded.LoadXml(
            R"(<GlobalSettings Version="v 00.00.001"><MCU Family="KTR">)"
            R"(<Body Model="KTR310" TemplateDir="KTR310">)"
            R"(<Options Name="WDT" DisableName="Disabled" EnableName="Enabled" Map="1"/>)"
            R"(<Options Name="DualClock" DisableName="Off" EnableName="On" Map="2"/>)"
            R"(</Body></MCU></GlobalSettings>)");
        return loaded;
    }();
    return settings;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    bx::Appliance appliance;
    appliance.Settings = &Settings();
    const std::string input(reinterpret_cast<const char*>(data), size);
    try {
        if (!appliance.LoadXml(input))
            return 0;
    } catch (const bx::BxError&) {
        return 0; // no root or no version: refused as a whole
    }
    try {
        const std::string written = appliance.ToXml();
        bx::Appliance second;
        second.Settings = &Settings();
        second.LoadXml(written);
        second.ToXml();
    } catch (const bx::BxError&) {
        // A body the settings don't know can't be written; that is reported, not a crash.
    }
    return 0;
}
