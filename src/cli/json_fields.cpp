#include "cli/json_fields.h"

#include <cmath>

#include "cli/cli_error.h"

namespace Cli {

QString jsonTypeName(const QJsonValue& value) {
    switch (value.type()) {
        case QJsonValue::Null:
            return QStringLiteral("null");
        case QJsonValue::Bool:
            return QStringLiteral("a boolean");
        case QJsonValue::Double:
            return QStringLiteral("a number");
        case QJsonValue::String:
            return QStringLiteral("a string");
        case QJsonValue::Array:
            return QStringLiteral("a list");
        case QJsonValue::Object:
            return QStringLiteral("an object");
        case QJsonValue::Undefined:
            break;
    }
    return QStringLiteral("nothing");
}

JsonFields::JsonFields(const QJsonObject& object, const QString& place)
    : m_object(object), m_place(place) {}

QString JsonFields::where(const QString& field) const {
    // The root of a file is named "file.json:", its fields "file.json: field".
    if (m_place.endsWith(QLatin1Char(':')))
        return m_place + QLatin1Char(' ') + field;
    return m_place + QLatin1Char('.') + field;
}

void JsonFields::fail(const QString& field, const QString& what) const {
    throw Error(QStringLiteral("%1: %2").arg(where(field), what));
}

QJsonValue JsonFields::value(const QString& field) {
    m_read.insert(field);
    return m_object.value(field);
}

void JsonFields::wrongType(const QString& field, const QString& expected) const {
    fail(
        field,
        QStringLiteral("expected %1, found %2").arg(expected, jsonTypeName(m_object.value(field))));
}

QString JsonFields::text(const QString& field, bool required) {
    const QJsonValue v = value(field);
    if (v.isUndefined()) {
        if (required)
            fail(field, QStringLiteral("missing (a string is required)"));
        return QString();
    }
    if (!v.isString())
        wrongType(field, QStringLiteral("a string"));
    return v.toString();
}

bool JsonFields::boolean(const QString& field, bool fallback) {
    const QJsonValue v = value(field);
    if (v.isUndefined())
        return fallback;
    if (!v.isBool())
        wrongType(field, QStringLiteral("true or false"));
    return v.toBool();
}

double JsonFields::number(const QString& field, double fallback) {
    const QJsonValue v = value(field);
    if (v.isUndefined())
        return fallback;
    if (!v.isDouble())
        wrongType(field, QStringLiteral("a number"));
    return v.toDouble();
}

double JsonFields::requiredNumber(const QString& field) {
    if (!has(field)) {
        allow(field);
        fail(field, QStringLiteral("missing (a number is required)"));
    }
    return number(field);
}

qint64 JsonFields::integer(const QString& field, qint64 fallback, qint64 minimum, qint64 maximum) {
    const QJsonValue v = value(field);
    if (v.isUndefined())
        return fallback;
    if (!v.isDouble())
        wrongType(field, QStringLiteral("a whole number"));
    const double d = v.toDouble();
    if (d != std::floor(d))
        fail(field, QStringLiteral("%1 is not a whole number").arg(d));
    if (d < double(minimum) || d > double(maximum)) {
        if (minimum == 0 && d < 0)
            fail(field, QStringLiteral("must not be negative (found %1)").arg(d));
        fail(field, QStringLiteral("%1 is out of range [%2, %3]").arg(d).arg(minimum).arg(maximum));
    }
    return qint64(d);
}

qint64 JsonFields::requiredInteger(const QString& field, qint64 minimum, qint64 maximum) {
    if (!has(field)) {
        allow(field);
        fail(field, QStringLiteral("missing (a whole number is required)"));
    }
    return integer(field, 0, minimum, maximum);
}

int JsonFields::choice(const QString& field, const QStringList& names, int fallback) {
    const QJsonValue v = value(field);
    if (v.isUndefined())
        return fallback;
    if (!v.isString())
        wrongType(field, QStringLiteral("one of %1").arg(names.join(QStringLiteral(", "))));
    const int index = names.indexOf(v.toString());
    if (index < 0)
        fail(field, QStringLiteral("'%1' is not one of %2")
                        .arg(v.toString(), names.join(QStringLiteral(", "))));
    return index;
}

QJsonArray JsonFields::array(const QString& field, bool required) {
    const QJsonValue v = value(field);
    if (v.isUndefined()) {
        if (required)
            fail(field, QStringLiteral("missing (a list is required)"));
        return QJsonArray();
    }
    if (!v.isArray())
        wrongType(field, QStringLiteral("a list"));
    return v.toArray();
}

QJsonObject JsonFields::object(const QString& field, bool required) {
    const QJsonValue v = value(field);
    if (v.isUndefined()) {
        if (required)
            fail(field, QStringLiteral("missing (an object is required)"));
        return QJsonObject();
    }
    if (!v.isObject())
        wrongType(field, QStringLiteral("an object"));
    return v.toObject();
}

void JsonFields::finish(const QString& context) {
    for (auto it = m_object.begin(); it != m_object.end(); ++it) {
        if (!m_read.contains(it.key()))
            fail(it.key(), context.isEmpty() ? QStringLiteral("unknown field")
                                             : QStringLiteral("unknown field for %1").arg(context));
    }
}

}  // namespace Cli
