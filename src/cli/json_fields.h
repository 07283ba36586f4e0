#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QSet>
#include <QString>
#include <QStringList>

namespace Cli {

// Reads the fields of one JSON object with their types checked. Every error is a Cli::Error that
// names the place: where("lut") is "<place>.lut", as in "recipe.json: components[2].lut: expected
// a string, found a number".
class JsonFields {
public:
    // `place` names the object itself, e.g. "recipe.json: components[2]", or "intro.json:" for the
    // root object of a file.
    JsonFields(const QJsonObject& object, const QString& place);

    bool has(const QString& field) const { return m_object.contains(field); }
    QString text(const QString& field, bool required = false);
    bool boolean(const QString& field, bool fallback = false);
    double number(const QString& field, double fallback = 0.0);
    double requiredNumber(const QString& field);
    // A whole number in [minimum, maximum]; `fallback` when the field is absent.
    qint64 integer(const QString& field, qint64 fallback, qint64 minimum, qint64 maximum);
    qint64 requiredInteger(const QString& field, qint64 minimum, qint64 maximum);
    // One of the given names, returned as its index in `names`.
    int choice(const QString& field, const QStringList& names, int fallback);
    QJsonArray array(const QString& field, bool required = false);
    QJsonObject object(const QString& field, bool required = false);

    // Fails on a field that was never asked for: a typo must not be silently ignored. Call last.
    void finish(const QString& context = QString());

    QString where(const QString& field) const;
    QString place() const { return m_place; }
    // A field that was read, counted as known without being read.
    void allow(const QString& field) { m_read.insert(field); }

    [[noreturn]] void fail(const QString& field, const QString& what) const;

protected:
    QJsonValue value(const QString& field);
    [[noreturn]] void wrongType(const QString& field, const QString& expected) const;

private:
    QJsonObject m_object;
    QString m_place;
    QSet<QString> m_read;
};

// How a JSON value is named in messages: "a string", "a number", "a list", ...
QString jsonTypeName(const QJsonValue& value);

}  // namespace Cli
