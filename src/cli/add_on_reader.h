#pragma once

#include <QDir>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <optional>
#include <set>

#include "platform/model/collection_add_on.h"
#include "platform/model/timeline_object.h"

namespace Cli {

// Reads the stored item of one add-on of an unpacked package and turns it into the recipe
// component that builds it again: its kind, texts, categories, collection id, its own preview and
// its files, all paths relative to the recipe's folder.
//
// What cannot be carried (an item type that no recipe kind builds, a file that the package lacks)
// is added to the warnings, one line that names the add-on, and gives no component. Throws
// Cli::Error when the package names a file outside its own folder: a rebuild would read it.
class AddOnReader {
public:
    // `root`: the unpacked package; `packagePath` names it in messages.
    AddOnReader(const QString& root, const QString& recipeFolder, const QString& packagePath,
                QStringList* warnings);

    std::optional<QJsonObject> effect(const Package::CollectionAddOn& addOn) const;
    std::optional<QJsonObject> transition(const Package::CollectionAddOn& addOn) const;

    // An import, or an intro. An intro's project is read back into `project` (media paths
    // relative to the recipe's folder) and the component names it as `timelineFileName`.
    std::optional<QJsonObject> import(const Package::CollectionAddOn& addOn,
                                      const QString& timelineFileName,
                                      std::optional<Timeline::Object>* project) const;

    // A finished overlay preset, as an overlay built from a timeline that it writes into
    // `timeline` and the component names as `timelineFileName`. What the rebuild only
    // approximates is a warning (see PresetTimeline).
    std::optional<QJsonObject> preset(const Package::CollectionAddOn& addOn,
                                      const QString& timelineFileName, QByteArray* timeline) const;
    // The collection id of a preset's stored record; empty when it cannot be read.
    QString presetCollectionId(const Package::CollectionAddOn& addOn) const;

    // The stored import kind of an add-on's item; nullopt when it cannot be read.
    std::optional<qint32> importKind(const Package::CollectionAddOn& addOn) const;

    // `path` under the package folder, relative to the recipe's folder.
    QString relative(const QString& path) const { return m_recipeFolder.relativeFilePath(path); }
    // Throws Cli::Error unless every path lies inside the package folder.
    void requireInside(const QStringList& paths) const;
    // The package-relative path of the package's preview, or of an item's, when the image is not
    // the grey default that a build uses without one; empty otherwise.
    QString ownPreview(const QString& path) const;

private:
    void warn(const Package::CollectionAddOn& addOn, const QString& text) const;
    // The absolute path of a package-relative path (empty for an empty one); throws as
    // requireInside() when it leaves the package.
    QString packageFile(const QString& packageRelative) const;
    // The absolute path of the resource of `id` in the add-on when the package holds its file;
    // empty (and a warning naming `what`) otherwise.
    QString resourceFile(const Package::CollectionAddOn& addOn, const QString& id,
                         const QString& what) const;
    void addMetadata(QJsonObject& component, const Package::CollectionAddOn& addOn,
                     const std::set<QString>& categories, const QString& collectionId) const;

    QString m_root;
    QDir m_recipeFolder;
    QString m_packagePath;
    QStringList* m_warnings;
};

}  // namespace Cli
