#pragma once

#include <QString>
#include <QStringList>

#include "platform/model/timeline_object.h"

namespace Cli {

// Warnings about a timeline that reads but plays wrongly: a clip of zero length and an overlay of
// zero duration (the fractions that place keyframes, fades and items within them are undefined),
// and an overlay item that lies wholly outside the scene at every keyframe (its placement and its
// keys' position and scale; rotation aside). Each warning starts with `file` and the place in the
// timeline file ("title.json: clips[2].overlay.items[0]: ..."); past the first twenty, one line
// counts the rest. Owns nothing.
class TimelineCheck {
public:
    static QStringList warnings(const Timeline::Object& timeline, const QString& file);
};

}  // namespace Cli
