#include "fault_env.h"

namespace TestSupport {
namespace {

class FaultFile : public FS::WritableFile {
public:
    FaultFile(FaultEnv& env, const QString& path, std::unique_ptr<FS::WritableFile> file)
        : m_env(env), m_path(path), m_file(std::move(file)) {}

    int write(const char* data, qint64 size) override {
        if (const int code = m_env.next(QStringLiteral("write ") + m_path)) {
            // A full disk takes part of the data before it refuses the rest.
            m_file->write(data, size / 2);
            return code;
        }
        return m_file->write(data, size);
    }
    int seek(qint64 offset) override { return m_file->seek(offset); }
    int sync() override {
        if (const int code = m_env.next(QStringLiteral("sync ") + m_path))
            return code;
        return m_file->sync();
    }
    int close() override { return m_file->close(); }

private:
    FaultEnv& m_env;
    QString m_path;
    std::unique_ptr<FS::WritableFile> m_file;
};

}  // namespace

FaultEnv::FaultEnv() : m_previous(FS::Env::install(this)) {}

FaultEnv::~FaultEnv() {
    FS::Env::install(m_previous);
}

void FaultEnv::failAt(int n, int code) {
    m_failAt = n;
    m_code = code;
    m_count = 0;
    m_failure.clear();
}

int FaultEnv::next(const QString& what) {
    ++m_count;
    if (m_count != m_failAt)
        return 0;
    m_failure = what;
    return m_code;
}

int FaultEnv::newWritableFile(const QString& path, std::unique_ptr<FS::WritableFile>* file) {
    std::unique_ptr<FS::WritableFile> real;
    if (const int code = FS::Env::system().newWritableFile(path, &real))
        return code;
    file->reset(new FaultFile(*this, path, std::move(real)));
    return 0;
}

int FaultEnv::rename(const QString& from, const QString& to) {
    if (const int code = next(QStringLiteral("rename %1 %2").arg(from, to)))
        return code;
    return FS::Env::system().rename(from, to);
}

int FaultEnv::syncFolder(const QString& folder) {
    if (const int code = next(QStringLiteral("sync ") + folder))
        return code;
    return FS::Env::system().syncFolder(folder);
}

int FaultEnv::link(const QString& from, const QString& to) {
    if (const int code = next(QStringLiteral("link %1 %2").arg(from, to)))
        return code;
    return FS::Env::system().link(from, to);
}

}  // namespace TestSupport
