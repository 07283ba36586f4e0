#include "cli/overlay_kinds.h"

#include <limits>

#include "cli/component_factory.h"
#include "cli/component_fields.h"
#include "package/components/overlays/final_overlay_build_component.h"
#include "package/components/overlays/intermediate_overlay_build_component.h"
#include "platform/model/collection_ids.h"

namespace Cli {
namespace {

const QStringList overlayTypes = {QStringLiteral("title"), QStringLiteral("callout"),
                                  QStringLiteral("sticker")};
// The collection of each overlay type, when the recipe names none: it is also the item's folder.
const QStringList defaultCollections = {EditorCollection::CollectionID::TITLES,
                                        EditorCollection::CollectionID::CALLOUTS,
                                        EditorCollection::CollectionID::STICKERS};

constexpr qint64 kMin32 = std::numeric_limits<qint32>::min();
constexpr qint64 kMax32 = std::numeric_limits<qint32>::max();

Package::OverlayParams overlayParams(ComponentFields& fields, int* type) {
    Package::OverlayParams params;
    params.timeline = params.timelineStorage.adopt(
        std::make_unique<Timeline::Object>(fields.timeline(QStringLiteral("timeline"))));
    *type = fields.choice(QStringLiteral("overlayType"), overlayTypes, 0);
    params.overlayType = Package::OverlayType(*type);
    params.useMediaTiming = fields.boolean(QStringLiteral("useMediaTiming"));
    params.firstItemSpan =
        qint32(fields.integer(QStringLiteral("firstItemSpan"), 0, kMin32, kMax32));
    params.secondItemSpan =
        qint32(fields.integer(QStringLiteral("secondItemSpan"), 0, kMin32, kMax32));
    if (fields.has(QStringLiteral("videoTiming"))) {
        JsonFields timing(fields.object(QStringLiteral("videoTiming")),
                          fields.where(QStringLiteral("videoTiming")));
        params.videoTiming.start =
            qint32(timing.integer(QStringLiteral("start"), 0, kMin32, kMax32));
        params.videoTiming.length =
            qint32(timing.integer(QStringLiteral("length"), 0, kMin32, kMax32));
        params.videoTiming.frameRate =
            qint32(timing.integer(QStringLiteral("frameRate"), 0, kMin32, kMax32));
        timing.finish();
    }
    return params;
}

template <class Component>
std::shared_ptr<Package::IBuildComponent> finish(std::shared_ptr<Component> component,
                                                 ComponentFields& fields, int type) {
    fields.applyMetadata(*component);
    if (component->collectionId().isEmpty())
        component->setCollectionId(defaultCollections[type]);
    fields.finish();
    return component;
}

std::shared_ptr<Package::IBuildComponent> makeOverlay(const ComponentEntry& entry,
                                                      const Recipe& recipe, QStringList& warnings) {
    ComponentFields fields(entry, recipe, warnings);
    int type = 0;
    const Package::OverlayParams params = overlayParams(fields, &type);
    // The preset's folder is formed from the collection id by successive substitutions.
    const QString problem = Recipe::markerProblem(fields.text(QStringLiteral("collectionId")));
    if (!problem.isEmpty())
        fields.fail(QStringLiteral("collectionId"), problem);
    return finish(std::make_shared<Package::FinalOverlayBuildComponent>(params), fields, type);
}

std::shared_ptr<Package::IBuildComponent> makeIntermediateOverlay(const ComponentEntry& entry,
                                                                  const Recipe& recipe,
                                                                  QStringList& warnings) {
    ComponentFields fields(entry, recipe, warnings);
    fields.requireOneProjectBundle();
    int type = 0;
    const Package::OverlayParams params = overlayParams(fields, &type);
    const QString introCollectionId = fields.text(QStringLiteral("introCollectionId"));
    return finish(
        std::make_shared<Package::IntermediateOverlayBuildComponent>(params, introCollectionId),
        fields, type);
}

}  // namespace

void addOverlayKinds(ComponentFactory& factory) {
    factory.add(QStringLiteral("overlay"), makeOverlay);
    factory.add(QStringLiteral("intermediate-overlay"), makeIntermediateOverlay);
}

}  // namespace Cli
