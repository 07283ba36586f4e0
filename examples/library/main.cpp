// Builds a package holding a LUT effect and a title, then opens it again and checks what it reads
// back. Exits with 0 when everything matches, 1 (after saying what differs) when something does
// not, and 2 when the library throws.
//
//     library_example [OUT.qpack]     (by default a temporary file, removed afterwards)

#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>

// [readme]
#include <packwright/package/builder.h>
#include <packwright/package/components/effects/effect_build_component.h>
#include <packwright/package/components/overlays/final_overlay_build_component.h>
#include <packwright/platform/model/collection_ids.h>
// [readme end]

#include <packwright/package/extractor/extractor.h>
#include <packwright/package/extractor/persistent_item_helper.h>
#include <packwright/platform/bundle/package_reader.h>
#include <packwright/platform/collection/collection_service.h>
#include <packwright/platform/model/video_effect.h>

namespace {

int mismatches = 0;

template <class A, class B>
void expect(const char* what, const A& actual, const B& expected) {
    if (actual == expected)
        return;
    ++mismatches;
    std::cerr << "mismatch: " << what << "\n";
}

// A timeline with one title clip of three seconds showing one line of text.
std::unique_ptr<Timeline::Object> titleTimeline(const QString& text) {
    auto timeline = std::make_unique<Timeline::Object>();
    Overlay::Item line;
    line.content = text;
    Overlay::Preset title;
    title.kind = Overlay::Preset::Title;
    title.duration = 3000;
    title.appendItem(line);
    Timeline::Clip clip;
    clip.track = timeline->addTrack(QStringLiteral("titles"));
    clip.timing = {0, 3000, 0, 3000, Timeline::OverlayContent};
    clip.setOverlayPreset(title);
    timeline->addClip(clip);
    return timeline;
}

void build(const QString& workFolder, const QString& lutFile, const QString& packagePath) {
    // [readme]
    // Records say what to build; components turn them into items of the package.
    Package::LutEffectParams lut;
    lut.primaryText = QStringLiteral("Warm Afternoon");
    lut.lutPath = lutFile;

    Package::OverlayParams title;
    title.timeline = title.timelineStorage.adopt(titleTimeline(QStringLiteral("Summer")));
    title.overlayType = Package::TitleOverlay;
    auto titleComponent = std::make_shared<Package::FinalOverlayBuildComponent>(title);
    titleComponent->setCollectionId(EditorCollection::CollectionID::TITLES);

    QPixmap preview(64, 64);
    preview.fill(Qt::darkYellow);
    Package::Builder builder(workFolder, packagePath, QStringLiteral("Summer"),
                             QStringLiteral("Summer"), preview);
    builder.setupBuildComponent(std::make_shared<Package::EffectBuildComponent>(lut))
        .setupBuildComponent(titleComponent);
    builder.build(QString());  // an empty id: the package gets a new one
    // [readme end]
}

void check(const QString& packagePath, const QString& unpackFolder, const QByteArray& lutBytes) {
    const Package::Object package = Bundle::openPackage(packagePath, unpackFolder);
    expect("the content type is a finished overlay",
           Package::Extractor::extractContentType(&package),
           std::optional(Package::Extractor::ContentType::Overlay));
    expect("one effect", package.effectAddOns.size(), 1u);
    expect("one title", package.presetAddOns.size(), 1u);
    if (package.effectAddOns.size() != 1 || package.presetAddOns.size() != 1)
        return;

    // Stored items are loaded through the collection service, as the editor loads them.
    const Package::CollectionAddOn& effectAddOn = package.effectAddOns.front();
    EditorCollection::PersistentItemHelper<Effect::Object> effects(
        Bundle::addOnFolder(package.folder, effectAddOn.path));
    expect("one stored effect", effects.items().size(), 1u);
    if (!effects.items().empty()) {
        const auto* lut = dynamic_cast<const Effect::Lut*>(effects.items().front().item);
        expect("the effect is a LUT", lut != nullptr, true);
        if (lut)
            expect("the LUT's title", lut->title, QStringLiteral("Warm Afternoon"));
    }
    expect("the LUT is the effect's one resource", effectAddOn.resources.size(), 1u);
    if (!effectAddOn.resources.empty()) {
        QFile stored(package.folder + QLatin1Char('/') + effectAddOn.resources.front().path);
        expect("the stored LUT opens", stored.open(QIODevice::ReadOnly), true);
        expect("the stored LUT's bytes", stored.readAll(), lutBytes);
    }

    const Package::CollectionAddOn& titleAddOn = package.presetAddOns.front();
    expect("the title is filed under titles",
           titleAddOn.path.startsWith(EditorCollection::CollectionID::TITLES + QLatin1Char('/')),
           true);
    EditorCollection::PersistentItemHelper<Overlay::Preset> titles(
        Bundle::addOnFolder(package.folder, titleAddOn.path));
    expect("one stored title", titles.items().size(), 1u);
    if (!titles.items().empty()) {
        const Overlay::Preset& preset = *titles.items().front().item;
        expect("the preset is a title", preset.kind, qint32(Overlay::Preset::Title));
        expect("the title has one line", preset.items.size(), 1u);
        if (!preset.items.empty())
            expect("the title's text", preset.items.front().content, QStringLiteral("Summer"));
    }
}

}  // namespace

int main(int argc, char** argv) {
    // Images are pixmaps: every program that builds or reads packages runs a QGuiApplication.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    // Reopening loads stored items through the collection service, which must live meanwhile.
    EditorCollection::CollectionService collection;

    QTemporaryDir scratch;
    const QString packagePath = argc > 1 ? QString::fromLocal8Bit(argv[1])
                                         : scratch.filePath(QStringLiteral("summer.qpack"));
    const QString lutFile = scratch.filePath(QStringLiteral("warm.cube"));
    const QByteArray lutBytes =
        "TITLE \"Warm\"\nLUT_3D_SIZE 2\n"
        "0 0 0\n1 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n1 1 1\n";
    QFile lut(lutFile);
    if (!lut.open(QIODevice::WriteOnly) || lut.write(lutBytes) != lutBytes.size()) {
        std::cerr << "cannot write " << lutFile.toStdString() << "\n";
        return 2;
    }
    lut.close();

    try {
        build(scratch.filePath(QStringLiteral("Summer")), lutFile, packagePath);
        check(packagePath, scratch.filePath(QStringLiteral("reopened")), lutBytes);
    } catch (const std::exception& error) {
        std::cerr << "error: " << error.what() << "\n";
        return 2;
    }
    if (mismatches > 0)
        return 1;
    std::cout << "built and reopened " << packagePath.toStdString()
              << ": a LUT effect and a title, as built\n";
    return 0;
}
