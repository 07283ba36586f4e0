#pragma once

#include <QJsonObject>
#include <QString>
#include <QTextStream>
#include <vector>

#include "cli/package_archive.h"
#include "platform/bundle/package_reader.h"
#include "platform/model/package_object.h"

namespace Cli {

// What `ls` shows of a package, read from the archive in place: the entries of its central
// directory, its description, content file and stored items (small XML files), and nothing of its
// media, which is only measured.
struct PackageListing {
    struct Item {
        QString list;   // "presets", "transitions", "effects" or "imports"
        int index = 0;  // its place in that list
        Package::CollectionAddOn addOn;
        QString type;      // the stored item's type ("Effect::Lut"); empty when it cannot be read
        QString title;     // its title or name
        QString location;  // an import's own file, as its item names it
        QString problem;   // why the stored item could not be read
    };

    QString packagePath;
    Bundle::PackageManifest manifest;
    Package::Object object;
    std::vector<Item> items;

    // Throws Cli::Error naming the package and the entry when the archive, its description or its
    // content file cannot be read; a stored item that cannot be read is listed with its problem.
    static PackageListing read(const PackageArchive& archive, const QString& packagePath);

    // The entry that a place names: "effects[0]" or an add-on's folder names its stored item,
    // anything else an entry of that name. Empty when the place names no add-on.
    QString entryOf(const QString& place) const;

    QString toText(const PackageArchive& archive) const;
    QJsonObject toJson(const PackageArchive& archive) const;

private:
    static void writeItem(QTextStream& out, const Item& item, const PackageArchive& archive);
};

}  // namespace Cli
