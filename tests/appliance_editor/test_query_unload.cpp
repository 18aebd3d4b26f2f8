// The save question before a modified appliance goes, with each of its three answers.
#include "appliance/Appliance.h"
#include "appliance_editor/QueryUnload.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "settings/GlobalSettings.h"
#include "support/TempFolder.h"
#include "support/TestDoubles.h"

#include <gtest/gtest.h>

namespace bx::test {
namespace {

TEST(QueryUnload, ModifiedApplianceIsOfferedForSaving) {
    const struct {
        int answer;
        bool mayGo;
        bool saved;
    } rows[] = {{AnswerYes, true, true}, {AnswerNo, true, false}, {AnswerCancel, false, false}};
    ScriptedPrompter quiet;
    GlobalSettings settings(quiet);
    ASSERT_TRUE(
        settings.Load(platform::FromNativePath(std::string(BX_SOURCE_DIR) + "/data/BX.gss")));
    for (const auto& row : rows) {
        TempFolder folder;
        Appliance appliance;
        appliance.Settings = &settings;
        ASSERT_TRUE(appliance.Load(platform::FromNativePath(
            std::string(BX_SOURCE_DIR) + "/data/Templates/Sarnova/KTR311/KTR311.tpl")));
        appliance.Title = "demo";
        appliance.Folder = folder.Path() + "\\";
        appliance.Touch();
        ScriptedPrompter prompter;
        prompter.Answer(row.answer);
        EXPECT_EQ(DoQueryUnload(&appliance, prompter), row.mayGo) << row.answer;
        ASSERT_EQ(prompter.Boxes().size(), 1u);
        EXPECT_EQ(prompter.Boxes()[0].title, "Appliance Editor");
        EXPECT_EQ(prompter.Boxes()[0].text, "The appliance settings have been modified.\r\n"
                                            "Save changes to 'demo' before exiting?");
        EXPECT_EQ(prompter.Boxes()[0].buttons, Buttons::YesNoCancel);
        EXPECT_EQ(prompter.Boxes()[0].icon, Icon::Question);
        EXPECT_EQ(platform::FileExists(folder.Sub("demo.apl")), row.saved) << row.answer;
    }
    Appliance unchanged;
    EXPECT_TRUE(DoQueryUnload(&unchanged, quiet));
    EXPECT_TRUE(DoQueryUnload(nullptr, quiet));
    EXPECT_TRUE(quiet.Boxes().empty());
}

} // namespace
} // namespace bx::test
