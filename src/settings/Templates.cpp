#include "settings/Templates.h"

#include "foundation/Diagnoser.h"
#include "foundation/Error.h"
#include "platform/Archive.h"
#include "platform/FileSystem.h"
#include "platform/Paths.h"
#include "platform/ProgramFolder.h"
#include "settings/GlobalSettings.h"

namespace bx {

namespace {

constexpr int32_t kTraceModule = 1;
constexpr int32_t kTraceTemplatesNotFound = 1010;

// Deletes, with errors ignored, the subfolders of folder and, with files, its files too.
// Read-only files stay, as with every delete of the studio.
void EmptyFolder(const std::string& folder, bool files) {
    for (const std::string& name : platform::ListSubfolders(folder))
        platform::DeleteFolderTree(folder + name);
    if (files)
        platform::DeleteFiles(folder + "*");
}

// The shared part of both steps: compare, clear, unpack, stamp, delete.
UnpackResult Unpack(GlobalSettings& settings, DateStamp& stamp, const std::string& archive,
                    const std::string& folderToClear, bool clearFiles,
                    const std::string& destination, UnpackNotice* notice) {
    auto modified = platform::LastWriteLocalTime(archive);
    if (!platform::FileExists(archive) || !modified)
        return UnpackResult::NoArchive;
    const DateStamp archiveTime = DateStamp::FromLocal(*modified);
    if (!ArchiveIsNewer(stamp, archiveTime))
        return UnpackResult::AlreadyUnpacked;

    if (notice)
        notice->Show(kUnpackNoticeTitle, kUnpackNoticeText);
    EmptyFolder(folderToClear, clearFiles);
    // A failed unpack isn't looked at: the stamp is set and the archive goes all the same, and
    // the integrity check reports the folders that are missing.
    platform::ExtractArchive(archive, destination);
    stamp = archiveTime;
    settings.Touch();
    platform::DeleteFile(archive);
    if (notice)
        notice->Hide();
    return UnpackResult::Unpacked;
}

} // namespace

std::string TemplateRoot() {
    return platform::ProgramFolder() + "\\Templates\\Sarnova\\";
}

bool ArchiveIsNewer(const DateStamp& stamp, const DateStamp& archiveTime) {
    // Both hold whole seconds only, so the field order is the order in whole seconds.
    return stamp < archiveTime;
}

UnpackResult UnpackTemplates(GlobalSettings& settings, const Diagnoser& diagnoser,
                             UnpackNotice* notice) {
    const std::string root = TemplateRoot();
    const std::string archive = root + "templates.cab";
    if (!platform::FileExists(archive)) {
        diagnoser.Trace(kTraceModule, kTraceTemplatesNotFound, "Templates not found");
        return UnpackResult::NoArchive;
    }
    return Unpack(settings, settings.TemplatesModifiedDate, archive, root, false, root, notice);
}

UnpackResult UnpackPlugIns(GlobalSettings& settings) {
    const std::string program = platform::ProgramFolder() + "\\";
    return Unpack(settings, settings.PlugInsModifiedDate, program + "PlugIns.cab",
                  program + "PlugIns\\", true, program, nullptr);
}

bool CheckTemplateIntegrity(const GlobalSettings& settings, Prompter& prompter) {
    if (!settings.Bodies)
        throw BxError(91, "GlobalSettings",
                      "The global settings hold no MCU bodies (the file's version was refused).");
    bool result = true;
    const std::string root = TemplateRoot();
    for (const auto& entry : *settings.Bodies) {
        const std::string folder = root + entry.item->TemplateDir;
        if (platform::FolderExists(folder))
            continue;
        prompter.ask("Checking Folder Integrity",
                     "Folder '" + platform::ToNativePath(folder) +
                         "' specified in the global template does not exist. ",
                     Buttons::Ok, Icon::Exclamation);
        result = false;
    }
    return result;
}

bool PrepareTemplatesAndPlugIns(GlobalSettings& settings, Prompter& prompter,
                                const Diagnoser& diagnoser, UnpackNotice* notice) {
    UnpackTemplates(settings, diagnoser, notice);
    if (!CheckTemplateIntegrity(settings, prompter)) {
        diagnoser.Trace(kTraceModule, kTraceTemplatesNotFound, "Templates not found");
        prompter.ask("Checking Templates", "Templates unusable. Please contact Sarnova.",
                     Buttons::Ok, Icon::Critical);
        return false;
    }
    UnpackPlugIns(settings);
    return true;
}

} // namespace bx
