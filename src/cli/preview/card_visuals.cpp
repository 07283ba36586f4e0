#include "cli/preview/card_visuals.h"

#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QPainter>
#include <algorithm>
#include <exception>

#include "cli/checks/shader_check.h"
#include "cli/cli_error.h"
#include "cli/preview/intro_strip.h"
#include "cli/preview/lut_preview.h"
#include "cli/preview/media_reader.h"
#include "cli/preview/overlay_scene.h"
#include "cli/preview/package_source.h"
#include "cli/preview/shader_preview.h"
#include "cli/preview/time_strip.h"
#include "package/components/effects/external_shader.h"
#include "platform/bundle/package_reader.h"
#include "platform/bundle/read_limits.h"
#include "platform/model/import_object.h"
#include "platform/model/overlay_preset.h"
#include "platform/model/video_effect.h"
#include "platform/project/project_reader.h"

namespace Cli::Preview {
namespace {

QString message(const std::exception& error) {
    return QString::fromUtf8(error.what());
}

// A waveform as a picture: one bar of its peak per column, mirrored about the middle.
QImage waveformImage(const std::vector<float>& peaks, int width, int height) {
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(QColor(245, 247, 250));
    QPainter painter(&image);
    painter.setPen(QColor(40, 90, 160));
    const int middle = height / 2;
    for (int x = 0; x < width && !peaks.empty(); ++x) {
        const float peak = peaks[std::min(peaks.size() - 1, size_t(x) * peaks.size() / width)];
        const int half = std::max(1, int(peak * (height / 2 - 1)));
        painter.drawLine(x, middle - half, x, middle + half);
    }
    return image;
}

}  // namespace

QString resourcePath(const Package::CollectionAddOn& addOn, const QString& id, int type) {
    for (const Package::Resource& resource : addOn.resources) {
        if (resource.id() == id && (type == 0 || int(resource.type()) == type))
            return resource.path;
    }
    return QString();
}

QString CardVisuals::unpackedFile(const QString& entry, SheetCard& card) const {
    const QString path = Bundle::addOnFolder(m_source.root(), entry);
    if (path.isEmpty() || !QFileInfo(path).isFile()) {
        card.problems << QStringLiteral("%1: not in the package").arg(entry);
        return QString();
    }
    return path;
}

QImage CardVisuals::picture(const QString& entry, SheetCard& card, int width) const {
    const std::unique_ptr<QIODevice> device = m_source.open(entry);
    if (!device) {
        card.problems << QStringLiteral("%1: not in the package").arg(entry);
        return QImage();
    }
    QImageReader reader(device.get());
    const QSize size = reader.size();
    const Bundle::ReadLimits limits;
    if (!size.isValid() || size.width() > limits.maxImageSide ||
        size.height() > limits.maxImageSide ||
        qint64(size.width()) * size.height() > limits.maxImagePixels) {
        card.problems << QStringLiteral("%1: not a readable image within the limits").arg(entry);
        return QImage();
    }
    // Decoded at the size it is shown at; a JPEG decodes smaller directly.
    if (size.width() > width)
        reader.setScaledSize(QSize(width, std::max(1, size.height() * width / size.width())));
    const QImage image = reader.read();
    if (image.isNull())
        card.problems << QStringLiteral("%1: %2").arg(entry, reader.errorString());
    return image;
}

void CardVisuals::effect(const Effect::Object& item, const Package::CollectionAddOn& addOn,
                         SheetCard& card) const {
    if (const auto* lutItem = dynamic_cast<const Effect::Lut*>(&item)) {
        lut(resourcePath(addOn, lutItem->lutResource), card);
    } else if (const auto* shaderItem = dynamic_cast<const Effect::ExternalShader*>(&item)) {
        shader(resourcePath(addOn, shaderItem->shaderResource),
               resourcePath(addOn, shaderItem->auxImageResource), false,
               shaderItem->supportsIntensity, card);
    }
}

void CardVisuals::transition(const Transition::Object& item, const Package::CollectionAddOn& addOn,
                             SheetCard& card) const {
    if (const auto* shaderItem = dynamic_cast<const Transition::ExternalShader*>(&item)) {
        shader(resourcePath(addOn, shaderItem->shaderResource),
               resourcePath(addOn, shaderItem->auxImageResource), true,
               shaderItem->supportsIntensity, card);
        return;
    }
    for (const Transition::ResourceReference& reference : item.resources) {
        const QString entry = resourcePath(addOn, reference.id);
        if (entry.isEmpty())
            continue;
        const std::unique_ptr<QIODevice> device = m_source.open(entry);
        QImageReader probe(device.get());
        if (device && probe.canRead()) {
            const QImage mask = picture(entry, card);
            if (!mask.isNull())
                card.pictures.push_back({QStringLiteral("mask"), mask});
        } else {
            videoFrames(entry, card);
        }
    }
}

void CardVisuals::lut(const QString& lutEntry, SheetCard& card) const {
    const QString path = unpackedFile(lutEntry, card);
    if (path.isEmpty())
        return;
    try {
        const QImage after = LutPreview::apply(m_frame, path, lutEntry);
        card.pictures.push_back({QStringLiteral("before"), m_frame});
        card.pictures.push_back({QStringLiteral("after"), after});
    } catch (const Error& error) {
        card.problems << message(error);
    }
}

void CardVisuals::shader(const QString& shaderEntry, const QString& auxEntry, bool transition,
                         bool supportsIntensity, SheetCard& card) const {
    // The shader samples the auxiliary image at its own size; the card shows it at its width.
    ShaderPreview::Shader shader;
    if (!auxEntry.isEmpty()) {
        shader.auxImage = picture(auxEntry, card, kAuxRenderWidth);
        if (!shader.auxImage.isNull())
            card.pictures.push_back(
                {QStringLiteral("auxiliary image"),
                 shader.auxImage.width() > kWidth
                     ? shader.auxImage.scaledToWidth(kWidth, Qt::SmoothTransformation)
                     : shader.auxImage});
    }
    const QString path = unpackedFile(shaderEntry, card);
    if (path.isEmpty())
        return;
    ShaderUse use;
    use.transition = transition;
    use.hasAuxImage = !auxEntry.isEmpty() && m_source.size(auxEntry) >= 0;
    use.supportsIntensity = supportsIntensity;
    CheckReport report;
    ShaderCheck::check(path, use, CheckPlace{-1, QString(), shaderEntry}, report);
    for (const Finding& finding : report.findings()) {
        if (finding.severity != Finding::Error)
            continue;
        shader.checkFoundErrors = true;
        card.problems << (finding.line > 0
                              ? QStringLiteral("%1:%2: %3")
                                    .arg(shaderEntry)
                                    .arg(finding.line)
                                    .arg(finding.message)
                              : QStringLiteral("%1: %2").arg(shaderEntry, finding.message));
    }
    if (!m_shaders)
        return;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        card.problems << QStringLiteral("%1: %2").arg(shaderEntry, file.errorString());
        return;
    }
    shader.entry = shaderEntry;
    shader.code = file.readAll();
    shader.transition = transition;
    shader.supportsIntensity = supportsIntensity;
    ShaderPreview::show(*m_shaders, shader, m_frame, card);
}

void CardVisuals::videoFrames(const QString& entry, SheetCard& card) const {
    const std::unique_ptr<QIODevice> device = m_source.open(entry);
    if (!device) {
        card.problems << QStringLiteral("%1: not in the package").arg(entry);
        return;
    }
    try {
        MediaReader reader(*device, entry);
        const qint64 duration = std::max<qint64>(0, reader.info().durationMs);
        card.notes << QStringLiteral("duration %1 s").arg(duration / 1000.0, 0, 'f', 2);
        const std::pair<const char*, qint64> times[] = {
            {"start", 0}, {"middle", duration / 2}, {"end", duration}};
        for (const auto& [caption, time] : times) {
            const QImage frame = reader.frameAt(time, kWidth);
            if (!frame.isNull())
                card.pictures.push_back({QLatin1String(caption), frame});
        }
        if (reader.info().videoSize.isEmpty())
            card.problems << QStringLiteral("%1: holds no video").arg(entry);
    } catch (const std::exception& error) {
        card.problems << message(error);
    }
}

void CardVisuals::waveform(const QString& entry, SheetCard& card) const {
    const std::unique_ptr<QIODevice> device = m_source.open(entry);
    if (!device) {
        card.problems << QStringLiteral("%1: not in the package").arg(entry);
        return;
    }
    try {
        MediaReader reader(*device, entry);
        card.notes << QStringLiteral("duration %1 s")
                          .arg(std::max<qint64>(0, reader.info().durationMs) / 1000.0, 0, 'f', 2);
        const std::vector<float> peaks = reader.waveform(kWidth);
        if (peaks.empty())
            card.problems << QStringLiteral("%1: holds no audio").arg(entry);
        else
            card.pictures.push_back({QStringLiteral("waveform"), waveformImage(peaks, kWidth, 80)});
    } catch (const std::exception& error) {
        card.problems << message(error);
    }
}

void CardVisuals::preset(const Overlay::Preset& item, const Package::CollectionAddOn& addOn,
                         SheetCard& card) const {
    card.notes << QStringLiteral("duration %1 s, %2 items")
                      .arg(item.duration / 1000.0, 0, 'f', 2)
                      .arg(item.items.size());
    const auto still = [&](const QString& reference) {
        std::tuple<QString, ::Resource::Type> key;
        if (!::Resource::parseResource(reference, &key))
            return QImage();
        const QString entry = resourcePath(addOn, std::get<0>(key), ::Resource::StillImage);
        return entry.isEmpty() ? QImage() : picture(entry, card, 1280);
    };
    card.pictures.push_back({QStringLiteral("scene"), OverlayScene::draw(item, still, kWidth)});
    card.pictures.push_back({QStringLiteral("time strip"), TimeStrip::draw(item, kWidth)});
}

void CardVisuals::import(const Import::Object& item, const Package::CollectionAddOn&,
                         SheetCard& card) const {
    if (!item.remoteUrl().isEmpty() || item.location().startsWith(QLatin1Char('#'))) {
        card.notes << QStringLiteral("downloaded from %1").arg(item.remoteUrl());
        return;
    }
    const QString entry = item.location();
    switch (item.kind()) {
        case Import::Object::Image: {
            const QImage image = picture(entry, card);
            if (!image.isNull())
                card.pictures.push_back({QStringLiteral("image"), image});
            break;
        }
        case Import::Object::Video:
            videoFrames(entry, card);
            break;
        case Import::Object::Audio:
            waveform(entry, card);
            break;
        case Import::Object::Intro:
            intro(entry, card);
            break;
        default:
            break;
    }
}

void CardVisuals::intro(const QString& bundleEntry, SheetCard& card) const {
    const QString path = unpackedFile(bundleEntry, card);
    if (path.isEmpty())
        return;
    try {
        Project::Reader reader(path, Project::ZipBundle);
        const Project::Content content = reader.read();
        const auto* timeline = dynamic_cast<const Timeline::Object*>(content.projectObject);
        if (!timeline) {
            card.problems << QStringLiteral("%1: holds no timeline").arg(bundleEntry);
            return;
        }
        card.notes << QStringLiteral("duration %1 s, %2 clips")
                          .arg(timeline->duration() / 1000.0, 0, 'f', 2)
                          .arg(timeline->clips().size());
        // Thumbnails of the clips' media, which lies beside the bundle in the package.
        const auto thumbnail = [&](const Timeline::Clip& clip) {
            const QString entry = m_source.entryOf(clip.media.sourcePath);
            const std::unique_ptr<QIODevice> device =
                entry.isEmpty() ? nullptr : m_source.open(entry);
            if (!device)
                return QImage();
            try {
                MediaReader media(*device, entry);
                return media.frameAt(clip.timing.inPoint, IntroStrip::kThumbnailWidth);
            } catch (const std::exception&) {
                // Not media FFmpeg reads: perhaps a still picture.
                device->seek(0);
                QImageReader still(device.get());
                return still.read().scaledToWidth(IntroStrip::kThumbnailWidth);
            }
        };
        card.pictures.push_back(
            {QStringLiteral("timeline"), IntroStrip::draw(*timeline, thumbnail, kWidth)});
    } catch (const std::exception& error) {
        card.problems << message(error);
    }
}

}  // namespace Cli::Preview
