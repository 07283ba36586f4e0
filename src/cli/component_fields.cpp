#include "cli/component_fields.h"

#include <QFileInfo>
#include <QImageReader>
#include <QJsonArray>
#include <cmath>

#include "cli/cli_error.h"
#include "package/abstract_build_component.h"

namespace Cli {

ComponentFields::ComponentFields(const ComponentEntry& entry, const Recipe& recipe,
                                 QStringList& warnings)
    : m_entry(entry), m_recipe(recipe), m_warnings(warnings) {
    m_read.insert(QStringLiteral("kind"));
}

QString ComponentFields::where(const QString& field) const {
    return QStringLiteral("%1: components[%2].%3").arg(m_recipe.path).arg(m_entry.index).arg(field);
}

QJsonValue ComponentFields::value(const QString& field) {
    m_read.insert(field);
    return m_entry.fields.value(field);
}

void ComponentFields::wrongType(const QString& field, const QString& expected) {
    throw Error(QStringLiteral("%1: expected %2, found %3")
                    .arg(where(field), expected, jsonTypeName(m_entry.fields.value(field))));
}

QString ComponentFields::text(const QString& field, bool required) {
    const QJsonValue v = value(field);
    if (v.isUndefined()) {
        if (required)
            throw Error(QStringLiteral("%1: missing (a string is required)").arg(where(field)));
        return QString();
    }
    if (!v.isString())
        wrongType(field, QStringLiteral("a string"));
    return v.toString();
}

bool ComponentFields::boolean(const QString& field, bool fallback) {
    const QJsonValue v = value(field);
    if (v.isUndefined())
        return fallback;
    if (!v.isBool())
        wrongType(field, QStringLiteral("true or false"));
    return v.toBool();
}

double ComponentFields::number(const QString& field, double fallback) {
    const QJsonValue v = value(field);
    if (v.isUndefined())
        return fallback;
    if (!v.isDouble())
        wrongType(field, QStringLiteral("a number"));
    return v.toDouble();
}

qint32 ComponentFields::integer(const QString& field, qint32 fallback) {
    const QJsonValue v = value(field);
    if (v.isUndefined())
        return fallback;
    if (!v.isDouble())
        wrongType(field, QStringLiteral("a whole number"));
    const double d = v.toDouble();
    if (d != std::floor(d) || d < -2147483648.0 || d > 2147483647.0)
        throw Error(
            QStringLiteral("%1: %2 is not a whole number of 32 bits").arg(where(field)).arg(d));
    return qint32(d);
}

int ComponentFields::choice(const QString& field, const QStringList& names, int fallback) {
    const QJsonValue v = value(field);
    if (v.isUndefined())
        return fallback;
    if (!v.isString())
        wrongType(field, QStringLiteral("one of %1").arg(names.join(QStringLiteral(", "))));
    const int index = names.indexOf(v.toString());
    if (index < 0)
        throw Error(QStringLiteral("%1: '%2' is not one of %3")
                        .arg(where(field), v.toString(), names.join(QStringLiteral(", "))));
    return index;
}

QString ComponentFields::sourceFile(const QString& field, bool required) {
    const QString given = text(field, required);
    if (given.isEmpty()) {
        if (required)
            throw Error(QStringLiteral("%1: must not be empty").arg(where(field)));
        return QString();
    }
    const QString path = m_recipe.resolve(given);
    const QFileInfo info(path);
    if (!info.exists())
        m_warnings << QStringLiteral("%1: no such file: %2").arg(where(field), path);
    else if (!info.isFile())
        m_warnings << QStringLiteral("%1: not a file: %2").arg(where(field), path);
    return path;
}

void ComponentFields::applyMetadata(Package::AbstractBuildComponent& component) {
    const QString categoriesField = QStringLiteral("categories");
    const QJsonValue categories = value(categoriesField);
    if (!categories.isUndefined()) {
        if (!categories.isArray())
            wrongType(categoriesField, QStringLiteral("a list of strings"));
        std::set<QString> set;
        const QJsonArray list = categories.toArray();
        for (int i = 0; i < list.size(); ++i) {
            if (!list.at(i).isString())
                throw Error(QStringLiteral("%1[%2]: expected a string, found %3")
                                .arg(where(categoriesField))
                                .arg(i)
                                .arg(jsonTypeName(list.at(i))));
            set.insert(list.at(i).toString());
        }
        component.setCategories(set);
    }
    component.setCollectionId(text(QStringLiteral("collectionId")));

    const QString preview = text(QStringLiteral("preview"));
    if (!preview.isEmpty()) {
        QImageReader reader(m_recipe.resolve(preview));
        const QImage image = reader.read();
        if (image.isNull())
            throw Error(QStringLiteral("%1: cannot read the image %2: %3")
                            .arg(where(QStringLiteral("preview")), m_recipe.resolve(preview),
                                 reader.errorString()));
        component.setPreview(QPixmap::fromImage(image));
    }
}

void ComponentFields::finish() {
    for (auto it = m_entry.fields.begin(); it != m_entry.fields.end(); ++it) {
        if (!m_read.contains(it.key()))
            throw Error(QStringLiteral("%1: unknown field for kind '%2'")
                            .arg(where(it.key()), m_entry.kind));
    }
}

}  // namespace Cli
