#pragma once

#include <QString>

#include "package/abstract_build_component.h"
#include "package/build_params.h"

namespace Package {

// Builds a LUT colour effect: an Effect::Lut item in the effects folder, with the LUT file as a
// resource of kind 4. A missing LUT file leaves the item without a LUT reference. Unlike the public
// EffectBuildComponent, it stores its own preview, categories and collection id. Owns copies of
// the params' texts and path; build() throws what storing the item throws (FS::Error).
class LutEffectBuildComponent : public AbstractBuildComponent {
public:
    explicit LutEffectBuildComponent(const LutEffectParams& params);

    ResourceFixupQueue build(Package::Object* package) override;

private:
    QString m_primaryText;
    QString m_secondaryText;
    QString m_lutPath;
};

}  // namespace Package
