#pragma once

#include <QTextStream>

#include "platform/media/media_log.h"

namespace Cli {

// Drops Qt's warning about a missing runtime folder, which the offscreen platform prints on every
// start and which says nothing about our work, and with -q every other warning too; other messages
// go to stderr as usual.
void installMessageFilter();

// While alive, FFmpeg's own warnings reach `err` as "packwright: warning: ..." lines when the
// command runs with -v; they are dropped otherwise (the decoder's complaints about damaged frames
// mostly concern frames nobody looks at).
class MediaWarnings {
public:
    explicit MediaWarnings(QTextStream& err);
    ~MediaWarnings();
    MediaWarnings(const MediaWarnings&) = delete;
    MediaWarnings& operator=(const MediaWarnings&) = delete;

private:
    Media::Log::Handler m_previous;
};

}  // namespace Cli
