#include "cli/recipe.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>

#include "cli/cli_error.h"
#include "cli/json_fields.h"

namespace Cli {
namespace {

// Line and column of a byte offset, for JSON syntax errors.
QString position(const QByteArray& json, int offset) {
    int line = 1;
    int column = 1;
    for (int i = 0; i < offset && i < json.size(); ++i) {
        if (json[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    return QStringLiteral("%1:%2").arg(line).arg(column);
}

}  // namespace

Recipe Recipe::load(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw Error(QStringLiteral("%1: cannot read the recipe: %2").arg(path, file.errorString()));
    return parse(file.readAll(), path);
}

Recipe Recipe::parse(const QByteArray& json, const QString& path) {
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError)
        throw Error(QStringLiteral("%1:%2: not valid JSON: %3")
                        .arg(path, position(json, parseError.offset), parseError.errorString()));
    if (!document.isObject())
        throw Error(QStringLiteral("%1: the recipe must be a JSON object").arg(path));

    Recipe recipe;
    recipe.path = path;
    recipe.folder = QFileInfo(path).absolutePath();
    const QJsonObject root = document.object();

    static const QSet<QString> known = {QStringLiteral("name"), QStringLiteral("preview"),
                                        QStringLiteral("output"), QStringLiteral("uuid"),
                                        QStringLiteral("components")};
    for (auto it = root.begin(); it != root.end(); ++it) {
        if (!known.contains(it.key()))
            throw Error(QStringLiteral("%1: unknown field '%2'").arg(path, it.key()));
    }

    auto text = [&](const QString& field, bool required) -> QString {
        const QJsonValue value = root.value(field);
        if (value.isUndefined()) {
            if (required)
                throw Error(
                    QStringLiteral("%1: %2: missing (a string is required)").arg(path, field));
            return QString();
        }
        if (!value.isString())
            throw Error(QStringLiteral("%1: %2: expected a string, found %3")
                            .arg(path, field, jsonTypeName(value)));
        return value.toString();
    };

    recipe.name = text(QStringLiteral("name"), true);
    if (recipe.name.trimmed().isEmpty())
        throw Error(QStringLiteral("%1: name: must not be empty").arg(path));
    if (recipe.name.contains(QLatin1Char('/')) || recipe.name.contains(QLatin1Char('\\')) ||
        recipe.name == QLatin1String(".") || recipe.name == QLatin1String(".."))
        throw Error(
            QStringLiteral("%1: name: '%2' must not hold a path separator or be '.' or '..'")
                .arg(path, recipe.name));
    const QString preview = text(QStringLiteral("preview"), false);
    if (!preview.isEmpty())
        recipe.previewPath = recipe.resolve(preview);
    const QString output = text(QStringLiteral("output"), false);
    if (!output.isEmpty())
        recipe.outputPath = recipe.resolve(output);
    recipe.uuid = text(QStringLiteral("uuid"), false);

    const QJsonValue components = root.value(QStringLiteral("components"));
    if (components.isUndefined())
        throw Error(QStringLiteral("%1: components: missing (a list is required, it may be empty)")
                        .arg(path));
    if (!components.isArray())
        throw Error(QStringLiteral("%1: components: expected a list, found %2")
                        .arg(path, jsonTypeName(components)));
    const QJsonArray list = components.toArray();
    for (int i = 0; i < list.size(); ++i) {
        const QJsonValue entry = list.at(i);
        if (!entry.isObject())
            throw Error(QStringLiteral("%1: components[%2]: expected an object, found %3")
                            .arg(path)
                            .arg(i)
                            .arg(jsonTypeName(entry)));
        const QJsonValue kind = entry.toObject().value(QStringLiteral("kind"));
        if (!kind.isString())
            throw Error(QStringLiteral("%1: components[%2].kind: expected a string, found %3")
                            .arg(path)
                            .arg(i)
                            .arg(jsonTypeName(kind)));
        recipe.components.push_back({i, kind.toString(), entry.toObject()});
    }
    return recipe;
}

QString Recipe::resolve(const QString& relative) const {
    if (relative.isEmpty() || QDir::isAbsolutePath(relative))
        return relative;
    return QDir::cleanPath(folder + QLatin1Char('/') + relative);
}

QStringList Recipe::inputs() const {
    QStringList all{path};
    if (!previewPath.isEmpty())
        all << previewPath;
    return all + m_inputs;
}

}  // namespace Cli
