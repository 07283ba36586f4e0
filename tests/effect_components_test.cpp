#include <gtest/gtest.h>

#include <QFileInfo>
#include <tuple>

#include "effect_fixture.h"
#include "package/components/effects/effect_build_component.h"
#include "package/components/effects/external_shader.h"
#include "package/components/effects/lut_effect_build_component.h"
#include "package/components/effects/shader_based_object_build_component.h"
#include "package/components/effects/transition_build_component.h"
#include "platform/layout/package_structure_description.h"
#include "platform/model/video_effect.h"

using namespace EffectFixture;
using Package::PackageStructureDescription;

namespace {

const QString kEffects = PackageStructureDescription::effectDir;

Package::LutEffectParams lutParams(const QString& lutPath) {
    return {"Warm", "A warm grade", lutPath};
}

Package::ShaderEffectParams shaderParams(const QString& shader, const QString& aux) {
    Package::ShaderEffectParams params;
    params.primaryText = "Ripple";
    params.secondaryText = "Water ripples";
    params.supportsIntensity = true;
    params.intensity = 0.75;
    params.shaderPath = shader;
    params.auxImagePath = aux;
    return params;
}

// Gives a component metadata that differs from every default.
void decorate(Package::AbstractBuildComponent& component) {
    component.setCollectionId("mine");
    component.setCategories({"a", "b"});
    component.setPreview(redImage());
}

}  // namespace

TEST(LutEffect, StoresTheItemAndCopiesTheLutThroughItsFixup) {
    Workspace ws;
    const QString lut = ws.input("grade.cube", "LUT_3D_SIZE 2\n");
    Package::LutEffectBuildComponent component(lutParams(lut));
    decorate(component);
    const Package::ResourceFixupQueue fixups = component.build(&ws.package);

    ASSERT_EQ(ws.package.effectAddOns.size(), 1u);
    EXPECT_TRUE(ws.package.transitionAddOns.empty());
    const Package::CollectionAddOn& addOn = ws.package.effectAddOns[0];
    EXPECT_FALSE(addOnUuid(addOn.path, kEffects).isEmpty()) << addOn.path.toStdString();
    // Only the empty category is listed, whatever the component's own categories are.
    EXPECT_EQ(addOn.categories, (TextMap{{QString(), "mine"}}));
    ASSERT_EQ(addOn.resources.size(), 1u);
    const Package::Resource& resource = addOn.resources[0];
    EXPECT_EQ(resource.path, "resources/grade.cube");
    EXPECT_EQ(resource.type(), Resource::DataFile);
    EXPECT_TRUE(isBracedUuid(resource.id())) << resource.id().toStdString();

    const auto record = ws.load<Effect::Object>(addOn);
    const auto* item = dynamic_cast<const Effect::Lut*>(record.item);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(std::tie(item->title, item->description, item->id, item->lutResource),
              std::make_tuple("Warm", "A warm grade", Effect::Id::Lut, resource.id()));
    // Used directly, the component does carry its metadata into the record.
    EXPECT_EQ(record.collectionId, "mine");
    EXPECT_EQ(record.categories, (std::set<QString>{"a", "b"}));
    EXPECT_EQ(record.preview.size(), QSize(16, 16));

    // Nothing is copied before the fixup runs; the fixup copes with the trailing "/" it is given.
    EXPECT_FALSE(QFileInfo::exists(ws.resources() + "grade.cube"));
    ASSERT_EQ(fixups.size(), 1u);
    ws.runFixups(fixups);
    EXPECT_EQ(TestSupport::readFile(ws.resources() + "grade.cube"), "LUT_3D_SIZE 2\n");
}

TEST(LutEffect, TwoEffectsFromOneFileShareItsPathButNotTheirIds) {
    Workspace ws;
    const QString lut = ws.input("looks/grade.cube", "LUT");
    Package::ResourceFixupQueue fixups =
        Package::LutEffectBuildComponent(lutParams(lut)).build(&ws.package);
    const Package::ResourceFixupQueue second =
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
    EXPECT_EQ(ws.resourceFiles(), QStringList{"grade.cube"});
}

TEST(EffectComponents, MissingFilesGetNoResourceAndNoFixupButTheItemIsStored) {
    Workspace ws;
    const QString shader = ws.input("ripple.glsl", "void main() {}");
    EXPECT_TRUE(Package::LutEffectBuildComponent(lutParams(ws.missing("grade.cube")))
                    .build(&ws.package)
                    .empty());
    for (const QString& aux : {QString(), ws.missing("noise.png")}) {
        Package::ShaderEffectParams params = shaderParams(shader, aux);
        params.supportsIntensity = false;
        EXPECT_EQ(Package::ShaderBasedEffectBuildComponent(params).build(&ws.package).size(), 1u);
    }

    const auto& addOns = ws.package.effectAddOns;
    ASSERT_EQ(addOns.size(), 3u);
    EXPECT_TRUE(addOns[0].resources.empty());
    EXPECT_EQ(addOns[0].categories, (TextMap{{QString(), QString()}}));
    const auto* lut = ws.item<Effect::Object, Effect::Lut>(addOns[0]);
    ASSERT_NE(lut, nullptr);
    EXPECT_TRUE(lut->lutResource.isEmpty());
    for (size_t i : {1, 2}) {
        EXPECT_EQ(kinds(addOns[i]), Kinds{Resource::DataFile});
        EXPECT_TRUE(addOns[i].categories.empty());
        const auto* item = ws.item<Effect::Object, Effect::ExternalShader>(addOns[i]);
        ASSERT_NE(item, nullptr);
        EXPECT_TRUE(item->auxImageResource.isEmpty());
        EXPECT_EQ(item->shaderResource, addOns[i].resources[0].id());
        EXPECT_FALSE(item->isIntensityAdjustable());
    }
}

TEST(PublicComponents, BuildWithDefaultsWhateverTheirOwnMetadata) {
    Workspace ws;
    const QString lut = ws.input("grade.cube", "LUT");
    const QString shader = ws.input("ripple.glsl", "void main() {}");
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
    EXPECT_EQ(ws.package.effectAddOns[0].categories, (TextMap{{QString(), QString()}}));
    EXPECT_TRUE(ws.package.effectAddOns[1].categories.empty());
    EXPECT_TRUE(ws.package.transitionAddOns[0].categories.empty());
    auto expectDefaults = [](const auto& record) {
        EXPECT_TRUE(record.collectionId.isEmpty());
        EXPECT_TRUE(record.categories.empty());
        EXPECT_TRUE(isDefaultPreview(record.preview));
    };
    for (const Package::CollectionAddOn& addOn : ws.package.effectAddOns)
        expectDefaults(ws.load<Effect::Object>(addOn));
    expectDefaults(ws.load<Transition::Object>(ws.package.transitionAddOns[0]));
}

TEST(ShaderEffect, ShaderAndAuxImageBecomeResourcesInThatOrder) {
    Workspace ws;
    const QString shader = ws.input("ripple.glsl", "void main() {}");
    const QString aux = ws.input("maps/noise.png", "PNG");
    Package::ShaderBasedEffectBuildComponent component(shaderParams(shader, aux));
    decorate(component);
    const Package::ResourceFixupQueue fixups = component.build(&ws.package);

    ASSERT_EQ(ws.package.effectAddOns.size(), 1u);
    EXPECT_TRUE(ws.package.transitionAddOns.empty());
    const Package::CollectionAddOn& addOn = ws.package.effectAddOns[0];
    EXPECT_FALSE(addOnUuid(addOn.path, kEffects).isEmpty()) << addOn.path.toStdString();
    // Unlike the LUT effect, one entry per category.
    EXPECT_EQ(addOn.categories, (TextMap{{"a", "mine"}, {"b", "mine"}}));
    ASSERT_EQ(kinds(addOn), (Kinds{Resource::DataFile, Resource::StillImage}));
    EXPECT_EQ(addOn.resources[0].path, "resources/ripple.glsl");
    EXPECT_EQ(addOn.resources[1].path, "resources/noise.png");
    EXPECT_TRUE(isBracedUuid(addOn.resources[1].id()));
    EXPECT_NE(addOn.resources[0].id(), addOn.resources[1].id());

    const auto record = ws.load<Effect::Object>(addOn);
    const auto* item = dynamic_cast<const Effect::ExternalShader*>(record.item);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(std::tie(item->id, item->group, item->title, item->description, item->apiVersion),
              std::make_tuple(Effect::Id::ExternalShader, Effect::Id::ExternalShader, "Ripple",
                              "Water ripples", 0));
    EXPECT_TRUE(item->isIntensityAdjustable());
    EXPECT_DOUBLE_EQ(item->intensity, 0.75);
    EXPECT_EQ(item->shaderResource, addOn.resources[0].id());
    EXPECT_EQ(item->auxImageResource, addOn.resources[1].id());
    EXPECT_EQ(record.categories, (std::set<QString>{"a", "b"}));

    // The effect's intensity lives in its VideoEffect base only.
    const QString xml = ws.itemFolder(addOn) + "item.xml";
    EXPECT_EQ(itemChildNames(xml), (QStringList{"BaseOfObject", "apiVersion", "supportsIntensity",
                                                "shaderResource", "auxImageResource"}));
    EXPECT_EQ(itemChildNames(xml, {"BaseOfObject"}), (QStringList{"BaseOfObject", "intensity"}));

    // The shader is copied first, then the image.
    ASSERT_EQ(fixups.size(), 2u);
    ws.runFixups({fixups[0]});
    EXPECT_EQ(ws.resourceFiles(), QStringList{"ripple.glsl"});
    ws.runFixups({fixups[1]});
    EXPECT_EQ(TestSupport::readFile(ws.resources() + "noise.png"), "PNG");
}
