#include <gtest/gtest.h>

#include <QFileInfo>

#include "effect_fixture.h"
#include "package/builder.h"
#include "package/components/effects/effect_build_component.h"
#include "package/components/effects/external_shader.h"
#include "package/components/effects/transition_build_component.h"
#include "platform/bundle/package_reader.h"
#include "platform/fs/fs.h"
#include "platform/layout/package_structure_description.h"
#include "platform/model/video_effect.h"

using EffectFixture::addOnUuid;
using EffectFixture::isBracedUuid;
using EffectFixture::kinds;
using EffectFixture::Kinds;
using EffectFixture::Workspace;
using Package::PackageStructureDescription;

namespace {

const QString kTransitions = PackageStructureDescription::transitionDir;

Package::ShaderTransitionParams shaderParams(const QString& shader, const QString& aux) {
    Package::ShaderTransitionParams params;
    params.primaryText = QStringLiteral("Dissolve");
    params.secondaryText = QStringLiteral("Soft dissolve");
    params.supportsIntensity = true;
    params.intensity = 0.5;
    params.shaderPath = shader;
    params.auxImagePath = aux;
    return params;
}

}  // namespace

TEST(TemplateTransition, MaskAndOverlayDifferOnlyInWhatTheyFix) {
    Workspace ws;
    const QString media = ws.input(QStringLiteral("clips/deep/wipe.mp4"), "MP4");
    Package::ResourceFixupQueue fixups =
        Package::TransitionBuildComponent(Package::MaskTransitionParams{media}).build(&ws.package);
    const Package::ResourceFixupQueue overlayFixups =
        Package::TransitionBuildComponent(Package::OverlayTransitionParams{media})
            .build(&ws.package);
    EXPECT_EQ(fixups.size(), 1u);
    EXPECT_EQ(overlayFixups.size(), 1u);
    fixups.insert(fixups.end(), overlayFixups.begin(), overlayFixups.end());

    ASSERT_EQ(ws.package.transitionAddOns.size(), 2u);
    Serialize::ObjectStorage storage;
    std::vector<const Transition::Object*> items;
    for (const Package::CollectionAddOn& addOn : ws.package.transitionAddOns) {
        ASSERT_FALSE(addOnUuid(addOn.path, kTransitions).isEmpty()) << addOn.path.toStdString();
        ASSERT_EQ(addOn.resources.size(), 1u);
        const Package::Resource& resource = addOn.resources[0];
        EXPECT_EQ(resource.path, QStringLiteral("resources/wipe.mp4"));
        EXPECT_EQ(resource.type(), Resource::MediaFile);
        EXPECT_TRUE(isBracedUuid(resource.id()));
        EXPECT_TRUE(addOn.categories.empty());

        const auto record = ws.load<Transition::Object>(addOn, storage);
        ASSERT_NE(record.item, nullptr);
        EXPECT_EQ(record.item->title, ws.package.name);
        EXPECT_EQ(record.item->resources,
                  (std::vector<Transition::ResourceReference>{{1, resource.id()}}));
        items.push_back(record.item);
    }
    EXPECT_NE(ws.package.transitionAddOns[0].resources[0].id(),
              ws.package.transitionAddOns[1].resources[0].id());

    const Transition::Object& mask = *items[0];
    const Transition::Object& overlay = *items[1];
    EXPECT_EQ(mask.typeName(), "Transition::MaskTransition");
    EXPECT_EQ(mask.id, Transition::Id::MaskTransition);
    EXPECT_EQ(mask.maskMode, 1);
    EXPECT_EQ(mask.overlayMode, 0);
    EXPECT_EQ(overlay.typeName(), "Transition::Overlay");
    EXPECT_EQ(overlay.id, Transition::Id::Overlay);
    EXPECT_EQ(overlay.maskMode, 0);
    EXPECT_EQ(overlay.overlayMode, 3);

    // Both copy the same file to the same name; the second finds it there already.
    EXPECT_NO_THROW(ws.runFixups(fixups));
    EXPECT_EQ(TestSupport::readFile(ws.resources() + "wipe.mp4"), "MP4");
}

TEST(TemplateTransition, MissingMediaIsRegisteredAnywayAndItsCopyDoesNothing) {
    Workspace ws;
    const Package::ResourceFixupQueue fixups =
        Package::TransitionBuildComponent(Package::OverlayTransitionParams{ws.missing("flare.mov")})
            .build(&ws.package);

    ASSERT_EQ(ws.package.transitionAddOns.size(), 1u);
    const Package::CollectionAddOn& addOn = ws.package.transitionAddOns[0];
    ASSERT_EQ(addOn.resources.size(), 1u);
    EXPECT_EQ(addOn.resources[0].path, QStringLiteral("resources/flare.mov"));
    EXPECT_EQ(addOn.resources[0].type(), Resource::MediaFile);
    EXPECT_TRUE(QFileInfo::exists(ws.itemFolder(addOn) + "item.xml"));

    ASSERT_EQ(fixups.size(), 1u);
    EXPECT_NO_THROW(ws.runFixups(fixups));
    EXPECT_TRUE(QDir(ws.resources()).entryList(QDir::Files).isEmpty());
}

TEST(ShaderTransition, KeepsItsOwnIntensityBetweenTheFlagAndTheShader) {
    Workspace ws;
    const QString shader = ws.input(QStringLiteral("dissolve.glsl"), "void main() {}");
    const QString aux = ws.input(QStringLiteral("ramp.png"), "PNG");
    const Package::ResourceFixupQueue fixups =
        Package::TransitionBuildComponent(shaderParams(shader, aux)).build(&ws.package);

    EXPECT_TRUE(ws.package.effectAddOns.empty());
    ASSERT_EQ(ws.package.transitionAddOns.size(), 1u);
    const Package::CollectionAddOn& addOn = ws.package.transitionAddOns[0];
    ASSERT_FALSE(addOnUuid(addOn.path, kTransitions).isEmpty()) << addOn.path.toStdString();
    EXPECT_EQ(kinds(addOn), (Kinds{Resource::DataFile, Resource::StillImage}));
    EXPECT_EQ(fixups.size(), 2u);

    Serialize::ObjectStorage storage;
    const auto* item = dynamic_cast<const Transition::ExternalShader*>(
        ws.load<Transition::Object>(addOn, storage).item);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->id, Transition::Id::ExternalShader);
    EXPECT_TRUE(item->supportsIntensity);
    EXPECT_DOUBLE_EQ(item->intensity, 0.5);
    EXPECT_EQ(item->shaderResource, addOn.resources[0].id());
    EXPECT_EQ(item->auxImageResource, addOn.resources[1].id());

    EXPECT_EQ(EffectFixture::itemChildNames(ws.itemFolder(addOn) + "item.xml"),
              (QStringList{"BaseOfObject", "apiVersion", "supportsIntensity", "intensity",
                           "shaderResource", "auxImageResource"}));
}

TEST(EffectsAndTransitions, BuildIntoOnePackage) {
    Workspace ws;
    const std::vector<std::pair<QString, QByteArray>> inputs{
        {"grade.cube", "LUT"},         {"ripple.glsl", "ripple"}, {"noise.png", "noise"},
        {"dissolve.glsl", "dissolve"}, {"wipe.png", "wipe"},      {"clips/flare.mp4", "flare"}};
    QStringList paths;
    for (const auto& [name, data] : inputs)
        paths << ws.input(name, data);
    const QString &lut = paths[0], &ripple = paths[1], &noise = paths[2], &dissolve = paths[3],
                  &wipe = paths[4], &flare = paths[5];

    Package::ShaderEffectParams rippleParams;
    rippleParams.shaderPath = ripple;
    rippleParams.auxImagePath = noise;
    const QString packagePath = ws.dir.filePath(QStringLiteral("out/summer.qpack"));
    QDir().mkpath(QFileInfo(packagePath).absolutePath());
    Package::Builder builder(ws.package.folder, packagePath, QStringLiteral("Summer Pack"),
                             QStringLiteral("Summer Pack"), EffectFixture::redImage());
    builder
        .setupBuildComponent(std::make_shared<Package::EffectBuildComponent>(
            Package::LutEffectParams{"Warm", "", lut}))
        .setupBuildComponent(std::make_shared<Package::EffectBuildComponent>(rippleParams))
        .setupBuildComponent(
            std::make_shared<Package::TransitionBuildComponent>(shaderParams(dissolve, QString())))
        .setupBuildComponent(std::make_shared<Package::TransitionBuildComponent>(
            Package::MaskTransitionParams{wipe}))
        .setupBuildComponent(std::make_shared<Package::TransitionBuildComponent>(
            Package::OverlayTransitionParams{flare}));
    builder.build(QString());

    const QStringList entries = TestSupport::zipEntries(packagePath);
    // Every file lands under its own name, whatever folder it came from.
    for (const auto& [name, data] : inputs) {
        const QString entry = "resources/" + FS::fileName(name);
        EXPECT_EQ(TestSupport::zipEntry(packagePath, entry), data) << entry.toStdString();
    }

    QTemporaryDir unpackDir;
    const QString unpacked = unpackDir.filePath(QStringLiteral("x"));
    const Package::Object content = Bundle::openPackage(packagePath, unpacked);
    ASSERT_EQ(content.effectAddOns.size(), 2u);
    ASSERT_EQ(content.transitionAddOns.size(), 3u);
    EXPECT_EQ(kinds(content.effectAddOns[0]), Kinds{Resource::DataFile});
    EXPECT_EQ(kinds(content.effectAddOns[1]), (Kinds{Resource::DataFile, Resource::StillImage}));
    EXPECT_EQ(kinds(content.transitionAddOns[0]), Kinds{Resource::DataFile});
    EXPECT_EQ(kinds(content.transitionAddOns[1]), Kinds{Resource::MediaFile});
    EXPECT_EQ(kinds(content.transitionAddOns[2]), Kinds{Resource::MediaFile});

    // Each add-on's folder is in the archive, and its item reads back as the right type.
    auto storedType = [&](const Package::CollectionAddOn& addOn, const QString& kindDir) {
        EXPECT_FALSE(addOnUuid(addOn.path, kindDir).isEmpty()) << addOn.path.toStdString();
        EXPECT_TRUE(entries.contains(addOn.path + "item.xml")) << addOn.path.toStdString();
        Serialize::ObjectStorage storage;
        const QString folder = unpacked + "/" + addOn.path;
        const Serialize::ISerializable* item =
            kindDir == kTransitions
                ? static_cast<const Serialize::ISerializable*>(
                      Bundle::loadItem<Transition::Object>(folder, storage).item)
                : Bundle::loadItem<Effect::Object>(folder, storage).item;
        return item ? item->typeName() : std::string("none");
    };
    const QString effects = PackageStructureDescription::effectDir;
    EXPECT_EQ(storedType(content.effectAddOns[0], effects), "Effect::Lut");
    EXPECT_EQ(storedType(content.effectAddOns[1], effects), "Effect::ExternalShader");
    EXPECT_EQ(storedType(content.transitionAddOns[0], kTransitions), "Transition::ExternalShader");
    EXPECT_EQ(storedType(content.transitionAddOns[1], kTransitions), "Transition::MaskTransition");
    EXPECT_EQ(storedType(content.transitionAddOns[2], kTransitions), "Transition::Overlay");
}
