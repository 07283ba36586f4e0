#include "platform/serialize/value_type.h"

#include <QLocale>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
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
    char text[kMaxDoubleText];
    return QString::fromLatin1(text, formatDoubleTo(value, text));
}

// The shortest digits come from std::to_chars; they are laid out as QString::number(value, 'g',
// QLocale::FloatingPointShortest) lays them out (decimal unless the exponent is below -4 or at
// least the digit count plus 5), so archives read the same as they always did.
int formatDoubleTo(double value, char* out) {
    const auto literal = [out](const char* text) {
        const int size = int(std::strlen(text));
        std::memcpy(out, text, size_t(size));
        return size;
    };
    if (std::isnan(value))
        return literal("nan");
    if (std::isinf(value))
        return literal(value > 0 ? "inf" : "-inf");
    if (value == 0)
        return literal(std::signbit(value) ? "-0" : "0");

    char scientific[40];
    const auto end = std::to_chars(scientific, scientific + sizeof scientific, value,
                                   std::chars_format::scientific)
                         .ptr;
    const char* p = scientific;
    char* o = out;
    if (*p == '-')
        *o++ = *p++;
    char digits[24];
    int count = 0;
    for (; *p != 'e'; ++p) {
        if (*p != '.')
            digits[count++] = *p;
    }
    int exponent = 0;
    std::from_chars(p + (p[1] == '+' ? 2 : 1), end, exponent);

    if (exponent < -4 || exponent >= count + 5) {
        *o++ = digits[0];
        if (count > 1) {
            *o++ = '.';
            o = std::copy(digits + 1, digits + count, o);
        }
        *o++ = 'e';
        *o++ = exponent < 0 ? '-' : '+';
        const int magnitude = std::abs(exponent);
        if (magnitude < 10)
            *o++ = '0';
        o = std::to_chars(o, o + 4, magnitude).ptr;
    } else if (exponent < 0) {
        *o++ = '0';
        *o++ = '.';
        o = std::fill_n(o, -exponent - 1, '0');
        o = std::copy(digits, digits + count, o);
    } else {
        const int whole = exponent + 1;
        for (int i = 0; i < whole; ++i)
            *o++ = i < count ? digits[i] : '0';
        if (count > whole) {
            *o++ = '.';
            o = std::copy(digits + whole, digits + count, o);
        }
    }
    return int(o - out);
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
