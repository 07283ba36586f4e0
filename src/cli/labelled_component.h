#pragma once

#include <QString>

#include <memory>

#include "package/build_component.h"

namespace Cli {

// Wraps a recipe's component so that whatever fails in it says where it comes from. build() and
// every fixup it returns are delegated; an exception they throw is rethrown as a Cli::Error whose
// message is the label, the media file's name when the failure concerns one, and the original
// message: "recipe.json: components[3] (clip.mp4): Can not extract video stream to make
// snapshot". Owns a share of the wrapped component.
class LabelledComponent : public Package::IBuildComponent {
public:
    // `label` names the component, e.g. "recipe.json: components[3]".
    LabelledComponent(std::shared_ptr<Package::IBuildComponent> inner, const QString& label);

    Package::ResourceFixupQueue build(Package::Object* package) override;

private:
    std::shared_ptr<Package::IBuildComponent> inner_;
    QString label_;
};

}  // namespace Cli
