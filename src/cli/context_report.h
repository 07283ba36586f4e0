#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include "package/build_context.h"

namespace Cli {

// What `open` shows of a build context read back from a package, and the recipe that builds an
// equivalent package again.
class ContextReport {
public:
    // The names of the variant's alternatives, by index: "import", "intro", "overlay",
    // "intermediate overlay", ...
    static QString kindName(const Package::AnyBuildContext& context);

    static QJsonObject toJson(const Package::AnyBuildContext& context);
    static QString toText(const Package::AnyBuildContext& context);

    // A recipe that rebuilds the package: what it holds and the files it needs beside it.
    struct Recipe {
        QByteArray json;
        QByteArray timeline;  // an intermediate overlay's timeline file, else empty
        QStringList omitted;  // what the timeline file could not hold
    };
    // The recipe for an import or an intermediate overlay context; an intermediate overlay's
    // timeline is referred to as `timelineFileName`, a file beside the recipe. Throws Cli::Error
    // for other contexts, and for a remote import whose package name cannot be recovered.
    static Recipe toRecipe(const Package::AnyBuildContext& context,
                           const QString& timelineFileName);
    // The recipe component of an intermediate overlay whose timeline is `timelineFileName`.
    static QJsonObject overlayComponent(const Package::IntermediateOverlayBuildContext& context,
                                        const QString& timelineFileName);
};

}  // namespace Cli
