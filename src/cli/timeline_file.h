#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include "platform/model/timeline_object.h"

namespace Cli {

// Reads a timeline file: the JSON form of a timeline that a person can write by hand (see
// docs/timeline-file.md). Relative media paths resolve against the file's folder. Throws Cli::Error
// naming the file and the field: "intro.json: clips[2].length: must not be negative".
class TimelineFile {
public:
    static Timeline::Object load(const QString& path);
    // The same from JSON text; `path` names it in messages and gives the folder.
    static Timeline::Object parse(const QByteArray& json, const QString& path);

    // The timeline as a timeline file that parse() reads back into an equal timeline, media paths
    // as they are. What the file format cannot hold (effects other than the two placements, a
    // clip or preset kind of 0, numbers that are not finite, envelope default values) is left out
    // and named in `omitted`, one line each: "clips[3].effects[0]: ...".
    static QByteArray write(const Timeline::Object& timeline, QStringList* omitted = nullptr);
};

}  // namespace Cli
