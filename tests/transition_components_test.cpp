#include <gtest/gtest.h>

#include <tuple>

#include "effect_fixture.h"
#include "package/components/effects/external_shader.h"
#include "package/components/effects/transition_build_component.h"
#include "platform/layout/package_structure_description.h"

using namespace EffectFixture;

namespace {

const QString kTransitions = Package::PackageStructureDescription::transitionDir;

// What tells one template transition from the other.
auto identity(const Transition::Object& item) {
    return std::make_tuple(item.typeName(), item.id, item.maskMode, item.overlayMode);
}

}  // namespace

TEST(TemplateTransition, MaskAndOverlayDifferOnlyInWhatTheyFix) {
    Workspace ws;
    const QString media = ws.input("clips/deep/wipe.mp4", "MP4");
    Package::ResourceFixupQueue fixups =
        Package::TransitionBuildComponent(Package::MaskTransitionParams{media}).build(&ws.package);
    const Package::ResourceFixupQueue overlayFixups =
        Package::TransitionBuildComponent(Package::OverlayTransitionParams{media})
            .build(&ws.package);
    EXPECT_EQ(fixups.size(), 1u);
    EXPECT_EQ(overlayFixups.size(), 1u);
    fixups.insert(fixups.end(), overlayFixups.begin(), overlayFixups.end());

    ASSERT_EQ(ws.package.transitionAddOns.size(), 2u);
    std::vector<const Transition::Object*> items;
    for (const Package::CollectionAddOn& addOn : ws.package.transitionAddOns) {
        EXPECT_FALSE(addOnUuid(addOn.path, kTransitions).isEmpty()) << addOn.path.toStdString();
        ASSERT_EQ(addOn.resources.size(), 1u);
        const Package::Resource& resource = addOn.resources[0];
        EXPECT_EQ(resource.path, "resources/wipe.mp4");
        EXPECT_EQ(resource.type(), Resource::MediaFile);
        EXPECT_TRUE(isBracedUuid(resource.id()));
        EXPECT_TRUE(addOn.categories.empty());

        const Transition::Object* item = ws.item<Transition::Object>(addOn);
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(item->title, ws.package.name);
        EXPECT_EQ(item->resources,
                  (std::vector<Transition::ResourceReference>{{1, resource.id()}}));
        items.push_back(item);
    }
    EXPECT_NE(ws.package.transitionAddOns[0].resources[0].id(),
              ws.package.transitionAddOns[1].resources[0].id());
    EXPECT_EQ(identity(*items[0]), std::make_tuple(std::string("Transition::MaskTransition"),
                                                   Transition::Id::MaskTransition, 1, 0));
    EXPECT_EQ(identity(*items[1]),
              std::make_tuple(std::string("Transition::Overlay"), Transition::Id::Overlay, 0, 3));

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
    EXPECT_EQ(addOn.resources[0].path, "resources/flare.mov");
    EXPECT_EQ(addOn.resources[0].type(), Resource::MediaFile);
    EXPECT_NE(ws.item<Transition::Object>(addOn), nullptr);

    ASSERT_EQ(fixups.size(), 1u);
    EXPECT_NO_THROW(ws.runFixups(fixups));
    EXPECT_TRUE(ws.resourceFiles().isEmpty());
}

TEST(ShaderTransition, KeepsItsOwnIntensityBetweenTheFlagAndTheShader) {
    Workspace ws;
    Package::ShaderTransitionParams params;
    params.supportsIntensity = true;
    params.intensity = 0.5;
    params.shaderPath = ws.input("dissolve.glsl", "void main() {}");
    params.auxImagePath = ws.input("ramp.png", "PNG");
    const Package::ResourceFixupQueue fixups =
        Package::TransitionBuildComponent(params).build(&ws.package);

    EXPECT_TRUE(ws.package.effectAddOns.empty());
    ASSERT_EQ(ws.package.transitionAddOns.size(), 1u);
    const Package::CollectionAddOn& addOn = ws.package.transitionAddOns[0];
    EXPECT_FALSE(addOnUuid(addOn.path, kTransitions).isEmpty()) << addOn.path.toStdString();
    ASSERT_EQ(kinds(addOn), (Kinds{Resource::DataFile, Resource::StillImage}));
    EXPECT_EQ(fixups.size(), 2u);

    const auto* item = ws.item<Transition::Object, Transition::ExternalShader>(addOn);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->id, Transition::Id::ExternalShader);
    EXPECT_TRUE(item->supportsIntensity);
    EXPECT_DOUBLE_EQ(item->intensity, 0.5);
    EXPECT_EQ(item->shaderResource, addOn.resources[0].id());
    EXPECT_EQ(item->auxImageResource, addOn.resources[1].id());
    EXPECT_EQ(itemChildNames(ws.itemFolder(addOn) + "item.xml"),
              (QStringList{"BaseOfObject", "apiVersion", "supportsIntensity", "intensity",
                           "shaderResource", "auxImageResource"}));
}
