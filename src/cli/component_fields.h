#pragma once

#include <QString>
#include <QStringList>

#include "cli/json_fields.h"
#include "cli/recipe.h"
#include "platform/model/timeline_object.h"

namespace Package {
class AbstractBuildComponent;
}

namespace Cli {

// Reads the fields of one recipe component. Errors name the recipe, the component's index and the
// field: "recipe.json: components[2].lut: expected a string, found a number". Paths resolve against
// the recipe's folder.
class ComponentFields : public JsonFields {
public:
    ComponentFields(const ComponentEntry& entry, const Recipe& recipe, QStringList& warnings);

    // A path of a file that the component reads. A file that does not exist is a warning (the
    // library builds without it), not an error.
    QString sourceFile(const QString& field, bool required);

    // Reads the timeline file that the field names (it must exist and be valid). Media files of the
    // timeline that do not exist are warnings.
    Timeline::Object timeline(const QString& field);

    // Fails when an earlier component also writes a project bundle (an intro or an intermediate
    // overlay): every bundle of a package is written to the same file, so a second would replace
    // the first.
    void requireOneProjectBundle();

    // Applies "categories", "collectionId" and "previewPath" to the component.
    void applyMetadata(Package::AbstractBuildComponent& component);

    // Fails on a field that the kind does not know. Call last.
    void finish();

    const Recipe& recipe() const { return m_recipe; }
    QStringList& warnings() { return m_warnings; }

private:
    const ComponentEntry& m_entry;
    const Recipe& m_recipe;
    QStringList& m_warnings;
};

}  // namespace Cli
