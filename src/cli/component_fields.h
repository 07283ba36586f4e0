#pragma once

#include <QJsonValue>
#include <QSet>
#include <QString>
#include <QStringList>
#include <set>

#include "cli/recipe.h"

namespace Package {
class AbstractBuildComponent;
}

namespace Cli {

// Reads the fields of one recipe component with their types checked. Every error names the recipe,
// the component's index and the field: "recipe.json: components[2].lut: expected a string, found a
// number". Paths resolve against the recipe's folder.
class ComponentFields {
public:
    ComponentFields(const ComponentEntry& entry, const Recipe& recipe, QStringList& warnings);

    QString text(const QString& field, bool required = false);
    bool boolean(const QString& field, bool fallback = false);
    double number(const QString& field, double fallback = 0.0);
    // A whole number that fits 32 bits.
    qint32 integer(const QString& field, qint32 fallback = 0);
    // One of the given names, returned as its index in `names`.
    int choice(const QString& field, const QStringList& names, int fallback);
    // A path of a file that the component reads. A file that does not exist is a warning (the
    // library builds without it), not an error.
    QString sourceFile(const QString& field, bool required);

    // Applies "categories", "collectionId" and "preview" to the component.
    void applyMetadata(Package::AbstractBuildComponent& component);

    // Fails on a field that was never read: a typo must not be silently ignored. Call last.
    void finish();

    // The error text for a field: "<recipe>: components[<i>].<field>: <what>".
    QString where(const QString& field) const;

private:
    QJsonValue value(const QString& field);
    [[noreturn]] void wrongType(const QString& field, const QString& expected);

    const ComponentEntry& m_entry;
    const Recipe& m_recipe;
    QStringList& m_warnings;
    QSet<QString> m_read;
};

}  // namespace Cli
