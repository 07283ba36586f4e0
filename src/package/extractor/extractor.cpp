#include "package/extractor/extractor.h"

#include <QRegularExpression>
#include <cmath>
#include <limits>
#include <map>
#include <stdexcept>

#include "package/extractor/persistent_item_helper.h"
#include "platform/bundle/package_reader.h"
#include "platform/fs/fs.h"
#include "platform/fs/fs_error.h"
#include "platform/model/import_object.h"
#include "platform/model/overlay_preset.h"
#include "platform/model/package_object.h"
#include "platform/model/timeline_object.h"
#include "platform/project/project_reader.h"
#include "platform/serialize/cloner.h"

namespace Package::Extractor {
namespace {

template <class T>
using Loaded = std::optional<EditorCollection::PersistentItemHelper<T>>;

// The item of the first T stored in an add-on's folder, or null when there is none or the add-on
// leads out of the package. `loaded` keeps the item alive.
template <class T>
T* firstItem(Loaded<T>& loaded, const QString& root, const CollectionAddOn& addOn) {
    const QString folder = Bundle::addOnFolder(root, addOn.path);
    if (folder.isEmpty())
        return nullptr;
    loaded.emplace(folder);
    return loaded->items().empty() ? nullptr : loaded->items().front().item;
}

QString firstValue(const std::map<QString, QString>& map) {
    return map.empty() ? QString() : map.begin()->second;
}

// The package-wide part, the same for every kind of content.
void fillCommon(BuildContext& context, const QString& root, const CollectionAddOn& addOn) {
    const QString preview = root + FS::separator + QStringLiteral("preview.png");
    if (FS::exists(preview))
        context.previewPath = preview;
    context.name = FS::baseName(root);
    for (const auto& entry : addOn.categories)
        context.categories << entry.first;
    context.collectionId = firstValue(addOn.categories);
}

// The reverse of the import build's kind table. Intros (4) and unknown kinds give the default.
ImportType importType(qint32 storedKind) {
    static const std::map<qint32, ImportType> table = {
        {Import::Object::Video, VideoImport},
        {Import::Object::Image, ImageImport},
        {Import::Object::Audio, AudioImport},
        {Import::Object::Other, OtherImport},
    };
    const auto it = table.find(storedKind);
    return it == table.end() ? VideoImport : it->second;
}

// The reverse of the overlay builds' kind table.
OverlayType overlayType(qint32 presetKind) {
    static const std::map<qint32, OverlayType> table = {
        {Overlay::Preset::Title, TitleOverlay},
        {Overlay::Preset::Callout, CalloutOverlay},
        {Overlay::Preset::Sticker, StickerOverlay},
    };
    const auto it = table.find(presetKind);
    return it == table.end() ? TitleOverlay : it->second;
}

// Truncates towards zero. Only a damaged item holds a fraction that does not fit; it saturates
// (NaN gives 0) instead of making the conversion undefined.
qint32 truncated(double value) {
    if (std::isnan(value))
        return 0;
    if (value >= double(std::numeric_limits<qint32>::max()))
        return std::numeric_limits<qint32>::max();
    if (value <= double(std::numeric_limits<qint32>::min()))
        return std::numeric_limits<qint32>::min();
    return qint32(value);
}

// Keeps the low 32 bits, as the build widened them.
qint32 cut(qint64 value) {
    return qint32(quint32(quint64(value)));
}

BuildContextT<ImportParams> importContext(const QString& root, const Package::Object& object) {
    BuildContextT<ImportParams> context;
    const CollectionAddOn& addOn = object.importAddOns.front();
    Loaded<Import::Object> loaded;
    const Import::Object* import = firstItem(loaded, root, addOn);
    if (!import)
        return context;

    ImportParams& params = context.params;
    params.primaryText = import->title();
    params.secondaryText = import->description();
    params.importType = importType(import->kind());
    if (!import->remoteUrl().isEmpty()) {
        // The whole match, "Packages/city.qpack", and not the bare name that the build was given.
        const QRegularExpression pattern(QStringLiteral("Packages\\/(.*?).qpack"));
        const QRegularExpressionMatch match = pattern.match(import->location());
        params.source =
            RemoteSource{import->remoteUrl(), match.hasMatch() ? match.captured(0) : QString()};
    } else {
        params.source = root + FS::separator + import->location();
    }
    fillCommon(context, root, addOn);
    return context;
}

// The project of an intermediate overlay, cloned out of the reader, which owns what it reads.
// A project that cannot be read, or that lies outside the package, leaves the timeline null.
void readTimeline(OverlayParams& params, const QString& root, const QString& location) {
    const QString path = Bundle::addOnFolder(root, location);
    if (path.isEmpty())
        return;
    try {
        Project::Reader reader(path, Project::ZipBundle);
        const Project::Content content = reader.read();
        Serialize::ObjectStorage storage;
        Serialize::ISerializable* clone =
            Serialize::Cloner().cloneImpl(content.projectObject, storage);
        params.timeline = dynamic_cast<Timeline::Object*>(clone);
        params.timelineStorage = std::move(storage);
    } catch (const FS::Error&) {
        throw;  // a disk that fails while unpacking the project is no unreadable project
    } catch (const std::exception&) {
        // Reopening still gives the rest of the overlay.
    }
}

IntermediateOverlayBuildContext intermediateOverlayContext(const QString& root,
                                                           const Package::Object& object) {
    IntermediateOverlayBuildContext context;
    const CollectionAddOn& presetAddOn = object.presetAddOns.front();
    const CollectionAddOn& importAddOn = object.importAddOns.front();
    Loaded<Overlay::Preset> presets;
    Loaded<Import::Object> imports;
    const Overlay::Preset* preset = firstItem(presets, root, presetAddOn);
    const Import::Object* import = firstItem(imports, root, importAddOn);
    if (!preset || !import || preset->items.empty())
        return context;

    OverlayParams& params = context.params;
    const Overlay::Item item = preset->items.front();
    params.overlayType = overlayType(preset->kind);
    params.useMediaTiming = false;
    params.firstItemSpan = truncated(item.firstFraction);
    params.secondItemSpan = truncated(item.secondFraction);
    if (!presetAddOn.resources.empty()) {
        // The placeholder resource carries the video timing.
        const Resource::Timing& timing = presetAddOn.resources.front().timing;
        params.videoTiming = {cut(timing.start), cut(timing.length), timing.frameRate};
    }
    readTimeline(params, root, import->location());
    fillCommon(context, root, presetAddOn);
    context.introCollectionId = firstValue(importAddOn.categories);
    return context;
}

}  // namespace

std::optional<ContentType> extractContentType(const Package::Object* object) {
    if (!object)
        return std::nullopt;
    const bool imports = !object->importAddOns.empty();
    const bool presets = !object->presetAddOns.empty();
    if (imports && presets)
        return ContentType::IntermediateOverlay;
    if (presets)
        return ContentType::Overlay;
    if (!imports)
        return std::nullopt;

    const QString root = FS::cleanPath(object->folder);
    const CollectionAddOn& addOn = object->importAddOns.front();
    Loaded<Import::Object> loaded;
    const Import::Object* import = firstItem(loaded, root, addOn);
    if (!import) {
        const QString folder = Bundle::addOnFolder(root, addOn.path);
        throw std::runtime_error(
            (folder.isEmpty()
                 ? QStringLiteral("cannot tell the content of the package in %1: its first import "
                                  "add-on \"%2\" points outside the package")
                       .arg(root, addOn.path)
                 : QStringLiteral("cannot tell the content of the package in %1: the folder %2 of "
                                  "its first import add-on holds no readable import item")
                       .arg(root, folder))
                .toStdString());
    }
    return import->kind() == Import::Object::Intro ? ContentType::Intro : ContentType::Import;
}

AnyBuildContext extractBuildContext(const Package::Object* object) {
    if (!object)
        return AnyBuildContext();
    const std::optional<ContentType> type = extractContentType(object);
    const QString root = FS::cleanPath(object->folder);
    if (type == ContentType::Import)
        return AnyBuildContext(std::in_place_index<0>, importContext(root, *object));
    if (type == ContentType::IntermediateOverlay)
        return AnyBuildContext(std::in_place_index<3>, intermediateOverlayContext(root, *object));
    // Intros, finished overlays and unknown packages are not reopened.
    return AnyBuildContext();
}

}  // namespace Package::Extractor
