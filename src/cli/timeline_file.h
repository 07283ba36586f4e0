#pragma once

#include <QString>

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
};

}  // namespace Cli
