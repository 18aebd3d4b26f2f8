#pragma once
// Unpacking an archive into a folder with libarchive: the template and plug-in deliveries
// ("templates.cab", "PlugIns.cab", Microsoft cabinet files), and any other format libarchive
// reads. Paths inside the archive may use "\" or "/"; they are taken relative to the
// destination, and an entry that would land outside it (an absolute path, a ".." step, a link
// pointing out) is refused.

#include <string>
#include <vector>

namespace bx::platform {

// Unpacks every entry of archive into destination (both backslash form; the destination must
// exist), keeping the entries' modification times, overwriting files of the same name. Returns
// false at the first entry that can't be read or written, with the reason in error (when given);
// entries before it stay unpacked.
bool ExtractArchive(const std::string& archive, const std::string& destination,
                    std::string* error = nullptr);

} // namespace bx::platform

namespace bx::platform {

// Writes a zip archive holding the given files under their own names (both backslash form),
// replacing an older archive of that path. A file that can't be read is left out. False when
// the archive can't be written, with the reason in error (when given).
bool WriteZipArchive(const std::string& archive, const std::vector<std::string>& files,
                     std::string* error = nullptr);

} // namespace bx::platform
