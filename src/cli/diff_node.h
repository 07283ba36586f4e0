#pragma once

#include <QString>
#include <functional>
#include <vector>

#include "platform/serialize/node.h"

namespace Cli {

// One difference between two value trees: where, and the value on each side (empty for a side
// that lacks it).
struct FieldChange {
    QString field;  // "item.title", "item.items[2].keyframes[1].step"
    QString before;
    QString after;
};

// Compares value trees of stored items by what they mean: scalars by type and text, except that
// doubles are equal within a tolerance relative to the larger magnitude (absolute below 1); objects
// by type and keys in order; arrays element by element.
class DiffNode {
public:
    static constexpr double kTolerance = 1e-9;

    static bool sameDouble(double a, double b);

    // Appends the differences of `b` from `a` under the name `field`.
    static void compare(const Serialize::Node& a, const Serialize::Node& b, const QString& field,
                        std::vector<FieldChange>* changes);

    // A copy of `node` whose strings have every braced id replaced through `rename`.
    static Serialize::Node renameIds(const Serialize::Node& node,
                                     const std::function<QString(const QString&)>& rename);

    // A short one-line form of a value for a review line.
    static QString shortText(const Serialize::Node& node);
};

}  // namespace Cli
