#include "cli/finalize_check.h"

#include <QFileInfo>

#include "cli/cli_error.h"
#include "package/extractor/extractor.h"
#include "platform/bundle/image_file.h"
#include "platform/bundle/package_reader.h"
#include "platform/bundle/store_item.h"
#include "platform/fs/fs.h"
#include "platform/model/import_object.h"
#include "platform/model/timeline_object.h"
#include "platform/project/project_reader.h"

namespace Cli {
namespace {

// The project that the overlay's import item names, read as finalizing would; the reason it
// cannot be, or an empty string.
QString projectProblem(const Package::Object& object, const QString& root) {
    const Package::CollectionAddOn& addOn = object.importAddOns.front();
    const QString itemFolder = Bundle::addOnFolder(root, addOn.path);
    if (itemFolder.isEmpty())
        return QStringLiteral("its import add-on '%1' points outside the package").arg(addOn.path);
    QString location;
    try {
        Serialize::ObjectStorage storage;
        const auto record = Bundle::loadItem<Import::Object>(itemFolder, storage);
        if (!record.item)
            return QStringLiteral("%1%2: holds no import").arg(addOn.path, Bundle::itemFileName);
        location = record.item->location();
    } catch (const std::exception& error) {
        return QString::fromUtf8(error.what());
    }
    const QString project = Bundle::addOnFolder(root, location);
    if (project.isEmpty())
        return QStringLiteral("the overlay's project '%1' is not a file in the package")
            .arg(location);
    if (!QFileInfo(project).isFile())
        return QStringLiteral("the overlay's project %1 is missing").arg(location);
    try {
        Project::Reader reader(project, Project::ZipBundle);
        if (!dynamic_cast<const Timeline::Object*>(reader.read().projectObject))
            return QStringLiteral("the overlay's project %1 holds no timeline").arg(location);
    } catch (const std::exception& error) {
        return QStringLiteral("the overlay's project %1 cannot be read: %2")
            .arg(location, QString::fromUtf8(error.what()));
    }
    return QString();
}

}  // namespace

void checkFinalizable(const Package::Object& object, const QString& packagePath) {
    if (Package::Extractor::extractContentType(&object) !=
        Package::Extractor::ContentType::IntermediateOverlay)
        return;
    const QString root = FS::cleanPath(object.folder);
    // Messages name files as the package does, not by the temporary folder it was unpacked into.
    const auto fail = [&](const QString& problem) {
        QString text = problem;
        text.replace(root + QLatin1Char('/'), QString());
        throw Error(
            QStringLiteral("%1: %2; nothing was finalized").arg(packagePath, text.simplified()));
    };

    const QString preview = root + QStringLiteral("/preview.png");
    if (QFileInfo::exists(preview)) {
        try {
            Bundle::readImageFile(preview);
        } catch (const Bundle::Error& error) {
            fail(QString::fromUtf8(error.what()));
        }
    }

    // Reading the overlay back leaves the timeline empty when its project cannot be read, and
    // finalizing would build an empty title from it.
    const QString problem = projectProblem(object, root);
    if (!problem.isEmpty())
        fail(problem);
}

}  // namespace Cli
