#include "cli/package_recipe.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>

#include "cli/add_on_reader.h"
#include "cli/context_report.h"
#include "cli/timeline_file.h"
#include "package/extractor/extractor.h"
#include "platform/model/import_object.h"

namespace Cli {
namespace {

void append(QJsonArray& components, const std::optional<QJsonObject>& component) {
    if (component)
        components.append(*component);
}

// The index of the first import of the intro kind, -1 when there is none.
int firstIntro(const AddOnReader& reader, const Package::Object& object) {
    for (size_t i = 0; i < object.importAddOns.size(); ++i) {
        if (reader.importKind(object.importAddOns[i]) == Import::Object::Intro)
            return int(i);
    }
    return -1;
}

// The preset of an intermediate overlay has one item and a placeholder resource: a data file
// that names no file. A finished preset's resources are files.
bool isIntermediate(const Package::CollectionAddOn& addOn) {
    return std::any_of(addOn.resources.begin(), addOn.resources.end(), [](const auto& resource) {
        return resource.type() == ::Resource::DataFile && resource.path.isEmpty();
    });
}

}  // namespace

QString PackageRecipe::overlayTimelineName(const QString& recipePath, int index) {
    return QFileInfo(recipePath).completeBaseName() +
           QStringLiteral(".overlay-%1.timeline.json").arg(index + 1);
}

PackageRecipe PackageRecipe::read(const Package::Object& object,
                                  const Bundle::PackageManifest& manifest,
                                  const QString& recipePath, const QString& packagePath) {
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

    // An intermediate overlay is a preset that stands for a project, and that project is the
    // package's one intro-kind import; the extractor reads the pair when each is first in its
    // list, so it is given a package of just those two. The overlay takes its project's place in
    // the import list, and its place among the presets.
    const int projectIndex = firstIntro(reader, object);
    int overlayIndex = -1;
    std::optional<Package::IntermediateOverlayBuildContext> overlay;
    for (size_t i = 0; projectIndex >= 0 && i < object.presetAddOns.size(); ++i) {
        if (!isIntermediate(object.presetAddOns[i]))
            continue;
        overlayIndex = int(i);
        Package::Object pair = object;
        pair.presetAddOns = {object.presetAddOns[i]};
        pair.importAddOns = {object.importAddOns[size_t(projectIndex)]};
        auto paired = Package::Extractor::extractBuildContext(&pair);
        if (auto* read = std::get_if<Package::IntermediateOverlayBuildContext>(&paired))
            overlay = std::move(*read);
        break;
    }
    std::optional<Timeline::Object> project;
    size_t nextPreset = 0;
    const auto presetsUpTo = [&](size_t end) {
        for (; nextPreset < end; ++nextPreset) {
            if (int(nextPreset) == overlayIndex)
                continue;
            const QString name = overlayTimelineName(recipePath, int(nextPreset));
            QByteArray timeline;
            const auto component = reader.preset(object.presetAddOns[nextPreset], name, &timeline);
            if (component) {
                components.append(*component);
                recipe.overlayTimelines.append({name, timeline});
            }
        }
    };
    for (size_t i = 0; i < object.importAddOns.size(); ++i) {
        const Package::CollectionAddOn& addOn = object.importAddOns[i];
        if (int(i) == projectIndex && overlayIndex >= 0) {
            presetsUpTo(size_t(overlayIndex) + 1);
            const QString presetPath = object.presetAddOns[size_t(overlayIndex)].path;
            if (!overlay || !overlay->params.timeline) {
                recipe.warnings << QStringLiteral(
                                       "%1: the intermediate overlay's project cannot "
                                       "be read; the overlay is left out")
                                       .arg(presetPath);
                continue;
            }
            overlay->name = manifest.name;
            Timeline::Object& timeline = *overlay->params.timeline;
            QStringList media;
            for (const auto& clip : timeline.clips())
                media << clip->media.sourcePath;
            reader.requireInside(media);
            timeline.mapMediaPaths([&](const QString& path) { return reader.relative(path); });
            project = timeline;
            QJsonObject component =
                ContextReport::overlayComponent(*overlay, recipe.timelineFileName);
            const QString preview = reader.ownPreview(Bundle::addOnFolder(root, presetPath) +
                                                      QStringLiteral("/preview.png"));
            if (!preview.isEmpty())
                component[QStringLiteral("previewPath")] = reader.relative(preview);
            const QString collectionId =
                reader.presetCollectionId(object.presetAddOns[size_t(overlayIndex)]);
            if (!collectionId.isEmpty())
                component[QStringLiteral("collectionId")] = collectionId;
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
    presetsUpTo(object.presetAddOns.size());

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
        document[QStringLiteral("previewPath")] = reader.relative(preview);
    if (!manifest.uuid.isEmpty())
        document[QStringLiteral("uuid")] = manifest.uuid;
    document[QStringLiteral("components")] = components;
    recipe.json = QJsonDocument(document).toJson(QJsonDocument::Indented);
    return recipe;
}

}  // namespace Cli
