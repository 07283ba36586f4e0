#pragma once

#include <QImage>
#include <QString>

#include "cli/preview/sheet_model.h"
#include "platform/model/collection_add_on.h"

namespace Effect {
class Object;
}
namespace Transition {
class Object;
}
namespace Overlay {
class Preset;
}
namespace Import {
class Object;
}

namespace Cli::Preview {

class PackageSource;
class ShaderRenderProcess;

// Fills a card with what its kind shows: a LUT's before and after, a shader's auxiliary image,
// compile errors and render on the reference frame, a mask or an overlay clip's frames, a preset's
// scene and time strip, an import's frames, thumbnail or waveform, an intro's strip of clips. What
// cannot be shown becomes a problem of the card, naming the file.
class CardVisuals {
public:
    static constexpr int kWidth = 320;  // the width pictures are shown at

    // Shaders are rendered by `shaders` when given, a renderer of the calling thread's own.
    CardVisuals(const PackageSource& source, const QImage& frame,
                ShaderRenderProcess* shaders = nullptr)
        : m_source(source), m_frame(frame), m_shaders(shaders) {}

    void effect(const Effect::Object& item, const Package::CollectionAddOn& addOn,
                SheetCard& card) const;
    void transition(const Transition::Object& item, const Package::CollectionAddOn& addOn,
                    SheetCard& card) const;
    void preset(const Overlay::Preset& item, const Package::CollectionAddOn& addOn,
                SheetCard& card) const;
    void import(const Import::Object& item, const Package::CollectionAddOn& addOn,
                SheetCard& card) const;

    // The picture of a package entry decoded at `width` (or less when it is narrower); null, with
    // a problem on the card, when it cannot be.
    QImage picture(const QString& entry, SheetCard& card, int width = kWidth) const;

private:
    void lut(const QString& lutEntry, SheetCard& card) const;
    void shader(const QString& shaderEntry, const QString& auxEntry, bool transition,
                bool supportsIntensity, SheetCard& card) const;
    // Key frames at the start, middle and end of a video entry, and its duration among the notes.
    void videoFrames(const QString& entry, SheetCard& card) const;
    void waveform(const QString& entry, SheetCard& card) const;
    void intro(const QString& bundleEntry, SheetCard& card) const;
    // The absolute path of an unpacked entry, empty with a problem when there is none.
    QString unpackedFile(const QString& entry, SheetCard& card) const;

    // The widest auxiliary image a shader is given; wider ones are scaled down to it.
    static constexpr int kAuxRenderWidth = 4096;

    const PackageSource& m_source;
    QImage m_frame;
    ShaderRenderProcess* m_shaders;
};

// The package-relative path of the resource of `id` in `addOn` (any type when `type` is 0).
QString resourcePath(const Package::CollectionAddOn& addOn, const QString& id, int type = 0);

}  // namespace Cli::Preview
