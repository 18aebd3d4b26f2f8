#pragma once
// The template and plug-in folders below the program's folder, and their deliveries:
//   \Templates\Sarnova\                 root of the body template folders
//   \Templates\Sarnova\templates.cab    archive of the template folders
//   \Templates\Sarnova\<TemplateDir>    one body's templates
//   \PlugIns.cab                        archive of the plug-in folder
//   \PlugIns\                           plug-in folder, filled from the archive
// At start-up, after BX.gss is read, an archive newer than its stamp in the global settings
// replaces the folder's contents and is deleted; the stamp makes this happen once for each
// delivered archive. Then every body's template folder must exist. UI thread only.

#include "foundation/HostInterfaces.h"
#include "settings/DateStamp.h"

#include <string>

namespace bx {

class Diagnoser;
class GlobalSettings;

// The window shown while the templates unpack ("Welcome!"); the studio shows it with the
// wait cursor, the command line and the tests may leave it out.
class UnpackNotice {
public:
    virtual ~UnpackNotice() = default;
    virtual void Show(const std::string& title, const std::string& text) = 0;
    virtual void Hide() = 0;
};

inline constexpr const char* kUnpackNoticeTitle = "Welcome!";
inline constexpr const char* kUnpackNoticeText =
    "Please wait a few seconds while we prepare the design environment for you...";

// What an unpacking step did.
enum class UnpackResult { NoArchive, AlreadyUnpacked, Unpacked };

// The root of the template folders: the program's folder + "\Templates\Sarnova\".
std::string TemplateRoot();

// Whether an archive of time archiveTime is to be unpacked over a stamp: only when, in whole
// seconds, the stamp lies before it. The zero stamp lies before every time.
bool ArchiveIsNewer(const DateStamp& stamp, const DateStamp& archiveTime);

// The templates' step: with "templates.cab" newer than TemplatesModifiedDate, deletes every
// subfolder of the root (files stay, the archive among them), unpacks the archive into the
// root, sets the stamp to the archive's time (Touch), and deletes the archive (not when it is
// read-only). A missing archive is traced ("Templates not found"). An unpack that fails isn't
// detected here: the integrity check that follows finds the missing folders.
UnpackResult UnpackTemplates(GlobalSettings& settings, const Diagnoser& diagnoser,
                             UnpackNotice* notice);

// The plug-ins' step: the same with "PlugIns.cab" and PlugInsModifiedDate, deleting every file
// and subfolder of "\PlugIns\" and unpacking into the program's folder itself (the archive's
// own paths begin with its "PlugIns" folder). A missing archive is no error and no trace.
UnpackResult UnpackPlugIns(GlobalSettings& settings);

// One exclamation box "Checking Folder Integrity" for each body whose template folder doesn't
// exist, and false when there was any. Throws BxError when the settings have no body table
// (a refused version).
bool CheckTemplateIntegrity(const GlobalSettings& settings, Prompter& prompter);

// The start-up's templates and plug-ins step in its order: unpack the templates, check them,
// and on failure trace "Templates not found" and show the stop box "Checking Templates"; the
// caller then ends the program (false). Otherwise unpack the plug-ins and give true.
bool PrepareTemplatesAndPlugIns(GlobalSettings& settings, Prompter& prompter,
                                const Diagnoser& diagnoser, UnpackNotice* notice);

} // namespace bx
