#include "platform/project/project_reader.h"

#include <QFile>
#include <QFileInfo>

#include "platform/bundle/bundle_error.h"
#include "platform/bundle/folder_content_source.h"
#include "platform/bundle/package_reader.h"
#include "platform/bundle/zip.h"
#include "platform/fs/fs.h"
#include "platform/fs/temporary_folder.h"
#include "platform/model/timeline_object.h"
#include "platform/serialize/archive.h"

namespace Project {
namespace {

// A bundle holds one project file and its images; anything near these sizes is not one of ours.
Bundle::Zip::ExtractLimits bundleLimits() {
    Bundle::Zip::ExtractLimits limits;
    limits.maxEntries = 10000;
    limits.maxTotalBytes = qint64(1) << 30;
    limits.maxEntryBytes = qint64(512) << 20;
    return limits;
}

}  // namespace

Reader::Reader(const QString& bundlePath, BundleBackend) : m_bundlePath(bundlePath) {}

Content Reader::read() {
    FS::TemporaryFolder staging(QStringLiteral("project"));
    if (!staging.isValid())
        throw Bundle::Error(QStringLiteral("cannot create a temporary folder: %1")
                                .arg(staging.errorString())
                                .toStdString());
    const QString folder = staging.filePath(QStringLiteral("bundle"));
    Bundle::Zip::extractAll(m_bundlePath, folder, bundleLimits());
    const QString contentPath = folder + QLatin1Char('/') + bundleContentName;
    const QString sourceName = m_bundlePath + QLatin1Char(':') + bundleContentName;
    if (!QFileInfo(contentPath).isFile())
        throw Bundle::Error(
            QStringLiteral("%1: holds no %2").arg(m_bundlePath, bundleContentName).toStdString());
    const QByteArray data =
        Bundle::readWholeFile(contentPath, Bundle::ReadLimits().maxContentBytes, sourceName);
    Content content;
    Bundle::FolderContentSource source(folder);
    Serialize::readArchive(data, sourceName, content, source, m_storage);

    if (auto* timeline = dynamic_cast<Timeline::Object*>(content.projectObject)) {
        const QString home = QFileInfo(m_bundlePath).absolutePath();
        timeline->mapMediaPaths([&home](const QString& path) {
            if (!path.startsWith(QLatin1String("./")))
                return path;
            return FS::cleanPath(home + QLatin1Char('/') + path.mid(2));
        });
    }
    return content;
}

}  // namespace Project
