#include "cli/add_on_reader.h"

#include <QColor>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include "cli/cli_error.h"
#include "cli/preset_timeline.h"
#include "package/components/effects/external_shader.h"
#include "package/components/effects/template_transition_items.h"
#include "platform/bundle/package_reader.h"
#include "platform/bundle/store_item.h"
#include "platform/model/import_object.h"
#include "platform/project/project_reader.h"

namespace Cli {
namespace {

// The recipe's import types by stored kind (the inverse of the import build's table).
const QStringList kImportTypes = {QStringLiteral("other"), QStringLiteral("audio"),
                                  QStringLiteral("image"), QStringLiteral("video")};

// The stored item of an add-on; its item lives in `storage`. Empty, with the reason in
// `problem`, when it cannot be read.
template <class T>
std::optional<EditorCollection::PersistentItem<T>> loadRecord(const QString& folder,
                                                              Serialize::ObjectStorage& storage,
                                                              QString* problem) {
    if (folder.isEmpty()) {
        *problem = QStringLiteral("its folder lies outside the package");
        return std::nullopt;
    }
    try {
        auto record = Bundle::loadItem<T>(folder, storage);
        if (!record.item) {
            *problem = QStringLiteral("its stored record holds no item");
            return std::nullopt;
        }
        return record;
    } catch (const std::bad_cast&) {
        *problem = QStringLiteral("its stored item is not a %1")
                       .arg(QString::fromStdString(T::staticTypeName()));
    } catch (const std::exception& error) {
        *problem = QStringLiteral("its stored item cannot be read (%1)")
                       .arg(QString::fromUtf8(error.what()));
    }
    return std::nullopt;
}

QString typeOf(const Serialize::ISerializable& item) {
    return QString::fromStdString(item.typeName());
}

}  // namespace

AddOnReader::AddOnReader(const QString& root, const QString& recipeFolder,
                         const QString& packagePath, QStringList* warnings)
    : m_root(QDir::cleanPath(root)),
      m_recipeFolder(recipeFolder),
      m_packagePath(packagePath),
      m_warnings(warnings) {}

void AddOnReader::warn(const Package::CollectionAddOn& addOn, const QString& text) const {
    m_warnings->append(QStringLiteral("%1: %2").arg(addOn.path, text));
}

void AddOnReader::requireInside(const QStringList& paths) const {
    QStringList outside;
    for (const QString& path : paths) {
        if (!path.isEmpty() && !QDir::cleanPath(path).startsWith(m_root + QLatin1Char('/')))
            outside << path;
    }
    if (!outside.isEmpty())
        throw Error(QStringLiteral("%1: the package names files outside itself (%2); it is not "
                                   "rebuilt from them")
                        .arg(m_packagePath, outside.join(QStringLiteral(", "))));
}

QString AddOnReader::packageFile(const QString& packageRelative) const {
    if (packageRelative.isEmpty())
        return QString();  // names no file: the caller finds none there
    const QString path = Bundle::addOnFolder(m_root, packageRelative);
    if (path.isEmpty())
        requireInside({packageRelative});
    return path;
}

QString AddOnReader::ownPreview(const QString& path) const {
    QImage image(path);
    if (image.isNull())
        return QString();
    // A build without a preview gives an 80 x 80 square of Qt's grey: that needs no file.
    if (image.size() == QSize(80, 80)) {
        image = image.convertToFormat(QImage::Format_ARGB32);
        const QRgb grey = QColor(Qt::gray).rgba();
        bool plain = true;
        for (int y = 0; plain && y < image.height(); ++y) {
            const QRgb* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
            for (int x = 0; plain && x < image.width(); ++x)
                plain = line[x] == grey;
        }
        if (plain)
            return QString();
    }
    return path;
}

QString AddOnReader::resourceFile(const Package::CollectionAddOn& addOn, const QString& id,
                                  const QString& what) const {
    for (const Package::Resource& resource : addOn.resources) {
        if (resource.id() != id)
            continue;
        const QString path = packageFile(resource.path);
        if (QFileInfo(path).isFile())
            return path;
        warn(addOn, QStringLiteral("its %1 %2 is not in the package").arg(what, resource.path));
        return QString();
    }
    warn(addOn, QStringLiteral("its %1 (resource %2) is not among the add-on's resources")
                    .arg(what, id.isEmpty() ? QStringLiteral("without an id") : id));
    return QString();
}

void AddOnReader::addMetadata(QJsonObject& component, const Package::CollectionAddOn& addOn,
                              const std::set<QString>& categories,
                              const QString& collectionId) const {
    QStringList list;
    for (const QString& category : categories)
        list << category;
    if (!list.isEmpty())
        component[QStringLiteral("categories")] = QJsonArray::fromStringList(list);
    if (!collectionId.isEmpty())
        component[QStringLiteral("collectionId")] = collectionId;
    const QString preview = ownPreview(packageFile(addOn.path) + QStringLiteral("/preview.png"));
    if (!preview.isEmpty())
        component[QStringLiteral("previewPath")] = relative(preview);
}

std::optional<QJsonObject> AddOnReader::effect(const Package::CollectionAddOn& addOn) const {
    Serialize::ObjectStorage storage;
    QString problem;
    const auto record =
        loadRecord<Effect::Object>(Bundle::addOnFolder(m_root, addOn.path), storage, &problem);
    if (!record) {
        warn(addOn, problem + QStringLiteral("; the effect is left out"));
        return std::nullopt;
    }
    const Effect::Object& item = *record->item;
    QJsonObject component{{QStringLiteral("title"), item.title},
                          {QStringLiteral("description"), item.description}};
    if (const auto* lut = dynamic_cast<const Effect::Lut*>(&item)) {
        const QString file = resourceFile(addOn, lut->lutResource, QStringLiteral("LUT file"));
        if (file.isEmpty()) {
            warn(addOn, QStringLiteral("the LUT effect is left out"));
            return std::nullopt;
        }
        component[QStringLiteral("kind")] = QStringLiteral("lut-effect");
        component[QStringLiteral("lut")] = relative(file);
    } else if (const auto* shader = dynamic_cast<const Effect::ExternalShader*>(&item)) {
        const QString file =
            resourceFile(addOn, shader->shaderResource, QStringLiteral("shader file"));
        if (file.isEmpty()) {
            warn(addOn, QStringLiteral("the shader effect is left out"));
            return std::nullopt;
        }
        component[QStringLiteral("kind")] = QStringLiteral("shader-effect");
        component[QStringLiteral("shader")] = relative(file);
        if (!shader->auxImageResource.isEmpty()) {
            const QString aux =
                resourceFile(addOn, shader->auxImageResource, QStringLiteral("auxiliary image"));
            if (!aux.isEmpty())
                component[QStringLiteral("auxImage")] = relative(aux);
        }
        component[QStringLiteral("supportsIntensity")] = shader->supportsIntensity;
        component[QStringLiteral("intensity")] = shader->intensity;
    } else {
        warn(addOn, QStringLiteral("an effect of type %1 cannot be carried; it is left out")
                        .arg(typeOf(item)));
        return std::nullopt;
    }
    addMetadata(component, addOn, record->categories, record->collectionId);
    return component;
}

std::optional<QJsonObject> AddOnReader::transition(const Package::CollectionAddOn& addOn) const {
    Serialize::ObjectStorage storage;
    QString problem;
    const auto record =
        loadRecord<Transition::Object>(Bundle::addOnFolder(m_root, addOn.path), storage, &problem);
    if (!record) {
        warn(addOn, problem + QStringLiteral("; the transition is left out"));
        return std::nullopt;
    }
    const Transition::Object& item = *record->item;
    QJsonObject component;
    const bool mask = dynamic_cast<const Transition::MaskTransition*>(&item) != nullptr;
    if (const auto* shader = dynamic_cast<const Transition::ExternalShader*>(&item)) {
        const QString file =
            resourceFile(addOn, shader->shaderResource, QStringLiteral("shader file"));
        if (file.isEmpty()) {
            warn(addOn, QStringLiteral("the shader transition is left out"));
            return std::nullopt;
        }
        component = {{QStringLiteral("kind"), QStringLiteral("shader-transition")},
                     {QStringLiteral("title"), item.title},
                     {QStringLiteral("description"), item.description},
                     {QStringLiteral("shader"), relative(file)},
                     {QStringLiteral("supportsIntensity"), shader->supportsIntensity},
                     {QStringLiteral("intensity"), shader->intensity}};
        if (!shader->auxImageResource.isEmpty()) {
            const QString aux =
                resourceFile(addOn, shader->auxImageResource, QStringLiteral("auxiliary image"));
            if (!aux.isEmpty())
                component[QStringLiteral("auxImage")] = relative(aux);
        }
    } else if (mask || dynamic_cast<const Transition::Overlay*>(&item)) {
        // The transition's title is the package's name; its one file is its media resource.
        QString id;
        for (const Transition::ResourceReference& reference : item.resources) {
            if (reference.kind == ::Resource::MediaFile) {
                id = reference.id;
                break;
            }
        }
        const QString file = resourceFile(addOn, id, QStringLiteral("media file"));
        if (file.isEmpty()) {
            warn(addOn, QStringLiteral("the transition is left out"));
            return std::nullopt;
        }
        component = {{QStringLiteral("kind"), mask ? QStringLiteral("mask-transition")
                                                   : QStringLiteral("overlay-transition")},
                     {QStringLiteral("source"), relative(file)}};
    } else {
        warn(addOn, QStringLiteral("a transition of type %1 cannot be carried; it is left out")
                        .arg(typeOf(item)));
        return std::nullopt;
    }
    addMetadata(component, addOn, record->categories, record->collectionId);
    return component;
}

std::optional<QJsonObject> AddOnReader::preset(const Package::CollectionAddOn& addOn,
                                               const QString& timelineFileName,
                                               QByteArray* timeline) const {
    Serialize::ObjectStorage storage;
    QString problem;
    const auto record =
        loadRecord<Overlay::Preset>(Bundle::addOnFolder(m_root, addOn.path), storage, &problem);
    if (!record) {
        warn(addOn, problem + QStringLiteral("; the overlay is left out"));
        return std::nullopt;
    }
    const PresetTimeline read =
        PresetTimeline::read(*record->item, addOn, [this](const Package::Resource& resource) {
            const QString path = packageFile(resource.path);
            return QFileInfo(path).isFile() ? relative(path) : QString();
        });
    for (const QString& line : read.dropped)
        warn(addOn, line + QStringLiteral("; the item is left out"));
    for (const QString& line : read.approximations)
        warn(addOn, QStringLiteral("the overlay is rebuilt approximately: ") + line);
    *timeline = QJsonDocument(read.timeline).toJson(QJsonDocument::Indented);
    QJsonObject component{{QStringLiteral("kind"), QStringLiteral("overlay")},
                          {QStringLiteral("overlayType"), read.overlayType},
                          {QStringLiteral("timeline"), timelineFileName},
                          {QStringLiteral("firstItemSpan"), read.firstItemSpan},
                          {QStringLiteral("secondItemSpan"), read.secondItemSpan}};
    if (read.videoTiming) {
        component[QStringLiteral("videoTiming")] =
            QJsonObject{{QStringLiteral("start"), read.videoTiming->start},
                        {QStringLiteral("length"), read.videoTiming->length},
                        {QStringLiteral("frameRate"), read.videoTiming->frameRate}};
    } else {
        component[QStringLiteral("useMediaTiming")] = true;
    }
    addMetadata(component, addOn, record->categories, record->collectionId);
    return component;
}

QString AddOnReader::presetCollectionId(const Package::CollectionAddOn& addOn) const {
    Serialize::ObjectStorage storage;
    QString problem;
    const auto record =
        loadRecord<Overlay::Preset>(Bundle::addOnFolder(m_root, addOn.path), storage, &problem);
    return record ? record->collectionId : QString();
}

std::optional<qint32> AddOnReader::importKind(const Package::CollectionAddOn& addOn) const {
    Serialize::ObjectStorage storage;
    QString problem;
    const auto record =
        loadRecord<Import::Object>(Bundle::addOnFolder(m_root, addOn.path), storage, &problem);
    return record ? std::optional<qint32>(record->item->kind()) : std::nullopt;
}

std::optional<QJsonObject> AddOnReader::import(const Package::CollectionAddOn& addOn,
                                               const QString& timelineFileName,
                                               std::optional<Timeline::Object>* project) const {
    Serialize::ObjectStorage storage;
    QString problem;
    const auto record =
        loadRecord<Import::Object>(Bundle::addOnFolder(m_root, addOn.path), storage, &problem);
    if (!record) {
        warn(addOn, problem + QStringLiteral("; the import is left out"));
        return std::nullopt;
    }
    const Import::Object& item = *record->item;
    QJsonObject component{{QStringLiteral("title"), item.title()},
                          {QStringLiteral("description"), item.description()}};
    if (item.kind() == Import::Object::Intro) {
        if (project->has_value()) {
            warn(addOn, QStringLiteral("a package holds one intro at most; this one is left out"));
            return std::nullopt;
        }
        const QString bundle = packageFile(item.location());
        try {
            Project::Reader reader(bundle, Project::ZipBundle);
            const Project::Content content = reader.read();
            const auto* timeline = dynamic_cast<const Timeline::Object*>(content.projectObject);
            if (!timeline)
                throw std::runtime_error("it holds no timeline");
            project->emplace(*timeline);
        } catch (const std::exception& error) {
            warn(addOn, QStringLiteral("its project %1 cannot be read (%2); the intro is left out")
                            .arg(item.location(), QString::fromUtf8(error.what())));
            return std::nullopt;
        }
        QStringList media;
        for (const auto& clip : (*project)->clips())
            media << clip->media.sourcePath;
        requireInside(media);
        (*project)->mapMediaPaths([this](const QString& path) { return relative(path); });
        component[QStringLiteral("kind")] = QStringLiteral("intro");
        component[QStringLiteral("timeline")] = timelineFileName;
    } else if (item.kind() < 0 || item.kind() >= kImportTypes.size()) {
        warn(addOn, QStringLiteral("an import of stored kind %1 cannot be carried; it is left out")
                        .arg(item.kind()));
        return std::nullopt;
    } else {
        component[QStringLiteral("kind")] = QStringLiteral("import");
        component[QStringLiteral("importType")] = kImportTypes[item.kind()];
        if (!item.remoteUrl().isEmpty()) {
            // The build names the package that holds the media as "#DOWNLOADABLE_PATH#/Packages/
            // <name>.qpack"; the recipe wants <name>.
            static const QRegularExpression named(
                QStringLiteral("^#DOWNLOADABLE_PATH#/Packages/([^/\\\\]+)\\.qpack$"));
            const QRegularExpressionMatch match = named.match(item.location());
            if (!match.hasMatch()) {
                warn(addOn, QStringLiteral("its location %1 names no package to download from "
                                           "%2; the import is left out")
                                .arg(item.location(), item.remoteUrl()));
                return std::nullopt;
            }
            component[QStringLiteral("remoteUrl")] = item.remoteUrl();
            component[QStringLiteral("packageName")] = match.captured(1);
        } else {
            const QString file = packageFile(item.location());
            if (!QFileInfo(file).isFile()) {
                warn(addOn, QStringLiteral("its media file %1 is not in the package; the import "
                                           "is left out")
                                .arg(item.location()));
                return std::nullopt;
            }
            component[QStringLiteral("path")] = relative(file);
        }
    }
    addMetadata(component, addOn, record->categories, record->collectionId);
    return component;
}

}  // namespace Cli
