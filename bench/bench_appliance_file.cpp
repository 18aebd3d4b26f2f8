// Loading and saving a large appliance: 10,000 watches and 2,000 build steps. Both must stay
// well under a second, since the studio does them on the UI thread.
#include "appliance/Appliance.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"

#include <benchmark/benchmark.h>
#include <filesystem>
#include <unistd.h>

namespace {

class SilentPrompter : public bx::Prompter {
public:
    int ask(const std::string&, const std::string&, bx::Buttons, bx::Icon) override {
        return bx::AnswerOk;
    }
};

struct LargeApplianceFile {
    LargeApplianceFile() : settings(prompter) {
        folder =
            std::filesystem::temp_directory_path() / ("bx-bench-" + std::to_string(::getpid()));
        std::filesystem::create_directories(folder);
        systemFolder = bx::platform::FromNativePath(folder.string());
        settings.LoadXml(
            R"(<GlobalSettings Version="v 00.00.001"><MCU Family="KTR">)"
            R"(<Body Model="KTR310" TemplateDir="KTR310">)"
            R"(<Options Name="WDT" DisableName="Disabled" EnableName="Enabled" Map="1"/>)"
            R"(</Body></MCU></GlobalSettings>)");
        bx::Appliance appliance;
        appliance.Settings = &settings;
        appliance.Title = "large";
        appliance.Family = "KTR";
        appliance.Model = "KTR310";
        appliance.Folder = systemFolder + "\\";
        appliance.BuildAssociations().Add("asm", "ca65 %i -o %o", "o");
        appliance.RunTarget()->OutputPath = "large.rom";
        for (int i = 0; i < 2000; ++i) {
            const std::string object = "obj\\m" + std::to_string(i) + ".o";
            appliance.AddBuildStep(object, "ca65 %i -o %o", "src\\m" + std::to_string(i) + ".asm");
            appliance.AddBuildStep("large.rom", "ld65 %i", object);
        }
        auto group = appliance.Watches().Add("", "UserWatches");
        for (int i = 0; i < 10000; ++i) {
            auto watch = appliance.Watches().Add("w" + std::to_string(i), "Symbol");
            watch->Location = "01:" + std::to_string(4000 + i % 1000);
            watch->SetDisplay("HexByte");
            if (i % 10 == 0)
                group->Children().AddItem(watch);
        }
        appliance.Save(true);
        path = systemFolder + "\\large.apl";
    }
    ~LargeApplianceFile() {
        std::error_code ec;
        std::filesystem::remove_all(folder, ec);
    }

    SilentPrompter prompter;
    bx::GlobalSettings settings;
    std::filesystem::path folder;
    std::string systemFolder;
    std::string path;
};

LargeApplianceFile& File() {
    static LargeApplianceFile file;
    return file;
}

void BM_LoadLargeAppliance(benchmark::State& state) {
    auto& file = File();
    for (auto _ : state) {
        bx::Appliance appliance;
        appliance.Settings = &file.settings;
        benchmark::DoNotOptimize(appliance.Load(file.path));
    }
    state.counters["bytes"] = static_cast<double>(*bx::platform::FileSize(file.path));
}
BENCHMARK(BM_LoadLargeAppliance)->Unit(benchmark::kMillisecond);

void BM_LoadThenSaveLargeAppliance(benchmark::State& state) {
    auto& file = File();
    for (auto _ : state) {
        bx::Appliance appliance;
        appliance.Settings = &file.settings;
        appliance.Load(file.path);
        appliance.Save(true);
    }
}
BENCHMARK(BM_LoadThenSaveLargeAppliance)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
