#pragma once

#include <QString>

namespace Serialize {

// The kinds of value that an archive holds. Every announced key holds exactly one of them.
enum class ValueType {
    Bool,
    Int32,
    Int64,
    Double,
    String,
    Image,    // the name under which the content receiver stored the image
    Blob,     // likewise for a blob
    Object,   // a polymorphic object: carries its type name, created through the type registry
    Null,     // a null object
    Section,  // a nested record without a type of its own (a base class's body)
    Array,    // carries its count; holds numbered elements
};

// The short names used by the XML format ("bool", "i32", ..., "array").
QString valueTypeName(ValueType type);
bool valueTypeFromName(const QString& name, ValueType* type);

// Exact text forms of numbers: doubles in their shortest exact form, "inf", "-inf" and "nan".
QString formatDouble(double value);
// The same text written into `out`, which has room for kMaxDoubleText bytes; returns its length.
constexpr int kMaxDoubleText = 32;
int formatDoubleTo(double value, char* out);
bool parseDouble(const QString& text, double* value);

}  // namespace Serialize
