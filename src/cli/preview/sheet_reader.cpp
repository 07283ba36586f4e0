#include "cli/preview/sheet_reader.h"

#include <QDir>
#include <QFileInfo>
#include <exception>
#include <map>

#include "cli/cli_error.h"
#include "cli/package_report.h"
#include "cli/package_verifier.h"
#include "cli/preview/card_visuals.h"
#include "cli/preview/package_source.h"
#include "package/components/effects/external_shader.h"
#include "package/components/effects/template_transition_items.h"
#include "package/type_registration.h"
#include "platform/bundle/package_reader.h"
#include "platform/fs/temporary_folder.h"
#include "platform/model/effect_object.h"
#include "platform/model/import_object.h"
#include "platform/model/overlay_preset.h"
#include "platform/model/persistent_item.h"
#include "platform/model/transition_object.h"
#include "platform/model/video_effect.h"

namespace Cli::Preview {
namespace {

QString resourceKind(::Resource::Type type) {
    switch (type) {
        case ::Resource::MediaFile:
            return QStringLiteral("media");
        case ::Resource::StillImage:
            return QStringLiteral("image");
        case ::Resource::DataFile:
            return QStringLiteral("data");
        default:
            return QStringLiteral("unknown");
    }
}

QString effectKind(const Effect::Object& item) {
    if (dynamic_cast<const Effect::Lut*>(&item))
        return QStringLiteral("LUT effect");
    if (dynamic_cast<const Effect::ExternalShader*>(&item))
        return QStringLiteral("Shader effect");
    return QStringLiteral("Effect");
}

QString transitionKind(const Transition::Object& item) {
    if (dynamic_cast<const Transition::ExternalShader*>(&item))
        return QStringLiteral("Shader transition");
    if (dynamic_cast<const Transition::MaskTransition*>(&item))
        return QStringLiteral("Mask transition");
    if (dynamic_cast<const Transition::Overlay*>(&item))
        return QStringLiteral("Overlay transition");
    return QStringLiteral("Transition");
}

QString presetKind(const Overlay::Preset& item) {
    switch (item.kind) {
        case Overlay::Preset::Title:
            return QStringLiteral("Title");
        case Overlay::Preset::Callout:
            return QStringLiteral("Callout");
        case Overlay::Preset::Sticker:
            return QStringLiteral("Sticker");
        default:
            return QStringLiteral("Overlay");
    }
}

QString importKind(const Import::Object& item) {
    if (!item.remoteUrl().isEmpty())
        return QStringLiteral("Remote import");
    switch (item.kind()) {
        case Import::Object::Audio:
            return QStringLiteral("Audio import");
        case Import::Object::Image:
            return QStringLiteral("Image import");
        case Import::Object::Video:
            return QStringLiteral("Video import");
        case Import::Object::Intro:
            return QStringLiteral("Intro");
        default:
            return QStringLiteral("Import");
    }
}

// The record's own fields, common to every kind.
template <class T>
const T* fillRecord(const Serialize::ISerializable* stored, SheetCard& card) {
    const auto* record = dynamic_cast<const EditorCollection::PersistentItem<T>*>(stored);
    if (!record)
        return nullptr;
    for (const QString& category : record->categories)
        card.categories << category;
    card.collection = record->collectionId;
    if (!record->preview.isNull())
        card.preview = record->preview.toImage().scaledToWidth(
            std::min(CardVisuals::kWidth, record->preview.width()), Qt::SmoothTransformation);
    return record->item;
}

void fillCard(const QString& list, const Serialize::ISerializable* stored,
              const Package::CollectionAddOn& addOn, const CardVisuals& visuals, SheetCard& card) {
    if (list == QLatin1String("effects")) {
        if (const auto* item = fillRecord<Effect::Object>(stored, card)) {
            card.kind = effectKind(*item);
            card.title = item->title;
            card.description = item->description;
            visuals.effect(*item, addOn, card);
        }
    } else if (list == QLatin1String("transitions")) {
        if (const auto* item = fillRecord<Transition::Object>(stored, card)) {
            card.kind = transitionKind(*item);
            card.title = item->title;
            card.description = item->description;
            visuals.transition(*item, addOn, card);
        }
    } else if (list == QLatin1String("presets")) {
        if (const auto* item = fillRecord<Overlay::Preset>(stored, card)) {
            card.kind = presetKind(*item);
            card.title = item->name;
            visuals.preset(*item, addOn, card);
        }
    } else if (const auto* item = fillRecord<Import::Object>(stored, card)) {
        card.kind = importKind(*item);
        card.title = item->title();
        card.description = item->description();
        visuals.import(*item, addOn, card);
    }
}

}  // namespace

SheetModel SheetReader::read(const QString& packagePath, const QImage& frame) {
    Package::registerTypes();
    FS::TemporaryFolder temporary(QStringLiteral("preview"));
    if (!temporary.isValid())
        throw Error(
            QStringLiteral("cannot make a temporary folder: %1").arg(temporary.errorString()));
    const QString folder = temporary.filePath(QStringLiteral("package"));
    QDir().mkpath(folder);

    SheetModel model;
    model.fileName = QFileInfo(packagePath).fileName();
    model.fileSize = QFileInfo(packagePath).size();
    std::unique_ptr<PackageSource> source;
    Bundle::PackageManifest manifest;
    Package::Object object;
    try {
        source = std::make_unique<PackageSource>(packagePath, folder);
        object = Bundle::readPackageFolder(source->root(), &manifest);
    } catch (const std::exception& error) {
        throw Error(QStringLiteral("%1: %2").arg(packagePath, QString::fromUtf8(error.what())));
    }
    model.name = manifest.name;
    model.id = manifest.uuid;
    model.size = manifest.size;

    const CardVisuals visuals(*source, frame);
    if (!manifest.previewPath.isEmpty()) {
        SheetCard scratch;
        model.preview = visuals.picture(manifest.previewPath, scratch);
    }

    // Everything that verify would report, from its own reading of the whole package.
    const PackageVerifier verifier =
        PackageVerifier::verify(packagePath, temporary.filePath(QStringLiteral("verify")));
    for (const PackageVerifier::Problem& problem : verifier.problems())
        model.problems << problem.message;

    std::map<QString, int> counts;
    for (const AddOnList& info : addOnLists()) {
        const QString list = QLatin1String(info.name);
        for (const Package::CollectionAddOn& addOn : object.*info.member) {
            SheetCard card;
            card.path = addOn.path;
            card.kind = list;
            for (const Package::Resource& resource : addOn.resources) {
                if (!resource.path.isEmpty())
                    card.resources.push_back({QFileInfo(resource.path).fileName(),
                                              resourceKind(resource.type()),
                                              source->size(resource.path)});
            }
            Serialize::ObjectStorage storage;
            try {
                const auto stored = readStoredItem(source->root(), list, addOn, storage);
                fillCard(list, stored.get(), addOn, visuals, card);
            } catch (const std::exception& error) {
                card.problems << QString::fromUtf8(error.what());
            }
            if (counts[card.kind]++ == 0)
                model.counts.emplace_back(card.kind, 0);
            model.cards.push_back(std::move(card));
        }
    }
    for (auto& count : model.counts)
        count.second = counts[count.first];
    return model;
}

}  // namespace Cli::Preview
