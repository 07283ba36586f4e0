#pragma once

#include <QString>
#include <variant>

#include "platform/serialize/object_storage.h"

namespace Timeline {
class Object;
}

// The parameter records from which build components are made: one plain record per kind of
// content. Records copy and move member-wise, except the two that own a timeline (IntroParams,
// OverlayParams), which only move and are copied with clone().

namespace Package {

// A colour look-up-table effect.
struct LutEffectParams {
    QString primaryText;
    QString secondaryText;
    QString lutPath;  // the LUT file, which becomes the effect's resource
};

// An external-shader effect or transition.
struct ShaderParams {
    QString primaryText;
    QString secondaryText;
    bool supportsIntensity = false;
    double intensity = 0.0;
    QString shaderPath;    // becomes the "shaderResource"
    QString auxImagePath;  // becomes the "auxImageResource"; may be empty
};

// Distinct types only so that the effect and transition components can overload on them.
struct ShaderEffectParams : ShaderParams {};
struct ShaderTransitionParams : ShaderParams {};

// A template transition made from one media file: a mask, or an overlay clip.
struct MaskTransitionParams {
    QString sourcePath;
};
struct OverlayTransitionParams {
    QString sourcePath;
};

// A media file that is not put into the package but downloaded later. The package name is the
// base name of the package file that holds the media.
struct RemoteSource {
    QString remoteUrl;
    QString packageName;
};

// The kind of an import as the caller names it; the import build maps it onto the stored kind.
enum ImportType : qint32 { VideoImport = 0, ImageImport = 1, AudioImport = 2, OtherImport = 3 };

// A media import.
struct ImportParams {
    // A local file path (carried in the package) or a remote source.
    std::variant<QString, RemoteSource> source;
    ImportType importType = VideoImport;
    QString primaryText;
    QString secondaryText;
};

// An intro: an editor project built into the package. Owns its timeline through the storage;
// `timeline` only points into it (null when there is none).
struct IntroParams {
    IntroParams() = default;
    IntroParams(IntroParams&&) = default;
    IntroParams& operator=(IntroParams&&) = default;
    IntroParams(const IntroParams&) = delete;
    IntroParams& operator=(const IntroParams&) = delete;

    // An independent deep copy.
    IntroParams clone() const;

    Timeline::Object* timeline = nullptr;
    Serialize::ObjectStorage timelineStorage;
    QString primaryText;
    QString secondaryText;
};

// The kind of an overlay as the caller names it; the overlay builds map it onto the preset's kind.
enum OverlayType : qint32 { TitleOverlay = 0, CalloutOverlay = 1, StickerOverlay = 2 };

// The timing that the extra video of an overlay gets: start and length in milliseconds, frame rate
// in frames per second times 1000.
struct VideoTiming {
    qint32 start = 0;
    qint32 length = 0;
    qint32 frameRate = 0;
};

// A title, sticker or callout built from a timeline. Owns its timeline like IntroParams.
struct OverlayParams {
    OverlayParams() = default;
    OverlayParams(OverlayParams&&) = default;
    OverlayParams& operator=(OverlayParams&&) = default;
    OverlayParams(const OverlayParams&) = delete;
    OverlayParams& operator=(const OverlayParams&) = delete;

    // An independent deep copy. `winSubfolder` is not carried over: a clone always has it false.
    OverlayParams clone() const;

    Timeline::Object* timeline = nullptr;
    Serialize::ObjectStorage timelineStorage;
    OverlayType overlayType = TitleOverlay;
    bool useMediaTiming = false;  // take each extra video's timing from the file, not videoTiming
    qint32 firstItemSpan = 0;
    qint32 secondItemSpan = 0;
    VideoTiming videoTiming;
    bool winSubfolder = false;  // put a "/win/" segment into the overlay's folder
};

}  // namespace Package
