#pragma once

#include <QString>

#include "platform/bundle/description_parse_rules.h"
#include "platform/bundle/read_limits.h"
#include "platform/model/package_object.h"

namespace Bundle {

// What a package description ("package.xml") says.
struct PackageManifest {
    QString contentFile;  // the content file's name, a plain file name in the package root
    int version = 0;
    QString uuid;
    QString name;
    qint64 size = 0;
    QString previewPath;
};

// Reads the whole file at `path`, which may hold at most `limit` bytes (one of the ReadLimits);
// messages name it as `sourceName`. Throws Bundle::Error when it cannot be read or is larger.
QByteArray readWholeFile(const QString& path, qint64 limit, const QString& sourceName);

// Parses a package description. Throws Bundle::Error naming `sourceName`, the line and the element
// for malformed XML, a missing element, a content file name that is not a plain file name, or a
// layout version newer than this library's.
PackageManifest parseManifest(const QByteArray& data, const QString& sourceName);

// Reads and parses the description of an unpacked package in `folder`; messages name it as
// `sourceName`. Throws Bundle::Error when it cannot be read, is too large or does not parse.
PackageManifest readManifest(const QString& folder, const QString& sourceName,
                             const DescriptionParseRules& rules = {},
                             const ReadLimits& limits = {});

// Reads the content file `contentFile` of an unpacked package in `folder` into a package object
// whose folder is `folder`. Messages name the file as `sourceName`. Throws Bundle::Error when the
// file cannot be read or is too large, Serialize::Error for what it holds (an image it names that
// is larger than the limits included).
Package::Object readContentFile(const QString& folder, const QString& contentFile,
                                const QString& sourceName, const ReadLimits& limits = {});

// Reads "package.xml" and the content file of an unpacked package in `folder` into a package object
// whose folder is `folder`. Throws Bundle::Error or Serialize::Error naming the file and the place.
Package::Object readPackageFolder(const QString& folder, PackageManifest* manifest = nullptr,
                                  const DescriptionParseRules& rules = {},
                                  const ReadLimits& limits = {});

// Unpacks a package file safely into `folder` (which must not exist or be empty), then reads it as
// readPackageFolder does; unpacking and reading stop at `limits`.
Package::Object openPackage(const QString& packagePath, const QString& folder,
                            PackageManifest* manifest = nullptr,
                            const DescriptionParseRules& rules = {}, const ReadLimits& limits = {});

// The absolute, cleaned folder of an add-on path (or any other package-relative path) under the
// package root `root`. Empty when the path would leave the root, is absolute, holds a backslash or
// is empty, or when the root is empty: such a path is never to be followed.
QString addOnFolder(const QString& root, const QString& addOnPath);

}  // namespace Bundle
