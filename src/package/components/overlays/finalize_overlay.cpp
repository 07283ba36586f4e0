#include "package/components/overlays/finalize_overlay.h"

#include <QDir>
#include <QFileInfo>
#include <QPixmap>
#include <memory>
#include <stdexcept>

#include "package/builder.h"
#include "package/components/overlays/final_overlay_build_component.h"
#include "package/extractor/extractor.h"
#include "platform/fs/fs.h"
#include "platform/model/collection_ids.h"
#include "platform/model/id_source.h"
#include "platform/serialize/no_gui_application_error.h"

namespace Package {
namespace {

// Not the preset-kind order of the final overlay component: here type 1 is a callout.
QString collectionOf(qint32 overlayType) {
    switch (overlayType) {
        case TitleOverlay:
            return EditorCollection::CollectionID::TITLES;
        case CalloutOverlay:
            return EditorCollection::CollectionID::CALLOUTS;
        case StickerOverlay:
            return EditorCollection::CollectionID::STICKERS;
        default:
            return QString();
    }
}

}  // namespace

QString finalizeOverlay(const Package::Object* package, const QString& folder) {
    Types::requireGuiApplication(QStringLiteral("finalizing the overlay into %1").arg(folder));
    const auto type = Extractor::extractContentType(package);
    if (!type || *type != Extractor::ContentType::IntermediateOverlay)
        return QString();
    const AnyBuildContext any = Extractor::extractBuildContext(package);
    const auto* context = std::get_if<IntermediateOverlayBuildContext>(&any);
    if (!context)
        return QString();

    const QPixmap preview(context->previewPath);
    auto component = std::make_shared<FinalOverlayBuildComponent>(context->params);
    component->setCategories({context->categories.begin(), context->categories.end()});
    component->setPreview(preview);
    component->setCollectionId(collectionOf(context->params.overlayType));

    const QString uuid = IdSource::current().newUuid().toString();
    const QString target = folder + FS::separator + context->name;
    // The target becomes a package file: building into a folder that is already there would pack
    // (and then remove) whatever else it holds.
    if (context->name.isEmpty())
        throw std::runtime_error(
            "cannot finalize the overlay: it could not be read back (no preset item or no name)");
    if (context->name == QLatin1String(".") || context->name == QLatin1String(".."))
        throw std::runtime_error("cannot finalize an overlay whose package name is '" +
                                 context->name.toStdString() + "'");
    if (QFileInfo::exists(target))
        throw std::runtime_error(target.toStdString() + ": already exists; not overwritten");
    Builder builder(target, target, context->name, context->name, preview);
    builder.setupBuildComponent(component);
    try {
        builder.build(uuid);
    } catch (...) {
        // The target did not exist before: what a failed build left there is removed.
        if (QFileInfo(target).isDir())
            QDir(target).removeRecursively();
        throw;
    }
    return uuid;
}

}  // namespace Package
