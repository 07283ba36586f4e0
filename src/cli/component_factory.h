#pragma once

#include <QStringList>
#include <functional>
#include <map>
#include <memory>

#include "cli/recipe.h"

namespace Package {
class IBuildComponent;
}

namespace Cli {

// Turns the entries of a recipe's "components" list into build components, by their "kind".
class ComponentFactory {
public:
    // Makes the component of one entry. Missing source files are added to `warnings` (the build
    // goes on without them); malformed entries throw Cli::Error naming the entry and the field.
    using Maker = std::function<std::shared_ptr<Package::IBuildComponent>(
        const ComponentEntry& entry, const Recipe& recipe, QStringList& warnings)>;

    // The factory with every kind that the tool knows.
    static const ComponentFactory& standard();

    std::shared_ptr<Package::IBuildComponent> make(const ComponentEntry& entry,
                                                   const Recipe& recipe,
                                                   QStringList& warnings) const;
    QStringList kinds() const;

    void add(const QString& kind, Maker maker) { m_makers[kind] = std::move(maker); }

private:
    std::map<QString, Maker> m_makers;
};

}  // namespace Cli
