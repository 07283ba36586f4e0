#include "platform/bundle/zip_support.h"

#include <cerrno>

namespace Bundle::Zip::detail {

ArchiveTarget::ArchiveTarget(const QString& package) : package_(package) {
    zip_error_init(&error_);
}

ArchiveTarget::~ArchiveTarget() {
    file_.reset();  // an uncommitted temporary goes
    zip_error_fini(&error_);
}

zip_t* ArchiveTarget::open(int* code) {
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* source = zip_source_function_create(callback, this, &error);
    zip_t* archive = nullptr;
    if (source) {
        archive = zip_open_from_source(source, ZIP_CREATE | ZIP_TRUNCATE, &error);
        if (!archive)
            zip_source_free(source);
    }
    *code = zip_error_code_zip(&error);
    zip_error_fini(&error);
    return archive;
}

zip_int64_t ArchiveTarget::callback(void* self, void* data, zip_uint64_t length,
                                    zip_source_cmd_t cmd) {
    return static_cast<ArchiveTarget*>(self)->handle(data, length, cmd);
}

zip_int64_t ArchiveTarget::handle(void* data, zip_uint64_t length, zip_source_cmd_t cmd) {
    const bool writing = cmd == ZIP_SOURCE_WRITE || cmd == ZIP_SOURCE_SEEK_WRITE ||
                         cmd == ZIP_SOURCE_TELL_WRITE || cmd == ZIP_SOURCE_COMMIT_WRITE;
    if (writing && !file_) {
        zip_error_set(&error_, ZIP_ER_INTERNAL, 0);
        return -1;
    }
    try {
        switch (cmd) {
            case ZIP_SOURCE_SUPPORTS:
                return ZIP_SOURCE_SUPPORTS_WRITABLE;
            case ZIP_SOURCE_STAT:
                // The archive is always new: libzip then starts an empty one.
                zip_error_set(&error_, ZIP_ER_READ, ENOENT);
                return -1;
            case ZIP_SOURCE_OPEN:
            case ZIP_SOURCE_CLOSE:
            case ZIP_SOURCE_FREE:
            case ZIP_SOURCE_SEEK:
            case ZIP_SOURCE_READ:
            case ZIP_SOURCE_TELL:
                return 0;  // nothing to read back from a new archive
            case ZIP_SOURCE_ERROR:
                return zip_error_to_data(&error_, data, length);
            case ZIP_SOURCE_BEGIN_WRITE:
                file_ = std::make_unique<FS::AtomicFile>(package_, QStringLiteral("pack"));
                return 0;
            case ZIP_SOURCE_WRITE:
                file_->append(static_cast<const char*>(data), qint64(length));
                return zip_int64_t(length);
            case ZIP_SOURCE_SEEK_WRITE: {
                const zip_int64_t offset = zip_source_seek_compute_offset(
                    zip_uint64_t(file_->position()), zip_uint64_t(file_->size()), data, length,
                    &error_);
                if (offset < 0)
                    return -1;
                file_->seek(offset);
                return 0;
            }
            case ZIP_SOURCE_TELL_WRITE:
                return file_->position();
            case ZIP_SOURCE_COMMIT_WRITE:
                file_->commit();
                file_.reset();
                return 0;
            case ZIP_SOURCE_ROLLBACK_WRITE:
                file_.reset();
                return 0;
            case ZIP_SOURCE_REMOVE:
                return 0;  // empty archives are written apart; nothing of ours exists yet
            default:
                zip_error_set(&error_, ZIP_ER_OPNOTSUPP, 0);
                return -1;
        }
    } catch (const FS::Error& error) {
        if (!failure_)
            failure_ = std::current_exception();
        file_.reset();
        zip_error_set(&error_, ZIP_ER_WRITE, error.code());
        return -1;
    }
}

}  // namespace Bundle::Zip::detail
