#pragma once

#include <QString>

namespace Cli {

// `text` made safe to show on a terminal: every control character (C0, tab and line breaks
// included, DEL, C1) is shown as "\xHH", and the bidirectional embeddings, overrides and isolates
// (U+202A to U+202E, U+2066 to U+2069) as "\uHHHH", so that a text from a package can neither
// move the cursor, set the window title or clear the screen, nor break or reorder a line. Every
// other character, a backslash included, is kept. Plain output passes every text that a package
// holds through this; JSON escapes on its own.
QString terminalSafe(const QString& text);

}  // namespace Cli
