#pragma once

#include <QString>

namespace Cli {

// One line of progress on stderr, rewritten in place, when stderr is a terminal; silent otherwise
// so that pipelines and logs stay clean.
class Progress {
public:
    Progress();
    explicit Progress(bool enabled) : m_enabled(enabled) {}
    ~Progress();

    bool enabled() const { return m_enabled; }
    void show(const QString& text);
    // Clears the line.
    void done();

private:
    bool m_enabled;
    bool m_shown = false;
};

}  // namespace Cli
