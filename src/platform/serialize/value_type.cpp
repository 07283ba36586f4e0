#include "platform/serialize/value_type.h"

#include <QLocale>
#include <cmath>
#include <limits>

namespace Serialize {
namespace {

struct TypeNameEntry {
    ValueType type;
    const char* name;
};

constexpr TypeNameEntry kTypeNames[] = {
    {ValueType::Bool, "bool"},   {ValueType::Int32, "i32"},   {ValueType::Int64, "i64"},
    {ValueType::Double, "f64"},  {ValueType::String, "str"},  {ValueType::Image, "image"},
    {ValueType::Blob, "blob"},   {ValueType::Object, "obj"},  {ValueType::Null, "null"},
    {ValueType::Section, "sec"}, {ValueType::Array, "array"},
};

}  // namespace

QString valueTypeName(ValueType type) {
    for (const auto& entry : kTypeNames) {
        if (entry.type == type)
            return QLatin1String(entry.name);
    }
    return QString();
}

bool valueTypeFromName(const QString& name, ValueType* type) {
    for (const auto& entry : kTypeNames) {
        if (name == QLatin1String(entry.name)) {
            *type = entry.type;
            return true;
        }
    }
    return false;
}

QString formatDouble(double value) {
    if (std::isnan(value))
        return QStringLiteral("nan");
    if (std::isinf(value))
        return value > 0 ? QStringLiteral("inf") : QStringLiteral("-inf");
    if (value == 0 && std::signbit(value))
        return QStringLiteral("-0");
    return QString::number(value, 'g', QLocale::FloatingPointShortest);
}

bool parseDouble(const QString& text, double* value) {
    if (text == QLatin1String("nan")) {
        *value = std::numeric_limits<double>::quiet_NaN();
        return true;
    }
    if (text == QLatin1String("inf")) {
        *value = std::numeric_limits<double>::infinity();
        return true;
    }
    if (text == QLatin1String("-0")) {
        *value = -0.0;
        return true;
    }
    if (text == QLatin1String("-inf")) {
        *value = -std::numeric_limits<double>::infinity();
        return true;
    }
    // Only the forms that formatDouble writes: no blanks, no other spellings of infinity.
    if (text.isEmpty() || text.trimmed() != text ||
        text.contains(QLatin1Char('n'), Qt::CaseInsensitive))
        return false;
    QLocale c = QLocale::c();
    c.setNumberOptions(QLocale::RejectGroupSeparator);
    bool ok = false;
    const double parsed = c.toDouble(text, &ok);
    if (!ok)
        return false;
    *value = parsed;
    return true;
}

}  // namespace Serialize
