#pragma once

#include <QString>
#include <QUuid>

#include <memory>

#include "package/build_component.h"

namespace Cli {

// Builds a recipe's component with ids derived from the package's id and the component's
// identity (NameBasedIdSource) instead of random ones, so that rebuilding a package with the same
// id gives every item the same folder and ids, and a changed component changes its own ids only.
// Every build() starts the component's sequence of ids afresh. Owns a share of the wrapped
// component.
class StableIdComponent : public Package::IBuildComponent {
public:
    StableIdComponent(std::shared_ptr<Package::IBuildComponent> inner, const QUuid& space,
                      const QString& identity);

    Package::ResourceFixupQueue build(Package::Object* package) override;

private:
    std::shared_ptr<Package::IBuildComponent> m_inner;
    QUuid m_space;
    QString m_identity;
};

}  // namespace Cli
