#include "platform/project/project_writer.h"

#include <QDir>
#include <QFileInfo>
#include <QScopeGuard>

#include "platform/bundle/abstract_content_receiver.h"
#include "platform/bundle/flat_writer.h"
#include "platform/bundle/zip.h"
#include "platform/fs/fs.h"
#include "platform/fs/fs_error.h"
#include "platform/fs/temporary_paths.h"
#include "platform/model/timeline_object.h"
#include "platform/serialize/archive.h"
#include "platform/serialize/error.h"

namespace Project {
namespace {

class BundleContentReceiver : public Bundle::AbstractContentReceiver {
public:
    using AbstractContentReceiver::AbstractContentReceiver;

protected:
    QString imageBaseName() const override { return QStringLiteral("image"); }
    QString blobBaseName() const override { return QStringLiteral("data"); }
};

}  // namespace

PortableWriter::PortableWriter(const QString& bundlePath, const QString& base, BundleBackend)
    : m_bundlePath(bundlePath), m_base(base) {}

bool PortableWriter::write(const Content* content) {
    m_mapping.clear();
    m_error.clear();
    if (!content) {
        m_error = QStringLiteral("no project to write");
        return false;
    }
    // The portable paths go into a copy: the caller's project keeps its own.
    Content portable;
    std::unique_ptr<Timeline::Object> timeline;
    if (const auto* source = dynamic_cast<const Timeline::Object*>(content->projectObject)) {
        timeline = std::make_unique<Timeline::Object>(*source);
        timeline->mapMediaPaths([this](const QString& path) {
            const QString portablePath = m_base + FS::fileName(path);
            m_mapping.emplace(path, portablePath);
            return portablePath;
        });
        portable.projectObject = timeline.get();
    } else {
        portable.projectObject = content->projectObject;
    }

    // The staging folder is ours alone and registered, so that an interrupted run removes it.
    const QString staging = FS::temporaryInTempFolder(QStringLiteral("bundle"));
    const FS::TemporaryPath registration(staging);
    const auto removeStaging = qScopeGuard([&] { FS::removeAllAt(staging); });
    try {
        if (!QDir().mkdir(staging))
            throw Bundle::Error(
                QStringLiteral("%1: cannot create a temporary folder").arg(staging).toStdString());
        auto files = std::make_shared<Bundle::FlatWriter>(staging);
        BundleContentReceiver receiver(files);
        files->writeContent(bundleContentName, Serialize::writeArchive(portable, receiver));
        const QString folder = QFileInfo(m_bundlePath).absolutePath();
        if (!FS::makePath(folder))
            throw Bundle::Error(
                QStringLiteral("%1: cannot create the folder").arg(folder).toStdString());
        Bundle::Zip::compressAll(m_bundlePath, staging);
    } catch (const FS::Error&) {
        throw;  // a failing disk is no project that cannot be written: the build must stop
    } catch (const std::exception& error) {
        m_error = QString::fromStdString(error.what());
        return false;
    }
    return true;
}

}  // namespace Project
