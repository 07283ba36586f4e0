#include <gtest/gtest.h>

#include <QFileInfo>

#include "effect_fixture.h"
#include "package/components/effects/effect_build_component.h"
#include "package/components/effects/external_shader.h"
#include "package/components/effects/lut_effect_build_component.h"
#include "package/components/effects/shader_based_object_build_component.h"
#include "package/components/effects/transition_build_component.h"
#include "platform/layout/package_structure_description.h"
#include "platform/model/video_effect.h"

using EffectFixture::addOnUuid;
using EffectFixture::isBracedUuid;
using EffectFixture::Workspace;
using Package::PackageStructureDescription;

namespace {

const QString kEffects = PackageStructureDescription::effectDir;

Package::LutEffectParams lutParams(const QString& lutPath) {
    return {QStringLiteral("Warm"), QStringLiteral("A warm grade"), lutPath};
}

Package::ShaderEffectParams shaderParams(const QString& shader, const QString& aux) {
    Package::ShaderEffectParams params;
    params.primaryText = QStringLiteral("Ripple");
    params.secondaryText = QStringLiteral("Water ripples");
    params.supportsIntensity = true;
    params.intensity = 0.75;
    params.shaderPath = shader;
    params.auxImagePath = aux;
    return params;
}

// Gives a component metadata that differs from every default.
void decorate(Package::AbstractBuildComponent& component) {
    component.setCollectionId(QStringLiteral("mine"));
    component.setCategories({QStringLiteral("a"), QStringLiteral("b")});
    component.setPreview(EffectFixture::redImage());
}

}  // namespace

TEST(LutEffect, StoresTheItemAndCopiesTheLutThroughItsFixup) {
    Workspace ws;
    const QString lut = ws.input(QStringLiteral("grade.cube"), "LUT_3D_SIZE 2\n");
    Package::LutEffectBuildComponent component(lutParams(lut));
    decorate(component);
    const Package::ResourceFixupQueue fixups = component.build(&ws.package);

    ASSERT_EQ(ws.package.effectAddOns.size(), 1u);
    EXPECT_TRUE(ws.package.transitionAddOns.empty());
    const Package::CollectionAddOn& addOn = ws.package.effectAddOns[0];
    const QString uuid = addOnUuid(addOn.path, kEffects);
    ASSERT_FALSE(uuid.isEmpty()) << addOn.path.toStdString();
    EXPECT_TRUE(QFileInfo::exists(ws.package.folder + "/effects/" + uuid + "/item.xml"));

    // Only the empty category is listed, whatever the component's own categories are.
    EXPECT_EQ(addOn.categories, (std::map<QString, QString>{{QString(), "mine"}}));
    ASSERT_EQ(addOn.resources.size(), 1u);
    const Package::Resource& resource = addOn.resources[0];
    EXPECT_EQ(resource.path, QStringLiteral("resources/grade.cube"));
    EXPECT_EQ(resource.type(), Resource::DataFile);
    EXPECT_TRUE(isBracedUuid(resource.id())) << resource.id().toStdString();

    Serialize::ObjectStorage storage;
    const auto record = ws.load<Effect::Object>(addOn, storage);
    const auto* item = dynamic_cast<const Effect::Lut*>(record.item);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->title, QStringLiteral("Warm"));
    EXPECT_EQ(item->description, QStringLiteral("A warm grade"));
    EXPECT_EQ(item->id, Effect::Id::Lut);
    EXPECT_EQ(item->lutResource, resource.id());
    // Used directly, the component does carry its metadata into the record.
    EXPECT_EQ(record.collectionId, QStringLiteral("mine"));
    EXPECT_EQ(record.categories, (std::set<QString>{"a", "b"}));
    EXPECT_EQ(record.preview.size(), QSize(16, 16));

    // Nothing is copied before the fixup runs; the fixup copes with the trailing "/" it is given.
    EXPECT_FALSE(QFileInfo::exists(ws.resources() + "grade.cube"));
    ASSERT_EQ(fixups.size(), 1u);
    ws.runFixups(fixups);
    EXPECT_EQ(TestSupport::readFile(ws.resources() + "grade.cube"), "LUT_3D_SIZE 2\n");
}

TEST(LutEffect, MissingLutStillStoresTheEffectWithoutReference) {
    Workspace ws;
    Package::LutEffectBuildComponent component(lutParams(ws.missing("grade.cube")));
    const Package::ResourceFixupQueue fixups = component.build(&ws.package);

    EXPECT_TRUE(fixups.empty());
    ASSERT_EQ(ws.package.effectAddOns.size(), 1u);
    EXPECT_TRUE(ws.package.effectAddOns[0].resources.empty());
    EXPECT_EQ(ws.package.effectAddOns[0].categories,
              (std::map<QString, QString>{{QString(), QString()}}));
    Serialize::ObjectStorage storage;
    const auto* item = dynamic_cast<const Effect::Lut*>(
        ws.load<Effect::Object>(ws.package.effectAddOns[0], storage).item);
    ASSERT_NE(item, nullptr);
    EXPECT_TRUE(item->lutResource.isEmpty());
}

TEST(LutEffect, TwoEffectsFromOneFileShareItsPathButNotTheirIds) {
    Workspace ws;
    const QString lut = ws.input(QStringLiteral("looks/grade.cube"), "LUT");
    Package::LutEffectBuildComponent component(lutParams(lut));
    Package::ResourceFixupQueue fixups = component.build(&ws.package);
    Package::ResourceFixupQueue second =
        Package::LutEffectBuildComponent(lutParams(lut)).build(&ws.package);
    fixups.insert(fixups.end(), second.begin(), second.end());

    ASSERT_EQ(ws.package.effectAddOns.size(), 2u);
    const Package::CollectionAddOn& a = ws.package.effectAddOns[0];
    const Package::CollectionAddOn& b = ws.package.effectAddOns[1];
    EXPECT_NE(a.path, b.path);
    ASSERT_EQ(a.resources.size(), 1u);
    ASSERT_EQ(b.resources.size(), 1u);
    EXPECT_NE(a.resources[0].id(), b.resources[0].id());
    EXPECT_EQ(a.resources[0].path, b.resources[0].path);

    // The second copy meets the first one's file; that is not an error.
    ASSERT_EQ(fixups.size(), 2u);
    EXPECT_NO_THROW(ws.runFixups(fixups));
    EXPECT_EQ(TestSupport::readFile(ws.resources() + "grade.cube"), "LUT");
    EXPECT_EQ(QDir(ws.resources()).entryList(QDir::Files), QStringList{"grade.cube"});
}

TEST(PublicComponents, BuildWithDefaultsWhateverTheirOwnMetadata) {
    Workspace ws;
    const QString lut = ws.input(QStringLiteral("grade.cube"), "LUT");
    const QString shader = ws.input(QStringLiteral("ripple.glsl"), "void main() {}");
    Package::EffectBuildComponent lutEffect{lutParams(lut)};
    Package::EffectBuildComponent shaderEffect{shaderParams(shader, QString())};
    Package::TransitionBuildComponent mask{Package::MaskTransitionParams{lut}};
    for (Package::AbstractBuildComponent* component :
         std::initializer_list<Package::AbstractBuildComponent*>{&lutEffect, &shaderEffect,
                                                                 &mask}) {
        decorate(*component);
        component->build(&ws.package);
    }

    ASSERT_EQ(ws.package.effectAddOns.size(), 2u);
    ASSERT_EQ(ws.package.transitionAddOns.size(), 1u);
    EXPECT_EQ(ws.package.effectAddOns[0].categories,
              (std::map<QString, QString>{{QString(), QString()}}));
    EXPECT_TRUE(ws.package.effectAddOns[1].categories.empty());
    EXPECT_TRUE(ws.package.transitionAddOns[0].categories.empty());
    Serialize::ObjectStorage storage;
    auto expectDefaults = [](const auto& record) {
        EXPECT_TRUE(record.collectionId.isEmpty());
        EXPECT_TRUE(record.categories.empty());
        EXPECT_TRUE(EffectFixture::isDefaultPreview(record.preview));
    };
    for (const Package::CollectionAddOn& addOn : ws.package.effectAddOns)
        expectDefaults(ws.load<Effect::Object>(addOn, storage));
    expectDefaults(ws.load<Transition::Object>(ws.package.transitionAddOns[0], storage));
}

TEST(ShaderEffect, ShaderAndAuxImageBecomeResourcesInThatOrder) {
    Workspace ws;
    const QString shader = ws.input(QStringLiteral("ripple.glsl"), "void main() {}");
    const QString aux = ws.input(QStringLiteral("maps/noise.png"), "PNG");
    Package::ShaderBasedEffectBuildComponent component(shaderParams(shader, aux));
    decorate(component);
    const Package::ResourceFixupQueue fixups = component.build(&ws.package);

    ASSERT_EQ(ws.package.effectAddOns.size(), 1u);
    EXPECT_TRUE(ws.package.transitionAddOns.empty());
    const Package::CollectionAddOn& addOn = ws.package.effectAddOns[0];
    ASSERT_FALSE(addOnUuid(addOn.path, kEffects).isEmpty()) << addOn.path.toStdString();
    // Unlike the LUT effect, one entry per category.
    EXPECT_EQ(addOn.categories, (std::map<QString, QString>{{"a", "mine"}, {"b", "mine"}}));
    EXPECT_EQ(EffectFixture::kinds(addOn),
              (EffectFixture::Kinds{Resource::DataFile, Resource::StillImage}));
    ASSERT_EQ(addOn.resources.size(), 2u);
    EXPECT_EQ(addOn.resources[0].path, QStringLiteral("resources/ripple.glsl"));
    EXPECT_EQ(addOn.resources[1].path, QStringLiteral("resources/noise.png"));
    EXPECT_TRUE(isBracedUuid(addOn.resources[1].id()));
    EXPECT_NE(addOn.resources[0].id(), addOn.resources[1].id());

    Serialize::ObjectStorage storage;
    const auto record = ws.load<Effect::Object>(addOn, storage);
    const auto* item = dynamic_cast<const Effect::ExternalShader*>(record.item);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->id, Effect::Id::ExternalShader);
    EXPECT_EQ(item->group, Effect::Id::ExternalShader);
    EXPECT_EQ(item->title, QStringLiteral("Ripple"));
    EXPECT_EQ(item->description, QStringLiteral("Water ripples"));
    EXPECT_EQ(item->apiVersion, 0);
    EXPECT_TRUE(item->supportsIntensity);
    EXPECT_TRUE(item->isIntensityAdjustable());
    EXPECT_DOUBLE_EQ(item->intensity, 0.75);
    EXPECT_EQ(item->shaderResource, addOn.resources[0].id());
    EXPECT_EQ(item->auxImageResource, addOn.resources[1].id());
    EXPECT_EQ(record.categories, (std::set<QString>{"a", "b"}));

    // The effect's intensity lives in its VideoEffect base only.
    const QString xml = ws.itemFolder(addOn) + "item.xml";
    EXPECT_EQ(EffectFixture::itemChildNames(xml),
              (QStringList{"BaseOfObject", "apiVersion", "supportsIntensity", "shaderResource",
                           "auxImageResource"}));
    EXPECT_EQ(EffectFixture::itemChildNames(xml, {"BaseOfObject"}),
              (QStringList{"BaseOfObject", "intensity"}));

    // The shader is copied first, then the image.
    ASSERT_EQ(fixups.size(), 2u);
    QDir().mkpath(ws.resources());
    fixups[0](ws.resources());
    EXPECT_EQ(QDir(ws.resources()).entryList(QDir::Files), QStringList{"ripple.glsl"});
    fixups[1](ws.resources());
    EXPECT_EQ(TestSupport::readFile(ws.resources() + "noise.png"), "PNG");
}

TEST(ShaderEffect, EmptyOrMissingAuxImageLeavesItsReferenceEmpty) {
    Workspace ws;
    const QString shader = ws.input(QStringLiteral("ripple.glsl"), "void main() {}");
    for (const QString& aux : {QString(), ws.missing("noise.png")}) {
        SCOPED_TRACE(aux.toStdString());
        ws.package.effectAddOns.clear();
        Package::ShaderEffectParams params = shaderParams(shader, aux);
        params.supportsIntensity = false;
        const Package::ResourceFixupQueue fixups =
            Package::ShaderBasedEffectBuildComponent(params).build(&ws.package);

        EXPECT_EQ(fixups.size(), 1u);
        ASSERT_EQ(ws.package.effectAddOns.size(), 1u);
        const Package::CollectionAddOn& addOn = ws.package.effectAddOns[0];
        ASSERT_EQ(addOn.resources.size(), 1u);
        EXPECT_EQ(addOn.resources[0].type(), Resource::DataFile);
        EXPECT_TRUE(addOn.categories.empty());
        Serialize::ObjectStorage storage;
        const auto* item = dynamic_cast<const Effect::ExternalShader*>(
            ws.load<Effect::Object>(addOn, storage).item);
        ASSERT_NE(item, nullptr);
        EXPECT_TRUE(item->auxImageResource.isEmpty());
        EXPECT_EQ(item->shaderResource, addOn.resources[0].id());
        EXPECT_FALSE(item->isIntensityAdjustable());
    }
}
