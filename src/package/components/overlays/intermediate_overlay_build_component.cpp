#include "package/components/overlays/intermediate_overlay_build_component.h"

#include "package/components/imports/intro_build_component.h"
#include "package/components/overlays/final_overlay_build_component.h"
#include "package/name_checks.h"
#include "platform/bundle/store_item.h"
#include "platform/layout/package_structure_description.h"
#include "platform/model/id_source.h"
#include "platform/model/overlay_preset.h"
#include "platform/model/package_object.h"
#include "platform/model/timeline_object.h"
#include "platform/model/unique_id.h"

namespace Package {

IntermediateOverlayBuildComponent::IntermediateOverlayBuildComponent(
    const OverlayParams& params, const QString& introCollectionId)
    : m_params(params.clone()), m_introCollectionId(introCollectionId) {}

ResourceFixupQueue IntermediateOverlayBuildComponent::build(Package::Object* package) {
    // Both parts are checked before the first one writes.
    requireNoReplaceableMarker(QStringLiteral("working folder"), package->folder);
    IntroBuildComponent::requireBundleOutside(package->folder);
    ResourceFixupQueue fixups = buildOverlay(package);
    for (ResourceFixup& fixup : buildImport(package))
        fixups.push_back(std::move(fixup));
    return fixups;
}

ResourceFixupQueue IntermediateOverlayBuildComponent::buildOverlay(Package::Object* package) {
    const QString titles = PackageStructureDescription::titlesDir;
    const QString uuid = IdSource::current().newUuid().toString();
    const QString win = m_params.winSubfolder ? QStringLiteral("/win/") : QString();
    const QString itemFolder =
        QStringLiteral("%1/%2/%3/").arg(package->folder).arg(titles).arg(win);
    CollectionAddOn addOn;
    addOn.path = QStringLiteral("%1/%2%3/").arg(titles, win, uuid);

    Overlay::Preset preset;
    preset.kind = FinalOverlayBuildComponent::presetKind(m_params.overlayType);
    preset.name = package->name;
    // The whole timeline, primary track included: it is not flattened here.
    preset.duration = m_params.timeline ? m_params.timeline->duration() : 0;
    Overlay::Item item;
    item.name.clear();
    item.firstFraction = double(m_params.firstItemSpan);  // stored as given, not divided
    item.secondFraction = double(m_params.secondItemSpan);
    preset.appendItem(item);

    // Stands for the project part; its timing carries the video timing.
    Resource placeholder;
    placeholder.key =
        std::make_tuple(IdSource::current().newUuid().toString(), ::Resource::DataFile);
    placeholder.timing = {m_params.videoTiming.start, m_params.videoTiming.length,
                          m_params.videoTiming.frameRate};
    addOn.resources.push_back(placeholder);

    EditorCollection::PersistentItem<Overlay::Preset> record;
    record.uniqueId = nextUniqueId();
    record.item = &preset;
    record.preview = preview();
    record.categories = categories();
    record.collectionId = collectionId();
    Bundle::storeItem(itemFolder + uuid, record);

    for (const QString& category : record.categories)
        addOn.categories.emplace(category, record.collectionId);
    package->presetAddOns.push_back(addOn);
    return {};
}

ResourceFixupQueue IntermediateOverlayBuildComponent::buildImport(Package::Object* package) {
    OverlayParams copy = m_params.clone();
    IntroParams intro;
    intro.timeline = copy.timeline;
    intro.timelineStorage = std::move(copy.timelineStorage);
    intro.primaryText = package->name;
    intro.secondaryText = package->name;

    IntroBuildComponent component(intro);
    component.setCollectionId(m_introCollectionId);
    component.setCategories(categories());
    component.setPreview(preview());
    return component.build(package);
}

}  // namespace Package
