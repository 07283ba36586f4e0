#include "cli/component_fields.h"

#include <QDir>
#include <QFileInfo>
#include <QImageReader>
#include <QPixmap>
#include <set>

#include "cli/checks/timeline_check.h"
#include "cli/timeline_file.h"
#include "package/abstract_build_component.h"

namespace Cli {

ComponentFields::ComponentFields(const ComponentEntry& entry, const Recipe& recipe,
                                 QStringList& warnings)
    : JsonFields(entry.fields,
                 QStringLiteral("%1: components[%2]").arg(recipe.path).arg(entry.index)),
      m_entry(entry),
      m_recipe(recipe),
      m_warnings(warnings) {
    allow(QStringLiteral("kind"));
    allow(QStringLiteral("id"));
}

QString ComponentFields::sourceFile(const QString& field, bool required) {
    const QString given = text(field, required);
    if (given.isEmpty()) {
        if (required)
            fail(field, QStringLiteral("must not be empty"));
        return QString();
    }
    const QString path = m_recipe.resolve(given);
    m_recipe.noteInput(path);
    const QFileInfo info(path);
    if (!info.exists())
        m_warnings << QStringLiteral("%1: no such file: %2").arg(where(field), path);
    else if (!info.isFile())
        m_warnings << QStringLiteral("%1: not a file: %2").arg(where(field), path);
    return path;
}

Timeline::Object ComponentFields::timeline(const QString& field) {
    const QString path = m_recipe.resolve(text(field, true));
    if (!QFileInfo(path).isFile())
        fail(field, QStringLiteral("no such file: %1").arg(path));
    m_recipe.noteInput(path);
    Timeline::Object timeline = TimelineFile::load(path);
    std::vector<Recipe::TimelineMedia> media;
    for (const auto& clip : timeline.clips()) {
        const QString source = clip->media.sourcePath;
        if (source.isEmpty())
            continue;
        m_recipe.noteInput(source);
        media.push_back({source, clip->timing.contentKind == Timeline::VideoContent});
        if (!QFileInfo(source).isFile())
            m_warnings
                << QStringLiteral("%1: %2: no such media file: %3").arg(where(field), path, source);
    }
    m_recipe.noteTimelineMedia(path, std::move(media));
    for (const QString& warning :
         TimelineCheck::warnings(timeline, QDir(m_recipe.folder).relativeFilePath(path)))
        m_warnings << QStringLiteral("%1: %2").arg(where(field), warning);
    return timeline;
}

void ComponentFields::requireOneProjectBundle() {
    static const QStringList bundleKinds = {QStringLiteral("intro"),
                                            QStringLiteral("intermediate-overlay")};
    for (const ComponentEntry& other : m_recipe.components) {
        if (other.index < m_entry.index && bundleKinds.contains(other.kind))
            fail(QStringLiteral("kind"),
                 QStringLiteral("a package holds one intro or intermediate overlay at most "
                                "(components[%1] is one)")
                     .arg(other.index));
    }
}

void ComponentFields::applyMetadata(Package::AbstractBuildComponent& component) {
    const QString categoriesField = QStringLiteral("categories");
    if (has(categoriesField)) {
        const QJsonValue categories = value(categoriesField);
        if (!categories.isArray())
            wrongType(categoriesField, QStringLiteral("a list of strings"));
        std::set<QString> set;
        const QJsonArray list = categories.toArray();
        for (int i = 0; i < list.size(); ++i) {
            if (!list.at(i).isString())
                fail(QStringLiteral("%1[%2]").arg(categoriesField).arg(i),
                     QStringLiteral("expected a string, found %1").arg(jsonTypeName(list.at(i))));
            set.insert(list.at(i).toString());
        }
        component.setCategories(set);
    }
    component.setCollectionId(text(QStringLiteral("collectionId")));

    const QString preview = text(QStringLiteral("previewPath"));
    if (!preview.isEmpty()) {
        m_recipe.noteInput(m_recipe.resolve(preview));
        QImageReader reader(m_recipe.resolve(preview));
        const QImage image = reader.read();
        if (image.isNull())
            fail(QStringLiteral("previewPath"),
                 QStringLiteral("cannot read the image %1: %2")
                     .arg(m_recipe.resolve(preview), reader.errorString()));
        component.setPreview(QPixmap::fromImage(image));
    }
}

void ComponentFields::finish() {
    JsonFields::finish(QStringLiteral("kind '%1'").arg(m_entry.kind));
}

}  // namespace Cli
