#include "cli/recipe.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>

#include "cli/cli_error.h"
#include "cli/json_fields.h"
#include "cli/old_spellings.h"
#include "package/name_checks.h"

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

// A name in double quotes, its control characters shown as \uXXXX so that the message stays one
// line.
QString quoted(const QString& text) {
    QString shown;
    for (const QChar c : text) {
        if (c.unicode() < 0x20 || (c.unicode() >= 0x7f && c.unicode() <= 0x9f))
            shown += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
        else
            shown += c;
    }
    return QLatin1Char('"') + shown + QLatin1Char('"');
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
    const QJsonObject root = OldSpellings::recipe().apply(document.object(), json, path);

    static const QSet<QString> known = {QStringLiteral("name"), QStringLiteral("previewPath"),
                                        QStringLiteral("package"), QStringLiteral("uuid"),
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
    const QString nameProblem = Recipe::nameProblem(recipe.name);
    if (!nameProblem.isEmpty())
        throw Error(QStringLiteral("%1: name: %2").arg(path, nameProblem));
    const QString preview = text(QStringLiteral("previewPath"), false);
    if (!preview.isEmpty())
        recipe.previewPath = recipe.resolve(preview);
    const QString output = text(QStringLiteral("package"), false);
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
        const QJsonValue id = entry.toObject().value(QStringLiteral("id"));
        if (!id.isUndefined() && (!id.isString() || id.toString().isEmpty()))
            throw Error(
                QStringLiteral("%1: components[%2].id: expected a non-empty string, found %3")
                    .arg(path)
                    .arg(i)
                    .arg(id.isString() ? QStringLiteral("an empty one") : jsonTypeName(id)));
        for (const ComponentEntry& earlier : recipe.components) {
            if (!id.isUndefined() && earlier.id == id.toString())
                throw Error(QStringLiteral("%1: components[%2].id: %3 is also the id of "
                                           "components[%4] (ids must differ)")
                                .arg(path)
                                .arg(i)
                                .arg(quoted(id.toString()))
                                .arg(earlier.index));
        }
        recipe.components.push_back({i, kind.toString(), id.toString(), entry.toObject()});
        // A project bundle goes to "<working folder>/../build": under this name that is the
        // working folder itself, and the bundle would be packed as a stray file.
        const bool bundle = kind.toString() == QLatin1String("intro") ||
                            kind.toString() == QLatin1String("intermediate-overlay");
        if (bundle && recipe.name.compare(QLatin1String("build"), Qt::CaseInsensitive) == 0)
            throw Error(QStringLiteral("%1: name: \"%2\" cannot name a package with an intro or "
                                       "intermediate overlay (components[%3]): its project bundle "
                                       "is written to \"../build\" beside the working folder, "
                                       "which would be the working folder itself")
                            .arg(path, recipe.name)
                            .arg(i));
    }
    return recipe;
}

QString Recipe::identity(const ComponentEntry& entry) const {
    if (!entry.id.isEmpty())
        return QStringLiteral("id:") + entry.id;
    int place = 0;
    for (const ComponentEntry& other : components) {
        if (other.index < entry.index && other.kind == entry.kind)
            ++place;
    }
    return QStringLiteral("%1#%2").arg(entry.kind).arg(place);
}

QString Recipe::nameProblem(const QString& name) {
    if (name.trimmed().isEmpty())
        return QStringLiteral("must not be empty");
    if (name.contains(QLatin1Char('/')) || name.contains(QLatin1Char('\\')) ||
        name == QLatin1String(".") || name == QLatin1String(".."))
        return QStringLiteral("'%1' must not hold a path separator or be '.' or '..'").arg(name);
    const QString character = Package::unrepresentableCharacter(name);
    if (!character.isEmpty())
        return QStringLiteral(
                   "%1 holds the character %2, which the package description cannot "
                   "carry (a name is one line of printable text)")
            .arg(quoted(name), character);
    return markerProblem(name);
}

QString Recipe::markerProblem(const QString& text) {
    const QString marker = Package::replaceableMarker(text);
    if (marker.isEmpty())
        return QString();
    return QStringLiteral("%1 holds \"%2\", which the package layout would replace")
        .arg(quoted(text), marker);
}

void Recipe::checkWorkingFolder(const QString& what, const QString& folder) {
    const QString problem = markerProblem(folder);
    if (!problem.isEmpty())
        throw Error(QStringLiteral("%1: %2").arg(what, problem));
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
