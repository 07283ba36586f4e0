#pragma once

#include <QString>
#include <stdexcept>

namespace Cli {

// A failure that the tool reports as one line and exit code 1 (or 2 for a usage error). The text
// names the file and the place: "recipe.json: components[2].lutPath: expected a string".
class Error : public std::runtime_error {
public:
    explicit Error(const QString& what, int exitCode = 1)
        : std::runtime_error(what.toStdString()), m_exitCode(exitCode) {}
    int exitCode() const { return m_exitCode; }

private:
    int m_exitCode;
};

}  // namespace Cli
