#pragma once

#include <QJsonObject>
#include <QString>
#include <QVector>

namespace Cli {

// What a check found, and where: the component of the recipe (or, in a built package, the item),
// its field, the file (as the recipe names it, relative to the recipe's folder, or its path inside
// the package) and the line of that file (0: no line).
struct Finding {
    enum Severity { Warning, Error };

    Severity severity = Error;
    int component = -1;  // -1: the recipe as a whole
    QString item;        // a package's item ("effects[0] 'Warm'"), shown instead of a component
    QString field;
    QString file;
    int line = 0;
    QString message;

    // "recipe.json: components[3].lut (looks/warm.cube:14): error: ..."; of a package,
    // "out.qpack: effects[0] 'Warm' (resources/warm.cube:14): error: ..."
    QString toText(const QString& recipePath) const;
    QJsonObject toJson() const;

    // A message of the recipe reader ("recipe.json: components[2].lut: no such file: ..."),
    // split into its place and its text; `component` is used when the text names none.
    static Finding fromMessage(Severity severity, const QString& text, const QString& recipePath,
                               int component);
};

// Where in the recipe a checked file comes from; checks add findings at it.
struct CheckPlace {
    CheckPlace(int component = -1, const QString& field = QString(),
               const QString& file = QString(), const QString& item = QString())
        : component(component), field(field), file(file), item(item) {}

    int component;
    QString field;
    QString file;
    QString item;  // of a package: the item that uses the file
};

// The findings of every check over one recipe, in the order they were found.
class CheckReport {
public:
    void add(const Finding& finding) { m_findings.push_back(finding); }
    void add(const CheckPlace& place, Finding::Severity severity, const QString& message,
             int line = 0);

    const QVector<Finding>& findings() const { return m_findings; }
    int count(Finding::Severity severity) const;
    bool hasErrors() const { return count(Finding::Error) > 0; }
    bool isEmpty() const { return m_findings.isEmpty(); }

    // One line per finding, then a summary line. `source` is the recipe or the package checked,
    // `key` its name in the JSON form ("recipe" or "package").
    QString toText(const QString& source) const;
    QJsonObject toJson(const QString& source, const QString& key = QStringLiteral("recipe")) const;

private:
    QVector<Finding> m_findings;
};

}  // namespace Cli
