#include "cli/stable_id_component.h"

#include <utility>

#include "cli/name_based_id_source.h"

namespace Cli {

StableIdComponent::StableIdComponent(std::shared_ptr<Package::IBuildComponent> inner,
                                     const QUuid& space, const QString& identity)
    : m_inner(std::move(inner)), m_space(space), m_identity(identity) {}

Package::ResourceFixupQueue StableIdComponent::build(Package::Object* package) {
    NameBasedIdSource source(m_space, m_identity);
    const ScopedIdSource scope(source);
    return m_inner->build(package);
}

}  // namespace Cli
