#include "cli/component_factory.h"

#include "cli/cli_error.h"
#include "cli/effect_kinds.h"
#include "cli/import_kinds.h"
#include "cli/name_based_id_source.h"
#include "cli/overlay_kinds.h"
#include "cli/stable_id_component.h"

namespace Cli {

const ComponentFactory& ComponentFactory::standard() {
    static const ComponentFactory factory = [] {
        ComponentFactory kinds;
        addEffectKinds(kinds);
        addImportKinds(kinds);
        addOverlayKinds(kinds);
        return kinds;
    }();
    return factory;
}

std::shared_ptr<Package::IBuildComponent> ComponentFactory::make(const ComponentEntry& entry,
                                                                 const Recipe& recipe,
                                                                 QStringList& warnings) const {
    const auto it = m_makers.find(entry.kind);
    if (it == m_makers.end()) {
        const QString known =
            kinds().isEmpty() ? QStringLiteral("none yet") : kinds().join(QStringLiteral(", "));
        throw Error(QStringLiteral("%1: components[%2].kind: unknown kind '%3' (known kinds: %4)")
                        .arg(recipe.path)
                        .arg(entry.index)
                        .arg(entry.kind, known));
    }
    std::shared_ptr<Package::IBuildComponent> component = it->second(entry, recipe, warnings);
    // A package with an id gives its items the same ids on every rebuild (docs/recipe.md).
    if (!recipe.uuid.isEmpty())
        component = std::make_shared<StableIdComponent>(
            component, NameBasedIdSource::packageSpace(recipe.uuid), recipe.identity(entry));
    return component;
}

QStringList ComponentFactory::kinds() const {
    QStringList names;
    for (const auto& entry : m_makers)
        names << entry.first;
    return names;
}

}  // namespace Cli
