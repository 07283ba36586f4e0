#include "cli/checks/package_content_check.h"

#include <QFileInfo>
#include <exception>
#include <memory>
#include <vector>

#include "cli/checks/check_queue.h"
#include "cli/checks/lut_check.h"
#include "cli/checks/media_check.h"
#include "cli/checks/package_clash_check.h"
#include "cli/checks/shader_check.h"
#include "cli/package_report.h"
#include "package/components/effects/external_shader.h"
#include "platform/model/import_object.h"
#include "platform/model/overlay_preset.h"
#include "platform/model/persistent_item.h"
#include "platform/model/transition_object.h"
#include "platform/model/video_effect.h"

namespace Cli {
namespace {

class ItemCheck {
public:
    ItemCheck(const QString& root, const QSet<QString>& damaged,
              const Package::CollectionAddOn& addOn, const QString& label, CheckQueue& queue,
              std::vector<PackageFileUse>& uses)
        : m_root(root),
          m_damaged(damaged),
          m_addOn(addOn),
          m_label(label),
          m_queue(queue),
          m_uses(uses) {}

    void run(const Serialize::ISerializable& stored) {
        if (const auto* effect =
                dynamic_cast<const EditorCollection::PersistentItem<Effect::Object>*>(&stored))
            this->effect(effect->item);
        else if (const auto* transition =
                     dynamic_cast<const EditorCollection::PersistentItem<Transition::Object>*>(
                         &stored))
            this->transition(transition->item);
        else if (const auto* import =
                     dynamic_cast<const EditorCollection::PersistentItem<Import::Object>*>(&stored))
            this->import(import->item);
        else if (const auto* preset =
                     dynamic_cast<const EditorCollection::PersistentItem<Overlay::Preset>*>(
                         &stored))
            this->preset(preset->item);
    }

private:
    void effect(const Effect::Object* item) {
        if (const auto* lut = dynamic_cast<const Effect::Lut*>(item)) {
            const QString path = resourcePath(lut->lutResource);
            if (use(path, QStringLiteral("lutResource"), PackageFileUse::Sole))
                m_queue.add([file = absolute(path),
                             at = place(QStringLiteral("lutResource"), path)](CheckReport& report) {
                    LutCheck::check(file, at, report);
                });
        } else if (const auto* shader = dynamic_cast<const Effect::ExternalShader*>(item)) {
            this->shader(shader->shaderResource, shader->auxImageResource,
                         shader->supportsIntensity, false);
        }
    }

    void transition(const Transition::Object* item) {
        if (const auto* shader = dynamic_cast<const Transition::ExternalShader*>(item)) {
            this->shader(shader->shaderResource, shader->auxImageResource,
                         shader->supportsIntensity, true);
            return;
        }
        if (!item || (item->maskMode == 0 && item->overlayMode == 0))
            return;
        // A mask transition shows a picture, an overlay transition a clip.
        const bool mask = item->maskMode != 0;
        for (const Transition::ResourceReference& reference : item->resources) {
            const Package::Resource* resource = resourceOf(reference.id);
            if (!resource ||
                !use(resource->path, QStringLiteral("resources"), PackageFileUse::Sole, resource))
                continue;
            media(resource->path, mask ? MediaCheck::Image : MediaCheck::Video,
                  place(QStringLiteral("resources"), resource->path));
        }
    }

    void shader(const QString& shaderId, const QString& auxId, bool supportsIntensity,
                bool transition) {
        const QString aux = resourcePath(auxId);
        ShaderUse shaderUse;
        shaderUse.transition = transition;
        shaderUse.supportsIntensity = supportsIntensity;
        shaderUse.hasAuxImage =
            use(aux, QStringLiteral("auxImageResource"), PackageFileUse::Shared);
        if (shaderUse.hasAuxImage)
            media(aux, MediaCheck::Image, place(QStringLiteral("auxImageResource"), aux));
        const QString path = resourcePath(shaderId);
        if (use(path, QStringLiteral("shaderResource"), PackageFileUse::Shared))
            m_queue.add([file = absolute(path), shaderUse,
                         at = place(QStringLiteral("shaderResource"), path)](CheckReport& report) {
                ShaderCheck::check(file, shaderUse, at, report);
            });
    }

    void import(const Import::Object* item) {
        // A file that the editor downloads later ("#...#") is not in the package.
        if (!item || item->location().startsWith(QLatin1Char('#')))
            return;
        int expected = -1;
        if (item->kind() == Import::Object::Video)
            expected = MediaCheck::Video;
        else if (item->kind() == Import::Object::Audio)
            expected = MediaCheck::Audio;
        else if (item->kind() == Import::Object::Image)
            expected = MediaCheck::Image;
        const QString path = item->location();
        // An intro's project bundle and an import of another kind carry any file.
        const auto role = expected < 0 ? PackageFileUse::Shared : PackageFileUse::Sole;
        if (use(path, QStringLiteral("location"), role) && expected >= 0)
            media(path, MediaCheck::Expected(expected), place(QStringLiteral("location"), path));
    }

    void preset(const Overlay::Preset* item) {
        if (!item)
            return;
        // An overlay's video travels as a media resource, with its still under the same id.
        for (const Package::Resource& resource : m_addOn.resources) {
            if (resource.type() == ::Resource::MediaFile &&
                use(resource.path, QStringLiteral("resources"), PackageFileUse::Shared, &resource))
                media(resource.path, MediaCheck::Video,
                      place(QStringLiteral("resources"), resource.path));
        }
        for (const Package::Resource& resource : m_addOn.resources) {
            if (resource.type() != ::Resource::StillImage)
                continue;
            QString video;
            for (const Package::Resource& other : m_addOn.resources) {
                if (other.type() == ::Resource::MediaFile && other.id() == resource.id())
                    video = other.path;
            }
            PackageFileUse still;
            still.place = place(QStringLiteral("resources"), resource.path);
            still.role = PackageFileUse::Still;
            still.stillOf = video;
            if (present(resource.path)) {
                m_uses.push_back(still);
                media(resource.path, MediaCheck::Image, still.place);
            }
        }
    }

    void media(const QString& path, MediaCheck::Expected expected, const CheckPlace& at) {
        m_queue.add([file = absolute(path), expected, at](CheckReport& report) {
            MediaCheck::check(file, expected, at, report);
        });
    }

    const Package::Resource* resourceOf(const QString& id) const {
        if (id.isEmpty())
            return nullptr;
        for (const Package::Resource& resource : m_addOn.resources) {
            if (resource.id() == id)
                return &resource;
        }
        return nullptr;
    }

    QString resourcePath(const QString& id) const {
        const Package::Resource* resource = resourceOf(id);
        return resource ? resource->path : QString();
    }

    // Whether the package holds `path` intact; the verifier reports it otherwise.
    bool present(const QString& path) const {
        const QString entry = entryOf(path);
        return !entry.isEmpty() && !m_damaged.contains(entry) &&
               QFileInfo(m_root + QLatin1Char('/') + entry).isFile();
    }

    QString entryOf(const QString& path) const {
        const QString folder = Bundle::addOnFolder(m_root, path);
        return folder.isEmpty() ? QString() : folder.mid(m_root.size() + 1);
    }

    QString absolute(const QString& path) const {
        return m_root + QLatin1Char('/') + entryOf(path);
    }

    CheckPlace place(const QString& field, const QString& path) const {
        CheckPlace at;
        at.item = m_label;
        at.field = field;
        at.file = entryOf(path);
        return at;
    }

    // Notes a use of `path` when the package holds it; false when it does not.
    bool use(const QString& path, const QString& field, PackageFileUse::Role role,
             const Package::Resource* record = nullptr) {
        if (path.isEmpty() || !present(path))
            return false;
        PackageFileUse fileUse;
        fileUse.place = place(field, path);
        fileUse.role = role;
        if (record && record->type() == ::Resource::MediaFile) {
            fileUse.timed = true;
            fileUse.timing = record->timing;
        }
        m_uses.push_back(fileUse);
        return true;
    }

    const QString& m_root;
    const QSet<QString>& m_damaged;
    const Package::CollectionAddOn& m_addOn;
    const QString m_label;
    CheckQueue& m_queue;
    std::vector<PackageFileUse>& m_uses;
};

QString titleOf(const Serialize::ISerializable& stored) {
    if (const auto* r =
            dynamic_cast<const EditorCollection::PersistentItem<Effect::Object>*>(&stored))
        return r->item ? r->item->title : QString();
    if (const auto* r =
            dynamic_cast<const EditorCollection::PersistentItem<Transition::Object>*>(&stored))
        return r->item ? r->item->title : QString();
    if (const auto* r =
            dynamic_cast<const EditorCollection::PersistentItem<Import::Object>*>(&stored))
        return r->item ? r->item->title() : QString();
    if (const auto* r =
            dynamic_cast<const EditorCollection::PersistentItem<Overlay::Preset>*>(&stored))
        return r->item ? r->item->name : QString();
    return QString();
}

}  // namespace

void PackageContentCheck::check(const QString& folder, const Bundle::PackageManifest& manifest,
                                const Package::Object& object, const QSet<QString>& damaged,
                                CheckReport& report, int threads) {
    CheckQueue queue;
    if (!manifest.previewPath.isEmpty()) {
        const QString preview = Bundle::addOnFolder(folder, manifest.previewPath);
        const QString entry = preview.mid(folder.size() + 1);
        if (!preview.isEmpty() && !damaged.contains(entry) && QFileInfo(preview).isFile())
            queue.add([preview, at = CheckPlace(-1, QStringLiteral("previewPath"), entry)](
                          CheckReport& report) {
                MediaCheck::check(preview, MediaCheck::Image, at, report);
            });
    }
    std::vector<PackageFileUse> uses;
    for (const AddOnList& info : addOnLists()) {
        const QString list = QLatin1String(info.name);
        int index = 0;
        for (const Package::CollectionAddOn& addOn : object.*info.member) {
            const int at = index++;
            Serialize::ObjectStorage storage;
            std::unique_ptr<Serialize::ISerializable> stored;
            try {
                stored = readStoredItem(folder, list, addOn, storage);
            } catch (const std::exception&) {
                continue;  // the verifier's problem
            }
            if (!stored)
                continue;
            const QString title = titleOf(*stored);
            const QString label = title.isEmpty()
                                      ? QStringLiteral("%1[%2]").arg(list).arg(at)
                                      : QStringLiteral("%1[%2] '%3'").arg(list).arg(at).arg(title);
            ItemCheck(folder, damaged, addOn, label, queue, uses).run(*stored);
        }
    }
    queue.run(report, threads);
    LutCheck::forgetLoaded();
    PackageClashCheck::check(uses, report);
}

}  // namespace Cli
