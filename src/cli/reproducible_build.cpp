#include "cli/reproducible_build.h"

#include <QFile>
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

QUuid ReproducibleBuild::recipeUuid(const QString& recipePath) {
    QFile file(recipePath);
    if (!file.open(QIODevice::ReadOnly))
        throw Error(
            QStringLiteral("%1: cannot read the recipe: %2").arg(recipePath, file.errorString()));
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isObject())
        throw Error(QStringLiteral("%1: the recipe must be a JSON object").arg(recipePath));
    // QJsonObject keeps its keys sorted, so the compact text is the same for any layout.
    return QUuid::createUuidV5(QUuid(),
                               QByteArray("recipe:") + document.toJson(QJsonDocument::Compact));
}

}  // namespace Cli
