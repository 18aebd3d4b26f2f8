#include "platform/Archive.h"

#include "platform/FileSystem.h"
#include "platform/Paths.h"

#include <algorithm>
#include <archive.h>
#include <archive_entry.h>
#include <cstdio>
#include <memory>

namespace bx::platform {

namespace {

struct ReaderDeleter {
    void operator()(archive* a) const { archive_read_free(a); }
};
struct WriterDeleter {
    void operator()(archive* a) const { archive_write_free(a); }
};

bool Fail(std::string* error, const std::string& reason) {
    if (error)
        *error = reason;
    return false;
}

std::string ReasonOf(archive* a) {
    const char* text = archive_error_string(a);
    return text ? text : "unknown archive error";
}

// Copies the data blocks of the current entry from the reader to the disk writer.
int CopyData(archive* reader, archive* writer) {
    for (;;) {
        const void* block = nullptr;
        size_t size = 0;
        la_int64_t offset = 0;
        int status = archive_read_data_block(reader, &block, &size, &offset);
        if (status == ARCHIVE_EOF)
            return ARCHIVE_OK;
        if (status < ARCHIVE_WARN)
            return status;
        if (archive_write_data_block(writer, block, size, offset) < ARCHIVE_WARN)
            return ARCHIVE_FATAL;
    }
}

bool HasDotDot(const std::string& relative) {
    std::size_t start = 0;
    while (start <= relative.size()) {
        std::size_t end = relative.find('/', start);
        if (end == std::string::npos)
            end = relative.size();
        if (relative.compare(start, end - start, "..") == 0)
            return true;
        start = end + 1;
    }
    return false;
}

} // namespace

bool ExtractArchive(const std::string& archivePath, const std::string& destination,
                    std::string* error) {
    std::unique_ptr<archive, ReaderDeleter> reader(archive_read_new());
    std::unique_ptr<archive, WriterDeleter> writer(archive_write_disk_new());
    if (!reader || !writer)
        return Fail(error, "out of memory");
    archive_read_support_format_all(reader.get());
    archive_read_support_filter_all(reader.get());
    // The entries' names are checked below and put behind the destination, so the written path
    // is absolute by design; ".." is refused here as well.
    archive_write_disk_set_options(writer.get(),
                                   ARCHIVE_EXTRACT_TIME | ARCHIVE_EXTRACT_SECURE_NODOTDOT);
    archive_write_disk_set_standard_lookup(writer.get());

    const std::string source = ToNativePath(archivePath);
    if (archive_read_open_filename(reader.get(), source.c_str(), 10240) != ARCHIVE_OK)
        return Fail(error, ReasonOf(reader.get()));

    std::string folder = ToNativePath(destination);
    if (!folder.empty() && folder.back() != '/')
        folder += '/';
    for (;;) {
        archive_entry* entry = nullptr;
        int status = archive_read_next_header(reader.get(), &entry);
        if (status == ARCHIVE_EOF)
            break;
        if (status < ARCHIVE_WARN)
            return Fail(error, ReasonOf(reader.get()));
        const char* name = archive_entry_pathname(entry);
        if (!name || !*name)
            continue;
        std::string relative = name;
        // Cabinet files name their folders with "\".
        std::replace(relative.begin(), relative.end(), '\\', '/');
        // An archive can only fill the destination: no absolute names, no "..", and no links,
        // which could point a later entry outside it.
        if (relative.front() == '/' || HasDotDot(relative))
            return Fail(error, std::string("entry outside the destination: ") + name);
        if (archive_entry_filetype(entry) == AE_IFLNK || archive_entry_hardlink(entry))
            return Fail(error, std::string("entry is a link: ") + name);
        const std::string target = folder + relative;
        archive_entry_set_pathname(entry, target.c_str());
        // Files come out readable and writable by their owner whatever the archive says, so
        // that the next delivery can replace them.
        if (archive_entry_filetype(entry) == AE_IFREG)
            archive_entry_set_perm(entry, archive_entry_perm(entry) | 0600);
        else if (archive_entry_filetype(entry) == AE_IFDIR)
            archive_entry_set_perm(entry, archive_entry_perm(entry) | 0700);
        if (archive_write_header(writer.get(), entry) < ARCHIVE_WARN)
            return Fail(error, ReasonOf(writer.get()));
        if (archive_entry_size(entry) > 0 && CopyData(reader.get(), writer.get()) != ARCHIVE_OK)
            return Fail(error, ReasonOf(reader.get()));
        if (archive_write_finish_entry(writer.get()) < ARCHIVE_WARN)
            return Fail(error, ReasonOf(writer.get()));
    }
    if (archive_write_close(writer.get()) != ARCHIVE_OK)
        return Fail(error, ReasonOf(writer.get()));
    return true;
}

} // namespace bx::platform

namespace bx::platform {

bool WriteZipArchive(const std::string& archivePath, const std::vector<std::string>& files,
                     std::string* error) {
    std::unique_ptr<archive, WriterDeleter> writer(archive_write_new());
    archive_write_set_format_zip(writer.get());
    const std::string target = ToNativePath(archivePath);
    // A temporary name first, so an archive half written over an older one never stands there.
    const std::string partial = target + ".partial";
    if (archive_write_open_filename(writer.get(), partial.c_str()) != ARCHIVE_OK)
        return Fail(error, ReasonOf(writer.get()));
    for (const std::string& file : files) {
        const auto content = ReadFile(file);
        if (!content)
            continue;
        std::unique_ptr<archive_entry, decltype(&archive_entry_free)> entry(archive_entry_new(),
                                                                            &archive_entry_free);
        const std::string name = file.substr(file.rfind('\\') + 1);
        archive_entry_set_pathname(entry.get(), name.c_str());
        archive_entry_set_filetype(entry.get(), AE_IFREG);
        archive_entry_set_perm(entry.get(), 0644);
        archive_entry_set_size(entry.get(), static_cast<la_int64_t>(content->size()));
        if (archive_write_header(writer.get(), entry.get()) != ARCHIVE_OK ||
            archive_write_data(writer.get(), content->data(), content->size()) < 0) {
            const std::string reason = ReasonOf(writer.get());
            writer.reset();
            std::remove(partial.c_str());
            return Fail(error, reason);
        }
    }
    if (archive_write_close(writer.get()) != ARCHIVE_OK) {
        const std::string reason = ReasonOf(writer.get());
        writer.reset();
        std::remove(partial.c_str());
        return Fail(error, reason);
    }
    writer.reset();
    if (std::rename(partial.c_str(), target.c_str()) != 0) {
        std::remove(partial.c_str());
        return Fail(error, "can't rename " + partial + " to " + target);
    }
    return true;
}

} // namespace bx::platform
