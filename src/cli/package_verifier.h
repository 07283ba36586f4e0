#pragma once

#include <QJsonObject>
#include <QSet>
#include <QString>
#include <QStringList>
#include <functional>
#include <vector>

#include "platform/bundle/package_reader.h"
#include "platform/model/package_object.h"

namespace Cli {

// Checks a package file in full and collects every problem instead of stopping at the first:
// the archive (every entry reads back with its CRC, it unpacks safely), the description against
// the archive (the content file it names, its size and its preview), the content file (it reads as
// a package object), every add-on's stored item (it reads back with its list's type) and every
// add-on's resources, and an import's own file, which must be in the package. Paths that would
// leave the package are problems and are never followed.
class PackageVerifier {
public:
    // What a problem concerns.
    enum class Check { Archive, Description, Content, Item, Resource };

    struct Problem {
        Check check;
        QString place;    // the entry, add-on or resource at fault; empty for the whole package
        QString message;  // one line that names the place and says what is wrong
    };

    // Verifies `packagePath`, unpacking it into `folder`, which must not exist or be empty and is
    // left for the caller to remove. Whatever goes wrong, unpacking included, is a problem of the
    // result; nothing is thrown for what the package holds.
    static PackageVerifier verify(const QString& packagePath, const QString& folder);

    // Unpacks the package into the folder for the checks that read its files, adding the entries
    // that do not read back intact to `damaged`; throws Bundle::Error as an unpack does.
    using Unpacker = std::function<void(const QString& packagePath, const QString& folder,
                                        QStringList* damaged)>;
    // verify() with another unpack, for a caller that unpacks in its own way (the contact sheet
    // leaves large media in the archive). A file entry that the unpacker leaves out counts as
    // present: only stored items, the description, the content file and the preview are read.
    static PackageVerifier verify(const QString& packagePath, const QString& folder,
                                  const Unpacker& unpacker);

    const QString& packagePath() const { return m_packagePath; }
    const std::vector<Problem>& problems() const { return m_problems; }
    bool ok() const { return m_problems.empty(); }
    int entryCount() const { return m_entryCount; }
    int addOnCount() const { return m_addOnCount; }
    int resourceCount() const { return m_resourceCount; }

    // {"package": ..., "ok": ..., "problems": [{"check", "place", "message"}, ...]}
    QJsonObject toJson() const;
    // One line per problem, each starting with the package, then a summary line.
    QString toText() const;

    static QString checkName(Check check);

    // For the content checks: whether the verify read the content file, and so reached every
    // add-on; the unpack folder, the description, the content and the entries that did not read
    // back intact.
    bool readAddOns() const { return m_readAddOns; }
    const QString& folder() const { return m_folder; }
    const Bundle::PackageManifest& manifest() const { return m_manifest; }
    const Package::Object& object() const { return m_object; }
    const QSet<QString>& damaged() const { return m_damaged; }

private:
    PackageVerifier(const QString& packagePath, const QString& folder);

    bool checkArchive();
    bool unpack(const Unpacker& unpacker);
    bool checkDescription();
    void checkSize();
    void checkPreview();
    bool readContent();
    void checkAddOns();
    void checkImportLocation(const Package::CollectionAddOn& addOn,
                             const Serialize::ISerializable* item);
    // Checks that `path`, which `addOn` names as `what`, is a file in the package.
    void checkFile(const Package::CollectionAddOn& addOn, const QString& path, const QString& what);

    QString tidy(const QString& text) const;
    void add(Check check, const QString& place, const QString& message);
    // The package-relative, cleaned form of a path inside the package, or empty when it leaves it.
    QString entryPath(const QString& path) const;

    QString m_packagePath;
    QString m_folder;
    std::vector<Problem> m_problems;
    QSet<QString> m_damaged;  // entries that did not read back intact, left out of the unpack
    std::vector<std::pair<QString, qint64>> m_files;  // file entries and their sizes
    QSet<QString> m_listed;                           // their package-relative, cleaned names
    Bundle::PackageManifest m_manifest;
    Package::Object m_object;
    int m_entryCount = 0;
    int m_addOnCount = 0;
    int m_resourceCount = 0;
    bool m_readAddOns = false;
};

}  // namespace Cli
