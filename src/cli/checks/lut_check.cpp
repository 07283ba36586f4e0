#include "cli/checks/lut_check.h"

#include <OpenColorIO/OpenColorIO.h>

#include <QFile>
#include <QFileInfo>

#include "cli/checks/cube_file_check.h"

namespace OCIO = OCIO_NAMESPACE;

namespace Cli {
namespace {

// The colour library's own reason why a file does not load, empty when it loads.
QString loadError(const QString& path) {
    static const bool quiet = [] {
        OCIO::SetLoggingLevel(OCIO::LOGGING_LEVEL_NONE);
        return true;
    }();
    (void)quiet;
    try {
        const OCIO::ConstConfigRcPtr config = OCIO::Config::CreateRaw();
        const OCIO::FileTransformRcPtr transform = OCIO::FileTransform::Create();
        transform->setSrc(QFile::encodeName(path).constData());
        transform->setInterpolation(OCIO::INTERP_BEST);
        config->getProcessor(transform);
    } catch (const OCIO::Exception& error) {
        OCIO::ClearAllCaches();
        return QString::fromUtf8(error.what());
    }
    // The library keeps every file it has read, for a reuse that a check never makes: dropped
    // at once, so that checking many large LUTs takes the memory of the few in flight.
    OCIO::ClearAllCaches();
    return QString();
}

}  // namespace

void LutCheck::forgetLoaded() {
    OCIO::ClearAllCaches();
}

void LutCheck::check(const QString& path, const CheckPlace& place, CheckReport& report) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        report.add(place, Finding::Error,
                   QStringLiteral("cannot read the LUT: %1").arg(file.errorString()));
        return;
    }
    if (QFileInfo(path).suffix().compare(QLatin1String("cube"), Qt::CaseInsensitive) == 0) {
        const int before = report.count(Finding::Error);
        CubeFileCheck::check(file.readAll(), place, report);
        // Our own reading names the line; the colour library's message would only repeat it.
        if (report.count(Finding::Error) > before)
            return;
    }
    const QString error = loadError(path);
    if (!error.isEmpty())
        report.add(place, Finding::Error, QStringLiteral("cannot load the LUT: %1").arg(error));
}

}  // namespace Cli
