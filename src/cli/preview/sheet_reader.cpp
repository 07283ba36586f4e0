#include "cli/preview/sheet_reader.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>
#include <exception>
#include <future>
#include <map>

#include "cli/cli_error.h"
#include "cli/package_report.h"
#include "cli/package_verifier.h"
#include "cli/preview/card_visuals.h"
#include "cli/preview/package_source.h"
#include "cli/preview/shader_render_process.h"
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

// The record's item; with a card, the record's own fields, common to every kind, go on it.
template <class T>
const T* fillRecord(const Serialize::ISerializable* stored, SheetCard* card) {
    const auto* record = dynamic_cast<const EditorCollection::PersistentItem<T>*>(stored);
    if (!record)
        return nullptr;
    if (card) {
        for (const QString& category : record->categories)
            card->categories << category;
        card->collection = record->collectionId;
        if (!record->preview.isNull())
            card->preview = record->preview.toImage().scaledToWidth(
                std::min(CardVisuals::kWidth, record->preview.width()), Qt::SmoothTransformation);
    }
    return record->item;
}

// Fills the card's texts from its stored item, or, with `visuals`, its pictures.
void fillCard(const QString& list, const Serialize::ISerializable* stored,
              const Package::CollectionAddOn& addOn, const CardVisuals* visuals, SheetCard& card) {
    SheetCard* record = visuals ? nullptr : &card;  // the record's fields go on the texts' pass
    if (list == QLatin1String("effects")) {
        if (const auto* item = fillRecord<Effect::Object>(stored, record)) {
            if (visuals)
                return visuals->effect(*item, addOn, card);
            card.kind = effectKind(*item);
            card.title = item->title;
            card.description = item->description;
        }
    } else if (list == QLatin1String("transitions")) {
        if (const auto* item = fillRecord<Transition::Object>(stored, record)) {
            if (visuals)
                return visuals->transition(*item, addOn, card);
            card.kind = transitionKind(*item);
            card.title = item->title;
            card.description = item->description;
        }
    } else if (list == QLatin1String("presets")) {
        if (const auto* item = fillRecord<Overlay::Preset>(stored, record)) {
            if (visuals)
                return visuals->preset(*item, addOn, card);
            card.kind = presetKind(*item);
            card.title = item->name;
        }
    } else if (const auto* item = fillRecord<Import::Object>(stored, record)) {
        if (visuals)
            return visuals->import(*item, addOn, card);
        card.kind = importKind(*item);
        card.title = item->title();
        card.description = item->description();
    }
}

// One add-on on its way to a card: its stored item stays read until the pictures are drawn.
struct PendingCard {
    QString list;
    const Package::CollectionAddOn* addOn = nullptr;
    Serialize::ObjectStorage storage;
    std::unique_ptr<Serialize::ISerializable> stored;
    SheetCard card;
};

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

    // Stored items are read here: their images are pixmaps, which belong to this thread.
    std::vector<std::unique_ptr<PendingCard>> pending;
    for (const AddOnList& info : addOnLists()) {
        for (const Package::CollectionAddOn& addOn : object.*info.member) {
            auto entry = std::make_unique<PendingCard>();
            entry->list = QLatin1String(info.name);
            entry->addOn = &addOn;
            SheetCard& card = entry->card;
            card.path = addOn.path;
            card.kind = entry->list;
            for (const Package::Resource& resource : addOn.resources) {
                if (!resource.path.isEmpty())
                    card.resources.push_back({QFileInfo(resource.path).fileName(),
                                              resourceKind(resource.type()),
                                              source->size(resource.path)});
            }
            try {
                entry->stored = readStoredItem(source->root(), entry->list, addOn, entry->storage);
                fillCard(entry->list, entry->stored.get(), addOn, nullptr, card);
            } catch (const std::exception& error) {
                card.problems << QString::fromUtf8(error.what());
                entry->stored.reset();
            }
            pending.push_back(std::move(entry));
        }
    }

    // Decoding media and verify's reading of the whole archive take the most time: the pictures
    // are drawn on a thread of their own meanwhile. They use only images, the archive handle of
    // the source and the colour and shader libraries, which nothing else here touches.
    // An intro's project may hold images, read as pixmaps: intros are drawn here afterwards.
    const auto draw = [&](bool intros) {
        // Shaders render in a child process of this thread's. It starts now and gets ready while
        // the other cards are drawn; the shaders' cards come last.
        ShaderRenderProcess shaders;
        const CardVisuals drawing(*source, frame, &shaders);
        const auto isShader = [](const std::unique_ptr<PendingCard>& entry) {
            return entry->card.kind.startsWith(QLatin1String("Shader "));
        };
        if (!intros && std::any_of(pending.begin(), pending.end(), isShader))
            shaders.start();
        for (const bool shaderPass : {false, true}) {
            for (const auto& entry : pending) {
                if (!entry->stored || isShader(entry) != shaderPass ||
                    (entry->card.kind == QLatin1String("Intro")) != intros)
                    continue;
                try {
                    fillCard(entry->list, entry->stored.get(), *entry->addOn, &drawing,
                             entry->card);
                } catch (const std::exception& error) {
                    entry->card.problems << QString::fromUtf8(error.what());
                }
            }
        }
    };
    auto pictures = std::async(std::launch::async, draw, false);
    // Everything that verify would report, from its own reading of the whole archive, with the
    // media left in it.
    const PackageVerifier verifier = PackageVerifier::verify(
        packagePath, source->root(), [&](const QString&, const QString&, QStringList* damaged) {
            *damaged = source->damaged();
        });
    pictures.get();
    draw(true);
    for (const PackageVerifier::Problem& problem : verifier.problems())
        model.problems << problem.message;

    std::map<QString, int> counts;
    for (const auto& entry : pending) {
        if (counts[entry->card.kind]++ == 0)
            model.counts.emplace_back(entry->card.kind, 0);
        model.cards.push_back(std::move(entry->card));
    }
    for (auto& count : model.counts)
        count.second = counts[count.first];
    return model;
}

}  // namespace Cli::Preview
