#include "cli/checks/recipe_checker.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>
#include <vector>

#include "cli/checks/check_cache.h"
#include "cli/checks/check_queue.h"
#include "cli/checks/lut_check.h"
#include "cli/checks/media_check.h"
#include "cli/checks/resource_clash_check.h"
#include "cli/checks/shader_check.h"
#include "cli/cli_error.h"
#include "cli/timeline_file.h"
#include "platform/fs/fs.h"
#include "platform/model/timeline_clip.h"

namespace Cli {
namespace {

// Video and audio larger than this are checked without the cache: the check reads little more
// than their head, and hashing the whole file would cost more than it saves.
constexpr qint64 kLargestKeptMedia = 64 << 20;

// Queues the check of one file, through the cache when there is one.
void queueFileCheck(CheckQueue& queue, const CheckCache* cache, const QString& what,
                    const QString& path, const CheckPlace& at, CheckCache::Check check) {
    queue.add([=](CheckReport& report) {
        if (cache)
            cache->run(what, path, at, report, check);
        else
            check(report);
    });
}

class ComponentCheck {
public:
    ComponentCheck(const Recipe& recipe, const ComponentEntry& entry, CheckQueue& queue,
                   const CheckCache* cache, std::vector<ResourceSource>& resources)
        : m_recipe(recipe),
          m_entry(entry),
          m_queue(queue),
          m_cache(cache),
          m_resources(resources) {}

    void run() {
        const QString& kind = m_entry.kind;
        if (kind == QLatin1String("lut-effect")) {
            const QString lut = existingFile(QStringLiteral("lut"));
            const CheckPlace at = place(QStringLiteral("lut"));
            if (!lut.isEmpty())
                queueFileCheck(
                    m_queue, m_cache, QStringLiteral("lut"), lut, at,
                    [lut, at](CheckReport& report) { LutCheck::check(lut, at, report); });
            copied(QStringLiteral("lut"));
        } else if (kind == QLatin1String("shader-effect") ||
                   kind == QLatin1String("shader-transition")) {
            const QString shader = existingFile(QStringLiteral("shader"));
            ShaderUse use;
            use.transition = kind == QLatin1String("shader-transition");
            use.hasAuxImage = !existingFile(QStringLiteral("auxImage")).isEmpty();
            use.supportsIntensity =
                m_entry.fields.value(QStringLiteral("supportsIntensity")).toBool();
            const CheckPlace at = place(QStringLiteral("shader"));
            const QString what =
                QStringLiteral("shader %1%2%3")
                    .arg(use.transition ? "transition" : "effect", use.hasAuxImage ? " aux" : "",
                         use.supportsIntensity ? " intensity" : "");
            if (!shader.isEmpty())
                queueFileCheck(m_queue, m_cache, what, shader, at,
                               [shader, use, at](CheckReport& report) {
                                   ShaderCheck::check(shader, use, at, report);
                               });
            copied(QStringLiteral("shader"));
            copied(QStringLiteral("auxImage"), MediaCheck::Image);
        } else if (kind == QLatin1String("mask-transition")) {
            copied(QStringLiteral("source"), MediaCheck::Image);
        } else if (kind == QLatin1String("overlay-transition")) {
            copied(QStringLiteral("source"), MediaCheck::Video);
        } else if (kind == QLatin1String("import")) {
            copied(QStringLiteral("path"), importExpected());
        } else if (kind == QLatin1String("intro") ||
                   kind == QLatin1String("intermediate-overlay")) {
            // The project bundle carries every media file of the timeline under its own name.
            timelineMedia(false);
            // The editable form keeps each video's timing from the timeline.
            if (kind == QLatin1String("intermediate-overlay") &&
                m_entry.fields.value(QStringLiteral("useMediaTiming")).toBool())
                m_queue.add({m_entry.index, QStringLiteral("useMediaTiming"), QString()},
                            Finding::Warning,
                            QStringLiteral("an intermediate overlay cannot keep its videos' own "
                                           "timing: the editable form holds the timeline's, so "
                                           "useMediaTiming is ignored"));
        } else if (kind == QLatin1String("overlay")) {
            // Video clips become extra video, each with a still rendered beside it.
            timelineMedia(true);
        }
    }

private:
    QString shown(const QString& path) const {
        return QDir(m_recipe.folder).relativeFilePath(path);
    }

    CheckPlace place(const QString& field, const QString& file = QString()) const {
        const QString given = m_entry.fields.value(field).toString();
        return {m_entry.index, field, file.isEmpty() ? given : file};
    }

    // The file that a field names, resolved; empty when the field names none or no such file
    // exists (the recipe reader warns about that).
    QString existingFile(const QString& field) const {
        const QString given = m_entry.fields.value(field).toString();
        if (given.isEmpty())
            return QString();
        const QString path = m_recipe.resolve(given);
        return QFileInfo(path).isFile() ? path : QString();
    }

    // A file copied into the resources, probed as `expected` when that is a media kind.
    void copied(const QString& field, int expected = -1) {
        const QString path = existingFile(field);
        if (path.isEmpty())
            return;
        m_resources.push_back({place(field), FS::fileName(path), path, false});
        if (expected >= 0)
            probe(path, MediaCheck::Expected(expected), place(field));
    }

    int importExpected() const {
        const QString kind = m_entry.fields.value(QStringLiteral("importType")).toString();
        if (kind.isEmpty() || kind == QLatin1String("video"))
            return MediaCheck::Video;
        if (kind == QLatin1String("image"))
            return MediaCheck::Image;
        if (kind == QLatin1String("audio"))
            return MediaCheck::Audio;
        return -1;  // "other": any file
    }

    void timelineMedia(bool withStills) {
        const QString field = QStringLiteral("timeline");
        const QString path = existingFile(field);
        if (path.isEmpty())
            return;
        std::vector<Recipe::TimelineMedia> read;
        const std::vector<Recipe::TimelineMedia>* media = m_recipe.timelineMedia(path);
        if (!media) {
            try {
                const Timeline::Object timeline = TimelineFile::load(path);
                for (const auto& clip : timeline.clips()) {
                    if (!clip->media.sourcePath.isEmpty())
                        read.push_back({clip->media.sourcePath,
                                        clip->timing.contentKind == Timeline::VideoContent});
                }
            } catch (const Error&) {
                return;  // the recipe reader reports it
            }
            media = &read;
        }
        QSet<QString> probed;
        for (const Recipe::TimelineMedia& clip : *media) {
            if (!QFileInfo(clip.path).isFile())
                continue;
            if (withStills && !clip.video)
                continue;
            const CheckPlace at = place(field, shown(clip.path));
            // An overlay's video becomes extra video with a still; a project carries its media
            // as they are, for the editor to read.
            if (withStills && !probed.contains(clip.path)) {
                probed.insert(clip.path);
                probe(clip.path, MediaCheck::Video, at);
            }
            m_resources.push_back({at, FS::fileName(clip.path), clip.path, false});
            if (withStills)
                m_resources.push_back({at, FS::baseName(clip.path) + QStringLiteral("_preview.png"),
                                       clip.path, true});
        }
    }

    void probe(const QString& path, MediaCheck::Expected expected, const CheckPlace& at) {
        const bool large =
            expected != MediaCheck::Image && QFileInfo(path).size() > kLargestKeptMedia;
        queueFileCheck(m_queue, large ? nullptr : m_cache,
                       QStringLiteral("media %1").arg(int(expected)), path, at,
                       [path, expected, at](CheckReport& report) {
                           MediaCheck::check(path, expected, at, report);
                       });
    }

    const Recipe& m_recipe;
    const ComponentEntry& m_entry;
    CheckQueue& m_queue;
    const CheckCache* m_cache;
    std::vector<ResourceSource>& m_resources;
};

}  // namespace

void RecipeChecker::check(const Recipe& recipe, CheckReport& report, int threads,
                          const CheckCache* cache) {
    CheckQueue queue;
    if (!recipe.previewPath.isEmpty()) {
        const QString path = recipe.previewPath;
        const CheckPlace at(-1, QStringLiteral("previewPath"),
                            QDir(recipe.folder).relativeFilePath(path));
        queueFileCheck(queue, cache, QStringLiteral("media %1").arg(int(MediaCheck::Image)), path,
                       at, [path, at](CheckReport& report) {
                           MediaCheck::check(path, MediaCheck::Image, at, report);
                       });
    }
    std::vector<ResourceSource> resources;
    for (const ComponentEntry& entry : recipe.components)
        ComponentCheck(recipe, entry, queue, cache, resources).run();
    queue.run(report, threads);
    LutCheck::forgetLoaded();
    ResourceClashCheck::check(resources, report);
}

}  // namespace Cli
