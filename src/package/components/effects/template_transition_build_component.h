#pragma once

#include <QString>

#include "package/abstract_build_component.h"
#include "package/build_params.h"
#include "package/components/effects/template_transition_items.h"

namespace Package {

// Builds a template transition (Item: Transition::MaskTransition or Transition::Overlay) from one
// media file, which becomes a resource of kind 1. The file is not checked: its resource is
// registered even when it is missing, and the copy then fails without a report. Owns the media
// path; build() throws what storing the item throws (FS::Error).
template <class Item>
class TemplateTransitionBuildComponent : public AbstractBuildComponent {
public:
    // Params: MaskTransitionParams or OverlayTransitionParams.
    template <class Params>
    explicit TemplateTransitionBuildComponent(const Params& params)
        : m_mediaPath(params.sourcePath) {}

    ResourceFixupQueue build(Package::Object* package) override;

private:
    QString m_mediaPath;
};

extern template class TemplateTransitionBuildComponent<Transition::MaskTransition>;
extern template class TemplateTransitionBuildComponent<Transition::Overlay>;

}  // namespace Package
