#pragma once

#include <QJsonObject>
#include <QString>

#include "package/build_context.h"

namespace Cli {

// What `open` shows of a build context read back from a package, and the recipe component that
// builds an intermediate overlay again.
class ContextReport {
public:
    // The names of the variant's alternatives, by index: "import", "intro", "overlay",
    // "intermediate-overlay", ...: the recipe's kind ids.
    static QString kindName(const Package::AnyBuildContext& context);

    static QJsonObject toJson(const Package::AnyBuildContext& context);
    static QString toText(const Package::AnyBuildContext& context);

    // The recipe component of an intermediate overlay whose timeline is `timelineFileName`.
    static QJsonObject overlayComponent(const Package::IntermediateOverlayBuildContext& context,
                                        const QString& timelineFileName);
};

}  // namespace Cli
