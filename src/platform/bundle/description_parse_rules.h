#pragma once

#include <QString>

namespace Bundle {

// The file names and XML tags of a package description. The two file names are per instance (a
// package could name its files otherwise); the tags are fixed. A plain value; throws nothing.
struct DescriptionParseRules {
    QString descriptionFile = QStringLiteral("package.xml");
    QString contentFile = QStringLiteral("content.xml");

    static inline const QString versionsTag = QStringLiteral("versions");
    static inline const QString manifestFileTag = QStringLiteral("manifest");
    static inline const QString fileTag = QStringLiteral("file");
    static inline const QString versionTag = QStringLiteral("version");
    static inline const QString additionalsTag = QStringLiteral("additionals");
};

}  // namespace Bundle
