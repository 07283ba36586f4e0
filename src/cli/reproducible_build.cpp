#include "cli/reproducible_build.h"

#include <QJsonDocument>

#include <stdexcept>

#include "cli/cli_error.h"
#include "platform/model/build_clock.h"

#include <time.h>

namespace Cli {

std::optional<qint64> ReproducibleBuild::fixedTime(bool requested) {
    std::optional<qint64> fixed;
    try {
        fixed = BuildClock::sourceDateEpoch();
    } catch (const std::invalid_argument& error) {
        throw Error(QString::fromUtf8(error.what()), 2);
    }
    if (!fixed && requested)
        fixed = kDefaultTime;
    return fixed;
}

void ReproducibleBuild::useUniversalTime() {
    qputenv("TZ", "UTC0");
    ::tzset();
}

QUuid ReproducibleBuild::recipeUuid(const QByteArray& recipeJson) {
    const QJsonDocument document = QJsonDocument::fromJson(recipeJson);
    // QJsonObject keeps its keys sorted, so the compact text is the same for any layout.
    return QUuid::createUuidV5(QUuid(),
                               QByteArray("recipe:") + document.toJson(QJsonDocument::Compact));
}

}  // namespace Cli
