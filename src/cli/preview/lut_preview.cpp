#include "cli/preview/lut_preview.h"

#include <OpenColorIO/OpenColorIO.h>

#include <QFile>
#include <algorithm>
#include <cmath>
#include <vector>

#include "cli/cli_error.h"

namespace OCIO = OCIO_NAMESPACE;

namespace Cli::Preview {

QImage LutPreview::apply(const QImage& frame, const QString& lutPath, const QString& name) {
    const QImage source = frame.convertToFormat(QImage::Format_RGB32);
    const int width = source.width();
    const int height = source.height();
    std::vector<float> pixels(size_t(width) * size_t(height) * 3);
    for (int y = 0; y < height; ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(source.constScanLine(y));
        for (int x = 0; x < width; ++x) {
            float* p = &pixels[(size_t(y) * width + x) * 3];
            p[0] = qRed(line[x]) / 255.0f;
            p[1] = qGreen(line[x]) / 255.0f;
            p[2] = qBlue(line[x]) / 255.0f;
        }
    }
    try {
        OCIO::SetLoggingLevel(OCIO::LOGGING_LEVEL_NONE);
        const OCIO::ConstConfigRcPtr config = OCIO::Config::CreateRaw();
        const OCIO::FileTransformRcPtr transform = OCIO::FileTransform::Create();
        transform->setSrc(QFile::encodeName(lutPath).constData());
        transform->setInterpolation(OCIO::INTERP_LINEAR);
        const OCIO::ConstCPUProcessorRcPtr processor =
            config->getProcessor(transform)->getDefaultCPUProcessor();
        OCIO::PackedImageDesc description(pixels.data(), width, height, 3);
        processor->apply(description);
    } catch (const OCIO::Exception& error) {
        throw Error(QStringLiteral("%1: cannot apply the LUT: %2")
                        .arg(name, QString::fromUtf8(error.what())));
    }
    QImage result(width, height, QImage::Format_RGB32);
    const auto level = [](float value) {
        return int(std::lround(std::clamp(value, 0.0f, 1.0f) * 255.0f));
    };
    for (int y = 0; y < height; ++y) {
        auto* line = reinterpret_cast<QRgb*>(result.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const float* p = &pixels[(size_t(y) * width + x) * 3];
            line[x] = qRgb(level(p[0]), level(p[1]), level(p[2]));
        }
    }
    return result;
}

}  // namespace Cli::Preview
