#include "cli/package_recipe.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "cli/add_on_reader.h"
#include "cli/context_report.h"
#include "cli/timeline_file.h"
#include "platform/model/import_object.h"

namespace Cli {
namespace {

void append(QJsonArray& components, const std::optional<QJsonObject>& component) {
    if (component)
        components.append(*component);
}

}  // namespace

PackageRecipe PackageRecipe::read(const Package::Object& object,
                                  const Bundle::PackageManifest& manifest,
                                  Package::AnyBuildContext& context, const QString& recipePath,
                                  const QString& packagePath) {
    PackageRecipe recipe;
    const QFileInfo recipeFile(recipePath);
    recipe.timelineFileName = recipeFile.completeBaseName() + QStringLiteral(".timeline.json");
    recipe.addOns = int(object.effectAddOns.size() + object.transitionAddOns.size() +
                        object.importAddOns.size() + object.presetAddOns.size());
    const QString root = QDir::cleanPath(object.folder);
    const AddOnReader reader(root, recipeFile.absolutePath(), packagePath, &recipe.warnings);

    // Each kind of component files its add-on into one list, so the order within each list is
    // what a rebuild has to keep.
    QJsonArray components;
    for (const Package::CollectionAddOn& addOn : object.effectAddOns)
        append(components, reader.effect(addOn));
    for (const Package::CollectionAddOn& addOn : object.transitionAddOns)
        append(components, reader.transition(addOn));

    // The extractor pairs an intermediate overlay's preset with the first import add-on, its
    // project; the overlay takes that import's place in the list.
    auto* overlay = std::get_if<Package::IntermediateOverlayBuildContext>(&context);
    std::optional<Timeline::Object> project;
    for (size_t i = 0; i < object.importAddOns.size(); ++i) {
        const Package::CollectionAddOn& addOn = object.importAddOns[i];
        if (i == 0 && overlay) {
            if (!overlay->params.timeline) {
                recipe.warnings << QStringLiteral(
                                       "%1: the intermediate overlay's project cannot "
                                       "be read; the overlay is left out")
                                       .arg(object.presetAddOns.front().path);
                continue;
            }
            Timeline::Object& timeline = *overlay->params.timeline;
            QStringList media;
            for (const auto& clip : timeline.clips())
                media << clip->media.sourcePath;
            reader.requireInside(media);
            timeline.mapMediaPaths([&](const QString& path) { return reader.relative(path); });
            project = timeline;
            QJsonObject component =
                ContextReport::overlayComponent(*overlay, recipe.timelineFileName);
            const QString preview =
                reader.ownPreview(Bundle::addOnFolder(root, object.presetAddOns.front().path) +
                                  QStringLiteral("/preview.png"));
            if (!preview.isEmpty())
                component[QStringLiteral("preview")] = reader.relative(preview);
            components.append(component);
            continue;
        }
        if (project && reader.importKind(addOn) == Import::Object::Intro) {
            recipe.warnings << QStringLiteral(
                                   "%1: a package holds one intro at most; this one is "
                                   "left out")
                                   .arg(addOn.path);
            continue;
        }
        append(components, reader.import(addOn, recipe.timelineFileName, &project));
    }
    for (size_t i = overlay ? 1 : 0; i < object.presetAddOns.size(); ++i) {
        recipe.warnings << QStringLiteral(
                               "%1: a finished overlay preset cannot be carried into a "
                               "recipe yet; it is left out")
                               .arg(object.presetAddOns[i].path);
    }

    if (project) {
        QStringList omitted;
        recipe.timeline = TimelineFile::write(*project, &omitted);
        for (const QString& line : omitted)
            recipe.warnings << recipe.timelineFileName + QStringLiteral(": ") + line;
    }
    recipe.components = components.size();

    QJsonObject document{{QStringLiteral("name"), manifest.name}};
    const QString preview = reader.ownPreview(root + QStringLiteral("/preview.png"));
    if (!preview.isEmpty())
        document[QStringLiteral("preview")] = reader.relative(preview);
    if (!manifest.uuid.isEmpty())
        document[QStringLiteral("uuid")] = manifest.uuid;
    document[QStringLiteral("components")] = components;
    recipe.json = QJsonDocument(document).toJson(QJsonDocument::Indented);
    return recipe;
}

}  // namespace Cli
