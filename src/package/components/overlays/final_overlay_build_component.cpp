#include "package/components/overlays/final_overlay_build_component.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>
#include <vector>

#include "package/components/overlays/video_placement.h"
#include "package/name_checks.h"
#include "platform/bundle/store_item.h"
#include "platform/fs/fs.h"
#include "platform/media/core_parser.h"
#include "platform/media/snapshot.h"
#include "platform/media/timing_from_metadata.h"
#include "platform/model/id_source.h"
#include "platform/model/package_object.h"
#include "platform/model/unique_id.h"

namespace Package {
namespace {

// Clips in clip order (position, then track); of two equivalent clips the first met stays. The
// order's keys are sorted by value rather than through the clip pointers, which keeps a timeline
// of a million clips out of the cache misses that a tree of pointers costs.
std::vector<const Timeline::Clip*> orderedClips(const Timeline::Object* timeline) {
    struct Entry {
        qint64 position;
        qint32 track;
        size_t index;  // the order met, so that the first of equivalent clips sorts first
    };
    const auto& all = timeline->clips();
    std::vector<Entry> entries;
    entries.reserve(all.size());
    for (size_t i = 0; i < all.size(); ++i)
        entries.push_back({all[i]->timing.position, all[i]->track, i});
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        return std::tie(a.position, a.track, a.index) < std::tie(b.position, b.track, b.index);
    });
    std::vector<const Timeline::Clip*> clips;
    clips.reserve(entries.size());
    for (size_t i = 0; i < entries.size(); ++i) {
        const bool equivalent = i > 0 && entries[i].position == entries[i - 1].position &&
                                entries[i].track == entries[i - 1].track;
        if (!equivalent)
            clips.push_back(all[entries[i].index].get());
    }
    return clips;
}

bool nearlyEqual(double a, double b) {
    return std::abs(a - b) * 1e12 <= std::min(std::abs(a), std::abs(b));
}

}  // namespace

FinalOverlayBuildComponent::FinalOverlayBuildComponent(const OverlayParams& params)
    : m_params(params.clone()) {}

qint32 FinalOverlayBuildComponent::presetKind(qint32 overlayType) {
    static const std::map<qint32, qint32> table = {{0, 1}, {1, 2}, {2, 3}};
    const auto it = table.find(overlayType);
    return it == table.end() ? 0 : it->second;
}

Timeline::Object FinalOverlayBuildComponent::prepareTimeline() const {
    Timeline::Object timeline(*m_params.timeline);
    timeline.clearTrack(timeline.primaryTrack());
    return timeline;
}

ResourceFixupQueue FinalOverlayBuildComponent::build(Package::Object* package) {
    // The item folder's pattern is filled by successive substitutions, which would rewrite a
    // marker in either of its first two texts.
    requireNoReplaceableMarker(QStringLiteral("working folder"), package->folder);
    requireNoReplaceableMarker(QStringLiteral("collection id"), collectionId());
    const QString uuid = IdSource::current().newUuid().toString();
    const QString win = m_params.winSubfolder ? QStringLiteral("/win/") : QString();
    // The doubled separators that these patterns make are kept as they are.
    const QString itemFolder =
        QStringLiteral("%1/%2/%3/").arg(package->folder).arg(collectionId()).arg(win);
    CollectionAddOn addOn;
    addOn.path = QStringLiteral("%1/%2%3/").arg(collectionId(), win, uuid);
    ResourceFixupQueue fixups;

    const Timeline::Object timeline = m_params.timeline ? prepareTimeline() : Timeline::Object();
    Overlay::Preset preset;
    preset.kind = presetKind(m_params.overlayType);
    preset.name = package->name;
    preset.duration = timeline.duration();  // before the merges, which divide by it
    mergeExtraVideo(&timeline, &preset, addOn, fixups);
    mergeOverlays(&timeline, &preset);

    EditorCollection::PersistentItem<Overlay::Preset> item;
    item.uniqueId = nextUniqueId();
    item.item = &preset;
    item.preview = preview();
    item.categories = categories();
    item.collectionId = collectionId();
    Bundle::storeItem(itemFolder + uuid, item);

    for (const QString& category : item.categories)
        addOn.categories.emplace(category, item.collectionId);
    package->presetAddOns.push_back(addOn);
    return fixups;
}

void FinalOverlayBuildComponent::mergeOverlays(const Timeline::Object* timeline,
                                               Overlay::Preset* preset) const {
    using Key = Animation::KeyValue<Transformation::Object>;
    const auto clips = orderedClips(timeline);
    size_t itemCount = preset->items.size();
    for (const Timeline::Clip* clip : clips)
        itemCount += clip->overlayPreset() ? clip->overlayPreset()->items.size() : 0;
    preset->items.reserve(itemCount);

    for (const Timeline::Clip* clip : clips) {
        const Timeline::ClipTiming timing = timeline->clipTiming(clip);
        if (!clip->overlayPreset())
            continue;

        // The clip's keyframes cut to its visible part; every item of the clip gets the same.
        Transformation::Envelope envelope;
        if (clip->envelope()) {
            const double first = double(timing.inPoint);
            const double last = double(timing.inPoint + timing.length);
            for (const Key& key : clip->envelope()->keys) {
                const double t = key.step * double(timing.contentLength);
                const double c = std::min(std::max(t, first), last);
                if (!nearlyEqual(t, c))
                    continue;  // outside the visible part
                const Key kept((t - first) / double(timing.length), key.value);
                // Before every key of an equal or greater step: equal steps end up reversed.
                const auto at = std::lower_bound(
                    envelope.keys.begin(), envelope.keys.end(), kept.step,
                    [](const Key& existing, double step) { return existing.step < step; });
                envelope.keys.insert(at, kept);
            }
        }

        // No guard against zero lengths: such clips give infinite or undefined fractions.
        for (const Overlay::Item& original : clip->overlayPreset()->items) {
            Overlay::Item item(original);
            if (!envelope.keys.empty())
                item.setEnvelope(envelope);
            item.name.clear();
            item.firstFraction = double(m_params.firstItemSpan) / double(timing.length);
            item.secondFraction = double(m_params.secondItemSpan) / double(timing.length);
            item.begin = double(timing.position) / double(preset->duration);
            item.end = double(timing.position + timing.length) / double(preset->duration);
            preset->appendItem(std::move(item));
        }
    }
}

void FinalOverlayBuildComponent::mergeExtraVideo(const Timeline::Object* timeline,
                                                 Overlay::Preset* preset, CollectionAddOn& addOn,
                                                 ResourceFixupQueue& fixups) const {
    const auto clips = orderedClips(timeline);
    for (const Timeline::Clip* clip : clips) {
        const Timeline::ClipTiming& timing = timeline->clipTiming(clip);
        if (timing.contentKind != Timeline::VideoContent)
            continue;
        const QString uuid = IdSource::current().newUuid().toString();
        const QString source = clip->media.sourcePath;

        Resource video;
        video.path = makeResourcePath(FS::fileName(source));
        video.key = std::make_tuple(uuid, ::Resource::MediaFile);
        if (m_params.useMediaTiming) {
            video.timing =
                Core::getTimingFromMetadata(CoreParser::openSource(source)->formatFile());
        } else {
            video.timing = {m_params.videoTiming.start, m_params.videoTiming.length,
                            m_params.videoTiming.frameRate};
        }
        fixups.push_back([source](const QString& folder) {
            FS::copy(source, QStringLiteral("%1/%2").arg(folder, FS::fileName(source)));
        });
        addOn.resources.push_back(video);

        // The still shows the middle of the clip.
        const QString stillName = FS::baseName(source) + QStringLiteral("_preview.png");
        const double snapshotTime = double(clip->length()) * 0.5 + double(timing.position);
        fixups.push_back([source, snapshotTime, stillName](const QString& folder) {
            Media::Snapshot::write(source.toStdString(), qint64(snapshotTime),
                                   (folder + stillName).toStdString());
        });
        addOn.resources.push_back(
            Resource(makeResourcePath(stillName), uuid, ::Resource::StillImage));

        Overlay::Item item;
        const auto& effects = clip->effects();
        const auto pip = std::find_if(effects.begin(), effects.end(), [](const auto& effect) {
            return effect->group == Effect::Group::GroupPip;
        });
        if (pip != effects.end())
            item.setTransform(videoPlacement(timeline, *clip, **pip));
        item.begin = double(timing.position) / double(preset->duration);
        item.end = double(timing.position + timing.length) / double(preset->duration);
        item.kind = Overlay::Item::Video;
        item.resource = ::Resource::serializeResource(std::make_tuple(uuid, ::Resource::MediaFile));
        // A whole copy: unlike overlay clips, video keeps its keys as they are.
        if (clip->envelope())
            item.setEnvelope(*clip->envelope());
        preset->appendItem(item);
    }
}

}  // namespace Package
