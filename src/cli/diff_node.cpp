#include "cli/diff_node.h"

#include <QRegularExpression>
#include <algorithm>
#include <cmath>

#include "platform/serialize/value_type.h"

namespace Cli {
namespace {

bool isScalar(Serialize::ValueType type) {
    using T = Serialize::ValueType;
    return type != T::Object && type != T::Section && type != T::Array && type != T::Null;
}

// The name of a child's field. Elements of an array are numbered from 0; a base class's body and
// the key that wraps an element's value add nothing a reader needs.
QString childField(const QString& field, const Serialize::Node& parent,
                   const Serialize::Node& child) {
    if (parent.type == Serialize::ValueType::Array)
        return QStringLiteral("%1[%2]").arg(field).arg(child.count - 1);
    if (child.type == Serialize::ValueType::Section ||
        (child.name == QLatin1String("Data") && parent.children.size() == 1))
        return field;
    return field.isEmpty() ? child.name : field + QLatin1Char('.') + child.name;
}

}  // namespace

bool DiffNode::sameDouble(double a, double b) {
    if (std::isnan(a) || std::isnan(b))
        return std::isnan(a) && std::isnan(b);
    if (a == b)  // infinities of one sign included
        return true;
    if (std::isinf(a) || std::isinf(b))
        return false;
    return std::fabs(a - b) <= kTolerance * std::max({1.0, std::fabs(a), std::fabs(b)});
}

QString DiffNode::shortText(const Serialize::Node& node) {
    using T = Serialize::ValueType;
    switch (node.type) {
        case T::String:
            return QLatin1Char('"') + node.text + QLatin1Char('"');
        case T::Object:
            return node.className;
        case T::Null:
            return QStringLiteral("null");
        case T::Section:
            return QStringLiteral("{...}");
        case T::Array:
            return QStringLiteral("%1 elements").arg(node.children.size());
        default:
            return node.text;
    }
}

void DiffNode::compare(const Serialize::Node& a, const Serialize::Node& b, const QString& field,
                       std::vector<FieldChange>* changes) {
    using T = Serialize::ValueType;
    if (a.type != b.type || (a.type == T::Object && a.className != b.className)) {
        changes->push_back({field, shortText(a), shortText(b)});
        return;
    }
    if (isScalar(a.type)) {
        bool same = a.text == b.text;
        double x = 0;
        double y = 0;
        if (!same && a.type == T::Double && Serialize::parseDouble(a.text, &x) &&
            Serialize::parseDouble(b.text, &y))
            same = sameDouble(x, y);
        if (!same)
            changes->push_back({field, shortText(a), shortText(b)});
        return;
    }
    // Keys of one type come in one order; elements are matched by position, extras named alone.
    const size_t common = std::min(a.children.size(), b.children.size());
    for (size_t i = 0; i < common; ++i) {
        const Serialize::Node& x = a.children[i];
        const Serialize::Node& y = b.children[i];
        if (x.name != y.name) {
            changes->push_back({childField(field, a, x), shortText(x), QString()});
            changes->push_back({childField(field, b, y), QString(), shortText(y)});
            continue;
        }
        compare(x, y, childField(field, a, x), changes);
    }
    for (size_t i = common; i < a.children.size(); ++i)
        changes->push_back(
            {childField(field, a, a.children[i]), shortText(a.children[i]), QString()});
    for (size_t i = common; i < b.children.size(); ++i)
        changes->push_back(
            {childField(field, b, b.children[i]), QString(), shortText(b.children[i])});
}

Serialize::Node DiffNode::renameIds(const Serialize::Node& node,
                                    const std::function<QString(const QString&)>& rename) {
    static const QRegularExpression braced(QStringLiteral(
        "\\{?[0-9a-fA-F]{8}-[0-9a-fA-F]{4}-[0-9a-fA-F]{4}-[0-9a-fA-F]{4}-[0-9a-fA-F]{12}\\}?"));
    Serialize::Node copy;
    copy.name = node.name;
    copy.type = node.type;
    copy.text = node.text;
    copy.className = node.className;
    copy.count = node.count;
    copy.line = node.line;
    if (copy.type == Serialize::ValueType::String && copy.text.contains(QLatin1Char('-'))) {
        QString text;
        int last = 0;
        auto matches = braced.globalMatch(copy.text);
        while (matches.hasNext()) {
            const auto match = matches.next();
            text += copy.text.mid(last, match.capturedStart() - last) + rename(match.captured());
            last = match.capturedEnd();
        }
        copy.text = text + copy.text.mid(last);
    }
    copy.children.reserve(node.children.size());
    for (const Serialize::Node& child : node.children)
        copy.children.push_back(renameIds(child, rename));
    return copy;
}

}  // namespace Cli
