#pragma once

#include <QString>

namespace Package {

// The fixed folder names of a package's layout, relative to the package root. Constants only.
struct PackageStructureDescription {
    static inline const QString effectDir = QStringLiteral("effects");
    static inline const QString transitionDir = QStringLiteral("transitions");
    static inline const QString titlesDir = QStringLiteral("titles");
    static inline const QString importDir = QStringLiteral("imports");
    static inline const QString resourcesDir = QStringLiteral("resources");
};

struct PackageDescription {
    // The version of the package layout that this library writes.
    static int actualVersion() { return 1; }
};

}  // namespace Package

namespace Settings {

// The package file extension, without the dot.
inline QString packageExtension() {
    return QStringLiteral("qpack");
}

}  // namespace Settings
