#pragma once

#include <QString>
#include <vector>

#include "platform/serialize/value_type.h"

namespace Serialize {

// One value of a parsed archive: the element of a key, or a numbered array element.
struct Node {
    QString name;  // the key ("e" for an array element)
    ValueType type = ValueType::Null;
    QString text;       // scalars: the value's text form (strings already decoded)
    QString className;  // objects: the type name
    qint64 count = 0;   // arrays: the announced count; elements: their number
    qint64 line = 0;    // where the element starts, for messages
    std::vector<Node> children;
};

// Limits that keep reading of untrusted archives bounded.
struct ParseLimits {
    int maxDepth = 128;
    qint64 maxNodes = 4'000'000;
};

// Parses an archive of format 0 into its root object node. Rejects document type declarations
// (so no entity of any kind is expanded), unknown value types, stray text and anything nested
// deeper or larger than the limits. Throws Serialize::Error naming `source` and the line.
Node parseXml(const QByteArray& data, const QString& source, const ParseLimits& limits = {});

}  // namespace Serialize
